#include "zddscore/log.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "zddscore/heap.h"
#include "zddscore/semaphore.h"
#include "zddscore/thread.h"

// Children of these tests fork again while the writer runs.
extern "C" const char* __tsan_default_options();
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options() {
    return "die_after_fork=0:atexit_sleep_ms=0";
}

namespace {

constexpr ORXNtpTime bound{60, 0};

void logError(const char* text) {
    ORXLogMessageParamString_printWithParams(-1, ORX_LOG_BIT_ERROR, ORX_LOG_MODULE_MONITORING,
        "/a/path/Source.cpp", 42, "some_function", &ORX_LOG_FAILED_TO_CREATE_TEMPLATE, "%s", text);
}

struct Line {
    ORX_UINT32 level = 0;
    ORX_UINT32 module = 0;
    const ORXLogMessageTemplate* messageTemplate = nullptr;
    std::string subject, message, file, function;
    int line = 0;
    ORX_INT64 timeNs = 0;
    ORX_UINT64 threadId = 0;
};

// Keeps what it is given; may log again while it is inside.
struct Sink {
    Sink() : id(ORXLog_addSink(receive, this)) {}
    ~Sink() { remove(); }
    Sink(const Sink&) = delete;
    Sink& operator=(const Sink&) = delete;

    void remove() {
        if (id != 0) {
            EXPECT_TRUE(ORXLog_removeSink(id));
        }
        id = 0;
    }
    static void receive(void* context, const ORXLogLine* line) {
        auto& self = *static_cast<Sink*>(context);
        self.lines.push_back({line->level, line->module, line->messageTemplate, line->subject, line->message,
            line->file, line->function, line->line, line->timeNs, line->threadId});
        if (self.onLine)
            self.onLine();
    }

    std::vector<Line> lines;
    std::function<void()> onLine;
    int id;
};

// The parent of all tests stays free of the writer thread; what goes to stderr is tested in children.
struct Quiet : testing::Test {
    void SetUp() override { ORXLog_setStderrEnabled(0); }
};
using Log = Quiet;

struct ChildResult {
    int status = -1; // as waitpid gives it
    std::string text;
};

// Runs `body` in a child whose stderr is a pipe, and gives the exit code and what came.
ChildResult runInChild(const std::function<int()>& body) {
    int ends[2];
    if (pipe(ends) != 0)
        return {};
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDERR_FILENO);
        close(ends[0]);
        close(ends[1]);
        ORXLog_setStderrEnabled(1);
        std::exit(body());
    }
    close(ends[1]);
    ChildResult result;
    char buffer[4096];
    for (ssize_t count = 0; (count = read(ends[0], buffer, sizeof buffer)) != 0;) {
        if (count > 0)
            result.text.append(buffer, static_cast<std::size_t>(count));
    }
    close(ends[0]);
    waitpid(child, &result.status, 0);
    return result;
}

bool exitedWith(const ChildResult& result, int code) {
    return WIFEXITED(result.status) && WEXITSTATUS(result.status) == code;
}

// Of what the log wrote; a sanitizer may have remarks of its own.
std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        if (line.rfind("==", 0) != 0)
            lines.push_back(line);
    }
    return lines;
}

