// How long others wait while a command changes 10,000 resources: a program's thread that pushes event
// metrics, a program's thread that creates and deletes entities under the agent, and a thread that makes
// resources under the library lock, as the agent's own thread does. Commands come over the real engine, from
// a participant in this process.
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

#include "bench/commands/Program.hpp"
#include "bench/commands/Waits.hpp"
#include "bench/common/Child.hpp"
#include "bench/common/Compare.hpp"
#include "orxmonitoring2d/dds_status.h"
#include "send/Request.hpp"
#include "send/Session.hpp"
#include "src/dataModel/MetricCatalogue.h"
#include "zddsc/monitoring.h"
#include "zddscore/log.h"

extern "C" void ORX_Monitoring_initialize(void);

namespace {

using bench::Clock;
using bench::fail;
using bench::Seen;
using bench::Waits;

constexpr std::size_t topicCount = 10'000;
constexpr int rounds = 6;
constexpr int commandsInRound = 4;
constexpr std::chrono::milliseconds aloneInRound{500};
constexpr DDS_UnsignedLong inconsistentTopicGroup = 3;

// Every value of every group, as an agent's: it is there, and only handed out. Zeros are a value of every
// type but texts.
alignas(64) unsigned char zeros[4096];
char text[] = "text";

template <DDS_UnsignedLong firstText, DDS_UnsignedLong lastText>
DDS_Boolean getGroup(void** group, const void*, DDS_UnsignedLong index) {
    *group = index >= firstText && index <= lastText ? static_cast<void*>(text) : zeros;
    return DDS_BOOLEAN_TRUE;
}
constexpr ORX_MonitoringResourceForwarder topicGroups{getGroup<1, 2>, nullptr};
constexpr ORX_MonitoringResourceForwarder participantGroups{getGroup<3, 3>, nullptr};
constexpr ORX_MonitoringResourceForwarder publisherGroups{getGroup<1, 0>, nullptr};

// ---- An application in this process ----

class Library {
public:
    explicit Library(int domain) {
        ORX_MonitoringHost_initialize();
        ORX_Monitoring_initialize();
        ORX_MonitoringProperty_t property{};
        ORX_MonitoringProperty_t_initialize(&property);
        property.domain_id = domain;
        DDS_String_replace(&property.application_name, "bench");
        table_ = ORX_MonitoringHost_start(&property);
        ORX_MonitoringProperty_t_finalize_ex(&property, DDS_BOOLEAN_FALSE);
        if (table_ == nullptr)
            fail("the library did not start");
        participant_ = add(DDS_PARTICIPANT_ENTITY_KIND, ORX_MONITORING_PARTICIPANT_CLASS_ID,
            table_->rootResource, participantGroups)
                           .resource;
        for (std::size_t i = 0; i < topicCount; ++i)
            topics_.push_back(
                add(DDS_TOPIC_ENTITY_KIND, ORX_MONITORING_TOPIC_CLASS_ID, participant_, topicGroups));
    }

    void addPublisher() {
        (void)add(
            DDS_PUBLISHER_ENTITY_KIND, ORX_MONITORING_PUBLISHER_CLASS_ID, participant_, publisherGroups);
    }
    void push() {
        const Asserted& topic = topics_[++pushed_ * 7919 % topicCount];
        DDS_Monitoring_InconsistentTopicStatus status{static_cast<DDS_Long>(pushed_), 1};
        (void)ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_METRIC, topic.index, 1, 1, nullptr);
        table_->pushEventMetricFunction(table_, &status, topic.resource, inconsistentTopicGroup);
        (void)ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_METRIC, topic.index, 1);
    }

private:
    struct Asserted {
        ORX_MonitoringResource* resource;
        DDS_UnsignedLong index;
    };

    Asserted add(DDS_EntityKind kind, DDS_UnsignedLong classId, ORX_MonitoringResource* parent,
        const ORX_MonitoringResourceForwarder& groups) {
        const std::uint64_t number = ++made_;
        DDS_GUID_t guid{{1, 2, 3, 4}};
        std::memcpy(guid.value + 8, &number, sizeof number);
        DDS_Entity* entity = DDS_Entity_create_observedI(kind, &guid, 0);
        const std::string name = "r" + std::to_string(number);
        Asserted asserted{};
        (void)ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1, 1, nullptr);
        asserted.resource = table_->assertResourceFunction(
            table_, &asserted.index, &guid, classId, name.c_str(), entity, parent, &groups);
        (void)ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1);
        if (asserted.resource == nullptr)
            fail("a resource was not asserted");
        return asserted;
    }

    ORX_MonitoringClass* table_ = nullptr;
    ORX_MonitoringResource* participant_ = nullptr;
    std::vector<Asserted> topics_;
    std::uint64_t made_ = 0;
    std::size_t pushed_ = 0;
};

// ---- The sender ----

