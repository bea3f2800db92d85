// The entities of the program that are observed: their tree, and what the agent thread has to do about them.
//
// Program threads list and end entities; the agent thread takes the work. Neither waits for the other beyond
// a few instructions, and nothing is allocated but the growth of two tables (a failure of which costs speed
// alone).
//
// Work is done in the order in which it came: a parent has its resource before its children get theirs, and a
// child ends before its parent. An entity that ends before the agent came to it is still announced, its end
// behind it, so that nothing is lost; but of such entities at most `maximumEndedUnseen` are kept, so that
// memory follows the entities that live: more are forgotten and counted.
//
// Threads: any. Lock: one mutex, a leaf under every other lock.
#ifndef ORX_AGENT_REGISTRY_HPP
#define ORX_AGENT_REGISTRY_HPP

#include "agent/DataBlocks.hpp"
#include "agent/Observed.hpp"
#include "src/support/Sync.hpp"

namespace orx::agent {

using zdds::Condition;
using zdds::Deadline;
using zdds::Guard;
using zdds::Mutex;

constexpr uint32_t maximumEndedUnseen = 4096;

// A hash table threaded through its elements.
template <Observed* Observed::*next> class Table {
public:
    using Hash = size_t (*)(const Observed&);
    explicit constexpr Table(Hash hash) : hash_(hash) {}
    ~Table();
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;
    void insert(Observed& observed);
    void remove(Observed& observed);
    // Start of the chain in which everything with this hash is, threaded through `next`.
    Observed* first(size_t hash) const { return buckets_[hash & mask_]; }

private:
    static constexpr size_t smallest = 64;
    void grow();

    Hash hash_;
    Observed* few_[smallest] = {};
    Observed** buckets_ = few_;
    size_t mask_ = smallest - 1;
    size_t count_ = 0;
};

// A queue threaded through its elements.
template <WorkLink Observed::*link> class WorkQueue {
public:
    Observed* first() const { return first_; }
    void push(Observed& observed, uint64_t number);
    void remove(Observed& observed); // fine when it is not queued

private:
    Observed* first_ = nullptr;
    Observed* last_ = nullptr;
};

class Registry {
public:
    Registry();
    Mutex mutex; // guards the fields of Observed that say so

    Reference find(dds_entity_t handle);
    // The entity whose stand-in this is; null when it is not listed and has no work left. Borrowed: the
    // caller knows that a resource of it exists.
    Observed* findByStandIn(const DDS_Entity* standIn);
    // An id that no other entity of the participant gets.
    uint32_t makeId(Observed& participant);

    // Lists the entity under its parent (null for a participant) and queues its assertion. Takes over the
    // caller's reference, and takes one on the parent. False, with the reference released, when the parent
    // has ended.
    bool insert(Observed* observed, Observed* parent);
    // Data calls on a condition count for its reader, until the one or the other ends.
    void insertCondition(dds_entity_t handle, Observed& reader);
    // Before a condition is deleted. False when it is none that was inserted.
    bool endCondition(dds_entity_t handle);
    // Takes the entity and its descendants off the list and queues the deletion of its resource. False when
    // it was not listed any more.
    bool end(Observed& observed);
    // Writes up to `maximum` of the wanted entities at and below one (null: all there are), each with a
    // reference, and gives how many there are.
    size_t collect(Observed* within, bool (*wanted)(const Observed&), Observed** found, size_t maximum);

    // Agent thread: waits until there is work. False when a stop was requested and nothing is left to do.
    bool waitForWork();
    // Any thread: the agent thread is to stop. Until it has, entities are listed and queued as before.
    void requestStop();
    // Any thread: waits until the agent thread has stopped; false once the point of the clock has passed.
    bool waitUntilStopped(int64_t deadlineNs);
    void markStopped(); // agent thread, as its last act
    // Agent thread: the next piece of work; without an entity when there is none.
    struct Task {
        Reference observed;
        bool isDeletion = false;
    };
    Task takeWork();
    void deleted(Observed& observed); // done with a deletion: releases the ended subtree
    // Any thread: waits until the agent thread has nothing to do; false once the point of the clock has
    // passed.
    bool waitUntilIdle(int64_t deadlineNs);

    // No more work is kept: monitoring has ended, and the program goes on. Listed entities stay, for their
    // listeners.
    void stopWork();
    bool isWorking();
    uint64_t forgotten(); // entities that ended unseen and were too many
    uint32_t listed();

    // Calls back for the entity and every descendant, under the mutex, parents first.
    template <typename Function> static void walk(Observed& top, Function function);

private:
    bool hasWork() const { return assertions_.first() != nullptr || deletions_.first() != nullptr; }
    void unlink(Observed& observed);
    void takeOffTheList(Observed& top);
    void forgetUnseen(Observed& top);
    void discard(Observed& top, Observed*& freed);

    void attachData(Observed& observed, dds_entity_t handle);

    Condition changed_;
    DataBlockPool dataBlocks_;
    Table<&Observed::nextByHandle> byHandle_;
    Table<&Observed::nextByStandIn> byStandIn_;
    Observed* participants_ = nullptr;
    WorkQueue<&Observed::assertion> assertions_;
    WorkQueue<&Observed::deletion> deletions_;
    uint64_t lastNumber_ = 0;
    uint32_t listedCount_ = 0;
    uint32_t endedUnseen_ = 0;
    uint64_t forgotten_ = 0;
    bool isWorking_ = true;
    bool isBusy_ = false; // the agent thread is at something
    bool isStopRequested_ = false;
    bool isStopped_ = false;
};

// The wanted entities at one moment, with references, for walks that call the engine. Empty, with a line in
// the log, when memory is out.
class EntityList {
public:
    EntityList(Registry& registry, Observed* within, bool (*wanted)(const Observed&));
    ~EntityList();
    EntityList(const EntityList&) = delete;
    EntityList& operator=(const EntityList&) = delete;
    Observed** begin() const { return found_; }
    Observed** end() const { return found_ + count_; }

private:
    void releaseAll();

    Observed* few_[16];
    Observed** found_ = few_;
    size_t count_ = 0;
};

template <typename Function> void Registry::walk(Observed& top, Function function) {
    Observed* at = &top;
    while (at != nullptr) {
        Observed* next = at->firstChild;
        function(*at);
        while (next == nullptr && at != &top) {
            next = at->nextSibling;
            at = next == nullptr ? at->parent : at;
        }
        at = next;
    }
}

} // namespace orx::agent

#endif
