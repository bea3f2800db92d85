// The surroundings of the event executor: the host's locks, entities over the loopback engine, a tree of
// resources, and metric groups that the test decides. The library itself is not there.
#ifndef ORX_TESTS_EVENT_WORLD_HPP
#define ORX_TESTS_EVENT_WORLD_HPP

#include <cstring>
#include <map>
#include <set>
#include <string>

#include "middleware/engine/loopback/LoopbackEngine.hpp"
#include "orxmonitoring2d/dds_status.h"
#include "src/dataModel/MetricCatalogue.h"
#include "src/entities/LibraryEntities.h"
#include "src/eventMetrics/EventSample.hpp"
#include "src/eventMetrics/EventTaskExecutor.h"
#include "src/resource/ResourceLifecycle.h"
#include "tests/helpers/EventReader.hpp"
#include "gtest/gtest.h"

class EventWorld {
public:
    static constexpr DDS_DomainId_t domain = 61;
    static constexpr DDS_Duration_t never{3600, 0};

    struct Options {
        DDS_Duration_t period{3600, 0}; // of the executor; the default leaves its worker asleep
        DDS_UnsignedLong level = 3;
        DDS_UnsignedLong gcThreshold = 10;
        DDS_Long arenaSize = 10240;
        bool isEnabled = true; // the writers
    };

    EventWorld() : EventWorld(Options{}) {}
    explicit EventWorld(const Options& options) {
        zdds::engine::setInstance(&engine);
        ORX_MonitoringProperty_t_initialize(&property);
        property.domain_id = domain;
        property.event.concurrency_level = options.level;
        property.event.publication_period = options.period;
        property.event.gc_threshold = options.gcThreshold;
        property.event.initial_memory_size = options.arenaSize;
        property.event.snapshot_delay = {0, 0};
        current() = this;
        options_ = options;
        ORX_MonitoringHost_set_create_function(create);
        ORX_MonitoringHost_start(&property);
        if (root != nullptr && options.isEnabled)
            ORX_MonitoringLibraryEntities_enable(entities);
    }
    ~EventWorld() {
        ORX_MonitoringHost_stop();
        stopExecutor();
        ORX_MonitoringResourceRegistry_delete(registry);
        ORX_MonitoringLibraryEntities_delete(entities, DDS_DomainParticipantFactory_get_instance());
        for (auto* entity : observed_)
            DDS_Entity_delete_observedI(entity);
        ORX_MonitoringProperty_t_finalize_ex(&property, DDS_BOOLEAN_FALSE);
        ORX_MonitoringHost_finalize();
        zdds::engine::setInstance(nullptr);
        current() = nullptr;
    }
    EventWorld(const EventWorld&) = delete;
    EventWorld& operator=(const EventWorld&) = delete;

    void stopExecutor() {
        ORX_MonitoringEventTaskExecutor_delete(executor);
        executor = nullptr;
    }

    // A resource that posts nothing when it is made.
    ORX_MonitoringResource* add(DDS_UnsignedLong classId, const char* name, ORX_MonitoringResource* parent,
        bool withForwarder = true) {
        DDS_GUID_t guid{};
        ++made_;
        for (unsigned i = 0; i < sizeof made_; ++i)
            guid.value[15 - i] = static_cast<DDS_Octet>(made_ >> (8 * i));
        DDS_Entity* entity = DDS_Entity_create_observedI(entityKind(classId), &guid, 1);
        observed_.push_back(entity);
        const ORX_MonitoringResourceForwarder forwarder{getGroup, returnGroup};
        return ORX_MonitoringResourceRegistry_assertResource(registry, &guid, classId, name, entity, parent,
            withForwarder ? &forwarder : nullptr, 0, nullptr, nullptr);
    }
    ORX_MonitoringResource* addParticipant(const char* name) {
        return add(ORX_MONITORING_PARTICIPANT_CLASS_ID, name, root);
    }
    ORX_MonitoringResource* addTopic(const char* name, ORX_MonitoringResource* parent) {
        return add(ORX_MONITORING_TOPIC_CLASS_ID, name, parent);
    }

