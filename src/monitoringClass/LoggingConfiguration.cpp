#include "src/monitoringClass/LoggingConfiguration.h"

#include <atomic>
#include <iterator>

#include "orxmonitoring2d/dds_logging.h"
#include "src/dataModel/MetricCatalogue.h"
#include "src/log/Log.hpp"
#include "src/logging/MonitoringLogging.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::monitoringClass;

using VerbositySetting = ORX_MonitoringLoggingVerbositySetting_t;

// The order in which facilities are published.
struct Facility {
    ZDDS_Config_SyslogVerbosity VerbositySetting::*verbosity;
    ZDDS_Config_LogFacility facility;
};
constexpr Facility facilities[] = {
    {&VerbositySetting::middleware, ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE},
    {&VerbositySetting::security_event, ZDDS_CONFIG_LOG_FACILITY_SECURITY_EVENT},
    {&VerbositySetting::service, ZDDS_CONFIG_LOG_FACILITY_SERVICE},
    {&VerbositySetting::user, ZDDS_CONFIG_LOG_FACILITY_USER},
};
constexpr DDS_Long facilityCount = std::size(facilities);
constexpr DDS_UnsignedLong rootIndex = 0; // concurrency index of the root resource

ORX_MonitoringClassImpl& implOf(struct ORX_MonitoringClass* monitoringClass) {
    return *reinterpret_cast<ORX_MonitoringClassImpl*>(monitoringClass);
}

const Facility* findFacility(DDS_Octet number) {
    for (const Facility& facility : facilities) {
        if (facility.facility == static_cast<int>(number))
            return &facility;
    }
    return nullptr;
}

// While the library is created there is no collector yet, and the property says what it will start with.
const VerbositySetting& forwardingLevelOf(const ORX_MonitoringClassImpl& library) {
    return library.logging != nullptr ? library.logging->properties.forwarding_level
                                      : library.property->logging.forwarding_level;
}

bool refreshCollectionSetting(ORX_MonitoringClassImpl& library, const ZDDS_Config_Logger& logger) {
    if (!ORX_MonitoringLoggingVerbositySetting_t_get_from_logger(&library.loggingCollectionSetting, &logger))
        return ORX_ERROR(FAILED_TO_GET, "Logging collection setting");
    return true;
}

// The metric mutex of the root's index, while it lives. It is recursive: a caller may hold it.
class RootMetricLock {
public:
    RootMetricLock() {
        const ORX_MonitoringLockResult result =
            ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_METRIC, rootIndex, 1, 1, nullptr);
        held_ = result == ORX_MONITORING_LOCK_RESULT_OK;
        if (result == ORX_MONITORING_LOCK_RESULT_NOT_ENABLED) {
            ORX_ERROR(FAILED_TO_PUSH, "The Monitoring Library is not enabled");
        } else if (!held_) {
            ORX_ERROR(
                FAILED_TO_LOCK, "Taking Monitoring event metric lock with concurrency index %u", rootIndex);
        }
    }
    ~RootMetricLock() {
        if (held_ && ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_METRIC, rootIndex, 1) != 0) {
            ORX_ERROR(
                FAILED_TO_UNLOCK, "Giving Monitoring event metric lock with concurrency index %u", rootIndex);
        }
    }
    RootMetricLock(const RootMetricLock&) = delete;
    RootMetricLock& operator=(const RootMetricLock&) = delete;
    explicit operator bool() const { return held_; }

private:
    bool held_;
};

// The following are called under that mutex.

bool pushLoggingConfig(struct ORX_MonitoringClass* monitoringClass) {
    DDS_Monitoring_LoggingConfig config;
    if (!DDS_Monitoring_LoggingConfig_initialize(&config))
        return ORX_ERROR(FAILED_TO_INITIALIZE, "DDS_Monitoring_LoggingConfig");
    bool result = ORX_Monitoring_populateLoggingConfig(monitoringClass, &config) != 0;
    if (result && !monitoringClass->pushEventMetricFunction(monitoringClass, &config,
                      monitoringClass->rootResource, ORX_MONITORING_APPLICATION_LOGGING_GROUP)) {
        result = ORX_ERROR(FAILED_TO_PUSH, "DDS_Monitoring_LoggingConfig to the Monitoring Library");
    }
    DDS_Monitoring_LoggingConfig_finalize(&config);
    return result;
}

