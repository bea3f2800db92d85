// Replays what the fuzzers of the collector start from and what they have found.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz/collectorSamples/CollectorSamplesCheck.hpp"
#include "fuzz/collectorTexts/CollectorTextsCheck.hpp"

namespace {

template <typename Run> std::size_t replay(const char* folder, Run run) {
    std::size_t count = 0;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        SCOPED_TRACE(file.path());
        std::ifstream stream(file.path(), std::ios::binary);
        run(std::string(std::istreambuf_iterator<char>(stream), {}));
        ++count;
    }
    return count;
}

TEST(CollectorCorpus, OfTextsIsTakenWithoutHarm) {
    EXPECT_GE(replay(ORX_COLLECTOR_TEXTS_CORPUS, CollectorTextsCheck::run), 12U);
}

TEST(CollectorCorpus, OfSamplesIsTakenWithoutHarm) {
    const auto run = [](const std::string& bytes) {
        CollectorSamplesCheck::run(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    };
    EXPECT_GE(replay(ORX_COLLECTOR_SAMPLES_CORPUS, run), 6U);
}

} // namespace
