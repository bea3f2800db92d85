#include "agent/Agent.hpp"

#include <dlfcn.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "agent/AgentLog.hpp"
#include "agent/Engine.hpp"
#include "agent/Interposition.hpp"
#include "agent/Listeners.hpp"
#include "agent/MetricGroups.hpp"
#include "agent/Push.hpp"
#include "agent/Sampler.hpp"
#include "agent/Settings.hpp"
#include "agent/logs/LogCapture.hpp"
#include "zddscore/inline_memory_bound.h"

namespace orx::agent {

namespace {

OrxEngineFunctions engineFunctions;

// At the program's end: how long work that is queued may take, and how long what was handed to the library
// needs to leave the process, which is its publication period and a little more.
constexpr int64_t endBoundNs = 300'000'000;
constexpr int64_t publicationNs = 150'000'000;
// On a busy machine the library's threads come later: what the last work made is waited for this long.
constexpr int64_t lateNs = 500'000'000;
constexpr size_t workUnderOneLock = 64;

// Whether the program's stderr was open when it began: what has got its number since is no place for lines.
bool hasStderr = true;

// Never destroyed: callbacks of the engine may come until the process is gone.
Registry& theRegistry() {
    alignas(Registry) static char memory[sizeof(Registry)];
    static auto* registry = new (memory) Registry;
    return *registry;
}

// Never destroyed, like the registry.
Sampler& theSampler() {
    alignas(Sampler) static char memory[sizeof(Sampler)];
    static auto* sampler = new (memory) Sampler(theRegistry());
    return *sampler;
}

pid_t startedIn = 0;
int64_t pollingPeriodNs = 0;                // agent thread
std::atomic<int64_t> lastWorkNs{0};         // relaxed: a moment more or less does no harm
std::atomic<uint64_t> writtenBeforeWork{0}; // samples of the process when the last work began

class LibraryLock {
public:
    LibraryLock()
        : isHeld_(ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1, 1, nullptr) ==
                  ORX_MONITORING_LOCK_RESULT_OK) {}
    ~LibraryLock() {
        if (isHeld_)
            ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1);
    }
    LibraryLock(const LibraryLock&) = delete;
    LibraryLock& operator=(const LibraryLock&) = delete;
    explicit operator bool() const { return isHeld_; }

private:
    bool isHeld_;
};

void assertResource(ORX_MonitoringClass& library, Observed& observed) {
    ORX_MonitoringResource* parent =
        observed.parent != nullptr ? observed.parent->resource : library.rootResource;
    if (parent == nullptr)
        return AGENT_WARNING(FAILED_TO_ASSERT, "'%s': its parent has no resource", observed.name);
    uint32_t generations[maximumStatuses];
    noteGenerations(observed, generations);
    DDS_UnsignedLong index = 0;
    ORX_MonitoringResource* resource = library.assertResourceFunction(&library, &index, &observed.guid,
        classIdOf(observed.kind), observed.name, observed.standIn, parent, &resourceForwarder());
    if (resource == nullptr)
        return AGENT_WARNING(FAILED_TO_ASSERT, "'%s'", observed.name);
    attachResource(observed, resource, index, generations);
}

void deleteResource(ORX_MonitoringClass& library, Observed& observed) {
    ORX_MonitoringResource* resource = observed.resource;
    Registry::walk(observed, [](Observed& at) { detachResource(at); });
    if (resource != nullptr)
        library.deleteResourceFunction(&library, resource);
}

bool startLibrary() {
    ORX_MonitoringProperty_t property;
    if (!ORX_MonitoringProperty_t_initialize(&property))
        return false;
    const bool isFilled = fillProperty(property);
    applyCollection();
    applyQueueLimit();
    const DDS_Duration_t& period = property.periodic.polling_period;
    pollingPeriodNs = int64_t{period.sec} * 1'000'000'000 + period.nanosec;
    const bool isStarted = isFilled && ORX_MonitoringHost_load_library(std::getenv("ORX_AGENT_LIBRARY")) &&
                           ORX_MonitoringHost_start(&property) != nullptr;
    ORX_MonitoringProperty_t_finalize_ex(&property, DDS_BOOLEAN_FALSE);
    return isStarted;
}

