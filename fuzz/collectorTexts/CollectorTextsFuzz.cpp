// Names come from applications, selectors and headers from whoever speaks HTTP.
#include <string>

#include "fuzz/collectorTexts/CollectorTextsCheck.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    CollectorTextsCheck::run(std::string(reinterpret_cast<const char*>(data), size));
    return 0;
}
