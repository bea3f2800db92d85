// Which service request may go to the library when, with a clock that the test moves.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "middleware/host/RequestIntake.hpp"
#include "middleware/host/RequestKind.hpp"
#include "tests/unit/middleware/FailingHeap.hpp"
#include "tests/unit/middleware/LogCapture.hpp"

namespace {

using zdds::host::HeldRequest;
using zdds::host::RequestIntake;

constexpr int64_t second = 1'000'000'000;

// The beginning of a request in XCDR 1: the GUID of a writer, a number, an empty name, the operation.
std::string bodyOf(uint32_t operation, size_t size = 40) {
    std::string body(size, '\0');
    body[1] = 1;
    body[28] = 1;
    std::memcpy(body.data() + 36, &operation, sizeof operation); // past the name and its padding
    return body;
}

const std::string plain = bodyOf(0x9D01AF1C);
const std::string registry = bodyOf(0x1EF2237E);

class Intake : public testing::Test {
protected:
    explicit Intake(const RequestIntake::Limits& limits = {}) : intake(limits) {}

    bool add(int sender, const std::string& name, const std::string& body = plain, bool isData = true) {
        DDS_ServiceRequest sample = DDS_SERVICE_REQUEST_DEFAULT;
        sample.service_id = 4;
        std::memcpy(sample.instance_id.value, name.data(), std::min<size_t>(name.size(), 16));
        DDS_OctetSeq_from_array(&sample.request_body, reinterpret_cast<const DDS_Octet*>(body.data()),
            static_cast<DDS_Long>(body.size()));
        DDS_SampleInfo info = DDS_SAMPLEINFO_DEFAULT;
        info.valid_data = isData;
        DDS_GUID_t writer{};
        std::memcpy(writer.value, &sender, sizeof sender);
        DDS_InstanceHandle_from_guid(&info.publication_handle, &writer);
        const bool isAdded = intake.add(sample, info, now);
        DDS_ServiceRequest_finalize(&sample);
        return isAdded;
    }
    // The name of the next one, empty when none may go.
    std::string next() {
        HeldRequest* request = intake.next(now, &again);
        if (request == nullptr)
            return {};
        const auto* name = reinterpret_cast<const char*>(request->sample.instance_id.value);
        const std::string result(name, strnlen(name, 16));
        last = request->sample.instance_id;
        HeldRequest::destroy(request);
        return result;
    }
    std::string nextAnswered() {
        std::string name = next();
        if (!name.empty())
            intake.answered(last);
        return name;
    }
    std::vector<std::string> all() {
        std::vector<std::string> names;
        for (std::string name = nextAnswered(); !name.empty(); name = nextAnswered())
            names.push_back(name);
        return names;
    }
    ORX_MonitoringHostRequestCounters counters() const { return intake.counters(); }

