// Samples on loan to an application: what a read or take hands out without copying.
//
// A loan is one block: its record, then the arrays that the sequences of the caller point to. It lives from
// the read to return_loan; the samples are pinned until then.
#ifndef ZDDSC_ENTITIES_SAMPLE_LOAN_HPP
#define ZDDSC_ENTITIES_SAMPLE_LOAN_HPP

#include "middleware/entities/CachedSample.hpp"
#include "middleware/entities/Sync.hpp"

namespace zdds {

class ReaderCache;

struct SampleLoan {
    SampleLoan* next;
    DDS_Long count;
    CachedSample** samples;
    void** values; // what the sequence of samples points to
    DDS_SampleInfo* infos;

    // Null when memory is out.
    static SampleLoan* create(DDS_Long room);
    static void destroy(SampleLoan* loan);

    // Decodes what was collected and closes the gaps that undecodable samples leave, which are given back.
    // False when memory was out for one.
    bool decode(ReaderCache& cache);
    void releaseSamples(ReaderCache& cache);
};

// The loans of one reader.
class LoanList {
public:
    void add(SampleLoan& loan);
    // Takes out the loan whose arrays these are; null when there is none.
    SampleLoan* remove(void* const* values, const DDS_SampleInfo* infos);
    // Whether a loan's array is what the caller's sequence points to.
    bool holds(void* const* values) const;
    bool isEmpty() const;

private:
    mutable Mutex mutex_;
    SampleLoan* first_ = nullptr;
};

} // namespace zdds

#endif
