// A monitoring object reduced to what resources need: globals with their mutexes, a registry, selections and
// a root.
#ifndef ORX_TESTS_RESOURCE_FIXTURE_HPP
#define ORX_TESTS_RESOURCE_FIXTURE_HPP

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include <cstring>
#include <set>

#include "middleware/engine/loopback/LoopbackEngine.hpp"
#include "orxmonitoring2d/monitoring_resource.h"
#include "src/dataModel/MetricCatalogue.h"
#include "src/entities/LibraryEntities.h"
#include "src/eventMetrics/EventTaskExecutor.h"
#include "src/monitoringClass/MetricSelectionStore.h"
#include "src/resource/MetricSubscription.h"
#include "src/resource/ResourceLifecycle.h"
#include "tests/helpers/FailingHeap.hpp"
#include "tests/helpers/LogCapture.hpp"

using Names = std::vector<std::string>;

inline DDS_GUID_t makeGuid(uint32_t number) {
    DDS_GUID_t guid{};
    for (int i = 0; i < 4; ++i)
        guid.value[15 - i] = static_cast<DDS_Octet>(number >> (8 * i));
    return guid;
}

inline std::string guidOf(const DDS_Monitoring_GUID_t& guid) {
    return {reinterpret_cast<const char*>(guid), sizeof guid};
}

inline std::vector<DDS_UnsignedLong> toVector(const DDS_UnsignedLongSeq& sequence) {
    std::vector<DDS_UnsignedLong> all;
    for (DDS_Long i = 0; i < DDS_UnsignedLongSeq_get_length(&sequence); ++i)
        all.push_back(DDS_UnsignedLongSeq_get(&sequence, i));
    return all;
}

// Nodes of a list, in an order given, that the test owns.
class SelectionList {
public:
    SelectionList() { REDAInlineList_init(&list); }
    ~SelectionList() { clear(); }
    SelectionList(const SelectionList&) = delete;
    SelectionList& operator=(const SelectionList&) = delete;

    void add(const char* expression, std::initializer_list<const char*> enabled,
        std::initializer_list<const char*> disabled = {}) {
        auto* node = new ORX_MonitoringMetricSelectionNode{};
        REDAInlineListNode_init(&node->inlineListNode);
        node->metricSelection.resource_selection = DDS_String_dup(expression);
        fill(node->metricSelection.enabled_metrics_selection, enabled);
        fill(node->metricSelection.disabled_metrics_selection, disabled);
        REDAInlineList_addNodeToBackEA(&list, &node->inlineListNode);
    }
    void clear() {
        while (REDAInlineListNode* node = REDAInlineList_getFirst(&list)) {
            REDAInlineList_removeNodeEA(&list, node);
            auto* selection = reinterpret_cast<ORX_MonitoringMetricSelectionNode*>(node);
            DDS_MonitoringMetricSelection_finalize(&selection->metricSelection);
            delete selection;
        }
    }

    REDAInlineList list;

private:
    static void fill(DDS_StringSeq& sequence, std::initializer_list<const char*> texts) {
        DDS_StringSeq_ensure_length(
            &sequence, static_cast<DDS_Long>(texts.size()), static_cast<DDS_Long>(texts.size()));
        DDS_Long i = 0;
        for (const char* text : texts)
            DDS_String_replace(DDS_StringSeq_get_reference(&sequence, i++), text);
    }
};

