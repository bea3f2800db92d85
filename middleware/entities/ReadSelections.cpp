// The forms of read and take: which samples each selects.
#include "middleware/conditions/ReadConditionImpl.hpp"
#include "middleware/entities/DataReaderImpl.hpp"
#include "middleware/entities/Reading.hpp"
#include "middleware/log/DdsLog.hpp"

using Scope = zdds::SampleSelection::Scope;

namespace {

zdds::SampleSelection selectStates(
    DDS_SampleStateMask sampleStates, DDS_ViewStateMask viewStates, DDS_InstanceStateMask instanceStates) {
    zdds::SampleSelection selection;
    selection.sampleStates = sampleStates;
    selection.viewStates = viewStates;
    selection.instanceStates = instanceStates;
    return selection;
}

DDS_ReturnCode_t readScope(DDS_DataReader* self, DDS_SequenceBase* samples, DDS_SampleInfoSeq* infos,
    DDS_Long maxSamples, zdds::SampleSelection selection, Scope scope, const DDS_InstanceHandle_t* handle,
    bool take) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(samples != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(infos != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(scope == Scope::all || handle != nullptr, DDS_RETCODE_BAD_PARAMETER);
    selection.scope = scope;
    if (handle != nullptr)
        selection.instance = *handle;
    if (scope == Scope::instance && self->isOfThisProcess() && !self->cache.knows(*handle))
        return ZDDS_FAIL(
            DDS_RETCODE_BAD_PARAMETER, FAILED_TO_FIND, "instance of topic '%s'", self->topic->name);
    return zdds::readOrTake(*self, *samples, *infos, maxSamples, selection, take);
}

// With the states of a condition.
DDS_ReturnCode_t readCondition(DDS_DataReader* self, DDS_SequenceBase* samples, DDS_SampleInfoSeq* infos,
    DDS_Long maxSamples, DDS_ReadCondition* condition, Scope scope, const DDS_InstanceHandle_t* handle,
    bool take) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(condition != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (!self->readConditions.contains(*condition))
        return ZDDS_FAIL(DDS_RETCODE_PRECONDITION_NOT_MET, FAILED_TO_FIND,
            "read condition of the reader of topic '%s'", self->topic->name);
    return readScope(self, samples, infos, maxSamples, condition->selection, scope, handle, take);
}

} // namespace

DDS_ReturnCode_t DDS_DataReader_read_or_take_untypedI(DDS_DataReader* self, struct DDS_SequenceBase* samples,
    DDS_SampleInfoSeq* infos, DDS_Long maxSamples, DDS_SampleStateMask sampleStates,
    DDS_ViewStateMask viewStates, DDS_InstanceStateMask instanceStates, DDS_Boolean take) {
    return readScope(self, samples, infos, maxSamples, selectStates(sampleStates, viewStates, instanceStates),
        Scope::all, nullptr, take);
}

DDS_ReturnCode_t DDS_DataReader_read_or_take_w_condition_untypedI(DDS_DataReader* self,
    struct DDS_SequenceBase* samples, DDS_SampleInfoSeq* infos, DDS_Long maxSamples,
    DDS_ReadCondition* condition, DDS_Boolean take) {
    return readCondition(self, samples, infos, maxSamples, condition, Scope::all, nullptr, take);
}

DDS_ReturnCode_t DDS_DataReader_read_or_take_instance_untypedI(DDS_DataReader* self,
    struct DDS_SequenceBase* samples, DDS_SampleInfoSeq* infos, DDS_Long maxSamples,
    const DDS_InstanceHandle_t* handle, DDS_SampleStateMask sampleStates, DDS_ViewStateMask viewStates,
    DDS_InstanceStateMask instanceStates, DDS_Boolean take) {
    return readScope(self, samples, infos, maxSamples, selectStates(sampleStates, viewStates, instanceStates),
        Scope::instance, handle, take);
}

DDS_ReturnCode_t DDS_DataReader_read_or_take_instance_w_condition_untypedI(DDS_DataReader* self,
    struct DDS_SequenceBase* samples, DDS_SampleInfoSeq* infos, DDS_Long maxSamples,
    const DDS_InstanceHandle_t* handle, DDS_ReadCondition* condition, DDS_Boolean take) {
    return readCondition(self, samples, infos, maxSamples, condition, Scope::instance, handle, take);
}

DDS_ReturnCode_t DDS_DataReader_read_or_take_next_instance_untypedI(DDS_DataReader* self,
    struct DDS_SequenceBase* samples, DDS_SampleInfoSeq* infos, DDS_Long maxSamples,
    const DDS_InstanceHandle_t* previousHandle, DDS_SampleStateMask sampleStates,
    DDS_ViewStateMask viewStates, DDS_InstanceStateMask instanceStates, DDS_Boolean take) {
    return readScope(self, samples, infos, maxSamples, selectStates(sampleStates, viewStates, instanceStates),
        Scope::nextInstance, previousHandle, take);
}

DDS_ReturnCode_t DDS_DataReader_read_or_take_next_instance_w_condition_untypedI(DDS_DataReader* self,
    struct DDS_SequenceBase* samples, DDS_SampleInfoSeq* infos, DDS_Long maxSamples,
    const DDS_InstanceHandle_t* previousHandle, DDS_ReadCondition* condition, DDS_Boolean take) {
    return readCondition(
        self, samples, infos, maxSamples, condition, Scope::nextInstance, previousHandle, take);
}

DDS_ReturnCode_t DDS_DataReader_read_or_take_next_sample_untypedI(
    DDS_DataReader* self, void* sample, DDS_SampleInfo* info, DDS_Boolean take) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(sample != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(info != nullptr, DDS_RETCODE_BAD_PARAMETER);
    zdds::SampleSelection selection;
    selection.sampleStates = DDS_NOT_READ_SAMPLE_STATE;
    return zdds::readOne(*self, sample, *info, selection, take);
}

// A loaned sample is its reader's and nobody's to overwrite.
DDS_ReturnCode_t DDS_DataReader_is_data_consistent_untypedI(
    DDS_DataReader* self, DDS_Boolean* isConsistent, const void* sample, const DDS_SampleInfo* info) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(isConsistent != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(sample != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(info != nullptr, DDS_RETCODE_BAD_PARAMETER);
    *isConsistent = DDS_BOOLEAN_TRUE;
    return DDS_RETCODE_OK;
}
