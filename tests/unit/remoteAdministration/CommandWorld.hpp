// A library that takes commands, and a sender of commands in a participant of its own.
#ifndef ORX_TESTS_COMMAND_WORLD_HPP
#define ORX_TESTS_COMMAND_WORLD_HPP

#include <chrono>
#include <cstring>
#include <thread>

#include "middleware/entities/DataReaderImpl.hpp"
#include "src/entities/LibraryEntities.h"
#include "src/remoteAdministration/CommandDispatcher.h"
#include "tests/contract/ContractFixture.hpp"
#include "tests/helpers/LogCapture.hpp"
#include "tests/helpers/TestDomain.hpp"
#include "tests/helpers/Wait.hpp"
#include "tests/unit/monitoringClass/Library.hpp"
#include "tests/unit/remoteAdministration/Commands.hpp"
#include "gtest/gtest.h"

// One sample of the channel as a sender gets it.
struct Received {
    DDS_Long serviceId;
    DDS_GUID_t uuid;
    bool isData;
    std::optional<Answer> answer; // of data that decodes
};

// Not for two threads at once.
inline DDS_GUID_t newCommandUuid() {
    static uint32_t made = 0;
    DDS_GUID_t uuid{{0xC0, 0xFF, 0xEE}};
    const uint32_t number = ++made;
    std::memcpy(uuid.value + 12, &number, sizeof number);
    return uuid;
}

class Sender {
public:
    explicit Sender(DDS_DomainId_t domain) {
        auto* factory = DDS_DomainParticipantFactory_get_instance();
        DDS_DomainParticipantQos qos{};
        DDS_DomainParticipantQos_initialize(&qos);
        DDS_DomainParticipantFactory_get_participant_qos_from_profile(
            factory, &qos, DDS_BUILTIN_QOS_LIB, DDS_PROFILE_GENERIC_MONITORING2);
        participant_ = DDS_DomainParticipantFactory_create_participant(factory, domain, &qos, nullptr, 0);
        DDS_DomainParticipantQos_finalize(&qos);
        writer_ =
            DDS_DomainParticipant_get_builtin_datawriterI(participant_, DDS_SERVICE_REQUEST_TOPIC_NAME, 0);
        reader_ = DDS_ServiceRequestDataReader_narrow(DDS_Subscriber_lookup_datareader(
            DDS_DomainParticipant_get_builtin_subscriber(participant_), DDS_SERVICE_REQUEST_TOPIC_NAME));
    }
    ~Sender() {
        DDS_DomainParticipantFactory_delete_participant(
            DDS_DomainParticipantFactory_get_instance(), participant_);
    }
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;

    // The sender's writer, as sample infos name it.
    DDS_InstanceHandle_t publicationHandle() const {
        return handleOf(participant_, DDS_SERVICE_REQUEST_WRITER_OBJECT_IDI);
    }
    DDS_DataWriter* writer() { return writer_; }
    // The reader of replies, as the engine knows it.
    DDS_GUID_t engineReader() const {
        return DDS_Subscriber_lookup_datareader(
            DDS_DomainParticipant_get_builtin_subscriber(participant_), DDS_SERVICE_REQUEST_TOPIC_NAME)
            ->engineReader->guid();
    }
    DDS_DomainParticipant* participant() { return participant_; }

    // A participant's endpoint by its object id.
    static DDS_InstanceHandle_t handleOf(DDS_DomainParticipant* participant, ORX_UINT32 objectId) {
        DDS_GUID_t guid{};
        DDS_Entity_get_guid(DDS_DomainParticipant_as_entity(participant), &guid);
        ORXOsapiRtpsGuid words;
        DDS_GUID_copy_to_pres_guid(&guid, &words);
        words.objectId = objectId;
        DDS_GUID_copy_from_pres_guid(&guid, &words);
        DDS_InstanceHandle_t handle{};
        DDS_InstanceHandle_from_guid(&handle, &guid);
        return handle;
    }

