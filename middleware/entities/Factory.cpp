#include "middleware/entities/FactoryImpl.hpp"

#include <cstdlib>

#include "middleware/entities/ParticipantImpl.hpp"
#include "middleware/entities/ServiceRequestChannel.hpp"
#include "middleware/log/DdsLog.hpp"
#include "middleware/log/Memory.hpp"
#include "middleware/qos/Profiles.hpp"

namespace zdds {
namespace {

constinit DDS_DomainParticipantFactoryImpl theFactory;

// 0 for the default; negative for a property that is no such number.
int64_t leaseOf(const DDS_DomainParticipantQos& qos) {
    constexpr long longest = 3600;
    const DDS_Property_t* property =
        DDS_PropertyQosPolicyHelper_lookup_property(&qos.property, DDS_PARTICIPANT_LEASE_PROPERTYI);
    if (property == nullptr || property->value == nullptr)
        return 0;
    char* end = nullptr;
    const long seconds = std::strtol(property->value, &end, 10);
    if (end == property->value || *end != '\0' || seconds < 1 || seconds > longest)
        return -1;
    return int64_t{seconds} * 1'000'000'000;
}

// The engine's participant is made at once, so that the GUID is final; endpoints come when they are enabled.
bool attachEngine(DDS_DomainParticipantImpl& participant) {
    engine::ParticipantInfo info;
    info.domainId = participant.domainId;
    info.name = participant.qos.participant_name.name;
    info.peers = textsOf(participant.qos.discovery.initial_peers);
    info.leaseNs = leaseOf(participant.qos);
    info.isGuest = BuiltinWriterWatch::isThere(); // of the library, which the host is starting
    if (info.leaseNs < 0)
        return ZDDS_FAIL(false, INCONSISTENT_QOS, "property %s", DDS_PARTICIPANT_LEASE_PROPERTYI);
    participant.engineParticipant = engine::instance().createParticipant(info);
    if (participant.engineParticipant == nullptr)
        return ZDDS_FAIL(false, FAILED_TO_CREATE, "engine participant of domain %d", participant.domainId);
    participant.guid = participant.engineParticipant->guid();
    participant.hasGuid = true;
    return true;
}

DDS_DomainParticipantImpl* createParticipant(
    DDS_DomainParticipantFactoryImpl& factory, DDS_DomainId_t domainId, const DDS_DomainParticipantQos* qos) {
    if (!ForkGeneration::watch())
        return ZDDS_FAIL(nullptr, FAILED_TO_CREATE, "participant of domain %d", domainId);
    auto* participant =
        create<DDS_DomainParticipantImpl>("struct DDS_DomainParticipantImpl", &factory, domainId);
    if (participant == nullptr)
        return ZDDS_FAIL(nullptr, FAILED_TO_ALLOCATE, "participant of domain %d", domainId);
    Cleanup undo([&] { destroy(participant); });
    DDS_DomainParticipantQos_initialize(&participant->qos);
    if (qos != nullptr && DDS_DomainParticipantQos_copy(&participant->qos, qos) != DDS_RETCODE_OK)
        return nullptr;
    if (!participant->initialize())
        return nullptr;
    if (!attachEngine(*participant))
        return nullptr;
    const bool hasChannel = (participant->qos.discovery_config.enabled_builtin_channels &
                                DDS_DISCOVERYCONFIG_SERVICE_REQUEST_CHANNEL) != 0;
    if (hasChannel && (participant->serviceRequests = ServiceRequestChannel::create(*participant)) == nullptr)
        return nullptr;
    undo.dismiss();
    Guard guard(factory.mutex);
    factory.participants.add(*participant);
    return participant;
}

bool hasChildren(DDS_DomainParticipantImpl& participant) {
    Guard guard(participant.tree);
    const bool isChannelUsed =
        participant.serviceRequests != nullptr && !participant.serviceRequests->isUnused();
    return !participant.topics.isEmpty() || !participant.publishers.isEmpty() ||
           !participant.subscribers.isEmpty() || isChannelUsed;
}

} // namespace

bool isParticipantThere(DDS_DomainParticipantFactoryImpl& factory, const DDS_GUID_t& guid) {
    Guard guard(factory.mutex);
    for (const DDS_EntityImpl* one = factory.participants.first(); one != nullptr; one = one->next) {
        if (DDS_GUID_equals(&one->guid, &guid))
            return true;
    }
    return false;
}

} // namespace zdds

DDS_DomainParticipantFactory* DDS_DomainParticipantFactory_get_instance(void) {
    return &zdds::theFactory;
}

DDS_ReturnCode_t DDS_DomainParticipantFactory_finalize_instance(void) {
    DDS_DomainParticipantFactoryImpl& self = zdds::theFactory;
    zdds::Guard guard(self.mutex);
    if (!self.participants.isEmpty())
        return ZDDS_FAIL(
            DDS_RETCODE_PRECONDITION_NOT_MET, FAILED_TO_FINALIZE, "participant factory: it has participants");
    REDAWorkerFactory_delete(self.workerFactory);
    self.workerFactory = nullptr;
    return DDS_RETCODE_OK;
}

