/* The tracepoint of the peer: one text. */
#undef LTTNG_UST_TRACEPOINT_PROVIDER
#define LTTNG_UST_TRACEPOINT_PROVIDER orx_bench

#undef LTTNG_UST_TRACEPOINT_INCLUDE
#define LTTNG_UST_TRACEPOINT_INCLUDE "bench/log/LttngPoint.h"

#if !defined(BENCH_LOG_LTTNG_POINT_H) || defined(LTTNG_UST_TRACEPOINT_HEADER_MULTI_READ)
#define BENCH_LOG_LTTNG_POINT_H

#include <lttng/tracepoint.h>

LTTNG_UST_TRACEPOINT_EVENT(orx_bench, message, LTTNG_UST_TP_ARGS(int, severity, const char*, text),
    LTTNG_UST_TP_FIELDS(lttng_ust_field_integer(int, severity, severity) lttng_ust_field_string(text, text)))

#endif

#include <lttng/tracepoint-event.h>