TEST_F(Log, SinkSeesEverythingOfALine) {
    Sink sink;
    errno = 17;
    ORXLogMessageParamString_printWithParams(-1, ORX_LOG_BIT_WARNING, ORX_LOG_MODULE_DDS,
        "/a/path/Source.cpp", 42, "some_function", &ORX_LOG_FAILED_TO_CREATE_TEMPLATE, "thing %d of %s\n", 7,
        "many");
    EXPECT_EQ(errno, 17);
    ASSERT_EQ(sink.lines.size(), 1U);
    const Line& line = sink.lines[0];
    EXPECT_EQ(line.level, ORX_LOG_BIT_WARNING);
    EXPECT_EQ(line.module, ORX_LOG_MODULE_DDS);
    EXPECT_EQ(line.messageTemplate, &ORX_LOG_FAILED_TO_CREATE_TEMPLATE);
    EXPECT_EQ(line.subject, "thing 7 of many\n");
    EXPECT_EQ(line.message, "failed to create: thing 7 of many\n");
    EXPECT_EQ(line.file, "Source.cpp");
    EXPECT_EQ(line.line, 42);
    EXPECT_EQ(line.function, "some_function");
    EXPECT_EQ(line.threadId, ORXOsapiThread_getCurrentThreadID());
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto nowNs = std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
    EXPECT_LE(line.timeNs, nowNs);
    EXPECT_GT(line.timeNs, nowNs - 60'000'000'000LL);
}

TEST_F(Log, PlainFormsHaveNoTemplateOrNoSubject) {
    Sink sink;
    ORXLogParamString_printWithParams(
        -1, ORX_LOG_BIT_STATUS, ORX_LOG_MODULE_SUPPORT, "Source.cpp", 1, "f", "%d%%", 50);
    ORXLogMessage_printWithParams(
        -1, ORX_LOG_BIT_STATUS, ORX_LOG_MODULE_SUPPORT, nullptr, 1, nullptr, &ORX_LOG_ENABLE_TEMPLATE);
    ASSERT_EQ(sink.lines.size(), 2U);
    EXPECT_EQ(sink.lines[0].messageTemplate, nullptr);
    EXPECT_EQ(sink.lines[0].message, "50%");
    EXPECT_EQ(sink.lines[0].subject, "50%");
    EXPECT_EQ(sink.lines[1].message, "enabled: ");
    EXPECT_EQ(sink.lines[1].subject, "");
    EXPECT_EQ(sink.lines[1].file, "");
}

TEST_F(Log, SubjectIsNoFormatTwice) {
    Sink sink;
    logError("100%s %n %d");
    ASSERT_EQ(sink.lines.size(), 1U);
    EXPECT_EQ(sink.lines[0].message, "failed to create: 100%s %n %d");
}

TEST_F(Log, LongSubjectIsCut) {
    Sink sink;
    logError(std::string(5000, 'x').c_str());
    ASSERT_EQ(sink.lines.size(), 1U);
    EXPECT_EQ(sink.lines[0].subject, std::string(1023, 'x'));
    EXPECT_EQ(sink.lines[0].message, "failed to create: " + std::string(1023, 'x'));
}

// Every template has its name and exactly one place for the subject.
TEST_F(Log, TemplatesAreComplete) {
    struct Expected {
        const ORXLogMessageTemplate* object;
        std::string name;
    };
    std::vector<Expected> all;
#define EXPECT_PLAIN(name, text) all.push_back({&ORX_LOG_##name##_TEMPLATE, #name});
#define EXPECT_FAILED(name, text) all.push_back({&ORX_LOG_FAILED_TO_##name##_TEMPLATE, "FAILED_TO_" #name});
    ORX_LOG_TEMPLATE_LIST(EXPECT_PLAIN)
    ORX_LOG_FAILED_TO_LIST(EXPECT_FAILED)
#undef EXPECT_PLAIN
#undef EXPECT_FAILED
    EXPECT_EQ(all.size(), 12U + 32U);
    for (const Expected& expected : all) {
        EXPECT_EQ(expected.object->identifier, expected.name);
        const std::string text = expected.object->text;
        EXPECT_NE(text.find("%s"), std::string::npos);
        EXPECT_EQ(std::count(text.begin(), text.end(), '%'), 1);
    }
    EXPECT_STREQ(ORX_LOG_FAILED_TO_CONVERT_TYPE_TEMPLATE.text, "failed to convert type: %s");
}

TEST_F(Log, MasksAreSet) {
    EXPECT_EQ(ORX_MonitoringLog_g_instrumentationMask, 0x7U);
    EXPECT_EQ(ORX_MonitoringLog_g_submoduleMask, 0xFFFFFFFFU);
    EXPECT_EQ(DDSLog_g_instrumentationMask, 0x7U);
    EXPECT_EQ(ORXLog_g_categoryMask, 0xFFFFFFFFU);
    ORX_MonitoringLog_setBitmaps(0x30, 0x9);
    DDSLog_setDependencyInstrumentationMask(0x3);
    EXPECT_EQ(ORX_MonitoringLog_g_submoduleMask, 0x30U);
    EXPECT_EQ(ORX_MonitoringLog_g_instrumentationMask, 0x9U);
    EXPECT_EQ(DDSLog_g_instrumentationMask, 0x3U);
    ORX_MonitoringLog_setBitmaps(0xFFFFFFFF, 0x7);
    DDSLog_setDependencyInstrumentationMask(0x7);
}

TEST_F(Log, PreconditionIsRecordedWhileDetectionIsOn) {
    ORXLog_onPreconditionFailure();
    EXPECT_EQ(ORXLog_g_preconditionDetected, 0);
    ORXLog_g_detectPrecondition = 1;
    ORXLog_onPreconditionFailure();
    EXPECT_EQ(ORXLog_g_preconditionDetected, 1);
    ORXLog_g_detectPrecondition = 0;
    ORXLog_g_preconditionDetected = 0;
}

TEST_F(Log, SinkIsNotEnteredAgainByTheThreadThatIsInsideIt) {
    Sink first;
    Sink second;
    first.onLine = [] { logError("from the first"); };
    second.onLine = [] { logError("from the second"); };
    logError("outer");
    // The first hears of the outer line and of what the second made of it, and the other way round;
    // neither of a line that is made while it is entered.
    std::vector<std::string> atFirst;
    std::vector<std::string> atSecond;
    for (const Line& line : first.lines)
        atFirst.push_back(line.subject);
    for (const Line& line : second.lines)
        atSecond.push_back(line.subject);
    EXPECT_EQ(atFirst, (std::vector<std::string>{"outer", "from the second"}));
    EXPECT_EQ(atSecond, (std::vector<std::string>{"from the first", "outer"}));
}

TEST_F(Log, AtMostEightSinks) {
    std::vector<std::unique_ptr<Sink>> sinks;
    for (int i = 0; i < 8; ++i) {
        sinks.push_back(std::make_unique<Sink>());
        EXPECT_GT(sinks.back()->id, 0);
    }
    EXPECT_EQ(ORXLog_addSink(Sink::receive, nullptr), 0);
    EXPECT_EQ(ORXLog_addSink(nullptr, nullptr), 0);
    const int old = sinks[3]->id;
    sinks[3]->remove();
    EXPECT_FALSE(ORXLog_removeSink(old)) << "removed before";
    Sink another;
    EXPECT_GT(another.id, 0);
    EXPECT_NE(another.id, old);
    EXPECT_FALSE(ORXLog_removeSink(old)) << "an old id does not remove the sink that has its place now";
    EXPECT_FALSE(ORXLog_removeSink(0));
    EXPECT_FALSE(ORXLog_removeSink(-1));
    EXPECT_FALSE(ORXLog_removeSink(1 << 30));
}

TEST_F(Log, SinkMayRemoveItself) {
    Sink sink;
    sink.onLine = [&sink] { sink.remove(); };
    logError("one");
    logError("two");
    EXPECT_EQ(sink.lines.size(), 1U);
}

TEST_F(Log, RemovalWaitsForThreadsInside) {
    std::atomic<bool> removed{false};
    std::atomic<bool> removing{false};
    std::atomic<bool> inside{false};
    Sink sink;
    sink.onLine = [&] {
        inside = true;
        while (!removing)
            std::this_thread::yield();
        for (int i = 0; i < 1000; ++i)
            std::this_thread::yield();
        EXPECT_FALSE(removed);
    };
    std::thread logger([] { logError("slow"); });
    while (!inside)
        std::this_thread::yield();
    removing = true;
    sink.remove();
    removed = true;
    logger.join();
    EXPECT_EQ(sink.lines.size(), 1U);
}

TEST_F(Log, SinksComeAndGoWhileThreadsLog) {
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([&stop] {
            while (!stop)
                logError("storm");
        });
    }
    struct Counter {
        std::atomic<int> lines{0};
        std::atomic<bool> removed{false};
        std::atomic<bool> late{false};
    };
    for (int i = 0; i < 300; ++i) {
        auto counter = std::make_unique<Counter>();
        const int id = ORXLog_addSink(
            [](void* context, const ORXLogLine*) {
                auto& self = *static_cast<Counter*>(context);
                ++self.lines;
                if (self.removed)
                    self.late = true;
            },
            counter.get());
        ASSERT_GT(id, 0);
        while (i % 10 == 0 && counter->lines == 0)
            std::this_thread::yield();
        ASSERT_TRUE(ORXLog_removeSink(id));
        counter->removed = true;
        ASSERT_FALSE(counter->late);
    }
    stop = true;
    for (auto& thread : threads)
        thread.join();
}

