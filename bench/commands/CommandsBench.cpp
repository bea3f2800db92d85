// How long others wait while a command changes 10,000 resources: a thread that pushes event metrics, as a
// program's thread does under the agent, and a thread that makes and deletes an entity's resource under the
// library lock, as the agent's own thread does. The command comes over the real engine, from a participant in
// this process.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "bench/common/Compare.hpp"
#include "orxmonitoring2d/dds_status.h"
#include "send/Request.hpp"
#include "send/Session.hpp"
#include "src/dataModel/MetricCatalogue.h"
#include "zddsc/monitoring.h"
#include "zddscore/log.h"

extern "C" void ORX_Monitoring_initialize(void);

namespace {

using Clock = std::chrono::steady_clock;

constexpr DDS_DomainId_t monitoringDomain = 95;
constexpr std::size_t topicCount = 10'000;
constexpr int commandCount = 10;
constexpr DDS_UnsignedLong inconsistentTopicGroup = 3;

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "commands_bench: %s\n", what);
    std::_Exit(1);
}

DDS_Boolean noGroup(void** group, const void*, DDS_UnsignedLong) {
    *group = nullptr;
    return DDS_BOOLEAN_FALSE;
}

class Library {
public:
    Library() {
        ORX_MonitoringHost_initialize();
        ORX_Monitoring_initialize();
        ORX_MonitoringProperty_t property{};
        ORX_MonitoringProperty_t_initialize(&property);
        property.domain_id = monitoringDomain;
        DDS_String_replace(&property.application_name, "bench");
        table = ORX_MonitoringHost_start(&property);
        ORX_MonitoringProperty_t_finalize_ex(&property, DDS_BOOLEAN_FALSE);
        if (table == nullptr)
            fail("the library did not start");
        participant =
            add(DDS_PARTICIPANT_ENTITY_KIND, ORX_MONITORING_PARTICIPANT_CLASS_ID, table->rootResource);
        for (std::size_t i = 0; i < topicCount; ++i)
            topics.push_back(add(DDS_TOPIC_ENTITY_KIND, ORX_MONITORING_TOPIC_CLASS_ID, participant));
    }

    ORX_MonitoringResource* add(
        DDS_EntityKind kind, DDS_UnsignedLong classId, ORX_MonitoringResource* parent) {
        static const ORX_MonitoringResourceForwarder forwarder{noGroup, nullptr};
        const std::uint64_t number = ++made_;
        DDS_GUID_t guid{{1, 2, 3, 4}};
        std::memcpy(guid.value + 8, &number, sizeof number);
        DDS_Entity* entity = DDS_Entity_create_observedI(kind, &guid, 0);
        const std::string name = "r" + std::to_string(number);
        DDS_UnsignedLong index = 0;
        (void)ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1, 1, nullptr);
        auto* resource = table->assertResourceFunction(
            table, &index, &guid, classId, name.c_str(), entity, parent, &forwarder);
        (void)ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1);
        if (resource == nullptr)
            fail("a resource was not asserted");
        indexes_.push_back(index);
        return resource;
    }
    DDS_UnsignedLong indexOf(std::size_t topic) const { return indexes_[topic + 1]; }

    ORX_MonitoringClass* table = nullptr;
    ORX_MonitoringResource* participant = nullptr;
    std::vector<ORX_MonitoringResource*> topics;

private:
    std::atomic<std::uint64_t> made_{0};
    std::vector<DDS_UnsignedLong> indexes_;
};

// Does its work over and over, and notes how long each took.
std::vector<double> timeWhile(const std::atomic<bool>& goesOn, const std::function<void(std::size_t)>& work) {
    std::vector<double> times;
    times.reserve(1 << 20);
    for (std::size_t i = 0; goesOn.load(std::memory_order_relaxed) && times.size() < times.capacity(); ++i) {
        const auto begin = Clock::now();
        work(i);
        times.push_back(std::chrono::duration<double, std::nano>(Clock::now() - begin).count());
        std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
    return times;
}

bench::Row rowOf(const std::string& name, std::vector<double> times) {
    bench::Row row;
    row.name = name;
    if (times.empty())
        return row;
    std::sort(times.begin(), times.end());
    row.nanoseconds = row.p50 = times[times.size() / 2];
    row.p99 = times[times.size() * 99 / 100];
    row.perPiece = times.back() / 1000;
    row.ratio = row.ratioLow = row.ratioHigh = 1;
    return row;
}

} // namespace

int main(int argc, char** argv) {
    ORXLog_setStderrEnabled(0); // the group function refuses on purpose
    Library library;
    std::string error;
    const auto session = send::Session::open(monitoringDomain, {}, error);
    send::Application application{};
    if (session == nullptr || session->find("bench", Clock::now() + std::chrono::seconds(30), application,
                                  error) != send::Session::Finding::found)
        fail(error.c_str());
    const send::Operation* set = send::findOperation("set_metric_subscription_state");
    const send::Bytes requests[] = {
        send::encodeRequest(*set, {{"//topics/*", {"*"}, {}, {}}}),
        send::encodeRequest(*set, {{"//topics/*", {}, {"*"}, {}}}),
    };

    const auto push = [&](std::size_t i) {
        const std::size_t topic = i * 7919 % topicCount;
        DDS_Monitoring_InconsistentTopicStatus status{static_cast<DDS_Long>(i), 1};
        const DDS_UnsignedLong index = library.indexOf(topic);
        (void)ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_METRIC, index, 1, 1, nullptr);
        library.table->pushEventMetricFunction(
            library.table, &status, library.topics[topic], inconsistentTopicGroup);
        (void)ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_METRIC, index, 1);
    };
    std::vector<bench::Row> rows;
    for (const bool isCommanded : {false, true}) {
        std::atomic<bool> goesOn{true};
        std::vector<double> pushes, asserts, commands;
        std::thread pusher([&] { pushes = timeWhile(goesOn, push); });
        std::thread asserter([&] {
            asserts = timeWhile(goesOn, [&](std::size_t) {
                library.add(
                    DDS_PUBLISHER_ENTITY_KIND, ORX_MONITORING_PUBLISHER_CLASS_ID, library.participant);
            });
        });
        if (isCommanded) {
            for (int i = 0; i < commandCount; ++i) {
                send::Guid identifier;
                const auto begin = Clock::now();
                if (!session->ask(application, requests[i % 2], begin + std::chrono::seconds(60), identifier))
                    fail("no reply");
                commands.push_back(std::chrono::duration<double, std::nano>(Clock::now() - begin).count());
                (void)session->awaitAcknowledged(Clock::now() + std::chrono::seconds(5));
            }
        } else {
            std::this_thread::sleep_for(std::chrono::seconds(2));
        }
        goesOn = false;
        pusher.join();
        asserter.join();
        const std::string when = isCommanded ? ", during commands" : ", alone";
        rows.push_back(rowOf("push with its mutex" + when, pushes));
        rows.push_back(rowOf("resource made under the library lock" + when, asserts));
        if (isCommanded)
            rows.push_back(rowOf("command to its reply", commands));
    }
    const bench::Table table{"Others while a command changes 10,000 resources",
        "longest wait in us, in parentheses; a program's threads push, and only the agent's own thread takes "
        "the "
        "library lock",
        rows};
    bench::print(table);
    bench::writeJson(argc > 1 ? argv[1] : "", {table});
    std::fflush(stdout);
    std::_Exit(0); // the tree goes with the process
}
