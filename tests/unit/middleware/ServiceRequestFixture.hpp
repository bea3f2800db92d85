// Participants with a service-request channel, over either engine.
#ifndef ORX_TESTS_MIDDLEWARE_SERVICE_REQUEST_FIXTURE_HPP
#define ORX_TESTS_MIDDLEWARE_SERVICE_REQUEST_FIXTURE_HPP

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "middleware/engine/loopback/LoopbackEngine.hpp"
#include "middleware/entities/ServiceRequestChannel.hpp"
#include "tests/helpers/TestDomain.hpp"
#include "tests/unit/middleware/EntityFixture.hpp"
#include "zddsc/service_request.h"

namespace requests {

enum class EngineKind { loopback, cyclone };
inline std::string nameOf(const testing::TestParamInfo<EngineKind>& info) {
    return info.param == EngineKind::cyclone ? "cyclone" : "loopback";
}
inline const auto bothEngines = testing::Values(EngineKind::loopback, EngineKind::cyclone);

inline const DDS_DomainId_t domain = testDomain();
constexpr DDS_Long command = 4;
constexpr DDS_Long reply = 5;

inline DDS_GUID_t guidOf(const std::string& text) {
    DDS_GUID_t guid{};
    std::memcpy(guid.value, text.data(), std::min(text.size(), sizeof guid.value));
    return guid;
}

struct Request : DDS_ServiceRequest {
    Request(DDS_Long service, const std::string& instance, const std::string& body = {})
        : DDS_ServiceRequest(DDS_SERVICE_REQUEST_DEFAULT) {
        service_id = service;
        instance_id = guidOf(instance);
        DDS_OctetSeq_from_array(&request_body, reinterpret_cast<const DDS_Octet*>(body.data()),
            static_cast<DDS_Long>(body.size()));
    }
    ~Request() { DDS_ServiceRequest_finalize(this); }
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;
};

struct Taken {
    DDS_Long service;
    DDS_GUID_t instance;
    std::string body;
    DDS_SampleInfo info;
};

// A participant with the channel.
class Peer {
public:
    explicit Peer(bool isEnabled = true, DDS_DomainId_t domainId = domain) {
        DDS_DomainParticipantQos qos{};
        DDS_DomainParticipantQos_initialize(&qos);
        qos.discovery_config.enabled_builtin_channels = DDS_DISCOVERYCONFIG_SERVICE_REQUEST_CHANNEL;
        participant =
            DDS_DomainParticipantFactory_create_participant_disabled(factory(), domainId, &qos, nullptr, 0);
        DDS_DomainParticipantQos_finalize(&qos);
        if (participant == nullptr)
            return;
        writer =
            DDS_DomainParticipant_get_builtin_datawriterI(participant, DDS_SERVICE_REQUEST_TOPIC_NAME, 0);
        subscriber = DDS_DomainParticipant_get_builtin_subscriber(participant);
        reader = DDS_Subscriber_lookup_datareader(subscriber, DDS_SERVICE_REQUEST_TOPIC_NAME);
        if (isEnabled) {
            EXPECT_EQ(DDS_Entity_enable(participant), DDS_RETCODE_OK);
        }
    }
    ~Peer() { end(); }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;
    void end() {
        if (participant != nullptr) {
            EXPECT_EQ(
                DDS_DomainParticipantFactory_delete_participant(factory(), participant), DDS_RETCODE_OK);
        }
        participant = nullptr;
    }

