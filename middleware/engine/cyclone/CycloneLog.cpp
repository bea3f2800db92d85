// The lines that Cyclone DDS logs, as lines of the support layer's log.
#include <dds/ddsrt/log.h>

#include <algorithm>
#include <climits>

#include "zddsc/logger.h"
#include "zddscore/log.h"

namespace {

ORX_UINT32 levelOf(uint32_t category) {
    if ((category & (DDS_LC_FATAL | DDS_LC_ERROR)) != 0)
        return ORX_LOG_BIT_ERROR;
    return (category & DDS_LC_WARNING) != 0 ? ORX_LOG_BIT_WARNING : ORX_LOG_BIT_STATUS;
}

// On a thread of the engine, with its log locked for readers: the line is only queued. The names of file and
// function are literals of the engine, which stays loaded.
void onLine(void*, const dds_log_data_t* line) {
    const int length = static_cast<int>(std::min<size_t>(line->size, INT_MAX)); // without the line end
    ORXLogParamString_printWithParams(-1, levelOf(line->priority), ORX_LOG_MODULE_DDS, line->file,
        static_cast<int>(line->line), line->function, "%.*s", length, line->message);
}

} // namespace

void ZDDS_Config_Logger_take_engine_linesI(DDS_Boolean areTaken) {
    dds_set_log_sink(areTaken ? onLine : nullptr, nullptr);
}
