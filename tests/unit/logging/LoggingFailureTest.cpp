// Every allocation and every engine call fails once, through the creation of the collector, messages of every
// way, and the end. Nothing is left: no device, no thread, no byte.
#include <functional>
#include <string>

#include "tests/helpers/FailingHeap.hpp"
#include "tests/helpers/LogCapture.hpp"
#include "tests/unit/logging/LoggingWorld.hpp"
#include "zddscore/thread.h"

namespace {

// Whether slot 5 of the logger was empty. Empties it: who takes a device out gives the memory of its wrapper
// back, which was taken while the FailingHeap stood.
bool isSlotEmpty() {
    const uint64_t before = FailingHeap::releasesOfThisThread();
    EXPECT_TRUE(ADVLOGLogger_setDevice(5, nullptr, 0, 0));
    return FailingHeap::releasesOfThisThread() == before;
}

// One life of a collector, on its own.
struct Life {
    Life() {
        zdds::engine::setInstance(&engine);
        ORX_MonitoringProperty_t_initialize(&property);
        property.domain_id = 91;
        property.logging.publication_period = {0, 0};
        property.logging.initial_memory_size = 64; // so that arenas grow on the way
        property.logging.concurrency_level = 2;
        property.logging.max_historical_logs = 2;
        property.logging.max_logs_per_update = 2;
        current() = this;
        ORX_MonitoringHost_set_create_function(create);
    }
    ~Life() {
        ORX_MonitoringHost_stop();
        if (entities != nullptr)
            ORX_MonitoringLibraryEntities_delete(entities, DDS_DomainParticipantFactory_get_instance());
        ORX_MonitoringProperty_t_finalize_ex(&property, DDS_BOOLEAN_FALSE);
        ORX_MonitoringHost_finalize();
        ZDDS_Config_Logger_finalize_instance();
        zdds::engine::setInstance(nullptr);
    }
    Life(const Life&) = delete;
    Life& operator=(const Life&) = delete;

    bool live() {
        if (ORX_MonitoringHost_start(&property) == nullptr)
            return false;
        DDS_Monitoring_StructuredDataMapEntrySeq data{};
        bool result = true;
        for (int i = 0; i < 3; ++i) {
            LoggingWorld::log("of a service");
            LoggingWorld::log("of a user", ZDDS_CONFIG_LOG_FACILITY_USER);
            const DDS_Duration_t time{1, 2};
            (void)ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LOGGING, 0, 1, 1, nullptr);
            result &= ORX_MonitoringLogging_postMessage(logging, "with data", ZDDS_CONFIG_SYSLOG_LEVEL_ERROR,
                          1, &time, ZDDS_CONFIG_LOG_FACILITY_SECURITY_EVENT, &data, nullptr, 0) != 0;
            (void)ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LOGGING, 0, 1);
        }
        result &= ORX_MonitoringLogging_postSnapshot(logging) != 0;
        return (ORX_MonitoringHost_stop() != 0) & result;
    }

    static Life*& current() {
        static Life* life = nullptr;
        return life;
    }
    static ORX_MonitoringClass* create(
        DDS_DomainParticipantFactory* factory, const ORX_MonitoringProperty_t* property) {
        Life& self = *current();
        self.entities =
            ORX_MonitoringLibraryEntities_new(factory, const_cast<ORX_MonitoringProperty_t*>(property));
        if (self.entities == nullptr || !ORX_MonitoringLibraryEntities_enable(self.entities))
            return nullptr;
        const DDS_Octet guid[16] = {1};
        self.beforeCollector();
        self.logging = ORX_MonitoringLogging_new("log", &property->logging, self.entities->loggingWriter,
            &ORX_MonitoringGlobals_get_instance()->loggingConcurrency, guid);
        self.table.prefinalizeFunction = [](ORX_MonitoringClass*) {
            return static_cast<DDS_Boolean>(ORX_MonitoringLogging_prefinalize(current()->logging));
        };
        self.table.deleteFunction = [](ORX_MonitoringClass*) {
            EXPECT_TRUE(ORX_MonitoringLogging_delete(current()->logging));
        };
        self.table.postLogMessage = [](ORX_MonitoringClass*, const char* text,
                                        ZDDS_Config_SyslogLevel severity, DDS_UnsignedLong id,
                                        const DDS_Duration_t* time, ZDDS_Config_LogFacility facility,
                                        const void* data, const char* category, DDS_UnsignedLong index) {
            return static_cast<DDS_Boolean>(ORX_MonitoringLogging_postMessage(
                current()->logging, text, severity, id, time, facility, data, category, index));
        };
        return self.logging != nullptr ? &self.table : nullptr;
    }

    std::function<void()> beforeCollector = [] {};
    zdds::engine::LoopbackEngine engine;
    ORX_MonitoringProperty_t property{};
    ORX_MonitoringLibraryEntities* entities = nullptr;
    ORX_MonitoringLogging* logging = nullptr;
    ORX_MonitoringClass table{};
};

