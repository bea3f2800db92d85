// Commands come from the network.
#include "fuzz/commands/CommandCheck.hpp"
#include "zddscore/log.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ORX_MonitoringLog_setBitmaps(0, 0);
    DDSLog_setDependencyInstrumentationMask(0);
    static auto& check = *new CommandCheck; // its threads run until the process ends
    check.run(data, size);
    return 0;
}
