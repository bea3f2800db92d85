// What each command does, from its bytes to its reply.
#include "src/remoteAdministration/CommandProcessing.h"
#include "src/utils/PathTokenizer.h"
#include "tests/unit/remoteAdministration/CommandWorld.hpp"
#include "gmock/gmock.h"
#include "gtest/gtest.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr int success = DDS_MONITORING_COMMAND_NO_ERROR;
constexpr int failure = DDS_MONITORING_COMMAND_INTERNAL_ERROR;
constexpr int nothingFound = DDS_MONITORING_COMMAND_NO_RESOURCE_FOUND_ERROR;

constexpr char total[] = "dds_topic_inconsistent_total";

// An application "app" with a participant "p" and two topics.
class Processing : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(world.start()) << log.text();
        participant = world.library.participant("p");
        first = world.library.topic("first", participant);
        second = world.library.topic("second", participant);
        ASSERT_NE(second, nullptr);
    }
    DDS_Long stored() {
        Library::lockLibrary();
        const DDS_Long size = REDAInlineList_getSize(&world.library.impl().currentMetricSelectionList);
        Library::unlockLibrary();
        return size;
    }
    static bool isPinned(const ORX_MonitoringResource* resource) { return resource->lockCounter != 0; }

    LogCapture log;
    CommandWorld world;
    ORX_MonitoringResource* participant = nullptr;
    ORX_MonitoringResource* first = nullptr;
    ORX_MonitoringResource* second = nullptr;
};

Answer answer(DDS_Long hash, int code, std::string message = "") {
    return {hash, code, std::move(message)};
}

// ---- Metrics ----

TEST_F(Processing, SetStatesTheWholeSelectionOfWhatItMatches) {
    EXPECT_EQ(world.ask(SetMetrics({{"/applications/app//*/p", {"*"}}, {"//topics/first", {"*"}}})),
        answer(operation::set_metric_subscription_state, success));
    EXPECT_GT(metricsOf(participant).size(), 1U);
    EXPECT_THAT(metricsOf(first), ElementsAre(total));
    EXPECT_THAT(metricsOf(second), IsEmpty());
    EXPECT_EQ(world.ask(SetMetrics({{"//topics/*", {total}}})),
        answer(operation::set_metric_subscription_state, success));
    EXPECT_THAT(metricsOf(first), ElementsAre(total));
    EXPECT_THAT(metricsOf(second), ElementsAre(total));
    EXPECT_FALSE(isPinned(first));
}

TEST_F(Processing, UpdateAddsAndRemovesOnTopOfWhatIsThere) {
    constexpr char rss[] = "dds_application_process_memory_usage_resident_memory_bytes";
    const auto* root = world.library.table->rootResource;
    ASSERT_TRUE(world.ask(SetMetrics({{"//*", {"*"}}})));
    const size_t all = metricsOf(root).size();
    ASSERT_THAT(metricsOf(root), testing::Contains(rss));
    EXPECT_EQ(world.ask(UpdateMetrics({{"//applications/*", {}, {rss}}})),
        answer(operation::update_metric_subscription_state, success));
    EXPECT_EQ(metricsOf(root).size(), all - 1);
    EXPECT_THAT(metricsOf(root), testing::Not(testing::Contains(rss)));
    EXPECT_THAT(metricsOf(second), ElementsAre(total)) << "it was not addressed";
    EXPECT_EQ(world.ask(SetMetrics({{"//applications/*", {}, {rss}}})),
        answer(operation::set_metric_subscription_state, success));
    EXPECT_THAT(metricsOf(root), IsEmpty()) << "a set command leaves nothing that it does not name";
}

TEST_F(Processing, ASelectionAppliesToResourcesThatComeLater) {
    EXPECT_EQ(world.ask(SetMetrics({{"//topics/la*", {total}}})),
        answer(operation::set_metric_subscription_state, success))
        << "it is persisted, although no resource matched";
    EXPECT_EQ(stored(), 1);
    EXPECT_THAT(metricsOf(world.library.topic("later", participant)), ElementsAre(total));
    EXPECT_THAT(metricsOf(world.library.topic("other", participant)), IsEmpty());
}

TEST_F(Processing, NothingMatchedAndNothingPersistedIsToldAsSuch) {
    EXPECT_EQ(world.ask(SetMetrics({{"/applications/another/domain_participants/*", {"*"}}})),
        answer(operation::set_metric_subscription_state, nothingFound));
    EXPECT_EQ(world.ask(UpdateMetrics({{"//GUID(11111111.22222222.33333333.44444444)", {"*"}}})),
        answer(operation::update_metric_subscription_state, nothingFound));
    EXPECT_EQ(stored(), 0);
}

TEST_F(Processing, AGuidSelectsItsResourceAndIsNotPersisted) {
    char guid[ORX_MONITORING_GUID_TEXT_SIZE];
    DDS_Monitoring_GUID_toStr(first->base.guid, guid);
    EXPECT_EQ(world.ask(SetMetrics({{std::string("//") + guid, {total}}})),
        answer(operation::set_metric_subscription_state, success));
    EXPECT_THAT(metricsOf(first), ElementsAre(total));
    EXPECT_EQ(stored(), 0);
}

