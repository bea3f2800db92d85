#include "src/entities/EntitiesHelper.h"
#include "tests/helpers/FailingHeap.hpp"
#include "tests/helpers/LogCapture.hpp"
#include "gtest/gtest.h"

namespace {

constexpr const char* topics[] = {
    ORX_MONITORING_EVENT_TOPIC_NAME, ORX_MONITORING_PERIODIC_TOPIC_NAME, ORX_MONITORING_LOGGING_TOPIC_NAME};

template <typename Qos, DDS_ReturnCode_t (*initialize)(Qos*), DDS_ReturnCode_t (*finalize)(Qos*)>
class Owned {
public:
    Owned() { initialize(&qos_); }
    ~Owned() { finalize(&qos_); }
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;
    Qos* operator->() { return &qos_; }
    Qos* get() { return &qos_; }

private:
    Qos qos_{};
};
using WriterQos = Owned<DDS_DataWriterQos, DDS_DataWriterQos_initialize, DDS_DataWriterQos_finalize>;
using ReaderQos = Owned<DDS_DataReaderQos, DDS_DataReaderQos_initialize, DDS_DataReaderQos_finalize>;

DDS_DomainParticipantFactory* factory() {
    return DDS_DomainParticipantFactory_get_instance();
}

DDS_ReliabilityQosPolicyKind reliabilityOf(const std::string& topic) {
    return topic == ORX_MONITORING_PERIODIC_TOPIC_NAME ? DDS_BEST_EFFORT_RELIABILITY_QOS
                                                       : DDS_RELIABLE_RELIABILITY_QOS;
}

void expectForced(WriterQos& qos, const std::string& topic) {
    EXPECT_EQ(qos->reliability.kind, reliabilityOf(topic)) << topic;
    EXPECT_EQ(qos->durability.kind, DDS_VOLATILE_DURABILITY_QOS);
    EXPECT_EQ(qos->history.kind, DDS_KEEP_ALL_HISTORY_QOS);
    EXPECT_EQ(qos->publish_mode.kind, DDS_ASYNCHRONOUS_PUBLISH_MODE_QOS);
    EXPECT_EQ(qos->protocol.rtps_reliable_writer.max_heartbeat_retries, DDS_LENGTH_UNLIMITED);
    EXPECT_TRUE(qos->protocol.vendor_specific_entity);
}

// A user's QoS with every forced value wrong, and others of its own.
void makeWrong(WriterQos& qos, const std::string& topic) {
    qos->reliability.kind = reliabilityOf(topic) == DDS_RELIABLE_RELIABILITY_QOS
                                ? DDS_BEST_EFFORT_RELIABILITY_QOS
                                : DDS_RELIABLE_RELIABILITY_QOS;
    qos->durability.kind = DDS_PERSISTENT_DURABILITY_QOS;
    qos->history.kind = DDS_KEEP_LAST_HISTORY_QOS;
    qos->publish_mode.kind = DDS_SYNCHRONOUS_PUBLISH_MODE_QOS;
    qos->protocol.rtps_reliable_writer.max_heartbeat_retries = 10;
    qos->protocol.vendor_specific_entity = DDS_BOOLEAN_FALSE;
    qos->resource_limits.max_samples = 77;
    qos->deadline.period = {5, 6};
    DDS_String_replace(&qos->publication_name.name, "mine");
}

TEST(EntitiesHelperQos, TheProfileGivesAWriterWithoutAWarning) {
    for (const char* topic : topics) {
        LogCapture log;
        WriterQos qos;
        ASSERT_EQ(MonitoringEntitiesHelper_getMonitoringWriterQos(qos.get(), factory(), nullptr, topic), 1);
        expectForced(qos, topic);
        EXPECT_TRUE(log.lines().empty()) << log.text();
    }
}

TEST(EntitiesHelperQos, AUsersWriterIsCorrectedWithAWarningForEachValue) {
    for (const std::string topic : topics) {
        LogCapture log;
        WriterQos input;
        makeWrong(input, topic);
        WriterQos qos;
        ASSERT_EQ(
            MonitoringEntitiesHelper_getMonitoringWriterQos(qos.get(), factory(), input.get(), topic.c_str()),
            1);
        expectForced(qos, topic);
        EXPECT_EQ(qos->resource_limits.max_samples, 77);
        EXPECT_EQ(qos->deadline.period.nanosec, 6U);
        EXPECT_STREQ(qos->publication_name.name, "mine");
        EXPECT_EQ(input->history.kind, DDS_KEEP_LAST_HISTORY_QOS); // the input stays as it was
        const std::string word = topic == ORX_MONITORING_PERIODIC_TOPIC_NAME ? "invalid" : "best effort";
        const std::string of = " Qos of the " + topic + " DataWriter must be ";
        const std::string end = ". The value in the configuration will be overwritten\n";
        for (const std::string& text : {"The reliability kind" + of + "'" + word + "'" + end,
                 "The durability kind" + of + "volatile" + end, "The history kind" + of + "'KEEP_ALL'" + end,
                 "The publish mode kind" + of + "'DDS_ASYNCHRONOUS_PUBLISH_MODE_QOS'" + end,
                 "The protocol rtps reliable writer max heartbeat retries" + of +
                     "DDS_LENGTH_UNLIMITED.The value (10) in the configuration will be overwritten"}) {
            EXPECT_TRUE(log.has(text, "INCONSISTENT_QOS")) << text << "\n" << log.text();
        }
        EXPECT_EQ(log.lines().size(), 5U) << log.text();
        EXPECT_EQ(log.countLevel(ORX_LOG_BIT_WARNING), 5U);
    }
}

TEST(EntitiesHelperQos, AUsersWriterThatIsRightHasNoWarning) {
    LogCapture log;
    WriterQos input;
    input->reliability.kind = DDS_RELIABLE_RELIABILITY_QOS;
    input->history.kind = DDS_KEEP_ALL_HISTORY_QOS;
    input->publish_mode.kind = DDS_ASYNCHRONOUS_PUBLISH_MODE_QOS;
    input->protocol.rtps_reliable_writer.max_heartbeat_retries = DDS_LENGTH_UNLIMITED;
    WriterQos qos;
    ASSERT_EQ(MonitoringEntitiesHelper_getMonitoringWriterQos(
                  qos.get(), factory(), input.get(), ORX_MONITORING_EVENT_TOPIC_NAME),
        1);
    EXPECT_TRUE(log.lines().empty()) << log.text();
    EXPECT_TRUE(qos->protocol.vendor_specific_entity);
}

TEST(EntitiesHelperQos, TheProfileGivesAReaderWithoutAWarning) {
    for (const char* topic : topics) {
        LogCapture log;
        ReaderQos qos;
        ASSERT_EQ(MonitoringEntitiesHelper_getMonitoringReaderQos(qos.get(), factory(), nullptr, topic), 1);
        EXPECT_EQ(qos->reliability.kind, reliabilityOf(topic)) << topic;
        EXPECT_EQ(qos->durability.kind, DDS_VOLATILE_DURABILITY_QOS);
        EXPECT_EQ(qos->history.kind, DDS_KEEP_ALL_HISTORY_QOS);
        EXPECT_TRUE(qos->protocol.vendor_specific_entity);
        EXPECT_TRUE(log.lines().empty()) << log.text();
    }
}

TEST(EntitiesHelperQos, AUsersReaderIsCorrectedWithAWarningForEachValue) {
    for (const std::string topic : topics) {
        LogCapture log;
        ReaderQos input;
        input->reliability.kind = reliabilityOf(topic) == DDS_RELIABLE_RELIABILITY_QOS
                                      ? DDS_BEST_EFFORT_RELIABILITY_QOS
                                      : DDS_RELIABLE_RELIABILITY_QOS;
        input->durability.kind = DDS_TRANSIENT_LOCAL_DURABILITY_QOS;
        input->history.kind = DDS_KEEP_LAST_HISTORY_QOS;
        input->resource_limits.max_samples = 55;
        ReaderQos qos;
        ASSERT_EQ(
            MonitoringEntitiesHelper_getMonitoringReaderQos(qos.get(), factory(), input.get(), topic.c_str()),
            1);
        EXPECT_EQ(qos->reliability.kind, reliabilityOf(topic));
        EXPECT_EQ(qos->durability.kind, DDS_VOLATILE_DURABILITY_QOS);
        EXPECT_EQ(qos->history.kind, DDS_KEEP_ALL_HISTORY_QOS);
        EXPECT_EQ(qos->resource_limits.max_samples, 55);
        EXPECT_TRUE(qos->protocol.vendor_specific_entity);
        const std::string word = topic == ORX_MONITORING_PERIODIC_TOPIC_NAME ? "invalid" : "best effort";
        const std::string of = " Qos of the " + topic + " DataReader must be ";
        const std::string end = ". The value in the configuration will be overwritten\n";
        for (const std::string& text : {"The reliability kind" + of + "'" + word + "'" + end,
                 "The durability kind" + of + "volatile" + end,
                 "The history kind" + of + "'KEEP_ALL'" + end}) {
            EXPECT_TRUE(log.has(text, "INCONSISTENT_QOS")) << text << "\n" << log.text();
        }
        EXPECT_EQ(log.lines().size(), 3U) << log.text();
    }
}

TEST(EntitiesHelperQos, ACopyThatFailsIsReported) {
    LogCapture log;
    FailingHeap heap;
    WriterQos input;
    makeWrong(input, ORX_MONITORING_EVENT_TOPIC_NAME);
    WriterQos qos;
    heap.failAt(1);
    EXPECT_EQ(MonitoringEntitiesHelper_getMonitoringWriterQos(
                  qos.get(), factory(), input.get(), ORX_MONITORING_EVENT_TOPIC_NAME),
        0);
    EXPECT_TRUE(log.has("Monitoring DCPSEventStatusMonitoring dataWriter QoS\n", "FAILED_TO_COPY"))
        << log.text();
    ReaderQos readerInput;
    DDS_String_replace(&readerInput->subscription_name.name, "mine");
    ReaderQos reader;
    heap.failAt(1);
    EXPECT_EQ(MonitoringEntitiesHelper_getMonitoringReaderQos(
                  reader.get(), factory(), readerInput.get(), ORX_MONITORING_EVENT_TOPIC_NAME),
        0);
    EXPECT_TRUE(log.has("Monitoring DCPSEventStatusMonitoring DataReader QoS\n", "FAILED_TO_COPY"))
        << log.text();
    heap.failNoMore();
}

TEST(EntitiesHelperQos, ArgumentsAreChecked) {
    LogCapture log;
    WriterQos writer;
    ReaderQos reader;
    EXPECT_EQ(MonitoringEntitiesHelper_getMonitoringWriterQos(nullptr, factory(), nullptr, "t"), 0);
    EXPECT_TRUE(log.has("\"outputWriterQos == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_EQ(MonitoringEntitiesHelper_getMonitoringWriterQos(writer.get(), nullptr, nullptr, "t"), 0);
    EXPECT_TRUE(log.has("\"factory == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_EQ(MonitoringEntitiesHelper_getMonitoringWriterQos(writer.get(), factory(), nullptr, nullptr), 0);
    EXPECT_TRUE(log.has("\"topicName == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_EQ(MonitoringEntitiesHelper_getMonitoringReaderQos(nullptr, factory(), nullptr, "t"), 0);
    EXPECT_TRUE(log.has("\"outputReaderQos == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_EQ(MonitoringEntitiesHelper_getMonitoringReaderQos(reader.get(), nullptr, nullptr, "t"), 0);
    EXPECT_EQ(MonitoringEntitiesHelper_getMonitoringReaderQos(reader.get(), factory(), nullptr, nullptr), 0);
}

} // namespace
