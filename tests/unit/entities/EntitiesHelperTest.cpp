#include "src/entities/EntitiesHelper.h"

#include <set>
#include <string>

#include "tests/helpers/FailingHeap.hpp"
#include "tests/helpers/LogCapture.hpp"
#include "tests/unit/entities/Loopback.hpp"
#include "gtest/gtest.h"

namespace {

constexpr char eventTopic[] = ORX_MONITORING_EVENT_TOPIC_NAME;
constexpr char eventType[] = ORX_MONITORING_EVENT_TYPE_NAME;

class EntitiesHelperTest : public testing::Test {
protected:
    EntitiesHelperTest() {
        DDS_PublisherQos_initialize(&publisherQos);
        DDS_SubscriberQos_initialize(&subscriberQos);
        DDS_DataWriterQos_initialize(&writerQos);
        DDS_DataReaderQos_initialize(&readerQos);
        MonitoringEntitiesHelper_getMonitoringWriterQos(&writerQos, loopback.factory(), nullptr, eventTopic);
        MonitoringEntitiesHelper_getMonitoringReaderQos(&readerQos, loopback.factory(), nullptr, eventTopic);
        participant = loopback.newParticipant(0);
    }
    ~EntitiesHelperTest() override {
        EXPECT_TRUE(loopback.deleteParticipant(participant)) << "an entity was left behind";
        EXPECT_EQ(loopback.engine.liveObjects(), 0);
        DDS_PublisherQos_finalize(&publisherQos);
        DDS_SubscriberQos_finalize(&subscriberQos);
        DDS_DataWriterQos_finalize(&writerQos);
        DDS_DataReaderQos_finalize(&readerQos);
    }

    int assertPublisher(const char* topicName = eventTopic, const char* typeName = eventType) {
        return MonitoringEntitiesHelper_assertPublisherEntities(
            &publisher, &topic, &writer, participant, &publisherQos, &writerQos, topicName, typeName);
    }
    int assertSubscriber(
        DDS_DataReader** cache, const char* topicName = eventTopic, const char* typeName = eventType) {
        return MonitoringEntitiesHelper_assertSubscriberEntities(&subscriber, &topic, &reader, cache,
            participant, &subscriberQos, &readerQos, topicName, typeName);
    }
    // As a caller may leave them.
    void spoilOutputs() {
        publisher = reinterpret_cast<DDS_Publisher*>(this);
        subscriber = reinterpret_cast<DDS_Subscriber*>(this);
        topic = reinterpret_cast<DDS_Topic*>(this);
        writer = reinterpret_cast<DDS_DataWriter*>(this);
        reader = cacheReader = reinterpret_cast<DDS_DataReader*>(this);
    }

