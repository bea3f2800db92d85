#include <gtest/gtest.h>

#include <cstring>

#include "src/utils/PathTokenizer.h"
#include "tests/helpers/LogCapture.hpp"

namespace {

constexpr char text[] = "GUID(1A2B3C4D.5E6F7A8B.9C0D1E2F.3A4B5C6D)";
constexpr DDS_Monitoring_GUID_t octets = {
    0x1A, 0x2B, 0x3C, 0x4D, 0x5E, 0x6F, 0x7A, 0x8B, 0x9C, 0x0D, 0x1E, 0x2F, 0x3A, 0x4B, 0x5C, 0x6D};

bool parses(const char* string) {
    DDS_Monitoring_GUID_t guid = {};
    return DDS_Monitoring_GUID_fromStr(&guid, string) != 0 && std::memcmp(guid, octets, sizeof guid) == 0;
}

} // namespace

TEST(ResourceText, NamesTheClasses) {
    const struct {
        DDS_UnsignedLong id;
        const char* identifier;
    } classes[] = {{265647670, "applications"}, {99258059, "domain_participants"}, {116239698, "publishers"},
        {94988179, "subscribers"}, {208182173, "topics"}, {142415660, "data_writers"},
        {179666769, "data_readers"}, {46964057, "types"}, {0, "unknown"}, {265647671, "unknown"},
        {0xFFFFFFFF, "unknown"}};
    for (const auto& [id, identifier] : classes)
        EXPECT_STREQ(ORX_Monitoring_resourceClassIdToIdentifierStr(id), identifier);
}

TEST(ResourceText, GuidRoundTrips) {
    char written[ORX_MONITORING_GUID_TEXT_SIZE];
    std::memset(written, 'x', sizeof written);
    DDS_Monitoring_GUID_toStr(octets, written);
    EXPECT_STREQ(written, text);
    EXPECT_EQ(written[sizeof written - 1], 'x'); /* 42 bytes and no more */
    EXPECT_TRUE(parses(written));
}

TEST(ResourceText, GuidIsReadInEitherCase) {
    EXPECT_TRUE(parses("GUID(1a2b3c4d.5e6f7a8b.9c0d1e2f.3a4b5c6d)"));
}

TEST(ResourceText, WhatFollowsTheLastDigitIsNotExamined) {
    EXPECT_TRUE(parses("GUID(1A2B3C4D.5E6F7A8B.9C0D1E2F.3A4B5C6D"));
    EXPECT_TRUE(parses("GUID(1A2B3C4D.5E6F7A8B.9C0D1E2F.3A4B5C6D) and more"));
}

TEST(ResourceText, WhatIsNoGuidFailsAndChangesNothing) {
    for (const char* string : {"", "GUID(", "GUID()", "GUID(1A2B3C4D,5E6F7A8B.9C0D1E2F.3A4B5C6D)",
             "GUID(1A2B3C4D.5E6F7A8B.9C0D1E2F)", "guid(1A2B3C4D.5E6F7A8B.9C0D1E2F.3A4B5C6D)",
             "GUID(GGGGGGGG.5E6F7A8B.9C0D1E2F.3A4B5C6D)"}) {
        LogCapture log;
        DDS_Monitoring_GUID_t guid;
        std::memset(guid, 0x77, sizeof guid);
        EXPECT_EQ(DDS_Monitoring_GUID_fromStr(&guid, string), 0) << string;
        EXPECT_EQ(guid[0], 0x77);
        EXPECT_EQ(guid[15], 0x77);
        EXPECT_TRUE(log.has("resource GUID '" + std::string(string) + "'", "FAILED_TO_PARSE"));
    }
}

TEST(ResourceText, TellsGuidTokens) {
    LogCapture log;
    EXPECT_NE(ORX_Monitoring_isTokenGuid(text), 0);
    EXPECT_EQ(ORX_Monitoring_isTokenGuid("T"), 0);
    EXPECT_EQ(ORX_Monitoring_isTokenGuid("GUID"), 0);
    EXPECT_EQ(ORX_Monitoring_isTokenGuid(""), 0);
    EXPECT_TRUE(log.lines().empty()); /* another name is nothing to report */
    EXPECT_EQ(ORX_Monitoring_isTokenGuid("GUID(nonsense)"), 0);
    EXPECT_TRUE(log.has("GUID from string GUID(nonsense)", "FAILED_TO_GET"));
}

TEST(ResourceText, TellsExpressionsThatEndInAGuid) {
    const std::string guid = text;
    EXPECT_NE(ORX_Monitoring_isLastTokenGuid(text), 0);
    EXPECT_NE(ORX_Monitoring_isLastTokenGuid(("//" + guid).c_str()), 0);
    EXPECT_NE(ORX_Monitoring_isLastTokenGuid(("/applications/app1//" + guid).c_str()), 0);
    EXPECT_EQ(
        ORX_Monitoring_isLastTokenGuid(("//" + guid + "/").c_str()), 0); /* the last component is empty */
    EXPECT_EQ(ORX_Monitoring_isLastTokenGuid(("//" + guid + "/topics/T").c_str()), 0);
    EXPECT_EQ(ORX_Monitoring_isLastTokenGuid(""), 0);
}

TEST(ResourceText, NullIsAPrecondition) {
    LogCapture log;
    DDS_Monitoring_GUID_t guid;
    EXPECT_EQ(DDS_Monitoring_GUID_fromStr(&guid, nullptr), 0);
    EXPECT_EQ(DDS_Monitoring_GUID_fromStr(nullptr, text), 0);
    EXPECT_EQ(ORX_Monitoring_isTokenGuid(nullptr), 0);
    EXPECT_EQ(ORX_Monitoring_isLastTokenGuid(nullptr), 0);
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_PRECONDITION), 4u);
}
