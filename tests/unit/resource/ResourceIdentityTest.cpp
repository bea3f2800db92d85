#include "src/resource/ResourceIdentity.h"

#include <gtest/gtest.h>

#include <cstring>
#include <regex>
#include <string>

#include "src/dataModel/MetricCatalogue.h"
#include "tests/helpers/LogCapture.hpp"
#include "zddscore/hash.h"

namespace {

constexpr DDS_UInt8 userGuid[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 0xFF};
constexpr char userGuidText[] = "0x01020304,0x05060708,0x090A0B0C:0x0D0E0FFF";
constexpr char precondition[] =
    "\"userResourceGuid == ((void *)0) && (resourceName == ((void *)0) || *resourceName == '\\\\0')\"\n";

std::string md5(const std::string& bytes) {
    ORXOsapiHash hash;
    ORXOsapiHash_initialize(&hash);
    ORXOsapiHash_computeMd5(&hash, bytes.data(), bytes.size());
    return {reinterpret_cast<const char*>(hash.value), sizeof hash.value};
}

std::string guidOf(const DDS_UInt8* guid, const char* name, const void* userResource) {
    DDS_Monitoring_GUID_t result = {};
    EXPECT_EQ(ORX_MonitoringResource_generateGuid(&result, guid, name, userResource), 1);
    return {reinterpret_cast<const char*>(result), sizeof result};
}

ORX_MonitoringResource makeResource(
    ORX_MonitoringResource* parent, DDS_UnsignedLong classId, const char* name) {
    ORX_MonitoringResource resource{};
    resource.parent = parent;
    resource.base.class_id = classId;
    resource.base.name = const_cast<char*>(name);
    return resource;
}

} // namespace

TEST(ResourceIdentity, GuidIsTheDigestOfWhatIsGiven) {
    const std::string guid(reinterpret_cast<const char*>(userGuid), sizeof userGuid);
    int entity = 0;
    const void* handle = &entity;
    const std::string handleBytes(reinterpret_cast<const char*>(&handle), sizeof handle);
    EXPECT_EQ(guidOf(userGuid, "/a/b", handle), md5(guid + handleBytes + "/a/b"));
    EXPECT_EQ(guidOf(userGuid, "/a/b", nullptr), md5(guid + "/a/b"));
    EXPECT_EQ(guidOf(nullptr, "/a/b", handle), md5(handleBytes + "/a/b"));
    EXPECT_EQ(guidOf(nullptr, "/a/b", nullptr), md5("/a/b"));
    EXPECT_EQ(guidOf(nullptr, "", nullptr), md5(""));
}

TEST(ResourceIdentity, NameOf1023CharactersIsHashedAndOneMoreRefused) {
    const std::string longest(1023, 'n');
    EXPECT_EQ(guidOf(nullptr, longest.c_str(), nullptr), md5(longest));
    LogCapture log;
    DDS_Monitoring_GUID_t guid = {7};
    EXPECT_EQ(ORX_MonitoringResource_generateGuid(&guid, nullptr, (longest + "n").c_str(), nullptr), 0);
    EXPECT_EQ(guid[0], 7);
    EXPECT_TRUE(
        log.has("\"((fullyQualifiedName) == ((void *)0) ? 0 : strlen(fullyQualifiedName)) >= 1024\"\n",
            "PRECONDITION"));
}

TEST(ResourceIdentity, FullyQualifiedNameGoesDownFromTheRoot) {
    auto app = makeResource(nullptr, ORX_MONITORING_APPLICATION_CLASS_ID, "myapp");
    auto participant = makeResource(&app, ORX_MONITORING_PARTICIPANT_CLASS_ID, "part1");
    auto writer = makeResource(&participant, ORX_MONITORING_DATA_WRITER_CLASS_ID, "w1");
    char name[1024];
    std::memset(name, 'x', sizeof name); /* whatever the buffer held */
    const std::string expected = "/applications/myapp/domain_participants/part1/data_writers/w1";
    EXPECT_EQ(ORX_MonitoringResource_getFullyQualifiedName(name, sizeof name, &writer), expected.size());
    EXPECT_EQ(name, expected);
}

TEST(ResourceIdentity, LevelWithoutANameGoesByItsGuid) {
    auto app = makeResource(nullptr, ORX_MONITORING_APPLICATION_CLASS_ID, "myapp");
    char name[1024];
    for (const char* none : {static_cast<const char*>(nullptr), ""}) {
        const std::string expected = std::string("/applications/myapp/topics/") + userGuidText;
        EXPECT_EQ(ORX_MonitoringResource_getFullyQualifiedNameI(
                      name, sizeof name, &app, userGuid, none, ORX_MONITORING_TOPIC_CLASS_ID),
            expected.size());
        EXPECT_EQ(name, expected);
    }
    ORX_MonitoringResource_getFullyQualifiedNameI(name, sizeof name, nullptr, userGuid, "named", 4711);
    EXPECT_STREQ(name, "/unknown/named");
}

