// The typed reader of the service-request channel.
#include "middleware/entities/DataReaderImpl.hpp"
#include "middleware/entities/ServiceRequestType.hpp"
#include "middleware/log/DdsLog.hpp"

namespace {

DDS_DataReader* untyped(DDS_ServiceRequestDataReader* self) {
    return reinterpret_cast<DDS_DataReader*>(self);
}

DDS_SequenceBase* base(DDS_ServiceRequestSeq* samples) {
    return reinterpret_cast<DDS_SequenceBase*>(samples);
}

} // namespace

DDS_ServiceRequestDataReader* DDS_ServiceRequestDataReader_narrow(DDS_DataReader* reader) {
    if (reader == nullptr || reader->topic->plugin->type != zdds::serviceRequestTypePlugin().type)
        return nullptr;
    return reinterpret_cast<DDS_ServiceRequestDataReader*>(reader);
}

DDS_DataReader* DDS_ServiceRequestDataReader_as_datareader(DDS_ServiceRequestDataReader* self) {
    return untyped(self);
}

DDS_ReturnCode_t DDS_ServiceRequestDataReader_take(DDS_ServiceRequestDataReader* self,
    DDS_ServiceRequestSeq* samples, DDS_SampleInfoSeq* infos, DDS_Long maxSamples,
    DDS_SampleStateMask sampleStates, DDS_ViewStateMask viewStates, DDS_InstanceStateMask instanceStates) {
    return DDS_DataReader_read_or_take_untypedI(untyped(self), base(samples), infos, maxSamples, sampleStates,
        viewStates, instanceStates, DDS_BOOLEAN_TRUE);
}

DDS_ReturnCode_t DDS_ServiceRequestDataReader_take_w_condition(DDS_ServiceRequestDataReader* self,
    DDS_ServiceRequestSeq* samples, DDS_SampleInfoSeq* infos, DDS_Long maxSamples,
    DDS_ReadCondition* condition) {
    return DDS_DataReader_read_or_take_w_condition_untypedI(
        untyped(self), base(samples), infos, maxSamples, condition, DDS_BOOLEAN_TRUE);
}

DDS_ReturnCode_t DDS_ServiceRequestDataReader_return_loan(
    DDS_ServiceRequestDataReader* self, DDS_ServiceRequestSeq* samples, DDS_SampleInfoSeq* infos) {
    return DDS_DataReader_return_loan_untypedI(untyped(self), base(samples), infos);
}
