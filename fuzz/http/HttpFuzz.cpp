// Whatever a client asks for, it gets a documented answer.
#include "fuzz/http/HttpCheck.hpp"
#include "zddscore/log.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool isQuiet = (ORXLog_setStderrEnabled(0), true);
    (void)isQuiet;
    static HttpCheck& check = *new HttpCheck;
    check.run(data, size);
    return 0;
}
