/* Host and process facts. */
#ifndef ZDDSCORE_HOST_H
#define ZDDSCORE_HOST_H

#include "zddscore/types.h"

ZDDS_BEGIN_C

struct ORXOsapiRtpsGuidPrefix {
    ORX_UINT32 hostId;
    ORX_UINT32 appId;
    ORX_UINT32 instanceId;
};
typedef struct ORXOsapiRtpsGuidPrefix ORXOsapiRtpsGuidPrefix;

/* A GUID as four words in host order; on the wire each word is big-endian. */
struct ORXOsapiRtpsGuid {
    ORXOsapiRtpsGuidPrefix prefix;
    ORX_UINT32 objectId;
};
typedef struct ORXOsapiRtpsGuid ORXOsapiRtpsGuid;

struct ORXOsapiProcessMemoryInfo {
    ORX_UINT64 physicalMemory; /* resident bytes */
    ORX_UINT64 totalMemory;    /* virtual bytes */
};
typedef struct ORXOsapiProcessMemoryInfo ORXOsapiProcessMemoryInfo;

typedef ORX_UINT32 ORXOsapiUuid[3];

/* Writes the terminated host name, cut to size - 1 characters; 0, or -1 on failure. */
ZDDSCORE_EXPORT int ORXOsapiHost_getHostName(char* name, int size);
/* Fills three words with a value that differs at each call, in this process, across fork and across
 * hosts. Non-zero on success. */
ZDDSCORE_EXPORT int ORXOsapiHost_generate_uuid(ORXOsapiUuid* uuid);
ZDDSCORE_EXPORT ORX_UINT64 ORXOsapiProcess_getId(void);
/* Non-zero on success. */
ZDDSCORE_EXPORT int ORXOsapiProcess_getMemoryInfo(ORXOsapiProcessMemoryInfo* info);

ZDDS_END_C

#endif
