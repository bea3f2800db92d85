/* Writers and readers of the engine alone, on types that idlc made. The C names of the monitoring's types are
 * ours too, so the two never meet in one source file.
 *
 * Samples bear a number. Events and periodic samples are those of a data writer: its publication-matched
 * status; its protocol and cache statuses. Stamps are no monitoring at all.
 * Threads: one owner each. Errors: what fails ends the program. */
#ifndef BENCH_FORWARDER_PLAIN_H
#define BENCH_FORWARDER_PLAIN_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum PlainTopic { PLAIN_EVENT, PLAIN_PERIODIC, PLAIN_STAMP } PlainTopic;

/* Writers put several samples into one packet, and send them with PlainWriter_flush at the latest. For the
 * whole process. */
void Plain_batchWrites(void);

typedef struct PlainWriter PlainWriter;
PlainWriter* PlainWriter_new(int domain, PlainTopic topic);
void PlainWriter_waitForReader(const PlainWriter* self);
void PlainWriter_write(PlainWriter* self, uint32_t number);
void PlainWriter_flush(PlainWriter* self);

typedef struct PlainReader PlainReader;
typedef void (*Plain_Visit)(void* context, uint32_t number);
PlainReader* PlainReader_new(int domain, PlainTopic topic);
/* Waits for samples, a tenth of a second at most, and takes all. How many. */
size_t PlainReader_take(PlainReader* self, Plain_Visit visit, void* context);

#ifdef __cplusplus
}
#endif

#endif
