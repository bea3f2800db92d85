// What must hold of any bytes that are taken for a command, from their delivery to the reply, on a live tree
// over the loopback engine. The first byte chooses how the rest becomes a body: 0 as it stands; else as
// selectors for one of the operations, one on each line, so that a fuzzer gets beyond the encoding.
#ifndef ORX_FUZZ_COMMAND_CHECK_HPP
#define ORX_FUZZ_COMMAND_CHECK_HPP

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "middleware/engine/loopback/LoopbackEngine.hpp"
#include "orxmonitoring2d/orx_remote_administration.h"
#include "src/dataModel/MetricCatalogue.h"
#include "src/entities/LibraryEntities.h"
#include "src/monitoringClass/MetricSelectionStore.h"
#include "src/monitoringClass/MonitoringClass.h"
#include "src/remoteAdministration/CommandDispatcher.h"
#include "src/remoteAdministration/CommandHelper.h"
#include "src/remoteAdministration/Operations.hpp"
#include "src/resource/MonitoringResourceRegistry.h"
#include "zddsc/service_request.h"

#define COMMAND_CHECK(test)                                                                                  \
    ((test) ? static_cast<void>(0)                                                                           \
            : (std::fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #test), std::abort()))

class CommandCheck {
public:
    CommandCheck() {
        zdds::engine::setInstance(&engine_);
        ORX_MonitoringHost_set_create_function(ORX_Monitoring_create);
        ORX_MonitoringProperty_t property{};
        ORX_MonitoringProperty_t_initialize(&property);
        property.domain_id = domain;
        property.periodic.polling_period = {3600, 0}; // whose walk would pin what is checked
        property.command_dispatcher.reply_timeout = {20, 0};
        DDS_String_replace(&property.application_name, "app");
        table_ = ORX_MonitoringHost_start(&property);
        ORX_MonitoringProperty_t_finalize_ex(&property, DDS_BOOLEAN_FALSE);
        COMMAND_CHECK(table_ != nullptr);
        auto* participant = assertResource(
            ORX_MONITORING_PARTICIPANT_CLASS_ID, DDS_PARTICIPANT_ENTITY_KIND, "p", table_->rootResource);
        for (const char* name : {"T", "GUID(nonsense)", "[a-z]", "*"})
            assertResource(ORX_MONITORING_TOPIC_CLASS_ID, DDS_TOPIC_ENTITY_KIND, name, participant);
        auto* publisher =
            assertResource(ORX_MONITORING_PUBLISHER_CLASS_ID, DDS_PUBLISHER_ENTITY_KIND, "pub", participant);
        assertResource(ORX_MONITORING_DATA_WRITER_CLASS_ID, DDS_DATAWRITER_ENTITY_KIND, "w", publisher);
        createSender();
    }
    ~CommandCheck() {
        DDS_DomainParticipantFactory_delete_participant(DDS_DomainParticipantFactory_get_instance(), sender_);
        COMMAND_CHECK(ORX_MonitoringHost_stop());
        for (DDS_Entity* entity : entities_)
            DDS_Entity_delete_observedI(entity);
        ORX_MonitoringHost_finalize();
        zdds::engine::setInstance(nullptr);
    }
    CommandCheck(const CommandCheck&) = delete;
    CommandCheck& operator=(const CommandCheck&) = delete;

    void run(const uint8_t* data, size_t size) {
        if (size == 0)
            return;
        const std::vector<DDS_Octet> body =
            *data == 0 ? std::vector<DDS_Octet>(data + 1, data + size)
                       : encode(*data, {reinterpret_cast<const char*>(data) + 1, size - 1});
        const bool isTaken = deliver(body);
        waitUntilIdle();
        const size_t replies = countReplies();
        COMMAND_CHECK(replies <= 1);
        COMMAND_CHECK(isTaken || replies == 0);
        checkTree();
    }

private:
    static constexpr DDS_DomainId_t domain = 64;

    ORX_MonitoringClassImpl& library() const { return *reinterpret_cast<ORX_MonitoringClassImpl*>(table_); }

    ORX_MonitoringResource* assertResource(
        DDS_UnsignedLong classId, DDS_EntityKind kind, const char* name, ORX_MonitoringResource* parent) {
        DDS_GUID_t guid{};
        guid.value[15] = static_cast<DDS_Octet>(entities_.size() + 1);
        entities_.push_back(DDS_Entity_create_observedI(kind, &guid, 1));
        const ORX_MonitoringResourceForwarder forwarder{noGroup, nullptr};
        DDS_UnsignedLong index = 0;
        auto* resource = table_->assertResourceFunction(
            table_, &index, &guid, classId, name, entities_.back(), parent, &forwarder);
        COMMAND_CHECK(resource != nullptr);
        return resource;
    }
    static DDS_Boolean noGroup(void** group, const void*, DDS_UnsignedLong) {
        *group = nullptr;
        return DDS_BOOLEAN_FALSE;
    }

    void createSender() {
        auto* factory = DDS_DomainParticipantFactory_get_instance();
        DDS_DomainParticipantQos qos{};
        DDS_DomainParticipantQos_initialize(&qos);
        DDS_DomainParticipantFactory_get_participant_qos_from_profile(
            factory, &qos, DDS_BUILTIN_QOS_LIB, DDS_PROFILE_GENERIC_MONITORING2);
        sender_ = DDS_DomainParticipantFactory_create_participant(factory, domain, &qos, nullptr, 0);
        DDS_DomainParticipantQos_finalize(&qos);
        COMMAND_CHECK(sender_ != nullptr);
        reader_ = DDS_ServiceRequestDataReader_narrow(DDS_Subscriber_lookup_datareader(
            DDS_DomainParticipant_get_builtin_subscriber(sender_), DDS_SERVICE_REQUEST_TOPIC_NAME));
        DDS_GUID_t guid{};
        DDS_Entity_get_guid(DDS_DomainParticipant_as_entity(sender_), &guid);
        ORXOsapiRtpsGuid words;
        DDS_GUID_copy_to_pres_guid(&guid, &words);
        words.objectId = DDS_SERVICE_REQUEST_WRITER_OBJECT_IDI;
        DDS_GUID_copy_from_pres_guid(&guid, &words);
        DDS_InstanceHandle_from_guid(&publication_, &guid);
    }

    // ---- From text to a command ----

    static std::string_view nextPart(std::string_view& rest, char divider) {
        const size_t end = std::min(rest.find(divider), rest.size());
        const std::string_view part = rest.substr(0, end);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        return part;
    }
    static void set(char*& text, std::string_view value) {
        DDS_String_replace(&text, std::string(value).c_str());
    }
    static void append(DDS_StringSeq& sequence, std::string_view value) {
        const DDS_Long length = DDS_StringSeq_get_length(&sequence);
        DDS_StringSeq_ensure_length(&sequence, length + 1, length + 1);
        set(*DDS_StringSeq_get_reference(&sequence, length), value);
    }
    static void append(DDS_Monitoring_MetricSelectorSeq& sequence, std::string_view line) {
        const DDS_Long length = DDS_Monitoring_MetricSelectorSeq_get_length(&sequence);
        DDS_Monitoring_MetricSelectorSeq_ensure_length(&sequence, length + 1, length + 1);
        auto* selector = DDS_Monitoring_MetricSelectorSeq_get_reference(&sequence, length);
        set(selector->resource_selector, nextPart(line, '='));
        while (!line.empty()) {
            const std::string_view pattern = nextPart(line, ',');
            if (!pattern.empty() && pattern[0] == '!')
                append(selector->unsubscribe_metric_selector, pattern.substr(1));
            else
                append(selector->subscribe_metric_selector, pattern);
        }
    }
    static void append(DDS_Monitoring_LoggingGroupSeq& sequence, std::string_view line) {
        const DDS_Long length = DDS_Monitoring_LoggingGroupSeq_get_length(&sequence);
        DDS_Monitoring_LoggingGroupSeq_ensure_length(&sequence, length + 1, length + 1);
        auto* group = DDS_Monitoring_LoggingGroupSeq_get_reference(&sequence, length);
        set(group->application_selector, nextPart(line, '='));
        for (const char facility : line) {
            const DDS_Long count = DDS_Monitoring_LoggingSettingSeq_get_length(&group->logging_settings);
            DDS_Monitoring_LoggingSettingSeq_ensure_length(&group->logging_settings, count + 1, count + 1);
            auto* setting = DDS_Monitoring_LoggingSettingSeq_get_reference(&group->logging_settings, count);
            setting->facility = static_cast<DDS_Octet>(facility);
            setting->verbosity = DDS_Monitoring_SyslogVerbosity_SYSLOG_VERBOSITY_SILENT;
        }
    }

    static std::vector<DDS_Octet> encode(uint8_t choice, std::string_view text) {
        namespace operation = orx::operation;
        constexpr DDS_Long hashes[] = {operation::set_metric_subscription_state,
            operation::update_metric_subscription_state, operation::request_resource_registry,
            operation::set_logging_collection_level, operation::set_logging_forwarding_level,
            operation::subscribe};
        DDS_Monitoring_MonitoringService_Request request{};
        COMMAND_CHECK(DDS_Monitoring_MonitoringService_Request_initialize(&request));
        request.data._d = hashes[choice % std::size(hashes)];
        auto& in = request.data._u;
        while (!text.empty()) {
            const std::string_view line = nextPart(text, '\n');
            switch (request.data._d) {
            case operation::set_metric_subscription_state:
                append(in.set_metric_subscription_state.metrics, line);
                break;
            case operation::update_metric_subscription_state:
                append(in.update_metric_subscription_state.metrics, line);
                break;
            case operation::set_logging_collection_level:
                append(in.set_logging_collection_level.logging_groups, line);
                break;
            case operation::set_logging_forwarding_level:
                append(in.set_logging_forwarding_level.logging_groups, line);
                break;
            default:
                append(in.request_resource_registry.applications, line);
                break;
            }
        }
        DDS_OctetSeq bytes{};
        COMMAND_CHECK(ORX_MonitoringCommandHelper_requestToOctetSeq(&bytes, &request));
        const DDS_Octet* begin = DDS_OctetSeq_get_contiguous_buffer(&bytes);
        std::vector<DDS_Octet> body(begin, begin + DDS_OctetSeq_get_length(&bytes));
        DDS_OctetSeq_finalize(&bytes);
        DDS_Monitoring_MonitoringService_Request_finalize(&request);
        return body;
    }

    // ---- From a body to its reply ----

    bool deliver(const std::vector<DDS_Octet>& body) {
        DDS_ServiceRequest sample{};
        sample.service_id = ORX_MONITORING_COMMAND_SERVICE_ID;
        ++delivered_;
        std::memcpy(sample.instance_id.value, &delivered_, sizeof delivered_);
        if (!body.empty())
            COMMAND_CHECK(DDS_OctetSeq_from_array(
                &sample.request_body, body.data(), static_cast<DDS_Long>(body.size())));
        DDS_SampleInfo info{};
        info.valid_data = DDS_BOOLEAN_TRUE;
        info.publication_handle = publication_;
        lock();
        const bool isTaken = table_->dispatchCommandFunction(table_, &sample, &info) != 0;
        unlock();
        DDS_ServiceRequest_finalize(&sample);
        return isTaken;
    }
    void lock() const { DDS_Entity_lock(DDS_DomainParticipant_as_entity(library().entities->participant)); }
    void unlock() const {
        DDS_Entity_unlock(DDS_DomainParticipant_as_entity(library().entities->participant));
    }

    // Every buffer of the pool has come back: the command, whatever it was, is over.
    void waitUntilIdle() const {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(15);
        REDAFastBufferPoolInfo info{};
        do {
            lock();
            REDAFastBufferPool_getInfo(library().commandDispatcher->eventDataPool, &info);
            unlock();
            if (info.bufferInUse > 0)
                std::this_thread::yield();
        } while (info.bufferInUse > 0 && std::chrono::steady_clock::now() < end);
        COMMAND_CHECK(info.bufferInUse == 0);
    }

    // Of the last command; each decodes. The reply has been acknowledged by now, so it is here.
    size_t countReplies() {
        size_t count = 0;
        DDS_ServiceRequestSeq samples{};
        DDS_SampleInfoSeq infos{};
        while (DDS_ServiceRequestDataReader_take(reader_, &samples, &infos, DDS_LENGTH_UNLIMITED,
                   DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE) == DDS_RETCODE_OK) {
            for (DDS_Long i = 0; i < DDS_ServiceRequestSeq_get_length(&samples); ++i) {
                if (!DDS_SampleInfoSeq_get_reference(&infos, i)->valid_data)
                    continue;
                const DDS_ServiceRequest* sample = DDS_ServiceRequestSeq_get_reference(&samples, i);
                COMMAND_CHECK(sample->service_id == ORX_MONITORING_REPLY_SERVICE_ID);
                COMMAND_CHECK(std::memcmp(sample->instance_id.value, &delivered_, sizeof delivered_) == 0);
                DDS_Monitoring_MonitoringService_Reply reply{};
                COMMAND_CHECK(DDS_Monitoring_MonitoringService_Reply_initialize(&reply));
                COMMAND_CHECK(ORX_MonitoringCommandHelper_octetSeqToReply(&reply, &sample->request_body));
                DDS_Monitoring_MonitoringService_Reply_finalize(&reply);
                ++count;
            }
            DDS_ServiceRequestDataReader_return_loan(reader_, &samples, &infos);
        }
        return count;
    }

    // Nothing is pinned or paused, what a resource selects exists, and the store agrees with its index. Then
    // the store is emptied, so that inputs do not depend on each other.
    void checkTree() {
        (void)ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1, 1, nullptr);
        for (auto* resource =
                 ORX_MonitoringResourceRegistry_getFirstResource(library().resourceRegistry, 0, 0);
             resource != nullptr; resource = ORX_MonitoringResourceRegistry_getNextResource(
                                      library().resourceRegistry, resource, 0, 0)) {
            COMMAND_CHECK(resource->lockCounter == 0 && resource->lockThreadMask == 0);
            COMMAND_CHECK(!ORX_MonitoringResource_isPaused(resource));
            const DDS_Long count = DDS_UnsignedLongSeq_get_length(&resource->monitoredMetricInfoIndex);
            // What is published may lag behind: a command that fails at an expression leaves what was chosen
            // by then, and publishes nothing of it.
            const auto* metrics = ORX_Monitoring_getMetricInfo(resource->base.class_id);
            for (DDS_Long i = 0; i < count; ++i) {
                const auto index = DDS_UnsignedLongSeq_get(&resource->monitoredMetricInfoIndex, i);
                COMMAND_CHECK(index < ORX_Monitoring_getResourceInfo(resource->base.class_id)->metricCount);
                COMMAND_CHECK(metrics[index].metricId != 0);
            }
        }
        COMMAND_CHECK(REDAInlineList_getSize(&library().currentMetricSelectionList) ==
                      REDASkiplist_getNodeCount(library().metricSelectionIndex));
        ORX_Monitoring_removeAllMetricSelectionNodes(&library());
        (void)ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1);
    }

    zdds::engine::LoopbackEngine engine_;
    ORX_MonitoringClass* table_ = nullptr;
    std::vector<DDS_Entity*> entities_;
    DDS_DomainParticipant* sender_ = nullptr;
    DDS_ServiceRequestDataReader* reader_ = nullptr;
    DDS_InstanceHandle_t publication_{};
    uint64_t delivered_ = 0;
};

#endif
