#include "src/resource/ApplicationSelection.h"

#include <gtest/gtest.h>

#include "src/utils/PathTokenizer.h"
#include "tests/helpers/LogCapture.hpp"
#include "tests/unit/monitoringForwarder/RegistryWorld.hpp"

namespace {

class ApplicationSelection : public ::testing::Test {
protected:
    ApplicationSelection() {
        DDS_InstanceHandleSeq_initialize(&destinations);
        ORX_MonitoringForwarderApplicationResourcePtrSeq_initialize(&found);
        world.addParticipant(1);
        world.addParticipant(2);
        world.addApplication(1, "first", 1);
        world.addApplication(2, "second", 1);
        world.addApplication(3, "third", 2);
    }
    ~ApplicationSelection() override {
        DDS_InstanceHandleSeq_finalize(&destinations);
        ORX_MonitoringForwarderApplicationResourcePtrSeq_finalize(&found);
    }

    // -1 for a failure.
    DDS_Long countDestinations(const char* expression) {
        DDS_InstanceHandleSeq_set_length(&destinations, 0);
        if (!ORX_MonitoringForwarderApplicationRegistry_assertMatchingDestinations(
                world.registry, &destinations, expression))
            return -1;
        return DDS_InstanceHandleSeq_get_length(&destinations);
    }
    DDS_Long countApplications(const char* expression) {
        if (!ORX_MonitoringForwarderApplicationRegistry_findMatchingApplications(
                world.registry, &found, expression))
            return -1;
        return ORX_MonitoringForwarderApplicationResourcePtrSeq_get_length(&found);
    }
    static std::string guidText(uint8_t number) {
        DDS_Octet guid[16]{};
        guid[15] = number;
        char text[ORX_MONITORING_GUID_TEXT_SIZE];
        DDS_Monitoring_GUID_toStr(guid, text);
        return text;
    }

    LogCapture log;
    RegistryWorld world;
    DDS_InstanceHandleSeq destinations;
    ORX_MonitoringForwarderApplicationResourcePtrSeq found;
};

const ORX_MonitoringOpaqueResource* opaque(const ORX_MonitoringForwarderApplicationResource* application) {
    return reinterpret_cast<const ORX_MonitoringOpaqueResource*>(application);
}

} // namespace

TEST_F(ApplicationSelection, SeesAnApplicationAsALoneNode) {
    ORX_MonitoringOpaqueResourceAccessor accessor;
    ORX_MonitoringForwarderApplicationResource_getOpaqueResourceAccessor(&accessor);
    const auto* first = opaque(world.application(1));
    EXPECT_EQ(accessor.getNextSiblingFunction(first), nullptr);
    EXPECT_EQ(accessor.getFirstChildFunction(first), nullptr);
    EXPECT_EQ(accessor.getParentFunction(first), nullptr);
    EXPECT_TRUE(log.lines().empty()) << log.text();
    EXPECT_EQ(accessor.getParentFunction(nullptr), nullptr);
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_PRECONDITION), 1u);
    ORX_MonitoringOpaqueResourceInfo info;
    accessor.getInfoFunction(first, &info);
    EXPECT_STREQ(info.name, "/applications/first");
    EXPECT_EQ(info.guid[15], 1);
    EXPECT_EQ(info.classId, ORX_MONITORING_APPLICATION_CLASS_ID);
    EXPECT_EQ(
        accessor.findByGuidFunction(first, world.application(3) != nullptr ? info.guid : nullptr), first);
}

TEST_F(ApplicationSelection, CutsALongNameInTheInfo) {
    world.addApplication(4, std::string(400, 'x').c_str(), 1);
    ORX_MonitoringOpaqueResourceAccessor accessor;
    ORX_MonitoringForwarderApplicationResource_getOpaqueResourceAccessor(&accessor);
    ORX_MonitoringOpaqueResourceInfo info;
    accessor.getInfoFunction(opaque(world.application(4)), &info);
    EXPECT_EQ(std::string(info.name), "/applications/" + std::string(255 - 14, 'x'));
}

TEST_F(ApplicationSelection, LeavesTheInfoEmptyWithoutAName) {
    Application nameless(7);
    DDS_String_free(nameless.get()->fullyQualifiedName);
    nameless.get()->fullyQualifiedName = nullptr;
    ORX_MonitoringOpaqueResourceInfo info;
    std::memset(&info, 0x5A, sizeof info);
    ORX_MonitoringForwarderApplicationResource_getInfo(opaque(nameless.get()), &info);
    EXPECT_STREQ(info.name, "");
    EXPECT_EQ(info.guid[15], 0);
    EXPECT_EQ(info.classId, 0U);
    EXPECT_TRUE(log.has("name for application resource (name = (null))\n", "FAILED_TO_COPY")) << log.text();
}

TEST_F(ApplicationSelection, FindsApplicationsByGuidAndAll) {
    ASSERT_EQ(countApplications(("/applications/" + guidText(2)).c_str()), 1);
    EXPECT_EQ(
        *ORX_MonitoringForwarderApplicationResourcePtrSeq_get_reference(&found, 0), world.application(2));
    EXPECT_EQ(countApplications("/applications/*"), 3);
    EXPECT_EQ(countApplications("/applications/none"), 0);
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(ApplicationSelection, GivesEachDestinationOnce) {
    EXPECT_EQ(countDestinations("//*"), 2);
    EXPECT_EQ(countDestinations(("/applications/" + guidText(1)).c_str()), 1);
    EXPECT_EQ(countDestinations("//topics/anything"), 2);
    EXPECT_EQ(countDestinations("/applications/none"), 0);
    // Destinations gather over several expressions.
    EXPECT_EQ(countDestinations(("/applications/" + guidText(1)).c_str()), 1);
    EXPECT_TRUE(ORX_MonitoringForwarderApplicationRegistry_assertMatchingDestinations(
        world.registry, &destinations, "//*"));
    EXPECT_EQ(DDS_InstanceHandleSeq_get_length(&destinations), 2);
}

TEST_F(ApplicationSelection, ReportsAnExpressionThatCannotBeRead) {
    std::string tooDeep;
    for (int i = 0; i < 40; ++i)
        tooDeep += "/a";
    EXPECT_EQ(countDestinations(tooDeep.c_str()), -1);
    EXPECT_EQ(countApplications(tooDeep.c_str()), -1);
    EXPECT_EQ(log.count("Applications matching expression '" + tooDeep + "'", "FAILED_TO_GET"), 2u);
    // The mutex is free again.
    EXPECT_EQ(world.registry->applicationRegistryMutex->owner, 0u);
}

TEST_F(ApplicationSelection, FindsNothingWithoutApplications) {
    RegistryWorld empty;
    EXPECT_TRUE(ORX_MonitoringForwarderApplicationRegistry_assertMatchingDestinations(
        empty.registry, &destinations, "//*"));
    EXPECT_EQ(DDS_InstanceHandleSeq_get_length(&destinations), 0);
}
