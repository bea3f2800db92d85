// What the fuzzer knows, and cuts of it, hold in the ordinary builds as well.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz/ctl/CtlCheck.hpp"

namespace {

TEST(Corpus, HoldsWholeAndCut) {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(ORX_CTL_CORPUS)) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::vector<char> content{std::istreambuf_iterator<char>(file), {}};
        for (size_t size = 0; size <= content.size(); ++size)
            CtlCheck::run(reinterpret_cast<const uint8_t*>(content.data()), size);
        ++count;
    }
    EXPECT_GE(count, 8);
}

} // namespace