TEST_F(Log, StderrLineHasAllParts) {
    const auto result = runInChild([] {
        logError("the \"thing\"\n");
        return ORXLog_flush(&bound) ? 0 : 1;
    });
    EXPECT_TRUE(exitedWith(result, 0));
    const std::regex form(
        R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z ERROR MONITORING/FAILED_TO_CREATE )"
        R"(failed to create: the "thing" \(Source\.cpp:42 some_function\) \[thread \d+\]\n)");
    EXPECT_TRUE(std::regex_match(result.text, form)) << result.text;
}

TEST_F(Log, ControlCharactersDoNotReachTheTerminal) {
    const auto result = runInChild([] {
        logError("red \x1b[31m and\na faked line \x7f");
        return 0;
    });
    ASSERT_EQ(linesOf(result.text).size(), 1U) << result.text;
    EXPECT_NE(result.text.find("red \\x1b[31m and\\x0aa faked line \\x7f"), std::string::npos) << result.text;
}

TEST_F(Log, LongestLineKeepsItsPlace) {
    const auto result = runInChild([] {
        logError(std::string(2000, '\x01').c_str());
        return 0;
    });
    ASSERT_EQ(linesOf(result.text).size(), 1U);
    EXPECT_NE(result.text.find("(Source.cpp:42 some_function) [thread"), std::string::npos) << result.text;
}

