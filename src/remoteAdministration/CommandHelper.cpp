#include "src/remoteAdministration/CommandHelper.h"

#include "orxmonitoring2d/orx_remote_administration_support.h"
#include "src/log/Log.hpp"
#include "src/remoteAdministration/Operations.hpp"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::remoteAdministration;

// What requests and replies differ in: their plug-in functions, and texts that have never been alike.
struct RequestKind {
    using Sample = DDS_Monitoring_MonitoringService_Request;
    static constexpr auto serialize =
        DDS_Monitoring_MonitoringService_RequestPlugin_serialize_to_cdr_buffer_ex;
    static constexpr auto deserialize =
        DDS_Monitoring_MonitoringService_RequestPlugin_deserialize_from_cdr_buffer;
    static constexpr const char* name = "request";
    static constexpr const char* lengthText = "length of the serialized monitoring request.";
    static constexpr const char* serializeText = "monitoring request sample";
    static constexpr const char* deserializeText = "monitoring request sample.\n";
};
struct ReplyKind {
    using Sample = DDS_Monitoring_MonitoringService_Reply;
    static constexpr auto serialize = DDS_Monitoring_MonitoringService_ReplyPlugin_serialize_to_cdr_buffer_ex;
    static constexpr auto deserialize =
        DDS_Monitoring_MonitoringService_ReplyPlugin_deserialize_from_cdr_buffer;
    static constexpr const char* name = "reply";
    static constexpr const char* lengthText = "length of the serialized monitoring reply.\n";
    static constexpr const char* serializeText = "monitoring reply sample.\n";
    static constexpr const char* deserializeText = "monitoring reply sample.\n";
};

template <typename Kind> int toOctetSeq(DDS_OctetSeq* seq, const typename Kind::Sample* sample) {
    DDS_UnsignedLong bufferLength = 0;
    if (!Kind::serialize(nullptr, &bufferLength, sample, DDS_AUTO_DATA_REPRESENTATION))
        return ORX_ERROR(FAILED_TO_GET, "%s", Kind::lengthText);
    ORX_FAIL_IF(bufferLength > 2147483647);
    if (!DDS_OctetSeq_set_length(seq, static_cast<DDS_Long>(bufferLength))) {
        return ORX_ERROR(FAILED_TO_SET,
            "length (%u) of the octet sequence for the serialized monitoring %s.\n", bufferLength,
            Kind::name);
    }
    auto* buffer = reinterpret_cast<char*>(DDS_OctetSeq_get_contiguous_buffer(seq));
    if (!Kind::serialize(buffer, &bufferLength, sample, DDS_AUTO_DATA_REPRESENTATION))
        return ORX_ERROR(FAILED_TO_SERIALIZE, "%s", Kind::serializeText);
    return 1;
}

template <typename Kind> int fromOctetSeq(typename Kind::Sample* sample, const DDS_OctetSeq* seq) {
    const auto* buffer = reinterpret_cast<const char*>(DDS_OctetSeq_get_contiguous_buffer(seq));
    const auto length = static_cast<DDS_UnsignedLong>(DDS_OctetSeq_get_length(seq));
    // An empty sequence may be without a buffer.
    if (length == 0 || !Kind::deserialize(sample, buffer, length))
        return ORX_ERROR(FAILED_TO_DESERIALIZE, "%s", Kind::deserializeText);
    return 1;
}

} // namespace

int ORX_MonitoringCommandHelper_requestToOctetSeq(
    DDS_OctetSeq* seq, const DDS_Monitoring_MonitoringService_Request* request) {
    ORX_FAIL_IF(seq == ORX_NULL);
    ORX_FAIL_IF(request == ORX_NULL);
    return toOctetSeq<RequestKind>(seq, request);
}

int ORX_MonitoringCommandHelper_replyToOctetSeq(
    DDS_OctetSeq* seq, const DDS_Monitoring_MonitoringService_Reply* reply) {
    ORX_FAIL_IF(seq == ORX_NULL);
    ORX_FAIL_IF(reply == ORX_NULL);
    return toOctetSeq<ReplyKind>(seq, reply);
}

int ORX_MonitoringCommandHelper_octetSeqToRequest(
    DDS_Monitoring_MonitoringService_Request* request, const DDS_OctetSeq* seq) {
    ORX_FAIL_IF(request == ORX_NULL);
    ORX_FAIL_IF(seq == ORX_NULL);
    return fromOctetSeq<RequestKind>(request, seq);
}

int ORX_MonitoringCommandHelper_octetSeqToReply(
    DDS_Monitoring_MonitoringService_Reply* reply, const DDS_OctetSeq* seq) {
    ORX_FAIL_IF(reply == ORX_NULL);
    ORX_FAIL_IF(seq == ORX_NULL);
    return fromOctetSeq<ReplyKind>(reply, seq);
}

int ORX_MonitoringCommandHelper_getReplyException(
    DDS_Monitoring_MonitoringCommandError** exception, DDS_Monitoring_MonitoringService_Reply* reply) {
    ORX_FAIL_IF(exception == ORX_NULL);
    ORX_FAIL_IF(reply == ORX_NULL);
    auto& results = reply->data._u;
    switch (reply->data._d) {
    case orx::operation::set_metric_subscription_state:
        *exception = &results.set_metric_subscription_state._u.monitoringcommanderror_ex;
        return 1;
    case orx::operation::update_metric_subscription_state:
        *exception = &results.update_metric_subscription_state._u.monitoringcommanderror_ex;
        return 1;
    case orx::operation::request_resource_registry:
        *exception = &results.request_resource_registry._u.monitoringcommanderror_ex;
        return 1;
    case orx::operation::set_logging_collection_level:
        *exception = &results.set_logging_collection_level._u.monitoringcommanderror_ex;
        return 1;
    case orx::operation::set_logging_forwarding_level:
        *exception = &results.set_logging_forwarding_level._u.monitoringcommanderror_ex;
        return 1;
    default:
        return ORX_ERROR(
            FAILED_TO_PROCESS, "Unsupported Monitoring Command reply with hash %d", reply->data._d);
    }
}
