// Reading and writing what lies at an address in a value.
#ifndef ZDDSC_TYPES_MEMBER_ACCESS_HPP
#define ZDDSC_TYPES_MEMBER_ACCESS_HPP

#include <cstdint>
#include <cstring>

#include "zddsc/sequence.h"

namespace zdds::types {

inline uint32_t wordAt(const char* at) {
    uint32_t word;
    std::memcpy(&word, at, sizeof word);
    return word;
}
inline void putWord(char* at, uint32_t word) {
    std::memcpy(at, &word, sizeof word);
}

inline const char* pointerAt(const char* at) {
    const char* pointer;
    std::memcpy(&pointer, at, sizeof pointer);
    return pointer;
}
// Null counts as "". The empty text is a whole block: see textLength.
alignas(16) inline constexpr char noText[16] = {};
inline const char* textAt(const char* at) {
    const char* text = pointerAt(at);
    return text == nullptr ? noText : text;
}

inline const DDS_SequenceBase& sequenceAt(const char* at) {
    return *reinterpret_cast<const DDS_SequenceBase*>(at);
}
inline const char* sequenceElement(const DDS_SequenceBase& sequence, uint32_t index, size_t size) {
    return sequence._discontiguous_buffer != nullptr
               ? static_cast<const char*>(sequence._discontiguous_buffer[index])
               : static_cast<const char*>(sequence._contiguous_buffer) + index * size;
}

} // namespace zdds::types

#endif
