// Commands come from the network.
#include "fuzz/commands/CommandCheck.hpp"
#include "zddscore/log.h"

// The library lives on between the units, on threads of its own: what it holds meanwhile is no leak of a
// unit's. Leaks are looked for by the tests of commands.
extern "C" const char* __asan_default_options() {
    return "detect_leaks=0";
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ORX_MonitoringLog_setBitmaps(0, 0);
    DDSLog_setDependencyInstrumentationMask(0);
    static auto& check = *new CommandCheck; // its threads run until the process ends
    check.run(data, size);
    return 0;
}
