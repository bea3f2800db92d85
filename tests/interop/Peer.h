/* The other side of the wire: types that idlc made from the same IDL, with Cyclone DDS's own serializer.
 * Their C names are those of ours, so the two never meet in one source file. */
#ifndef TESTS_INTEROP_PEER_H
#define TESTS_INTEROP_PEER_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A structure or union by its name, such as "DDS::Monitoring::Event"; null when the peer has no such type. */
typedef struct PeerType PeerType;
const PeerType* PeerType_find(const char* name);
size_t PeerType_count(void);

/* A value of the peer. */
typedef struct PeerValue PeerValue;
/* Decodes the bytes behind the encapsulation header, little endian, XCDR 2; null when they are refused. */
PeerValue* PeerValue_decode(const PeerType* type, const void* bytes, size_t size);
/* Encodes likewise; the bytes are the value's, until it is deleted. */
const void* PeerValue_encode(PeerValue* self, size_t* size);
void* PeerValue_data(PeerValue* self);
void PeerValue_delete(PeerValue* self);

/* What a peer's program would read and write, member by member. Texts are copies, to be freed. */
PeerValue* Peer_makeEvent(
    uint64_t epoch, const char* hostname, uint64_t processId, const char* newResourceName);
bool Peer_eventHas(PeerValue* event, uint64_t epoch, const char* hostname, uint64_t processId);
PeerValue* Peer_makePeriodic(float mean, uint64_t count, int64_t samplePeak);
bool Peer_periodicHas(PeerValue* periodic, float mean, uint64_t count);
PeerValue* Peer_makeLogging(uint64_t sn, const char* message, const char* optionalHostname, const char* key);
bool Peer_loggingHas(PeerValue* logging, uint64_t sn, const char* message, const char* optionalHostname);
PeerValue* Peer_makeRequest(const char* selector, const char* pattern, int64_t sequenceNumber);
bool Peer_requestHas(PeerValue* request, const char* selector, const char* pattern);
PeerValue* Peer_makeReply(int32_t code, const char* message);
bool Peer_replyHas(PeerValue* reply, int32_t code, const char* message);

#ifdef __cplusplus
}
#endif

#endif
