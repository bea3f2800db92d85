// Devices by slot: who gets into one, and how it is taken out.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <thread>

#include "tests/helpers/LogCapture.hpp"
#include "tests/helpers/Wait.hpp"
#include "tests/unit/logger/RecordingDevice.hpp"
#include "tests/unit/middleware/FailingHeap.hpp"

namespace {

using namespace std::chrono_literals;

constexpr int slot = 3;

int logService(const char* text) {
    return ZDDS_Config_Logger_log(ZDDS_Config_Logger_get_instance(), ZDDS_CONFIG_LOG_FACILITY_SERVICE,
        ZDDS_CONFIG_SYSLOG_LEVEL_ERROR, 1, nullptr, text);
}

int removeDevice(int from = slot) {
    return ADVLOGLogger_setDevice(from, nullptr, 0, 0);
}

TEST(Device, EverySlotHearsAMessage) {
    RecordingDevice first(0);
    RecordingDevice last(7);
    EXPECT_TRUE(logService("hello"));
    EXPECT_EQ(first.texts(), std::vector<std::string>{"ERROR hello"});
    EXPECT_EQ(last.texts(), std::vector<std::string>{"ERROR hello"});
}

TEST(Device, IsClosedWhenItLeavesItsSlot) {
    RecordingDevice device;
    EXPECT_EQ(device.closes, 0);
    device.remove();
    EXPECT_EQ(device.closes, 1);
    logService("late");
    EXPECT_TRUE(device.messages().empty());
}

TEST(Device, AnotherOneInTheSameSlotTakesItsPlace) {
    RecordingDevice before;
    RecordingDevice after;
    EXPECT_EQ(before.closes, 1);
    before.isSet = false;
    logService("x");
    EXPECT_TRUE(before.messages().empty());
    EXPECT_EQ(after.messages().size(), 1U);
}

TEST(Device, ASlotThatDoesNotExistIsRefusedAndTheWrapperFreed) {
    LogCapture log;
    FailingHeap heap;
    ZDDS_Config_LoggerDevice device{nullptr, [](auto*, const auto*) {}, nullptr};
    EXPECT_FALSE(ADVLOGLogger_setDevice(8, ZDDS_Config_Logger_createADVLOGLoggerDevice(&device), 0, 0));
    EXPECT_FALSE(ADVLOGLogger_setDevice(-1, ZDDS_Config_Logger_createADVLOGLoggerDevice(&device), 0, 0));
    EXPECT_EQ(heap.live(), 0);
    EXPECT_TRUE(removeDevice()) << "an empty slot may be emptied";
}

TEST(Device, NeedsAFunctionAndMemory) {
    LogCapture log;
    ZDDS_Config_LoggerDevice device{};
    EXPECT_EQ(ZDDS_Config_Logger_createADVLOGLoggerDevice(&device), nullptr);
    EXPECT_EQ(ZDDS_Config_Logger_createADVLOGLoggerDevice(nullptr), nullptr);
    device.write = [](auto*, const auto*) {};
    FailingHeap heap(1);
    EXPECT_EQ(ZDDS_Config_Logger_createADVLOGLoggerDevice(&device), nullptr);
}

TEST(Device, IsNotEnteredTwiceByOneThread) {
    RecordingDevice device;
    RecordingDevice other(4);
    device.onWrite = [] { EXPECT_TRUE(logService("inner")); };
    EXPECT_TRUE(logService("outer"));
    EXPECT_EQ(device.texts(), std::vector<std::string>{"ERROR outer"});
    EXPECT_EQ(other.texts(), std::vector<std::string>{"ERROR outer"})
        << "what a device logs makes no message";
}

TEST(Device, WhatItLogsStillReachesTheLog) {
    LogCapture log;
    RecordingDevice device;
    device.onWrite = [] {
        ORXLogParamString_printWithParams(
            -1, ORX_LOG_BIT_ERROR, ORX_LOG_MODULE_DDS, __FILE__, __LINE__, __func__, "%s", "trouble");
    };
    logService("outer");
    EXPECT_EQ(device.messages().size(), 1U);
    EXPECT_TRUE(log.has("trouble"));
}

TEST(Device, AnotherThreadEntersWhileOneIsInside) {
    RecordingDevice device;
    std::atomic<bool> isFirst{true};
    device.onWrite = [&] {
        if (isFirst.exchange(false))
            std::async(std::launch::async, [] { logService("second"); }).get();
    };
    logService("first");
    EXPECT_EQ(device.texts(), (std::vector<std::string>{"ERROR first", "ERROR second"}));
}

TEST(Device, IsTakenOutOnlyWhenNobodyIsInside) {
    RecordingDevice device;
    Gate gate;
    std::atomic<bool> isInside{false};
    device.onWrite = [&] {
        isInside = true;
        EXPECT_TRUE(gate.pass());
        isInside = false;
    };
    auto logging = std::async(std::launch::async, [] { logService("x"); });
    ASSERT_TRUE(gate.isReached());
    auto removing = std::async(std::launch::async, [&] {
        removeDevice();
        return isInside.load();
    });
    EXPECT_EQ(removing.wait_for(20ms), std::future_status::timeout);
    gate.open();
    ASSERT_EQ(removing.wait_for(waitBound), std::future_status::ready);
    EXPECT_FALSE(removing.get());
    logging.get();
    device.isSet = false;
}

TEST(Device, MayTakeItselfOut) {
    RecordingDevice device;
    device.onWrite = [&] { EXPECT_TRUE(removeDevice()); };
    logService("only");
    logService("none");
    EXPECT_EQ(device.texts(), std::vector<std::string>{"ERROR only"});
    EXPECT_EQ(device.closes, 1);
    device.isSet = false;
}

// Each would wait for the other.
TEST(Device, FromInsideASlotThatAnotherThreadEmptiesNothingIsSet) {
    LogCapture log;
    RecordingDevice device;
    std::future<int> removing;
    device.onWrite = [&] {
        removing = std::async(std::launch::async, [] { return removeDevice(); });
        // The other one holds the slot as soon as this fails.
        static ZDDS_Config_LoggerDevice unused{nullptr, [](auto*, const auto*) {}, nullptr}; // may get in
        while (ADVLOGLogger_setDevice(slot, ZDDS_Config_Logger_createADVLOGLoggerDevice(&unused), 0, 0)) {
        }
    };
    logService("x");
    EXPECT_TRUE(removing.get());
    device.isSet = false;
}

TEST(Device, ManyThreadsLogWhileItComesAndGoes) {
    std::atomic<bool> isStopping{false};
    std::atomic<int> written{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back([&] {
            while (!isStopping)
                logService("x");
        });
    for (int i = 0; i < 200 || written == 0; ++i) {
        auto alive = std::make_unique<std::atomic<int>>(0);
        ZDDS_Config_LoggerDevice device{&*alive,
            [](ZDDS_Config_LoggerDevice* self, const ZDDS_Config_LogMessage*) {
                ++*static_cast<std::atomic<int>*>(self->device_data);
            },
            nullptr};
        ASSERT_TRUE(ADVLOGLogger_setDevice(5, ZDDS_Config_Logger_createADVLOGLoggerDevice(&device), 0, 0));
        ASSERT_TRUE(removeDevice(5));
        written += *alive; // and freed: whoever was inside is out
    }
    isStopping = true;
    for (auto& thread : threads)
        thread.join();
}

TEST(Device, AForkedChildWaitsForNoThreadOfItsParent) {
    RecordingDevice device;
    Gate gate;
    device.onWrite = [&] { EXPECT_TRUE(gate.pass()); };
    auto logging = std::async(std::launch::async, [] { logService("x"); });
    ASSERT_TRUE(gate.isReached());
    const pid_t child = fork();
    if (child == 0) {
        alarm(30);
        _exit(removeDevice() ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    gate.open();
    logging.get();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

} // namespace
