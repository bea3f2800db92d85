#include "middleware/engine/cyclone/CycloneEngine.hpp"

#include <cstdlib>

#include "middleware/engine/cyclone/CycloneEndpoint.hpp"
#include "middleware/engine/cyclone/CycloneQos.hpp"
#include "middleware/engine/cyclone/DomainConfiguration.hpp"
#include "middleware/log/DdsLog.hpp"

namespace zdds::engine {

// A domain that this engine made. It goes when its last participant of ours has gone and nobody else is in
// it.
struct CycloneEngine::Domain : HeapObject {
    Domain(DDS_DomainId_t domainId, dds_entity_t domainEntity, Domain* following)
        : id(domainId), entity(domainEntity), next(following) {}
    const DDS_DomainId_t id;
    const dds_entity_t entity;
    int participants = 1;
    Domain* next;
};

bool CycloneEngine::isUsable() {
    std::lock_guard lock(mutex_);
    if (!tested_)
        defect_ = ZddsCyclone_selfTest();
    tested_ = true;
    if (defect_ != nullptr)
        ZDDS_LOG_ERROR(NOT_SUPPORTED, "%s", defect_);
    return defect_ == nullptr;
}

CycloneEngine::Domain* CycloneEngine::findDomain(DDS_DomainId_t id) {
    Domain* domain = domains_;
    while (domain != nullptr && domain->id != id)
        domain = domain->next;
    return domain;
}

bool CycloneEngine::enterDomain(const ParticipantInfo& info, bool* isCounted) {
    std::lock_guard lock(mutex_);
    *isCounted = false;
    if (Domain* known = findDomain(info.domainId)) {
        ++known->participants;
        *isCounted = true;
        return true;
    }
    const char* environment = std::getenv("CYCLONEDDS_URI");
    const bool leavesTrace = info.isGuest && mayNameTraceFile(environment);
    if (info.peers.empty() && !leavesTrace)
        return true;
    HeapArray<char> text{"domain configuration"};
    if (!writeDomainConfiguration(text, environment, info.peers, leavesTrace)) {
        ZDDS_LOG_ERROR(CONFIG_FAILURE, "configuration of domain %d with its peers", info.domainId);
        return false;
    }
    const dds_entity_t entity = dds_create_domain(static_cast<dds_domainid_t>(info.domainId), text.begin());
    if (entity == code::preconditionNotMet) {
        if (!info.peers.empty())
            ZDDS_LOG_AT(ORX_LOG_BIT_STATUS, PROCESSING,
                "domain %d exists already and keeps its own configuration; peers are not added",
                info.domainId);
        return true;
    }
    if (entity < 0) {
        ZDDS_LOG_ERROR(FAILED_TO_CREATE, "domain %d: %s", info.domainId, dds_strretcode(entity));
        return false;
    }
    auto* domain = new ("struct CycloneEngine::Domain") Domain(info.domainId, entity, domains_);
    if (domain == nullptr) {
        ZDDS_LOG_ERROR(FAILED_TO_ALLOCATE, "domain %d", info.domainId);
        dds_delete(entity);
        return false;
    }
    domains_ = domain;
    *isCounted = true;
    return true;
}

void CycloneEngine::leaveDomain(DDS_DomainId_t id) {
    std::lock_guard lock(mutex_);
    for (Domain** link = &domains_; *link != nullptr; link = &(*link)->next) {
        Domain* domain = *link;
        if (domain->id != id)
            continue;
        // Deleting the domain would delete the participants of everybody else with it.
        if (--domain->participants > 0 || dds_get_children(domain->entity, nullptr, 0) > 0)
            return;
        dds_delete(domain->entity);
        *link = domain->next;
        delete domain;
        return;
    }
}

Participant* CycloneEngine::createParticipant(const ParticipantInfo& info) {
    if (info.domainId < 0) {
        ZDDS_LOG_ERROR(BAD_PARAMETER_FAILURE, "domain id %d", info.domainId);
        return nullptr;
    }
    if (!isUsable())
        return nullptr;
    auto* participant = new ("class CycloneParticipant") CycloneParticipant(*this, info.domainId);
    if (participant == nullptr) {
        ZDDS_LOG_ERROR(FAILED_TO_ALLOCATE, "participant in domain %d", info.domainId);
        return nullptr;
    }
    if (participant->create(info))
        return participant;
    delete participant;
    return nullptr;
}

// The process's engine is never destroyed: a thread of the program may still be using it at its end.
Engine& cyclone() {
    alignas(CycloneEngine) static unsigned char place[sizeof(CycloneEngine)];
    static CycloneEngine* const engine = ::new (place) CycloneEngine;
    return *engine;
}

} // namespace zdds::engine