    // To a participant, by way of the channel.
    DDS_GUID_t send(DDS_DomainParticipant* to, const Command& command) {
        const DDS_InstanceHandle_t reader = handleOf(to, DDS_SERVICE_REQUEST_READER_OBJECT_IDI);
        const auto body = command.bytes();
        DDS_ServiceRequest sample{};
        sample.service_id = ORX_MONITORING_COMMAND_SERVICE_ID;
        sample.instance_id = newCommandUuid();
        DDS_OctetSeq_from_array(&sample.request_body, body.data(), static_cast<DDS_Long>(body.size()));
        EXPECT_EQ(DDS_DataWriter_write_untyped_generalI(writer_, &reader, nullptr, &sample, nullptr),
            DDS_RETCODE_OK);
        const DDS_GUID_t uuid = sample.instance_id;
        DDS_ServiceRequest_finalize(&sample);
        return uuid;
    }
    // The same, and waits for the reply. What else comes meanwhile is not kept.
    std::optional<Answer> ask(DDS_DomainParticipant* to, const Command& command) {
        const DDS_GUID_t uuid = send(to, command);
        const auto end = std::chrono::steady_clock::now() + waitBound;
        while (std::chrono::steady_clock::now() < end) {
            for (const Received& each : takeNow())
                if (each.isData && DDS_GUID_equals(&each.uuid, &uuid))
                    return each.answer;
            std::this_thread::yield();
        }
        return std::nullopt;
    }

    // Everything that has come since the last call.
    std::vector<Received> takeNow() {
        std::vector<Received> taken;
        DDS_ServiceRequestSeq samples{};
        DDS_SampleInfoSeq infos{};
        if (DDS_ServiceRequestDataReader_take(reader_, &samples, &infos, DDS_LENGTH_UNLIMITED,
                DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE) != DDS_RETCODE_OK)
            return taken;
        for (DDS_Long i = 0; i < DDS_ServiceRequestSeq_get_length(&samples); ++i) {
            const DDS_ServiceRequest* sample = DDS_ServiceRequestSeq_get_reference(&samples, i);
            const bool isData = DDS_SampleInfoSeq_get_reference(&infos, i)->valid_data != 0;
            taken.push_back({sample->service_id, sample->instance_id, isData,
                isData ? readAnswer(sample->request_body) : std::nullopt});
        }
        DDS_ServiceRequestDataReader_return_loan(reader_, &samples, &infos);
        return taken;
    }
    // Adds to all() until there is a reply for the command, or the bound has passed.
    std::optional<Answer> await(const DDS_GUID_t& uuid) {
        const auto end = std::chrono::steady_clock::now() + waitBound;
        for (;;) {
            collect();
            for (const Received& each : all_)
                if (each.isData && DDS_GUID_equals(&each.uuid, &uuid))
                    return each.answer;
            if (std::chrono::steady_clock::now() > end)
                return std::nullopt;
            std::this_thread::yield();
        }
    }
    size_t replies(const DDS_GUID_t& uuid) {
        collect();
        return static_cast<size_t>(std::count_if(all_.begin(), all_.end(),
            [&](const Received& each) { return each.isData && DDS_GUID_equals(&each.uuid, &uuid); }));
    }
    const std::vector<Received>& all() {
        collect();
        return all_;
    }

private:
    void collect() {
        for (auto& each : takeNow())
            all_.push_back(std::move(each));
    }

    DDS_DomainParticipant* participant_ = nullptr;
    DDS_DataWriter* writer_ = nullptr;
    DDS_ServiceRequestDataReader* reader_ = nullptr;
    std::vector<Received> all_;
};

class CommandWorld {
public:
    enum class EngineKind { loopback, cyclone };

