// Samples come from the network.
#include "fuzz/collectorSamples/CollectorSamplesCheck.hpp"
#include "zddscore/log.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    CollectorSamplesCheck::run(data, size);
    return 0;
}
