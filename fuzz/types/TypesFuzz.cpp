// Samples come from the network.
#include "fuzz/types/SampleCheck.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const SampleCheck check;
    check.run(data, size);
    return 0;
}
