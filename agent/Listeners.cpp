#include "agent/Listeners.hpp"

#include <new>

#include "agent/Engine.hpp"
#include "agent/Push.hpp"
#include "agent/StatusKinds.hpp"

namespace orx::agent {

namespace {

Registry* callbackRegistry = nullptr;

// Wakes who waits for callbacks to end. Never ends itself: threads of the engine and of the program
// may be inside when the process's static destructors run.
Condition& callbackEnded() {
    alignas(Condition) static char memory[sizeof(Condition)];
    static auto* condition = new (memory) Condition;
    return *condition;
}

// The entity whose callback this thread is inside of: it must not wait for itself.
thread_local const Observed* insideCallbackOf = nullptr;

template <typename Status> void noteStatus(Observed& observed, const typename Status::EngineStatus& status) {
    DDS_Entity_lock(observed.standIn);
    Status::copy(observed, status);
    ++observed.generations[Status::slot];
    pushGroup(observed, Status::group, &Status::copyOf(observed));
    DDS_Entity_unlock(observed.standIn);
}

// Resets a status before the program's callback. While an entity is being made the engine does not know its
// handle yet: then the changes are kept, taken off what the program is told next, and reset when the entity
// stands.
template <typename Status>
void resetForProgram(Observed& observed, dds_entity_t entity, typename Status::EngineStatus& status) {
    typename Status::EngineStatus ignored;
    const bool isReset = Status::readAndReset(entity, &ignored) == DDS_RETCODE_OK;
    const Changes changes = changesOf(status);
    Guard guard(callbackRegistry->mutex);
    UnresetChanges& unreset = observed.unreset[Status::slot];
    const UnresetChanges before = unreset;
    unreset = {
        isReset ? 0 : *changes.first, isReset || changes.second == nullptr ? 0 : *changes.second, !isReset};
    *changes.first -= before.first;
    if (changes.second != nullptr)
        *changes.second -= before.second;
}

// The agent's callback in the engine.
template <typename Status>
void onStatus(dds_entity_t entity, typename Status::EngineStatus status, void* argument) {
    Observed& observed = *static_cast<Observed*>(argument);
    noteStatus<Status>(observed, status);
    Registry& registry = *callbackRegistry;
    ProgramCallback callback;
    {
        Guard guard(registry.mutex);
        callback = observed.callbacks[Status::slot];
        if (callback.function == nullptr)
            return;
        ++observed.callbacksRunning;
    }
    const Observed* outer = insideCallbackOf;
    insideCallbackOf = &observed;
    if (callback.resets && callback.inherited)
        resetForProgram<Status>(observed, entity, status);
    reinterpret_cast<typename Status::Callback>(callback.function)(entity, status, callback.argument);
    insideCallbackOf = outer;
    Guard guard(registry.mutex);
    if (--observed.callbacksRunning == 0)
        callbackEnded().wakeAll();
}

template <typename Status> ProgramCallback entryOf(const dds_listener_t* listener) {
    ProgramCallback entry;
    typename Status::Callback function = nullptr;
    if (Status::getCallback(listener, &function, &entry.argument, &entry.resets) == DDS_RETCODE_OK)
        entry.function = reinterpret_cast<void (*)()>(function);
    return entry;
}

template <typename Status> void setEntry(dds_listener_t* listener, const ProgramCallback& entry) {
    Status::setCallback(
        listener, reinterpret_cast<typename Status::Callback>(entry.function), entry.argument, entry.resets);
}

// Takes what a listener has and `entries` lack.
void inherit(Kind kind, ProgramCallback (&entries)[maximumStatuses], const dds_listener_t* ancestor) {
    forEachStatus(kind, [&]<typename Status>() {
        if (entries[Status::slot].function != nullptr)
            return;
        entries[Status::slot] = entryOf<Status>(ancestor);
        entries[Status::slot].inherited = entries[Status::slot].function != nullptr;
    });
}

void inheritFrom(Kind kind, ProgramCallback (&entries)[maximumStatuses], dds_entity_t ancestor) {
    const ListenerObject listener;
    if (engine().dds_get_listener(ancestor, listener.get()) == DDS_RETCODE_OK)
        inherit(kind, entries, listener.get());
}

void takeOwn(Kind kind, ProgramCallback (&entries)[maximumStatuses], const dds_listener_t* listener) {
    if (listener == nullptr)
        return;
    forEachStatus(kind, [&]<typename Status>() { entries[Status::slot] = entryOf<Status>(listener); });
}

void storeCallbacks(Observed& observed, const ProgramCallback (&entries)[maximumStatuses]) {
    Guard guard(callbackRegistry->mutex);
    for (size_t i = 0; i < maximumStatuses; ++i)
        observed.callbacks[i] = entries[i];
}

void loadCallbacks(Observed& observed, ProgramCallback (&entries)[maximumStatuses]) {
    Guard guard(callbackRegistry->mutex);
    for (size_t i = 0; i < maximumStatuses; ++i)
        entries[i] = observed.callbacks[i];
}

// Puts the agent's callbacks into a listener. The engine resets what the entity's own listener wants reset.
void installCallbacks(
    Observed& observed, const ProgramCallback (&entries)[maximumStatuses], dds_listener_t* listener) {
    forEachStatus(observed.kind, [&]<typename Status>() {
        const ProgramCallback& entry = entries[Status::slot];
        const bool resets = entry.function != nullptr && entry.resets && !entry.inherited;
        Status::setCallback(listener, &onStatus<Status>, &observed, resets);
    });
}

void waitForCallbacks(Observed& observed) {
    if (insideCallbackOf == &observed)
        return;
    Guard guard(callbackRegistry->mutex);
    while (observed.callbacksRunning > 0)
        callbackEnded().wait(callbackRegistry->mutex);
}

// Inherited callbacks take what the parent has now.
void followParent(Observed& observed) {
    const ListenerObject parents;
    const dds_entity_t parent = dds_get_parent(observed.handle);
    if (parent <= 0 || engine().dds_get_listener(parent, parents.get()) != DDS_RETCODE_OK)
        return;
    ProgramCallback entries[maximumStatuses];
    loadCallbacks(observed, entries);
    bool isChanged = false;
    forEachStatus(observed.kind, [&]<typename Status>() {
        ProgramCallback& entry = entries[Status::slot];
        if (!entry.inherited)
            return;
        entry = entryOf<Status>(parents.get());
        entry.inherited = true;
        isChanged = true;
    });
    if (!isChanged)
        return;
    storeCallbacks(observed, entries);
    waitForCallbacks(observed);
}

} // namespace

ListenerObject::ListenerObject() : listener_(dds_create_listener(nullptr)) {}

ListenerObject::ListenerObject(const dds_listener_t* source) : listener_(dds_create_listener(nullptr)) {
    if (source != nullptr)
        dds_copy_listener(listener_, source);
}

ListenerObject::~ListenerObject() {
    dds_delete_listener(listener_);
}

void setListenerRegistry(Registry& registry) {
    callbackRegistry = &registry;
    callbackEnded();
}

void prepareListener(
    Observed& observed, const dds_listener_t* listener, dds_entity_t parent, ListenerObject& merged) {
    ProgramCallback entries[maximumStatuses];
    takeOwn(observed.kind, entries, listener);
    inheritFrom(observed.kind, entries, parent);
    storeCallbacks(observed, entries);
    installCallbacks(observed, entries, merged.get());
}

void settleListener(Observed& observed) {
    forEachStatus(observed.kind, [&]<typename Status>() {
        {
            Guard guard(callbackRegistry->mutex);
            UnresetChanges& unreset = observed.unreset[Status::slot];
            if (!unreset.isPending)
                return;
            unreset = {};
        }
        typename Status::EngineStatus ignored;
        Status::readAndReset(observed.handle, &ignored);
    });
}

dds_return_t adoptListener(Observed& observed) {
    const ListenerObject merged;
    const dds_return_t result = engine().dds_get_listener(observed.handle, merged.get());
    if (result != DDS_RETCODE_OK)
        return result;
    ProgramCallback entries[maximumStatuses];
    inherit(observed.kind, entries, merged.get());
    storeCallbacks(observed, entries);
    installCallbacks(observed, entries, merged.get());
    return engine().dds_set_listener(observed.handle, merged.get());
}

dds_return_t removeListener(Observed& observed) {
    const ListenerObject listener;
    const dds_return_t result = getLeafListener(observed, listener.get());
    return result == DDS_RETCODE_OK ? engine().dds_set_listener(observed.handle, listener.get()) : result;
}

dds_return_t setLeafListener(Observed& observed, const dds_listener_t* listener) {
    ProgramCallback before[maximumStatuses];
    ProgramCallback entries[maximumStatuses];
    loadCallbacks(observed, before);
    takeOwn(observed.kind, entries, listener);
    for (dds_entity_t at = dds_get_parent(observed.handle); at > 0; at = dds_get_parent(at))
        inheritFrom(observed.kind, entries, at);
    const ListenerObject merged(listener);
    installCallbacks(observed, entries, merged.get());
    // First what the callbacks look up: the engine waits for callbacks that run, so that none of the old
    // listener is left once it has returned.
    storeCallbacks(observed, entries);
    const dds_return_t result = engine().dds_set_listener(observed.handle, merged.get());
    if (result != DDS_RETCODE_OK)
        storeCallbacks(observed, before);
    return result;
}

dds_return_t getLeafListener(Observed& observed, dds_listener_t* listener) {
    const dds_return_t result = engine().dds_get_listener(observed.handle, listener);
    if (result != DDS_RETCODE_OK)
        return result;
    ProgramCallback entries[maximumStatuses];
    loadCallbacks(observed, entries);
    forEachStatus(
        observed.kind, [&]<typename Status>() { setEntry<Status>(listener, entries[Status::slot]); });
    return DDS_RETCODE_OK;
}

void followAncestor(Registry& registry, Observed* ancestor) {
    const EntityList leaves(
        registry, ancestor, [](const Observed& observed) { return isLeaf(observed.kind); });
    for (Observed* leaf : leaves)
        followParent(*leaf);
}

} // namespace orx::agent
