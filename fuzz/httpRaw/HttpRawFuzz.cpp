// Whatever octets a client sends, the server goes on.
#include "fuzz/httpRaw/RawCheck.hpp"
#include "zddscore/log.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool isQuiet = (ORXLog_setStderrEnabled(0), true);
    (void)isQuiet;
    static RawCheck& check = *new RawCheck;
    check.run(data, size);
    return 0;
}
