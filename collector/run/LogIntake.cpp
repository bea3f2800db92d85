#include "collector/run/LogIntake.hpp"

#include <algorithm>
#include <array>
#include <string_view>

#include "orxmonitoring2d/forwarder.h"
#include "reading/LogMessages.hpp"
#include "reading/Samples.hpp"
#include "reading/Text.hpp"

namespace collector::run {

namespace {

constexpr std::size_t longestMessage = 16 * 1024;
constexpr std::size_t longestCategory = 256;
constexpr std::size_t longestLine = 4096;

std::string valid(std::string_view text, std::size_t limit) {
    bool isCut = false;
    return reading::validUtf8(text, limit, isCut);
}

std::string lineOf(const DDS_Monitoring_LoggingMessage& message) {
    std::array<char, longestLine> line{};
    ORX_MonitoringForwarder_log_message_to_string(&message, line.data(), line.size());
    std::string text = valid(line.data(), line.size());
    while (!text.empty() && (text.back() == '\n' || text.back() == ' '))
        text.pop_back();
    return text;
}

} // namespace

api::LogMessage logMessageOf(const DDS_Monitoring_LoggingMessage& message) {
    constexpr std::int64_t second = 1'000'000'000;
    constexpr std::int64_t latest = 253'402'300'799; // the end of the year 9999
    api::LogMessage taken;
    const std::int64_t seconds = message.timestamp.sec;
    if (seconds >= 0 && seconds <= std::min<std::int64_t>(latest, INT64_MAX / second - 1))
        taken.timeNs = seconds * second + message.timestamp.nanosec;
    taken.facility = message.facility;
    taken.severity = static_cast<std::uint32_t>(message.severity);
    taken.sequenceNumber = message.sn;
    taken.category = valid(reading::categoryOf(message), longestCategory);
    taken.message = valid(reading::textOf(message), longestMessage);
    taken.line = lineOf(message);
    return taken;
}

void LogIntake::take(const DDS_Monitoring_Logging& sample, const DDS_SampleInfo& info) {
    model_.logging(sample, info);
    const reading::Guid application = reading::guidOf(sample.info.root_resource_guid);
    if (sample.update != nullptr) {
        for (DDS_Long i = 0; i < DDS_Monitoring_LogReferenceSeq_get_length(sample.update); ++i) {
            if (const auto* const message = DDS_Monitoring_LogReferenceSeq_get(sample.update, i))
                add(*message, application, false);
        }
    }
    if (sample.snapshot != nullptr) {
        for (DDS_Long i = 0; i < DDS_Monitoring_LoggingMessageSeq_get_length(sample.snapshot); ++i)
            add(*DDS_Monitoring_LoggingMessageSeq_get_reference(sample.snapshot, i), application, true);
    }
}

void LogIntake::add(
    const DDS_Monitoring_LoggingMessage& message, const reading::Guid& application, bool isSnapshot) {
    api::LogMessage taken = logMessageOf(message);
    taken.application = taken.resource = application;
    taken.applicationName = model_.applicationName(application);
    taken.isSnapshot = isSnapshot;
    const std::string line = taken.line;
    if (ring_.add(std::move(taken)) && file_.isOpen())
        file_.write(line);
}

} // namespace collector::run
