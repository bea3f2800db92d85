// What every entity begins with.
//
// Threads: the tree (parents, children, enabled states, GUIDs of endpoints) is guarded by the tree mutex of
// the participant, which is held across calls that create or enable, and never while waiting for a callback.
// The entity lock is for callers (DDS_Entity_lock) and guards nothing in here. Ownership: a parent owns its
// children.
#ifndef ZDDSC_ENTITIES_ENTITY_IMPL_HPP
#define ZDDSC_ENTITIES_ENTITY_IMPL_HPP

#include <atomic>

#include "middleware/conditions/ConditionImpl.hpp"
#include "middleware/entities/ForkGeneration.hpp"
#include "zddsc/entities.h"
#include "zddscore/semaphore.h"

struct DDS_EntityImpl {
    DDS_EntityImpl(DDS_EntityKind entityKind, DDS_DomainParticipantImpl* owner)
        : kind(entityKind), participant(owner), forkGeneration(zdds::ForkGeneration::current()) {}
    ~DDS_EntityImpl();
    DDS_EntityImpl(const DDS_EntityImpl&) = delete;
    DDS_EntityImpl& operator=(const DDS_EntityImpl&) = delete;
    // What can fail in making an entity; the destructor takes any prefix of it.
    bool initialize();
    bool isOfThisProcess() const { return forkGeneration == zdds::ForkGeneration::current(); }

    const DDS_EntityKind kind;
    bool isObserved = false;
    bool isBuiltin = false;                       // of the participant itself: nobody else creates or deletes
    DDS_DomainParticipantImpl* const participant; // null for observed entities; a participant's is itself
    const unsigned forkGeneration;
    ORXOsapiSemaphore* lock = nullptr;
    // Released once everything that an enabled entity needs stands, so that a writer may be used without a
    // lock.
    std::atomic<bool> isEnabled{false};
    bool hasGuid = false;
    DDS_GUID_t guid{};
    DDS_StatusConditionImpl statusCondition{this};
    DDS_EntityImpl* previous = nullptr; // among the children of the parent
    DDS_EntityImpl* next = nullptr;
};

namespace zdds {

// The children of one kind of one parent, in the order of their creation. The tree mutex is held.
class ChildList {
public:
    DDS_EntityImpl* first() const { return first_; }
    bool isEmpty() const { return first_ == nullptr && detached_ == 0; }
    bool contains(const DDS_EntityImpl& child) const;
    void add(DDS_EntityImpl& child);
    // Deleting has two steps, since a child may have to wait for its callbacks with the tree mutex free: it
    // leaves the list, and counts as a child until forget.
    void detach(DDS_EntityImpl& child);
    void forget() { --detached_; }

private:
    DDS_EntityImpl* first_ = nullptr;
    DDS_EntityImpl* last_ = nullptr;
    unsigned detached_ = 0;
};

// Makes the GUID of an entity that the engine does not know (publishers, subscribers, topics), or does not
// know yet (endpoints that are asked for it while disabled): the participant's prefix, a number from the
// upper half of the numbers, which the engine does not reach, and the kind octet. The tree mutex is held.
DDS_GUID_t makeGuid(DDS_DomainParticipantImpl& participant, DDS_Octet kindOctet);

// Enables an entity and, where the QoS says so, its children. The tree mutex is held.
DDS_ReturnCode_t enableLocked(DDS_EntityImpl& entity);

} // namespace zdds

#endif
