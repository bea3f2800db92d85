#include "src/resource/ApplicationResource.h"

#include <gtest/gtest.h>

#include "tests/helpers/FailingHeap.hpp"
#include "tests/helpers/LogCapture.hpp"
#include "tests/unit/monitoringForwarder/Applications.hpp"

namespace {

struct Destinations {
    Destinations() {
        DDS_InstanceHandleSeq_initialize(&seq);
        DDS_InstanceHandleSeq_ensure_length(&seq, 1, 1);
        DDS_InstanceHandleSeq_set_length(&seq, 0);
    }
    ~Destinations() { DDS_InstanceHandleSeq_finalize(&seq); }
    DDS_InstanceHandleSeq seq;
};

} // namespace

TEST(ApplicationResource, OwnsCopiesOfItsResourceAndName) {
    std::string name = "/applications/first";
    Application application(7, name);
    ASSERT_TRUE(application.isStanding);
    name[1] = '#';
    EXPECT_STREQ(application.get()->fullyQualifiedName, "/applications/first");
    EXPECT_EQ(application.impl.monitoringResource.guid[15], 7);
    EXPECT_EQ(application.impl.indexInMonitoringParticipant, -1);
    EXPECT_EQ(application.impl.monitoringParticipant, nullptr);
    EXPECT_EQ(application.impl.registry, someRegistry);
}

TEST(ApplicationResource, RefusesAMissingOrEmptyName) {
    LogCapture log;
    DDS_Monitoring_Resource resource;
    DDS_Monitoring_Resource_initialize(&resource);
    ORX_MonitoringForwarderApplicationResourceImpl impl;
    EXPECT_FALSE(ORX_MonitoringForwarderApplicationResource_initialize(
        &impl.parent, &resource, nullptr, someRegistry));
    EXPECT_FALSE(
        ORX_MonitoringForwarderApplicationResource_initialize(&impl.parent, &resource, "", someRegistry));
    EXPECT_TRUE(log.has("\"fullyQualifiedName == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_TRUE(log.has(
        "\"((fullyQualifiedName) == ((void *)0) ? 0 : strlen(fullyQualifiedName)) == 0\"\n", "PRECONDITION"));
    DDS_Monitoring_Resource_finalize(&resource);
}

TEST(ApplicationResource, LeavesNothingBehindWhenMemoryRunsOut) {
    DDS_Monitoring_Resource resource;
    DDS_Monitoring_Resource_initialize(&resource);
    ASSERT_TRUE(DDS_Monitoring_GUID_tSeq_set_length(&resource.children_guids, 3));
    bool failed = true;
    for (uint64_t n = 1; failed; ++n) {
        LogCapture log;
        FailingHeap heap;
        const auto before = ORXOsapiHeap_getLiveBufferCount();
        heap.failAt(n);
        ORX_MonitoringForwarderApplicationResourceImpl impl;
        const bool stood = ORX_MonitoringForwarderApplicationResource_initialize(
            &impl.parent, &resource, "/applications/app", someRegistry);
        failed = heap.hasFailed();
        EXPECT_NE(stood, failed) << n;
        if (stood)
            ORX_MonitoringForwarderApplicationResource_finalize(&impl.parent);
        EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), before) << n;
        EXPECT_TRUE(n > 2 || failed);
    }
    DDS_Monitoring_Resource_finalize(&resource);
}

TEST(ApplicationResource, KeepsACopyOfALoggingConfiguration) {
    Application application(1);
    DDS_Monitoring_LoggingConfig config;
    DDS_Monitoring_LoggingConfig_initialize(&config);
    DDS_Monitoring_LoggingSettingSeq_set_length(&config.logging_forwarding, 1);
    DDS_Monitoring_LoggingSettingSeq_get_reference(&config.logging_forwarding, 0)->facility = 23;
    ASSERT_TRUE(ORX_MonitoringForwarderApplicationResource_setLoggingConfig(application.get(), &config));
    DDS_Monitoring_LoggingSettingSeq_set_length(&config.logging_forwarding, 0);
    ASSERT_TRUE(ORX_MonitoringForwarderApplicationResource_getLoggingConfig(application.get(), &config));
    ASSERT_EQ(DDS_Monitoring_LoggingSettingSeq_get_length(&config.logging_forwarding), 1);
    EXPECT_EQ(DDS_Monitoring_LoggingSettingSeq_get_reference(&config.logging_forwarding, 0)->facility, 23);
    DDS_Monitoring_LoggingConfig_finalize(&config);
}

TEST(ApplicationResource, GivesOneDestinationForAllApplicationsOfAParticipant) {
    Application first(1), second(2), other(3);
    Participant participant(10), another(11);
    ASSERT_TRUE(participant.add(first) && participant.add(second) && another.add(other));
    Destinations destinations;
    for (Application* application : {&first, &second, &other, &first})
        ASSERT_TRUE(ORX_MonitoringForwarderApplicationResource_assertDestination(
            application->get(), &destinations.seq));
    ASSERT_EQ(DDS_InstanceHandleSeq_get_length(&destinations.seq), 2);
    const DDS_InstanceHandle_t expected[] = {handleOf(10), handleOf(11)};
    for (DDS_Long i = 0; i < 2; ++i)
        EXPECT_TRUE(DDS_InstanceHandle_equals(
            DDS_InstanceHandleSeq_get_reference(&destinations.seq, i), &expected[i]));
}

TEST(ApplicationResource, HasNoDestinationWithoutAParticipant) {
    LogCapture log;
    Application application(1);
    Destinations destinations;
    EXPECT_FALSE(
        ORX_MonitoringForwarderApplicationResource_assertDestination(application.get(), &destinations.seq));
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_PRECONDITION), 1u);
}

TEST(ApplicationResource, IsOrderedByNameAndThenByGuid) {
    Application a1(1, "/applications/a"), a2(2, "/applications/a"), b0(0, "/applications/b");
    const auto byName = ORX_MonitoringForwarderApplicationResource_compare;
    EXPECT_LT(byName(a1.get(), a2.get()), 0);
    EXPECT_LT(byName(a2.get(), b0.get()), 0);
    EXPECT_EQ(byName(a1.get(), a1.get()), 0);
    EXPECT_LT(ORX_MonitoringForwarderApplicationResource_compareGuid(b0.get(), a1.get()), 0);
}
