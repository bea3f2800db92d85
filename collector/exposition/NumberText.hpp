// Values as the exposition formats write them. Threads: any.
#ifndef COLLECTOR_NUMBER_TEXT_HPP
#define COLLECTOR_NUMBER_TEXT_HPP

#include <charconv>
#include <cmath>
#include <concepts>
#include <string_view>

namespace collector {

constexpr std::size_t maximalNumberText = 32;

// Writes the shortest text that reads back as the number, "NaN", "+Inf" or "-Inf"; the end of what was
// written.
template <typename T> char* writeNumber(char* out, T number) {
    if constexpr (std::floating_point<T>) {
        const auto word = [&](std::string_view text) { return std::copy(text.begin(), text.end(), out); };
        if (std::isnan(number))
            return word("NaN");
        if (std::isinf(number))
            return word(number > 0 ? "+Inf" : "-Inf");
    }
    return std::to_chars(out, out + maximalNumberText, number).ptr;
}

} // namespace collector

#endif