    Loopback loopback;
    LogCapture log;
    DDS_PublisherQos publisherQos{};
    DDS_SubscriberQos subscriberQos{};
    DDS_DataWriterQos writerQos{};
    DDS_DataReaderQos readerQos{};
    DDS_DomainParticipant* participant = nullptr;
    DDS_Publisher* publisher = nullptr;
    DDS_Subscriber* subscriber = nullptr;
    DDS_Topic* topic = nullptr;
    DDS_DataWriter* writer = nullptr;
    DDS_DataReader* reader = nullptr;
    DDS_DataReader* cacheReader = nullptr;
};

TEST_F(EntitiesHelperTest, AssertsATopicOfEachType) {
    constexpr const char* names[][2] = {{ORX_MONITORING_EVENT_TOPIC_NAME, ORX_MONITORING_EVENT_TYPE_NAME},
        {ORX_MONITORING_PERIODIC_TOPIC_NAME, ORX_MONITORING_PERIODIC_TYPE_NAME},
        {ORX_MONITORING_LOGGING_TOPIC_NAME, ORX_MONITORING_LOGGING_TYPE_NAME}};
    for (const auto& name : names) {
        ASSERT_EQ(MonitoringEntitiesHelper_assertMonitoringTopic(&topic, participant, name[0], name[1]), 1);
        EXPECT_STREQ(DDS_TopicDescription_get_name(DDS_Topic_as_topicdescription(topic)), name[0]);
        EXPECT_STREQ(DDS_TopicDescription_get_type_name(DDS_Topic_as_topicdescription(topic)), name[1]);
        EXPECT_EQ(MonitoringEntitiesHelper_deleteMonitoringTopic(topic, participant), 1);
    }
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(EntitiesHelperTest, AnUnknownTypeIsAPreconditionFailure) {
    spoilOutputs();
    EXPECT_EQ(
        MonitoringEntitiesHelper_assertMonitoringTopic(&topic, participant, eventTopic, "another::Type"), 0);
    EXPECT_EQ(topic, nullptr);
    EXPECT_TRUE(log.has("\n", "PRECONDITION")) << log.text();
    EXPECT_TRUE(log.has("Monitoring type 'another::Type'\n", "FAILED_TO_REGISTER"));
    EXPECT_TRUE(log.has("\"topic == ((void *)0)\"\n", "PRECONDITION"));
}

TEST_F(EntitiesHelperTest, AssertsAndDeletesPublisherEntities) {
    ASSERT_EQ(assertPublisher(), 1);
    EXPECT_EQ(DDS_DataWriter_get_topic(writer), topic);
    EXPECT_EQ(DDS_DataWriter_get_publisher(writer), publisher);
    EXPECT_EQ(MonitoringEntitiesHelper_deletePublisherEntities(publisher, topic, participant), 1);
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(EntitiesHelperTest, AFailedTopicLeavesNoPublisher) {
    spoilOutputs();
    EXPECT_EQ(assertPublisher(eventTopic, "another::Type"), 0);
    EXPECT_EQ(publisher, nullptr);
    EXPECT_EQ(topic, nullptr);
    EXPECT_EQ(writer, nullptr);
    EXPECT_TRUE(
        log.has("Monitoring Topic DCPSEventStatusMonitoring with type another::Type\n", "FAILED_TO_DELETE"))
        << log.text();
}

TEST_F(EntitiesHelperTest, AFailedWriterLeavesNothing) {
    loopback.engine.failAt(1);
    spoilOutputs();
    EXPECT_EQ(assertPublisher(), 0);
    EXPECT_EQ(publisher, nullptr);
    EXPECT_EQ(topic, nullptr);
    EXPECT_EQ(writer, nullptr);
    EXPECT_TRUE(log.has("Monitoring Library DataWriter for DCPSEventStatusMonitoring\n", "FAILED_TO_CREATE"))
        << log.text();
}

TEST_F(EntitiesHelperTest, WithoutACacheThereIsOneReader) {
    ASSERT_EQ(assertSubscriber(nullptr), 1);
    EXPECT_EQ(loopback.engine.liveObjects(), 2);
    EXPECT_EQ(MonitoringEntitiesHelper_deleteSubscriberEntities(subscriber, topic, participant), 1);
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(EntitiesHelperTest, TheCacheReaderIsOfTheSameSubscriberAndMatchesNobody) {
    readerQos.resource_limits.max_samples = 3;
    ASSERT_EQ(assertSubscriber(&cacheReader), 1);
    ASSERT_NE(cacheReader, nullptr);
    EXPECT_NE(cacheReader, reader);
    EXPECT_EQ(DDS_DataReader_get_topicdescription(cacheReader), DDS_Topic_as_topicdescription(topic));
    DDS_DomainParticipant* other = loopback.newParticipant(0);
    DDS_Topic* otherTopic = nullptr;
    ASSERT_EQ(MonitoringEntitiesHelper_assertPublisherEntities(
                  &publisher, &otherTopic, &writer, other, &publisherQos, &writerQos, eventTopic, eventType),
        1);
    DDS_SubscriptionMatchedStatus status{};
    ASSERT_EQ(DDS_DataReader_get_subscription_matched_status(reader, &status), DDS_RETCODE_OK);
    EXPECT_EQ(status.current_count, 1);
    ASSERT_EQ(DDS_DataReader_get_subscription_matched_status(cacheReader, &status), DDS_RETCODE_OK);
    EXPECT_EQ(status.current_count, 0);
    EXPECT_EQ(MonitoringEntitiesHelper_deletePublisherEntities(publisher, otherTopic, other), 1);
    EXPECT_TRUE(loopback.deleteParticipant(other));
    // Deleting what the subscriber contains takes both.
    EXPECT_EQ(MonitoringEntitiesHelper_deleteSubscriberEntities(subscriber, topic, participant), 1);
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(EntitiesHelperTest, AFailedTopicLeavesNoSubscriber) {
    spoilOutputs();
    EXPECT_EQ(assertSubscriber(&cacheReader, eventTopic, "another::Type"), 0);
    EXPECT_EQ(subscriber, nullptr);
    EXPECT_EQ(topic, nullptr);
    EXPECT_EQ(reader, nullptr);
    EXPECT_EQ(cacheReader, nullptr);
    EXPECT_TRUE(
        log.has("Monitoring Topic DCPSEventStatusMonitoring with type another::Type\n", "FAILED_TO_CREATE"))
        << log.text();
}

TEST_F(EntitiesHelperTest, AFailedReaderLeavesNothing) {
    loopback.engine.failAt(1);
    spoilOutputs();
    EXPECT_EQ(assertSubscriber(&cacheReader), 0);
    EXPECT_EQ(subscriber, nullptr);
    EXPECT_EQ(reader, nullptr);
    EXPECT_EQ(cacheReader, nullptr);
    EXPECT_TRUE(
        log.has("Monitoring Forwarder DataReader for DCPSEventStatusMonitoring\n", "FAILED_TO_CREATE"))
        << log.text();
}

TEST_F(EntitiesHelperTest, APropertyThatIsThereAlreadyFailsTheCache) {
    DDS_PropertyQosPolicyHelper_add_property(
        &readerQos.property, "dds.data_reader.is_isolated", "false", DDS_BOOLEAN_FALSE);
    spoilOutputs();
    EXPECT_EQ(assertSubscriber(&cacheReader), 0);
    EXPECT_EQ(cacheReader, nullptr);
    EXPECT_EQ(reader, nullptr);
    EXPECT_TRUE(
        log.has("DataReader property 'dds.data_reader.is_isolated' with value 'true' for Monitoring Topic "
                "'DCPSEventStatusMonitoring'\n",
            "FAILED_TO_ADD"))
        << log.text();
}

TEST_F(EntitiesHelperTest, DeletingNothingSucceedsAndHalvesAreRefused) {
    EXPECT_EQ(MonitoringEntitiesHelper_deletePublisherEntities(nullptr, nullptr, participant), 1);
    EXPECT_EQ(MonitoringEntitiesHelper_deleteSubscriberEntities(nullptr, nullptr, participant), 1);
    EXPECT_TRUE(log.lines().empty()) << log.text();
    ASSERT_EQ(assertPublisher(), 1);
    EXPECT_EQ(MonitoringEntitiesHelper_deletePublisherEntities(publisher, nullptr, participant), 0);
    EXPECT_TRUE(log.has("\"publisher != ((void *)0) && topic == ((void *)0)\"\n", "PRECONDITION"))
        << log.text();
    EXPECT_EQ(MonitoringEntitiesHelper_deletePublisherEntities(publisher, topic, nullptr), 0);
    EXPECT_TRUE(log.has("\"participant == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_EQ(MonitoringEntitiesHelper_deletePublisherEntities(publisher, topic, participant), 1);
    ASSERT_EQ(assertSubscriber(nullptr), 1);
    EXPECT_EQ(MonitoringEntitiesHelper_deleteSubscriberEntities(subscriber, nullptr, participant), 0);
    EXPECT_TRUE(log.has("\"subscriber != ((void *)0) && topic == ((void *)0)\"\n", "PRECONDITION"))
        << log.text();
    EXPECT_EQ(MonitoringEntitiesHelper_deleteSubscriberEntities(subscriber, topic, participant), 1);
}

// The topic stays while another endpoint uses it.
TEST_F(EntitiesHelperTest, ATopicInUseIsNotDeleted) {
    ASSERT_EQ(assertPublisher(), 1);
    DDS_Publisher* another = DDS_DomainParticipant_create_publisher(participant, &publisherQos, nullptr, 0);
    ASSERT_NE(another, nullptr);
    ASSERT_NE(DDS_Publisher_create_datawriter(another, topic, &writerQos, nullptr, 0), nullptr);
    EXPECT_EQ(MonitoringEntitiesHelper_clearPublisherEntitiesI(&publisher, &topic, participant), 0);
    EXPECT_TRUE(log.has("Monitoring DCPSEventStatusMonitoring topic\n", "FAILED_TO_DELETE")) << log.text();
    EXPECT_EQ(publisher, nullptr);
    EXPECT_EQ(DDS_Publisher_delete_contained_entities(another), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipant_delete_publisher(participant, another), DDS_RETCODE_OK);
    EXPECT_EQ(MonitoringEntitiesHelper_clearPublisherEntitiesI(&publisher, &topic, participant), 1);
    EXPECT_EQ(topic, nullptr);

    ASSERT_EQ(assertSubscriber(nullptr), 1);
    DDS_Subscriber* reading =
        DDS_DomainParticipant_create_subscriber(participant, &subscriberQos, nullptr, 0);
    ASSERT_NE(DDS_Subscriber_create_datareader(
                  reading, DDS_Topic_as_topicdescription(topic), &readerQos, nullptr, 0),
        nullptr);
    log.clear();
    EXPECT_EQ(MonitoringEntitiesHelper_clearSubscriberEntitiesI(&subscriber, &topic, participant), 0);
    EXPECT_TRUE(log.has("Monitoring DCPSEventStatusMonitoring topic\n", "FAILED_TO_DELETE")) << log.text();
    EXPECT_EQ(subscriber, nullptr);
    EXPECT_EQ(DDS_Subscriber_delete_contained_entities(reading), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipant_delete_subscriber(participant, reading), DDS_RETCODE_OK);
    EXPECT_EQ(MonitoringEntitiesHelper_clearSubscriberEntitiesI(&subscriber, &topic, participant), 1);
    EXPECT_EQ(topic, nullptr);
}

TEST_F(EntitiesHelperTest, EveryArgumentIsChecked) {
    EXPECT_EQ(MonitoringEntitiesHelper_assertMonitoringTopic(nullptr, participant, eventTopic, eventType), 0);
    EXPECT_EQ(MonitoringEntitiesHelper_assertMonitoringTopic(&topic, nullptr, eventTopic, eventType), 0);
    EXPECT_EQ(MonitoringEntitiesHelper_assertMonitoringTopic(&topic, participant, nullptr, eventType), 0);
    EXPECT_EQ(MonitoringEntitiesHelper_assertMonitoringTopic(&topic, participant, eventTopic, nullptr), 0);
    EXPECT_EQ(MonitoringEntitiesHelper_assertPublisherEntities(
                  nullptr, &topic, &writer, participant, &publisherQos, &writerQos, eventTopic, eventType),
        0);
    EXPECT_EQ(MonitoringEntitiesHelper_assertPublisherEntities(
                  &publisher, &topic, nullptr, participant, &publisherQos, &writerQos, eventTopic, eventType),
        0);
    EXPECT_EQ(MonitoringEntitiesHelper_assertPublisherEntities(
                  &publisher, &topic, &writer, participant, nullptr, &writerQos, eventTopic, eventType),
        0);
    EXPECT_EQ(MonitoringEntitiesHelper_assertSubscriberEntities(nullptr, &topic, &reader, nullptr,
                  participant, &subscriberQos, &readerQos, eventTopic, eventType),
        0);
    EXPECT_EQ(MonitoringEntitiesHelper_assertSubscriberEntities(&subscriber, &topic, nullptr, nullptr,
                  participant, &subscriberQos, &readerQos, eventTopic, eventType),
        0);
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_PRECONDITION), 9U) << log.text();
    EXPECT_EQ(log.lines().size(), 9U);
    for (const char* text :
        {"\"topic == ((void *)0)\"\n", "\"participant == ((void *)0)\"\n", "\"topicName == ((void *)0)\"\n",
            "\"typeName == ((void *)0)\"\n", "\"publisher == ((void *)0)\"\n", "\"writer == ((void *)0)\"\n",
            "\"publisherQos == ((void *)0)\"\n", "\"subscriber == ((void *)0)\"\n",
            "\"realReader == ((void *)0)\"\n"}) {
        EXPECT_TRUE(log.has(text)) << text;
    }
}

TEST_F(EntitiesHelperTest, AFailedAllocationLeavesNothing) {
    // The first time registers the type, which the participant keeps.
    ASSERT_EQ(assertPublisher(), 1);
    EXPECT_EQ(MonitoringEntitiesHelper_deletePublisherEntities(publisher, topic, participant), 1);
    FailingHeap heap;
    const auto objects = loopback.engine.liveObjects();
    // To the end: one that fails need not fail the whole.
    const auto walk = [&](auto make, auto drop) {
        bool hasFailed = true;
        for (uint64_t n = 1; hasFailed && n < 300; ++n) {
            spoilOutputs();
            const auto buffers = ORXOsapiHeap_getLiveBufferCount();
            heap.failAt(n);
            const int made = make();
            hasFailed = heap.hasFailed();
            heap.failNoMore();
            if (made) {
                EXPECT_EQ(drop(), 1) << "allocation " << n;
            } else { // the other of the two is spoilt
                EXPECT_TRUE(publisher == nullptr || subscriber == nullptr) << "allocation " << n;
                EXPECT_EQ(topic, nullptr) << "allocation " << n;
            }
            EXPECT_EQ(loopback.engine.liveObjects(), objects) << "allocation " << n;
            EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers) << "allocation " << n;
        }
        EXPECT_FALSE(hasFailed);
    };
    walk([&] { return assertPublisher(); },
        [&] { return MonitoringEntitiesHelper_deletePublisherEntities(publisher, topic, participant); });
    walk([&] { return assertSubscriber(&cacheReader); },
        [&] { return MonitoringEntitiesHelper_deleteSubscriberEntities(subscriber, topic, participant); });
    std::set<std::string> reasons;
    for (const auto& line : log.lines())
        reasons.insert(line.identifier + " " + line.subject);
    const std::string name = "DCPSEventStatusMonitoring";
    for (const std::string& reason :
        {"FAILED_TO_CREATE Monitoring topic '" + name + "' with type 'dds::monitoring::Event'\n",
            "FAILED_TO_CREATE Monitoring publisher for " + name + "\n",
            "FAILED_TO_CREATE Monitoring Library DataWriter for " + name + "\n",
            "FAILED_TO_CREATE Monitoring subscriber for " + name + "\n",
            "FAILED_TO_CREATE Monitoring Forwarder DataReader for " + name + "\n",
            "FAILED_TO_CREATE Monitoring Forwarder Cache DataReader for " + name + "\n"})
        EXPECT_TRUE(reasons.contains(reason)) << reason << "\n" << log.text();
}

} // namespace
