#include "agent/Observed.hpp"

#include <cstring>
#include <new>

#include "agent/AgentLog.hpp"
#include "zddscore/heap.h"

namespace orx::agent {

namespace {

DDS_EntityKind standInKind(Kind kind) {
    switch (kind) {
    case Kind::participant:
        return DDS_PARTICIPANT_ENTITY_KIND;
    case Kind::publisher:
        return DDS_PUBLISHER_ENTITY_KIND;
    case Kind::subscriber:
        return DDS_SUBSCRIBER_ENTITY_KIND;
    case Kind::topic:
        return DDS_TOPIC_ENTITY_KIND;
    case Kind::writer:
        return DDS_DATAWRITER_ENTITY_KIND;
    case Kind::reader:
        return DDS_DATAREADER_ENTITY_KIND;
    }
    return DDS_UNKNOWN_ENTITY_KIND;
}

void destroy(Observed* observed) {
    orxEngine_freeStatistics(observed->statistics);
    if (observed->standIn != nullptr)
        DDS_Entity_delete_observedI(observed->standIn);
    ORXOsapiHeap_freeMemoryInternal(observed->texts);
    observed->~Observed();
    ORXOsapiHeap_freeMemoryInternal(observed);
}

} // namespace

Observed::Observed(Kind entityKind) : kind(entityKind) {
    if (kind == Kind::reader)
        startFigures(figures.reader);
    else
        startFigures(figures.writer);
}

Observed* createObserved(Kind kind) {
    // The engine counts nothing per transport, so there is no transport that metrics could be had of.
    constexpr DDS_UnsignedLong noTransports = 0;
    void* memory = nullptr;
    if (!ORXOsapiHeap_reallocateMemoryInternal(
            &memory, sizeof(Observed), alignof(Observed), 1, "struct orx::agent::Observed"))
        return AGENT_ERROR(FAILED_TO_ALLOCATE, "observed entity"), nullptr;
    auto* observed = new (memory) Observed(kind);
    std::memset(static_cast<void*>(&observed->statuses), 0, sizeof observed->statuses);
    const DDS_GUID_t notKnownYet{};
    observed->standIn = DDS_Entity_create_observedI(standInKind(kind), &notKnownYet, noTransports);
    if (observed->standIn == nullptr) {
        AGENT_ERROR(FAILED_TO_CREATE, "stand-in of an observed entity");
        destroy(observed);
        return nullptr;
    }
    return observed;
}

bool setTexts(Observed& observed, const char* name, const char* topicName, const char* typeName) {
    const size_t nameSize = std::strlen(name) + 1;
    const size_t topicSize = std::strlen(topicName) + 1;
    const size_t typeSize = std::strlen(typeName) + 1;
    void* memory = nullptr;
    if (!ORXOsapiHeap_reallocateMemoryInternal(
            &memory, nameSize + topicSize + typeSize, 1, 0, "texts of orx::agent::Observed"))
        return AGENT_ERROR(FAILED_TO_ALLOCATE, "texts of an observed entity"), false;
    auto* texts = static_cast<char*>(memory);
    std::memcpy(texts, name, nameSize);
    std::memcpy(texts + nameSize, topicName, topicSize);
    std::memcpy(texts + nameSize + topicSize, typeName, typeSize);
    observed.texts = texts;
    observed.name = texts;
    observed.topicName = texts + nameSize;
    observed.typeName = texts + nameSize + topicSize;
    return true;
}

void retain(Observed& observed) {
    observed.references.fetch_add(1, std::memory_order_relaxed);
}

void release(Observed* observed) {
    while (observed != nullptr) {
        // Release and acquire: whoever frees it sees what the others wrote.
        if (observed->references.fetch_sub(1, std::memory_order_acq_rel) != 1)
            return;
        Observed* parent = observed->parent;
        destroy(observed);
        observed = parent;
    }
}

} // namespace orx::agent