    bool push(ORX_MonitoringResource* resource, ORX_UINT32 group, const void* value) {
        lock(resource);
        const bool result =
            ORX_MonitoringEventTaskExecutor_postEventUpdateTask(executor, resource, value, group) != 0;
        unlock(resource);
        return result;
    }
    void lock(const ORX_MonitoringResource* resource) {
        (void)ORX_Monitoring_lockI(
            ORX_MONITORING_LOCK_KIND_METRIC, resource->concurrencyIndex, 1, 1, nullptr);
    }
    void unlock(const ORX_MonitoringResource* resource) {
        (void)ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_METRIC, resource->concurrencyIndex, 1);
    }

    // The worker's part, on the calling thread: runs what is queued as one batch, and frees it. For an
    // executor of one queue whose worker is asleep.
    void runQueue(ORX_UINT32 index) {
        ASSERT_EQ(property.event.concurrency_level, 1U) << "with more, nodes of other queues would be met";
        auto& queue = executor->taskExecutor->queues[index];
        bool any = false;
        for (auto* node = REDAInlineList_getFirst(&queue.tasks); node != nullptr;
             node = REDAInlineListNode_getNext(node)) {
            any = true;
            lastResult =
                ORX_MonitoringEventTaskExecutor_onTaskAvailable(executor, reinterpret_cast<Task*>(node));
        }
        if (any)
            ORX_MonitoringEventTaskExecutor_onAfterProcessedQueue(executor);
        while (auto* node = REDAInlineList_getFirst(&queue.tasks)) {
            REDAInlineList_removeNodeEA(&queue.tasks, node);
            auto* task = reinterpret_cast<Task*>(node);
            if (task->state != nullptr) {
                EXPECT_TRUE(REDAInlineMemBuffer_release(task->state));
            }
            EXPECT_TRUE(task->deletePayloadFunction(task->payload));
            EXPECT_TRUE(REDAInlineMemBuffer_release(task));
        }
    }
    // The same, and what has reached the reader then.
    EventSamples run(EventReader& reader) {
        runQueue(0);
        return received(reader);
    }
    EventSamples received(EventReader& reader) {
        const DDS_Duration_t bound{60, 0};
        (void)DDS_DataWriter_flushI(entities->eventWriter, &bound);
        return reader.takeNow();
    }
    ORX_UINT32 liveBuffers(ORX_UINT32 index) {
        REDAInlineMemoryInfo info{};
        REDAInlineMemory_getInfo(executor->taskExecutor->queues[index].memoryManager, &info);
        return info.liveBuffers;
    }

    // Groups of any resource, by index; a group that is not there cannot be fetched.
    std::map<ORX_UINT32, const void*> groups;
    std::map<ORX_UINT32, int> fetched;
    std::map<ORX_UINT32, int> returned;

    zdds::engine::LoopbackEngine engine;
    ORX_MonitoringProperty_t property{};
    ORX_MonitoringLibraryEntities* entities = nullptr;
    ORX_MonitoringResourceRegistry* registry = nullptr;
    ORX_MonitoringResource* root = nullptr;
    ORX_MonitoringEventTaskExecutor* executor = nullptr;
    int lastResult = 1;

private:
    using Task = ORX_MonitoringTaskExecutorTask;

    static EventWorld*& current() {
        static EventWorld* world = nullptr;
        return world;
    }
    static DDS_Boolean getGroup(void** group, const void*, DDS_UnsignedLong index) {
        ++current()->fetched[index];
        auto found = current()->groups.find(index);
        if (found == current()->groups.end()) {
            *group = reinterpret_cast<void*>(uintptr_t{1}); // left behind by a getter that failed
            return DDS_BOOLEAN_FALSE;
        }
        *group = const_cast<void*>(found->second);
        return DDS_BOOLEAN_TRUE;
    }
    static DDS_Boolean returnGroup(void** group, DDS_UnsignedLong index) {
        if (*group != nullptr)
            ++current()->returned[index];
        return DDS_BOOLEAN_TRUE;
    }
    static DDS_EntityKind entityKind(DDS_UnsignedLong classId) {
        switch (classId) {
        case ORX_MONITORING_PARTICIPANT_CLASS_ID:
            return DDS_PARTICIPANT_ENTITY_KIND;
        case ORX_MONITORING_TOPIC_CLASS_ID:
            return DDS_TOPIC_ENTITY_KIND;
        case ORX_MONITORING_PUBLISHER_CLASS_ID:
            return DDS_PUBLISHER_ENTITY_KIND;
        default:
            return DDS_DATAWRITER_ENTITY_KIND;
        }
    }

    static ORX_MonitoringClass* create(
        DDS_DomainParticipantFactory* factory, const ORX_MonitoringProperty_t* property) {
        EventWorld& self = *current();
        self.entities =
            ORX_MonitoringLibraryEntities_new(factory, const_cast<ORX_MonitoringProperty_t*>(property));
        if (self.entities == nullptr)
            return nullptr;
        REDAInlineList_init(&self.selections_);
        self.registry = ORX_MonitoringResourceRegistry_new(&self.selections_);
        DDS_GUID_t guid{};
        guid.value[0] = 0xA0;
        const ORX_MonitoringResourceForwarder forwarder{getGroup, returnGroup};
        self.root = ORX_MonitoringResourceRegistry_assertResource(self.registry, &guid,
            ORX_MONITORING_APPLICATION_CLASS_ID, "app", nullptr, nullptr, &forwarder, 0, nullptr, nullptr);
        self.root->concurrencyIndex = 0;
        self.library_.rootResource = self.root;
        self.library_.prefinalizeFunction = [](ORX_MonitoringClass*) { return DDS_BOOLEAN_TRUE; };
        self.library_.deleteFunction = [](ORX_MonitoringClass*) {};
        self.executor =
            ORX_MonitoringEventTaskExecutor_new(&property->event, "event", self.entities->eventWriter,
                &ORX_MonitoringGlobals_get_instance()->eventConcurrency, self.root->base.guid);
        return self.executor != nullptr ? &self.library_ : nullptr;
    }

    Options options_;
    ORX_MonitoringClass library_{};
    REDAInlineList selections_{};
    std::vector<DDS_Entity*> observed_;
    uint32_t made_ = 0;
};

#endif
