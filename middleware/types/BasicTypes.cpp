#include "zddsc/basic_types.h"

#include <algorithm>
#include <cstring>

#include "zddscore/heap.h"

const DDS_GUID_t DDS_GUID_UNKNOWN = {};
const DDS_InstanceHandle_t DDS_HANDLE_NIL = {};

const char* DDS_ReturnCode_toString(DDS_ReturnCode_t self) {
    switch (self) {
    case DDS_RETCODE_OK:
        return "DDS_RETCODE_OK";
    case DDS_RETCODE_ERROR:
        return "DDS_RETCODE_ERROR";
    case DDS_RETCODE_UNSUPPORTED:
        return "DDS_RETCODE_UNSUPPORTED";
    case DDS_RETCODE_BAD_PARAMETER:
        return "DDS_RETCODE_BAD_PARAMETER";
    case DDS_RETCODE_PRECONDITION_NOT_MET:
        return "DDS_RETCODE_PRECONDITION_NOT_MET";
    case DDS_RETCODE_OUT_OF_RESOURCES:
        return "DDS_RETCODE_OUT_OF_RESOURCES";
    case DDS_RETCODE_NOT_ENABLED:
        return "DDS_RETCODE_NOT_ENABLED";
    case DDS_RETCODE_IMMUTABLE_POLICY:
        return "DDS_RETCODE_IMMUTABLE_POLICY";
    case DDS_RETCODE_INCONSISTENT_POLICY:
        return "DDS_RETCODE_INCONSISTENT_POLICY";
    case DDS_RETCODE_ALREADY_DELETED:
        return "DDS_RETCODE_ALREADY_DELETED";
    case DDS_RETCODE_TIMEOUT:
        return "DDS_RETCODE_TIMEOUT";
    case DDS_RETCODE_NO_DATA:
        return "DDS_RETCODE_NO_DATA";
    case DDS_RETCODE_ILLEGAL_OPERATION:
        return "DDS_RETCODE_ILLEGAL_OPERATION";
    }
    return "unknown return code";
}

char* DDS_String_alloc(size_t length) {
    if (length == SIZE_MAX)
        return nullptr;
    void* text = nullptr;
    return ORXOsapiHeap_reallocateMemoryInternal(&text, length + 1, 1, 1, "char") ? static_cast<char*>(text)
                                                                                  : nullptr;
}

namespace {

// Without clearing what is overwritten at once.
char* copyOf(const char* source, size_t length) {
    void* text = nullptr;
    if (!ORXOsapiHeap_reallocateMemoryInternal(&text, length + 1, 1, 0, "char"))
        return nullptr;
    std::memcpy(text, source, length);
    static_cast<char*>(text)[length] = '\0';
    return static_cast<char*>(text);
}

} // namespace

char* DDS_String_dup(const char* source) {
    return source == nullptr ? nullptr : copyOf(source, std::strlen(source));
}

char* DDS_String_ndup(const char* source, size_t maximumLength) {
    return source == nullptr ? nullptr : copyOf(source, strnlen(source, maximumLength));
}

char* DDS_String_replace(char** destination, const char* source) {
    if (destination == nullptr)
        return nullptr;
    // The copy comes first: source may lie inside what *destination holds.
    char* copy = DDS_String_dup(source);
    if (copy == nullptr && source != nullptr)
        return nullptr;
    DDS_String_free(*destination);
    *destination = copy;
    return copy;
}

void DDS_String_free(char* self) {
    ORXOsapiHeap_freeMemoryInternal(self);
}

DDS_Boolean DDS_Duration_is_infinite(const DDS_Duration_t* self) {
    return self->sec == DDS_DURATION_INFINITE_SEC && self->nanosec == DDS_DURATION_INFINITE_NSEC;
}

DDS_Boolean DDS_Duration_is_zero(const DDS_Duration_t* self) {
    return self->sec == 0 && self->nanosec == 0;
}