    explicit CommandWorld(EngineKind engine = EngineKind::loopback) {
        if (engine == EngineKind::cyclone) {
            contract::useLoopbackDevice();
            zdds::engine::setInstance(nullptr);
            library.property.domain_id = testDomain();
        }
        library.property.command_dispatcher.reply_timeout = {30, 0};
        library.property.command_dispatcher.destruction_timeout = {30, 0};
    }
    bool start() {
        if (!library.start())
            return false;
        sender = std::make_unique<Sender>(library.property.domain_id);
        return true;
    }
    bool stop() {
        const bool result = library.stop();
        return result;
    }

    ORX_MonitoringCommandDispatcher& dispatcher() { return *library.impl().commandDispatcher; }

    static DDS_GUID_t newUuid() { return newCommandUuid(); }

    // Hands a body over as the channel does: with the participant's lock held.
    bool deliver(const std::vector<DDS_Octet>& body, const DDS_GUID_t& uuid,
        DDS_Long serviceId = ORX_MONITORING_COMMAND_SERVICE_ID) {
        DDS_ServiceRequest sample{};
        sample.service_id = serviceId;
        sample.instance_id = uuid;
        const auto length = static_cast<DDS_Long>(body.size());
        if (length > 0)
            DDS_OctetSeq_from_array(&sample.request_body, body.data(), length);
        DDS_SampleInfo info{};
        info.valid_data = DDS_BOOLEAN_TRUE;
        info.publication_handle = sender->publicationHandle();
        info.publication_sequence_number = {0, 7};
        const bool result = deliver(sample, info);
        DDS_ServiceRequest_finalize(&sample);
        return result;
    }
    bool deliver(const DDS_ServiceRequest& sample, const DDS_SampleInfo& info) {
        const DDS_Entity* participant = DDS_DomainParticipant_as_entity(library.impl().entities->participant);
        DDS_Entity_lock(participant);
        const bool result = library.table->dispatchCommandFunction(library.table, &sample, &info) != 0;
        DDS_Entity_unlock(participant);
        return result;
    }
    DDS_GUID_t deliver(const Command& command) {
        const DDS_GUID_t uuid = newUuid();
        EXPECT_TRUE(deliver(command.bytes(), uuid));
        return uuid;
    }
    // By way of the channel.
    DDS_GUID_t send(const Command& command) {
        return sender->send(library.impl().entities->participant, command);
    }
    // Delivers, and waits for the reply.
    std::optional<Answer> ask(const Command& command) { return sender->await(deliver(command)); }

    // What is out of the pool: accepted, and not returned yet.
    int commandsInUse() {
        REDAFastBufferPoolInfo info{};
        const DDS_Entity* participant = DDS_DomainParticipant_as_entity(library.impl().entities->participant);
        DDS_Entity_lock(participant);
        REDAFastBufferPool_getInfo(dispatcher().eventDataPool, &info);
        DDS_Entity_unlock(participant);
        return info.bufferInUse;
    }
    bool isIdle() {
        const auto end = std::chrono::steady_clock::now() + waitBound;
        while (commandsInUse() > 0 && std::chrono::steady_clock::now() < end)
            std::this_thread::yield();
        return commandsInUse() == 0;
    }
    // Everything that was delivered before has been dealt with, replies included.
    bool settle() { return isIdle() && ask(RequestRegistry({"//*"})).has_value() && isIdle(); }

    Library library;
    std::unique_ptr<Sender> sender;
};

inline std::vector<std::string> metricsOf(const ORX_MonitoringResource* resource) {
    const ORX_Monitoring_MetricInfo* table = ORX_Monitoring_getMetricInfo(resource->base.class_id);
    std::vector<std::string> names;
    for (DDS_Long i = 0; i < DDS_UnsignedLongSeq_get_length(&resource->monitoredMetricInfoIndex); ++i)
        names.push_back(table[DDS_UnsignedLongSeq_get(&resource->monitoredMetricInfoIndex, i)].name);
    return names;
}

#endif
