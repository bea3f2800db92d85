#include "src/resource/ResourceIdentity.h"

#include <cstring>

#include "src/log/Log.hpp"
#include "src/resource/GuidText.hpp"
#include "src/utils/PathTokenizer.h"
#include "zddscore/hash.h"
#include "zddscore/text.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::resource;

// Appends a piece and gives its length; a piece that does not fit is left out and counts 0.
ORX_UINT32 ORX_MonitoringResource_addStrToFullyQualifiedNameI(
    char* fullyQualifiedName, ORX_UINT32 fullyQualifiedNameMaxSize, const char* piece) {
    const size_t length = std::strlen(piece);
    if (ORXOsapiUtility_strncat(fullyQualifiedName, fullyQualifiedNameMaxSize - 1, piece, length) == nullptr)
        return ORX_ERROR(FAILED_TO_ADD, "'%s' into fully qualified name\n", piece);
    return static_cast<ORX_UINT32>(length);
}

// The same with a GUID in the place of a name.
ORX_UINT32 addGuid(char* fullyQualifiedName, ORX_UINT32 fullyQualifiedNameMaxSize, const DDS_UInt8* guid) {
    const size_t length = std::strlen(fullyQualifiedName);
    const int written = ORXOsapiUtility_snprintf(fullyQualifiedName + length,
        fullyQualifiedNameMaxSize - length, ORX_GUID_FORMAT, ORX_GUID_ARGUMENTS(guid));
    if (written < 0) {
        fullyQualifiedName[length] = '\0'; /* no piece of a GUID */
        return ORX_ERROR(FAILED_TO_ADD, "GUID " ORX_GUID_FORMAT " into fully qualified name '%s'\n",
            ORX_GUID_ARGUMENTS(guid), fullyQualifiedName);
    }
    return static_cast<ORX_UINT32>(written);
}

// Host name, process id and three random words: no two applications have the same.
bool generateRootName(char* name, ORX_UINT32 nameMaxSize) {
    if (ORXOsapiHost_getHostName(name, static_cast<int>(nameMaxSize)) == -1)
        return ORX_ERROR(FAILED_TO_GET, "Host name for the root resource name\n");
    ORXOsapiUuid uuid = {};
    if (!ORXOsapiHost_generate_uuid(&uuid))
        return ORX_ERROR(FAILED_TO_GET, "UUID for the root resource name\n");
    const unsigned long long processId = ORXOsapiProcess_getId();
    const size_t length = std::strlen(name);
    if (ORXOsapiUtility_snprintf(name + length, nameMaxSize - length, ":%llu:0x%08X,0x%08X,0x%08X", processId,
            uuid[0], uuid[1], uuid[2]) < 0)
        return ORX_ERROR(FAILED_TO_ADD, "':%llu:0x%08X,0x%08X,0x%08X' into root resource name\n", processId,
            uuid[0], uuid[1], uuid[2]);
    return true;
}

} // namespace

int ORX_MonitoringResource_generateGuid(DDS_Monitoring_GUID_t* guid, const DDS_UInt8 userResourceGuid[16],
    const char* fullyQualifiedName, const void* userResource) {
    ORX_FAIL_IF(guid == ORX_NULL);
    ORX_FAIL_IF(fullyQualifiedName == ORX_NULL);
    constexpr size_t nameSize = ORX_MONITORING_RESOURCE_FULLY_QUALIFIED_NAME_SIZE;
    const size_t nameLength = strnlen(fullyQualifiedName, nameSize);
    if (nameLength >= nameSize)
        return ORX_PRECONDITION_FAILED(
            "\"((fullyQualifiedName) == ((void *)0) ? 0 : strlen(fullyQualifiedName)) >= 1024\"\n");

    unsigned char buffer[sizeof(DDS_Monitoring_GUID_t) + sizeof userResource + nameSize];
    size_t size = 0;
    const auto append = [&](const void* bytes, size_t count) {
        std::memcpy(buffer + size, bytes, count);
        size += count;
    };
    if (userResourceGuid != nullptr)
        append(userResourceGuid, sizeof(DDS_Monitoring_GUID_t));
    if (userResource != nullptr)
        append(&userResource, sizeof userResource);
    append(fullyQualifiedName, nameLength);

    ORXOsapiHash hash;
    ORXOsapiHash_initialize(&hash);
    ORXOsapiHash_computeMd5(&hash, buffer, size);
    ORX_FAIL_IF(!ORXOsapiHash_isValid(&hash));
    std::memcpy(*guid, hash.value, sizeof *guid);
    return 1;
}

ORX_UINT32 ORX_MonitoringResource_getFullyQualifiedNameI(char* fullyQualifiedName,
    ORX_UINT32 fullyQualifiedNameMaxSize, const ORX_MonitoringResource* parentResource,
    const DDS_UInt8 userResourceGuid[16], const char* resourceName, ORX_UINT32 resourceClassId) {
    ORX_FAIL_IF(fullyQualifiedName == ORX_NULL);
    ORX_FAIL_IF(fullyQualifiedNameMaxSize == 0);
    const bool hasName = resourceName != nullptr && *resourceName != '\0';
    if (userResourceGuid == nullptr && !hasName)
        return ORX_PRECONDITION_FAILED(ORX_GUID_OR_NAME_PRECONDITION);

    *fullyQualifiedName = '\0';
    ORX_UINT32 written = 0;
    if (parentResource != nullptr)
        written = ORX_MonitoringResource_getFullyQualifiedName(
            fullyQualifiedName, fullyQualifiedNameMaxSize, parentResource);
    char* level = fullyQualifiedName + written;
    const ORX_UINT32 levelMaxSize = fullyQualifiedNameMaxSize - written;
    for (const char* piece : {"/", ORX_Monitoring_resourceClassIdToIdentifierStr(resourceClassId), "/"})
        written += ORX_MonitoringResource_addStrToFullyQualifiedNameI(level, levelMaxSize, piece);
    written += hasName ? ORX_MonitoringResource_addStrToFullyQualifiedNameI(level, levelMaxSize, resourceName)
                       : addGuid(level, levelMaxSize, userResourceGuid);
    return written;
}

ORX_UINT32 ORX_MonitoringResource_getFullyQualifiedName(
    char* fullyQualifiedName, ORX_UINT32 fullyQualifiedNameMaxSize, const ORX_MonitoringResource* resource) {
    ORX_FAIL_IF(resource == ORX_NULL);
    return ORX_MonitoringResource_getFullyQualifiedNameI(fullyQualifiedName, fullyQualifiedNameMaxSize,
        resource->parent, resource->base.user_resource_guid, resource->base.name, resource->base.class_id);
}

int ORX_MonitoringResource_getRootResourceName(
    char* name, ORX_UINT32 nameMaxSize, const char* applicationName) {
    ORX_FAIL_IF(name == ORX_NULL);
    ORX_FAIL_IF(nameMaxSize == 0);
    if (applicationName == nullptr)
        return generateRootName(name, nameMaxSize);
    if (ORXOsapiUtility_snprintf(name, nameMaxSize, "%s", applicationName) < 0)
        return ORX_ERROR(FAILED_TO_ADD, "'%s' into root resource name\n", applicationName);
    return 1;
}
