// What two sides of the C ABI must agree on without a compiler that sees both: the order of fields, and
// numbers.
#include <algorithm>
#include <cstddef>
#include <functional>
#include <initializer_list>

#include "src/dataModel/MetricCatalogue.h"
#include "src/monitoringClass/MonitoringClassImpl.h"
#include "zddscore/zddscore.h"
#include "gtest/gtest.h"

namespace {

// The first field begins the record, and each of the others follows.
constexpr bool isInOrder(std::initializer_list<std::size_t> offsets) {
    return *offsets.begin() == 0 &&
           std::adjacent_find(offsets.begin(), offsets.end(), std::greater_equal<>{}) == offsets.end();
}

#define AT(field) offsetof(Record, field)

TEST(Layout, RecordsOfTheSupportLayer) {
    {
        using Record = ORXNtpTime;
        EXPECT_TRUE(isInOrder({AT(sec), AT(frac)}));
        EXPECT_EQ(sizeof Record::sec, 8U);
        EXPECT_EQ(sizeof Record::frac, 4U);
    }
    {
        using Record = REDAInlineListNode;
        EXPECT_TRUE(isInOrder({AT(inlineList), AT(next), AT(prev)}));
    }
    {
        using Record = REDAInlineList;
        EXPECT_TRUE(isInOrder({AT(_dummyNode), AT(_tail), AT(_size), AT(_userData)}));
    }
    {
        using Record = REDAInlineListUserDataNode;
        EXPECT_TRUE(isInOrder({AT(node), AT(userData)}));
    }
    {
        using Record = REDASkiplistNode;
        EXPECT_TRUE(
            isInOrder({AT(userData), AT(level), AT(userChar), AT(userInt), AT(backward), AT(forward)}));
    }
    {
        using Record = REDASkiplistDescription;
        EXPECT_TRUE(isInOrder({AT(nodeCreateFnc), AT(nodeCreateParam), AT(nodeDestroyFnc),
            AT(nodeDestroyParam), AT(nodeLevelGenerateFnc), AT(nodeLevelGenerateParam), AT(maximumLevel)}));
    }
    {
        using Record = REDAFastBufferPoolProperty;
        EXPECT_TRUE(isInOrder({AT(growth.initial), AT(growth.maximal), AT(growth.increment),
            AT(multiThreadedAccess), AT(zeroBufferContent), AT(ignoreMaximal), AT(dynamicAlloc)}));
    }
    {
        using Record = REDAFastBufferPoolInfo;
        EXPECT_TRUE(isInOrder({AT(id), AT(bufferSize), AT(bufferAlignment), AT(bufferAllocated),
            AT(bufferInUse), AT(bufferCountLimit)}));
    }
    {
        using Record = REDAInlineMemoryProperty;
        EXPECT_TRUE(isInOrder(
            {AT(initial), AT(maximal), AT(increment), AT(forceContiguousMemory), AT(initializeBuffersToZero),
                AT(lowerLevelAllocator), AT(lowerLevelFree), AT(lowerLevelAllocatorData)}));
    }
    {
        using Record = ORXOsapiHash;
        EXPECT_TRUE(isInOrder({AT(value), AT(length), AT(flags)}));
    }
    {
        using Record = ORXOsapiRtpsGuid;
        EXPECT_TRUE(isInOrder({AT(prefix.hostId), AT(prefix.appId), AT(prefix.instanceId), AT(objectId)}));
        EXPECT_EQ(sizeof(Record), 16U);
    }
    {
        using Record = ORXOsapiProcessMemoryInfo;
        EXPECT_TRUE(isInOrder({AT(physicalMemory), AT(totalMemory)}));
    }
}

TEST(Layout, RecordsOfClocksAndGenerators) {
    {
        using Record = ORXClock;
        EXPECT_TRUE(isInOrder({AT(getTime), AT(getResolution), AT(getRequiredCallPeriod), AT(reset)}));
    }
    {
        using Record = ORXEventActiveGeneratorProperty;
        EXPECT_TRUE(isInOrder({AT(parent.growth), AT(parent.eventTimeThreshold), AT(active.priority),
            AT(active.stackSize), AT(active.options), AT(active.bitmap), AT(threadParticipantId),
            AT(reschedulingPolicy), AT(maxEventInterval)}));
        EXPECT_EQ(sizeof Record::threadParticipantId, 6U);
    }
    {
        using Record = ORXEventActiveGeneratorListener;
        EXPECT_TRUE(
            isInOrder({AT(parent.onStopped), AT(parent.onStoppedParam), AT(onStarted), AT(onStartedParam)}));
    }
    {
        using Record = ORXOsapiActivityContextStackEntry;
        EXPECT_TRUE(isInOrder({AT(kind), AT(format), AT(params)}));
    }
    EXPECT_EQ(sizeof(ORXEventGeneratorListenerStorage), 8 * sizeof(void*));
    {
        using Record = DDS_ThreadSettings_t;
        EXPECT_TRUE(isInOrder({AT(mask), AT(priority), AT(stack_size), AT(cpu_list), AT(cpu_rotation)}));
    }
}

TEST(Layout, GlobalsAndTheClass) {
    {
        using Record = ORX_MonitoringGlobals;
        EXPECT_TRUE(isInOrder({AT(createFunction), AT(libraryHandle), AT(monitoringClass), AT(mutex),
            AT(eventConcurrency.mutexPool), AT(eventConcurrency.level), AT(loggingConcurrency),
            AT(libraryEpoch), AT(eventClock), AT(tssFactory), AT(inEnableTssKey)}));
    }
    {
        using Record = ORX_MonitoringClass;
        EXPECT_TRUE(isInOrder({AT(factory), AT(rootResource), AT(prefinalizeFunction), AT(deleteFunction),
            AT(isSharedLibraryFunction), AT(assertResourceFunction), AT(deleteResourceFunction),
            AT(deleteResourceChildrenFunction), AT(pushEventMetricFunction), AT(onLoggingCollectionChange),
            AT(getPropertyFunction), AT(dispatchCommandFunction), AT(pauseResourceMetricsFunction),
            AT(pauseResourceChildrenMetricsFunction), AT(resumeResourceMetricsFunction),
            AT(postLogMessage)}));
        EXPECT_EQ(sizeof(Record), 16 * sizeof(void*));
    }
    {
        using Record = ORX_MonitoringClassImpl;
        EXPECT_TRUE(isInOrder({AT(parent), AT(status), AT(periodicMetric), AT(eventTaskExecutor),
            AT(eventSnapshotThread), AT(logging), AT(entities), AT(resourceRegistry), AT(commandDispatcher),
            AT(property), AT(loggingCollectionSetting), AT(snapshotDelay), AT(metricSelectionPool),
            AT(currentMetricSelectionList), AT(metricSelectionIndex), AT(metricSelectionIndexDescription),
            AT(disableSelection)}));
    }
    {
        using Record = ORX_MonitoringResourceHandle;
        EXPECT_TRUE(isInOrder({AT(resource), AT(concurrencyIndex), AT(libraryEpoch)}));
    }
    {
        using Record = ORX_MonitoringResourceForwarder;
        EXPECT_TRUE(isInOrder({AT(get_metric_group_function), AT(return_metric_group_function)}));
    }
}

TEST(Layout, RecordsOfTheProperty) {
    {
        using Record = ORX_MonitoringProperty_t;
        EXPECT_TRUE(isInOrder({AT(domain_id), AT(application_name), AT(participant_qos), AT(publisher_qos),
            AT(logging), AT(periodic), AT(event), AT(command_dispatcher), AT(metric_selection_list),
            AT(collector_initial_peers)}));
    }
    {
        using Record = ORX_MonitoringLoggingProperty_t;
        EXPECT_TRUE(isInOrder({AT(forwarding_level), AT(thread_setting), AT(writer_qos),
            AT(publication_period), AT(concurrency_level), AT(initial_memory_size), AT(gc_threshold),
            AT(max_logs_per_update), AT(max_historical_logs)}));
    }
    {
        using Record = ORX_MonitoringPeriodicProperty_t;
        EXPECT_TRUE(isInOrder({AT(polling_period), AT(thread_setting), AT(writer_qos)}));
    }
    {
        using Record = ORX_MonitoringEventProperty_t;
        EXPECT_TRUE(isInOrder({AT(publication_period), AT(thread_setting), AT(writer_qos),
            AT(concurrency_level), AT(initial_memory_size), AT(gc_threshold), AT(snapshot_delay)}));
    }
    {
        using Record = ORX_MonitoringCommandDispatcherProperty_t;
        EXPECT_TRUE(
            isInOrder({AT(reply_timeout), AT(lock_timeout), AT(destruction_timeout), AT(thread_setting)}));
    }
    {
        using Record = ORX_MonitoringLoggingVerbositySetting_t;
        EXPECT_TRUE(isInOrder({AT(middleware), AT(security_event), AT(service), AT(user)}));
    }
    {
        using Record = DDS_MonitoringMetricSelection;
        EXPECT_TRUE(isInOrder(
            {AT(resource_selection), AT(enabled_metrics_selection), AT(disabled_metrics_selection)}));
    }
}

TEST(Layout, RecordsOfTheCatalogue) {
    {
        using Record = ORX_Monitoring_MetricGroupInfo;
        EXPECT_TRUE(isInOrder({AT(groupId), AT(mapAppToDistMetricGroupFunction),
            AT(setDistMetricGroupIntoSample), AT(deleteDistMetricGroupFunction)}));
    }
    {
        using Record = ORX_Monitoring_MetricInfo;
        EXPECT_TRUE(isInOrder({AT(name), AT(metricId), AT(metricGroupIndex), AT(distributionKind)}));
    }
    {
        using Record = ORX_Monitoring_ResourceInfo;
        EXPECT_TRUE(isInOrder({AT(periodicMetricGroupCount), AT(eventMetricGroupCount), AT(metricCount)}));
    }
}

TEST(Layout, NumbersOfEnumerators) {
    EXPECT_EQ(ORX_OSAPI_SEMAPHORE_KIND_BINARY, 33685512);
    EXPECT_EQ(ORX_OSAPI_SEMAPHORE_KIND_COUNTING, 33685513);
    EXPECT_EQ(ORX_OSAPI_SEMAPHORE_KIND_MUTEX, 33685514);
    EXPECT_EQ(ORX_OSAPI_SEMAPHORE_STATUS_OK, 33685752);
    EXPECT_EQ(ORX_OSAPI_SEMAPHORE_STATUS_TIMEOUT, 33685753);
    EXPECT_EQ(ORX_OSAPI_SEMAPHORE_STATUS_ERROR, 33685759);
    EXPECT_EQ(ORX_OSAPI_ACTIVITY_CONTEXT_ENTRY_KIND_EMPTY, 0);
    EXPECT_EQ(ORX_OSAPI_ACTIVITY_CONTEXT_ENTRY_KIND_RESOURCE, 1);
    EXPECT_EQ(ORX_OSAPI_ACTIVITY_CONTEXT_ENTRY_KIND_RESOURCE_WITH_PARAMS, 2);
    EXPECT_EQ(ORX_OSAPI_ACTIVITY_CONTEXT_ENTRY_KIND_RESOURCE_GUID_WITH_PARAMS, 3);
    EXPECT_EQ(ORX_OSAPI_ACTIVITY_CONTEXT_ENTRY_KIND_ACTIVITY, 4);
    EXPECT_EQ(ORX_EVENT_ACTIVE_GENERATOR_OVERRIDE_RESCHEDULING_POLICY, 0);
    EXPECT_EQ(ORX_EVENT_ACTIVE_GENERATOR_NEVER_DELAY_RESCHEDULING_POLICY, 1);
    EXPECT_EQ(ORX_MONITORING_LOCK_KIND_LIBRARY, 0);
    EXPECT_EQ(ORX_MONITORING_LOCK_KIND_METRIC, 1);
    EXPECT_EQ(ORX_MONITORING_LOCK_KIND_LOGGING, 2);
    EXPECT_EQ(ORX_MONITORING_LOCK_RESULT_OK, 0);
    EXPECT_EQ(ORX_MONITORING_LOCK_RESULT_ERROR, 1);
    EXPECT_EQ(ORX_MONITORING_LOCK_RESULT_NOT_ENABLED, 2);
    EXPECT_EQ(ORX_MONITORING_LOCK_RESULT_TIMEOUT, 3);
    EXPECT_EQ(DDS_OBSERVABLE_PERIODIC_DISTRIBUTION_KIND, 0);
    EXPECT_EQ(DDS_OBSERVABLE_ON_CHANGE_DISTRIBUTION_KIND, 1);
    EXPECT_EQ(DDS_OBSERVABLE_UNSPECIFIED_DISTRIBUTION_KIND, 2);
    EXPECT_EQ(ORX_LOG_BIT_PRECONDITION, 0x1U);
    EXPECT_EQ(ORX_LOG_BIT_ERROR, 0x2U);
    EXPECT_EQ(ORX_LOG_BIT_WARNING, 0x4U);
    EXPECT_EQ(ORX_LOG_BIT_STATUS, 0x8U);
    EXPECT_EQ(ORX_LOG_MODULE_MONITORING, 0x310000U);
}

} // namespace
