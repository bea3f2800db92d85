#include "send/Session.hpp"

#include <algorithm>
#include <cstring>
#include <map>

#include "orxmonitoring2d/dds_entities_distribution_support.h"
#include "reading/Joining.hpp"
#include "src/dataModel/MetricCatalogue.h"
#include "zddsc/conditions.h"
#include "zddsc/service_request.h"

namespace send {

namespace {

using namespace std::chrono_literals;

constexpr reading::MonitoringTopic eventTopic{
    "DCPSEventStatusMonitoring", "dds::monitoring::Event", DDS_Monitoring_EventTypeSupport_register_type};
constexpr DDS_Long commandServiceId = 4;
constexpr DDS_Long replyServiceId = 5;
constexpr DDS_Long samplesPerTake = 64;
constexpr DDS_Long cachedSamples = 1024; // what is missed comes again with no snapshot, but names come early
constexpr auto settlingTime = 500ms;     // for other applications to show, when none was named
constexpr std::size_t maximalApplications = 4096;

Guid guidOf(const DDS_InstanceHandle_t& handle) {
    DDS_GUID_t guid{};
    DDS_InstanceHandle_to_guid(&handle, &guid);
    Guid result;
    std::memcpy(result.data(), guid.value, result.size());
    return result;
}

// The endpoint of a participant that has this object id.
DDS_InstanceHandle_t handleOf(const Guid& participant, ORX_UINT32 objectId) {
    DDS_GUID_t guid;
    std::memcpy(guid.value, participant.data(), participant.size());
    ORXOsapiRtpsGuid words;
    DDS_GUID_copy_to_pres_guid(&guid, &words);
    words.objectId = objectId;
    DDS_GUID_copy_from_pres_guid(&guid, &words);
    DDS_InstanceHandle_t handle{};
    DDS_InstanceHandle_from_guid(&handle, &guid);
    return handle;
}

std::string list(const std::map<Guid, std::string>& applications) {
    std::string all;
    for (const auto& [participant, name] : applications)
        all += (all.empty() ? "'" : ", '") + name + "'";
    return all;
}

} // namespace

struct Session::Entities {
    DDS_DomainParticipantFactory* factory = nullptr;
    DDS_DomainParticipant* participant = nullptr;
    DDS_Subscriber* subscriber = nullptr;
    DDS_DataReader* events = nullptr;
    DDS_DataWriter* writer = nullptr;
    DDS_ServiceRequestDataReader* replies = nullptr;
    DDS_WaitSet* waitset = nullptr;
    std::map<Guid, std::string> applications; // by a GUID of their participant, whose entity id is zeroed