void warmUp() {
    LogCapture log;
    Life life;
    EXPECT_TRUE(life.live()) << log.text();
}

void walkAllocations(uint64_t times) {
    warmUp();
    const auto threads = ORXOsapiThread_getLiveThreadCount();
    uint64_t n = 0;
    bool failed = true;
    while (failed && n < 2000) {
        LogCapture log;
        const auto buffers = ORXOsapiHeap_getLiveBufferCount();
        {
            Life life;
            FailingHeap heap;
            heap.failAt(++n, times);
            (void)life.live();
            failed = heap.hasFailed();
            heap.failNoMore();
            EXPECT_TRUE(isSlotEmpty()) << n;
        }
        ASSERT_EQ(ORXOsapiThread_getLiveThreadCount(), threads) << n << "\n" << log.text();
        ASSERT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers) << n << "\n" << log.text();
    }
    EXPECT_FALSE(failed);
    EXPECT_GT(n, 40U);
}

TEST(LoggingFailure, EveryAllocationFails) {
    walkAllocations(1);
}

TEST(LoggingFailure, EveryAllocationIsTheLast) {
    walkAllocations(UINT64_MAX);
}

TEST(LoggingFailure, EachStepOfTheCreationHasItsLine) {
    const auto withSize = [](const char* type, size_t size) {
        return "'" + std::string(type) + "' with size " + std::to_string(size) + "\n";
    };
    const struct {
        const char* type; // of what is not to be had
        uint64_t n;
        const char* identifier;
        std::string subject;
    } steps[] = {
        {"struct ORX_MonitoringLogging", 1, "FAILED_TO_ALLOCATE",
            withSize("struct ORX_MonitoringLogging", sizeof(ORX_MonitoringLogging))},
        {"value", 1, "FAILED_TO_CREATE", "Logging sample\n"},
        {"REDAInlineMemoryBlock", 1, "FAILED_TO_CREATE", "Logging memory manager\n"},
        {"REDAInlineMemoryBlock", 3, "FAILED_TO_LOAN", "Logging snapshot sequence buffer for 2 elements."},
        {"struct ORX_MonitoringTaskExecutor", 1, "FAILED_TO_CREATE", "Logging executor\n"},
        {"struct ZDDS_Config_LoggerDevice", 1, "FAILED_TO_ALLOCATE",
            withSize("struct ZDDS_Config_LoggerDevice", sizeof(ZDDS_Config_LoggerDevice))},
        {"struct ADVLOGLoggerDevice", 1, "FAILED_TO_CREATE", "Monitoring ADVLOG device\n"},
    };
    for (const auto& step : steps) {
        LogCapture log;
        Life life;
        FailingHeap heap;
        life.beforeCollector = [&] { heap.failAt(step.n, 1, step.type); };
        EXPECT_FALSE(life.live());
        heap.failNoMore();
        EXPECT_EQ(life.logging, nullptr) << step.subject;
        EXPECT_TRUE(log.has(step.subject, step.identifier)) << step.subject << log.text();
        if (step.type != steps[0].type) {
            EXPECT_TRUE(log.has("ORX_MonitoringLogging.\n", "FAILED_TO_INITIALIZE")) << log.text();
        }
        EXPECT_TRUE(isSlotEmpty()) << step.subject;
    }
}

TEST(LoggingFailure, EveryEngineCallFails) {
    warmUp();
    const auto threads = ORXOsapiThread_getLiveThreadCount();
    int64_t call = 0;
    bool failed = true;
    while (failed && call < 200) {
        LogCapture log;
        const auto buffers = ORXOsapiHeap_getLiveBufferCount();
        {
            Life life;
            life.engine.failAt(++call);
            (void)life.live();
            failed = life.engine.calls() >= call;
        }
        ASSERT_EQ(ORXOsapiThread_getLiveThreadCount(), threads) << call;
        ASSERT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers) << call << "\n" << log.text();
    }
    EXPECT_GT(call, 2);
}

// With a library that fails after its logging collector stands, nobody is left in the slot.
TEST(LoggingFailure, ACreationThatFailsLateDetachesTheDevice) {
    LogCapture log;
    int failedLate = 0;
    for (int64_t call = 1; call < 30; ++call) {
        const FailingHeap heap;
        LoggingWorld world;
        world.engine.failAt(call);
        log.clear();
        if (world.Library::start()) {
            EXPECT_FALSE(isSlotEmpty()) << "a collector that stands is in it";
            break;
        }
        EXPECT_TRUE(isSlotEmpty()) << call;
        failedLate += log.has("Monitoring Library Entities", "FAILED_TO_ENABLE");
        EXPECT_EQ(ORX_MonitoringGlobals_get_instance()->monitoringClass, nullptr);
        EXPECT_TRUE(LoggingWorld::log("x"));
        EXPECT_TRUE(LoggingWorld::log("x", ZDDS_CONFIG_LOG_FACILITY_USER));
    }
    EXPECT_GT(failedLate, 0) << "enabling comes after the collector";
}

} // namespace
