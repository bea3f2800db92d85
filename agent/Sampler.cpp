#include "agent/Sampler.hpp"

#include <signal.h>

#include <cstring>

#include "agent/AgentLog.hpp"
#include "agent/Push.hpp"

namespace orx::agent {

namespace {

// Relaxed: each figure stands for itself.
OrxDataCounters read(const OrxDataCounters* counters) {
    if (counters == nullptr)
        return {};
    const auto load = [](const uint64_t& counter) { return __atomic_load_n(&counter, __ATOMIC_RELAXED); };
    return {load(counters->samples), load(counters->readySamples), load(counters->readyBytes),
        load(counters->disposed), load(counters->unregistered)};
}

DDS_Long count(uint32_t value) {
    return static_cast<DDS_Long>(value > 0x7FFFFFFFU ? 0x7FFFFFFFU : value);
}

// The engine has no status for it, so its changes are found by looking. What changes before the entity has a
// resource is told once it has one.
void noteActivity(Observed& writer, const OrxWriterFigures& engine) {
    const DDS_Long active = count(engine.answeringReaders + engine.localReaders);
    const DDS_Long inactive = count(engine.silentReaders);
    DDS_Entity_lock(writer.standIn);
    auto& status = writer.statuses.writer.reliableActivityChanged;
    if (status.active_count != active || status.inactive_count != inactive) {
        status.active_count_change = active - status.active_count;
        status.inactive_count_change = inactive - status.inactive_count;
        status.active_count = active;
        status.inactive_count = inactive;
        writer.hasUntoldActivity = true;
    }
    if (writer.hasUntoldActivity && writer.resource != nullptr) {
        pushGroup(writer, reliableActivityGroup, &status);
        writer.hasUntoldActivity = false;
    }
    DDS_Entity_unlock(writer.standIn);
}

void sampleWriter(Observed& writer) {
    OrxWriterFigures engine;
    if (!orxEngine_readWriter(writer.handle, writer.guid.value, &writer.statistics, &engine))
        return;
    const OrxDataCounters counters = read(writer.counters);
    {
        Guard guard(writer.figuresMutex);
        updateFigures(writer.figures.writer, engine, counters);
    }
    if (engine.hasInnerFigures)
        noteActivity(writer, engine);
}

void sampleReader(Observed& reader) {
    OrxReaderFigures engine;
    if (!orxEngine_readReader(
            reader.handle, reader.guid.value, reader.hasOwnCache, &reader.statistics, &engine))
        return;
    const OrxDataCounters counters = read(reader.counters);
    Guard guard(reader.figuresMutex);
    updateFigures(reader.figures.reader, engine, counters);
}

bool isEndpoint(const Observed& observed) {
    return observed.kind == Kind::writer || observed.kind == Kind::reader;
}

} // namespace

void Sampler::sampleAll(Registry& registry) {
    const EntityList endpoints(registry, nullptr, isEndpoint);
    for (Observed* endpoint : endpoints) {
        if (endpoint->kind == Kind::writer)
            sampleWriter(*endpoint);
        else
            sampleReader(*endpoint);
    }
}

// False when it is to end.
bool Sampler::waitForTurn() {
    Guard guard(mutex_);
    for (const Deadline next = Deadline::in(intervalNs_); !isStopRequested_ && changed_.wait(mutex_, next);) {
    }
    isAtWork_ = !isStopRequested_;
    return isAtWork_;
}

void Sampler::endTurn() {
    Guard guard(mutex_);
    isAtWork_ = false;
    changed_.wakeAll();
}

void* Sampler::run(void* self) {
    pthread_setname_np(pthread_self(), "orxSampler");
    auto& sampler = *static_cast<Sampler*>(self);
    while (sampler.waitForTurn()) {
        sampleAll(sampler.registry_);
        sampler.endTurn();
    }
    Guard guard(sampler.mutex_);
    sampler.isRunning_ = false;
    sampler.changed_.wakeAll();
    return nullptr;
}

// Detached, since the process may end without stopping it. It takes no signals, which are the program's.
bool Sampler::start(int64_t intervalNs) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    intervalNs_ = intervalNs;
    if (const char* problem = orxEngine_checkInnerFigures(); problem != nullptr)
        AGENT_WARNING(FAILED_TO_GET, "figures of writers' and readers' caches: %s", problem);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_t thread;
    isRunning_ = true;
    const bool isStarted = pthread_create(&thread, nullptr, run, this) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (isStarted)
        pthread_detach(thread);
    Guard guard(mutex_);
    isRunning_ = isRunning_ && isStarted;
    return isStarted;
}

void Sampler::stop() {
    Guard guard(mutex_);
    isStopRequested_ = true;
    changed_.wakeAll();
    while (isRunning_)
        changed_.wait(mutex_);
}

bool Sampler::pause(int64_t deadlineNs) {
    Guard guard(mutex_);
    isStopRequested_ = true;
    changed_.wakeAll();
    while (isAtWork_) {
        if (!changed_.wait(mutex_, {deadlineNs}))
            return false;
    }
    return true;
}

} // namespace orx::agent
