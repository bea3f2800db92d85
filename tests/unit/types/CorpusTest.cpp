// Replays what the fuzzer of samples starts from and what it has found.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "RandomValue.hpp"
#include "fuzz/types/SampleCheck.hpp"

namespace {

TEST(SampleCorpus, IsTakenWithoutHarm) {
    const SampleCheck check;
    size_t count = 0;
    for (const auto& file : std::filesystem::directory_iterator(ORX_SAMPLE_CORPUS)) {
        SCOPED_TRACE(file.path());
        std::ifstream stream(file.path(), std::ios::binary);
        const std::vector<char> bytes(std::istreambuf_iterator<char>(stream), {});
        check.run(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
        ++count;
    }
    EXPECT_GE(count, 50u);
}

// Every type, in every encoding, from random values: where a fuzzer is to start from.
TEST(SampleCorpus, RandomSamplesPassTheCheck) {
    const SampleCheck check;
    const char* folder = std::getenv("ORX_WRITE_SAMPLE_CORPUS"); // writes the corpus anew
    for (size_t index = 0; index < check.types.size(); ++index) {
        const DDS_TypeDescriptor* type = check.types[index];
        for (const DDS_UnsignedShort representation : {DDS_UnsignedShort{DDS_XCDR_DATA_REPRESENTATION},
                 DDS_UnsignedShort{DDS_XCDR2_DATA_REPRESENTATION}}) {
            tt::OwnedValue value(type);
            tt::RandomValue(static_cast<unsigned>(index)).fill(type, value.get());
            DDS_UnsignedLong length = 0;
            ASSERT_TRUE(
                DDS_Type_serialize_to_cdr_buffer_ex(type, nullptr, &length, value.get(), representation));
            std::vector<char> bytes(length + 1);
            bytes[0] = static_cast<char>(index);
            ASSERT_TRUE(DDS_Type_serialize_to_cdr_buffer_ex(
                type, bytes.data() + 1, &length, value.get(), representation));
            check.run(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
            if (folder == nullptr)
                continue;
            std::string name = type->name;
            std::replace(name.begin(), name.end(), ':', '_');
            std::ofstream(std::string(folder) + "/" + name +
                              (representation == DDS_XCDR2_DATA_REPRESENTATION ? "2" : "1"),
                std::ios::binary)
                .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        }
    }
}

} // namespace
