// Reading and taking: by loan, or by copy into the caller's own elements.
#include <algorithm>

#include "middleware/entities/DataReaderImpl.hpp"
#include "middleware/entities/Reading.hpp"
#include "middleware/log/DdsLog.hpp"
#include "middleware/log/Memory.hpp"
#include "zddsc/sequence_define.h"

namespace zdds {
namespace {

bool wantsLoan(const DDS_SequenceBase& samples) {
    return samples._maximum == 0;
}

// How many samples the caller wants at most; negative for arguments that do not fit together.
DDS_Long limitOf(const DDS_SequenceBase& samples, DDS_Long maxSamples) {
    constexpr DDS_Long everything = INT32_MAX;
    if (maxSamples != DDS_LENGTH_UNLIMITED && maxSamples < 0)
        return -1;
    const DDS_Long asked = maxSamples == DDS_LENGTH_UNLIMITED ? everything : maxSamples;
    return wantsLoan(samples) ? asked : std::min(asked, static_cast<DDS_Long>(samples._maximum));
}

// Samples that cannot be decoded are skipped: with nothing left of a batch the next one is looked at.
// The listener, on its thread, does not yet see samples of a writer that it has not heard of.
DDS_ReturnCode_t collectInto(DDS_DataReaderImpl& reader, const SampleSelection& wanted, DDS_Long limit,
    bool take, SampleLoan** result) {
    SampleSelection selection = wanted;
    if (reader.listener.isCallingThread())
        selection.lastArrival = reader.lastArrivalForListener();
    for (;;) {
        const DDS_Long room = reader.cache.count(selection, limit);
        if (room == 0)
            return DDS_RETCODE_NO_DATA;
        SampleLoan* loan = SampleLoan::create(room);
        if (loan == nullptr)
            return ZDDS_FAIL(DDS_RETCODE_OUT_OF_RESOURCES, FAILED_TO_LOAN, "%d samples of topic '%s'", room,
                reader.topic->name);
        loan->count = reader.cache.collect(selection, room, take, loan->samples, loan->infos);
        const bool isTakenByOthers = loan->count == 0;
        reader.readConditions.wakeOnStates();
        const bool hadMemory = loan->decode(reader.cache);
        if (loan->count > 0) {
            *result = loan;
            return DDS_RETCODE_OK;
        }
        SampleLoan::destroy(loan);
        if (!hadMemory)
            return ZDDS_FAIL(DDS_RETCODE_OUT_OF_RESOURCES, FAILED_TO_ALLOCATE, "samples of topic '%s'",
                reader.topic->name);
        // A read leaves what it cannot decode in the cache: looking again would find the same.
        if (!take || isTakenByOthers)
            return DDS_RETCODE_NO_DATA;
    }
}

void lend(DDS_DataReaderImpl& reader, SampleLoan& loan, DDS_SequenceBase& samples, DDS_SampleInfoSeq& infos) {
    reader.loans.add(loan);
    DDS_SequenceBase_loan_discontiguous(&samples, loan.values, loan.count, loan.count);
    DDS_SampleInfoSeq_loan_contiguous(&infos, loan.infos, loan.count, loan.count);
}

// Elements up to the maximum are initialized values, so that only the length changes.
DDS_ReturnCode_t copyOut(
    DDS_DataReaderImpl& reader, SampleLoan& loan, DDS_SequenceBase& samples, DDS_SampleInfoSeq& infos) {
    const DDS_TypePlugin& plugin = *reader.topic->plugin;
    const size_t size = DDS_TypePlugin_get_sample_size(&plugin);
    bool isCopied = DDS_SampleInfoSeq_ensure_length(&infos, loan.count, loan.count);
    for (DDS_Long i = 0; isCopied && i < loan.count; ++i) {
        auto index = static_cast<size_t>(i);
        void* element = samples._discontiguous_buffer != nullptr
                            ? samples._discontiguous_buffer[index]
                            : static_cast<char*>(samples._contiguous_buffer) + index * size;
        isCopied = DDS_TypePlugin_copy_sample(&plugin, element, loan.values[index]);
        *DDS_SampleInfoSeq_get_reference(&infos, i) = loan.infos[index];
    }
    samples._length = isCopied ? static_cast<DDS_UnsignedLong>(loan.count) : 0;
    if (!isCopied)
        DDS_SampleInfoSeq_set_length(&infos, 0);
    return isCopied ? DDS_RETCODE_OK
                    : ZDDS_FAIL(DDS_RETCODE_OUT_OF_RESOURCES, FAILED_TO_COPY, "samples of topic '%s'",
                          reader.topic->name);
}

} // namespace

DDS_ReturnCode_t readOne(DDS_DataReaderImpl& reader, void* sample, DDS_SampleInfo& info,
    const SampleSelection& selection, bool take) {
    if (!reader.isOfThisProcess())
        return DDS_RETCODE_ILLEGAL_OPERATION;
    if (!reader.isEnabled.load(std::memory_order_acquire))
        return DDS_RETCODE_NOT_ENABLED;
    reader.statusCondition.clear(DDS_DATA_AVAILABLE_STATUS);
    SampleLoan* loan = nullptr;
    const DDS_ReturnCode_t collected = collectInto(reader, selection, 1, take, &loan);
    if (collected != DDS_RETCODE_OK)
        return collected;
    const bool isCopied = DDS_TypePlugin_copy_sample(reader.topic->plugin, sample, loan->values[0]);
    info = loan->infos[0];
    loan->releaseSamples(reader.cache);
    SampleLoan::destroy(loan);
    return isCopied ? DDS_RETCODE_OK
                    : ZDDS_FAIL(DDS_RETCODE_OUT_OF_RESOURCES, FAILED_TO_COPY, "sample of topic '%s'",
                          reader.topic->name);
}

DDS_ReturnCode_t readOrTake(DDS_DataReaderImpl& reader, DDS_SequenceBase& samples, DDS_SampleInfoSeq& infos,
    DDS_Long maxSamples, const SampleSelection& selection, bool take) {
    if (!reader.isOfThisProcess())
        return DDS_RETCODE_ILLEGAL_OPERATION;
    if (!reader.isEnabled.load(std::memory_order_acquire))
        return DDS_RETCODE_NOT_ENABLED;
    const bool isLent = samples._loaned && reader.loans.holds(samples._discontiguous_buffer);
    if (isLent)
        return ZDDS_FAIL(DDS_RETCODE_PRECONDITION_NOT_MET, FAILED_TO_LOAN,
            "samples of topic '%s': the sequence holds a loan", reader.topic->name);
    // Both are lent, or both are the caller's: half a loan could not be returned.
    if (infos._loaned || (wantsLoan(samples) && infos._maximum != 0))
        return ZDDS_FAIL(DDS_RETCODE_PRECONDITION_NOT_MET, FAILED_TO_LOAN,
            "samples of topic '%s': the sequence of infos is not as that of the samples", reader.topic->name);
    const DDS_Long limit = limitOf(samples, maxSamples);
    ZDDS_REQUIRE(limit >= 0, DDS_RETCODE_BAD_PARAMETER);
    // Before looking: what arrives meanwhile raises it again.
    reader.statusCondition.clear(DDS_DATA_AVAILABLE_STATUS);
    SampleLoan* loan = nullptr;
    const DDS_ReturnCode_t collected = collectInto(reader, selection, limit, take, &loan);
    if (collected != DDS_RETCODE_OK)
        return collected;
    if (wantsLoan(samples)) {
        lend(reader, *loan, samples, infos);
        return DDS_RETCODE_OK;
    }
    const DDS_ReturnCode_t copied = copyOut(reader, *loan, samples, infos);
    loan->releaseSamples(reader.cache);
    SampleLoan::destroy(loan);
    return copied;
}

} // namespace zdds

// Sequences without a loan are fine: there is nothing to return.
DDS_ReturnCode_t DDS_DataReader_return_loan_untypedI(
    DDS_DataReader* self, struct DDS_SequenceBase* samples, DDS_SampleInfoSeq* infos) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(samples != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(infos != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (!self->isOfThisProcess())
        return DDS_RETCODE_ILLEGAL_OPERATION;
    if (!samples->_loaned && !infos->_loaned)
        return DDS_RETCODE_OK;
    zdds::SampleLoan* loan = self->loans.remove(samples->_discontiguous_buffer, infos->_contiguous_buffer);
    if (loan == nullptr)
        return ZDDS_FAIL(DDS_RETCODE_PRECONDITION_NOT_MET, FAILED_TO_RETURN,
            "loan: it is not of the reader of topic '%s'", self->topic->name);
    DDS_SequenceBase_unloan(samples);
    DDS_SampleInfoSeq_unloan(infos);
    loan->releaseSamples(self->cache);
    zdds::SampleLoan::destroy(loan);
    return DDS_RETCODE_OK;
}
