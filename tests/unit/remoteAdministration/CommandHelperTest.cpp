// Requests and replies as bytes, and the error inside a reply.
#include <cstring>
#include <vector>

#include "orxmonitoring2d/orx_remote_administration_support.h"
#include "orxmonitoring2d/schema_types.h"
#include "src/remoteAdministration/CommandHelper.h"
#include "src/remoteAdministration/Operations.hpp"
#include "tests/helpers/FailingHeap.hpp"
#include "tests/helpers/LogCapture.hpp"
#include "zddsc/type_engine.h"
#include "gtest/gtest.h"

namespace {

namespace operation = orx::operation;

struct Request : DDS_Monitoring_MonitoringService_Request {
    Request() : DDS_Monitoring_MonitoringService_Request{} {
        DDS_Monitoring_MonitoringService_Request_initialize(this);
    }
    ~Request() { DDS_Monitoring_MonitoringService_Request_finalize(this); }
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;
};
struct Reply : DDS_Monitoring_MonitoringService_Reply {
    Reply() : DDS_Monitoring_MonitoringService_Reply{} {
        DDS_Monitoring_MonitoringService_Reply_initialize(this);
    }
    ~Reply() { DDS_Monitoring_MonitoringService_Reply_finalize(this); }
    Reply(const Reply&) = delete;
    Reply& operator=(const Reply&) = delete;
};
struct Octets : DDS_OctetSeq {
    Octets() : DDS_OctetSeq{} {}
    ~Octets() { DDS_OctetSeq_finalize(this); }
    Octets(const Octets&) = delete;
    Octets& operator=(const Octets&) = delete;
    DDS_Long length() const { return DDS_OctetSeq_get_length(this); }
    const DDS_Octet* bytes() const { return DDS_OctetSeq_get_contiguous_buffer(this); }
};

bool equals(const Reply& left, const Reply& right) {
    return DDS_Type_equals(&DDS_Monitoring_MonitoringService_Reply_g_type, &left, &right) != 0;
}

TEST(CommandHelper, AnEmptyReplySerializesAndReadsBackAsEqual) {
    Reply reply, back;
    Octets bytes;
    back.data._d = operation::subscribe;
    ASSERT_TRUE(ORX_MonitoringCommandHelper_replyToOctetSeq(&bytes, &reply));
    ASSERT_TRUE(ORX_MonitoringCommandHelper_octetSeqToReply(&back, &bytes));
    EXPECT_TRUE(equals(reply, back));
    EXPECT_EQ(back.data._d, operation::request_logging_snapshot) << "the lowest label is the default";
}

TEST(CommandHelper, AReplyTravelsInTheExceptionArmThatNobodySelected) {
    Reply reply, back;
    Octets bytes;
    reply.data._d = operation::request_resource_registry;
    auto& error = reply.data._u.request_resource_registry._u.monitoringcommanderror_ex;
    error.ret_code = DDS_MONITORING_COMMAND_NO_RESOURCE_FOUND_ERROR;
    ASSERT_TRUE(ORX_MonitoringCommandHelper_replyToOctetSeq(&bytes, &reply));
    ASSERT_TRUE(ORX_MonitoringCommandHelper_octetSeqToReply(&back, &bytes));
    EXPECT_EQ(back.data._u.request_resource_registry._d, -993880232);
    DDS_Monitoring_MonitoringCommandError* exception = nullptr;
    ASSERT_TRUE(ORX_MonitoringCommandHelper_getReplyException(&exception, &back));
    EXPECT_EQ(exception->ret_code, DDS_MONITORING_COMMAND_NO_RESOURCE_FOUND_ERROR);
    EXPECT_STREQ(exception->error_message, "");
}

TEST(CommandHelper, ARequestKeepsItsEpochAs64Bits) {
    Request request, back;
    Octets bytes;
    request.data._d = operation::request_event_subscription_snapshot;
    request.data._u.request_event_subscription_snapshot.LastReceivedEpoch = 0xFEDCBA9876543210ULL;
    ASSERT_TRUE(ORX_MonitoringCommandHelper_requestToOctetSeq(&bytes, &request));
    ASSERT_TRUE(ORX_MonitoringCommandHelper_octetSeqToRequest(&back, &bytes));
    EXPECT_EQ(back.data._u.request_event_subscription_snapshot.LastReceivedEpoch, 0xFEDCBA9876543210ULL);
}

TEST(CommandHelper, BytesBeginWithTheNativeEncapsulationAndAreTheWholeSample) {
    Request request;
    Octets bytes;
    ASSERT_TRUE(ORX_MonitoringCommandHelper_requestToOctetSeq(&bytes, &request));
    DDS_UnsignedLong length = 0;
    ASSERT_TRUE(
        DDS_Monitoring_MonitoringService_RequestPlugin_serialize_to_cdr_buffer(nullptr, &length, &request));
    EXPECT_EQ(static_cast<DDS_UnsignedLong>(bytes.length()), length);
    const auto expected = DDS_TypeCode_get_native_encapsulation(
        &DDS_Monitoring_MonitoringService_Request_g_type, DDS_AUTO_DATA_REPRESENTATION);
    EXPECT_EQ(bytes.bytes()[0] << 8 | bytes.bytes()[1], expected);
}

TEST(CommandHelper, EveryServedOperationHasItsException) {
    Reply reply;
    auto& results = reply.data._u;
    const struct {
        DDS_Long hash;
        DDS_Monitoring_MonitoringCommandError* error;
    } served[] = {
        {static_cast<DDS_Long>(0xF4EA93FB),
            &results.set_metric_subscription_state._u.monitoringcommanderror_ex},
        {static_cast<DDS_Long>(0x95DC081B),
            &results.update_metric_subscription_state._u.monitoringcommanderror_ex},
        {static_cast<DDS_Long>(0x1EF2237E), &results.request_resource_registry._u.monitoringcommanderror_ex},
        {static_cast<DDS_Long>(0x9D01AF1C),
            &results.set_logging_collection_level._u.monitoringcommanderror_ex},
        {static_cast<DDS_Long>(0xE22A4431),
            &results.set_logging_forwarding_level._u.monitoringcommanderror_ex},
    };
    for (const auto& each : served) {
        reply.data._d = each.hash;
        DDS_Monitoring_MonitoringCommandError* exception = nullptr;
        EXPECT_TRUE(ORX_MonitoringCommandHelper_getReplyException(&exception, &reply));
        EXPECT_EQ(exception, each.error) << each.hash;
    }
}

TEST(CommandHelper, NoOtherOperationHasAnException) {
    for (const DDS_Long hash : {operation::request_snapshot, operation::subscribe, operation::unsubscribe,
             operation::request_logging_snapshot, operation::pause_subscription, DDS_Long{0}}) {
        LogCapture log;
        Reply reply;
        reply.data._d = hash;
        DDS_Monitoring_MonitoringCommandError untouched{};
        auto* exception = &untouched;
        EXPECT_FALSE(ORX_MonitoringCommandHelper_getReplyException(&exception, &reply));
        EXPECT_EQ(exception, &untouched);
        EXPECT_TRUE(log.has(
            "Unsupported Monitoring Command reply with hash " + std::to_string(hash), "FAILED_TO_PROCESS"))
            << log.text();
    }
}

// The bytes of each sample, less their last ones. Padding may be missing: it is nothing of the sample.
template <typename Sample>
void expectTruncationsRefused(const Octets& bytes, int (*read)(Sample* sample, const DDS_OctetSeq* seq),
    Sample& into, const char* subject) {
    const DDS_Long padding = bytes.bytes()[3] & 3;
    for (DDS_Long length = 0; length < bytes.length() - padding; ++length) {
        LogCapture log;
        // A copy of just the size, so that the sanitizer sees a read beyond it.
        std::vector<DDS_Octet> cut(bytes.bytes(), bytes.bytes() + length);
        DDS_OctetSeq loan{};
        if (length > 0) {
            ASSERT_TRUE(DDS_OctetSeq_loan_contiguous(&loan, cut.data(), length, length));
        }
        EXPECT_FALSE(read(&into, &loan)) << length;
        EXPECT_TRUE(log.has(subject, "FAILED_TO_DESERIALIZE")) << length;
    }
}

TEST(CommandHelper, RefusesEveryTruncation) {
    Request request, into;
    Octets bytes;
    request.data._d = operation::set_logging_collection_level;
    auto& groups = request.data._u.set_logging_collection_level.logging_groups;
    ASSERT_TRUE(DDS_Monitoring_LoggingGroupSeq_ensure_length(&groups, 2, 2));
    for (DDS_Long i = 0; i < 2; ++i) {
        auto* group = DDS_Monitoring_LoggingGroupSeq_get_reference(&groups, i);
        DDS_String_replace(&group->application_selector, "//applications/some");
        DDS_Monitoring_LoggingSettingSeq_ensure_length(&group->logging_settings, 3, 3);
    }
    ASSERT_TRUE(ORX_MonitoringCommandHelper_requestToOctetSeq(&bytes, &request));
    expectTruncationsRefused<DDS_Monitoring_MonitoringService_Request>(
        bytes, ORX_MonitoringCommandHelper_octetSeqToRequest, into, "monitoring request sample.\n");

    Reply reply, intoReply;
    reply.data._d = operation::set_logging_collection_level;
    DDS_String_replace(
        &reply.data._u.set_logging_collection_level._u.monitoringcommanderror_ex.error_message, "message");
    ASSERT_TRUE(ORX_MonitoringCommandHelper_replyToOctetSeq(&bytes, &reply));
    expectTruncationsRefused<DDS_Monitoring_MonitoringService_Reply>(
        bytes, ORX_MonitoringCommandHelper_octetSeqToReply, intoReply, "monitoring reply sample.\n");
}

TEST(CommandHelper, RefusesNulls) {
    LogCapture log;
    Request request;
    Reply reply;
    Octets bytes;
    DDS_Monitoring_MonitoringCommandError* exception = nullptr;
    EXPECT_FALSE(ORX_MonitoringCommandHelper_requestToOctetSeq(nullptr, &request));
    EXPECT_FALSE(ORX_MonitoringCommandHelper_requestToOctetSeq(&bytes, nullptr));
    EXPECT_FALSE(ORX_MonitoringCommandHelper_replyToOctetSeq(nullptr, &reply));
    EXPECT_FALSE(ORX_MonitoringCommandHelper_replyToOctetSeq(&bytes, nullptr));
    EXPECT_FALSE(ORX_MonitoringCommandHelper_octetSeqToRequest(nullptr, &bytes));
    EXPECT_FALSE(ORX_MonitoringCommandHelper_octetSeqToRequest(&request, nullptr));
    EXPECT_FALSE(ORX_MonitoringCommandHelper_octetSeqToReply(nullptr, &bytes));
    EXPECT_FALSE(ORX_MonitoringCommandHelper_octetSeqToReply(&reply, nullptr));
    EXPECT_FALSE(ORX_MonitoringCommandHelper_getReplyException(nullptr, &reply));
    EXPECT_FALSE(ORX_MonitoringCommandHelper_getReplyException(&exception, nullptr));
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_PRECONDITION), 10U) << log.text();
}

TEST(CommandHelper, TellsThatThereIsNoRoomForTheBytes) {
    Reply reply;
    Request request;
    Octets bytes;
    LogCapture log;
    FailingHeap heap;
    heap.failAt(1, UINT64_MAX);
    EXPECT_FALSE(ORX_MonitoringCommandHelper_replyToOctetSeq(&bytes, &reply));
    EXPECT_FALSE(ORX_MonitoringCommandHelper_requestToOctetSeq(&bytes, &request));
    heap.failNoMore();
    for (const char* kind : {"reply", "request"}) {
        const auto lines = log.lines();
        const std::string end =
            std::string(") of the octet sequence for the serialized monitoring ") + kind + ".\n";
        EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [&](const LogCapture::Line& line) {
            return line.identifier == "FAILED_TO_SET" && line.subject.starts_with("length (") &&
                   line.subject.ends_with(end);
        })) << log.text();
    }
}

} // namespace