TEST_F(Log, LinesAreWrittenAtTheEndOfTheProcess) {
    const auto result = runInChild([] {
        for (int i = 0; i < 100; ++i)
            logError(std::to_string(i).c_str());
        return 3;
    });
    EXPECT_TRUE(exitedWith(result, 3));
    const auto lines = linesOf(result.text);
    ASSERT_EQ(lines.size(), 100U);
    for (std::size_t i = 0; i < 100; ++i)
        EXPECT_NE(lines[i].find("failed to create: " + std::to_string(i) + " "), std::string::npos);
}

TEST_F(Log, ThreadsLoseNothingThatFits) {
    const auto result = runInChild([] {
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([] {
                for (int i = 0; i < 300; ++i) {
                    logError("one");
                    if (i % 30 == 29 && !ORXLog_flush(&bound))
                        std::abort();
                }
            });
        }
        for (auto& thread : threads)
            thread.join();
        if (!ORXLog_flush(nullptr))
            return 1;
        return ORXLog_getLostLineCount() == 0 ? 0 : 2;
    });
    EXPECT_TRUE(exitedWith(result, 0));
    EXPECT_EQ(linesOf(result.text).size(), 1200U);
}

TEST_F(Log, NothingIsWrittenWhenStderrIsOff) {
    const auto result = runInChild([] {
        ORXLog_setStderrEnabled(0);
        logError("silence");
        return ORXLog_flush(&bound) ? 0 : 1;
    });
    EXPECT_TRUE(exitedWith(result, 0));
    EXPECT_EQ(result.text, "");
}

TEST_F(Log, StderrShowsTheLevelsThatItIsToShowAndSinksGetAll) {
    const auto result = runInChild([] {
        static std::atomic<int> lines{0};
        ORXLog_addSink([](void*, const ORXLogLine*) { ++lines; }, nullptr);
        ORXLog_setStderrLevels(ORX_LOG_BIT_ERROR);
        logError("shown");
        ORXLogParamString_printWithParams(
            -1, ORX_LOG_BIT_STATUS, ORX_LOG_MODULE_DDS, __FILE__, __LINE__, "function", "%s", "collected");
        return ORXLog_flush(&bound) && lines == 2 ? 0 : 1;
    });
    EXPECT_TRUE(exitedWith(result, 0));
    EXPECT_NE(result.text.find("shown"), std::string::npos);
    EXPECT_EQ(result.text.find("collected"), std::string::npos);
}

// Puts a pipe that nobody reads, full to the brim, in the place of stderr. Gives the end to read.
int blockStderr() {
    int ends[2];
    if (pipe(ends) != 0)
        std::abort();
    fcntl(ends[1], F_SETFL, O_NONBLOCK);
    const std::string filling(4096, '.');
    while (write(ends[1], filling.data(), filling.size()) > 0) {
    }
    while (write(ends[1], ".", 1) > 0) {
    }
    fcntl(ends[1], F_SETFL, 0);
    dup2(ends[1], STDERR_FILENO);
    close(ends[1]);
    return ends[0];
}

