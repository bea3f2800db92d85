/* The peer: Cyclone DDS's own serializer over types that idlc made of the same IDL. Their C names are those
 * of ours, so the two never meet in one source file. */
#ifndef BENCH_PEER_STREAM_H
#define BENCH_PEER_STREAM_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct PeerStream PeerStream;
/* Of the type with that schema name, with a sample that the bytes (XCDR 2, little-endian, without
 * encapsulation header) hold; null when they are refused. */
PeerStream* PeerStream_new(const char* typeName, const void* bytes, size_t size);
void PeerStream_delete(PeerStream* self);
/* Writes the sample into a stream that is kept; gives the size. */
size_t PeerStream_write(PeerStream* self);
/* Writes it into a stream of its own, which is freed. */
size_t PeerStream_writeAnew(PeerStream* self);
/* Checks the bytes and reads them into a sample that is kept. */
bool PeerStream_read(PeerStream* self);
/* The same into a new sample, which is freed. */
bool PeerStream_readAnew(PeerStream* self);

#ifdef __cplusplus
}
#endif

#endif
