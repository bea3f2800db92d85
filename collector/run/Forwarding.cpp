#include "collector/run/Forwarding.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <set>
#include <utility>

#include "orxmonitoring2d/orx_remote_administration_support.h"
#include "reading/Guid.hpp"
#include "reading/Joining.hpp"
#include "reading/Sequences.hpp"
#include "zddsc/qos.h"

namespace collector::run {

namespace {

using reading::Scoped;
using Exception = Scoped<DDS_Monitoring_MonitoringCommandError,
    DDS_Monitoring_MonitoringCommandError_initialize, DDS_Monitoring_MonitoringCommandError_finalize>;
template <typename Sequence, auto finalize> struct ScopedSequence {
    Sequence value{};
    ScopedSequence() = default;
    ~ScopedSequence() { finalize(&value); }
    ScopedSequence(const ScopedSequence&) = delete;
    ScopedSequence& operator=(const ScopedSequence&) = delete;
};
using MetricSelectors =
    ScopedSequence<DDS_Monitoring_MetricSelectorSequence, DDS_Monitoring_MetricSelectorSeq_finalize>;
using LoggingGroups =
    ScopedSequence<DDS_Monitoring_LoggingGroupSequence, DDS_Monitoring_LoggingGroupSeq_finalize>;
using Expressions = ScopedSequence<DDS_StringSeq, DDS_StringSeq_finalize>;
using Matches = ScopedSequence<ORX_MonitoringForwarderApplicationResourcePtrSeq,
    ORX_MonitoringForwarderApplicationResourcePtrSeq_finalize>;

using reading::fill;
using reading::fillEach;

bool fill(
    DDS_Monitoring_MetricSelectorSequence& sequence, const std::vector<api::MetricSelector>& selectors) {
    return fillEach<DDS_Monitoring_MetricSelectorSeq_ensure_length,
        DDS_Monitoring_MetricSelectorSeq_get_reference>(
        sequence, selectors, [](DDS_Monitoring_MetricSelector& element, const api::MetricSelector& selector) {
            return fill(element.resource_selector, selector.resources) &&
                   fill(element.subscribe_metric_selector, selector.subscribe) &&
                   fill(element.unsubscribe_metric_selector, selector.unsubscribe);
        });
}

bool fill(
    DDS_Monitoring_LoggingSettingSeq& sequence, const std::vector<api::LoggingGroup::Setting>& settings) {
    return fillEach<DDS_Monitoring_LoggingSettingSeq_ensure_length,
        DDS_Monitoring_LoggingSettingSeq_get_reference>(sequence, settings,
        [](DDS_Monitoring_LoggingSetting& element, const api::LoggingGroup::Setting& setting) {
            element.facility = setting.facility;
            element.verbosity = static_cast<DDS_Monitoring_SyslogVerbosity>(setting.verbosity);
            return true;
        });
}

bool fill(DDS_Monitoring_LoggingGroupSequence& sequence, const std::vector<api::LoggingGroup>& groups) {
    return fillEach<DDS_Monitoring_LoggingGroupSeq_ensure_length,
        DDS_Monitoring_LoggingGroupSeq_get_reference>(
        sequence, groups, [](DDS_Monitoring_LoggingGroup& element, const api::LoggingGroup& group) {
            return fill(element.application_selector, group.applications) &&
                   fill(element.logging_settings, group.settings);
        });
}

template <typename Argument, typename Values, typename Call>
bool call(const Values& values, Call operation, ORX_MonitoringForwarder* forwarder,
    DDS_Monitoring_MonitoringCommandError* exception) {
    Argument argument;
    if (!fill(argument.value, values))
        return false;
    operation(forwarder, exception, &argument.value);
    return true;
}

bool sendTo(ORX_MonitoringForwarder* forwarder, const api::Command& command,
    DDS_Monitoring_MonitoringCommandError* exception) {
    switch (command.kind) {
    case api::CommandKind::setMetricSubscriptionState:
        return call<MetricSelectors>(
            command.metrics, ORX_MonitoringForwarder_set_metric_subscription_state, forwarder, exception);
    case api::CommandKind::updateMetricSubscriptionState:
        return call<MetricSelectors>(
            command.metrics, ORX_MonitoringForwarder_update_metric_subscription_state, forwarder, exception);
    case api::CommandKind::setLoggingCollectionLevel:
        return call<LoggingGroups>(
            command.groups, ORX_MonitoringForwarder_set_logging_collection_level, forwarder, exception);
    case api::CommandKind::setLoggingForwardingLevel:
        return call<LoggingGroups>(
            command.groups, ORX_MonitoringForwarder_set_logging_forwarding_level, forwarder, exception);
    case api::CommandKind::requestResourceRegistry:
        return call<Expressions>(
            command.applications, ORX_MonitoringForwarder_request_resource_registry, forwarder, exception);
    }
    return false;
}

std::vector<std::string> selectorsOf(const api::Command& command) {
    std::vector<std::string> selectors = command.applications;
    for (const auto& each : command.metrics)
        selectors.push_back(each.resources);
    for (const auto& each : command.groups)
        selectors.push_back(each.applications);
    return selectors;
}

// "/applications/app//data_writers/*" concerns "/applications/app": what stands before a deeper part. An
// expression that begins in any depth and names no application concerns all of them.
std::string applicationPart(const std::string& selector) {
    constexpr std::string_view root = "/applications/";
    if (selector.starts_with("//"))
        return selector.starts_with("//applications/") ? applicationPart(selector.substr(1))
                                                       : "/applications/*";
    if (!selector.starts_with(root))
        return selector;
    std::size_t depth = 0;
    for (std::size_t i = root.size(); i < selector.size(); ++i) {
        if (selector[i] == '(' || selector[i] == '[')
            ++depth;
        else if ((selector[i] == ')' || selector[i] == ']') && depth > 0)
            --depth;
        else if (selector[i] == '/' && depth == 0)
            return selector.substr(0, i);
    }
    return selector;
}

} // namespace

bool Forwarding::open(const Options& options, std::string& error) {
    DDS_DomainParticipantFactory* const factory = DDS_DomainParticipantFactory_get_instance();
    reading::ParticipantQos qos;
    if (!reading::fillParticipantQos(qos, options.peers, error))
        return false;
    ORX_MonitoringForwarderProperty_t property = ORX_MONITORING_FORWARDER_PROPERTY_DEFAULT;
    property.domain_id = options.domain;
    property.participant_qos = &qos.value;
    const double whole = std::floor(options.commandTimeout);
    property.command_manager_timeout.sec = static_cast<DDS_Long>(whole);
    property.command_manager_timeout.nanosec =
        static_cast<DDS_UnsignedLong>((options.commandTimeout - whole) * 1e9);
    forwarder_ = ORX_MonitoringForwarder_new(factory, &property);
    if (forwarder_ == nullptr) {
        error = "cannot join domain " + std::to_string(options.domain);
        return false;
    }
    const std::lock_guard lock(mutex_);
    isClosing_ = false;
    return true;
}

// A caller with the forwarder, which stays for as long; none once the forwarding closes.
class Forwarding::Visit {
public:
    explicit Visit(Forwarding& host) : host_(host) {
        const std::lock_guard lock(host_.mutex_);
        if (host_.isClosing_)
            return;
        ++host_.inside_;
        forwarder = host_.forwarder_;
    }
    ~Visit() {
        if (forwarder == nullptr)
            return;
        const std::lock_guard lock(host_.mutex_);
        if (--host_.inside_ == 0)
            host_.left_.notify_all();
    }
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;

