// memcpy for the sizes of members: short ones without a call.
#ifndef ZDDSC_TYPES_BYTE_COPY_HPP
#define ZDDSC_TYPES_BYTE_COPY_HPP

#include <cstddef>
#include <cstring>

namespace zdds::types {

inline void copyBlock(char* to, const char* from) {
    std::memcpy(to, from, 16);
}

// 32 to 64 bytes.
inline void copyTo64(char* to, const char* from, size_t size) {
    copyBlock(to, from);
    copyBlock(to + 16, from + 16);
    copyBlock(to + size - 32, from + size - 32);
    copyBlock(to + size - 16, from + size - 16);
}

// The two do not overlap.
[[gnu::always_inline]] inline void copyBytes(char* to, const char* from, size_t size) {
    // Blocks from both ends, which may overlap in the middle.
    if (size >= 16) {
        if (size > 128) {
            std::memcpy(to, from, size);
            return;
        }
        char* toEnd = to + size;
        const char* end = from + size;
        if (size > 32) {
            if (size > 64) {
                copyBlock(to + 32, from + 32);
                copyBlock(to + 48, from + 48);
                copyBlock(toEnd - 64, end - 64);
                copyBlock(toEnd - 48, end - 48);
            }
            copyBlock(to + 16, from + 16);
            copyBlock(toEnd - 32, end - 32);
        }
        copyBlock(to, from);
        copyBlock(toEnd - 16, end - 16);
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
