// Loading a library into a host that is itself a shared library.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/unit/middleware/LogCapture.hpp"
#include "zddsc/monitoring.h"

namespace {

TEST(LibraryLoader, ALibraryRegistersItsCreateFunction) {
    LogCapture log;
    EXPECT_FALSE(ORX_MonitoringHost_load_library("/nonexistent.so"));
    ASSERT_TRUE(ORX_MonitoringHost_load_library(ORX_LOADABLE_STUB));
    const ORX_MonitoringGlobals& globals = *ORX_MonitoringGlobals_get_instance();
    EXPECT_NE(globals.libraryHandle, nullptr);
    EXPECT_NE(globals.createFunction, nullptr);
    const auto create = globals.createFunction;
    EXPECT_TRUE(ORX_MonitoringHost_load_library(ORX_LOADABLE_STUB)) << "once more changes nothing";
    EXPECT_EQ(globals.createFunction, create);
    ORX_MonitoringProperty_t property;
    ASSERT_TRUE(ORX_MonitoringProperty_t_initialize(&property));
    EXPECT_EQ(ORX_MonitoringHost_start(&property), nullptr) << "this one makes nothing";
    EXPECT_FALSE(ORX_MonitoringHost_is_enabled());
    ORX_MonitoringHost_finalize();
}

} // namespace
