// memcpy for the sizes of members: short ones without a call.
#ifndef ZDDSC_TYPES_BYTE_COPY_HPP
#define ZDDSC_TYPES_BYTE_COPY_HPP

#include <cstddef>
#include <cstring>

namespace zdds::types {

// The two do not overlap.
inline void copyBytes(char* to, const char* from, size_t size) {
    if (size > 128) {
        std::memcpy(to, from, size);
    } else if (size >= 16) {
        // Blocks of 16, the last one overlapping the one before.
        for (size_t done = 0; done + 16 < size; done += 16)
            std::memcpy(to + done, from + done, 16);
        std::memcpy(to + size - 16, from + size - 16, 16);
    } else if (size >= 8) {
        std::memcpy(to, from, 8);
        std::memcpy(to + size - 8, from + size - 8, 8);
    } else if (size >= 4) {
        std::memcpy(to, from, 4);
        std::memcpy(to + size - 4, from + size - 4, 4);
    } else {
        for (size_t i = 0; i < size; ++i)
            to[i] = from[i];
    }
}

} // namespace zdds::types

#endif
