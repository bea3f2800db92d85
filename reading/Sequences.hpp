// Values of C++ as texts and sequences of the schema.
//
// Errors: false where memory is wanting; what was filled till then stays, and is finalized with its owner.
// Threads: any; no state.
#ifndef READING_SEQUENCES_HPP
#define READING_SEQUENCES_HPP

#include <string>
#include <vector>

#include "orxmonitoring2d/data_model.h"

namespace reading {

inline bool fill(char*& text, const std::string& value) {
    return DDS_String_replace(&text, value.c_str()) != nullptr;
}

// Makes the sequence as long as the values, and fills each element.
template <auto ensureLength, auto getReference, typename Sequence, typename Values, typename FillOne>
bool fillEach(Sequence& sequence, const Values& values, FillOne fillOne) {
    const auto count = static_cast<DDS_Long>(values.size());
    if (!ensureLength(&sequence, count, count))
        return false;
    DDS_Long i = 0;
    for (const auto& value : values) {
        if (!fillOne(*getReference(&sequence, i++), value))
            return false;
    }
    return true;
}

inline bool fill(DDS_StringSeq& sequence, const std::vector<std::string>& values) {
    return fillEach<DDS_StringSeq_ensure_length, DDS_StringSeq_get_reference>(
        sequence, values, [](char*& element, const std::string& value) { return fill(element, value); });
}

} // namespace reading

#endif
