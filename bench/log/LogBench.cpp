// What a log message of 100 characters costs the thread that logs it.
//
// Imitates a program that logs a burst now and then, from one thread and from two at once: between the bursts
// everybody has time to take the messages off, and nothing is dropped. The text is ready: nobody formats.
// The floor does the least that any such design must: it reads the clock, takes a recursive mutex, takes room
// from a bump allocator, copies the text and links it. Calls are timed one by one, in turns of a burst each;
// the cost of reading the clock is taken off.
#include <pthread.h>
#include <spdlog/async.h>
#include <spdlog/sinks/null_sink.h>

#include <algorithm>
#include <array>
#include <barrier>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <thread>

#include "bench/common/Compare.hpp"
#include "bench/log/Lttng.hpp"
#include "tests/helpers/TestDomain.hpp"
#include "zddsc/monitoring.h"
#include "zddscore/log.h"

extern "C" DDS_Boolean ORX_Monitoring_initialize(void);

namespace {

constexpr std::size_t burst = 200;
constexpr std::size_t rounds = 200;
constexpr std::size_t warmUpRounds = 20;

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "log_bench: %s\n", what);
    std::exit(1);
}

class Floor {
public:
    Floor() {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
        pthread_mutex_init(&mutex_, &attributes);
    }
    void log(const char* text) {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        pthread_mutex_lock(&mutex_);
        Node* node = &nodes_[next_++ % nodes_.size()];
        node->time = now;
        std::memcpy(node->text.data(), text, std::strlen(text) + 1);
        node->next = nullptr;
        if (tail_ != nullptr)
            tail_->next = node;
        tail_ = node;
        pthread_mutex_unlock(&mutex_);
    }

private:
    struct Node {
        Node* next;
        timespec time;
        std::array<char, 128> text;
    };
    pthread_mutex_t mutex_{};
    std::array<Node, 1024> nodes_{};
    std::size_t next_ = 0;
    Node* tail_ = nullptr;
};

void startLibrary() {
    ORX_MonitoringHost_initialize();
    ORX_Monitoring_initialize();
    ORX_MonitoringProperty_t property{};
    ORX_MonitoringProperty_t_initialize(&property);
    property.domain_id = testDomain();
    property.logging.publication_period = {0, 1'000'000}; // so that the library keeps up with the bursts
    if (ORX_MonitoringHost_start(&property) == nullptr)
        fail("the library did not start");
    ORX_MonitoringProperty_t_finalize_ex(&property, DDS_BOOLEAN_FALSE);
}

struct Candidate {
    const char* name;
    std::function<void(const char*)> log;
    std::vector<double> calls{}; // nanoseconds of each
    std::vector<double> means{}; // of a round
    double heapCalls = 0;
};

double nanosecondsSince(std::chrono::steady_clock::time_point begin) {
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - begin).count();
}

