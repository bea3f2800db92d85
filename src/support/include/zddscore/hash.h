/* MD5 (RFC 1321), for identity only. */
#ifndef ZDDSCORE_HASH_H
#define ZDDSCORE_HASH_H

#include "zddscore/types.h"

ZDDS_BEGIN_C

struct ORXOsapiHash {
    ORX_UINT8 value[16]; /* the digest */
    ORX_UINT32 length;   /* 16 once computed */
    ORX_UINT32 flags;    /* bit 0: valid */
};
typedef struct ORXOsapiHash ORXOsapiHash;

ZDDSCORE_EXPORT void ORXOsapiHash_initialize(ORXOsapiHash* self);
/* size in bytes. A null buffer with a size above 0 leaves the hash invalid. */
ZDDSCORE_EXPORT void ORXOsapiHash_computeMd5(ORXOsapiHash* self, const void* buffer, size_t size);
ZDDSCORE_EXPORT int ORXOsapiHash_isValid(const ORXOsapiHash* self);

ZDDS_END_C

#endif
