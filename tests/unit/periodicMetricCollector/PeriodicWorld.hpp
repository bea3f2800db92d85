// The surroundings of the periodic collector: a host, entities over the loopback engine, a registry, a clock
// that the test moves, and metric groups that the test decides. The collector runs when the test says so.
#ifndef ORX_TESTS_PERIODIC_WORLD_HPP
#define ORX_TESTS_PERIODIC_WORLD_HPP

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "middleware/engine/loopback/LoopbackEngine.hpp"
#include "orxmonitoring2d/dds_status.h"
#include "src/dataModel/MetricCatalogue.h"
#include "src/entities/LibraryEntities.h"
#include "src/periodicMetricCollector/PeriodicMetricCollector.h"
#include "src/resource/IndexSequence.h"
#include "src/resource/ResourceLifecycle.h"
#include "tests/helpers/LogCapture.hpp"
#include "tests/helpers/MovedClock.hpp"
#include "tests/helpers/PeriodicReader.hpp"
#include "tests/helpers/Wait.hpp"

// What stands behind a resource: its groups, and what happens to those who fetch and return them. Set up
// before the collector runs.
struct Behind {
    std::map<DDS_UnsignedLong, const void*> groups{}; // one that is not here cannot be fetched
    std::set<DDS_UnsignedLong> notTakenBack{};
    std::function<void()> onFetch = [] {};
    Counter fetched{};
    Counter returned{};
};

class PeriodicWorld {
public:
    static constexpr DDS_DomainId_t domain = 81;
    static constexpr DDS_UnsignedLong writerCache = 9; // groups of a data writer
    static constexpr DDS_UnsignedLong writerProtocol = 12;
    using State = ORX_MonitoringPeriodicMetricCollectorState;
    static constexpr State initialized = ORX_MONITORING_PERIODIC_METRIC_COLLECTOR_STATUS_INITIALIZED;
    static constexpr State running = ORX_MONITORING_PERIODIC_METRIC_COLLECTOR_STATUS_RUNNING;
    static constexpr State stopped = ORX_MONITORING_PERIODIC_METRIC_COLLECTOR_STATUS_STOPPED;

    PeriodicWorld() {
        zdds::engine::setInstance(&engine);
        ORX_MonitoringProperty_t_initialize(&property);
        property.domain_id = domain;
        property.periodic.polling_period = {1, 0};
        current() = this;
        ORX_MonitoringHost_set_create_function(create);
        EXPECT_NE(ORX_MonitoringHost_start(&property), nullptr);
        realClock_ = ORX_MonitoringGlobals_get_instance()->eventClock;
        ORX_MonitoringGlobals_get_instance()->eventClock = clock.handle();
        reader = std::make_unique<PeriodicReader>(domain);
    }
    ~PeriodicWorld() {
        EXPECT_TRUE(stop());
        reader.reset();
        EXPECT_TRUE(ORX_MonitoringHost_stop());
        ORX_MonitoringGlobals_get_instance()->eventClock = realClock_;
        ORX_MonitoringResourceRegistry_delete(registry);
        ORX_MonitoringLibraryEntities_delete(entities, DDS_DomainParticipantFactory_get_instance());
        ORX_MonitoringProperty_t_finalize_ex(&property, DDS_BOOLEAN_FALSE);
        ORX_MonitoringHost_finalize();
        zdds::engine::setInstance(nullptr);
        current() = nullptr;
    }
    PeriodicWorld(const PeriodicWorld&) = delete;
    PeriodicWorld& operator=(const PeriodicWorld&) = delete;

    ORX_MonitoringPeriodicMetricCollector* newCollector() {
        return ORX_MonitoringPeriodicMetricCollector_new(
            &property.periodic, "oMo###Periodic", entities->periodicWriter, factory(), &prefix, registry);
    }
    // With its first event behind it.
    void start() {
        collector = newCollector();
        ASSERT_NE(collector, nullptr);
        ASSERT_TRUE(clock.settle());
    }
    void run() {
        start();
        setState(running);
    }
    bool stop() {
        if (!ORX_MonitoringPeriodicMetricCollector_delete(collector))
            return false;
        collector = nullptr;
        return true;
    }
    void setState(State state) { ORX_MonitoringPeriodicMetricCollector_setState(collector, state); }
    // Moves the clock by one polling period: one event runs, and it has ended then.
    void pass() {
        ORXNtpTime time = clock.now();
        ORXNtpTime period;
        DDS_Duration_to_ntp_time(&property.periodic.polling_period, &period);
        ORXNtpTime_add(&time, &time, &period);
        ASSERT_TRUE(clock.moveAndSettle(time));
    }
    // What the passes so far have published.
    PeriodicSamples received() {
        const DDS_Duration_t bound{60, 0};
        EXPECT_EQ(DDS_DataWriter_flushI(entities->periodicWriter, &bound), DDS_RETCODE_OK);
        return reader->takeNow();
    }