double costOfTheClock() {
    std::vector<double> all(10'000);
    for (double& one : all)
        one = nanosecondsSince(std::chrono::steady_clock::now());
    std::nth_element(all.begin(), all.begin() + 5'000, all.end());
    return all[5'000];
}

double percentile(std::vector<double>& all, double part) {
    const auto place = static_cast<std::ptrdiff_t>(part * static_cast<double>(all.size() - 1));
    std::nth_element(all.begin(), all.begin() + place, all.end());
    return all[static_cast<std::size_t>(place)];
}

// The bursts of one thread.
struct Producer {
    std::array<double, burst> calls{};
    std::uint64_t heapCalls = 0;

    void run(const std::function<void(const char*)>& log, const char* text) {
        const std::uint64_t before = bench::heapCalls();
        for (double& call : calls) {
            const auto begin = std::chrono::steady_clock::now();
            log(text);
            call = nanosecondsSince(begin);
        }
        heapCalls = bench::heapCalls() - before;
    }
};

// Threads that live through the whole run, so that what a thread makes once is made in the warm-up.
class Producers {
public:
    Producers(std::size_t count, std::string text)
        : text_(std::move(text)), producers_(count), start_(static_cast<std::ptrdiff_t>(count) + 1),
          end_(static_cast<std::ptrdiff_t>(count) + 1) {
        for (Producer& producer : producers_)
            threads_.emplace_back([this, &producer] {
                for (;;) {
                    start_.arrive_and_wait();
                    if (log_ == nullptr)
                        return;
                    producer.run(*log_, text_.c_str());
                    end_.arrive_and_wait();
                }
            });
    }
    ~Producers() {
        log_ = nullptr;
        start_.arrive_and_wait();
        for (auto& thread : threads_)
            thread.join();
    }
    Producers(const Producers&) = delete;
    Producers& operator=(const Producers&) = delete;

    const std::vector<Producer>& run(const std::function<void(const char*)>& log) {
        log_ = &log;
        start_.arrive_and_wait();
        end_.arrive_and_wait();
        return producers_;
    }

private:
    const std::string text_;
    std::vector<Producer> producers_;
    std::barrier<> start_;
    std::barrier<> end_;
    const std::function<void(const char*)>* log_ = nullptr;
    std::vector<std::thread> threads_;
};

bench::Row rowOf(Candidate& candidate, const Candidate& reference) {
    bench::Row row;
    row.name = candidate.name;
    std::vector<double> ratios(candidate.means.size());
    for (std::size_t i = 0; i < ratios.size(); ++i)
        ratios[i] = candidate.means[i] / reference.means[i];
    row.ratio = percentile(ratios, 0.5);
    row.ratioLow = percentile(ratios, 0.1);
    row.ratioHigh = percentile(ratios, 0.9);
    std::vector<double> means = candidate.means;
    row.nanoseconds = percentile(means, 0.5);
    row.p50 = percentile(candidate.calls, 0.5);
    row.p99 = percentile(candidate.calls, 0.99);
    row.heapCalls = candidate.heapCalls / static_cast<double>(candidate.calls.size());
    return row;
}

bench::Table measure(std::size_t threads, std::vector<Candidate> candidates) {
    const double clock = costOfTheClock();
    Producers producers(threads, std::string(100, 'x'));
    for (std::size_t round = 0; round < warmUpRounds + rounds; ++round) {
        for (Candidate& candidate : candidates) {
            double sum = 0;
            for (const Producer& producer : producers.run(candidate.log)) {
                if (round < warmUpRounds)
                    continue;
                candidate.heapCalls += static_cast<double>(producer.heapCalls);
                for (const double call : producer.calls) {
                    candidate.calls.push_back(std::max(call - clock, 0.0));
                    sum += candidate.calls.back();
                }
            }
            if (round >= warmUpRounds)
                candidate.means.push_back(sum / static_cast<double>(threads * burst));
            std::this_thread::sleep_for(std::chrono::milliseconds(3));
        }
    }
    bench::Table table;
    table.title = "Cost of a log message of 100 characters, " + std::to_string(threads) +
                  (threads == 1 ? " thread" : " threads at once");
    table.note = "bursts of 200 ready texts that nothing drops; ratio of a burst's mean to the first row's";
    for (Candidate& candidate : candidates)
        table.rows.push_back(rowOf(candidate, candidates[0]));
    return table;
}

} // namespace

int main(int argc, char** argv) {
    ORXLog_setStderrEnabled(0);
    startLibrary();
    ZDDS_Config_Logger* logger = ZDDS_Config_Logger_get_instance();
    const auto log = [logger](ZDDS_Config_LogFacility facility) {
        return [logger, facility](const char* text) {
            ZDDS_Config_Logger_log(logger, facility, ZDDS_CONFIG_SYSLOG_LEVEL_WARNING, 1, nullptr, text);
        };
    };
    spdlog::init_thread_pool(8192, 1);
    const auto peer =
        std::make_shared<spdlog::async_logger>("bench", std::make_shared<spdlog::sinks::null_sink_mt>(),
            spdlog::thread_pool(), spdlog::async_overflow_policy::overrun_oldest);
    Floor floor;
    const LttngSession session;

    std::vector<Candidate> candidates;
    candidates.push_back({"spdlog: asynchronous, overrun", [&](const char* text) { peer->warn(text); }});
    if (session.works())
        candidates.push_back(
            {"LTTng-UST: a tracepoint, session on", [](const char* text) { lttngLog(text); }});
    else
        std::fprintf(stderr, "log_bench: no session of LTTng here, the peer is left out\n");
    candidates.push_back({"ours: a service's message, device", log(ZDDS_CONFIG_LOG_FACILITY_SERVICE)});
    candidates.push_back({"ours: a user's message, postLogMessage", log(ZDDS_CONFIG_LOG_FACILITY_USER)});
    candidates.push_back(
        {"floor: clock, mutex, bump, copy, link", [&](const char* text) { floor.log(text); }});

    std::vector<bench::Table> tables{measure(1, candidates), measure(2, candidates)};
    if (spdlog::thread_pool()->overrun_counter() != 0)
        fail("spdlog dropped messages");
    for (const bench::Table& table : tables)
        bench::print(table);
    bench::writeJson(argc > 1 ? argv[1] : "", tables);
    ORX_MonitoringHost_stop();
    return 0;
}
