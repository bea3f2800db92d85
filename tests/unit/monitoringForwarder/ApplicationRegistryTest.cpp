#include "src/resource/ApplicationRegistry.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "tests/helpers/FailingHeap.hpp"
#include "tests/helpers/LogCapture.hpp"
#include "tests/unit/monitoringForwarder/RegistryWorld.hpp"

namespace {

constexpr auto deletion = DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_DELETION_KIND;
constexpr auto creation = DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_CREATION_KIND;
constexpr auto change = DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_CHANGE_KIND;

class ApplicationRegistry : public ::testing::Test {
protected:
    LogCapture log;
    RegistryWorld world;
};

} // namespace

TEST_F(ApplicationRegistry, TellsWhereCommandsForANewParticipantGo) {
    DDS_GUID_t reader = guidOf(1);
    reader.value[12] = 0x00;
    reader.value[13] = 0x02;
    reader.value[14] = 0x00;
    reader.value[15] = 0x87;
    DDS_InstanceHandle_t expected;
    DDS_GUID_to_instance_handle(&reader, &expected);
    const DDS_InstanceHandle_t destination = world.addParticipant(1);
    EXPECT_TRUE(DDS_InstanceHandle_equals(&destination, &expected));
    ASSERT_NE(world.participant(1), nullptr);
    const DDS_InstanceHandle_t publication = handleOf(1);
    EXPECT_TRUE(DDS_InstanceHandle_equals(&world.participant(1)->publicationHandle, &publication));
    EXPECT_EQ(world.pendingCount(), 1);
}

TEST_F(ApplicationRegistry, AsksAParticipantThatItKnowsForNothing) {
    world.addParticipant(1);
    const DDS_InstanceHandle_t again = world.addParticipant(1);
    EXPECT_TRUE(world.isSuccess);
    EXPECT_TRUE(DDS_InstanceHandle_is_nil(&again));
    EXPECT_EQ(world.pendingCount(), 1);
}

TEST_F(ApplicationRegistry, LeavesNoPendingRequestOfAParticipantThatIsGone) {
    world.addParticipant(1);
    world.addParticipant(2);
    EXPECT_TRUE(
        ORX_MonitoringForwarderApplicationRegistry_deleteParticipant(world.registry, world.participant(1)));
    EXPECT_EQ(world.pendingCount(), 1);
    EXPECT_EQ(world.participant(1), nullptr);
    ORX_MonitoringForwarderApplicationRegistry_forgetPendingRequest(world.registry, world.participant(2));
    EXPECT_EQ(world.pendingCount(), 0);
    EXPECT_EQ(world.participant(2)->node, nullptr);
}