TEST_F(Processing, TwoSelectorsThatMatchOneResourceSelectItOnce) {
    EXPECT_EQ(world.ask(SetMetrics({{"//topics/first", {total}}, {"//topics/f*", {}, {"nothing"}}})),
        answer(operation::set_metric_subscription_state, success));
    EXPECT_THAT(metricsOf(first), ElementsAre(total));
    EXPECT_FALSE(isPinned(first));
    ORX_MonitoringResourcePtrSeq resources{};
    DDS_Monitoring_MonitoringCommandError error{};
    const SetMetrics command({{"//topics/first", {}}, {"//topics/*", {}}});
    EXPECT_EQ(ORX_MonitoringCommandDispatcher_getResourcesFromMetricSelectorSequence(&world.dispatcher(),
                  &resources, &error, &command.request.data._u.set_metric_subscription_state.metrics),
        ORX_MONITORING_COMMAND_DISPATCHER_RETURN_OK);
    EXPECT_EQ(ORX_MonitoringResourcePtrSeq_get_length(&resources), 2);
    ORX_MonitoringResourcePtrSeq_finalize(&resources);
}

// An expression with two "//" can lead to one resource in two ways. It cannot be pinned twice, and locks that
// cannot be had end a command without a reply.
TEST_F(Processing, AnExpressionThatMatchesTwiceGetsNoReply) {
    auto* deep = world.library.topic("first", first);
    ASSERT_NE(deep, nullptr);
    const DDS_GUID_t twice = world.deliver(SetMetrics({{"//*//topics/first", {"*"}}}));
    ASSERT_TRUE(world.settle());
    EXPECT_EQ(world.sender->replies(twice), 0U);
    EXPECT_TRUE(log.has("Resource. The resource is already locked by the current thread")) << log.text();
    for (const auto* resource : {participant, first, second, deep})
        EXPECT_EQ(resource->lockCounter, 0U);
}

TEST_F(Processing, AnExpressionThatCannotBeReadIsAFailureWithAMessage) {
    const std::string malformed(5000, 'a');
    EXPECT_EQ(
        world.ask(SetMetrics({{malformed, {"*"}}})), answer(operation::set_metric_subscription_state, failure,
                                                         "Failed to get the resources for the command"));
    EXPECT_TRUE(log.has("Monitoring Resources for set_subscription_state command", "FAILED_TO_GET"));
    EXPECT_EQ(world.ask(UpdateMetrics({{"//topics/first", {"*"}}, {malformed, {"*"}}})),
        answer(operation::update_metric_subscription_state, failure,
            "Failed to get the resources for the command"));
    EXPECT_TRUE(log.has("Resource matching the resource_selector expression.", "FAILED_TO_PROCESS"));
    EXPECT_TRUE(log.has("Monitoring Resources for update_subscription_state command", "FAILED_TO_GET"));
    EXPECT_THAT(metricsOf(first), IsEmpty());
}

TEST_F(Processing, ASetReplacesWhatWasStoredForItsExpression) {
    ASSERT_TRUE(world.ask(UpdateMetrics({{"//topics/*", {"*"}}, {"//publishers/*", {"*"}}})));
    EXPECT_EQ(stored(), 2);
    ASSERT_TRUE(world.ask(SetMetrics({{"//topics/*", {total}}})));
    EXPECT_THAT(metricsOf(world.library.topic("later", participant)), ElementsAre(total));
}

TEST_F(Processing, AStoreThatIsFullFailsTheCommandWhenItsResourcesAreChanged) {
    std::vector<Selector> selectors;
    for (int i = 0; i < 1024; ++i)
        selectors.push_back({"//topics/none" + std::to_string(i), {total}});
    ASSERT_EQ(
        world.ask(MetricCommand(operation::update_metric_subscription_state, selectors))->code, success);
    EXPECT_EQ(world.ask(UpdateMetrics({{"//topics/first", {total}}})),
        answer(operation::update_metric_subscription_state, failure,
            "Failed to persist the subscription state"));
    EXPECT_TRUE(log.has("New configuration on Monitoring library 2.0 configuration.", "FAILED_TO_SET"))
        << log.text();
    EXPECT_TRUE(log.has("Update metric subscription command", "FAILED_TO_PROCESS")) << log.text();
    EXPECT_THAT(metricsOf(first), ElementsAre(total)) << "what was changed is not rolled back";
    EXPECT_EQ(stored(), 1024);
    EXPECT_FALSE(isPinned(first));
}

