// One-line reports of the engines, in the record of the DDS operations.
//
// ENGINE_LOG(ERROR, FAILED_TO_CREATE, "writer of topic %s", name): level bit, template, subject that the
// compiler checks. The mask is tested before anything is formatted.
#ifndef ZDDSC_ENGINE_ENGINE_LOG_HPP
#define ZDDSC_ENGINE_ENGINE_LOG_HPP

#include "zddscore/log.h"

#define ENGINE_LOG(level, TEMPLATE, ...)                                                                     \
    ((__atomic_load_n(&DDSLog_g_instrumentationMask, __ATOMIC_RELAXED) & ORX_LOG_BIT_##level) != 0           \
            ? ORXLogMessageParamString_printWithParams(-1, ORX_LOG_BIT_##level, ORX_LOG_MODULE_DDS,          \
                  __FILE__, __LINE__, __func__, &ORX_LOG_##TEMPLATE##_TEMPLATE, __VA_ARGS__)                 \
            : static_cast<void>(0))

#endif