// Sends commands that give every topic all its metrics and none, in turns.
class Sender {
public:
    Sender(int domain, const std::string& application) {
        std::string error;
        session_ = send::Session::open(domain, {}, error);
        if (session_ == nullptr || session_->find(application, Clock::now() + std::chrono::seconds(60),
                                       application_, error) != send::Session::Finding::found)
            fail(error.c_str());
        const send::Operation* set = send::findOperation("set_metric_subscription_state");
        requests_ = {send::encodeRequest(*set, {{"//topics/*", {"*"}, {}, {}}}),
            send::encodeRequest(*set, {{"//topics/*", {}, {"*"}, {}}})};
    }

    // Nanoseconds of each, to its reply.
    Waits sendCommands() {
        Waits times;
        for (int i = 0; i < commandsInRound; ++i) {
            times.push_back(bench::timeOf([&] {
                send::Guid identifier;
                const auto reply = session_->ask(application_, requests_[static_cast<std::size_t>(i % 2)],
                    Clock::now() + std::chrono::seconds(60), identifier);
                if (!reply ||
                    send::decodeReply(reply->data(), reply->size()).value_or(send::Result{0, 2, {}}).code !=
                        0)
                    fail("a command was not done");
            }));
            (void)session_->awaitAcknowledged(Clock::now() + std::chrono::seconds(5));
        }
        return times;
    }

private:
    std::unique_ptr<send::Session> session_;
    send::Application application_{};
    std::vector<send::Bytes> requests_;
};

// ---- The rounds ----

const char* const moments[] = {", alone", ", during commands"};

// Alone and during commands in turns.
template <typename Begin, typename End>
void goThroughRounds(Sender& sender, Seen& commands, Begin begin, End end) {
    (void)sender.sendCommands(); // arenas grow
    for (int round = 0; round < rounds; ++round) {
        for (const bool isCommanded : {false, true}) {
            begin();
            Waits times;
            if (isCommanded)
                times = sender.sendCommands();
            else
                std::this_thread::sleep_for(aloneInRound);
            const Waits control = end(isCommanded);
            commands.add(times, control);
        }
    }
}

struct Kind {
    explicit Kind(const std::string& name) : seen{Seen{name + moments[0]}, Seen{name + moments[1]}} {}
    Seen seen[2];
};

void addRows(bench::Table& table, std::initializer_list<const Kind*> kinds) {
    for (const Kind* kind : kinds)
        for (const Seen& seen : kind->seen)
            table.rows.push_back(seen.row());
}

bench::Table measureLibrary(int domain) {
    Library library(domain);
    Sender sender(domain, "bench");
    Kind control{"control: comes late from a sleep"}, push{"push with its mutex"},
        make{"resource made under the library lock"};
    Seen commands{"command to its reply"};
    std::atomic<bool> goesOn{false};
    Waits pushes, makes, lateness;
    std::vector<std::thread> threads;
    goThroughRounds(
        sender, commands,
        [&] {
            goesOn = true;
            threads.emplace_back([&] { pushes = bench::timeWhile(goesOn, [&] { library.push(); }); });
            threads.emplace_back([&] { makes = bench::timeWhile(goesOn, [&] { library.addPublisher(); }); });
            threads.emplace_back([&] { lateness = bench::latenessWhile(goesOn); });
        },
        [&](bool isCommanded) {
            goesOn = false;
            for (auto& thread : threads)
                thread.join();
            threads.clear();
            control.seen[isCommanded].add(lateness, lateness);
            push.seen[isCommanded].add(pushes, lateness);
            make.seen[isCommanded].add(makes, lateness);
            return lateness;
        });
    bench::Table table{"Others while a command changes 10,000 resources",
        "ratio: of the longest waits of a round, to the control's; in parentheses the longest of all, in us. "
        "Only the agent's own thread makes resources",
        {}};
    addRows(table, {&control, &push, &make});
    table.rows.push_back(commands.row());
    return table;
}

bench::Table measureProgram(int domain) {
    Program program(claimDomain(), domain, "program", topicCount);
    Sender sender(domain, "program");
    Kind control{"control: comes late from a sleep"}, create{"dds_create_writer under the agent"},
        destroy{"dds_delete under the agent"};
    Seen commands{"command to its reply"};
    goThroughRounds(
        sender, commands, [&] { program.begin(); },
        [&](bool isCommanded) {
            const Program::Answer answer = program.end();
            control.seen[isCommanded].add(answer.control, answer.control);
            create.seen[isCommanded].add(answer.create, answer.control);
            destroy.seen[isCommanded].add(answer.destroy, answer.control);
            return answer.control;
        });
    bench::Table table{"A program's thread while a command changes 10,000 resources of the program",
        "ratio: of the longest waits of a round, to the control's; in parentheses the longest of all, in us",
        {}};
    addRows(table, {&control, &create, &destroy});
    table.rows.push_back(commands.row());
    return table;
}

} // namespace

int main(int argc, char** argv) {
    ORXLog_setStderrEnabled(0); // a busy machine may drop samples, which is told a hundred times a second
    const int domain = claimDomain();
    std::vector<bench::Table> tables;
    tables.push_back(measureProgram(domain));
    tables.push_back(measureLibrary(domain));
    for (const bench::Table& table : tables)
        bench::print(table);
    bench::writeJson(argc > 1 ? argv[1] : "", tables);
    std::fflush(stdout);
    std::_Exit(0); // the tree goes with the process
}