// An executor whose worker sleeps, so that what was posted can be looked at. It never comes to its writer.
// Its arenas are small, so that posts need the heap.
class PostedEvents {
public:
    explicit PostedEvents(const ORX_MonitoringResource& root) {
        ORX_MonitoringProperty_t property{};
        ORX_MonitoringProperty_t_initialize(&property);
        property.event.publication_period = {3600, 0};
        property.event.initial_memory_size = 64;
        zdds::engine::setInstance(&engine_);
        entities_ = ORX_MonitoringLibraryEntities_new(DDS_DomainParticipantFactory_get_instance(), &property);
        executor = ORX_MonitoringEventTaskExecutor_new(&property.event, "test", entities_->eventWriter,
            &ORX_MonitoringGlobals_get_instance()->eventConcurrency, root.base.guid);
        ORX_MonitoringProperty_t_finalize_ex(&property, DDS_BOOLEAN_FALSE);
    }
    ~PostedEvents() {
        ORX_MonitoringEventTaskExecutor_delete(executor);
        ORX_MonitoringLibraryEntities_delete(entities_, DDS_DomainParticipantFactory_get_instance());
        zdds::engine::setInstance(nullptr);
    }
    PostedEvents(const PostedEvents&) = delete;
    PostedEvents& operator=(const PostedEvents&) = delete;

    // Events of a kind, each counted once however many queues it is in; of one resource, if one is named.
    size_t count(ORX_MonitoringEventTaskKind kind, const ORX_MonitoringResource* resource = nullptr) const {
        size_t number = 0;
        for (const auto* event : events(kind))
            number += resource == nullptr || std::memcmp(event->resourceGuid, resource->base.guid, 16) == 0;
        return number;
    }
    // The GUIDs of the resources whose removal was posted.
    std::multiset<std::string> removed() const {
        std::multiset<std::string> guids;
        for (const auto* event : events(ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_REMOVAL)) {
            const auto* update =
                static_cast<const DDS_Monitoring_ResourceUpdate*>(event->distributionMetricGroupMemory);
            EXPECT_EQ(update->_d, DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_DELETION_KIND);
            guids.insert(guidOf(update->_u.delete_resource.guid));
        }
        return guids;
    }

    ORX_MonitoringEventTaskExecutor* executor;

private:
    std::set<const ORX_MonitoringEventTask*> events(ORX_MonitoringEventTaskKind kind) const {
        std::set<const ORX_MonitoringEventTask*> all;
        for (ORX_UINT32 queue = 0; queue < executor->taskExecutor->property.concurrencyLevel; ++queue) {
            const REDAInlineList& tasks = executor->taskExecutor->queues[queue].tasks;
            for (auto* node = REDAInlineList_getFirst(&tasks); node != nullptr;
                 node = REDAInlineListNode_getNext(node)) {
                const auto* event = static_cast<const ORX_MonitoringEventTask*>(
                    reinterpret_cast<const ORX_MonitoringTaskExecutorTask*>(node)->payload);
                if (event->kind == kind)
                    all.insert(event);
            }
        }
        return all;
    }

    zdds::engine::LoopbackEngine engine_;
    ORX_MonitoringLibraryEntities* entities_;
};

class ResourceFixture : public testing::Test {
protected:
    explicit ResourceFixture(DDS_UnsignedLong concurrencyLevel = 3) {
        self = this;
        EXPECT_TRUE(ORX_MonitoringProperty_t_initialize(&property));
        property.event.concurrency_level = concurrencyLevel;
        EXPECT_TRUE(ORX_MonitoringHost_set_create_function(&ResourceFixture::create));
        EXPECT_NE(ORX_MonitoringHost_start(&property), nullptr);
    }
    ~ResourceFixture() override {
        EXPECT_TRUE(ORX_MonitoringHost_stop());
        ORX_MonitoringHost_finalize();
        ORX_MonitoringProperty_t_finalize_ex(&property, DDS_BOOLEAN_FALSE);
    }

