#include "zddscore/text.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

int ORXOsapiUtility_snprintf(char* buffer, size_t size, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(buffer, size, format, arguments);
    va_end(arguments);
    return length >= 0 && static_cast<std::size_t>(length) < size ? length : -1;
}

char* ORXOsapiUtility_strcpy(char* dest, size_t max, const char* src) {
    return src == nullptr ? nullptr : ORXOsapiUtility_strncpy(dest, max, src, std::strlen(src));
}

char* ORXOsapiUtility_strcat(char* dest, size_t max, const char* src) {
    return src == nullptr ? nullptr : ORXOsapiUtility_strncat(dest, max, src, std::strlen(src));
}

char* ORXOsapiUtility_strncpy(char* dest, size_t max, const char* src, size_t length) {
    if (dest == nullptr || src == nullptr)
        return nullptr;
    const std::size_t count = strnlen(src, length);
    if (count > max)
        return nullptr;
    std::memmove(dest, src, count);
    dest[count] = '\0';
    return dest;
}

char* ORXOsapiUtility_strncat(char* dest, size_t max, const char* src, size_t length) {
    if (dest == nullptr || src == nullptr)
        return nullptr;
    const std::size_t used = std::strlen(dest);
    if (used > max)
        return nullptr;
    return ORXOsapiUtility_strncpy(dest + used, max - used, src, length) != nullptr ? dest : nullptr;
}

// Without the C library, whose conversion takes a lock. Years are counted from March, so that the leap
// day is the last of its year, in eras of 400 years, which all have the same days.
int ORXOsapiUtility_getUtcTime(ORXOsapiUtcTime* utc, ORX_INT64 secondsSinceEpoch) {
    constexpr ORX_INT64 secondsPerDay = 86400;
    constexpr ORX_INT64 daysPerEra = 146097;
    constexpr ORX_INT64 fromMarchOfYearZero = 719468;                    // days, to 1970-01-01
    constexpr ORX_INT64 furthest = ORX_INT64{67767976233532800} - 86400; // within the year 2147483647
    if (utc == nullptr || secondsSinceEpoch > furthest || secondsSinceEpoch < -furthest)
        return ORX_FALSE;
    ORX_INT64 days = secondsSinceEpoch / secondsPerDay;
    ORX_INT64 seconds = secondsSinceEpoch % secondsPerDay;
    if (seconds < 0) {
        seconds += secondsPerDay;
        --days;
    }
    days += fromMarchOfYearZero;
    const ORX_INT64 era = (days >= 0 ? days : days - (daysPerEra - 1)) / daysPerEra;
    const ORX_INT64 dayOfEra = days - era * daysPerEra;
    const ORX_INT64 yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const ORX_INT64 dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const ORX_INT64 monthFromMarch = (5 * dayOfYear + 2) / 153;
    const ORX_INT64 day = dayOfYear - (153 * monthFromMarch + 2) / 5 + 1;
    const ORX_INT64 month = monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9;
    const ORX_INT64 year = era * 400 + yearOfEra + (month <= 2 ? 1 : 0);
    *utc = {static_cast<int>(year), static_cast<int>(month), static_cast<int>(day),
        static_cast<int>(seconds / 3600), static_cast<int>(seconds / 60 % 60),
        static_cast<int>(seconds % 60)};
    return ORX_TRUE;
}

int REDAString_compare(const char* left, const char* right) {
    if (left == nullptr || right == nullptr)
        return (left != nullptr) - (right != nullptr);
    return std::strcmp(left, right);
}

char* REDAString_strToken(char* text, const char* delimiters, char** saveState) {
    char* begin = text != nullptr ? text : *saveState;
    if (begin == nullptr)
        return nullptr;
    begin += std::strspn(begin, delimiters);
    if (*begin == '\0') {
        *saveState = begin;
        return nullptr;
    }
    char* end = begin + std::strcspn(begin, delimiters);
    *saveState = end;
    if (*end != '\0') {
        *end = '\0';
        *saveState = end + 1;
    }
    return begin;
}

const char* REDAString_getLastToken(const char* text, char delimiter) {
    if (text == nullptr)
        return nullptr;
    const char* last = delimiter != '\0' ? std::strrchr(text, delimiter) : nullptr;
    return last != nullptr ? last + 1 : text;
}
