#include "agent/Registry.hpp"

#include <utility>

#include "agent/AgentLog.hpp"
#include "zddscore/heap.h"

namespace orx::agent {

namespace {

size_t mix(uint64_t value) {
    value *= 0x9E3779B97F4A7C15U;
    return static_cast<size_t>(value >> 32);
}

size_t hashOfHandle(dds_entity_t handle) {
    return mix(static_cast<uint32_t>(handle));
}
size_t hashOfPointer(const void* pointer) {
    return mix(reinterpret_cast<uintptr_t>(pointer) >> 4);
}

// Releases what a chain holds. Outside the mutex: the last reference frees.
void releaseChain(Observed* chain) {
    while (chain != nullptr) {
        Observed* next = chain->nextFreed;
        chain->nextFreed = nullptr;
        release(chain);
        chain = next;
    }
}

} // namespace

// ---- Table ----

template <Observed* Observed::*next> Table<next>::~Table() {
    if (buckets_ != few_)
        ORXOsapiHeap_freeMemoryInternal(buckets_);
}

template <Observed* Observed::*next> void Table<next>::insert(Observed& observed) {
    if (count_ > mask_)
        grow();
    Observed*& bucket = buckets_[hash_(observed) & mask_];
    observed.*next = bucket;
    bucket = &observed;
    ++count_;
}

template <Observed* Observed::*next> void Table<next>::remove(Observed& observed) {
    for (Observed** at = &buckets_[hash_(observed) & mask_]; *at != nullptr; at = &((*at)->*next)) {
        if (*at != &observed)
            continue;
        *at = observed.*next;
        observed.*next = nullptr;
        --count_;
        return;
    }
}

template <Observed* Observed::*next> void Table<next>::grow() {
    const size_t size = (mask_ + 1) * 2;
    void* memory = nullptr;
    if (!ORXOsapiHeap_allocateArrayInternal(&memory, size, sizeof(Observed*), "orx::agent::Table buckets"))
        return; // longer chains do as well
    auto** buckets = static_cast<Observed**>(memory);
    for (size_t i = 0; i < size; ++i)
        buckets[i] = nullptr;
    for (size_t i = 0; i <= mask_; ++i) {
        for (Observed* at = buckets_[i]; at != nullptr;) {
            Observed* following = at->*next;
            Observed*& bucket = buckets[hash_(*at) & (size - 1)];
            at->*next = bucket;
            bucket = at;
            at = following;
        }
    }
    if (buckets_ != few_)
        ORXOsapiHeap_freeMemoryInternal(buckets_);
    buckets_ = buckets;
    mask_ = size - 1;
}

template class Table<&Observed::nextByHandle>;
template class Table<&Observed::nextByStandIn>;

// ---- WorkQueue ----

template <WorkLink Observed::*link> void WorkQueue<link>::push(Observed& observed, uint64_t number) {
    (observed.*link) = {nullptr, last_, number};
    (last_ != nullptr ? (last_->*link).next : first_) = &observed;
    last_ = &observed;
}

template <WorkLink Observed::*link> void WorkQueue<link>::remove(Observed& observed) {
    const WorkLink at = observed.*link;
    if (at.number == 0)
        return;
    (at.previous != nullptr ? (at.previous->*link).next : first_) = at.next;
    (at.next != nullptr ? (at.next->*link).previous : last_) = at.previous;
    observed.*link = {};
}

// ---- Registry ----

Registry::Registry()
    : byHandle_([](const Observed& observed) { return hashOfHandle(observed.handle); }),
      byStandIn_([](const Observed& observed) { return hashOfPointer(observed.standIn); }) {}

Reference Registry::find(dds_entity_t handle) {
    Guard guard(mutex);
    for (Observed* at = byHandle_.first(hashOfHandle(handle)); at != nullptr; at = at->nextByHandle) {
        if (at->handle == handle) {
            retain(*at);
            return Reference(at);
        }
    }
    return Reference();
}

Observed* Registry::findByStandIn(const DDS_Entity* standIn) {
    Guard guard(mutex);
    for (Observed* at = byStandIn_.first(hashOfPointer(standIn)); at != nullptr; at = at->nextByStandIn) {
        if (at->standIn == standIn)
            return at;
    }
    return nullptr;
}

uint32_t Registry::makeId(Observed& participant) {
    Guard guard(mutex);
    return ++participant.madeIds;
}

bool Registry::insert(Observed* observed, Observed* parent) {
    {
        Guard guard(mutex);
        if (parent == nullptr || parent->isListed) {
            Observed*& siblings = parent != nullptr ? parent->firstChild : participants_;
            observed->nextSibling = siblings;
            if (siblings != nullptr)
                siblings->previousSibling = observed;
            siblings = observed;
            if (parent != nullptr)
                retain(*parent);
            observed->parent = parent;
            observed->isListed = true;
            byHandle_.insert(*observed);
            byStandIn_.insert(*observed);
            if (observed->kind == Kind::writer || observed->kind == Kind::reader)
                attachData(*observed, observed->handle);
            ++listedCount_;
            if (isWorking_) {
                assertions_.push(*observed, ++lastNumber_);
                changed_.wakeAll();
            }
            return true;
        }
    }
    release(observed);
    return false;
}

// Under the mutex. The first block holds the counters.
void Registry::attachData(Observed& observed, dds_entity_t handle) {
    DataBlock* block = dataBlocks_.attach(handle, observed.dataBlocks);
    if (block != nullptr && observed.counters == nullptr)
        observed.counters = &block->counters;
}

void Registry::insertCondition(dds_entity_t handle, Observed& reader) {
    Guard guard(mutex);
    if (reader.isListed && reader.counters != nullptr)
        attachData(reader, handle);
}

bool Registry::endCondition(dds_entity_t handle) {
    Guard guard(mutex);
    return dataBlocks_.detachCondition(handle);
}

bool Registry::end(Observed& observed) {
    Observed* freed = nullptr;
    {
        Guard guard(mutex);
        if (!observed.isListed)
            return false;
        unlink(observed);
        takeOffTheList(observed);
        forgetUnseen(observed);
        if (!isWorking_ || observed.isForgotten) {
            discard(observed, freed);
        } else {
            deletions_.push(observed, ++lastNumber_);
            changed_.wakeAll();
        }
    }
    releaseChain(freed);
    return true;
}

// Out of the children of its parent. The reference on the parent stays.
void Registry::unlink(Observed& observed) {
    Observed*& siblings = observed.parent != nullptr ? observed.parent->firstChild : participants_;
    if (observed.previousSibling != nullptr)
        observed.previousSibling->nextSibling = observed.nextSibling;
    else
        siblings = observed.nextSibling;
    if (observed.nextSibling != nullptr)
        observed.nextSibling->previousSibling = observed.previousSibling;
    observed.nextSibling = observed.previousSibling = nullptr;
}

void Registry::takeOffTheList(Observed& top) {
    walk(top, [this](Observed& at) {
        byHandle_.remove(at);
        dataBlocks_.detachAll(at.dataBlocks);
        at.isListed = false;
        --listedCount_;
    });
}

// Of the entities that ended before the agent thread came to them, what is too much is not kept, and neither
// is what is below it: it could not have a parent any more.
void Registry::forgetUnseen(Observed& top) {
    walk(top, [this, &top](Observed& at) {
        if (at.assertion.number == 0)
            return;
        const bool isParentForgotten = &at != &top && at.parent->isForgotten;
        if (endedUnseen_ < maximumEndedUnseen && !isParentForgotten) {
            at.isEndedUnseen = true;
            ++endedUnseen_;
            return;
        }
        assertions_.remove(at);
        at.isForgotten = true;
        ++forgotten_;
    });
}

// Takes everything that is left of an ended subtree out, and hands it over for release.
void Registry::discard(Observed& top, Observed*& freed) {
    walk(top, [this, &freed](Observed& at) {
        if (at.isEndedUnseen)
            --endedUnseen_;
        assertions_.remove(at);
        deletions_.remove(at);
        byStandIn_.remove(at);
        at.nextFreed = freed;
        freed = &at;
    });
}

size_t Registry::collect(
    Observed* within, bool (*wanted)(const Observed&), Observed** found, size_t maximum) {
    Guard guard(mutex);
    size_t count = 0;
    const auto visit = [&](Observed& at) {
        if (!wanted(at))
            return;
        if (count < maximum) {
            retain(at);
            found[count] = &at;
        }
        ++count;
    };
    if (within != nullptr)
        walk(*within, visit);
    for (Observed* at = within != nullptr ? nullptr : participants_; at != nullptr; at = at->nextSibling)
        walk(*at, visit);
    return count;
}

// ---- Work ----

void Registry::requestStop() {
    Guard guard(mutex);
    isStopRequested_ = true;
    changed_.wakeAll();
}

bool Registry::waitUntilStopped(int64_t deadlineNs) {
    Guard guard(mutex);
    while (!isStopped_) {
        if (!changed_.wait(mutex, {deadlineNs}))
            return false;
    }
    return true;
}

void Registry::markStopped() {
    Guard guard(mutex);
    isStopped_ = true;
    changed_.wakeAll();
}

bool Registry::waitForWork() {
    Guard guard(mutex);
    isBusy_ = false;
    if (!hasWork())
        changed_.wakeAll();
    while (!hasWork() && !isStopRequested_)
        changed_.wait(mutex);
    return hasWork() || !isStopRequested_;
}

Registry::Task Registry::takeWork() {
    Guard guard(mutex);
    Observed* made = assertions_.first();
    Observed* ended = deletions_.first();
    if (made == nullptr && ended == nullptr)
        return {};
    isBusy_ = true;
    const bool isDeletion =
        made == nullptr || (ended != nullptr && ended->deletion.number < made->assertion.number);
    Observed& observed = isDeletion ? *ended : *made;
    if (isDeletion) {
        deletions_.remove(observed);
    } else {
        assertions_.remove(observed);
        endedUnseen_ -= observed.isEndedUnseen ? 1 : 0;
        observed.isEndedUnseen = false;
    }
    retain(observed);
    return {Reference(&observed), isDeletion};
}

void Registry::deleted(Observed& observed) {
    Observed* freed = nullptr;
    {
        Guard guard(mutex);
        discard(observed, freed);
    }
    releaseChain(freed);
}

bool Registry::waitUntilIdle(int64_t deadlineNs) {
    Guard guard(mutex);
    while (hasWork() || isBusy_) {
        if (!changed_.wait(mutex, {deadlineNs}))
            return false;
    }
    return true;
}

void Registry::stopWork() {
    Observed* freed = nullptr;
    {
        Guard guard(mutex);
        isWorking_ = false;
        isBusy_ = false;
        while (Observed* observed = assertions_.first())
            assertions_.remove(*observed);
        while (Observed* observed = deletions_.first())
            discard(*observed, freed);
        endedUnseen_ = 0;
        changed_.wakeAll();
    }
    releaseChain(freed);
}

bool Registry::isWorking() {
    Guard guard(mutex);
    return isWorking_;
}

uint64_t Registry::forgotten() {
    Guard guard(mutex);
    return forgotten_;
}

uint32_t Registry::listed() {
    Guard guard(mutex);
    return listedCount_;
}

// ---- EntityList ----

EntityList::EntityList(Registry& registry, Observed* within, bool (*wanted)(const Observed&)) {
    size_t room = sizeof few_ / sizeof *few_;
    size_t count = registry.collect(within, wanted, found_, room);
    while (count > room) {
        count_ = room;
        releaseAll();
        void* memory = nullptr;
        room = count + count / 2;
        if (!ORXOsapiHeap_allocateArrayInternal(&memory, room, sizeof(Observed*), "orx::agent::EntityList")) {
            AGENT_ERROR(FAILED_TO_ALLOCATE, "a list of %zu entities", count);
            return;
        }
        found_ = static_cast<Observed**>(memory);
        count = registry.collect(within, wanted, found_, room);
    }
    count_ = count;
}

EntityList::~EntityList() {
    releaseAll();
}

void EntityList::releaseAll() {
    for (size_t i = 0; i < count_; ++i)
        release(found_[i]);
    if (found_ != few_)
        ORXOsapiHeap_freeMemoryInternal(found_);
    found_ = few_;
    count_ = 0;
}

} // namespace orx::agent