    // Made without posts.
    ORX_MonitoringResource* add(ORX_MonitoringResource* parent, DDS_UnsignedLong classId, const char* name,
        void* userResource = nullptr) {
        const DDS_GUID_t guid = makeGuid(++guidCount);
        return ORX_MonitoringResourceRegistry_assertResource(
            registry, &guid, classId, name, userResource, parent, &noGroups, 0, nullptr, nullptr);
    }
    void remove(ORX_MonitoringResource* resource) {
        ORX_MonitoringResourceRegistry_deleteResource(registry, resource, 0, nullptr, nullptr);
    }
    Names deepFirst() const {
        Names names;
        for (auto* resource = ORX_MonitoringResourceRegistry_getFirstResource(registry, 0, 0);
             resource != nullptr;
             resource = ORX_MonitoringResourceRegistry_getNextResource(registry, resource, 0, 0))
            names.emplace_back(resource->base.name);
        return names;
    }
    static Names children(ORX_MonitoringResource* parent) {
        Names names;
        for (auto* child = ORX_MonitoringResource_getFirstChild(parent); child != nullptr;
             child = ORX_MonitoringResource_getNextSibling(child))
            names.emplace_back(child->base.name);
        return names;
    }
    // Every way to the resources tells the same tree.
    void expectSoundTree() const {
        int count = 0;
        for (auto* resource = ORX_MonitoringResourceRegistry_getFirstResource(registry, 0, 0);
             resource != nullptr;
             resource = ORX_MonitoringResourceRegistry_getNextResource(registry, resource, 0, 0)) {
            ++count;
            EXPECT_EQ(ORX_MonitoringResourceRegistry_findResource(registry, resource->base.guid), resource);
            expectSoundChildren(*resource);
        }
        EXPECT_EQ(REDASkiplist_getNodeCount(registry->resourceList), count);
    }

    // Has no value for any group.
    static DDS_Boolean getNoGroup(void** group, const void*, DDS_UnsignedLong) {
        *group = nullptr;
        return DDS_BOOLEAN_TRUE;
    }
    static constexpr ORX_MonitoringResourceForwarder noGroups = {&getNoGroup, nullptr};
    static inline ResourceFixture* self = nullptr;
    ORX_MonitoringProperty_t property{};
    ORX_MonitoringClassImpl impl{};
    SelectionList selections;
    ORX_MonitoringResourceRegistry* registry = nullptr;
    ORX_MonitoringResource* root = nullptr;
    uint32_t guidCount = 0;

private:
    static ORX_MonitoringClass* create(
        DDS_DomainParticipantFactory* factory, const ORX_MonitoringProperty_t*) {
        self->registry = ORX_MonitoringResourceRegistry_new(&self->selections.list);
        self->impl.resourceRegistry = self->registry;
        self->impl.parent.factory = factory;
        self->impl.parent.prefinalizeFunction = [](ORX_MonitoringClass*) -> DDS_Boolean {
            return DDS_BOOLEAN_TRUE;
        };
        self->impl.parent.deleteFunction = [](ORX_MonitoringClass*) {
            ORX_MonitoringResourceRegistry_delete(self->registry);
        };
        self->root = self->add(nullptr, ORX_MONITORING_APPLICATION_CLASS_ID, "app");
        if (self->root == nullptr)
            return nullptr;
        self->root->concurrencyIndex = 0;
        self->impl.parent.rootResource = self->root;
        return &self->impl.parent;
    }

    static void expectSoundChildren(const ORX_MonitoringResource& parent) {
        const DDS_Monitoring_GUID_tSeq& guids = parent.base.children_guids;
        DDS_Long count = 0;
        const ORX_MonitoringResource* before = nullptr;
        for (const auto* child = parent.firstChild; child != nullptr; child = child->nextSibling) {
            EXPECT_EQ(child->parent, &parent);
            EXPECT_EQ(child->prevSibling, before);
            EXPECT_EQ(std::memcmp(child->base.owner_guid, parent.base.guid, 16), 0);
            bool isListed = false;
            for (DDS_Long i = 0; i < DDS_Monitoring_GUID_tSeq_get_length(&guids); ++i)
                isListed |= std::memcmp(*DDS_Monitoring_GUID_tSeq_get_reference(&guids, i), child->base.guid,
                                16) == 0;
            EXPECT_TRUE(isListed) << child->base.name;
            before = child;
            ++count;
        }
        EXPECT_EQ(parent.lastChild, before);
        EXPECT_EQ(DDS_Monitoring_GUID_tSeq_get_length(&guids), count);
    }
};

#endif
