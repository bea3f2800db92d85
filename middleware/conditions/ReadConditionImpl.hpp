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
    DDS_DataReaderImpl& reader;
    zdds::ReaderCache& cache;
    const zdds::SampleSelection selection;
    DDS_ReadConditionImpl* next = nullptr; // among those of the reader
};

#endif
