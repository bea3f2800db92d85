// Matches, samples and their ends in the orders in which they can reach an endpoint over Cyclone DDS.
#include <map>

#include "middleware/engine/cyclone/MatchTracker.hpp"
#include "tests/contract/ContractFixture.hpp"

namespace contract {
namespace {

std::map<uint64_t, DDS_GUID_t> directory; // what the library answers

bool resolve(const ZddsCycloneEndpoint*, uint64_t handle, uint8_t guid[16]) {
    const auto found = directory.find(handle);
    if (found == directory.end())
        return false;
    std::memcpy(guid, found->second.value, 16);
    return true;
}

DDS_GUID_t guidNumber(uint8_t number) {
    DDS_GUID_t guid{};
    guid.value[0] = number;
    guid.value[15] = 3;
    return guid;
}

class Tracker : public testing::Test {
protected:
    Tracker() { directory.clear(); }
    void know(uint64_t handle) { directory[handle] = guidNumber(static_cast<uint8_t>(handle)); }
    int64_t deliver(uint64_t handle) {
        int64_t counted = 0;
        tracker_.withSample(
            handle, guidNumber(static_cast<uint8_t>(handle)), [&](int64_t number) { counted = number; });
        return counted;
    }
    std::string told() {
        std::string text;
        for (const Event& event : sink_.events())
            text += (event.kind == Event::Kind::matched ? "+" : "-") +
                    std::to_string(event.remote.endpoint.value[0]);
        return text;
    }

    ZddsCycloneEndpoint endpoint_{};
    ReaderRecorder sink_;
    eng::MatchTracker<eng::ReaderSink> tracker_{&sink_, resolve};
};

TEST_F(Tracker, MatchWaitsUntilTheEndpointCanBeAsked) {
    know(7);
    tracker_.onMatched(7);
    EXPECT_EQ(told(), "");
    tracker_.attach(endpoint_);
    EXPECT_EQ(told(), "+7");
}

TEST_F(Tracker, MatchThatEndsBeforeItCouldBeToldIsNotTold) {
    know(7);
    tracker_.onMatched(7);
    tracker_.onUnmatched(7);
    tracker_.attach(endpoint_);
    EXPECT_EQ(told(), "");
}

TEST_F(Tracker, SampleTellsTheMatchThatComesLater) {
    tracker_.attach(endpoint_);
    EXPECT_EQ(deliver(7), 1);
    EXPECT_EQ(told(), "+7");
    know(7);
    tracker_.onMatched(7);
    EXPECT_EQ(told(), "+7") << "once";
    EXPECT_EQ(deliver(7), 2);
}

TEST_F(Tracker, SampleTellsTheMatchThatWaits) {
    tracker_.onMatched(7);
    EXPECT_EQ(deliver(7), 1);
    EXPECT_EQ(told(), "+7");
    know(7);
    tracker_.attach(endpoint_);
    EXPECT_EQ(told(), "+7");
}

TEST_F(Tracker, SampleAfterTheEndIsDropped) {
    know(7);
    tracker_.attach(endpoint_);
    tracker_.onMatched(7);
    tracker_.onUnmatched(7);
    EXPECT_EQ(deliver(7), 0);
    EXPECT_EQ(told(), "+7-7");
    tracker_.onMatched(7);
    EXPECT_EQ(deliver(7), 1) << "until they match again";
    EXPECT_EQ(told(), "+7-7+7");
}

// A host goes with all its writers, while a sample of the first is still on its way.
TEST_F(Tracker, SampleAfterTheEndOfHundredsIsDropped) {
    tracker_.attach(endpoint_);
    for (uint64_t handle = 1; handle <= 300; ++handle) {
        know(handle);
        tracker_.onMatched(handle);
    }
    for (uint64_t handle = 1; handle <= 300; ++handle)
        tracker_.onUnmatched(handle);
    EXPECT_EQ(deliver(1), 0) << "it would be matched for ever";
}

TEST_F(Tracker, MatchThatCannotBeResolvedIsToldByItsFirstSample) {
    tracker_.attach(endpoint_);
    tracker_.onMatched(7);
    EXPECT_EQ(told(), "");
    EXPECT_EQ(deliver(7), 1);
    tracker_.onUnmatched(7);
    EXPECT_EQ(told(), "+7-7");
}

TEST_F(Tracker, EndOfTheUnknownIsNotTold) {
    tracker_.attach(endpoint_);
    tracker_.onUnmatched(7);
    EXPECT_EQ(told(), "");
}

TEST_F(Tracker, ManyAreKeptApart) {
    tracker_.attach(endpoint_);
    for (uint64_t handle = 100; handle > 0; --handle) {
        know(handle);
        tracker_.onMatched(handle);
    }
    EXPECT_EQ(sink_.matches(), 100);
    for (uint64_t handle = 1; handle <= 100; ++handle)
        EXPECT_EQ(deliver(handle), 1);
    for (uint64_t handle = 1; handle <= 100; handle += 2)
        tracker_.onUnmatched(handle);
    for (uint64_t handle = 2; handle <= 100; handle += 2)
        EXPECT_EQ(deliver(handle), 2);
    EXPECT_EQ(sink_.count(Event::Kind::unmatched), 50);
}

TEST(ParticipantOf, SharesThePrefix) {
    const DDS_GUID_t participant = eng::participantOf(guidNumber(9));
    EXPECT_EQ(participant.value[0], 9);
    EXPECT_EQ(participant.value[14], 1);
    EXPECT_EQ(participant.value[15], 0xc1);
}

} // namespace
} // namespace contract
