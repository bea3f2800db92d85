// Commands that mean harm: each gets the reply that it is due or none, in bounded time and memory, and the
// library goes on.
#include <random>

#include "tests/unit/remoteAdministration/CommandWorld.hpp"
#include "gmock/gmock.h"
#include "gtest/gtest.h"

namespace {

constexpr int success = DDS_MONITORING_COMMAND_NO_ERROR;
constexpr int failure = DDS_MONITORING_COMMAND_INTERNAL_ERROR;
constexpr int nothingFound = DDS_MONITORING_COMMAND_NO_RESOURCE_FOUND_ERROR;
constexpr size_t longestBody = DDS_SERVICE_REQUEST_MAX_BODY_BYTESI; // of what the host lets through

class Hostile : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(world.start()) << log.text();
        participant = world.library.participant("p");
        for (int i = 0; i < 50; ++i)
            ASSERT_NE(world.library.topic(("t" + std::to_string(i)).c_str(), participant), nullptr);
        ASSERT_TRUE(world.settle());
    }
    void TearDown() override {
        EXPECT_TRUE(world.isIdle()) << "every command has been given back";
        EXPECT_TRUE(world.settle()) << "and the next is served";
        EXPECT_EQ(participant->lockCounter, 0U);
        EXPECT_EQ(world.library.table->rootResource->lockCounter, 0U);
        EXPECT_TRUE(world.stop());
    }
    bool deliver(const std::vector<DDS_Octet>& body) {
        last = CommandWorld::newUuid();
        return world.deliver(body, last);
    }

    LogCapture log;
    CommandWorld world;
    ORX_MonitoringResource* participant = nullptr;
    DDS_GUID_t last{};
};

TEST_F(Hostile, BytesThatAreNoRequestAreDropped) {
    const std::vector<std::vector<DDS_Octet>> bodies = {{}, {0}, {0, 9, 0, 0}, std::vector<DDS_Octet>(64, 0),
        std::vector<DDS_Octet>(4096, 0xFF), std::vector<DDS_Octet>(longestBody, 0x55)};
    for (const auto& body : bodies) {
        (void)deliver(body);
        ASSERT_TRUE(world.isIdle());
        EXPECT_EQ(world.sender->replies(last), 0U) << body.size();
    }
}

TEST_F(Hostile, EveryTruncationIsDropped) {
    const auto whole = SetMetrics({{"//topics/*", {"*"}, {"a", "b"}}, {"//data_*/x", {}, {"c"}}}).bytes();
    const size_t padding = whole[3] & 3;
    for (size_t length = 0; length < whole.size() - padding; ++length)
        EXPECT_FALSE(deliver({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)})) << length;
    EXPECT_EQ(world.commandsInUse(), 0);
    EXPECT_TRUE(deliver(whole));
    EXPECT_EQ(world.sender->await(last)->code, success);
}

// Flipped bits make other requests, or none; none of them does more than a request can.
TEST_F(Hostile, FlippedBitsDoNoHarm) {
    std::mt19937 random{7};
    const std::vector<std::vector<DDS_Octet>> wholes = {
        SetMetrics({{"//topics/*", {"*"}, {"a"}}, {"//GUID(1A2B3C4D.5E6F7A8B.9C0D1E2F.3A4B5C6D)", {"*"}}})
            .bytes(),
        RequestRegistry({"/applications/app", "//*"}).bytes(), Command(operation::subscribe).bytes()};
    int taken = 0;
    for (int i = 0; i < 3000; ++i) {
        auto body = wholes[static_cast<size_t>(i) % wholes.size()];
        const auto flips = 1 + random() % 3;
        for (size_t flip = 0; flip < flips; ++flip)
            body[random() % body.size()] ^= static_cast<DDS_Octet>(1U << random() % 8);
        taken += deliver(body);
        if (i % 64 == 0) {
            ASSERT_TRUE(world.isIdle());
        }
    }
    EXPECT_GT(taken, 100);
    EXPECT_LT(taken, 3000);
}

// A length that promises more than there is sizes nothing.
TEST_F(Hostile, LengthsThatLieSizeNothing) {
    auto body = RequestRegistry({"aaaa"}).bytes();
    for (size_t at = 4; at + 4 <= body.size(); at += 4) {
        auto lie = body;
        for (const DDS_Octet octet : {DDS_Octet{0x7F}, DDS_Octet{0xFF}}) {
            lie[at] = lie[at + 1] = lie[at + 2] = 0xFF;
            lie[at + 3] = octet;
            const auto buffers = ORXOsapiHeap_getLiveBufferCount();
            (void)deliver(lie);
            ASSERT_TRUE(world.isIdle());
            EXPECT_LT(ORXOsapiHeap_getLiveBufferCount(), buffers + 100);
        }
    }
}

