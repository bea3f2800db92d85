// The texts of log messages come from any application on the network.
#include "fuzz/logFormatter/FormatterCheck.hpp"
#include "zddscore/log.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool isQuiet = (ORX_MonitoringLog_setBitmaps(0, 0), true);
    (void)isQuiet;
    FormatterCheck::run(data, size);
    return 0;
}
