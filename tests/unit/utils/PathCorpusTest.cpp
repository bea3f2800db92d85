// Replays what the fuzzer of path expressions starts from and what it has found.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz/paths/PathCheck.hpp"
#include "tests/helpers/LogCapture.hpp"

TEST(PathCorpus, IsTakenWithoutHarm) {
    const PathCheck check;
    size_t count = 0;
    for (const auto& file : std::filesystem::directory_iterator(ORX_PATH_CORPUS)) {
        SCOPED_TRACE(file.path());
        LogCapture quiet;
        std::ifstream stream(file.path(), std::ios::binary);
        check.run(std::string(std::istreambuf_iterator<char>(stream), {}).c_str());
        ++count;
    }
    EXPECT_GE(count, 30u);
}
