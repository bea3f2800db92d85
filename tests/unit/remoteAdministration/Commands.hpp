// Commands as senders make them, and what senders get back.
#ifndef ORX_TESTS_COMMANDS_HPP
#define ORX_TESTS_COMMANDS_HPP

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "orxmonitoring2d/orx_remote_administration_support.h"
#include "src/remoteAdministration/CommandHelper.h"
#include "src/remoteAdministration/Operations.hpp"
#include "zddsc/service_request.h"

namespace operation = orx::operation;

using Texts = std::vector<std::string>;

struct Selector {
    std::string expression;
    Texts enabled;
    Texts disabled = {};
};
struct Level {
    int facility;
    DDS_Monitoring_SyslogVerbosity verbosity;
};
struct Group {
    std::string expression;
    std::vector<Level> levels;
};

class Command {
public:
    explicit Command(DDS_Long hash) {
        DDS_Monitoring_MonitoringService_Request_initialize(&request);
        request.data._d = hash;
    }
    ~Command() { DDS_Monitoring_MonitoringService_Request_finalize(&request); }
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    DDS_Monitoring_MonitoringService_Request request{};

    // The encoding.
    std::vector<DDS_Octet> bytes() const {
        DDS_OctetSeq seq{};
        std::vector<DDS_Octet> result;
        if (ORX_MonitoringCommandHelper_requestToOctetSeq(&seq, &request)) {
            const DDS_Octet* begin = DDS_OctetSeq_get_contiguous_buffer(&seq);
            result.assign(begin, begin + DDS_OctetSeq_get_length(&seq));
        }
        DDS_OctetSeq_finalize(&seq);
        return result;
    }
};

inline void fill(DDS_StringSeq& sequence, const Texts& texts) {
    const auto count = static_cast<DDS_Long>(texts.size());
    DDS_StringSeq_ensure_length(&sequence, count, count);
    for (DDS_Long i = 0; i < count; ++i)
        DDS_String_replace(DDS_StringSeq_get_reference(&sequence, i), texts[static_cast<size_t>(i)].c_str());
}

// From a variable; the classes below take a list in braces.
class MetricCommand : public Command {
public:
    MetricCommand(DDS_Long hash, const std::vector<Selector>& selectors) : Command(hash) {
        auto& metrics = hash == operation::set_metric_subscription_state
                            ? request.data._u.set_metric_subscription_state.metrics
                            : request.data._u.update_metric_subscription_state.metrics;
        const auto count = static_cast<DDS_Long>(selectors.size());
        DDS_Monitoring_MetricSelectorSeq_ensure_length(&metrics, count, count);
        for (DDS_Long i = 0; i < count; ++i) {
            const Selector& selector = selectors[static_cast<size_t>(i)];
            auto* element = DDS_Monitoring_MetricSelectorSeq_get_reference(&metrics, i);
            DDS_String_replace(&element->resource_selector, selector.expression.c_str());
            fill(element->subscribe_metric_selector, selector.enabled);
            fill(element->unsubscribe_metric_selector, selector.disabled);
        }
    }
};
class SetMetrics : public MetricCommand {
public:
    SetMetrics(std::initializer_list<Selector> selectors)
        : MetricCommand(operation::set_metric_subscription_state, selectors) {}
};
class UpdateMetrics : public MetricCommand {
public:
    UpdateMetrics(std::initializer_list<Selector> selectors)
        : MetricCommand(operation::update_metric_subscription_state, selectors) {}
};

