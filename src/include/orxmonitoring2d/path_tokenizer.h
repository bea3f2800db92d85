/* Resource path expressions as text: tokens, class identifiers, and GUIDs.
 *
 * An expression such as "/applications/app1//topics/T" becomes a flat array of tokens with a cursor. Every
 * "//" becomes the token "$", followed by the token "*" where the section behind it has an odd number of
 * components, since such a section starts with a name without a class. Threads: a tokenizer has one owner and
 * no lock; the other functions may be called from any thread. Ownership: tokens point into the tokenizer's
 * own buffer and die with it, or with the next setExpression. */
#ifndef ORX_MONITORING_PATH_TOKENIZER_H
#define ORX_MONITORING_PATH_TOKENIZER_H

#include "orxmonitoring2d/export.h"
#include "orxmonitoring2d/opaque_resource.h"

ZDDS_BEGIN_C

/* Longest expression, in characters. */
#define ORX_MONITORING_RESOURCE_PATH_MAX_LENGTH 1023
#define ORX_MONITORING_RESOURCE_PATH_MAX_TOKENS 32
/* Twice the longest expression, and the terminator. Two "//" stand at least three characters apart, and each
 * grows by at most three, from "//" to the five of "/$" "/" "*" "/": so a text at most doubles. */
#define ORX_MONITORING_RESOURCE_PATH_BUFFER_SIZE (2 * ORX_MONITORING_RESOURCE_PATH_MAX_LENGTH + 1)

struct ORX_MonitoringResourceTokenizer {
    char resourcePathExpression[ORX_MONITORING_RESOURCE_PATH_BUFFER_SIZE]; /* rewritten, cut in place */
    char* tokens[ORX_MONITORING_RESOURCE_PATH_MAX_TOKENS];                 /* null beyond the tokens found */
    ORX_UINT32 tokenCount;
    ORX_UINT32 currentTokenIndex; /* the cursor */
};
typedef struct ORX_MonitoringResourceTokenizer ORX_MonitoringResourceTokenizer;

/* A null expression makes an empty tokenizer. Null on failure. */
ORX_EXPORT ORX_MonitoringResourceTokenizer* ORX_MonitoringResourceTokenizer_new(
    const char* resourcePathExpression);
/* Null is a no-op. */
ORX_EXPORT void ORX_MonitoringResourceTokenizer_delete(ORX_MonitoringResourceTokenizer* self);
/* Fails on more than 1023 characters, on "///" and on more than 32 tokens; the tokenizer is then empty. Needs
 * no earlier initialization, and may be called again. */
ORX_EXPORT int ORX_MonitoringResourceTokenizer_setExpression(
    ORX_MonitoringResourceTokenizer* self, const char* resourcePathExpression);
/* Move the cursor and give the token there; null when there is none. */
ORX_EXPORT const char* ORX_MonitoringResourceTokenizer_getFirstToken(ORX_MonitoringResourceTokenizer* self);
ORX_EXPORT const char* ORX_MonitoringResourceTokenizer_getLastToken(ORX_MonitoringResourceTokenizer* self);
/* Null beyond either end, with the cursor where it was. */
ORX_EXPORT const char* ORX_MonitoringResourceTokenizer_getNextToken(ORX_MonitoringResourceTokenizer* self);
ORX_EXPORT const char* ORX_MonitoringResourceTokenizer_getPrevToken(ORX_MonitoringResourceTokenizer* self);
ORX_EXPORT const char* ORX_MonitoringResourceTokenizer_getCurrentToken(
    const ORX_MonitoringResourceTokenizer* self);
ORX_EXPORT ORX_UINT32 ORX_MonitoringResourceTokenizer_getTokenCount(
    const ORX_MonitoringResourceTokenizer* self);
/* Leaves class and name of the application, with a leading "$" if there is one. The count becomes 2 or 3
 * whatever there was; slots that no token fills read as null. */
ORX_EXPORT void ORX_MonitoringResourceTokenizer_removeNonApplicationTokens(
    ORX_MonitoringResourceTokenizer* self);

/* Identifier of a resource class in paths, such as "topics"; "unknown" for any other id, never null. */
ORX_EXPORT const char* ORX_Monitoring_resourceClassIdToIdentifierStr(DDS_UnsignedLong resourceClassId);

/* Length of "GUID(1A2B3C4D.5E6F7A8B.9C0D1E2F.3A4B5C6D)"; callers hold a char[ORX_MONITORING_GUID_TEXT_SIZE].
 */
#define ORX_MONITORING_GUID_TEXT_LENGTH 41
#define ORX_MONITORING_GUID_TEXT_SIZE 43
/* Writes 41 characters, digits in upper case, and the terminator. */
ORX_EXPORT void DDS_Monitoring_GUID_toStr(const DDS_UInt8 guid[16], char* str);
/* Takes digits of either case and does not look at what follows the last of them. On failure *guid is as it
 * was. */
ORX_EXPORT int DDS_Monitoring_GUID_fromStr(DDS_Monitoring_GUID_t* guid, const char* str);
/* Non-zero if the token starts with "GUID(" and holds a GUID. */
ORX_EXPORT int ORX_Monitoring_isTokenGuid(const char* token);
/* The same for what follows the last "/" of an expression as it was given. */
ORX_EXPORT int ORX_Monitoring_isLastTokenGuid(const char* resourcePathExpression);

ZDDS_END_C

#endif
