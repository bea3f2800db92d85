// What orxctl reads comes from whatever answers at an address.
#include "fuzz/ctl/CtlCheck.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    CtlCheck::run(data, size);
    return 0;
}
