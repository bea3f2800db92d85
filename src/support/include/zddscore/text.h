/* Bounded text operations, tokens, and patterns. Strings are terminated; sizes count bytes with the
 * terminator unless said otherwise. */
#ifndef ZDDSCORE_TEXT_H
#define ZDDSCORE_TEXT_H

#include "zddscore/types.h"

ZDDS_BEGIN_C

/* Characters written; negative when the text did not fit (it is cut and terminated) or on error. */
ZDDSCORE_EXPORT int ORXOsapiUtility_snprintf(char* buffer, size_t size, const char* format, ...)
    ZDDS_PRINTF_LIKE(3, 4);
/* Copies or appends and terminates. dest holds max bytes besides the terminator. Null, with dest
 * unchanged, when the text does not fit. */
ZDDSCORE_EXPORT char* ORXOsapiUtility_strcpy(char* dest, size_t max, const char* src);
ZDDSCORE_EXPORT char* ORXOsapiUtility_strcat(char* dest, size_t max, const char* src);
/* The same with `length` characters of src; src need not be terminated. */
ZDDSCORE_EXPORT char* ORXOsapiUtility_strncpy(char* dest, size_t max, const char* src, size_t length);
ZDDSCORE_EXPORT char* ORXOsapiUtility_strncat(char* dest, size_t max, const char* src, size_t length);

/* Broken-down UTC of a count of seconds since 1970; non-zero on success. Month 1 to 12. */
struct ORXOsapiUtcTime {
    int year, month, day, hour, minute, second;
};
typedef struct ORXOsapiUtcTime ORXOsapiUtcTime;
ZDDSCORE_EXPORT int ORXOsapiUtility_getUtcTime(ORXOsapiUtcTime* utc, ORX_INT64 secondsSinceEpoch);

/* Order of bytes; a null string sorts before any other and equals another null. */
ZDDSCORE_EXPORT int REDAString_compare(const char* left, const char* right);

/* 0 when the whole text matches, else non-zero; `flags` is 0. The language of POSIX fnmatch without
 * flags: `*`, `?`, `[...]` with ranges, `!` or `^` negation and the character classes, and `\` that
 * quotes. A bracket without an end stands for itself. Bytes, not characters. No backtracking beyond
 * the last `*`: the cost is at most the product of the two lengths, and no memory. */
ZDDSCORE_EXPORT int REDAString_fnmatch(const char* pattern, const char* text, int flags);

/* Reentrant tokenizer: text at first, then null. Runs of delimiters yield no empty token. A 0 is
 * written over the delimiter that was found, and *saveState then points behind it, so the character
 * before it tells that one was found; at the end of the text *saveState points at the terminator.
 * Null when there is no further token. */
ZDDSCORE_EXPORT char* REDAString_strToken(char* text, const char* delimiters, char** saveState);
/* What follows the last delimiter; the whole text when there is none; null for a null text. Trailing
 * delimiters give the empty text behind them. */
ZDDSCORE_EXPORT const char* REDAString_getLastToken(const char* text, char delimiter);

ZDDS_END_C

#endif
