// Patterns that match the one text that they are, and a hash to find them by.
//
// Threads: any; no state.
#ifndef ORX_MONITORING_LITERAL_TEXT_HPP
#define ORX_MONITORING_LITERAL_TEXT_HPP

#include <cstring>

#include "zddscore/types.h"

namespace orx {

// In the language of REDAString_fnmatch.
inline bool isLiteral(const char* pattern) {
    return std::strpbrk(pattern, "*?[\\") == nullptr;
}

// FNV-1a (Fowler, Noll and Vo), 32 bits, its upper half folded in for who takes the lower bits.
inline ORX_UINT32 hashOfText(const char* text) {
    ORX_UINT32 hash = 2166136261U;
    for (; *text != '\0'; ++text)
        hash = (hash ^ static_cast<unsigned char>(*text)) * 16777619U;
    return hash ^ (hash >> 16);
}

} // namespace orx

#endif
