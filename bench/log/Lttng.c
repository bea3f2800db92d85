/* The provider of the peer's tracepoint, in C, with the warnings of its headers left to them. */
#define LTTNG_UST_TRACEPOINT_CREATE_PROBES
#define LTTNG_UST_TRACEPOINT_DEFINE
#include "bench/log/LttngPoint.h"

void lttngLog(const char* text) {
    lttng_ust_tracepoint(orx_bench, message, 4, text);
}

int lttngIsOn(void) {
    return lttng_ust_tracepoint_enabled(orx_bench, message) != 0;
}