bool changeCollectionSetting(struct ORX_MonitoringClass* monitoringClass, const ZDDS_Config_Logger& logger) {
    VerbositySetting& known = implOf(monitoringClass).loggingCollectionSetting;
    VerbositySetting currentSetting;
    if (!ORX_MonitoringLoggingVerbositySetting_t_get_from_logger(&currentSetting, &logger))
        return ORX_ERROR(FAILED_TO_GET, "Logging collection setting");
    if (ORX_MonitoringLoggingVerbositySetting_t_equals(&currentSetting, &known))
        return true;
    const bool isCopied = ORX_MonitoringLoggingVerbositySetting_t_copy(&known, &currentSetting) != 0;
    if (!isCopied)
        ORX_ERROR(FAILED_TO_COPY, "loggingCollectionSetting");
    const bool result = isCopied && pushLoggingConfig(monitoringClass);
    (void)ORX_MonitoringLoggingVerbositySetting_t_finalize(&currentSetting);
    return result;
}

void changeForwardingLevel(struct ORX_MonitoringClass* monitoringClass, const VerbositySetting& level) {
    ORX_MonitoringClassImpl& library = implOf(monitoringClass);
    if (ORX_MonitoringLoggingVerbositySetting_t_equals(&level, &forwardingLevelOf(library))) {
        ORX_ERROR(FAILED_TO_PUSH,
            "The new forwarding levels are the same as the current ones. The event won't be pushed");
        return;
    }
    if (!ORX_MonitoringLogging_setForwardingLevel(library.logging, &level)) {
        ORX_ERROR(FAILED_TO_COPY, "logging property forwarding level");
        return;
    }
    if (!ORX_MonitoringLoggingVerbositySetting_t_copy(&library.property->logging.forwarding_level, &level)) {
        ORX_ERROR(FAILED_TO_COPY, "library property forwarding level");
        return;
    }
    (void)pushLoggingConfig(monitoringClass);
}

} // namespace

// On a copy, so that a facility that does not exist changes nothing.
int ORX_MonitoringLoggingVerbositySetting_t_fromLoggingSettingSeq(
    ORX_MonitoringLoggingVerbositySetting_t* self,
    const struct DDS_Monitoring_LoggingSettingSeq* loggingSettings) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(loggingSettings == ORX_NULL);
    VerbositySetting changed;
    if (!ORX_MonitoringLoggingVerbositySetting_t_copy(&changed, self))
        return ORX_ERROR(FAILED_TO_COPY, "Logging Verbosity Setting");
    const DDS_Long length = DDS_Monitoring_LoggingSettingSeq_get_length(loggingSettings);
    for (DDS_Long i = 0; i < length; ++i) {
        const DDS_Monitoring_LoggingSetting* setting =
            DDS_Monitoring_LoggingSettingSeq_get_reference(loggingSettings, i);
        const Facility* facility = findFacility(setting->facility);
        if (facility == nullptr) {
            return ORX_ERROR(
                FAILED_TO_SET, "verbosity for facility %d. Unexpected facility", setting->facility);
        }
        changed.*facility->verbosity = static_cast<ZDDS_Config_SyslogVerbosity>(setting->verbosity);
    }
    if (!ORX_MonitoringLoggingVerbositySetting_t_copy(self, &changed))
        return ORX_ERROR(FAILED_TO_COPY, "Logging Verbosity Setting");
    return 1;
}

int ORX_MonitoringLoggingVerbositySetting_t_toLoggingSettingSeq(
    const ORX_MonitoringLoggingVerbositySetting_t* self,
    struct DDS_Monitoring_LoggingSettingSeq* loggingSettings) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(loggingSettings == ORX_NULL);
    if (!DDS_Monitoring_LoggingSettingSeq_set_length(loggingSettings, facilityCount)) {
        return ORX_ERROR(FAILED_TO_SET, "Logging Settings Sequence length to %d", facilityCount);
    }
    for (DDS_Long i = 0; i < facilityCount; ++i) {
        DDS_Monitoring_LoggingSetting* setting =
            DDS_Monitoring_LoggingSettingSeq_get_reference(loggingSettings, i);
        setting->verbosity = static_cast<DDS_Monitoring_SyslogVerbosity>(self->*facilities[i].verbosity);
        setting->facility = static_cast<DDS_Octet>(facilities[i].facility);
    }
    return 1;
}

