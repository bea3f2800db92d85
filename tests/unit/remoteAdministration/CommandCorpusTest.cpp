// Replays what the fuzzer of commands starts from and what it has found.
#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz/commands/CommandCheck.hpp"
#include "tests/helpers/LogCapture.hpp"
#include "gtest/gtest.h"

TEST(CommandCorpus, IsTakenWithoutHarm) {
    LogCapture quiet;
    CommandCheck check;
    size_t count = 0;
    for (const auto& file : std::filesystem::directory_iterator(ORX_COMMAND_CORPUS)) {
        SCOPED_TRACE(file.path());
        quiet.clear();
        std::ifstream stream(file.path(), std::ios::binary);
        const std::string bytes(std::istreambuf_iterator<char>(stream), {});
        check.run(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
        ++count;
    }
    EXPECT_GE(count, 20U);
}
