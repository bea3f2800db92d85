// strlen, and a copy that checks, for texts that are mostly short: without a call.
#ifndef ZDDSC_TYPES_TEXT_LENGTH_HPP
#define ZDDSC_TYPES_TEXT_LENGTH_HPP

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "middleware/types/ByteCopy.hpp"
#include "src/support/Sanitizers.hpp"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if defined(__SSE2__) && !defined(ZDDS_ADDRESS_SANITIZER) && !defined(ZDDS_THREAD_SANITIZER)
#define ZDDSC_TEXT_BY_BLOCKS 1
#endif

namespace zdds::types {

#ifdef ZDDSC_TEXT_BY_BLOCKS
// Looks at aligned blocks of 16 bytes, as strlen does: no such block reaches into a page that the text is not
// on. What lies around the text in its first and last block is read and not used. The sanitizers cannot know
// that, and get strlen.
[[gnu::always_inline]] inline size_t textLength(const char* text) {
    const auto zeros = [](const __m128i* block) {
        return static_cast<unsigned>(
            _mm_movemask_epi8(_mm_cmpeq_epi8(_mm_load_si128(block), _mm_setzero_si128())));
    };
    const auto address = reinterpret_cast<uintptr_t>(text);
    const auto* block = reinterpret_cast<const __m128i*>(address & ~uintptr_t{15});
    unsigned found = zeros(block) >> (address & 15);
    if (found != 0)
        return static_cast<size_t>(std::countr_zero(found));
    for (int i = 0; i < 7; ++i)
        if ((found = zeros(++block)) != 0)
            return static_cast<size_t>(reinterpret_cast<const char*>(block) - text) +
                   static_cast<size_t>(std::countr_zero(found));
    const auto* rest = reinterpret_cast<const char*>(block + 1); // long enough for the library's wider steps
    return static_cast<size_t>(rest - text) + std::strlen(rest);
}

// The block in which a text begins, if it begins there with the block and ends within it.
class TextBlock {
public:
    [[gnu::always_inline]] explicit TextBlock(const char* text)
        : bytes_(_mm_load_si128(
              reinterpret_cast<const __m128i*>(reinterpret_cast<uintptr_t>(text) & ~uintptr_t{15}))),
          zeros_(static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes_, _mm_setzero_si128())))),
          isAligned_((reinterpret_cast<uintptr_t>(text) & 15) == 0) {}

    bool isWhole() const { return isAligned_ && zeros_ != 0; }
    size_t length() const { return static_cast<size_t>(std::countr_zero(zeros_)); }
    // 16 bytes: the text, and zeros.
    void copyTo(char* to) const {
        static constexpr unsigned char keep[32] = {
            255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255};
        const auto* mask = reinterpret_cast<const __m128i*>(keep + 16 - length());
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm_and_si128(bytes_, _mm_loadu_si128(mask)));
    }

private:
    __m128i bytes_;
    unsigned zeros_;
    bool isAligned_;
};
#else
inline size_t textLength(const char* text) {
    return std::strlen(text);
}
#endif

// Copies a text of `size` bytes, at least 1: false when any but the last is 0, or the last is not. Then part
// of it is copied. What lies before `end` may be read; `to` has room for 16 bytes, and those that do not
// belong to the text become anything.
[[gnu::always_inline]] inline bool copyText(char* to, const char* from, size_t size, const char* end) {
#if defined(__SSE2__)
    const auto copy = [](char* target, const char* source) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(source));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(target), block);
        return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(block, _mm_setzero_si128())));
    };
    if (size > 16) {
        const char* last = from + size - 16; // the block that ends with the text
        char* toLast = to + size - 16;
        for (; from < last; from += 16, to += 16)
            if (copy(to, from) != 0)
                return false;
        return copy(toLast, last) == 0x8000;
    }
    if (end - from >= 16)
        return static_cast<size_t>(std::countr_zero(copy(to, from))) == size - 1;
#endif
    copyBytes(to, from, size);
    return std::memchr(from, '\0', size) == from + size - 1;
}

} // namespace zdds::types

#endif
