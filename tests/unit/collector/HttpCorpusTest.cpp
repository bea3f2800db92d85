// The corpora of requests, through the service alone and through the server.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "fuzz/httpRaw/RawCheck.hpp"

namespace {

template <typename Check> std::size_t replay(Check& check, const char* folder) {
    std::size_t count = 0;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        SCOPED_TRACE(file.path());
        std::ifstream stream(file.path(), std::ios::binary);
        const std::string bytes(std::istreambuf_iterator<char>(stream), {});
        check.run(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
        ++count;
    }
    return count;
}

TEST(HttpCorpus, EachRequestIsAnswered) {
    HttpCheck check;
    EXPECT_GE(replay(check, ORX_HTTP_CORPUS), 30U);
}

TEST(HttpCorpus, WhateverIsSentTheServerGoesOn) {
    RawCheck check;
    EXPECT_GE(replay(check, ORX_HTTP_RAW_CORPUS), 40U);
}

} // namespace
