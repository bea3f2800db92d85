// Class identifiers and GUIDs as path expressions write them.
#include <cstdio>
#include <cstring>

#include "src/dataModel/MetricCatalogue.h"
#include "src/log/Log.hpp"
#include "src/utils/PathTokenizer.h"
#include "zddscore/text.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::utils;
constexpr char guidPrefix[] = "GUID(";

} // namespace

const char* ORX_Monitoring_resourceClassIdToIdentifierStr(DDS_UnsignedLong resourceClassId) {
    switch (resourceClassId) {
    case ORX_MONITORING_APPLICATION_CLASS_ID:
        return "applications";
    case ORX_MONITORING_PARTICIPANT_CLASS_ID:
        return "domain_participants";
    case ORX_MONITORING_PUBLISHER_CLASS_ID:
        return "publishers";
    case ORX_MONITORING_SUBSCRIBER_CLASS_ID:
        return "subscribers";
    case ORX_MONITORING_TOPIC_CLASS_ID:
        return "topics";
    case ORX_MONITORING_DATA_WRITER_CLASS_ID:
        return "data_writers";
    case ORX_MONITORING_DATA_READER_CLASS_ID:
        return "data_readers";
    case ORX_MONITORING_TYPE_CLASS_ID:
        return "types";
    default:
        return "unknown";
    }
}

// By hand and not by a format, since every match against a GUID prints one.
void DDS_Monitoring_GUID_toStr(const DDS_UInt8 guid[16], char* str) {
    ORX_LEAVE_IF(guid == ORX_NULL);
    ORX_LEAVE_IF(str == ORX_NULL);
    constexpr char digits[] = "0123456789ABCDEF";
    std::memcpy(str, guidPrefix, sizeof guidPrefix - 1);
    char* end = str + sizeof guidPrefix - 1;
    for (int octet = 0; octet < 16; ++octet) {
        if (octet != 0 && octet % 4 == 0)
            *end++ = '.';
        *end++ = digits[guid[octet] >> 4];
        *end++ = digits[guid[octet] & 0xF];
    }
    *end++ = ')';
    *end = '\0';
}

int DDS_Monitoring_GUID_fromStr(DDS_Monitoring_GUID_t* guid, const char* str) {
    ORX_FAIL_IF(guid == ORX_NULL);
    ORX_FAIL_IF(str == ORX_NULL);
    unsigned int octets[16] = {};
    const int count = std::sscanf(str,
        "GUID(%02X%02X%02X%02X.%02X%02X%02X%02X.%02X%02X%02X%02X.%02X%02X%02X%02X)", &octets[0], &octets[1],
        &octets[2], &octets[3], &octets[4], &octets[5], &octets[6], &octets[7], &octets[8], &octets[9],
        &octets[10], &octets[11], &octets[12], &octets[13], &octets[14], &octets[15]);
    if (count != 16)
        return ORX_ERROR(FAILED_TO_PARSE, "resource GUID '%s'", str);
    for (int octet = 0; octet < 16; ++octet)
        (*guid)[octet] = static_cast<DDS_Octet>(octets[octet] & 0xFF);
    return 1;
}

int ORX_Monitoring_isTokenGuid(const char* token) {
    ORX_FAIL_IF(token == ORX_NULL);
    if (std::strncmp(token, guidPrefix, sizeof guidPrefix - 1) != 0)
        return 0;
    DDS_Monitoring_GUID_t guid;
    if (!DDS_Monitoring_GUID_fromStr(&guid, token))
        return ORX_ERROR(FAILED_TO_GET, "GUID from string %s", token);
    return 1;
}

int ORX_Monitoring_isLastTokenGuid(const char* resourcePathExpression) {
    ORX_FAIL_IF(resourcePathExpression == ORX_NULL);
    const char* token = REDAString_getLastToken(resourcePathExpression, '/');
    if (token == nullptr)
        return ORX_ERROR(FAILED_TO_GET, "last token");
    return ORX_Monitoring_isTokenGuid(token);
}
