// The core of every read and take of a reader.
#ifndef ZDDSC_ENTITIES_READING_HPP
#define ZDDSC_ENTITIES_READING_HPP

#include "middleware/entities/ReaderCache.hpp"
#include "zddsc/entities.h"

namespace zdds {

DDS_ReturnCode_t readOrTake(DDS_DataReaderImpl& reader, DDS_SequenceBase& samples, DDS_SampleInfoSeq& infos,
    DDS_Long maxSamples, const SampleSelection& selection, bool take);

// One sample, copied into an initialized value.
DDS_ReturnCode_t readOne(DDS_DataReaderImpl& reader, void* sample, DDS_SampleInfo& info,
    const SampleSelection& selection, bool take);

} // namespace zdds

#endif