TEST_F(Processing, TheChangeIsPublishedWithTheNewMetrics) {
    EventReader reader{Library::domain};
    EventSamples samples;
    ASSERT_TRUE(world.ask(SetMetrics({{"//topics/first", {total}}})));
    EXPECT_TRUE(reader.takeUntilThat(samples, [&] {
        return std::any_of(samples.begin(), samples.end(), [&](const EventSample& sample) {
            const auto* update = sample->value._d == ORX_MONITORING_APPLICATION_CLASS_ID
                                     ? sample->value._u.application.resource_update
                                     : nullptr;
            return update != nullptr &&
                   update->_d == DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_CHANGE_KIND &&
                   std::memcmp(update->_u.change_resource.guid, first->base.guid, 16) == 0 &&
                   DDS_UnsignedLongSeq_get_length(&update->_u.change_resource.metric_ids) == 1;
        });
    }));
}

// ---- Registry ----

TEST_F(Processing, ARegistryRequestSendsTheSnapshots) {
    const auto epoch = world.library.impl().resourceRegistry->snapshotEpoch;
    EXPECT_EQ(world.ask(RequestRegistry({"/applications/app"})),
        answer(operation::request_resource_registry, success));
    EXPECT_EQ(world.library.impl().resourceRegistry->snapshotEpoch, epoch + 1);
}

TEST_F(Processing, OnlyTheLastOfTheSelectorsNeedsToMatch) {
    const auto epoch = world.library.impl().resourceRegistry->snapshotEpoch;
    ORX_MonitoringLog_setBitmaps(~0U, 0xF);
    EXPECT_EQ(world.ask(RequestRegistry({"//applications/other", "/topics/*", "/applications/a*"})),
        answer(operation::request_resource_registry, success));
    ORX_MonitoringLog_setBitmaps(~0U, 0x7);
    EXPECT_EQ(world.library.impl().resourceRegistry->snapshotEpoch, epoch + 1);
    EXPECT_TRUE(log.has(
        "Resource selector '/topics/*' does not match application '/applications/app'", "PROCESSING"));
}

TEST_F(Processing, ARegistryRequestForOthersFindsNothing) {
    EXPECT_EQ(world.ask(RequestRegistry({"/applications/other"})),
        answer(operation::request_resource_registry, nothingFound));
    EXPECT_EQ(world.ask(RequestRegistry({std::string(5000, 'a')})),
        answer(operation::request_resource_registry, failure,
            "Failed to process the resource matching the resource_selection expression"));
    EXPECT_TRUE(log.has("Resource matching the resource_selection expression.", "FAILED_TO_PROCESS"));
}

TEST_F(Processing, WhatIsNoApplicationIsRefused) {
    ORX_MonitoringResourcePtrSeq resources{};
    ORX_MonitoringResourcePtrSeq_ensure_length(&resources, 1, 1);
    *ORX_MonitoringResourcePtrSeq_get_reference(&resources, 0) = first;
    DDS_Monitoring_MonitoringService_Reply reply{};
    DDS_Monitoring_MonitoringService_Reply_initialize(&reply);
    RequestRegistry registry({"//*"});
    EXPECT_EQ(ORX_MonitoringCommandDispatcher_processRequestResourceRegistry(
                  &world.dispatcher(), &reply, &resources, &registry.request),
        ORX_MONITORING_COMMAND_DISPATCHER_RETURN_ERROR_WITH_REPLY);
    const auto& error = reply.data._u.request_resource_registry._u.monitoringcommanderror_ex;
    EXPECT_EQ(error.ret_code, DDS_MONITORING_COMMAND_INTERNAL_ERROR);
    EXPECT_STREQ(error.error_message, "Unexpected application resource");
    const auto lines = log.lines();
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                  [](const LogCapture::Line& line) {
                      return line.identifier == "FAILED_TO_VALIDATE" &&
                             line.subject.starts_with("Application (0x") &&
                             line.subject.find(") not equals to the root resource (0x") != std::string::npos;
                  }),
        1)
        << log.text();
    ORX_MonitoringResourcePtrSeq_set_length(&resources, 0);
    EXPECT_EQ(ORX_MonitoringCommandDispatcher_processRequestResourceRegistry(
                  &world.dispatcher(), &reply, &resources, &registry.request),
        ORX_MONITORING_COMMAND_DISPATCHER_RETURN_ERROR);
    EXPECT_TRUE(log.has("\"ORX_MonitoringResourcePtrSeq_get_length(resources) != 1\"\n", "PRECONDITION"));
    DDS_Monitoring_MonitoringService_Reply_finalize(&reply);
    ORX_MonitoringResourcePtrSeq_finalize(&resources);
}

// ---- What gets no reply ----

TEST_F(Processing, AnEmptyListOfSelectorsGetsNoReply) {
    std::vector<DDS_GUID_t> uuids;
    uuids.push_back(world.deliver(SetMetrics({})));
    uuids.push_back(world.deliver(UpdateMetrics({})));
    uuids.push_back(world.deliver(RequestRegistry({})));
    ASSERT_TRUE(world.settle());
    for (const DDS_GUID_t& uuid : uuids)
        EXPECT_EQ(world.sender->replies(uuid), 0U);
    EXPECT_EQ(log.count("\"length == 0\"\n", "PRECONDITION"), 3U) << log.text();
}

} // namespace