TEST_F(ApplicationRegistry, LearnsApplicationsFromAResourceRegistryOnce) {
    world.addParticipant(1);
    ApplicationEvent event;
    event.setRegistry({{1, "first"}, {9, "topic", ORX_MONITORING_TOPIC_CLASS_ID}, {2, "second"}});
    EXPECT_TRUE(world.apply(event.get(), 1));
    EXPECT_TRUE(world.apply(event.get(), 1));
    EXPECT_EQ(world.applicationCount(), 2);
    ASSERT_NE(world.application(1), nullptr);
    EXPECT_STREQ(world.application(1)->fullyQualifiedName, "/applications/first");
    EXPECT_EQ(world.application(1), world.application(1, "/applications/first"));
    EXPECT_EQ(world.application(2, "/applications/first"), nullptr);
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(ApplicationRegistry, RefusesAResourceRegistryOfAnUnknownParticipant) {
    ApplicationEvent event;
    event.setRegistry({{1, "first"}});
    EXPECT_FALSE(world.apply(event.get(), 1));
    EXPECT_EQ(world.applicationCount(), 0);
    EXPECT_TRUE(log.has("Monitoring Participant from monitoring registry", "FAILED_TO_FIND")) << log.text();
    EXPECT_TRUE(log.has("application resource", "FAILED_TO_ASSERT")) << log.text();
}

TEST_F(ApplicationRegistry, LeavesAnApplicationWithTheParticipantThatHadItFirst) {
    world.addParticipant(1);
    world.addParticipant(2);
    ASSERT_NE(world.addApplication(1, "app", 1), nullptr);
    EXPECT_EQ(world.addApplication(1, "app", 2), nullptr);
    EXPECT_TRUE(
        log.has("Monitoring participant for application '/applications/app'", "INCONSISTENT_FAILURE"));
    const auto* impl =
        reinterpret_cast<const ORX_MonitoringForwarderApplicationResourceImpl*>(world.application(1));
    EXPECT_EQ(impl->monitoringParticipant, world.participant(1));
}

// Hostile, or a clash of GUIDs: the first stays whole, and ending the second's participant does not touch it.
TEST_F(ApplicationRegistry, RefusesASecondApplicationOfOneGuid) {
    world.addParticipant(1);
    world.addParticipant(2);
    ASSERT_NE(world.addApplication(1, "app", 1), nullptr);
    EXPECT_EQ(world.addApplication(1, "impostor", 2), nullptr);
    EXPECT_TRUE(log.has(
        "Application resource (name: /applications/impostor), into the application registry, by GUID"));
    EXPECT_EQ(world.application(1, "/applications/impostor"), nullptr);
    EXPECT_TRUE(
        ORX_MonitoringForwarderApplicationRegistry_deleteParticipant(world.registry, world.participant(2)));
    ASSERT_NE(world.application(1), nullptr);
    EXPECT_STREQ(world.application(1)->fullyQualifiedName, "/applications/app");
}

TEST_F(ApplicationRegistry, TellsApplicationsOfOneNameApartByGuid) {
    world.addParticipant(1);
    ASSERT_NE(world.addApplication(2, "app", 1), nullptr);
    ASSERT_NE(world.addApplication(1, "app", 1), nullptr);
    EXPECT_NE(world.application(1, "/applications/app"), world.application(2, "/applications/app"));
    EXPECT_EQ(
        ORX_MonitoringForwarderApplicationRegistry_getFirstApplication(world.registry), world.application(1));
}

TEST_F(ApplicationRegistry, ForgetsAnApplicationAtItsDeletionAlone) {
    world.addParticipant(1);
    world.addApplication(1, "app", 1);
    ApplicationEvent event;
    for (const auto kind : {creation, change}) {
        event.setUpdate(kind, 1);
        EXPECT_TRUE(world.apply(event.get(), 1));
        EXPECT_EQ(world.applicationCount(), 1);
    }
    event.setUpdate(deletion, 2);
    EXPECT_TRUE(world.apply(event.get(), 1));
    EXPECT_EQ(world.applicationCount(), 1);
    event.setUpdate(deletion, 1);
    EXPECT_TRUE(world.apply(event.get(), 1));
    EXPECT_EQ(world.applicationCount(), 0);
    EXPECT_TRUE(log.lines().empty()) << log.text();
    world.removeApplication(1);
    EXPECT_EQ(log.count("Application resource within applications list", "FAILED_TO_FIND"), 1u);
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_WARNING), 1u);
}

