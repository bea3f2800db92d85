// Log messages on their way from samples to whoever reads them: the ring and the log file.
//
// Threads: samples come on one thread. Texts from remote are cut and made valid UTF-8 here.
#ifndef COLLECTOR_RUN_LOG_INTAKE_HPP
#define COLLECTOR_RUN_LOG_INTAKE_HPP

#include "collector/api/LogRing.hpp"
#include "collector/model/Model.hpp"
#include "collector/run/LogFile.hpp"
#include "orxmonitoring2d/dds_logging.h"

namespace collector::run {

// One message, but for what its sample tells.
api::LogMessage logMessageOf(const DDS_Monitoring_LoggingMessage& message);

class LogIntake {
public:
    // All outlive it.
    LogIntake(Model& model, api::LogRing& ring, LogFile& file) : model_(model), ring_(ring), file_(file) {}

    void take(const DDS_Monitoring_Logging& sample, const DDS_SampleInfo& info);

private:
    void add(const DDS_Monitoring_LoggingMessage& message, const reading::Guid& application, bool isSnapshot);

    Model& model_;
    api::LogRing& ring_;
    LogFile& file_;
};

} // namespace collector::run

#endif
