// Requests of orx-send as applications decode them.
#include "send/Request.hpp"

#include "orxmonitoring2d/orx_remote_administration_support.h"
#include "gtest/gtest.h"

namespace {

struct Request {
    Request() { DDS_Monitoring_MonitoringService_Request_initialize(&sample); }
    ~Request() { DDS_Monitoring_MonitoringService_Request_finalize(&sample); }
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;
    bool read(const std::vector<std::uint8_t>& bytes) {
        return DDS_Monitoring_MonitoringService_RequestTypeSupport_deserialize_data_from_cdr_buffer(&sample,
                   reinterpret_cast<const char*>(bytes.data()),
                   static_cast<DDS_UnsignedLong>(bytes.size())) == DDS_RETCODE_OK;
    }
    DDS_Monitoring_MonitoringService_Request sample{};
};

TEST(SendRequest, EveryOperationIsEncodedAsItself) {
    const send::Selector selector{"//topics/*", {"dds_*"}, {}, {{22, 63}}};
    for (const send::Operation& operation : send::operations()) {
        Request request;
        ASSERT_TRUE(request.read(send::encodeRequest(operation, {selector, selector}))) << operation.name;
        EXPECT_EQ(request.sample.data._d, operation.hash) << operation.name;
    }
}

TEST(SendRequest, SelectorsArriveWhole) {
    Request request;
    const send::Selector selector{"//topics/*", {"a", "b"}, {"c"}, {}};
    ASSERT_TRUE(request.read(
        send::encodeRequest(*send::findOperation("update_metric_subscription_state"), {selector})));
    const auto& metrics = request.sample.data._u.update_metric_subscription_state.metrics;
    ASSERT_EQ(DDS_Monitoring_MetricSelectorSeq_get_length(&metrics), 1);
    const auto* element = DDS_Monitoring_MetricSelectorSeq_get_reference(&metrics, 0);
    EXPECT_STREQ(element->resource_selector, "//topics/*");
    ASSERT_EQ(DDS_StringSeq_get_length(&element->subscribe_metric_selector), 2);
    EXPECT_STREQ(DDS_StringSeq_get(&element->subscribe_metric_selector, 1), "b");
    ASSERT_EQ(DDS_StringSeq_get_length(&element->unsubscribe_metric_selector), 1);
    EXPECT_STREQ(DDS_StringSeq_get(&element->unsubscribe_metric_selector, 0), "c");
}

TEST(SendRequest, WhatIsTooLongForTheChannelIsNotEncoded) {
    std::vector<send::Selector> selectors(300, {std::string(1000, 'a'), {}, {}, {}});
    EXPECT_TRUE(send::encodeRequest(*send::findOperation("request_resource_registry"), selectors).empty());
}

TEST(SendRequest, GarbageIsNoReply) {
    const std::uint8_t garbage[] = {0, 9, 0, 0, 255, 255, 255, 255, 1, 2, 3};
    EXPECT_FALSE(send::decodeReply(garbage, sizeof garbage));
    EXPECT_FALSE(send::decodeReply(nullptr, 0));
}

} // namespace