    ORX_MonitoringResource* addRoot() {
        DDS_GUID_t guid{};
        guid.value[0] = 0xA0;
        ORX_MonitoringGlobals& globals = *ORX_MonitoringGlobals_get_instance();
        globals.monitoringClass = nullptr; // as while create makes its root
        root = ORX_MonitoringResourceRegistry_assertResource(registry, &guid,
            ORX_MONITORING_APPLICATION_CLASS_ID, "app", nullptr, nullptr, &noForwarder, 0, nullptr, nullptr);
        impl.parent.rootResource = root;
        globals.monitoringClass = &impl.parent;
        return root;
    }
    ORX_MonitoringResource* add(DDS_UnsignedLong classId, const char* name, Behind& behind,
        const std::vector<DDS_UnsignedLong>& groups, const ORX_MonitoringResourceForwarder* with = nullptr) {
        DDS_GUID_t guid{};
        guid.value[14] = static_cast<DDS_Octet>(++made_ >> 8);
        guid.value[15] = static_cast<DDS_Octet>(made_);
        auto* resource = ORX_MonitoringResourceRegistry_assertResource(registry, &guid, classId, name,
            &behind, root, with != nullptr ? with : &forwarder, 0, nullptr, nullptr);
        for (const DDS_UnsignedLong group : groups)
            DDS_UnsignedLongSeq_assertElement(&resource->monitoredPeriodicMetricGroupIndex, group);
        return resource;
    }
    ORX_MonitoringResource* addWriter(
        const char* name, Behind& behind, const std::vector<DDS_UnsignedLong>& groups = {writerCache}) {
        return add(ORX_MONITORING_DATA_WRITER_CLASS_ID, name, behind, groups);
    }
    void remove(ORX_MonitoringResource* resource) {
        ORX_MonitoringResourceRegistry_deleteResource(registry, resource, 0, nullptr, nullptr);
    }
    static REDAWorkerFactory* factory() {
        return DDS_DomainParticipantFactory_get_worker_factoryI(
            DDS_DomainParticipantFactory_get_instance(), nullptr);
    }

    static constexpr ORXOsapiRtpsGuidPrefix prefix{1, 2, 3};
    zdds::engine::LoopbackEngine engine;
    MovedClock clock;
    ORX_MonitoringProperty_t property{};
    ORX_MonitoringClassImpl impl{};
    ORX_MonitoringLibraryEntities* entities = nullptr;
    ORX_MonitoringResourceRegistry* registry = nullptr;
    ORX_MonitoringResource* root = nullptr;
    ORX_MonitoringPeriodicMetricCollector* collector = nullptr;
    std::unique_ptr<PeriodicReader> reader;

    static DDS_Boolean getGroup(void** group, const void* userResource, DDS_UnsignedLong index) {
        auto& behind = *static_cast<Behind*>(const_cast<void*>(userResource));
        behind.onFetch();
        behind.fetched.add();
        const auto found = behind.groups.find(index);
        fetchedFrom() = &behind;
        *group = found != behind.groups.end() ? const_cast<void*>(found->second) : nullptr;
        return found != behind.groups.end();
    }
    // Nothing tells whose group comes back: it is that of the last one fetched, on the same thread.
    static DDS_Boolean returnGroup(void**, DDS_UnsignedLong index) {
        fetchedFrom()->returned.add();
        return !fetchedFrom()->notTakenBack.contains(index);
    }
    static constexpr ORX_MonitoringResourceForwarder forwarder{getGroup, returnGroup};
    static constexpr ORX_MonitoringResourceForwarder forwarderWithoutReturn{getGroup, nullptr};
    static constexpr ORX_MonitoringResourceForwarder noForwarder{nullptr, nullptr};

private:
    static PeriodicWorld*& current() {
        static PeriodicWorld* world = nullptr;
        return world;
    }
    static Behind*& fetchedFrom() {
        static thread_local Behind* last = nullptr;
        return last;
    }
    static ORX_MonitoringClass* create(
        DDS_DomainParticipantFactory* factory, const ORX_MonitoringProperty_t* property) {
        PeriodicWorld& self = *current();
        REDAInlineList_init(&self.selections_);
        self.registry = ORX_MonitoringResourceRegistry_new(&self.selections_);
        self.impl.resourceRegistry = self.registry;
        self.entities =
            ORX_MonitoringLibraryEntities_new(factory, const_cast<ORX_MonitoringProperty_t*>(property));
        if (self.entities == nullptr || !ORX_MonitoringLibraryEntities_enable(self.entities))
            return nullptr;
        self.impl.parent.prefinalizeFunction = [](ORX_MonitoringClass*) { return DDS_BOOLEAN_TRUE; };
        self.impl.parent.deleteFunction = [](ORX_MonitoringClass*) {};
        return &self.impl.parent;
    }

    REDAInlineList selections_{};
    unsigned made_ = 0;
    ORXClock* realClock_ = nullptr;
};

#endif
