// The corpus of queries and request bodies, and the operations of real requests.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "fuzz/queries/QueryCheck.hpp"
#include "orxmonitoring2d/orx_remote_administration_support.h"
#include "tests/unit/middleware/LogCapture.hpp"

namespace {

TEST(QueryCorpus, IsTakenWithoutHarm) {
    const LogCapture quiet;
    size_t count = 0;
    for (const auto& file : std::filesystem::directory_iterator(ORX_QUERY_CORPUS)) {
        SCOPED_TRACE(file.path());
        std::ifstream stream(file.path(), std::ios::binary);
        const std::string bytes(std::istreambuf_iterator<char>(stream), {});
        QueryCheck::run(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
        ++count;
    }
    EXPECT_GE(count, 15U);
}

TEST(RequestKind, TellsTheOperationOfWhatThePluginEncodes) {
    const DDS_TypePlugin* plugin = DDS_Monitoring_MonitoringService_Request_get_type_plugin_info();
    constexpr uint32_t registry = 0x1EF2237E;
    constexpr uint32_t operations[] = {registry, 0xF4EA93FB, 0x95DC081B, 0x9D01AF1C, 0xE22A4431};
    for (const uint32_t operation : operations) {
        for (const char* name : {"", "a", "ab", "abc", "an instance with a long name"}) {
            for (const DDS_UnsignedShort representation : {DDS_UnsignedShort{DDS_XCDR_DATA_REPRESENTATION},
                     DDS_UnsignedShort{DDS_XCDR2_DATA_REPRESENTATION}}) {
                DDS_Monitoring_MonitoringService_Request request;
                ASSERT_TRUE(DDS_Monitoring_MonitoringService_Request_initialize(&request));
                request.data._d = static_cast<DDS_Long>(operation);
                DDS_String_replace(&request.header.instanceName, name);
                size_t size =
                    PRESTypePlugin_interpretedGetSerializedSampleSize(plugin, representation, &request);
                std::vector<uint8_t> bytes(size);
                ASSERT_TRUE(PRESTypePlugin_interpretedSerialize(
                    plugin, reinterpret_cast<char*>(bytes.data()), &size, representation, &request));
                EXPECT_EQ(zdds::host::mayRequestRegistry(bytes), operation == registry)
                    << operation << " '" << name << "' " << representation;
                DDS_Monitoring_MonitoringService_Request_finalize(&request);
            }
        }
    }
}

} // namespace
