#include <gtest/gtest.h>

#include <deque>

#include "tests/helpers/LogCapture.hpp"
#include "tests/unit/monitoringForwarder/Applications.hpp"

TEST(MonitoringParticipant, KnowsItsPublicationAndHasNoApplicationAtFirst) {
    Participant participant(10);
    const DDS_InstanceHandle_t publication = handleOf(200);
    EXPECT_TRUE(DDS_InstanceHandle_equals(&participant.impl.publicationHandle, &publication));
    EXPECT_EQ(participant.count(), 0);
    EXPECT_GE(
        ORX_MonitoringForwarderApplicationResourcePtrSeq_get_maximum(&participant.impl.applicationsList), 1);
    EXPECT_EQ(ORX_MonitoringForwarderMonitoringParticipant_getServiceRequestReaderHandle(&participant.impl),
        &participant.impl.serviceRequestReaderHandle);
}

TEST(MonitoringParticipant, MovesTheLastApplicationToThePlaceOfTheRemovedOne) {
    Application first(1), second(2), third(3);
    Participant participant(10);
    ASSERT_TRUE(participant.add(first) && participant.add(second) && participant.add(third));
    EXPECT_TRUE(participant.remove(second));
    ASSERT_EQ(participant.count(), 2);
    EXPECT_EQ(participant.at(1), third.get());
    EXPECT_EQ(third.impl.indexInMonitoringParticipant, 1);
    EXPECT_EQ(second.impl.indexInMonitoringParticipant, -1);
    EXPECT_EQ(second.impl.monitoringParticipant, nullptr);
}

TEST(MonitoringParticipant, LeavesTheLastApplicationItsPlaceWhenItIsRemoved) {
    Application only(1);
    Participant participant(10);
    ASSERT_TRUE(participant.add(only));
    EXPECT_TRUE(participant.remove(only));
    EXPECT_EQ(participant.count(), 0);
    EXPECT_GE(
        ORX_MonitoringForwarderApplicationResourcePtrSeq_get_maximum(&participant.impl.applicationsList), 1);
    EXPECT_EQ(only.impl.indexInMonitoringParticipant, 0);
    EXPECT_EQ(only.impl.monitoringParticipant, &participant.impl);
    LogCapture log;
    EXPECT_FALSE(participant.remove(only));
    EXPECT_TRUE(log.has("\"applicationImpl->indexInMonitoringParticipant >= length\"\n")) << log.text();
}

TEST(MonitoringParticipant, RefusesToRemoveAnApplicationThatItDoesNotHave) {
    Application first(1), second(2), stranger(3);
    Participant participant(10);
    ASSERT_TRUE(participant.add(first) && participant.add(second) && participant.remove(first));
    LogCapture log;
    EXPECT_FALSE(participant.remove(first));
    EXPECT_FALSE(participant.remove(stranger));
    EXPECT_EQ(log.count("\"applicationImpl->indexInMonitoringParticipant == -1\"\n", "PRECONDITION"), 2u);
    EXPECT_EQ(participant.count(), 1);
}

TEST(MonitoringParticipant, TakesManyApplicationsAndGrowsGeometrically) {
    std::deque<Application> applications;
    Participant participant(10);
    for (int i = 0; i < 200; ++i)
        ASSERT_TRUE(participant.add(applications.emplace_back(static_cast<uint8_t>(i))));
    EXPECT_EQ(participant.count(), 200);
    for (int i = 0; i < 200; ++i)
        EXPECT_EQ(applications[static_cast<size_t>(i)].impl.indexInMonitoringParticipant, i);
    EXPECT_EQ(
        ORX_MonitoringForwarderApplicationResourcePtrSeq_get_maximum(&participant.impl.applicationsList),
        256);
}

TEST(MonitoringParticipant, LeavesItsApplicationsAliveWhenItEnds) {
    Application first(1), second(2);
    {
        Participant participant(10);
        ASSERT_TRUE(participant.add(first) && participant.add(second));
    }
    EXPECT_STREQ(first.get()->fullyQualifiedName, "/applications/app");
    EXPECT_STREQ(second.get()->fullyQualifiedName, "/applications/app");
}

TEST(MonitoringParticipant, IsOrderedByGuidWithNullFirst) {
    Participant low(10), high(10);
    high.impl.participantGuid.value[0] = 1;
    const auto compare = ORX_MonitoringForwarderMonitoringParticipant_compare;
    EXPECT_LT(compare(&low.impl, &high.impl), 0);
    EXPECT_GT(compare(&high.impl, &low.impl), 0);
    EXPECT_EQ(compare(&low.impl, &low.impl), 0);
    EXPECT_LT(compare(nullptr, &low.impl), 0);
    EXPECT_GT(compare(&low.impl, nullptr), 0);
    EXPECT_EQ(compare(nullptr, nullptr), 0);
}
