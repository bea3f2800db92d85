// The schema against an independent account of it (schema.txt): a change of the IDL or of the generator that
// would change what travels, or what the tables name, shows here.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <map>
#include <set>
#include <span>
#include <sstream>
#include <string>

#include "SchemaText.hpp"
#include "orxmonitoring2d/schema_types.h"
#include "src/dataModel/IdHash.hpp"
#include "zddscore/hash.h"

namespace {

std::span<const DDS_TypePlugin* const> allTypes() {
    return orx_schema_types;
}

bool isOfModule(const DDS_TypeDescriptor& type) {
    return std::strncmp(type.name, "DDS::Monitoring::", 17) == 0;
}

template <typename Test> auto countTypes(Test test) {
    return std::ranges::count_if(
        allTypes(), [&](const DDS_TypePlugin* plugin) { return test(*plugin->type); });
}

template <typename Visit> void forEachMember(Visit visit) {
    for (const auto* plugin : allTypes()) {
        for (const auto& member : std::span(plugin->type->members, plugin->type->memberCount)) {
            visit(*plugin->type, member);
        }
    }
}

const DDS_TypeMember* findMember(const DDS_TypeDescriptor& type, const char* name) {
    for (const auto& member : std::span(type.members, type.memberCount)) {
        if (std::strcmp(member.name, name) == 0)
            return &member;
    }
    return nullptr;
}

TEST(Schema, IsWhatTheAccountTells) {
    std::map<std::string, std::string> definitions; // by name
    for (const auto* plugin : allTypes())
        definitions[plugin->type->name] = definitionText(*plugin->type);
    std::istringstream expected;
    {
        std::ifstream file(SCHEMA_TEXT_FILE);
        ASSERT_TRUE(file) << SCHEMA_TEXT_FILE;
        std::stringstream content;
        content << file.rdbuf();
        expected.str(content.str());
    }
    std::map<std::string, std::string> account;
    std::string current;
    for (std::string line; std::getline(expected, line);) {
        if (line.rfind("  ", 0) != 0) {
            const auto start = line.find(' ') + 1;
            current = line.substr(start, line.find(' ', start) - start);
        }
        account[current] += line + "\n";
    }
    EXPECT_EQ(account.size(), 168U);
    EXPECT_EQ(definitions.size(), 168U);
    for (const auto& [name, text] : account)
        EXPECT_EQ(definitions[name], text) << name;
}

TEST(Schema, HasTheTypesByKind) {
    const auto ofModule = [](DDS_TypeKind kind) {
        return countTypes([kind](const auto& type) { return isOfModule(type) && type.kind == kind; });
    };
    EXPECT_EQ(countTypes([](const auto&) { return true; }), 168);
    EXPECT_EQ(countTypes(isOfModule), 155);
    EXPECT_EQ(ofModule(DDS_TYPE_STRUCT), 109);
    EXPECT_EQ(ofModule(DDS_TYPE_UNION), 17);
    EXPECT_EQ(ofModule(DDS_TYPE_ENUM), 7);
    EXPECT_EQ(ofModule(DDS_TYPE_ALIAS), 22);
    EXPECT_EQ(countTypes([](const auto& type) { return type.extensibility == DDS_TYPE_MUTABLE; }), 27);
    EXPECT_EQ(countTypes([](const auto& type) { return type.extensibility == DDS_TYPE_FINAL; }), 8);
}

TEST(Schema, ArenaFormsBelongToAllButTheCommandTypes) {
#define COUNT(T) +1
    EXPECT_EQ(0 ORX_SCHEMA_LIST_MANAGED(COUNT), 103);
    EXPECT_EQ(0 ORX_SCHEMA_LIST_TOPIC(COUNT), 7);
    EXPECT_EQ(0 ORX_SCHEMA_LIST_STRUCT(COUNT) ORX_SCHEMA_LIST_UNION(COUNT) ORX_SCHEMA_LIST_ENUM(COUNT)
                  ORX_SCHEMA_LIST_ALIAS(COUNT),
        168);
#undef COUNT
}

TEST(Schema, EveryTypeAllowsBothRepresentationsAndHasNoKey) {
    for (const auto* plugin : allTypes()) {
        EXPECT_EQ(plugin->type->representationMask, 5U) << plugin->schemaName;
        EXPECT_EQ(plugin->keyKind, PRES_TYPEPLUGIN_NO_KEY) << plugin->schemaName;
        EXPECT_STREQ(plugin->schemaName, plugin->type->name);
        EXPECT_NE(plugin->type->runtime, nullptr) << plugin->schemaName;
    }
}

TEST(Schema, DefaultsAreZeros) {
    forEachMember([](const auto& type, const auto& member) {
        EXPECT_EQ(member.defaultInteger, 0) << type.name << "." << member.name;
        EXPECT_EQ(member.defaultReal, 0) << type.name << "." << member.name;
        EXPECT_EQ(member.defaultText, nullptr) << type.name << "." << member.name;
    });
}

TEST(Schema, AUnionBeginsAtItsLowestLabel) {
    for (const auto* plugin : allTypes()) {
        if (plugin->type->kind != DDS_TYPE_UNION)
            continue;
        DDS_LongLong lowest = plugin->type->members[0].labels[0];
        for (const auto& arm : std::span(plugin->type->members, plugin->type->memberCount)) {
            lowest = std::min(lowest, arm.labels[0]);
        }
        EXPECT_EQ(plugin->type->defaultDiscriminator, lowest) << plugin->schemaName;
    }
}

TEST(Schema, MembersOfOneNameShareTheirHashedId) {
    EXPECT_EQ(findMember(DDS_Monitoring_EventInfo_g_type, "root_resource_guid")->id, 87698121U);
    EXPECT_EQ(findMember(DDS_Monitoring_EventInfo_g_type, "is_snapshot")->id, 201246638U);
    EXPECT_EQ(findMember(DDS_Monitoring_LoggingEventInfo_g_type, "is_snapshot")->id, 201246638U);
    EXPECT_EQ(findMember(DDS_Monitoring_Resource_g_type, "name")->id, 210987184U);
    EXPECT_EQ(findMember(DDS_Monitoring_NameValuePair_g_type, "name")->id, 210987184U);
    EXPECT_EQ(findMember(DDS_Monitoring_Resource_g_type, "guid")->id, 27593758U);
}

TEST(Schema, SequenceNumbersKeepTheirSigns) {
    EXPECT_EQ(findMember(DDS_Monitoring_SequenceNumber_t_g_type, "high")->type->kind, DDS_TYPE_LONG);
    EXPECT_EQ(findMember(DDS_Monitoring_SequenceNumber_t_g_type, "low")->type->kind, DDS_TYPE_ULONG);
}

TEST(Schema, OffsetsAndSizesAreThoseOfTheStructures) {
    EXPECT_EQ(sizeof(DDS_Monitoring_GUID_t), 16U);
    EXPECT_EQ(sizeof(DDS_Monitoring_LoggingLevel), 4U);
    forEachMember([](const auto& type, const auto& member) {
        EXPECT_LT(member.offset, type.size) << type.name << "." << member.name;
    });
    EXPECT_EQ(DDS_Monitoring_Event_g_type.size, sizeof(DDS_Monitoring_Event));
    EXPECT_EQ(findMember(DDS_Monitoring_EventUnion_g_type, "application")->offset,
        offsetof(DDS_Monitoring_EventUnion, _u.application));
    EXPECT_EQ(findMember(DDS_Monitoring_Resource_g_type, "metric_ids")->offset,
        offsetof(DDS_Monitoring_Resource, metric_ids));
}

// A selector is handed to operations that take the middleware's selections.
TEST(Schema, AMetricSelectorHasTheShapeOfASelection) {
    EXPECT_EQ(DDS_Monitoring_MetricSelector_g_type.memberCount, 3U);
    EXPECT_EQ(offsetof(DDS_Monitoring_MetricSelector, resource_selector), 0U);
    static_assert(
        std::is_same_v<decltype(DDS_Monitoring_MetricSelector::subscribe_metric_selector), DDS_StringSeq>);
    static_assert(
        std::is_same_v<decltype(DDS_Monitoring_MetricSelector::unsubscribe_metric_selector), DDS_StringSeq>);
}

TEST(IdHash, AgreesWithTheSupportLayer) {
    std::string text;
    for (int length = 0; length < 200; ++length, text += static_cast<char>('a' + length % 26)) {
        ORXOsapiHash hash;
        ORXOsapiHash_initialize(&hash);
        ORXOsapiHash_computeMd5(&hash, text.data(), text.size());
        const auto word =
            static_cast<std::uint32_t>(hash.value[0]) | static_cast<std::uint32_t>(hash.value[1]) << 8 |
            static_cast<std::uint32_t>(hash.value[2]) << 16 | static_cast<std::uint32_t>(hash.value[3]) << 24;
        ASSERT_EQ(orx::dataModel::md5::firstWord(text), word) << length;
    }
}

} // namespace
