// memcpy for the sizes of members: short ones without a call.
#ifndef ZDDSC_TYPES_BYTE_COPY_HPP
#define ZDDSC_TYPES_BYTE_COPY_HPP

#include <cstddef>
#include <cstring>

namespace zdds::types {

// The two do not overlap.
[[gnu::always_inline]] inline void copyBytes(char* to, const char* from, size_t size) {
    if (size >= 16) {
        if (size > 128) {
            std::memcpy(to, from, size);
            return;
        }
        // Blocks of 16, the last one overlapping the one before.
        const char* last = from + size - 16;
        char* lastTo = to + size - 16;
        for (; from < last; from += 16, to += 16)
            std::memcpy(to, from, 16);
        std::memcpy(lastTo, last, 16);
    } else if (size >= 8) {
        std::memcpy(to, from, 8);
        std::memcpy(to + size - 8, from + size - 8, 8);
    } else if (size >= 4) {
        std::memcpy(to, from, 4);
        std::memcpy(to + size - 4, from + size - 4, 4);
    } else if (size > 0) {
        to[0] = from[0];
        to[size / 2] = from[size / 2];
        to[size - 1] = from[size - 1];
    }
}

} // namespace zdds::types

#endif
