#include "zddscore/text.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

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
    if (dest == nullptr || src == nullptr) return nullptr;
    const std::size_t count = strnlen(src, length);
    if (count > max) return nullptr;
    std::memmove(dest, src, count);
    dest[count] = '\0';
    return dest;
}

char* ORXOsapiUtility_strncat(char* dest, size_t max, const char* src, size_t length) {
    if (dest == nullptr || src == nullptr) return nullptr;
    const std::size_t used = std::strlen(dest);
    if (used > max) return nullptr;
    return ORXOsapiUtility_strncpy(dest + used, max - used, src, length) != nullptr ? dest : nullptr;
}

int ORXOsapiUtility_getUtcTime(ORXOsapiUtcTime* utc, ORX_INT64 secondsSinceEpoch) {
    if (utc == nullptr) return ORX_FALSE;
    const std::time_t time = secondsSinceEpoch;
    std::tm broken{};
    if (gmtime_r(&time, &broken) == nullptr) return ORX_FALSE; // the year does not fit
    if (broken.tm_year > 0x7FFFFFFF - 1900) return ORX_FALSE;
    *utc = {broken.tm_year + 1900, broken.tm_mon + 1, broken.tm_mday, broken.tm_hour, broken.tm_min, broken.tm_sec};
    return ORX_TRUE;
}

int REDAString_compare(const char* left, const char* right) {
    if (left == nullptr || right == nullptr) return (left != nullptr) - (right != nullptr);
    return std::strcmp(left, right);
}

char* REDAString_strToken(char* text, const char* delimiters, char** saveState) {
    char* begin = text != nullptr ? text : *saveState;
    if (begin == nullptr) return nullptr;
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
    if (text == nullptr) return nullptr;
    const char* last = delimiter != '\0' ? std::strrchr(text, delimiter) : nullptr;
    return last != nullptr ? last + 1 : text;
}