    ORX_MonitoringForwarder* forwarder = nullptr;

private:
    Forwarding& host_;
};

// Nobody comes in any more; who waits for a command comes out when it ends, and then the forwarder is
// nobody's but the owner's.
void Forwarding::close() {
    constexpr auto longest = std::chrono::minutes(1); // the end of the process is bounded elsewhere
    if (forwarder_ == nullptr)
        return;
    std::unique_lock lock(mutex_);
    isClosing_ = true;
    lock.unlock();
    ORX_MonitoringForwarder_end_commandsI(forwarder_);
    lock.lock();
    const bool haveLeft = left_.wait_for(lock, longest, [this] { return inside_ == 0; });
    ORX_MonitoringForwarder* const forwarder = std::exchange(forwarder_, nullptr);
    lock.unlock();
    if (haveLeft)
        ORX_MonitoringForwarder_delete(forwarder);
}

Intake::Readers Forwarding::readers() const {
    const ORX_MonitoringForwarderEntities& entities = *forwarder_->entities;
    return {entities.event_reader, entities.periodic_reader, entities.logging_reader};
}

namespace {

std::size_t destinationsOf(ORX_MonitoringForwarder* forwarder, const api::Command& command) {
    std::set<const void*> applications;
    if (!ORX_MonitoringForwarder_lock_application_registry(forwarder))
        return 0;
    for (const std::string& selector : selectorsOf(command)) {
        Matches matches;
        if (!ORX_MonitoringForwarder_find_matching_applications(
                forwarder, &matches.value, applicationPart(selector).c_str()))
            continue;
        for (DDS_Long i = 0; i < ORX_MonitoringForwarderApplicationResourcePtrSeq_get_length(&matches.value);
             ++i)
            applications.insert(ORX_MonitoringForwarderApplicationResourcePtrSeq_get(&matches.value, i));
    }
    ORX_MonitoringForwarder_unlock_application_registry(forwarder);
    return applications.size();
}

} // namespace

api::CommandResult Forwarding::send(const api::Command& command) {
    api::CommandResult result;
    Exception exception;
    const Visit visit(*this);
    if (visit.forwarder == nullptr) {
        result.errorMessage = "the collector ends";
        return result;
    }
    const auto begin = std::chrono::steady_clock::now();
    result.destinations = destinationsOf(visit.forwarder, command);
    if (sendTo(visit.forwarder, command, &exception.value)) {
        result.retCode = static_cast<int>(exception.value.ret_code);
        if (exception.value.error_message != nullptr)
            result.errorMessage = exception.value.error_message;
    } else {
        result.errorMessage = "out of memory";
    }
    result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    return result;
}

bool Forwarding::isAlive(const reading::Guid& application) {
    const Visit visit(*this);
    if (visit.forwarder == nullptr || !ORX_MonitoringForwarder_lock_application_registry(visit.forwarder))
        return true; // nothing tells that it is not
    Matches matches;
    const std::string expression = "/applications/" + reading::guidText(application);
    const bool isFound = !ORX_MonitoringForwarder_find_matching_applications(
                             visit.forwarder, &matches.value, expression.c_str()) ||
                         ORX_MonitoringForwarderApplicationResourcePtrSeq_get_length(&matches.value) != 0;
    ORX_MonitoringForwarder_unlock_application_registry(visit.forwarder);
    return isFound;
}

void Forwarding::requestRegistries(const std::vector<reading::Guid>& applications) {
    constexpr std::size_t atATime = 1'000; // what a command has room for
    for (std::size_t from = 0; from < applications.size(); from += atATime) {
        api::Command command;
        command.kind = api::CommandKind::requestResourceRegistry;
        for (std::size_t i = from; i < std::min(from + atATime, applications.size()); ++i)
            command.applications.push_back("/applications/" + reading::guidText(applications[i]));
        static_cast<void>(send(command));
    }
}

} // namespace collector::run
