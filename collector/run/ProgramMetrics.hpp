// The collector's own metrics of its intake, its clients and its log file.
#ifndef COLLECTOR_RUN_PROGRAM_METRICS_HPP
#define COLLECTOR_RUN_PROGRAM_METRICS_HPP

#include <atomic>
#include <cstdint>
#include <functional>

#include "collector/api/LogRing.hpp"
#include "collector/api/Streams.hpp"
#include "collector/exposition/OwnMetrics.hpp"
#include "collector/http/Server.hpp"
#include "collector/run/Intake.hpp"
#include "collector/run/LogFile.hpp"

namespace collector::run {

// All outlive the registry's use; the server is null until it stands.
struct ProgramParts {
    const Intake& intake;
    const api::LogRing& ring;
    const LogFile& logFile;
    const api::Streams& streams;
    const std::atomic<const http::Server*>& server;
};
void addProgramMetrics(OwnMetrics& own, const ProgramParts& parts);

// What was dropped outside of the model, by cause.
void tellDrops(const Intake& intake, const LogFile& logFile,
    const std::function<void(const char* cause, std::uint64_t count)>& tell);

} // namespace collector::run

#endif