    DDS_InstanceHandle_t readerHandle() const {
        return DDS_Entity_get_instance_handle(DDS_DataReader_as_entity(reader));
    }
    DDS_InstanceHandle_t writerHandle() const {
        return DDS_Entity_get_instance_handle(DDS_DataWriter_as_entity(writer));
    }
    DDS_ReturnCode_t send(const Peer& to, const DDS_ServiceRequest& sample) const {
        const DDS_InstanceHandle_t handle = to.readerHandle();
        return DDS_DataWriter_write_untyped_generalI(writer, &handle, nullptr, &sample, nullptr);
    }
    DDS_ReturnCode_t dispose(const Peer& to, const DDS_ServiceRequest& sample) const {
        const DDS_InstanceHandle_t handle = to.readerHandle();
        return DDS_DataWriter_dispose_untyped_generalI(writer, &handle, nullptr, &sample, nullptr);
    }
    DDS_ReturnCode_t unregister(const Peer& to, const DDS_ServiceRequest& sample) const {
        const DDS_InstanceHandle_t handle = to.readerHandle();
        return DDS_DataWriter_unregister_instance_untyped_generalI(writer, &handle, &sample, nullptr);
    }
    bool hasInstance(const DDS_ServiceRequest& sample) const {
        const DDS_InstanceHandle_t handle = DDS_DataWriter_lookup_instance_untypedI(writer, &sample);
        return !DDS_InstanceHandle_is_nil(&handle);
    }
    DDS_ReturnCode_t waitForAcknowledgments(const DDS_Duration_t& time = generous) const {
        return DDS_DataWriter_wait_for_acknowledgments(writer, &time);
    }
    DDS_ReturnCode_t waitFor(const Peer& to, const DDS_Duration_t& time = generous) const {
        const DDS_InstanceHandle_t handle = to.readerHandle();
        return DDS_DataWriter_wait_for_acknowledgments_of_readerI(writer, &handle, &time);
    }
    DDS_DataWriterCountersI writerCounters() const {
        DDS_DataWriterCountersI counters;
        DDS_DataWriter_get_countersI(writer, &counters);
        return counters;
    }
    DDS_DataReaderCountersI readerCounters() const {
        DDS_DataReaderCountersI counters;
        DDS_DataReader_get_countersI(reader, &counters);
        return counters;
    }

    std::vector<Taken> take() const {
        DDS_ServiceRequestSeq samples{};
        DDS_SampleInfoSeq infos{};
        std::vector<Taken> all;
        DDS_ServiceRequestDataReader* typed = DDS_ServiceRequestDataReader_narrow(reader);
        if (DDS_ServiceRequestDataReader_take(typed, &samples, &infos, DDS_LENGTH_UNLIMITED,
                DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE) != DDS_RETCODE_OK)
            return all;
        for (DDS_Long i = 0; i < DDS_ServiceRequestSeq_get_length(&samples); ++i) {
            const DDS_ServiceRequest& one = *DDS_ServiceRequestSeq_get_reference(&samples, i);
            const auto* body =
                reinterpret_cast<const char*>(DDS_OctetSeq_get_contiguous_buffer(&one.request_body));
            const auto length = static_cast<size_t>(DDS_OctetSeq_get_length(&one.request_body));
            all.push_back({one.service_id, one.instance_id, length > 0 ? std::string(body, length) : "",
                *DDS_SampleInfoSeq_get_reference(&infos, i)});
        }
        EXPECT_EQ(DDS_ServiceRequestDataReader_return_loan(typed, &samples, &infos), DDS_RETCODE_OK);
        return all;
    }
    // Takes until there are as many, for a generous time.
    std::vector<Taken> takeSome(size_t wanted) const {
        std::vector<Taken> all;
        DDS_WaitSet* waitSet = DDS_WaitSet_new();
        DDS_ReadCondition* condition = DDS_DataReader_create_readcondition(
            reader, DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE);
        DDS_WaitSet_attach_condition(waitSet, DDS_ReadCondition_as_condition(condition));
        while (all.size() < wanted) {
            DDS_ConditionSeq active{};
            const DDS_ReturnCode_t waited = DDS_WaitSet_wait(waitSet, &active, &generous);
            DDS_ConditionSeq_finalize(&active);
            if (waited != DDS_RETCODE_OK)
                break;
            for (Taken& one : take())
                all.push_back(std::move(one));
        }
        DDS_WaitSet_delete(waitSet);
        DDS_DataReader_delete_readcondition(reader, condition);
        EXPECT_EQ(all.size(), wanted);
        all.resize(wanted);
        return all;
    }

    zdds::ServiceRequestChannel& channel() const { return *participant->serviceRequests; }

    DDS_DomainParticipant* participant = nullptr;
    DDS_DataWriter* writer = nullptr;
    DDS_Subscriber* subscriber = nullptr;
    DDS_DataReader* reader = nullptr;
};

inline bool eventually(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

} // namespace requests

#endif
