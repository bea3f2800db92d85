// What the agent keeps for one entity of the program.
//
// An Observed is made when the program makes the entity, and outlives both the entity and its resource: it is
// reference-counted. References are held by the registry (one, while the entity lives and until the agent
// thread is done with its end), by children of it, and by whoever looked it up.
//
// Locks, outermost first:
//
// - entity lock (DDS_Entity_lock of `standIn`): `statuses`, `generations`; reading `resource`;
// - metric mutex of the resource's index: with the entity lock, writing `resource` and `concurrencyIndex`;
// - the registry's mutex, a leaf: everything that is marked so below;
// - `figuresMutex`, a leaf: `figures`.
//
// No call into the engine under any of them: a listener of the engine may be waiting for just that lock.
#ifndef ORX_AGENT_OBSERVED_HPP
#define ORX_AGENT_OBSERVED_HPP

#include <atomic>
#include <cstdint>

#include "agent/Figures.hpp"
#include "agent/StatusCopies.hpp"
#include "agent/shim/DataCounters.h"
#include "dds/dds.h"
#include "src/support/Sync.hpp"
#include "zddsc/monitoring.h"

namespace orx::agent {

enum class Kind : uint8_t { participant, publisher, subscriber, topic, writer, reader };

// One entry of the listener that the program would see on the entity if the agent were not there.
struct ProgramCallback {
    void (*function)() = nullptr; // of the type that belongs to the status
    void* argument = nullptr;
    bool resets = false;    // the program wants the status reset when the callback is invoked
    bool inherited = false; // came from an ancestor, and follows that ancestor's changes
};

// Changes that the program has been told and wants reset, and that the engine could not reset yet.
struct UnresetChanges {
    int32_t first = 0;
    int32_t second = 0;
    bool isPending = false;
};

constexpr size_t maximumStatuses = 6; // of one entity: a reader's

struct Observed;
struct DataBlock;

// A place in one of the agent thread's queues.
struct WorkLink {
    Observed* next = nullptr;
    Observed* previous = nullptr;
    uint64_t number = 0; // of the event, over both queues; 0 when not queued
};

struct Observed {
    std::atomic<uint32_t> references{1};
    const Kind kind;
    bool isImplicit = false; // a publisher or subscriber that the engine made by itself

    // Constant once the entity is in the registry.
    dds_entity_t handle = 0;
    int32_t domainId = 0;
    DDS_GUID_t guid{};
    DDS_Entity* standIn = nullptr; // the library locks it; its GUID is not used
    char* texts = nullptr;         // the block that holds the three below
    const char* name = "";
    const char* topicName = "";
    const char* typeName = "";

    bool hasOwnCache = false; // a reader whose cache the program brought
    // Of a writer or reader; null when memory was out. Set when it enters the registry.
    const OrxDataCounters* counters = nullptr;

    // Entity lock.
    StatusCopies statuses{};                    // all of it zero at first
    uint32_t generations[maximumStatuses] = {}; // grows with each change of a status

    bool hasUntoldActivity = false; // of a writer: its reliable readers' activity has changed

    // Of a writer or reader.
    zdds::Mutex figuresMutex;
    EndpointFigures figures;
    // The one thread that asks for periodic groups: the group that it asked for last. Not in the thread's own
    // memory, of which a library that is loaded late gets little.
    PeriodicCopy periodicCopy;

    // The sampler's thread, and whoever frees the entity.
    dds_statistics* statistics = nullptr;

    // Entity lock and metric mutex.
    ORX_MonitoringResource* resource = nullptr;
    DDS_UnsignedLong concurrencyIndex = 0;

    // Registry's mutex.
    ProgramCallback callbacks[maximumStatuses];
    UnresetChanges unreset[maximumStatuses];
    uint32_t callbacksRunning = 0;
    uint32_t madeIds = 0;       // of a participant: ids given to entities that have no GUID in the engine
    Observed* parent = nullptr; // with a reference
    Observed* firstChild = nullptr;
    Observed* nextSibling = nullptr;
    Observed* previousSibling = nullptr;
    Observed* nextByHandle = nullptr;
    Observed* nextByStandIn = nullptr;
    DataBlock* dataBlocks = nullptr; // of a writer or reader: its own and those of its conditions
    WorkLink assertion;              // its resource is to be asserted
    WorkLink deletion;               // its resource is to be deleted, and with it those of its descendants
    Observed* nextFreed = nullptr;
    bool isListed = false;      // in the registry: the entity lives
    bool isEndedUnseen = false; // the entity ended before the agent thread came to it
    bool isForgotten = false;   // it did, and was one too many

    explicit Observed(Kind entityKind);
};

// With one reference for the caller; null when memory is out.
Observed* createObserved(Kind kind);
// Copies the three texts; false when memory is out. Once, before the entity is in the registry.
bool setTexts(Observed& observed, const char* name, const char* topicName, const char* typeName);
void retain(Observed& observed);
void release(Observed* observed); // null is fine

// A reference with a scope.
class Reference {
public:
    Reference() = default;
    explicit Reference(Observed* owned) : observed_(owned) {}
    Reference(Reference&& other) noexcept : observed_(other.observed_) { other.observed_ = nullptr; }
    Reference& operator=(Reference&& other) noexcept {
        Observed* mine = observed_;
        observed_ = other.observed_;
        other.observed_ = mine;
        return *this;
    }
    ~Reference() { release(observed_); }
    Observed* get() const { return observed_; }
    Observed* operator->() const { return observed_; }
    Observed& operator*() const { return *observed_; }
    explicit operator bool() const { return observed_ != nullptr; }
    Observed* take() {
        Observed* mine = observed_;
        observed_ = nullptr;
        return mine;
    }

private:
    Observed* observed_ = nullptr;
};

inline bool isLeaf(Kind kind) {
    return kind == Kind::topic || kind == Kind::writer || kind == Kind::reader;
}

} // namespace orx::agent

#endif
