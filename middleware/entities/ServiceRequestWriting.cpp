// The built-in endpoints of a participant, and writing to exactly one reader.
#include <cstring>

#include "middleware/entities/ServiceRequestChannel.hpp"
#include "middleware/entities/ServiceRequestType.hpp"
#include "middleware/log/DdsLog.hpp"
#include "middleware/log/Memory.hpp"

namespace zdds {
namespace {

ServiceRequestChannel* channelOf(DDS_DomainParticipantImpl& participant) {
    if (participant.isObserved || !participant.isOfThisProcess())
        return nullptr;
    return participant.serviceRequests;
}

// The encoding of a sample, or of its key alone; *result tells what went wrong when it is null.
DirectedWriter::Sample* encode(DDS_DataWriterImpl& writer, const DDS_ServiceRequest& sample,
    engine::SampleKind kind, int64_t sourceTimeNs, DDS_ReturnCode_t* result) {
    const DDS_TypePlugin* plugin = writer.topic->plugin;
    // A dispose and an unregister carry the key, which is how an encoding without a body begins.
    const bool isData = kind == engine::SampleKind::data;
    const DDS_ServiceRequest keyOnly{sample.service_id, sample.instance_id, {}};
    const void* value = isData ? &sample : &keyOnly;
    size_t size = PRESTypePlugin_interpretedGetSerializedSampleSize(plugin, writer.representation, value);
    auto* encoded = DirectedWriter::Sample::create(size, kind, sourceTimeNs);
    if (encoded == nullptr) {
        writer.counters.count(&DDS_DataWriterImpl::Counters::droppedNoMemory);
        *result = DDS_RETCODE_OUT_OF_RESOURCES;
        return ZDDS_FAIL(nullptr, FAILED_TO_ALLOCATE, "service request of %zu bytes", size);
    }
    if (size == 0 || !PRESTypePlugin_interpretedSerialize(plugin, reinterpret_cast<char*>(encoded->bytes()),
                         &size, writer.representation, value)) {
        DirectedWriter::Sample::destroy(encoded);
        writer.counters.count(&DDS_DataWriterImpl::Counters::droppedEncoding);
        *result = DDS_RETCODE_BAD_PARAMETER;
        return ZDDS_FAIL(nullptr, FAILED_TO_SERIALIZE, "service request");
    }
    if (!isData)
        encoded->size = static_cast<uint32_t>(encapsulationBytes + serviceRequestKeyBytes);
    return encoded;
}

// The instance is the writer's from the first sample until it is disposed or unregistered.
DDS_ReturnCode_t sendTo(DDS_DataWriter* self, const DDS_InstanceHandle_t* destination,
    const DDS_WriteParams_t* params, const void* sample, DDS_InstanceHandle_t* instanceHandle,
    engine::SampleKind kind) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(destination != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(!DDS_InstanceHandle_is_nil(destination), DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(sample != nullptr, DDS_RETCODE_BAD_PARAMETER);
    int64_t sourceTimeNs = engine::now;
    ZDDS_REQUIRE(params == nullptr || toNanoseconds(*params, &sourceTimeNs), DDS_RETCODE_BAD_PARAMETER);
    if (!self->isOfThisProcess() || self->directed == nullptr)
        return ZDDS_FAIL(DDS_RETCODE_ILLEGAL_OPERATION, NOT_SUPPORTED, "write to one reader of topic '%s'",
            self->topic->name);
    if (!self->isEnabled.load(std::memory_order_acquire))
        return DDS_RETCODE_NOT_ENABLED;
    const auto& request = *static_cast<const DDS_ServiceRequest*>(sample);
    const DDS_Long length = DDS_OctetSeq_get_length(&request.request_body);
    const bool isData = kind == engine::SampleKind::data;
    if (isData && length > DDS_SERVICE_REQUEST_MAX_BODY_BYTESI)
        return ZDDS_FAIL(DDS_RETCODE_BAD_PARAMETER, BAD_PARAMETER_FAILURE,
            "body of a service request: %d bytes are more than %d", length,
            DDS_SERVICE_REQUEST_MAX_BODY_BYTESI);
    DDS_ReturnCode_t result = DDS_RETCODE_OK;
    DirectedWriter::Sample* encoded = encode(*self, request, kind, sourceTimeNs, &result);
    if (encoded == nullptr)
        return result;
    DDS_GUID_t reader;
    DDS_InstanceHandle_to_guid(destination, &reader);
    const DDS_InstanceHandle_t instance = noteInstance(*self, sample, isData);
    if (instanceHandle != nullptr)
        *instanceHandle = instance;
    result = self->directed->send(reader, encoded);
    if (result == DDS_RETCODE_OK && isData)
        self->participant->serviceRequests->tellSent(request);
    return result;
}

} // namespace
} // namespace zdds

DDS_DataWriter* DDS_DomainParticipant_get_builtin_datawriterI(
    DDS_DomainParticipant* self, const char* topicName, int /*reserved*/) {
    ZDDS_REQUIRE(self != nullptr, nullptr);
    ZDDS_REQUIRE(topicName != nullptr, nullptr);
    zdds::ServiceRequestChannel* channel = zdds::channelOf(*self);
    if (channel == nullptr || std::strcmp(topicName, DDS_SERVICE_REQUEST_TOPIC_NAME) != 0)
        return ZDDS_FAIL(nullptr, FAILED_TO_FIND, "built-in writer of topic '%s'", topicName);
    zdds::BuiltinWriterWatch::note(*self);
    return &channel->writer();
}

DDS_Subscriber* DDS_DomainParticipant_get_builtin_subscriber(DDS_DomainParticipant* self) {
    ZDDS_REQUIRE(self != nullptr, nullptr);
    zdds::ServiceRequestChannel* channel = zdds::channelOf(*self);
    return channel != nullptr ? &channel->subscriber()
                              : ZDDS_FAIL(nullptr, FAILED_TO_FIND, "built-in subscriber");
}

DDS_ReturnCode_t DDS_DataWriter_write_untyped_generalI(DDS_DataWriter* self,
    const DDS_InstanceHandle_t* destination, DDS_WriteParams_t* params, const void* sample,
    DDS_InstanceHandle_t* instanceHandle) {
    return zdds::sendTo(self, destination, params, sample, instanceHandle, zdds::engine::SampleKind::data);
}

DDS_ReturnCode_t DDS_DataWriter_dispose_untyped_generalI(DDS_DataWriter* self,
    const DDS_InstanceHandle_t* destination, DDS_WriteParams_t* params, const void* sample,
    DDS_InstanceHandle_t* instanceHandle) {
    return zdds::sendTo(self, destination, params, sample, instanceHandle, zdds::engine::SampleKind::dispose);
}

DDS_ReturnCode_t DDS_DataWriter_unregister_instance_untyped_generalI(DDS_DataWriter* self,
    const DDS_InstanceHandle_t* destination, const void* sample, DDS_InstanceHandle_t* instanceHandle) {
    return zdds::sendTo(
        self, destination, nullptr, sample, instanceHandle, zdds::engine::SampleKind::unregister);
}

DDS_ReturnCode_t DDS_DataWriter_wait_for_acknowledgments_of_readerI(
    DDS_DataWriter* self, const DDS_InstanceHandle_t* destination, const DDS_Duration_t* maxWait) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(destination != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(maxWait != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (!self->isOfThisProcess() || self->directed == nullptr)
        return DDS_RETCODE_ILLEGAL_OPERATION;
    DDS_GUID_t reader;
    DDS_InstanceHandle_to_guid(destination, &reader);
    return self->directed->waitForAcknowledgment(reader, zdds::deadlineIn(*maxWait));
}