class LoggingCommand : public Command {
public:
    LoggingCommand(DDS_Long hash, const std::vector<Group>& groups) : Command(hash) {
        auto& sequence = hash == operation::set_logging_collection_level
                             ? request.data._u.set_logging_collection_level.logging_groups
                             : request.data._u.set_logging_forwarding_level.logging_groups;
        const auto count = static_cast<DDS_Long>(groups.size());
        DDS_Monitoring_LoggingGroupSeq_ensure_length(&sequence, count, count);
        for (DDS_Long i = 0; i < count; ++i)
            fillGroup(
                *DDS_Monitoring_LoggingGroupSeq_get_reference(&sequence, i), groups[static_cast<size_t>(i)]);
    }

private:
    static void fillGroup(DDS_Monitoring_LoggingGroup& element, const Group& group) {
        DDS_String_replace(&element.application_selector, group.expression.c_str());
        const auto count = static_cast<DDS_Long>(group.levels.size());
        DDS_Monitoring_LoggingSettingSeq_ensure_length(&element.logging_settings, count, count);
        for (DDS_Long i = 0; i < count; ++i) {
            auto* setting = DDS_Monitoring_LoggingSettingSeq_get_reference(&element.logging_settings, i);
            setting->facility = static_cast<DDS_Octet>(group.levels[static_cast<size_t>(i)].facility);
            setting->verbosity = group.levels[static_cast<size_t>(i)].verbosity;
        }
    }
};
class SetCollection : public LoggingCommand {
public:
    SetCollection(std::initializer_list<Group> groups)
        : LoggingCommand(operation::set_logging_collection_level, groups) {}
};
class SetForwarding : public LoggingCommand {
public:
    SetForwarding(std::initializer_list<Group> groups)
        : LoggingCommand(operation::set_logging_forwarding_level, groups) {}
};

class RequestRegistry : public Command {
public:
    explicit RequestRegistry(std::initializer_list<std::string> applications)
        : Command(operation::request_resource_registry) {
        fill(request.data._u.request_resource_registry.applications, applications);
    }
};

// What a reply says.
struct Answer {
    DDS_Long hash = 0;
    int code = -1; // -1: its operation has no error that could be looked at
    std::string message;
    bool operator==(const Answer&) const = default;
};
inline std::ostream& operator<<(std::ostream& stream, const Answer& answer) {
    return stream << "{" << answer.hash << ", " << answer.code << ", \"" << answer.message << "\"}";
}

inline std::optional<Answer> readAnswer(const DDS_OctetSeq& body) {
    DDS_Monitoring_MonitoringService_Reply reply{};
    DDS_Monitoring_MonitoringService_Reply_initialize(&reply);
    std::optional<Answer> answer;
    if (ORX_MonitoringCommandHelper_octetSeqToReply(&reply, &body)) {
        answer = Answer{reply.data._d, -1, ""};
        const DDS_Monitoring_MonitoringCommandError* error = nullptr;
        auto& results = reply.data._u;
        switch (reply.data._d) {
        case operation::set_metric_subscription_state:
            error = &results.set_metric_subscription_state._u.monitoringcommanderror_ex;
            break;
        case operation::update_metric_subscription_state:
            error = &results.update_metric_subscription_state._u.monitoringcommanderror_ex;
            break;
        case operation::subscribe:
            error = &results.subscribe._u.monitoringcommanderror_ex;
            break;
        case operation::unsubscribe:
            error = &results.unsubscribe._u.monitoringcommanderror_ex;
            break;
        case operation::request_resource_registry:
            error = &results.request_resource_registry._u.monitoringcommanderror_ex;
            break;
        case operation::request_logging_snapshot:
            error = &results.request_logging_snapshot._u.monitoringcommanderror_ex;
            break;
        case operation::request_snapshot:
            error = &results.request_snapshot._u.monitoringcommanderror_ex;
            break;
        case operation::set_logging_collection_level:
            error = &results.set_logging_collection_level._u.monitoringcommanderror_ex;
            break;
        case operation::set_logging_forwarding_level:
            error = &results.set_logging_forwarding_level._u.monitoringcommanderror_ex;
            break;
        default:
            break;
        }
        if (error != nullptr) {
            answer->code = error->ret_code;
            answer->message = error->error_message != nullptr ? error->error_message : "";
        }
    }
    DDS_Monitoring_MonitoringService_Reply_finalize(&reply);
    return answer;
}

#endif