TEST_F(Hostile, AThousandSelectorsAreServed) {
    std::vector<Selector> selectors;
    for (int i = 0; i < 1000; ++i)
        selectors.push_back({"//topics/none" + std::to_string(i) + "*", {"nothing*"}, {"*never"}});
    selectors.push_back({"//topics/t7", {"*"}, {}});
    EXPECT_EQ(world.ask(MetricCommand(operation::set_metric_subscription_state, selectors))->code, success);
    EXPECT_THAT(metricsOf(world.library.topic("t7", participant)),
        testing::ElementsAre("dds_topic_inconsistent_total"));
}

// The resources that are there get them; those that come later are not to pay for them.
TEST_F(Hostile, AsManyPatternsAsABodyHoldsAreAppliedAndNotStored) {
    const auto ask = [&](size_t patterns) {
        Selector selector{"//*", {}, {}};
        selector.enabled.assign(patterns, "*?[");
        selector.enabled.back() = "*";
        const MetricCommand command(operation::update_metric_subscription_state, {selector});
        EXPECT_LE(command.bytes().size(), longestBody);
        return world.ask(command)->code;
    };
    ORX_MonitoringResource* there = world.library.topic("there", participant);
    EXPECT_EQ(ask(longestBody / 8 - 64), failure);
    EXPECT_THAT(metricsOf(there), testing::ElementsAre("dds_topic_inconsistent_total"));
    EXPECT_THAT(metricsOf(world.library.topic("later", participant)), testing::IsEmpty());
    EXPECT_EQ(ask(4096), success);
    EXPECT_THAT(metricsOf(world.library.topic("latest", participant)),
        testing::ElementsAre("dds_topic_inconsistent_total"));
    ASSERT_TRUE(world.ask(SetMetrics({{"//*", {}, {"*"}}})));
}

// A pattern that is all stars costs the product of two lengths at most.
TEST_F(Hostile, APatternThatIsAllStarsIsServed) {
    std::string pattern;
    while (pattern.size() < longestBody - 1024)
        pattern += "*a";
    EXPECT_EQ(world.ask(UpdateMetrics({{"//topics/*", {pattern}}}))->code, success);
    EXPECT_EQ(world.ask(SetMetrics({{"//*", {}, {"*"}}}))->code, success);
}

TEST_F(Hostile, AThousandAnyLevelsAreRefusedAndThirtyAreServed) {
    std::string few = "/applications/app";
    for (int i = 0; i < 9; ++i)
        few += "//*/*";
    const auto answer = world.ask(SetMetrics({{few, {"*"}}}));
    ASSERT_TRUE(answer);
    std::string many;
    for (int i = 0; i < 200; ++i)
        many += "//*/*";
    EXPECT_EQ(world.ask(SetMetrics({{many, {"*"}}}))->code, DDS_MONITORING_COMMAND_INTERNAL_ERROR);
}

TEST_F(Hostile, GuidsOfNobodySelectNobody) {
    for (const char* expression : {"//GUID(00000000.00000000.00000000.00000000)",
             "//GUID(FFFFFFFF.FFFFFFFF.FFFFFFFF.FFFFFFFF)/topics/*",
             "/applications/GUID(11111111.22222222.33333333.44444444)"})
        EXPECT_EQ(world.ask(UpdateMetrics({{expression, {"*"}}}))->code, nothingFound) << expression;
}

// What is in another arm than the one that is named is not looked at.
TEST_F(Hostile, AnArmThatIsNotNamedIsNotServed) {
    Command command(operation::request_resource_registry);
    fill(command.request.data._u.request_logging_snapshot.applications, {"//*"});
    const DDS_GUID_t uuid = world.deliver(command);
    ASSERT_TRUE(world.settle());
    EXPECT_EQ(world.sender->replies(uuid), 0U) << "it has no selector";
    auto body = RequestRegistry({"//*"}).bytes();
    // Another label before the same arm.
    const DDS_Long label = operation::request_resource_registry;
    const DDS_Long other = operation::set_logging_collection_level;
    const auto* begin = reinterpret_cast<const DDS_Octet*>(&label);
    const auto found = std::search(body.begin(), body.end(), begin, begin + sizeof label);
    ASSERT_NE(found, body.end());
    std::memcpy(&*found, &other, sizeof other);
    (void)deliver(body);
    ASSERT_TRUE(world.isIdle());
    const DDS_Long unknown = 12345;
    std::memcpy(&*found, &unknown, sizeof unknown);
    (void)deliver(body);
    ASSERT_TRUE(world.isIdle());
    EXPECT_EQ(world.sender->replies(last), 0U);
}

