// Query expressions are made from texts, and requests are paced by bytes, that come from the network.
#include "fuzz/queries/QueryCheck.hpp"
#include "zddscore/log.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool isQuiet = (ORXLog_setStderrEnabled(0), true);
    (void)isQuiet;
    QueryCheck::run(data, size);
    return 0;
}
