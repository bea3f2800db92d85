// Lines that the engine logs, as lines of the support layer's log.
#include <dds/ddsrt/log.h>
#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <vector>

#include "zddsc/logger.h"
#include "zddscore/log.h"

namespace {

// What sinks are given while the engine's lines are taken.
class EngineLine : public ::testing::Test {
protected:
    struct Line {
        ORX_UINT32 level;
        ORX_UINT32 module;
        std::string message;
        std::string file;
        int line;
    };
    EngineLine() : sink_(ORXLog_addSink(&EngineLine::add, this)) {
        ORXLog_setStderrEnabled(0);
        dds_set_log_mask(DDS_LC_FATAL | DDS_LC_ERROR | DDS_LC_WARNING | DDS_LC_INFO);
        ZDDS_Config_Logger_take_engine_linesI(DDS_BOOLEAN_TRUE);
    }
    ~EngineLine() override {
        ZDDS_Config_Logger_take_engine_linesI(DDS_BOOLEAN_FALSE);
        ORXLog_removeSink(sink_);
        ORXLog_setStderrEnabled(1);
    }
    static void add(void* context, const ORXLogLine* line) {
        auto* self = static_cast<EngineLine*>(context);
        const std::lock_guard lock(self->mutex_);
        self->lines_.push_back({line->level, line->module, line->message, line->file, line->line});
    }
    std::vector<Line> lines() {
        const std::lock_guard lock(mutex_);
        return lines_;
    }

private:
    std::mutex mutex_;
    std::vector<Line> lines_;
    const int sink_;
};

TEST_F(EngineLine, HasItsLevelItsPlaceAndItsTextWithoutTheLineEnd) {
    dds_log(DDS_LC_WARNING, "engine/receive.c", 42, "receive", "packet %d is malformed\n", 7);
    dds_log(DDS_LC_ERROR, "engine/receive.c", 43, "receive", "no memory\n");
    dds_log(DDS_LC_INFO, "engine/receive.c", 44, "receive", "at %%s work\n");
    const auto seen = lines();
    ASSERT_EQ(seen.size(), 3U);
    EXPECT_EQ(seen[0].message, "packet 7 is malformed");
    EXPECT_EQ(seen[0].level, ORX_LOG_BIT_WARNING);
    EXPECT_EQ(seen[0].module, ORX_LOG_MODULE_DDS);
    EXPECT_EQ(seen[0].file, "receive.c");
    EXPECT_EQ(seen[0].line, 42);
    EXPECT_EQ(seen[1].level, ORX_LOG_BIT_ERROR);
    EXPECT_EQ(seen[2].message, "at %s work") << "a text is no format";
    EXPECT_EQ(seen[2].level, ORX_LOG_BIT_STATUS);
}

TEST_F(EngineLine, IsCutWhenItIsLong) {
    dds_log(DDS_LC_WARNING, "receive.c", 1, "receive", "%s\n", std::string(100'000, 'x').c_str());
    const auto seen = lines();
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_LT(seen[0].message.size(), 4096U);
    EXPECT_GT(seen[0].message.size(), 500U);
}

TEST_F(EngineLine, GoesWhereTheEngineWritesItOnceItIsNotTaken) {
    ZDDS_Config_Logger_take_engine_linesI(DDS_BOOLEAN_FALSE);
    testing::internal::CaptureStderr();
    dds_log(DDS_LC_WARNING, "receive.c", 1, "receive", "for the engine's own\n");
    EXPECT_NE(testing::internal::GetCapturedStderr().find("for the engine's own"), std::string::npos);
    EXPECT_TRUE(lines().empty());
}

} // namespace