    RequestIntake intake;
    int64_t now = 1000 * second;
    int64_t again = 0;
    DDS_GUID_t last{};
};

using Names = std::vector<std::string>;

TEST_F(Intake, RequestsOfOneSenderStayInOrder) {
    for (const char* name : {"a", "b", "c"})
        ASSERT_TRUE(add(1, name));
    EXPECT_EQ(all(), (Names{"a", "b", "c"}));
    EXPECT_EQ(again, RequestIntake::never);
    EXPECT_EQ(counters().received, 3U);
    EXPECT_EQ(counters().handed_over, 3U);
    EXPECT_EQ(counters().waiting, 0U);
}

TEST_F(Intake, SendersTakeTurns) {
    for (int i = 0; i < 20; ++i)
        ASSERT_TRUE(add(1, "flood"));
    ASSERT_TRUE(add(2, "second"));
    ASSERT_TRUE(add(3, "third"));
    Names first;
    for (int i = 0; i < 3; ++i)
        first.push_back(nextAnswered());
    std::sort(first.begin(), first.end());
    EXPECT_EQ(first, (Names{"flood", "second", "third"}));
}

TEST_F(Intake, RegistryRequestsArePacedForEachSender) {
    for (int i = 0; i < 7; ++i)
        ASSERT_TRUE(add(1, "r" + std::to_string(i), registry));
    EXPECT_EQ(all(), (Names{"r0", "r1", "r2", "r3"})) << "at once after a rest";
    EXPECT_EQ(again, now + second);
    EXPECT_EQ(counters().delayed, 3U);
    ASSERT_TRUE(add(2, "other", registry));
    EXPECT_EQ(nextAnswered(), "other") << "one sender's pace is not another's";
    now += second - 1;
    EXPECT_EQ(next(), "");
    now += 1;
    EXPECT_EQ(all(), Names{"r4"});
    now += 2 * second;
    EXPECT_EQ(all(), (Names{"r5", "r6"}));
    EXPECT_EQ(counters().delayed, 3U);
    now += 100 * second;
    for (int i = 0; i < 5; ++i)
        ASSERT_TRUE(add(1, "again", registry));
    EXPECT_EQ(all().size(), 4U) << "a rest saves up no more than the burst";
}

TEST_F(Intake, OthersPassARegistryRequestThatWaits) {
    for (int i = 0; i < 5; ++i)
        ASSERT_TRUE(add(1, "registry", registry));
    ASSERT_TRUE(add(1, "plain"));
    EXPECT_EQ(all(), (Names{"registry", "registry", "registry", "registry", "plain"}));
}

TEST_F(Intake, RegistryRequestsThatWaitHaveABound) {
    for (int i = 0; i < 16; ++i)
        ASSERT_TRUE(add(1, "r", registry));
    EXPECT_FALSE(add(1, "r", registry));
    EXPECT_TRUE(add(1, "plain"));
    EXPECT_EQ(counters().refused_pace, 1U);
}

TEST_F(Intake, BodiesThatHideWhatTheyAskForArePacedToo) {
    for (int i = 0; i < 16; ++i)
        ASSERT_TRUE(add(1, "short", "ab"));
    EXPECT_FALSE(add(1, "short", "ab"));
}

TEST_F(Intake, ADisposeIsPassedOnAndNotWaitedFor) {
    ASSERT_TRUE(add(1, "end", "", false));
    EXPECT_EQ(next(), "end");
    EXPECT_EQ(counters().in_flight, 0U);
}

TEST_F(Intake, NoMoreThanAWindowIsWithTheLibrary) {
    for (int i = 0; i < 40; ++i)
        ASSERT_TRUE(add(1, "c" + std::to_string(i)));
    for (int i = 0; i < 32; ++i)
        ASSERT_EQ(next(), "c" + std::to_string(i));
    EXPECT_EQ(next(), "");
    EXPECT_EQ(again, now + 10 * second);
    EXPECT_EQ(counters().in_flight, 32U);
    DDS_GUID_t tenth{{'c', '9'}};
    intake.answered(tenth);
    EXPECT_EQ(counters().in_flight, 22U) << "the library works in order";
    EXPECT_EQ(all().size(), 8U);
}

TEST_F(Intake, ACommandThatTheLibraryDidNotTakeIsNotWaitedFor) {
    ASSERT_TRUE(add(1, "a"));
    HeldRequest* request = intake.next(now, &again);
    ASSERT_NE(request, nullptr);
    EXPECT_EQ(counters().in_flight, 1U);
    intake.notTaken(*request);
    EXPECT_EQ(counters().in_flight, 0U);
    intake.notTaken(*request);
    intake.answered(request->sample.instance_id);
    EXPECT_EQ(counters().in_flight, 0U);
    HeldRequest::destroy(request);
}

TEST_F(Intake, ACommandWithoutAnAnswerCountsForALimitedTime) {
    for (int i = 0; i < 33; ++i)
        ASSERT_TRUE(add(1, "c" + std::to_string(i)));
    for (int i = 0; i < 32; ++i)
        ASSERT_NE(next(), "");
    now += 10 * second;
    EXPECT_EQ(next(), "c32");
    EXPECT_EQ(counters().unanswered, 32U);
    EXPECT_EQ(counters().in_flight, 1U);
}

class SmallIntake : public Intake {
protected:
    SmallIntake() : Intake({.senders = 2, .requests = 3, .bytes = 4096, .allBytes = 6000}) {}
};

TEST_F(SmallIntake, QueuesHaveABound) {
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(add(1, "a"));
    EXPECT_FALSE(add(1, "a")) << "too many";
    EXPECT_FALSE(add(2, "b", bodyOf(0x9D01AF1C, 5000))) << "too long";
    EXPECT_TRUE(add(2, "b", bodyOf(0x9D01AF1C, 3000)));
    EXPECT_FALSE(add(2, "b", bodyOf(0x9D01AF1C, 3000))) << "too long for all";
    EXPECT_EQ(counters().refused_queue_full, 3U);
    EXPECT_EQ(all().size(), 4U);
    EXPECT_TRUE(add(2, "b", bodyOf(0x9D01AF1C, 3000)));
}

TEST_F(SmallIntake, SendersHaveABoundAndMakeRoomWhenTheyAreIdle) {
    ASSERT_TRUE(add(1, "a"));
    ASSERT_TRUE(add(2, "b", registry));
    EXPECT_FALSE(add(3, "c"));
    EXPECT_EQ(counters().refused_senders, 1U);
    EXPECT_EQ(all().size(), 2U);
    EXPECT_TRUE(add(3, "c")) << "instead of the first, which is idle";
    EXPECT_EQ(all().size(), 1U);
    EXPECT_TRUE(add(4, "d")) << "instead of the third: the second's pace is in use";
    EXPECT_EQ(all().size(), 1U);
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(add(2, "b", registry));
    EXPECT_EQ(all().size(), 3U) << "what is left of the burst";
}

TEST_F(Intake, ExhaustedMemoryRefusesTheRequestAlone) {
    for (long n = 2; n <= 4; ++n) {
        FailingHeap heap(n);
        EXPECT_FALSE(add(static_cast<int>(n), "lost")) << n;
        EXPECT_TRUE(heap.hasFailed());
        intake.clear();
        EXPECT_EQ(heap.live(), 0);
    }
    EXPECT_TRUE(add(1, "kept"));
    EXPECT_EQ(all(), Names{"kept"});
}

TEST(RequestKind, TellsTheOperationOfBothEncodings) {
    using zdds::host::mayRequestRegistry;
    const auto ask = [](const std::string& body) {
        return mayRequestRegistry({reinterpret_cast<const uint8_t*>(body.data()), body.size()});
    };
    EXPECT_FALSE(ask(plain));
    EXPECT_TRUE(ask(registry));
    // XCDR 2, big-endian: lengths before the request, its header and its operation.
    std::string delimited(64, '\0');
    delimited[1] = 8;
    delimited[11] = 41; // of the header, so that the operation begins at the next multiple of 4
    const unsigned char other[] = {0x9D, 0x01, 0xAF, 0x1C}, wanted[] = {0x1E, 0xF2, 0x23, 0x7E};
    std::memcpy(delimited.data() + 60, other, 4);
    EXPECT_FALSE(ask(delimited));
    std::memcpy(delimited.data() + 60, wanted, 4);
    EXPECT_TRUE(ask(delimited));
}

TEST(RequestKind, WhatCannotBeReadCounts) {
    using zdds::host::mayRequestRegistry;
    const auto ask = [](std::string body) {
        return mayRequestRegistry({reinterpret_cast<const uint8_t*>(body.data()), body.size()});
    };
    EXPECT_TRUE(ask(""));
    for (size_t size = 0; size < plain.size(); ++size)
        EXPECT_TRUE(ask(plain.substr(0, size))) << size;
    for (const int encapsulation : {2, 3, 6, 7, 10, 11, 99}) {
        std::string body = plain;
        body[1] = static_cast<char>(encapsulation);
        EXPECT_TRUE(ask(body)) << encapsulation;
    }
    std::string hugeName = plain;
    std::memset(hugeName.data() + 28, 0xFF, 4);
    EXPECT_TRUE(ask(hugeName));
}

} // namespace
