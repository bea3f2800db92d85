// Log messages from their sample to the lines of a file.
#include "collector/run/LogFile.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "collector/run/LogIntake.hpp"
#include "tests/unit/collector/FakeApplication.hpp"

using namespace collector::run;
using namespace collector_test;

namespace {

struct LogFiles : testing::Test {
    std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("orx-log-file-" + std::to_string(getpid()));
    void SetUp() override { std::filesystem::create_directories(folder); }
    void TearDown() override { std::filesystem::remove_all(folder); }
    std::string textOf(const char* name) const {
        std::ifstream file(folder / name);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }
    template <typename Condition> static bool eventually(Condition condition) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return true;
    }
};

// A sample with one message of a user.
struct LoggingDeleter {
    void operator()(DDS_Monitoring_Logging* sample) const {
        DDS_Monitoring_LoggingPluginSupport_destroy_data(sample);
    }
};
using Logging = std::unique_ptr<DDS_Monitoring_Logging, LoggingDeleter>;
Logging snapshotOf(const Guid& application, const char* text, std::uint64_t number) {
    const DDS_TypeAllocationParams_t params{DDS_BOOLEAN_TRUE, DDS_BOOLEAN_TRUE, DDS_BOOLEAN_TRUE};
    Logging sample(DDS_Monitoring_LoggingPluginSupport_create_data_w_params(&params));
    setGuid(sample->info.root_resource_guid, application);
    sample->info.is_snapshot = 1;
    DDS_Monitoring_LoggingMessageSeq_ensure_length(sample->snapshot, 1, 1);
    auto* message = DDS_Monitoring_LoggingMessageSeq_get_reference(sample->snapshot, 0);
    message->sn = number;
    message->facility = 1;
    message->severity = DDS_Monitoring_LoggingLevel_WARNING_LEVEL;
    message->timestamp.sec = 1'763'728'831;
    DDS_String_replace(&message->message, text);
    return sample;
}

} // namespace

TEST_F(LogFiles, LinesAreAppendedAndEscaped) {
    std::string error;
    {
        LogFile file;
        ASSERT_TRUE(file.start((folder / "log").string(), error)) << error;
        file.write("first");
        file.write("bell \x07, escape \x1b[31m, line\nend, \\, \xFF");
    }
    EXPECT_EQ(textOf("log"), "first\nbell \\x07, escape \\x1B[31m, line\\x0Aend, \\\\, \\xFF\n");
    LogFile again;
    ASSERT_TRUE(again.start((folder / "log").string(), error));
    again.write("more");
    again.stop();
    EXPECT_TRUE(textOf("log").ends_with("\nmore\n"));
    EXPECT_EQ(again.written(), 1U);
    EXPECT_EQ(again.dropped(), 0U);
}

TEST_F(LogFiles, AFileThatWasMovedIsMadeAnew) {
    std::string error;
    LogFile file;
    ASSERT_TRUE(file.start((folder / "log").string(), error));
    file.write("before");
    ASSERT_TRUE(eventually([&] { return textOf("log") == "before\n"; }));
    std::filesystem::rename(folder / "log", folder / "moved");
    file.reopen();
    ASSERT_TRUE(eventually([&] { return std::filesystem::exists(folder / "log"); }));
    file.write("after");
    file.stop();
    EXPECT_EQ(textOf("moved"), "before\n");
    EXPECT_EQ(textOf("log"), "after\n");
}

TEST_F(LogFiles, WhereItCannotBeOpenedAgainTheOldOneStays) {
    std::string error;
    LogFile file;
    std::filesystem::create_directories(folder / "sub");
    ASSERT_TRUE(file.start((folder / "sub" / "log").string(), error));
    std::filesystem::rename(folder / "sub", folder / "gone");
    file.reopen();
    file.write("still here");
    file.stop();
    EXPECT_EQ(textOf("gone/log"), "still here\n");
}