// Figures are never older than half of a polling period, nor than a second.
int64_t samplingIntervalNs() {
    constexpr int64_t longest = 1'000'000'000;
    constexpr int64_t shortest = 10'000'000;
    return std::clamp(pollingPeriodNs / 2, shortest, longest);
}

uint64_t countWritten() {
    DDS_DataWriterCountersI counters;
    DDS_DataWriter_get_total_countersI(&counters);
    return counters.written;
}

// Nothing is pushed any more once this is done, so that the library may go.
void detachAll(Registry& registry) {
    const EntityList all(registry, nullptr, [](const Observed&) { return true; });
    for (Observed* observed : all)
        detachResource(*observed);
}

void* runAgent(void*) {
    pthread_setname_np(pthread_self(), "orxAgent");
    markThreadOfMonitoring();
    Registry& registry = theRegistry();
    if (startLibrary()) {
        AGENT_STATUS(CREATE, "the monitoring library; what the program makes is monitored");
        if (!theSampler().start(samplingIntervalNs()))
            AGENT_WARNING(FAILED_TO_CREATE, "the sampler's thread: periodic metrics stay as they are");
        while (registry.waitForWork()) {
            const uint64_t written = countWritten();
            if (!processWork(registry, workUnderOneLock))
                break;
            writtenBeforeWork.store(written, std::memory_order_relaxed);
            lastWorkNs.store(Deadline::now(), std::memory_order_relaxed);
        }
        AGENT_WARNING(FAILURE, "monitoring has ended with the engine or the library; the program runs on");
        registry.stopWork();
        theSampler().stop();
        detachAll(registry);
        ORX_MonitoringHost_stop();
    } else {
        AGENT_WARNING(FAILED_TO_CREATE, "the monitoring library: the program runs on without monitoring");
        registry.stopWork();
    }
    registry.markStopped();
    return nullptr;
}

// Detached: nobody waits for it, and it may end before the process does. It takes no signals, which are the
// program's.
bool startThread() {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0)
        return false;
    pthread_t thread;
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const bool isStarted = pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED) == 0 &&
                           pthread_create(&thread, &attributes, runAgent, nullptr) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pthread_attr_destroy(&attributes);
    return isStarted;
}

// What the monitoring could not publish, by its cause.
void tellLosses() {
    DDS_DataWriterCountersI counters;
    DDS_DataWriter_get_total_countersI(&counters);
    const struct {
        const char* cause;
        DDS_UnsignedLongLong count;
    } losses[] = {{"queue full", counters.dropped_queue_full},
        {"refused by the engine", counters.dropped_engine}, {"not encodable", counters.dropped_encoding},
        {"no memory", counters.dropped_no_memory}, {"time-out", counters.dropped_timeout},
        {"no destination in time", counters.dropped_deadline},
        {"no room in a queue at its limit", REDAInlineMemory_getRefusalCountI()}};
    char text[512] = "";
    size_t length = 0;
    for (const auto& loss : losses) {
        if (loss.count != 0 && length < sizeof text)
            length += static_cast<size_t>(std::snprintf(text + length, sizeof text - length, "%s%s %llu",
                length != 0 ? ", " : "", loss.cause, static_cast<unsigned long long>(loss.count)));
    }
    if (length == 0)
        return;
    AGENT_WARNING(FAILURE, "samples of the monitoring were dropped: %s; published: %llu", text,
        static_cast<unsigned long long>(counters.written));
}

