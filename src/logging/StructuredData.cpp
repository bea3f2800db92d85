#include "src/logging/StructuredData.h"

#include <climits>
#include <cstring>

#include "src/log/Log.hpp"
#include "zddscore/inline_memory.h"
#include "zddscore/text.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::logging;

using Entry = DDS_Monitoring_StructuredDataMapEntry;
using EntrySeq = DDS_Monitoring_StructuredDataMapEntrySeq;
using Pair = DDS_Monitoring_NameValuePair;
using PairSeq = DDS_Monitoring_NameValuePairSeq;

// The two families under common names.
struct Entries {
    using Sequence = EntrySeq;
    using Element = Entry;
    static constexpr auto initialize = DDS_Monitoring_StructuredDataMapEntry_initialize_w_memory_manager;
    static constexpr auto finalize = DDS_Monitoring_StructuredDataMapEntry_finalize_w_memory_manager;
    static constexpr auto copy = DDS_Monitoring_StructuredDataMapEntry_copy_w_memory_manager;
    static constexpr auto length = DDS_Monitoring_StructuredDataMapEntrySeq_get_length;
    static constexpr auto at = DDS_Monitoring_StructuredDataMapEntrySeq_get_reference;
    static constexpr auto loan = DDS_Monitoring_StructuredDataMapEntrySeq_loan_contiguous;
    static constexpr auto drop =
        DDS_Monitoring_StructuredDataMapEntrySeq_unloan_and_finalize_w_memory_manager;
    static void reportSize(size_t size) {
        ORX_ERROR(FAILED_TO_CONVERT_TYPE,
            "Buffer size (%zu) for structured data exceeds maximum number representable by a INT32", size);
    }
};
struct Pairs {
    using Sequence = PairSeq;
    using Element = Pair;
    static constexpr auto initialize = DDS_Monitoring_NameValuePair_initialize_w_memory_manager;
    static constexpr auto finalize = DDS_Monitoring_NameValuePair_finalize_w_memory_manager;
    static constexpr auto copy = DDS_Monitoring_NameValuePair_copy_w_memory_manager;
    static constexpr auto length = DDS_Monitoring_NameValuePairSeq_get_length;
    static constexpr auto at = DDS_Monitoring_NameValuePairSeq_get_reference;
    static constexpr auto loan = DDS_Monitoring_NameValuePairSeq_loan_contiguous;
    static constexpr auto drop = DDS_Monitoring_NameValuePairSeq_unloan_and_finalize_w_memory_manager;
    static void reportSize(size_t size) {
        ORX_ERROR(FAILED_TO_CONVERT_TYPE,
            "Buffer size (%zu) for name value pair exceeds maximum number representable by a INT32", size);
    }
};

bool replaceText(char** text, REDAInlineMemory** memoryManager, const char* value) {
    return ORXCdrType_copyStringExWMemoryManager(text, memoryManager, value, INT_MAX, 1) != nullptr;
}

template <class Family> void release(typename Family::Element* elements, DDS_Long count) {
    for (DDS_Long i = 0; i < count; ++i)
        Family::finalize(&elements[i]);
    (void)REDAInlineMemBuffer_release(elements);
}

// A buffer of `count` initialized elements.
template <class Family>
typename Family::Element* newBuffer(REDAInlineMemory** memoryManager, DDS_Long count) {
    using Element = typename Family::Element;
    const size_t size = static_cast<size_t>(count) * sizeof(Element);
    if (size > INT_MAX) {
        Family::reportSize(size);
        return nullptr;
    }
    auto* elements = static_cast<Element*>(
        REDAInlineMemory_reserveBufferI(memoryManager, static_cast<REDAInlineMemorySize>(size), 1));
    if (elements == nullptr) {
        return ORX_ERROR(
            FAILED_TO_ALLOCATE, "structured data buffer with size %u\n", static_cast<unsigned>(size));
    }
    std::memset(static_cast<void*>(elements), 0, size);
    for (DDS_Long i = 0; i < count; ++i) {
        if (Family::initialize(&elements[i], memoryManager))
            continue;
        release<Family>(elements, i);
        return ORX_ERROR(FAILED_TO_INITIALIZE, "structured data element %d\n", i);
    }
    return elements;
}

// A sequence of an arena does not grow: a longer one with the same elements takes its place. `fill` sets the
// new last element, before anything of the old sequence is given up.
template <class Family, class Fill>
typename Family::Element* append(
    typename Family::Sequence* self, REDAInlineMemory** memoryManager, Fill fill) {
    const DDS_Long length = Family::length(self);
    if (length == INT_MAX) {
        Family::reportSize((static_cast<size_t>(length) + 1) * sizeof(typename Family::Element));
        return nullptr;
    }
    auto* elements = newBuffer<Family>(memoryManager, length + 1);
    if (elements == nullptr)
        return nullptr;
    bool result = fill(elements[length]);
    for (DDS_Long i = 0; result && i < length; ++i)
        result = Family::copy(&elements[i], memoryManager, Family::at(self, i)) != 0;
    if (!result) {
        release<Family>(elements, length + 1);
        return ORX_ERROR(FAILED_TO_COPY, "structured data of %d elements\n", length + 1);
    }
    typename Family::Sequence before = *self;
    *self = {};
    if (!Family::loan(self, elements, length + 1, length + 1)) {
        *self = before;
        release<Family>(elements, length + 1);
        return ORX_ERROR(FAILED_TO_LOAN, "structured data of %d elements\n", length + 1);
    }
    (void)Family::drop(&before);
    return &elements[length];
}

} // namespace

DDS_Monitoring_StructuredDataMapEntry* DDS_Monitoring_StructuredDataMapEntrySeq_assertElement(
    DDS_Monitoring_StructuredDataMapEntrySeq* self, REDAInlineMemory** memoryManager, const char* key) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(memoryManager == ORX_NULL);
    ORX_FAIL_IF(key == ORX_NULL);
    for (DDS_Long i = 0; i < Entries::length(self); ++i) {
        Entry* entry = Entries::at(self, i);
        if (REDAString_compare(entry->key, key) == 0)
            return entry;
    }
    return append<Entries>(
        self, memoryManager, [&](Entry& entry) { return replaceText(&entry.key, memoryManager, key); });
}

DDS_Monitoring_NameValuePair* DDS_Monitoring_NameValuePairSeq_assertElement(
    DDS_Monitoring_NameValuePairSeq* self, REDAInlineMemory** memoryManager, const char* name,
    const char* value) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(memoryManager == ORX_NULL);
    ORX_FAIL_IF(name == ORX_NULL);
    ORX_FAIL_IF(value == ORX_NULL);
    for (DDS_Long i = 0; i < Pairs::length(self); ++i) {
        Pair* pair = Pairs::at(self, i);
        if (REDAString_compare(pair->name, name) != 0)
            continue;
        if (!replaceText(&pair->value, memoryManager, value))
            return ORX_ERROR(FAILED_TO_COPY, "value of the name value pair '%s'\n", name);
        return pair;
    }
    return append<Pairs>(self, memoryManager, [&](Pair& pair) {
        return replaceText(&pair.name, memoryManager, name) && replaceText(&pair.value, memoryManager, value);
    });
}
