#include "send/Request.hpp"

#include "orxmonitoring2d/orx_remote_administration_support.h"
#include "reading/Sequences.hpp"
#include "zddsc/service_request.h"

namespace send {

namespace {

struct Request {
    Request() { isValid = DDS_Monitoring_MonitoringService_Request_initialize(&sample) != 0; }
    ~Request() { DDS_Monitoring_MonitoringService_Request_finalize(&sample); }
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;
    DDS_Monitoring_MonitoringService_Request sample{};
    bool isValid;
};
struct Reply {
    Reply() { isValid = DDS_Monitoring_MonitoringService_Reply_initialize(&sample) != 0; }
    ~Reply() { DDS_Monitoring_MonitoringService_Reply_finalize(&sample); }
    Reply(const Reply&) = delete;
    Reply& operator=(const Reply&) = delete;
    DDS_Monitoring_MonitoringService_Reply sample{};
    bool isValid;
};

using Selectors = std::vector<Selector>;

using reading::fill;
using reading::fillEach;

bool fill(DDS_StringSeq& sequence, const Selectors& selectors) {
    return fillEach<DDS_StringSeq_ensure_length, DDS_StringSeq_get_reference>(sequence, selectors,
        [](char*& element, const Selector& selector) { return fill(element, selector.expression); });
}

bool fill(DDS_Monitoring_MetricSelectorSeq& sequence, const Selectors& selectors) {
    return fillEach<DDS_Monitoring_MetricSelectorSeq_ensure_length,
        DDS_Monitoring_MetricSelectorSeq_get_reference>(
        sequence, selectors, [](DDS_Monitoring_MetricSelector& element, const Selector& selector) {
            return fill(element.resource_selector, selector.expression) &&
                   fill(element.subscribe_metric_selector, selector.enabled) &&
                   fill(element.unsubscribe_metric_selector, selector.disabled);
        });
}

bool fill(DDS_Monitoring_MetricGroupSelectorSeq& sequence, const Selectors& selectors) {
    return fillEach<DDS_Monitoring_MetricGroupSelectorSeq_ensure_length,
        DDS_Monitoring_MetricGroupSelectorSeq_get_reference>(
        sequence, selectors, [](DDS_Monitoring_MetricGroupSelector& element, const Selector& selector) {
            return fill(element.resource_selector, selector.expression) &&
                   fill(element.metric_group_selector, selector.enabled);
        });
}

bool fill(DDS_Monitoring_LoggingSettingSeq& sequence, const std::vector<Level>& levels) {
    return fillEach<DDS_Monitoring_LoggingSettingSeq_ensure_length,
        DDS_Monitoring_LoggingSettingSeq_get_reference>(
        sequence, levels, [](DDS_Monitoring_LoggingSetting& element, const Level& level) {
            element.facility = level.facility;
            element.verbosity = static_cast<DDS_Monitoring_SyslogVerbosity>(level.verbosity);
            return true;
        });
}

bool fill(DDS_Monitoring_LoggingGroupSeq& sequence, const Selectors& selectors) {
    return fillEach<DDS_Monitoring_LoggingGroupSeq_ensure_length,
        DDS_Monitoring_LoggingGroupSeq_get_reference>(
        sequence, selectors, [](DDS_Monitoring_LoggingGroup& element, const Selector& selector) {
            return fill(element.application_selector, selector.expression) &&
                   fill(element.logging_settings, selector.levels);
        });
}

// An operation by its hash, for the two switches below.
#define SEND_IF_(name) if (hash == findOperation(#name)->hash)

bool fillCall(DDS_Monitoring_MonitoringService_Call& call, std::int32_t hash, const Selectors& selectors) {
    auto& in = call._u;
    call._d = hash;
    SEND_IF_(set_metric_subscription_state) return fill(in.set_metric_subscription_state.metrics, selectors);
    SEND_IF_(update_metric_subscription_state)
    return fill(in.update_metric_subscription_state.metrics, selectors);
    SEND_IF_(set_logging_collection_level)
    return fill(in.set_logging_collection_level.logging_groups, selectors);
    SEND_IF_(set_logging_forwarding_level)
    return fill(in.set_logging_forwarding_level.logging_groups, selectors);
    SEND_IF_(request_resource_registry) return fill(in.request_resource_registry.applications, selectors);
    SEND_IF_(subscribe) return fill(in.subscribe.metric_groups, selectors);
    SEND_IF_(unsubscribe) return fill(in.unsubscribe.metric_groups, selectors);
    SEND_IF_(request_snapshot) return fill(in.request_snapshot.metric_groups, selectors);
    SEND_IF_(request_logging_snapshot) return fill(in.request_logging_snapshot.applications, selectors);
    SEND_IF_(request_event_subscription_snapshot)
    return fill(in.request_event_subscription_snapshot.applications, selectors);
    SEND_IF_(pause_subscription) return fill(in.pause_subscription.resources, selectors);
    SEND_IF_(resume_subscription) return fill(in.resume_subscription.resources, selectors);
    return false;
}

// Whichever arm a result has selected, its error stands beside it.
const DDS_Monitoring_MonitoringCommandError* errorOf(
    const DDS_Monitoring_MonitoringService_Return& data, std::int32_t hash) {
    const auto& out = data._u;
    SEND_IF_(set_metric_subscription_state)
    return &out.set_metric_subscription_state._u.monitoringcommanderror_ex;
    SEND_IF_(update_metric_subscription_state)
    return &out.update_metric_subscription_state._u.monitoringcommanderror_ex;
    SEND_IF_(set_logging_collection_level)
    return &out.set_logging_collection_level._u.monitoringcommanderror_ex;
    SEND_IF_(set_logging_forwarding_level)
    return &out.set_logging_forwarding_level._u.monitoringcommanderror_ex;
    SEND_IF_(request_resource_registry) return &out.request_resource_registry._u.monitoringcommanderror_ex;
    SEND_IF_(subscribe) return &out.subscribe._u.monitoringcommanderror_ex;
    SEND_IF_(unsubscribe) return &out.unsubscribe._u.monitoringcommanderror_ex;
    SEND_IF_(request_snapshot) return &out.request_snapshot._u.monitoringcommanderror_ex;
    SEND_IF_(request_logging_snapshot) return &out.request_logging_snapshot._u.monitoringcommanderror_ex;
    return nullptr;
}

#undef SEND_IF_

} // namespace

std::vector<std::uint8_t> encodeRequest(const Operation& operation, const std::vector<Selector>& selectors) {
    Request request;
    if (!request.isValid || !fillCall(request.sample.data, operation.hash, selectors))
        return {};
    DDS_UnsignedLong length = 0;
    if (DDS_Monitoring_MonitoringService_RequestTypeSupport_serialize_data_to_cdr_buffer(
            nullptr, &length, &request.sample) != DDS_RETCODE_OK ||
        length > DDS_SERVICE_REQUEST_MAX_BODY_BYTESI)
        return {};
    std::vector<std::uint8_t> bytes(length);
    if (DDS_Monitoring_MonitoringService_RequestTypeSupport_serialize_data_to_cdr_buffer(
            reinterpret_cast<char*>(bytes.data()), &length, &request.sample) != DDS_RETCODE_OK)
        return {};
    bytes.resize(length);
    return bytes;
}

std::optional<Result> decodeReply(const std::uint8_t* bytes, std::size_t size) {
    Reply reply;
    if (!reply.isValid || size == 0 ||
        DDS_Monitoring_MonitoringService_ReplyTypeSupport_deserialize_data_from_cdr_buffer(&reply.sample,
            reinterpret_cast<const char*>(bytes), static_cast<DDS_UnsignedLong>(size)) != DDS_RETCODE_OK)
        return std::nullopt;
    const auto* error = errorOf(reply.sample.data, reply.sample.data._d);
    if (error == nullptr)
        return std::nullopt;
    return Result{
        reply.sample.data._d, error->ret_code, error->error_message != nullptr ? error->error_message : ""};
}

} // namespace send
