// The category of a message for devices: what its text's activity context names, and whether it is about
// security.
#include <cstring>

#include "src/log/Log.hpp"
#include "src/logging/CompactMessage.hpp"
#include "zddscore/text.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::logging;

using orx::logging::noCategory;

constexpr char securityCategory[] = "Security";
constexpr char categoryMark[] = "|LC:";

bool copyMarkedCategory(char* buffer, ORX_UINT32 bufferSize, const char* mark) {
    const char* begin = mark + sizeof categoryMark - 1;
    const char* end = std::strchr(begin, ']');
    if (end == nullptr)
        return ORX_ERROR(FAILED_TO_FIND, "End of activity context category string");
    if (ORXOsapiUtility_strncpy(buffer, bufferSize - 1, begin, static_cast<size_t>(end - begin)) == nullptr)
        return ORX_ERROR(FAILED_TO_COPY, "Activity context category string to output buffer");
    return true;
}

bool addSecurityCategory(char* buffer, ORX_UINT32 bufferSize) {
    if (std::strstr(buffer, securityCategory) != nullptr)
        return true;
    if (*buffer != '\0' && ORXOsapiUtility_strcat(buffer, bufferSize - 1, ",") == nullptr)
        return ORX_ERROR(FAILED_TO_COPY, "Category separator string to output buffer");
    if (ORXOsapiUtility_strcat(buffer, bufferSize - 1, securityCategory) == nullptr)
        return ORX_ERROR(FAILED_TO_COPY, "'%s' category string to output buffer", securityCategory);
    return true;
}

} // namespace

int ORX_MonitoringLogging_getCategoryFromLogMessage(
    char* buffer, ORX_UINT32 bufferSize, const ZDDS_Config_LogMessage* msg) {
    ORX_FAIL_IF(buffer == ORX_NULL);
    ORX_FAIL_IF(bufferSize < sizeof noCategory);
    ORX_FAIL_IF(msg == ORX_NULL);
    ORX_FAIL_IF(msg->text == ORX_NULL);
    *buffer = '\0';
    bool categoryEmpty = true;
    // Few texts have the mark's first character, and that is found much faster than a text in a text.
    const char* mark = std::strchr(msg->text, categoryMark[0]);
    if (mark != nullptr)
        mark = std::strstr(mark, categoryMark);
    if (mark != nullptr) {
        if (!copyMarkedCategory(buffer, bufferSize, mark))
            return 0;
        categoryEmpty = false;
    }
    if (msg->is_security_message) {
        if (!addSecurityCategory(buffer, bufferSize))
            return 0;
        categoryEmpty = false;
    }
    if (categoryEmpty)
        std::memcpy(buffer, noCategory, sizeof noCategory);
    return 1;
}