// Nobody is behind the writer that the sample is said to come from: the command is done, and its reply waits
// for as long as replies do.
TEST_F(Hostile, ASenderThatIsNotThereCostsOneTimeout) {
    ASSERT_TRUE(world.stop());
    world.sender.reset();
    world.library.property.command_dispatcher.reply_timeout = {0, 50'000'000};
    ASSERT_TRUE(world.start());
    participant = world.library.participant("p");
    log.clear();
    DDS_ServiceRequest sample{};
    sample.service_id = ORX_MONITORING_COMMAND_SERVICE_ID;
    sample.instance_id = CommandWorld::newUuid();
    const auto bytes = RequestRegistry({"//*"}).bytes();
    DDS_OctetSeq_from_array(&sample.request_body, bytes.data(), static_cast<DDS_Long>(bytes.size()));
    DDS_SampleInfo info{};
    info.valid_data = DDS_BOOLEAN_TRUE;
    const DDS_GUID_t nobody{{0xDE, 0xAD, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 2, 0, 0x82}};
    DDS_InstanceHandle_from_guid(&info.publication_handle, &nobody);
    EXPECT_TRUE(world.deliver(sample, info));
    ASSERT_TRUE(world.isIdle());
    EXPECT_TRUE(log.has("Monitoring Command acknowledgment timedout\n", "FAILED_TO_PROCESS")) << log.text();
    auto* writer = world.dispatcher().writer;
    DDS_ServiceRequest key{};
    key.service_id = ORX_MONITORING_REPLY_SERVICE_ID;
    key.instance_id = sample.instance_id;
    const DDS_InstanceHandle_t instance = DDS_DataWriter_lookup_instance_untypedI(writer, &key);
    EXPECT_FALSE(DDS_InstanceHandle_is_nil(&instance)) << "it stays registered";
    // Of those that are refused too.
    DDS_ServiceRequest_finalize(&sample);
    const auto refused = Command(operation::subscribe).bytes();
    DDS_OctetSeq_from_array(&sample.request_body, refused.data(), static_cast<DDS_Long>(refused.size()));
    sample.instance_id = CommandWorld::newUuid();
    EXPECT_TRUE(world.deliver(sample, info));
    ASSERT_TRUE(world.isIdle());
    EXPECT_TRUE(log.has("Monitoring Command acknowledgment timed out\n", "FAILED_TO_PROCESS")) << log.text();
    DDS_ServiceRequest_finalize(&sample);
}

TEST_F(Hostile, AnAcknowledgedReplyIsNotRegisteredAnyMore) {
    const DDS_GUID_t uuid = world.deliver(RequestRegistry({"//*"}));
    ASSERT_TRUE(world.sender->await(uuid));
    ASSERT_TRUE(world.isIdle());
    DDS_ServiceRequest key{};
    key.service_id = ORX_MONITORING_REPLY_SERVICE_ID;
    key.instance_id = uuid;
    const DDS_InstanceHandle_t instance =
        DDS_DataWriter_lookup_instance_untypedI(world.dispatcher().writer, &key);
    EXPECT_TRUE(DDS_InstanceHandle_is_nil(&instance));
}

// The same commands over and over take no more memory than once.
TEST_F(Hostile, MemoryIsLevel) {
    const auto once = [&] {
        std::vector<Selector> selectors;
        for (int i = 0; i < 100; ++i)
            selectors.push_back({"//topics/none" + std::to_string(i), {"*"}});
        ASSERT_TRUE(world.ask(MetricCommand(operation::set_metric_subscription_state, selectors)));
        ASSERT_TRUE(world.ask(Command(operation::unsubscribe)));
        ASSERT_TRUE(world.ask(RequestRegistry({"//*"})));
        ASSERT_TRUE(world.isIdle());
        (void)world.sender->all();
    };
    for (int i = 0; i < 20; ++i)
        once();
    const auto buffers = ORXOsapiHeap_getLiveBufferCount();
    for (int i = 0; i < 100; ++i)
        once();
    EXPECT_LT(ORXOsapiHeap_getLiveBufferCount(), buffers + 50);
}

} // namespace