TEST_F(LogFiles, WhatCannotBeWrittenIsToldAtTheStart) {
    std::string error;
    LogFile file;
    EXPECT_FALSE(file.start((folder / "none" / "log").string(), error));
    EXPECT_NE(error.find("No such file"), std::string::npos) << error;
    EXPECT_FALSE(file.isOpen());
}

TEST_F(LogFiles, APipeThatNobodyReadsLosesLinesAndHoldsUpNobody) {
    const std::string path = (folder / "pipe").string();
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
    std::string error;
    LogFile file({100, 1U << 20U});
    ASSERT_TRUE(file.start(path, error));
    ASSERT_TRUE(eventually([&] {
        for (int i = 0; i < 100; ++i)
            file.write(std::string(1000, 'x'));
        return file.dropped() > 1000;
    }));
    file.stop(); // returns
    close(reader);
}

TEST_F(LogFiles, AMessageGoesIntoTheRingAndTheFileOnce) {
    collector::Model model;
    FakeApplication app(model, 1, "pinger");
    app.createSmallTree();
    collector::api::LogRing ring;
    LogFile file;
    std::string error;
    ASSERT_TRUE(file.start((folder / "log").string(), error));
    LogIntake intake(model, ring, file);
    const DDS_SampleInfo info = app.info();
    intake.take(*snapshotOf(app.guid(), "disk is nearly full\n", 7), info);
    intake.take(*snapshotOf(app.guid(), "disk is nearly full\n", 7), info);
    intake.take(*snapshotOf(Guid{9}, "of a stranger", 1), info);
    file.stop();
    const auto messages = ring.newest({}, 10);
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_EQ(messages[0].applicationName, "pinger");
    EXPECT_EQ(messages[0].facility, 1);
    EXPECT_EQ(messages[0].severity, 4U);
    EXPECT_EQ(messages[0].sequenceNumber, 7U);
    EXPECT_EQ(messages[0].category, "N/A");
    EXPECT_TRUE(messages[0].isSnapshot);
    EXPECT_TRUE(messages[0].line.ends_with("USER (sn:7) WARNING disk is nearly full")) << messages[0].line;
    EXPECT_EQ(messages[1].applicationName, "") << "until the application tells it";
    EXPECT_EQ(textOf("log"), messages[0].line + "\n" + messages[1].line + "\n");
    EXPECT_EQ(model.statistics().loggingSamples, 3U);
}

TEST_F(LogFiles, TheLevelOfAMessageIsToldOnce) {
    DDS_Monitoring_LoggingMessage message;
    ASSERT_TRUE(DDS_Monitoring_LoggingMessage_initialize(&message));
    message.facility = 23;
    message.severity = DDS_Monitoring_LoggingLevel_INFORMATIONAL_LEVEL;
    DDS_String_replace(&message.message, "INFORMATIONAL joined the domain\n");
    const auto taken = logMessageOf(message);
    EXPECT_EQ(taken.message, "joined the domain");
    EXPECT_TRUE(taken.line.ends_with("MIDDLEWARE (sn:0) INFORMATIONAL joined the domain")) << taken.line;
    DDS_Monitoring_LoggingMessage_finalize(&message);
}

TEST_F(LogFiles, StrangeMessagesAreTaken) {
    DDS_Monitoring_LoggingMessage message;
    ASSERT_TRUE(DDS_Monitoring_LoggingMessage_initialize(&message));
    message.timestamp.sec = -5;
    message.facility = 99;
    const std::string text = "\xC0\xAF" + std::string(100'000, 'x');
    DDS_String_replace(&message.message, text.c_str());
    const auto taken = logMessageOf(message);
    EXPECT_EQ(taken.timeNs, 0);
    EXPECT_LE(taken.message.size(), 16U * 1024U);
    EXPECT_LE(taken.line.size(), 4096U);
    EXPECT_TRUE(taken.message.starts_with("\xEF\xBF\xBD"));
    DDS_Monitoring_LoggingMessage_finalize(&message);
}