TEST_F(ApplicationRegistry, KeepsTheLoggingConfigurationOfAnApplicationThatItKnows) {
    world.addParticipant(1);
    world.addApplication(1, "app", 1);
    ApplicationEvent known;
    known.setLogging(1, 23);
    EXPECT_TRUE(world.apply(known.get(), 1));
    const auto& forwarding = world.application(1)->loggingConfig.logging_forwarding;
    ASSERT_EQ(DDS_Monitoring_LoggingSettingSeq_get_length(&forwarding), 1);
    EXPECT_EQ(DDS_Monitoring_LoggingSettingSeq_get_reference(&forwarding, 0)->facility, 23);
    ApplicationEvent unknown;
    unknown.setLogging(2, 23);
    EXPECT_TRUE(world.apply(unknown.get(), 1));
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(ApplicationRegistry, LooksAtTheRegistryBeforeTheDeletion) {
    world.addParticipant(1);
    ApplicationEvent event;
    event.setRegistry({{1, "app"}});
    event.setUpdate(deletion, 1);
    EXPECT_TRUE(world.apply(event.get(), 1));
    EXPECT_EQ(world.applicationCount(), 1);
}

TEST_F(ApplicationRegistry, TakesAFullyQualifiedNameAsItIs) {
    world.addParticipant(1);
    ASSERT_NE(world.addApplication(1, "/applications/app", 1, true), nullptr);
    EXPECT_STREQ(world.application(1)->fullyQualifiedName, "/applications/app");
    const std::string tooLong(ORX_MONITORING_FORWARDER_APPLICATION_NAME_SIZE, 'x');
    EXPECT_EQ(world.addApplication(2, tooLong.c_str(), 1, true), nullptr);
    EXPECT_EQ(world.addApplication(2, tooLong.c_str(), 1), nullptr);
    EXPECT_TRUE(log.has("application fully-qualified name")) << log.text();
    EXPECT_EQ(world.applicationCount(), 1);
}

TEST_F(ApplicationRegistry, ListsApplicationsInTheOrderOfTheirGuids) {
    world.addParticipant(1);
    for (const uint8_t number : {uint8_t{3}, uint8_t{1}, uint8_t{2}})
        world.addApplication(number, "app", 1);
    ORX_MonitoringOpaqueResourceSeq all;
    ORX_MonitoringOpaqueResourceSeq_initialize(&all);
    ASSERT_TRUE(ORX_MonitoringForwarderApplicationRegistry_getApplicationsAsSequence(world.registry, &all));
    ASSERT_EQ(ORX_MonitoringOpaqueResourceSeq_get_length(&all), 3);
    for (uint8_t i = 0; i < 3; ++i)
        EXPECT_EQ(reinterpret_cast<ORX_MonitoringForwarderApplicationResource*>(
                      *ORX_MonitoringOpaqueResourceSeq_get_reference(&all, i)),
            world.application(static_cast<uint8_t>(i + 1)));
    ORX_MonitoringOpaqueResourceSeq_finalize(&all);
}

TEST_F(ApplicationRegistry, IsEmptyAtFirst) {
    EXPECT_EQ(ORX_MonitoringForwarderApplicationRegistry_getFirstApplication(world.registry), nullptr);
    EXPECT_EQ(world.application(1), nullptr);
    EXPECT_EQ(world.participant(1), nullptr);
}

// Whatever allocation fails, the registry stays whole and takes the same again; the log tells the step.
TEST(ApplicationRegistryFailure, LeavesNothingBehindWhenMemoryRunsOut) {
    std::set<std::string> told;
    for (const uint64_t times : {uint64_t{1}, uint64_t{1} << 40}) {
        bool failed = true;
        for (uint64_t n = 1; failed; ++n) {
            LogCapture log;
            FailingHeap heap;
            const auto before = ORXOsapiHeap_getLiveBufferCount();
            heap.failAt(n, times);
            {
                RegistryWorld world;
                if (world.registry != nullptr) {
                    for (uint8_t i = 0; i < 5; ++i) {
                        world.addParticipant(i);
                        for (uint8_t j = 0; j < 4; ++j)
                            world.addApplication(static_cast<uint8_t>(i * 16 + j), "app", i);
                    }
                    failed = heap.hasFailed();
                    heap.failNoMore();
                    for (uint8_t i = 0; i < 5; ++i) {
                        world.addParticipant(i);
                        EXPECT_TRUE(world.isSuccess);
                        for (uint8_t j = 0; j < 4; ++j)
                            EXPECT_NE(
                                world.addApplication(static_cast<uint8_t>(i * 16 + j), "app", i), nullptr);
                    }
                    EXPECT_EQ(world.applicationCount(), 20);
                    EXPECT_EQ(world.pendingCount(), 5);
                } else {
                    failed = heap.hasFailed();
                    EXPECT_TRUE(failed);
                }
            }
            EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), before) << n;
            ASSERT_LT(n, 2000u);
            for (const auto& line : log.lines())
                told.insert(line.subject);
        }
    }
    for (const char* subject :
        {"event sample", "Application event sample", "Application Registry fast buffer pool",
            "Monitoring Participant fast buffer pool", "Monitoring Participant node fast buffer pool",
            "Monitoring Participant pending request list", "Application Registry mutex",
            "Application resource name index node allocator", "Application resource name index",
            "Application resource GUID index node allocator", "Application resource GUID index",
            "Monitoring Participant index node allocator", "Monitoring Participant index",
            "Monitoring Participant", "Monitoring Participant node from buffer pool",
            "application resource from fast buffer pool", "application resource (/applications/app)",
            "monitoring resource for application resource (name = /applications/app)\n",
            "fully qualified name for application resource (name = /applications/app)",
            "length (2) and maximum (2) for the application list of a monitoring participant with current "
            "length (1) and current maximum (1)",
            "application to the list of applications monitored by a Monitoring Participant "})
        EXPECT_TRUE(told.contains(subject)) << subject;
}
