/* The peer: Cyclone DDS's own serializer over types that idlc made. */
#ifndef TESTS_UNIT_TYPES_CYCLONE_STREAM_H
#define TESTS_UNIT_TYPES_CYCLONE_STREAM_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

struct dds_topic_descriptor;

struct CycloneType; /* one type in one XCDR version, 1 or 2 */
struct CycloneType* CycloneType_new(const struct dds_topic_descriptor* descriptor, uint32_t version);
void CycloneType_delete(struct CycloneType* self);
/* The version that the type needs at least. */
uint32_t CycloneType_minimumVersion(const struct dds_topic_descriptor* descriptor);

/* Checks the bytes, without encapsulation header, and makes a sample of them; null when they are refused.
 * Foreign byte order when swap is set. */
void* CycloneType_read(struct CycloneType* self, const void* bytes, uint32_t size, bool swap);
/* The same into a sample that exists. */
bool CycloneType_readInto(struct CycloneType* self, void* sample, void* bytes, uint32_t size);
void CycloneType_free(struct CycloneType* self, void* sample);
/* The bytes of the sample, in native or big-endian order; to be freed with CycloneType_freeBytes. */
unsigned char* CycloneType_write(
    struct CycloneType* self, const void* sample, bool bigEndian, uint32_t* size);
void CycloneType_freeBytes(unsigned char* bytes);

#ifdef __cplusplus
}
#endif

#endif
