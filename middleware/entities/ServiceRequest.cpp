// The sample of the built-in service-request channel: its type, its values, its sequence.
#include <cstddef>
#include <iterator>

#include "middleware/entities/ServiceRequestType.hpp"
#include "middleware/log/DdsLog.hpp"
#include "zddsc/sequence_define.h"
#include "zddsc/type_engine.h"

namespace {

constexpr DDS_TypeDescriptor finalType(DDS_TypeKind kind, const char* name, size_t size, size_t alignment) {
    DDS_TypeDescriptor type{};
    type.kind = kind;
    type.name = name;
    type.size = size;
    type.alignment = alignment;
    type.extensibility = DDS_TYPE_FINAL;
    type.representationMask = DDS_DATA_REPRESENTATION_MASK_XCDR | DDS_DATA_REPRESENTATION_MASK_XCDR2;
    return type;
}

constexpr DDS_TypeDescriptor octets(
    DDS_TypeKind kind, size_t size, size_t alignment, DDS_UnsignedLong bound) {
    DDS_TypeDescriptor type = finalType(kind, "", size, alignment);
    type.element = &DDS_g_type_octet;
    type.bound = bound;
    return type;
}

constexpr DDS_TypeMember member(
    const char* name, DDS_UnsignedLong id, size_t offset, const DDS_TypeDescriptor& type) {
    DDS_TypeMember result{};
    result.name = name;
    result.id = id;
    result.offset = offset;
    result.type = &type;
    return result;
}

constexpr DDS_TypeDescriptor guidOctets = octets(DDS_TYPE_ARRAY, sizeof(DDS_GUID_t), alignof(DDS_GUID_t), 16);
constexpr DDS_TypeDescriptor bodyOctets =
    octets(DDS_TYPE_SEQUENCE, sizeof(DDS_OctetSeq), alignof(DDS_OctetSeq), 0);
constexpr DDS_TypeMember members[] = {
    member("service_id", 0, offsetof(DDS_ServiceRequest, service_id), DDS_g_type_long),
    member("instance_id", 1, offsetof(DDS_ServiceRequest, instance_id), guidOctets),
    member("request_body", 2, offsetof(DDS_ServiceRequest, request_body), bodyOctets),
};

DDS_TypeRuntime runtime;
ORXXCdrMemberAccessInfo access[std::size(members)];

// Final, so that every encoding begins with the key: service_id and instance_id, 20 bytes.
constexpr DDS_TypeDescriptor serviceRequestType = [] {
    DDS_TypeDescriptor type = finalType(
        DDS_TYPE_STRUCT, "DDS::ServiceRequest", sizeof(DDS_ServiceRequest), alignof(DDS_ServiceRequest));
    type.members = members;
    type.memberCount = std::size(members);
    type.runtime = &runtime;
    type.access = access;
    return type;
}();

constexpr DDS_TypePlugin serviceRequestPlugin{
    &serviceRequestType, "DDS::ServiceRequest", PRES_TYPEPLUGIN_USER_KEY};

constexpr DDS_SequenceElement serviceRequestElement =
    DDS_SEQUENCE_ELEMENT_OF_TYPE(DDS_ServiceRequest, &serviceRequestType);

} // namespace

namespace zdds {
const DDS_TypePlugin& serviceRequestTypePlugin() {
    return serviceRequestPlugin;
}
} // namespace zdds

DDS_SEQUENCE_DEFINE(DDS_ServiceRequestSeq, DDS_ServiceRequest, &serviceRequestElement)

const DDS_ServiceRequest DDS_SERVICE_REQUEST_DEFAULT = {};

DDS_Boolean DDS_ServiceRequest_initialize(DDS_ServiceRequest* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_BOOLEAN_FALSE);
    *self = DDS_ServiceRequest{};
    return DDS_BOOLEAN_TRUE;
}

DDS_Boolean DDS_ServiceRequest_finalize(DDS_ServiceRequest* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_BOOLEAN_FALSE);
    return DDS_OctetSeq_finalize(&self->request_body);
}

DDS_Boolean DDS_ServiceRequest_copy(DDS_ServiceRequest* self, const DDS_ServiceRequest* source) {
    ZDDS_REQUIRE(self != nullptr, DDS_BOOLEAN_FALSE);
    ZDDS_REQUIRE(source != nullptr, DDS_BOOLEAN_FALSE);
    if (DDS_OctetSeq_copy(&self->request_body, &source->request_body) == nullptr)
        return ZDDS_FAIL(DDS_BOOLEAN_FALSE, FAILED_TO_COPY, "body of a service request");
    self->service_id = source->service_id;
    self->instance_id = source->instance_id;
    return DDS_BOOLEAN_TRUE;
}