    bool attach(DDS_DataReader* reader, DDS_StatusMask mask) {
        DDS_StatusCondition* condition = DDS_Entity_get_statuscondition(DDS_DataReader_as_entity(reader));
        DDS_StatusCondition_set_enabled_statuses(condition, mask);
        return DDS_WaitSet_attach_condition(waitset, DDS_StatusCondition_as_condition(condition)) ==
               DDS_RETCODE_OK;
    }
    ~Entities() {
        if (waitset != nullptr)
            DDS_WaitSet_delete(waitset);
        if (participant == nullptr)
            return;
        DDS_DomainParticipant_delete_contained_entities(participant);
        DDS_DomainParticipantFactory_delete_participant(factory, participant);
    }
};

Session::Session() : entities_(std::make_unique<Entities>()) {}
Session::~Session() = default;

std::unique_ptr<Session> Session::open(
    int domain, const std::vector<std::string>& peers, std::string& error) {
    std::unique_ptr<Session> session(new Session);
    if (!session->create(domain, peers, error))
        session.reset();
    return session;
}

bool Session::create(int domain, const std::vector<std::string>& peers, std::string& error) {
    Entities& entities = *entities_;
    entities.factory = DDS_DomainParticipantFactory_get_instance();
    reading::ParticipantQos qos;
    if (!reading::fillParticipantQos(qos, peers, error))
        return false;
    qos.value.discovery_config.enabled_builtin_channels |= DDS_DISCOVERYCONFIG_SERVICE_REQUEST_CHANNEL;
    error = "out of memory";
    entities.waitset = DDS_WaitSet_new();
    if (entities.waitset == nullptr)
        return false;
    error = "cannot join domain " + std::to_string(domain);
    entities.participant = DDS_DomainParticipantFactory_create_participant(
        entities.factory, domain, &qos.value, nullptr, DDS_STATUS_MASK_NONE);
    if (entities.participant == nullptr)
        return false;
    error = std::string("cannot read ") + eventTopic.name;
    if (!createEventReader())
        return false;
    error = "the participant has no channel for service requests";
    return createChannel();
}

bool Session::createEventReader() {
    Entities& entities = *entities_;
    reading::SubscriberQos subscriberQos;
    entities.subscriber = DDS_DomainParticipant_create_subscriber(
        entities.participant, &subscriberQos.value, nullptr, DDS_STATUS_MASK_NONE);
    if (entities.subscriber == nullptr)
        return false;
    entities.events =
        reading::createMonitoringReader(entities.participant, entities.subscriber, eventTopic, cachedSamples);
    return entities.events != nullptr && entities.attach(entities.events, DDS_DATA_AVAILABLE_STATUS);
}

bool Session::createChannel() {
    Entities& entities = *entities_;
    entities.writer = DDS_DomainParticipant_get_builtin_datawriterI(
        entities.participant, DDS_SERVICE_REQUEST_TOPIC_NAME, 0);
    DDS_Subscriber* subscriber = DDS_DomainParticipant_get_builtin_subscriber(entities.participant);
    if (entities.writer == nullptr || subscriber == nullptr)
        return false;
    DDS_DataReader* reader = DDS_Subscriber_lookup_datareader(subscriber, DDS_SERVICE_REQUEST_TOPIC_NAME);
    entities.replies = reader != nullptr ? DDS_ServiceRequestDataReader_narrow(reader) : nullptr;
    return entities.replies != nullptr && entities.attach(reader, DDS_DATA_AVAILABLE_STATUS);
}

void Session::wait(Deadline deadline) {
    const auto left = std::clamp<std::chrono::nanoseconds>(
        deadline - std::chrono::steady_clock::now(), 0ns, std::chrono::nanoseconds(100ms));
    const DDS_Duration_t timeout{0, static_cast<DDS_UnsignedLong>(left.count())};
    DDS_ConditionSeq active{};
    DDS_WaitSet_wait(entities_->waitset, &active, &timeout);
    DDS_ConditionSeq_finalize(&active);
}

void Session::takeEvents() {
    auto* reader = DDS_Monitoring_EventDataReader_narrow(entities_->events);
    DDS_Monitoring_EventSeq samples{};
    DDS_SampleInfoSeq infos{};
    while (DDS_Monitoring_EventDataReader_take(reader, &samples, &infos, samplesPerTake, DDS_ANY_SAMPLE_STATE,
               DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE) == DDS_RETCODE_OK) {
        for (DDS_Long i = 0; i < DDS_SampleInfoSeq_get_length(&infos); ++i) {
            const DDS_SampleInfo* info = DDS_SampleInfoSeq_get_reference(&infos, i);
            const auto& value = DDS_Monitoring_EventSeq_get_reference(&samples, i)->value;
            if (!info->valid_data || value._d != static_cast<DDS_Long>(ORX_MONITORING_APPLICATION_CLASS_ID) ||
                value._u.application.resource_registry == nullptr ||
                entities_->applications.size() >= maximalApplications)
                continue;
            Guid participant = guidOf(info->publication_handle);
            std::fill(participant.begin() + 12, participant.end(), std::uint8_t{0});
            const auto& resources = value._u.application.resource_registry->resources;
            for (DDS_Long j = 0; j < DDS_Monitoring_ResourceReferenceSeq_get_length(&resources); ++j) {
                const DDS_Monitoring_Resource* resource =
                    *DDS_Monitoring_ResourceReferenceSeq_get_reference(&resources, j);
                if (resource != nullptr && resource->class_id == ORX_MONITORING_APPLICATION_CLASS_ID)
                    entities_->applications[participant] = resource->name != nullptr ? resource->name : "";
            }
        }
        DDS_Monitoring_EventDataReader_return_loan(reader, &samples, &infos);
    }
}

Session::Finding Session::find(
    const std::string& name, Deadline deadline, Application& application, std::string& error) {
    auto settled = Deadline::max();
    for (;;) {
        takeEvents();
        const auto& all = entities_->applications;
        const auto now = std::chrono::steady_clock::now();
        if (!all.empty() && settled == Deadline::max())
            settled = now + settlingTime;
        std::map<Guid, std::string> wanted;
        for (const auto& each : all)
            if (name.empty() || each.second == name)
                wanted.insert(each);
        const bool isLate = now >= deadline;
        // A name is waited for until it shows; whether it, or the application itself, is the only one is not
        // known before others had the time to show.
        if (!wanted.empty() && (isLate || now >= settled)) {
            if (wanted.size() > 1) {
                error = name.empty() ? "several applications: " + list(wanted) + "; name one with --app"
                                     : "several applications have the name '" + name + "'";
                return Finding::ambiguous;
            }
            application = {wanted.begin()->second, wanted.begin()->first};
            return Finding::found;
        }
        if (isLate) {
            error = name.empty()  ? "no monitored application in the domain"
                    : all.empty() ? "no application '" + name + "', and no other"
                                  : "no application '" + name + "' among " + list(all);
            return Finding::notThere;
        }
        wait(std::min(deadline, settled));
    }
}

// True when something came.
bool Session::takeReplies() {
    DDS_ServiceRequestSeq samples{};
    DDS_SampleInfoSeq infos{};
    if (DDS_ServiceRequestDataReader_take(entities_->replies, &samples, &infos, samplesPerTake,
            DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE) != DDS_RETCODE_OK)
        return false;
    for (DDS_Long i = 0; i < DDS_SampleInfoSeq_get_length(&infos); ++i) {
        const DDS_ServiceRequest* sample = DDS_ServiceRequestSeq_get_reference(&samples, i);
        if (!DDS_SampleInfoSeq_get_reference(&infos, i)->valid_data) {
            // Nothing else is unregistered here while one command is under way.
            isUnregistered_ = true;
            continue;
        }
        const bool isMine = sample->service_id == replyServiceId &&
                            std::memcmp(sample->instance_id.value, asked_.data(), asked_.size()) == 0;
        if (!isMine || reply_) {
            ++strays_;
            continue;
        }
        const DDS_Octet* bytes = DDS_OctetSeq_get_contiguous_buffer(&sample->request_body);
        reply_.emplace(bytes, bytes + DDS_OctetSeq_get_length(&sample->request_body));
    }
    DDS_ServiceRequestDataReader_return_loan(entities_->replies, &samples, &infos);
    return true;
}

std::optional<Bytes> Session::ask(
    const Application& application, const Bytes& request, Deadline deadline, Guid& identifier) {
    ORXOsapiUuid uuid{};
    ORXOsapiHost_generate_uuid(&uuid);
    asked_ = {};
    std::memcpy(asked_.data(), uuid, sizeof uuid);
    identifier = asked_;
    reply_.reset();
    isUnregistered_ = false;

    DDS_ServiceRequest sample = DDS_SERVICE_REQUEST_DEFAULT;
    sample.service_id = commandServiceId;
    std::memcpy(sample.instance_id.value, asked_.data(), asked_.size());
    const DDS_InstanceHandle_t destination =
        handleOf(application.participant, DDS_SERVICE_REQUEST_READER_OBJECT_IDI);
    const bool isSent = DDS_OctetSeq_from_array(
                            &sample.request_body, request.data(), static_cast<DDS_Long>(request.size())) &&
                        DDS_DataWriter_write_untyped_generalI(
                            entities_->writer, &destination, nullptr, &sample, nullptr) == DDS_RETCODE_OK;
    DDS_ServiceRequest_finalize(&sample);
    while (isSent && !reply_ && std::chrono::steady_clock::now() < deadline) {
        if (!takeReplies())
            wait(deadline);
        takeEvents(); // so that they do not keep the wait short
    }
    // Whoever gave up tells so: the command's instance ends.
    DDS_ServiceRequest key = DDS_SERVICE_REQUEST_DEFAULT;
    key.service_id = commandServiceId;
    std::memcpy(key.instance_id.value, asked_.data(), asked_.size());
    if (isSent)
        (void)DDS_DataWriter_dispose_untyped_generalI(
            entities_->writer, &destination, nullptr, &key, nullptr);
    (void)DDS_DataWriter_unregister_instance_untyped_generalI(entities_->writer, &destination, &key, nullptr);
    return reply_;
}

bool Session::awaitAcknowledged(Deadline deadline) {
    while (!isUnregistered_ && std::chrono::steady_clock::now() < deadline) {
        if (!takeReplies())
            wait(deadline);
        takeEvents();
    }
    return isUnregistered_;
}

} // namespace send
