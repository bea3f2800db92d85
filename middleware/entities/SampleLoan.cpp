#include "middleware/entities/SampleLoan.hpp"

#include "middleware/entities/ReaderCache.hpp"
#include "zddscore/heap.h"

namespace zdds {

SampleLoan* SampleLoan::create(DDS_Long room) {
    const auto count = static_cast<size_t>(room);
    // Descending alignment: the record, the infos, the pointers.
    static_assert(
        alignof(SampleLoan) >= alignof(DDS_SampleInfo) && alignof(DDS_SampleInfo) >= alignof(void*));
    const size_t size =
        sizeof(SampleLoan) + count * (sizeof(DDS_SampleInfo) + sizeof(void*) + sizeof(CachedSample*));
    void* memory = nullptr;
    if (!ORXOsapiHeap_reallocateMemoryInternal(&memory, size, alignof(SampleLoan), 0, "struct SampleLoan"))
        return nullptr;
    auto* loan = new (memory) SampleLoan{};
    loan->infos = reinterpret_cast<DDS_SampleInfo*>(loan + 1);
    loan->values = reinterpret_cast<void**>(loan->infos + count);
    loan->samples = reinterpret_cast<CachedSample**>(loan->values + count);
    return loan;
}

void SampleLoan::destroy(SampleLoan* loan) {
    ORXOsapiHeap_freeMemoryInternal(loan);
}

bool SampleLoan::decode(ReaderCache& cache) {
    DDS_Long kept = 0;
    bool hadMemory = true;
    for (DDS_Long i = 0; i < count; ++i) {
        const Decoding decoding = cache.decode(*samples[i]);
        hadMemory = hadMemory && decoding != Decoding::outOfMemory;
        if (decoding != Decoding::done) {
            cache.release(*samples[i]);
            continue;
        }
        samples[kept] = samples[i];
        values[kept] = samples[i]->value;
        infos[kept] = infos[i];
        ++kept;
    }
    count = kept;
    return hadMemory;
}

void SampleLoan::releaseSamples(ReaderCache& cache) {
    for (DDS_Long i = 0; i < count; ++i)
        cache.release(*samples[i]);
    count = 0;
}

void LoanList::add(SampleLoan& loan) {
    Guard guard(mutex_);
    loan.next = first_;
    first_ = &loan;
}

SampleLoan* LoanList::remove(void* const* values, const DDS_SampleInfo* infos) {
    Guard guard(mutex_);
    for (SampleLoan** link = &first_; *link != nullptr; link = &(*link)->next) {
        SampleLoan* loan = *link;
        if (loan->values != values || loan->infos != infos)
            continue;
        *link = loan->next;
        return loan;
    }
    return nullptr;
}

bool LoanList::holds(void* const* values) const {
    Guard guard(mutex_);
    for (const SampleLoan* loan = first_; loan != nullptr; loan = loan->next) {
        if (loan->values == values)
            return true;
    }
    return false;
}

bool LoanList::isEmpty() const {
    Guard guard(mutex_);
    return first_ == nullptr;
}

} // namespace zdds