TEST_F(Log, BlockedStderrHoldsUpNobodyAndLostLinesAreCounted) {
    const auto result = runInChild([] {
        const int readEnd = blockStderr();
        const auto begin = std::chrono::steady_clock::now();
        for (int i = 0; i < 1000; ++i)
            logError("into a full pipe");
        const ORXNtpTime short_{0, ORXNtpTime_fractionFromMilliseconds(20)};
        if (ORXLog_flush(&short_))
            return 1;
        if (std::chrono::steady_clock::now() - begin > std::chrono::seconds(60))
            return 2;
        const auto lost = ORXLog_getLostLineCount();
        if (lost < 1000 - 300 || lost > 1000 - 200)
            return 3;
        // Once somebody reads, what was queued comes, and a line that tells of the loss.
        std::string text;
        const std::string note = std::to_string(lost) + " log lines were lost\n";
        char buffer[4096];
        while (text.find(note) == std::string::npos) {
            const ssize_t count = read(readEnd, buffer, sizeof buffer);
            if (count <= 0)
                return 4;
            text.append(buffer, static_cast<std::size_t>(count));
        }
        if (!ORXLog_flush(&bound))
            return 5;
        const auto written = std::count(text.begin(), text.end(), '\n') - 1;
        return static_cast<ORX_UINT64>(written) + lost == 1000 ? 0 : 6;
    });
    EXPECT_TRUE(exitedWith(result, 0)) << result.status;
}

TEST_F(Log, BlockedStderrHoldsUpTheEndOfTheProcessOnlyBriefly) {
    const auto begin = std::chrono::steady_clock::now();
    const auto result = runInChild([] {
        blockStderr();
        logError("into a full pipe");
        return 7;
    });
    EXPECT_TRUE(exitedWith(result, 7));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(60));
}

TEST_F(Log, StderrThatCannotBeWrittenIsSurvived) {
    const auto brokenPipe = runInChild([] {
        int ends[2];
        if (pipe(ends) != 0)
            return 1;
        close(ends[0]);
        dup2(ends[1], STDERR_FILENO);
        logError("nobody reads");
        if (!ORXLog_flush(&bound))
            return 2;
        return ORXLog_getLostLineCount() == 1 ? 0 : 3;
    });
    EXPECT_TRUE(exitedWith(brokenPipe, 0)) << brokenPipe.status;
    const auto closed = runInChild([] {
        close(STDERR_FILENO);
        logError("nothing there");
        if (!ORXLog_flush(&bound))
            return 2;
        return ORXLog_getLostLineCount() == 1 ? 0 : 3;
    });
    EXPECT_TRUE(exitedWith(closed, 0)) << closed.status;
}

TEST_F(Log, ForkedChildStartsItsOwnWriter) {
    const auto result = runInChild([] {
        logError("from the parent");
        if (!ORXLog_flush(&bound))
            return 1;
        const pid_t child = fork();
        if (child == 0) {
            logError("from the child");
            std::exit(ORXLog_flush(&bound) ? 0 : 1);
        }
        int status = 0;
        waitpid(child, &status, 0);
        logError("from the parent again");
        return WIFEXITED(status) ? WEXITSTATUS(status) : 9;
    });
    EXPECT_TRUE(exitedWith(result, 0)) << result.status;
    const auto lines = linesOf(result.text);
    ASSERT_EQ(lines.size(), 3U) << result.text;
    EXPECT_NE(lines[1].find("from the child"), std::string::npos);
}

TEST_F(Log, ForkedChildDoesNotWriteOrAwaitItsParentsLines) {
    const auto result = runInChild([] {
        const int readEnd = blockStderr();
        for (int i = 0; i < 10; ++i)
            logError("queued in the parent");
        const auto begin = std::chrono::steady_clock::now();
        const pid_t child = fork();
        if (child == 0) {
            const bool flushed = ORXLog_flush(nullptr) != 0; // nothing is queued here
            // What a sanitizer has to say at the end must not wait for the pipe.
            dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
            std::exit(flushed ? 0 : 1);
        }
        int status = 0;
        waitpid(child, &status, 0);
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
            return 1;
        if (std::chrono::steady_clock::now() - begin > std::chrono::seconds(60))
            return 2;
        close(readEnd);
        return 0;
    });
    EXPECT_TRUE(exitedWith(result, 0)) << result.status;
}

TEST_F(Log, WriterIsNoLeak) {
    const auto result = runInChild([] {
        const auto buffers = ORXOsapiHeap_getLiveBufferCount();
        const auto threads = ORXOsapiThread_getLiveThreadCount();
        logError("one");
        if (!ORXLog_flush(&bound))
            return 1;
        if (ORXOsapiHeap_getLiveBufferCount() != buffers)
            return 2;
        return ORXOsapiThread_getLiveThreadCount() == threads ? 0 : 3;
    });
    EXPECT_TRUE(exitedWith(result, 0)) << result.status;
}

} // namespace
