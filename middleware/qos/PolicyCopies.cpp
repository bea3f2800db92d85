// Copies of single policies, for those who take a QoS together from parts.
#include "middleware/log/DdsLog.hpp"
#include "middleware/qos/PolicyOperations.hpp"

namespace {

// Into a fresh value first: a failure leaves the destination as it was.
template <class Policy> DDS_ReturnCode_t copyPolicy(Policy* self, const Policy* source, const char* name) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(source != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (self == source)
        return DDS_RETCODE_OK;
    Policy fresh{};
    if (!zdds::qos::copy(fresh, *source)) {
        zdds::qos::release(fresh);
        return ZDDS_FAIL(DDS_RETCODE_OUT_OF_RESOURCES, FAILED_TO_COPY, "%s", name);
    }
    zdds::qos::release(*self);
    *self = fresh;
    return DDS_RETCODE_OK;
}

} // namespace

DDS_ReturnCode_t DDS_DurabilityQosPolicy_copy(
    DDS_DurabilityQosPolicy* self, const DDS_DurabilityQosPolicy* source) {
    return copyPolicy(self, source, "durability");
}

DDS_ReturnCode_t DDS_PropertyQosPolicy_copy(
    DDS_PropertyQosPolicy* self, const DDS_PropertyQosPolicy* source) {
    return copyPolicy(self, source, "properties");
}

DDS_ReturnCode_t DDS_EntityNameQosPolicy_copy(
    DDS_EntityNameQosPolicy* self, const DDS_EntityNameQosPolicy* source) {
    return copyPolicy(self, source, "entity name");
}