// Waits for what is under way to be published.
void settle() {
    const int64_t deadline = Deadline::now() + endBoundNs;
    theSampler().pause(deadline);
    if (!theRegistry().waitUntilIdle(deadline))
        return;
    const int64_t lastWork = lastWorkNs.load(std::memory_order_relaxed);
    const int64_t published = (lastWork > lastCollectionNs() ? lastWork : lastCollectionNs()) + publicationNs;
    const int64_t left = (published < deadline ? published : deadline) - Deadline::now();
    if (left > 0)
        usleep(static_cast<useconds_t>(left / 1000));
    // Each piece of work makes a sample at least.
    while (lastWork != 0 && Deadline::now() < lastWork + lateNs &&
           countWritten() <= writtenBeforeWork.load(std::memory_order_relaxed))
        usleep(10'000);
}

// At the program's end, on the thread that ends it. In a child that was forked nothing of the agent runs.
void quiesce() {
    if (getpid() != startedIn)
        return;
    settle();
    tellLosses();
}

bool refuse(const char* reason) {
    if (hasStderr)
        std::fprintf(stderr, "orx-agent: not monitoring: %s\n", reason);
    return false;
}

bool applySettings(int32_t& domain) {
    Problem problem;
    checkEnvironment(problem);
    if (problem)
        return refuse(problem.text);
    const char* verbosityText = std::getenv("ORX_AGENT_VERBOSITY");
    Verbosity verbosity = defaultVerbosity;
    if (verbosityText != nullptr)
        parseVerbosity(verbosityText, verbosity);
    setVerbosity(hasStderr ? verbosity : Verbosity::silent);
    const char* domainText = std::getenv("ORX_AGENT_DOMAIN");
    domain = defaultDomain;
    if (domainText != nullptr)
        parseDomain(domainText, domain);
    return true;
}

// The engine that this library calls must be the one that the program calls.
bool isSameEngine(const OrxEngineFunctions& functions) {
    Dl_info program{};
    Dl_info own{};
    return dladdr(reinterpret_cast<const void*>(functions.dds_create_participant), &program) != 0 &&
           dladdr(reinterpret_cast<const void*>(&dds_create_listener), &own) != 0 &&
           program.dli_fbase == own.dli_fbase;
}

const OrxAgentTable* makeTable(const OrxShimStart& start, int32_t domain) {
    static OrxAgentTable table;
    fillInterposedFunctions(table.functions);
    fillLogCapture(table.log, domain);
    table.ownCode[table.ownCodeCount++] = start.codeRangeOf(reinterpret_cast<const void*>(&orxAgent_start));
    table.ownCode[table.ownCodeCount++] =
        start.codeRangeOf(reinterpret_cast<const void*>(&ORX_MonitoringHost_start));
    return &table;
}

} // namespace

const OrxEngineFunctions& engine() {
    return engineFunctions;
}
void setEngine(const OrxEngineFunctions& functions) {
    engineFunctions = functions;
}

bool processWork(Registry& registry, size_t maximum) {
    const LibraryLock lock;
    const ORX_MonitoringGlobals* globals = lock ? ORX_MonitoringGlobals_get_instance() : nullptr;
    if (globals == nullptr || globals->monitoringClass == nullptr)
        return false;
    for (size_t i = 0; i < maximum; ++i) {
        const Registry::Task task = registry.takeWork();
        if (!task.observed)
            return true;
        if (task.isDeletion) {
            deleteResource(*globals->monitoringClass, *task.observed);
            registry.deleted(*task.observed);
        } else {
            assertResource(*globals->monitoringClass, *task.observed);
        }
    }
    return true;
}

} // namespace orx::agent

const OrxAgentTable* orxAgent_start(const OrxShimStart* start) {
    using namespace orx::agent;
    int32_t domain = 0;
    hasStderr = start->hasStderr;
    if (!isSameEngine(*start->engine))
        return refuse("the program uses another copy of the DDS library"), nullptr;
    if (!applySettings(domain) || !ORX_MonitoringHost_initialize() ||
        !startLogCapture(start->setCollectedCategories))
        return nullptr;
    Registry& registry = theRegistry();
    setEngine(*start->engine);
    setDataEntryFunctions(start->attachData, start->detachData);
    setListenerRegistry(registry);
    setMetricGroupRegistry(registry);
    setInterpositionRegistry(registry, domain);
    startedIn = getpid();
    if (std::atexit(quiesce) != 0)
        return nullptr;
    if (!startThread())
        return AGENT_ERROR(FAILED_TO_CREATE, "the agent's thread"), nullptr;
    return makeTable(*start, domain);
}