DDS_DomainParticipant* DDS_DomainParticipantFactory_create_participant_disabled(
    DDS_DomainParticipantFactory* self, DDS_DomainId_t domainId, const DDS_DomainParticipantQos* qos,
    const void* /*listener*/, DDS_StatusMask /*mask*/) {
    ZDDS_REQUIRE(self != nullptr, nullptr);
    ZDDS_REQUIRE(domainId >= 0, nullptr);
    return zdds::createParticipant(*self, domainId, qos);
}

DDS_DomainParticipant* DDS_DomainParticipantFactory_create_participant(DDS_DomainParticipantFactory* self,
    DDS_DomainId_t domainId, const DDS_DomainParticipantQos* qos, const void* listener, DDS_StatusMask mask) {
    DDS_DomainParticipant* participant =
        DDS_DomainParticipantFactory_create_participant_disabled(self, domainId, qos, listener, mask);
    if (participant == nullptr || DDS_Entity_enable(participant) == DDS_RETCODE_OK)
        return participant;
    DDS_DomainParticipantFactory_delete_participant(self, participant);
    return nullptr;
}

DDS_ReturnCode_t DDS_DomainParticipantFactory_delete_participant(
    DDS_DomainParticipantFactory* self, DDS_DomainParticipant* participant) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(participant != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (!participant->isOfThisProcess())
        return DDS_RETCODE_ILLEGAL_OPERATION;
    zdds::Guard guard(self->mutex);
    if (!self->participants.contains(*participant))
        return ZDDS_FAIL(
            DDS_RETCODE_PRECONDITION_NOT_MET, FAILED_TO_DELETE, "participant: it is not of this factory");
    if (zdds::hasChildren(*participant))
        return ZDDS_FAIL(DDS_RETCODE_PRECONDITION_NOT_MET, FAILED_TO_DELETE, "participant: it has children");
    // Out of the list: what a flusher that does not end leaves behind is nobody's, and is never used again.
    self->participants.detach(*participant);
    self->participants.forget();
    guard.release();
    if (!participant->flusher.stop())
        return DDS_RETCODE_ERROR;
    if (participant->serviceRequests != nullptr && !participant->serviceRequests->close())
        return DDS_RETCODE_ERROR;
    zdds::destroy(participant);
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_DomainParticipantFactory_get_participant_qos_from_profile(
    DDS_DomainParticipantFactory* self, DDS_DomainParticipantQos* qos, const char* library,
    const char* profile) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(qos != nullptr, DDS_RETCODE_BAD_PARAMETER);
    return zdds::qos::loadProfile(*qos, library, profile);
}

DDS_ReturnCode_t DDS_DomainParticipantFactory_get_publisher_qos_from_profile(
    DDS_DomainParticipantFactory* self, DDS_PublisherQos* qos, const char* library, const char* profile) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(qos != nullptr, DDS_RETCODE_BAD_PARAMETER);
    return zdds::qos::loadProfile(*qos, library, profile);
}

DDS_ReturnCode_t DDS_DomainParticipantFactory_get_subscriber_qos_from_profile(
    DDS_DomainParticipantFactory* self, DDS_SubscriberQos* qos, const char* library, const char* profile) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(qos != nullptr, DDS_RETCODE_BAD_PARAMETER);
    return zdds::qos::loadProfile(*qos, library, profile);
}

DDS_ReturnCode_t DDS_DomainParticipantFactory_get_datawriter_qos_from_profile_w_topic_name(
    DDS_DomainParticipantFactory* self, DDS_DataWriterQos* qos, const char* library, const char* profile,
    const char* topicName) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(qos != nullptr, DDS_RETCODE_BAD_PARAMETER);
    return zdds::qos::loadProfile(*qos, library, profile, topicName);
}

DDS_ReturnCode_t DDS_DomainParticipantFactory_get_datareader_qos_from_profile_w_topic_name(
    DDS_DomainParticipantFactory* self, DDS_DataReaderQos* qos, const char* library, const char* profile,
    const char* topicName) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(qos != nullptr, DDS_RETCODE_BAD_PARAMETER);
    return zdds::qos::loadProfile(*qos, library, profile, topicName);
}

REDAWorkerFactory* DDS_DomainParticipantFactory_get_worker_factoryI(
    DDS_DomainParticipantFactory* self, void* /*worker*/) {
    ZDDS_REQUIRE(self != nullptr, nullptr);
    zdds::Guard guard(self->mutex);
    if (self->workerFactory == nullptr)
        self->workerFactory = REDAWorkerFactory_new();
    return self->workerFactory != nullptr ? self->workerFactory
                                          : ZDDS_FAIL(nullptr, FAILED_TO_CREATE, "worker factory");
}