int ORX_Monitoring_populateLoggingConfig(
    struct ORX_MonitoringClass* monitoringClass, struct DDS_Monitoring_LoggingConfig* loggingConfig) {
    ORX_FAIL_IF(monitoringClass == ORX_NULL);
    ORX_FAIL_IF(loggingConfig == ORX_NULL);
    const ORX_MonitoringClassImpl& library = implOf(monitoringClass);
    if (!ORX_MonitoringLoggingVerbositySetting_t_toLoggingSettingSeq(
            &library.loggingCollectionSetting, &loggingConfig->logging_collection)) {
        return ORX_ERROR(FAILED_TO_SET, "Logging collection sequence");
    }
    if (!ORX_MonitoringLoggingVerbositySetting_t_toLoggingSettingSeq(
            &forwardingLevelOf(library), &loggingConfig->logging_forwarding)) {
        return ORX_ERROR(FAILED_TO_SET, "Logging forwarding sequence");
    }
    return 1;
}

int ORX_Monitoring_getLoggingConfigMetric(struct DDS_Monitoring_LoggingConfig* loggingConfig) {
    ORX_FAIL_IF(loggingConfig == ORX_NULL);
    if (!DDS_Monitoring_LoggingConfig_initialize(loggingConfig)) {
        return ORX_ERROR(FAILED_TO_INITIALIZE, "DDS_Monitoring_LoggingConfig");
    }
    const ZDDS_Config_Logger* logger = ZDDS_Config_Logger_get_instance();
    ORX_MonitoringGlobals* globals = ORX_MonitoringGlobals_get_instance();
    // Acquire: whoever started the library may still be on its way out of that.
    struct ORX_MonitoringClass* monitoringClass =
        globals != nullptr ? std::atomic_ref(globals->monitoringClass).load(std::memory_order_acquire)
                           : nullptr;
    int result = 0;
    if (logger == nullptr) {
        ORX_ERROR(FAILED_TO_GET, "Logger");
    } else if (globals == nullptr) {
        ORX_ERROR(FAILED_TO_GET, "Monitoring Globals");
    } else if (monitoringClass == nullptr) {
        ORX_ERROR(FAILED_TO_GET, "Monitoring Class");
    } else {
        result = refreshCollectionSetting(implOf(monitoringClass), *logger) &&
                 ORX_Monitoring_populateLoggingConfig(monitoringClass, loggingConfig);
    }
    if (!result)
        DDS_Monitoring_LoggingConfig_finalize(loggingConfig);
    return result;
}

DDS_Boolean ORX_Monitoring_onLoggingCollectionChange(struct ORX_MonitoringClass* monitoringClass) {
    ORX_FAIL_IF(monitoringClass == ORX_NULL);
    const ZDDS_Config_Logger* logger = ZDDS_Config_Logger_get_instance();
    if (logger == nullptr)
        return ORX_ERROR(FAILED_TO_GET, "ZDDS_Config_Logger");
    const RootMetricLock lock;
    return lock && changeCollectionSetting(monitoringClass, *logger);
}

void ORX_Monitoring_setLoggingForwardingLevelFromProperty(struct ORX_MonitoringClass* monitoringClass,
    const ORX_MonitoringLoggingVerbositySetting_t* newLoggingForwardingLevel) {
    ORX_LEAVE_IF(monitoringClass == ORX_NULL);
    ORX_LEAVE_IF(newLoggingForwardingLevel == ORX_NULL);
    ORX_LEAVE_IF(implOf(monitoringClass).logging == ORX_NULL);
    const RootMetricLock lock;
    if (lock)
        changeForwardingLevel(monitoringClass, *newLoggingForwardingLevel);
}

const ORX_MonitoringLoggingProperty_t* ORX_Monitoring_getLoggingProperty(
    struct ORX_MonitoringClass* monitoringClass) {
    ORX_FAIL_IF(monitoringClass == ORX_NULL);
    const ORX_MonitoringLogging* logging = implOf(monitoringClass).logging;
    return logging != nullptr ? &logging->properties : nullptr;
}
