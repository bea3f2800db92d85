/* The peer's serializer at work on types that idlc made: what its own writers and readers call for each
 * sample. The C names of those types are ours too, so the two never meet in one source file. */
#ifndef BENCH_TYPES_PEER_H
#define BENCH_TYPES_PEER_H

#include <stdbool.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct Peer Peer;

typedef enum PeerTopic { PEER_EVENT, PEER_PERIODIC, PEER_LOGGING } PeerTopic;

/* Holds the sample whose XCDR 2 encoding, without encapsulation header, is given; null when it is refused. */
Peer* Peer_new(PeerTopic topic, const void* bytes, size_t size);
void Peer_delete(Peer* self);

/* Encodes the sample that it holds into a stream that keeps its memory. The size; 0 on failure. */
size_t Peer_encode(Peer* self);
const void* Peer_encoded(const Peer* self);
/* Checks the bytes, and decodes them into a sample that lives on from one call to the next. */
bool Peer_decode(Peer* self);
/* The same into a new sample, which goes away again. */
bool Peer_decodeIntoNew(Peer* self);

#ifdef __cplusplus
}
#endif

#endif
