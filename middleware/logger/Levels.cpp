// The three forms of a level.
#include <bit>

#include "middleware/logger/Logger.hpp"

namespace {
constexpr unsigned levelBits = ZDDS_CONFIG_SYSLOG_VERBOSITY_DEBUG;

// Callers in C may pass a number that the enumeration does not have, so it is read as the number that it is.
template <class Enumeration> int numberOf(const Enumeration& value) {
    static_assert(sizeof value == sizeof(int));
    return std::bit_cast<int>(value);
}

} // namespace

// A log level is one bit; of several the least severe counts, so that a verbosity admits them all or none.
ZDDS_Config_SyslogLevel ZDDS_Config_SyslogLevel_from_log_level(ZDDS_Config_LogLevel level) {
    const auto bits = static_cast<unsigned>(numberOf(level));
    if ((bits & ~levelBits) != 0)
        return ZDDS_CONFIG_SYSLOG_LEVEL_DEBUG;
    return bits == 0 ? ZDDS_CONFIG_SYSLOG_LEVEL_EMERGENCY
                     : static_cast<ZDDS_Config_SyslogLevel>(std::bit_width(bits) - 1);
}

ZDDS_Config_LogLevel ZDDS_Config_LogLevel_from_syslog_level(ZDDS_Config_SyslogLevel level) {
    const auto number = numberOf(level);
    if (number <= ZDDS_CONFIG_SYSLOG_LEVEL_EMERGENCY)
        return ZDDS_CONFIG_LOG_LEVEL_EMERGENCY;
    if (number >= ZDDS_CONFIG_SYSLOG_LEVEL_DEBUG)
        return ZDDS_CONFIG_LOG_LEVEL_DEBUG;
    return static_cast<ZDDS_Config_LogLevel>(1U << number);
}

ZDDS_Config_LogVerbosity ZDDS_Config_LogVerbosity_from_syslog_verbosity(
    ZDDS_Config_SyslogVerbosity verbosity) {
    return static_cast<ZDDS_Config_LogVerbosity>(verbosity) & levelBits;
}

ORX_UINT32 ORXSyslog_getInstrumentBitFromSyslogLevel(ZDDS_Config_SyslogLevel level) {
    return zdds::logger::bitOf(numberOf(level));
}
