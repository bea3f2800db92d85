/* Value types of the DDS operations: primitives, strings, time, GUIDs, handles, return codes. */
#ifndef ZDDSC_BASIC_TYPES_H
#define ZDDSC_BASIC_TYPES_H

#include "zddsc/export.h"
#include "zddscore/host.h"
#include "zddscore/types.h"

ZDDS_BEGIN_C

typedef char DDS_Char;
typedef uint8_t DDS_Octet;
typedef uint8_t DDS_UInt8;
typedef uint8_t DDS_Boolean;
typedef int16_t DDS_Short;
typedef uint16_t DDS_UnsignedShort;
typedef int32_t DDS_Long;
typedef uint32_t DDS_UnsignedLong;
typedef int64_t DDS_LongLong;
typedef uint64_t DDS_UnsignedLongLong;
typedef float DDS_Float;
typedef double DDS_Double;
typedef DDS_Long DDS_Enum;
typedef DDS_Long DDS_DomainId_t;

#define DDS_BOOLEAN_TRUE ((DDS_Boolean)1)
#define DDS_BOOLEAN_FALSE ((DDS_Boolean)0)
#define DDS_LENGTH_UNLIMITED (-1)
#define DDS_LENGTH_AUTO (-2)

typedef enum DDS_ReturnCode_t {
    DDS_RETCODE_OK = 0,
    DDS_RETCODE_ERROR = 1,
    DDS_RETCODE_UNSUPPORTED = 2,
    DDS_RETCODE_BAD_PARAMETER = 3,
    DDS_RETCODE_PRECONDITION_NOT_MET = 4,
    DDS_RETCODE_OUT_OF_RESOURCES = 5,
    DDS_RETCODE_NOT_ENABLED = 6,
    DDS_RETCODE_IMMUTABLE_POLICY = 7,
    DDS_RETCODE_INCONSISTENT_POLICY = 8,
    DDS_RETCODE_ALREADY_DELETED = 9,
    DDS_RETCODE_TIMEOUT = 10,
    DDS_RETCODE_NO_DATA = 11,
    DDS_RETCODE_ILLEGAL_OPERATION = 12
} DDS_ReturnCode_t;
/* Static text such as "DDS_RETCODE_TIMEOUT"; never null. */
ZDDSC_EXPORT const char* DDS_ReturnCode_toString(DDS_ReturnCode_t self);

/* Strings live on the heap of zddscore/heap.h. */
ZDDSC_EXPORT char* DDS_String_alloc(
    size_t length); /* length characters and the terminator, all 0; null on failure */
ZDDSC_EXPORT char* DDS_String_dup(const char* source); /* null for null and on failure */
ZDDSC_EXPORT char* DDS_String_ndup(
    const char* source, size_t maximumLength); /* at most that many characters */
/* Makes *destination a copy of source and frees what it held; null for source frees alone. The result is
 * *destination, or null on failure with *destination unchanged. */
ZDDSC_EXPORT char* DDS_String_replace(char** destination, const char* source);
ZDDSC_EXPORT void DDS_String_free(char* self);

struct DDS_Duration_t {
    DDS_Long sec;
    DDS_UnsignedLong nanosec; /* below 10^9 */
};
typedef struct DDS_Duration_t DDS_Duration_t;
#define DDS_DURATION_ZERO_SEC 0
#define DDS_DURATION_ZERO_NSEC 0U
#define DDS_DURATION_INFINITE_SEC 0x7FFFFFFF
#define DDS_DURATION_INFINITE_NSEC 0x7FFFFFFFU
#define DDS_DURATION_ZERO                                                                                    \
    { DDS_DURATION_ZERO_SEC, DDS_DURATION_ZERO_NSEC }
#define DDS_DURATION_INFINITE                                                                                \
    { DDS_DURATION_INFINITE_SEC, DDS_DURATION_INFINITE_NSEC }
