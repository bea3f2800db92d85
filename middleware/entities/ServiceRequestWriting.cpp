// Writing to exactly one reader through a participant's built-in writer.
#include "middleware/entities/DataWriterImpl.hpp"
#include "middleware/log/DdsLog.hpp"
#include "zddsc/service_request.h"

DDS_DataWriter* DDS_DomainParticipant_get_builtin_datawriterI(
    DDS_DomainParticipant* self, const char* topicName, int /*reserved*/) {
    ZDDS_REQUIRE(self != nullptr, nullptr);
    ZDDS_REQUIRE(topicName != nullptr, nullptr);
    return ZDDS_FAIL(nullptr, NOT_SUPPORTED, "built-in writer of topic '%s'", topicName);
}

DDS_Subscriber* DDS_DomainParticipant_get_builtin_subscriber(DDS_DomainParticipant* self) {
    ZDDS_REQUIRE(self != nullptr, nullptr);
    return ZDDS_FAIL(nullptr, NOT_SUPPORTED, "built-in subscriber");
}

static DDS_ReturnCode_t refuse(const DDS_DataWriter* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    return ZDDS_FAIL(
        DDS_RETCODE_ILLEGAL_OPERATION, NOT_SUPPORTED, "write to one reader of topic '%s'", self->topic->name);
}

DDS_ReturnCode_t DDS_DataWriter_write_untyped_generalI(DDS_DataWriter* self,
    const DDS_InstanceHandle_t* /*destination*/, DDS_WriteParams_t* /*params*/, const void* /*sample*/,
    DDS_InstanceHandle_t* /*instanceHandle*/) {
    return refuse(self);
}

DDS_ReturnCode_t DDS_DataWriter_dispose_untyped_generalI(DDS_DataWriter* self,
    const DDS_InstanceHandle_t* /*destination*/, DDS_WriteParams_t* /*params*/, const void* /*sample*/,
    DDS_InstanceHandle_t* /*instanceHandle*/) {
    return refuse(self);
}

DDS_ReturnCode_t DDS_DataWriter_unregister_instance_untyped_generalI(DDS_DataWriter* self,
    const DDS_InstanceHandle_t* /*destination*/, const void* /*sample*/,
    DDS_InstanceHandle_t* /*instanceHandle*/) {
    return refuse(self);
}

DDS_ReturnCode_t DDS_DataWriter_wait_for_acknowledgments_of_readerI(
    DDS_DataWriter* self, const DDS_InstanceHandle_t* /*destination*/, const DDS_Duration_t* /*maxWait*/) {
    return refuse(self);
}