void DDS_Duration_to_ntp_time(const DDS_Duration_t* self, ORXNtpTime* time) {
    if (DDS_Duration_is_infinite(self)) {
        *time = ORXNtpTime ORX_NTP_TIME_INFINITE;
        return;
    }
    ORXNtpTime_fromSecondsAndNanoseconds(time, self->sec, self->nanosec);
}

DDS_Boolean DDS_GUID_equals(const DDS_GUID_t* left, const DDS_GUID_t* right) {
    return std::memcmp(left->value, right->value, sizeof left->value) == 0;
}

int DDS_GUID_compare(const DDS_GUID_t* left, const DDS_GUID_t* right) {
    return std::memcmp(left->value, right->value, sizeof left->value);
}

namespace {

void putWord(DDS_Octet* octets, ORX_UINT32 word) {
    for (int i = 0; i < 4; ++i)
        octets[i] = static_cast<DDS_Octet>(word >> (24 - 8 * i));
}

ORX_UINT32 getWord(const DDS_Octet* octets) {
    ORX_UINT32 word = 0;
    for (int i = 0; i < 4; ++i)
        word = word << 8 | octets[i];
    return word;
}

} // namespace

void DDS_GUID_copy_from_pres_guid(DDS_GUID_t* self, const ORXOsapiRtpsGuid* source) {
    putWord(self->value, source->prefix.hostId);
    putWord(self->value + 4, source->prefix.appId);
    putWord(self->value + 8, source->prefix.instanceId);
    putWord(self->value + 12, source->objectId);
}

void DDS_GUID_copy_to_pres_guid(const DDS_GUID_t* self, ORXOsapiRtpsGuid* destination) {
    destination->prefix.hostId = getWord(self->value);
    destination->prefix.appId = getWord(self->value + 4);
    destination->prefix.instanceId = getWord(self->value + 8);
    destination->objectId = getWord(self->value + 12);
}

DDS_Boolean DDS_InstanceHandle_equals(const DDS_InstanceHandle_t* left, const DDS_InstanceHandle_t* right) {
    if (!left->isValid || !right->isValid)
        return !left->isValid == !right->isValid;
    return left->length == right->length && left->length <= sizeof left->keyHash &&
           std::memcmp(left->keyHash, right->keyHash, left->length) == 0;
}

DDS_Boolean DDS_InstanceHandle_is_nil(const DDS_InstanceHandle_t* self) {
    return self->isValid == 0;
}

void DDS_InstanceHandle_from_guid(DDS_InstanceHandle_t* self, const DDS_GUID_t* guid) {
    std::memcpy(self->keyHash, guid->value, sizeof self->keyHash);
    self->length = sizeof self->keyHash;
    self->isValid = 1;
}

void DDS_InstanceHandle_to_guid(const DDS_InstanceHandle_t* self, DDS_GUID_t* guid) {
    if (DDS_InstanceHandle_is_nil(self)) {
        *guid = DDS_GUID_UNKNOWN;
        return;
    }
    std::memcpy(guid->value, self->keyHash, sizeof guid->value);
}

int DDS_InstanceHandle_compare(const DDS_InstanceHandle_t* left, const DDS_InstanceHandle_t* right) {
    if (!left->isValid || !right->isValid)
        return (left->isValid != 0) - (right->isValid != 0);
    if (left->length != right->length)
        return left->length < right->length ? -1 : 1;
    return std::memcmp(left->keyHash, right->keyHash, std::min<size_t>(left->length, sizeof left->keyHash));
}

void DDS_InstanceHandle_copy(DDS_InstanceHandle_t* self, const DDS_InstanceHandle_t* source) {
    *self = *source;
}

void DDS_GUID_from_instance_handle(DDS_GUID_t* self, const DDS_InstanceHandle_t* handle) {
    DDS_InstanceHandle_to_guid(handle, self);
}

void DDS_GUID_to_instance_handle(const DDS_GUID_t* self, DDS_InstanceHandle_t* handle) {
    DDS_InstanceHandle_from_guid(handle, self);
}
