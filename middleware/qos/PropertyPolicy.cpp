#include <cstring>

#include "middleware/log/DdsLog.hpp"
#include "zddsc/qos.h"

const DDS_Property_t* DDS_PropertyQosPolicyHelper_lookup_property(
    const DDS_PropertyQosPolicy* policy, const char* name) {
    ZDDS_REQUIRE(policy != nullptr, nullptr);
    ZDDS_REQUIRE(name != nullptr, nullptr);
    const DDS_Long length = DDS_PropertySeq_get_length(&policy->value);
    for (DDS_Long i = 0; i < length; ++i) {
        const DDS_Property_t* property = DDS_PropertySeq_get_reference(&policy->value, i);
        if (property->name != nullptr && std::strcmp(property->name, name) == 0)
            return property;
    }
    return nullptr;
}

DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_add_property(
    DDS_PropertyQosPolicy* policy, const char* name, const char* value, DDS_Boolean propagate) {
    ZDDS_REQUIRE(policy != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(name != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(value != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (DDS_PropertyQosPolicyHelper_lookup_property(policy, name) != nullptr)
        return ZDDS_FAIL(
            DDS_RETCODE_PRECONDITION_NOT_MET, FAILED_TO_ADD, "property '%s': it is there already", name);
    const DDS_Long length = DDS_PropertySeq_get_length(&policy->value);
    if (!DDS_PropertySeq_ensure_length(&policy->value, length + 1, length + 1))
        return ZDDS_FAIL(DDS_RETCODE_OUT_OF_RESOURCES, FAILED_TO_ADD, "property '%s'", name);
    DDS_Property_t* property = DDS_PropertySeq_get_reference(&policy->value, length);
    if (DDS_String_replace(&property->name, name) == nullptr ||
        DDS_String_replace(&property->value, value) == nullptr) {
        DDS_PropertySeq_set_length(&policy->value, length);
        return ZDDS_FAIL(DDS_RETCODE_OUT_OF_RESOURCES, FAILED_TO_ADD, "property '%s'", name);
    }
    property->propagate = propagate;
    return DDS_RETCODE_OK;
}
