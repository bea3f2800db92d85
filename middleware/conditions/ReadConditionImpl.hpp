// A read condition: triggered while its reader has samples with the given states.
//
// Threads: looking at the trigger takes the reader's cache lock, under the conditions' mutex, never the other
// way. Ownership: the reader's, from create_readcondition to delete_readcondition.
#ifndef ZDDSC_CONDITIONS_READ_CONDITION_IMPL_HPP
#define ZDDSC_CONDITIONS_READ_CONDITION_IMPL_HPP

#include "middleware/conditions/ConditionImpl.hpp"
#include "middleware/entities/ReaderCache.hpp"

struct DDS_ReadConditionImpl : DDS_ConditionImpl {
    DDS_ReadConditionImpl(
        DDS_DataReaderImpl& owner, zdds::ReaderCache& samples, const zdds::SampleSelection& states)
        : DDS_ConditionImpl(zdds::conditions::ConditionKind::read), reader(owner), cache(samples),
          selection(states) {}

    const DDS_ConditionImpl* member() const { return this; }
    // Only a sample that comes, with a key that the filter accepts, can trigger it: reading a sample, or a
    // change of its instance, cannot.
    bool awaitsSamples() const {
        constexpr DDS_ViewStateMask views = DDS_NEW_VIEW_STATE | DDS_NOT_NEW_VIEW_STATE;
        constexpr DDS_InstanceStateMask instances = DDS_ALIVE_INSTANCE_STATE |
                                                    DDS_NOT_ALIVE_DISPOSED_INSTANCE_STATE |
                                                    DDS_NOT_ALIVE_NO_WRITERS_INSTANCE_STATE;
        return (selection.sampleStates & DDS_NOT_READ_SAMPLE_STATE) != 0 &&
               (selection.viewStates & views) == views && (selection.instanceStates & instances) == instances;
    }

    DDS_DataReaderImpl& reader;
    zdds::ReaderCache& cache;
    const zdds::SampleSelection selection;
    // Among those of the reader.
    zdds::conditions::MemberPlace<DDS_ReadConditionImpl> place;
    DDS_ReadConditionImpl* nextAwaiting = nullptr;
    DDS_ReadConditionImpl** linkAwaiting = nullptr; // what points here
};

#endif
