// Path expressions come from remote commands.
#include <string>

#include "fuzz/paths/PathCheck.hpp"
#include "zddscore/log.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const PathCheck check;
    static const bool isQuiet = (ORX_MonitoringLog_setBitmaps(0, 0), true);
    (void)isQuiet;
    check.run(std::string(reinterpret_cast<const char*>(data), size).c_str());
    return 0;
}