ZDDSC_EXPORT DDS_Boolean DDS_Duration_is_infinite(const DDS_Duration_t* self);
ZDDSC_EXPORT DDS_Boolean DDS_Duration_is_zero(const DDS_Duration_t* self);
/* Infinite becomes the infinite ORXNtpTime. */
ZDDSC_EXPORT void DDS_Duration_to_ntp_time(const DDS_Duration_t* self, ORXNtpTime* time);

struct DDS_Time_t {
    DDS_LongLong sec; /* since 1970 UTC */
    DDS_UnsignedLong nanosec;
};
typedef struct DDS_Time_t DDS_Time_t;
#define DDS_TIME_INVALID_SEC (-1LL)
#define DDS_TIME_INVALID_NSEC 0xFFFFFFFFU
#define DDS_TIME_INVALID                                                                                     \
    { DDS_TIME_INVALID_SEC, DDS_TIME_INVALID_NSEC }

struct DDS_SequenceNumber_t {
    DDS_Long high;
    DDS_UnsignedLong low;
};
typedef struct DDS_SequenceNumber_t DDS_SequenceNumber_t;
#define DDS_SEQUENCE_NUMBER_ZERO                                                                             \
    { 0, 0U }

/* 16 octets in wire order: 12 of prefix, 4 of entity id. */
struct DDS_GUID_t {
    DDS_Octet value[16];
};
typedef struct DDS_GUID_t DDS_GUID_t;
#define DDS_GUID_ZERO                                                                                        \
    {                                                                                                        \
        { 0 }                                                                                                \
    }
ZDDSC_EXPORT extern const DDS_GUID_t DDS_GUID_UNKNOWN; /* all 0 */
ZDDSC_EXPORT DDS_Boolean DDS_GUID_equals(const DDS_GUID_t* left, const DDS_GUID_t* right);
/* Order of the octets: negative, 0 or positive. */
ZDDSC_EXPORT int DDS_GUID_compare(const DDS_GUID_t* left, const DDS_GUID_t* right);
/* Between octets and the four words in host order. */
ZDDSC_EXPORT void DDS_GUID_copy_from_pres_guid(DDS_GUID_t* self, const ORXOsapiRtpsGuid* source);
ZDDSC_EXPORT void DDS_GUID_copy_to_pres_guid(const DDS_GUID_t* self, ORXOsapiRtpsGuid* destination);

/* 24 octets; callers copy them whole and compare with DDS_InstanceHandle_equals. */
struct DDS_InstanceHandle_t {
    DDS_Octet keyHash[16];
    DDS_UnsignedLong length; /* octets of keyHash in use */
    DDS_Long isValid;
};
typedef struct DDS_InstanceHandle_t DDS_InstanceHandle_t;
ZDDSC_EXPORT extern const DDS_InstanceHandle_t DDS_HANDLE_NIL;
ZDDSC_EXPORT DDS_Boolean DDS_InstanceHandle_equals(
    const DDS_InstanceHandle_t* left, const DDS_InstanceHandle_t* right);
ZDDSC_EXPORT DDS_Boolean DDS_InstanceHandle_is_nil(const DDS_InstanceHandle_t* self);
/* An order of handles, nil first: negative, 0 or positive. */
ZDDSC_EXPORT int DDS_InstanceHandle_compare(
    const DDS_InstanceHandle_t* left, const DDS_InstanceHandle_t* right);
ZDDSC_EXPORT void DDS_InstanceHandle_copy(DDS_InstanceHandle_t* self, const DDS_InstanceHandle_t* source);
/* A remote endpoint's or participant's handle is its GUID. */
ZDDSC_EXPORT void DDS_InstanceHandle_from_guid(DDS_InstanceHandle_t* self, const DDS_GUID_t* guid);
ZDDSC_EXPORT void DDS_InstanceHandle_to_guid(const DDS_InstanceHandle_t* self, DDS_GUID_t* guid);
/* The same, seen from the GUID. */
ZDDSC_EXPORT void DDS_GUID_from_instance_handle(DDS_GUID_t* self, const DDS_InstanceHandle_t* handle);
ZDDSC_EXPORT void DDS_GUID_to_instance_handle(const DDS_GUID_t* self, DDS_InstanceHandle_t* handle);

ZDDS_END_C

#endif
