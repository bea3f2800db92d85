#include "reading/Guid.hpp"

#include <gtest/gtest.h>

#include <unordered_set>

namespace {

using reading::Guid;

TEST(Guid, ReadsBackItsTextsAndNothingElse) {
    Guid guid{};
    for (std::size_t i = 0; i < guid.size(); ++i)
        guid[i] = static_cast<std::uint8_t>(i * 17);
    EXPECT_EQ(reading::guidDigits(guid), "00112233.44556677.8899AABB.CCDDEEFF");
    EXPECT_EQ(reading::guidText(guid), "GUID(00112233.44556677.8899AABB.CCDDEEFF)");
    for (const char* text : {"00112233.44556677.8899AABB.CCDDEEFF", "00112233445566778899aabbccddeeff",
             "GUID(00112233.44556677.8899aaBB.CCDDEEFF)", "GUID(00112233445566778899aabbccddeeff)"})
        EXPECT_EQ(reading::parseGuid(text), guid) << text;
    for (const char* text : {"", "GUID(", "GUID()", "00112233.44556677.8899AABB.CCDDEEF", "0011223344556677",
             "00112233-44556677-8899AABB-CCDDEEFF", "0011223G.44556677.8899AABB.CCDDEEFF",
             "00112233.44556677.8899AABB.CCDDEEFF ", "GUID(00112233.44556677.8899AABB.CCDDEEFF"})
        EXPECT_FALSE(reading::parseGuid(text)) << text;
}

TEST(Guid, HashesApart) {
    std::unordered_set<std::size_t> hashes;
    for (std::uint32_t i = 0; i < 10'000; ++i) {
        Guid guid{};
        std::memcpy(guid.data() + i % 4 * 4, &i, sizeof i);
        hashes.insert(reading::GuidHash{}(guid));
    }
    EXPECT_GE(hashes.size(), 9'999U); // the zero of each place is one GUID
}

} // namespace