TEST(ResourceIdentity, LevelNeedsANameOrAGuid) {
    LogCapture log;
    char name[1024];
    EXPECT_EQ(ORX_MonitoringResource_getFullyQualifiedNameI(name, sizeof name, nullptr, nullptr, "", 1), 0u);
    EXPECT_EQ(
        ORX_MonitoringResource_getFullyQualifiedNameI(name, sizeof name, nullptr, nullptr, nullptr, 1), 0u);
    EXPECT_EQ(log.count(precondition, "PRECONDITION"), 2u);
    EXPECT_EQ(ORX_MonitoringResource_getFullyQualifiedNameI(name, 0, nullptr, userGuid, "x", 1), 0u);
    EXPECT_TRUE(log.has("\"fullyQualifiedNameMaxSize == 0\"\n"));
}

TEST(ResourceIdentity, PiecesThatDoNotFitAreLeftOut) {
    const std::string longName(300, 'n');
    auto app = makeResource(nullptr, ORX_MONITORING_APPLICATION_CLASS_ID, "app");
    auto big = makeResource(&app, ORX_MONITORING_PARTICIPANT_CLASS_ID, longName.c_str());
    auto topic = makeResource(&big, ORX_MONITORING_TOPIC_CLASS_ID, "T");
    LogCapture log;
    struct {
        char name[64];
        char guard = 0x5A;
    } buffer;
    const std::string expected = "/applications/app/domain_participants//topics/T";
    EXPECT_EQ(ORX_MonitoringResource_getFullyQualifiedName(buffer.name, sizeof buffer.name, &topic),
        expected.size());
    EXPECT_EQ(buffer.name, expected);
    EXPECT_EQ(buffer.guard, 0x5A);
    EXPECT_TRUE(log.has("'" + longName + "' into fully qualified name\n", "FAILED_TO_ADD"));
}

TEST(ResourceIdentity, GuidThatDoesNotFitIsLeftOutWhole) {
    LogCapture log;
    char name[32];
    const std::string expected = "/topics/";
    EXPECT_EQ(ORX_MonitoringResource_getFullyQualifiedNameI(
                  name, sizeof name, nullptr, userGuid, nullptr, ORX_MONITORING_TOPIC_CLASS_ID),
        expected.size());
    EXPECT_EQ(name, expected);
    EXPECT_TRUE(
        log.has(std::string("GUID ") + userGuidText + " into fully qualified name '" + expected + "'\n",
            "FAILED_TO_ADD"));
}

TEST(ResourceIdentity, NameNeverLeavesItsBuffer) {
    LogCapture quiet;
    auto app = makeResource(nullptr, ORX_MONITORING_APPLICATION_CLASS_ID, "application");
    auto participant = makeResource(&app, ORX_MONITORING_PARTICIPANT_CLASS_ID, "participant");
    auto topic = makeResource(&participant, ORX_MONITORING_TOPIC_CLASS_ID, "");
    for (ORX_UINT32 size = 1; size < 140; ++size) {
        std::string buffer(size + 1, '\x5A');
        const ORX_UINT32 written = ORX_MonitoringResource_getFullyQualifiedName(buffer.data(), size, &topic);
        EXPECT_LT(written, size);
        EXPECT_EQ(std::strlen(buffer.c_str()), written);
        EXPECT_EQ(buffer[size], '\x5A');
    }
}

TEST(ResourceIdentity, RootIsNamedAfterTheApplication) {
    char name[64];
    EXPECT_EQ(ORX_MonitoringResource_getRootResourceName(name, sizeof name, "my app"), 1);
    EXPECT_STREQ(name, "my app");
    EXPECT_EQ(ORX_MonitoringResource_getRootResourceName(name, sizeof name, ""), 1);
    EXPECT_STREQ(name, "");
    LogCapture log;
    EXPECT_EQ(ORX_MonitoringResource_getRootResourceName(name, 4, "my app"), 0);
    EXPECT_TRUE(log.has("'my app' into root resource name\n"));
}

TEST(ResourceIdentity, RootWithoutAnApplicationGetsANameOfItsOwnEachTime) {
    char first[1024];
    char second[1024];
    char host[256];
    ASSERT_EQ(ORXOsapiHost_getHostName(host, sizeof host), 0);
    ASSERT_EQ(ORX_MonitoringResource_getRootResourceName(first, sizeof first, nullptr), 1);
    ASSERT_EQ(ORX_MonitoringResource_getRootResourceName(second, sizeof second, nullptr), 1);
    EXPECT_STRNE(first, second);
    const std::string prefix = std::string(host) + ":" + std::to_string(ORXOsapiProcess_getId()) + ":";
    const std::string name = first;
    ASSERT_EQ(name.substr(0, prefix.size()), prefix);
    EXPECT_TRUE(
        std::regex_match(name.substr(prefix.size()), std::regex("0x[0-9A-F]{8},0x[0-9A-F]{8},0x[0-9A-F]{8}")))
        << name;

    LogCapture log;
    EXPECT_EQ(ORX_MonitoringResource_getRootResourceName(
                  first, static_cast<ORX_UINT32>(std::strlen(host) + 5), nullptr),
        0);
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_TRUE(std::regex_match(log.lines()[0].subject,
        std::regex("':[0-9]+:0x[0-9A-F]{8},0x[0-9A-F]{8},0x[0-9A-F]{8}' into root resource name\n")));
}
