// A monitoring library for tests of the agent: it keeps no samples, and writes one line for each call that
// the agent makes, with the values that the metric groups have at that moment, to the file that
// ORX_TEST_RECORD names.
//
//   assert <class> <name> <path of the parent> <concurrency index>
//   group <name> <index> <text>     for every group that the class has, as a snapshot would take them
//   push <name> <index> <text>
//   delete <name>
//   periodic <name> <index> <text>  every ORX_TEST_PERIODIC_MS milliseconds, on a thread of its own, when
//   that
//                                   is set: changed ones alone
//   log <facility> <level> <category or -> <text>    of posts, and of what the device gets, which has no
//   category
// It takes the locks that the real one takes, in the same order.
#include <pthread.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "orxmonitoring2d/dds_status.h"
#include "orxmonitoring2d/orx_common.h"
#include "zddsc/logger.h"
#include "zddsc/monitoring.h"

struct ORX_MonitoringResource {
    std::string name;
    std::string path;
    DDS_UnsignedLong classId = 0;
    DDS_UnsignedLong index = 0;
    void* userResource = nullptr;
    ORX_MonitoringResource* parent = nullptr;
    std::vector<ORX_MonitoringResource*> children;
    ORX_MonitoringResourceForwarder forwarder{};
};

namespace {

FILE* record = nullptr;
pthread_mutex_t recordMutex = PTHREAD_MUTEX_INITIALIZER;
// Never destroyed: the agent may be at work when the process ends.
ORX_MonitoringResource& root = *new ORX_MonitoringResource;
ORX_MonitoringClass table;
size_t assertions = 0;

void write(const std::string& line) {
    pthread_mutex_lock(&recordMutex);
    std::fprintf(record, "%s\n", line.c_str());
    std::fflush(record);
    pthread_mutex_unlock(&recordMutex);
}

struct ClassFacts {
    DDS_UnsignedLong id;
    const char* name;
    DDS_UnsignedLong groups;   // that change by events
    DDS_UnsignedLong periodic; // that do not
};
constexpr ClassFacts classes[] = {{99258059, "domain_participants", 4, 39}, {116239698, "publishers", 1, 0},
    {94988179, "subscribers", 1, 0}, {208182173, "topics", 4, 0}, {142415660, "data_writers", 9, 8},
    {179666769, "data_readers", 10, 6}, {265647670, "applications", 0, 0}};

const ClassFacts& factsOf(DDS_UnsignedLong id) {
    for (const ClassFacts& facts : classes) {
        if (facts.id == id)
            return facts;
    }
    std::abort();
}

std::string hex(const uint8_t* bytes, size_t size) {
    std::string text;
    for (size_t i = 0; i < size; ++i) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", bytes[i]);
        text += digits;
    }
    return text;
}

template <typename Status> std::string totals(const void* value) {
    const auto& status = *static_cast<const Status*>(value);
    return "total " + std::to_string(status.total_count) + " change " +
           std::to_string(status.total_count_change);
}

template <typename Status> std::string matched(const void* value) {
    const auto& status = *static_cast<const Status*>(value);
    return totals<Status>(value) + " current " + std::to_string(status.current_count) + " peak " +
           std::to_string(status.current_count_peak);
}

template <typename Status> std::string incompatible(const void* value) {
    const auto& status = *static_cast<const Status*>(value);
    std::string text = totals<Status>(value) + " last " + std::to_string(status.last_policy_id) + " policies";
    for (DDS_UnsignedLong i = 0; i < status.policies._length; ++i) {
        text += " " + std::to_string(status.policies._contiguous_buffer[i].policy_id) + ":" +
                std::to_string(status.policies._contiguous_buffer[i].count);
    }
    return text;
}

std::string liveliness(const void* value) {
    const auto& status = *static_cast<const DDS_Monitoring_LivelinessChangedStatus*>(value);
    return "alive " + std::to_string(status.alive_count) + " not alive " +
           std::to_string(status.not_alive_count);
}

std::string rejected(const void* value) {
    const auto& status = *static_cast<const DDS_Monitoring_SampleRejectedStatus*>(value);
    return totals<DDS_Monitoring_SampleRejectedStatus>(value) + " reason " +
           std::to_string(status.last_reason);
}

std::string activity(const void* value) {
    const auto& status = *static_cast<const DDS_Monitoring_ReliableReaderActivityChangedStatus*>(value);
    return "active " + std::to_string(status.active_count) + " inactive " +
           std::to_string(status.inactive_count);
}

std::string number(const DDS_Monitoring_SequenceNumber_t& value) {
    return value.high < 0 ? "unknown" : std::to_string((int64_t{value.high} << 32) + value.low);
}

std::string writerFigures(DDS_UnsignedLong group, const void* value) {
    std::string text;
    const auto add = [&text](const char* name, int64_t figure) {
        text += std::string(name) + " " + std::to_string(figure) + " ";
    };
    if (group <= 11) {
        const auto& status = *static_cast<const DDS_Monitoring_DataWriterCacheStatus*>(value);
        add("samples", status.sample_count);
        add("peak", status.sample_count_peak);
    } else if (group <= 14) {
        const auto& status = *static_cast<const DDS_Monitoring_DataWriterProtocolStatus*>(value);
        add("pushed", status.pushed_sample_count);
        add("bytes", status.pushed_sample_bytes);
        add("acks", status.received_ack_count);
        add("heartbeats", status.sent_heartbeat_count);
        text += "first " + number(status.first_available_sequence_number) + " last " +
                number(status.last_available_sequence_number) + " unacknowledged " +
                number(status.first_unacknowledged_sample_sequence_number) + " virtual " +
                number(status.first_available_sample_virtual_sequence_number);
    } else {
        const auto& status = *static_cast<const DDS_Monitoring_ReliableWriterCacheChangedStatus*>(value);
        add("unacknowledged", status.unacknowledged_sample_count);
        add("full", status.full_reliable_writer_cache_count);
    }
    return text;
}

std::string readerFigures(DDS_UnsignedLong group, const void* value) {
    if (group <= 12) {
        const auto& status = *static_cast<const DDS_Monitoring_DataReaderCacheStatus*>(value);
        return "samples " + std::to_string(status.sample_count) + " peak " +
               std::to_string(status.sample_count_peak);
    }
    const auto& status = *static_cast<const DDS_Monitoring_DataReaderProtocolStatus*>(value);
    return "received " + std::to_string(status.received_sample_count) + " bytes " +
           std::to_string(status.received_sample_bytes) + " first " +
           number(status.first_available_sample_sequence_number);
}

std::string textOf(DDS_UnsignedLong classId, DDS_UnsignedLong group, const void* value) {
    if (group == 0)
        return hex(static_cast<const uint8_t*>(value), 16);
    if (classId == 99258059) {
        if (group == 1)
            return std::to_string(*static_cast<const int32_t*>(value));
        if (group == 3)
            return static_cast<const char*>(value);
        const auto& version = *static_cast<const DDS_Monitoring_ProductVersion_t*>(value);
        return std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
               std::to_string(version.release);
    }
    if (classId == 208182173)
        return group == 3 ? totals<DDS_Monitoring_InconsistentTopicStatus>(value)
                          : static_cast<const char*>(value);
    if (classId == 142415660) {
        switch (group) {
        case 1:
            return totals<DDS_Monitoring_LivelinessLostStatus>(value);
        case 2:
            return totals<DDS_Monitoring_OfferedDeadlineMissedStatus>(value);
        case 3:
            return incompatible<DDS_Monitoring_OfferedIncompatibleQosStatus>(value);
        case 4:
        case 5:
            return matched<DDS_Monitoring_PublicationMatchedStatus>(value);
        case 6:
            return activity(value);
        default:
            return static_cast<const char*>(value);
        }
    }
    switch (group) {
    case 1:
        return rejected(value);
    case 2:
        return liveliness(value);
    case 3:
        return totals<DDS_Monitoring_RequestedDeadlineMissedStatus>(value);
    case 4:
        return incompatible<DDS_Monitoring_RequestedIncompatibleQosStatus>(value);
    case 5:
        return totals<DDS_Monitoring_SampleLostStatus>(value);
    case 6:
    case 7:
        return matched<DDS_Monitoring_SubscriptionMatchedStatus>(value);
    default:
        return static_cast<const char*>(value);
    }
}

pthread_mutex_t treeMutex = PTHREAD_MUTEX_INITIALIZER;
bool isEnded = false; // under the mutex
std::map<std::string, std::string>& written = *new std::map<std::string, std::string>;

// As the periodic thread does it: neither the entity lock nor a metric mutex.
void poll(ORX_MonitoringResource& resource) {
    for (ORX_MonitoringResource* child : resource.children)
        poll(*child);
    if (resource.userResource == nullptr)
        return;
    const ClassFacts& facts = factsOf(resource.classId);
    for (DDS_UnsignedLong group = facts.groups; group < facts.groups + facts.periodic; ++group) {
        void* value = nullptr;
        std::string text = "missing";
        if (resource.forwarder.get_metric_group_function(&value, resource.userResource, group))
            text = resource.classId == 142415660 ? writerFigures(group, value) : readerFigures(group, value);
        const std::string key = "periodic " + resource.name + " " + std::to_string(group);
        std::string& before = written[key];
        if (before != text)
            write(key + " " + text);
        before = text;
    }
}

void* runPolls(void* period) {
    const long milliseconds = *static_cast<long*>(period);
    const timespec time{milliseconds / 1000, (milliseconds % 1000) * 1000000};
    for (;;) {
        nanosleep(&time, nullptr);
        pthread_mutex_lock(&treeMutex);
        const bool ends = isEnded;
        if (!ends)
            poll(root);
        pthread_mutex_unlock(&treeMutex);
        if (ends)
            return nullptr;
    }
}

void startPolls() {
    static long milliseconds = 0;
    const char* text = std::getenv("ORX_TEST_PERIODIC_MS");
    if (text == nullptr)
        return;
    milliseconds = std::atol(text);
    pthread_t thread;
    if (pthread_create(&thread, nullptr, runPolls, &milliseconds) == 0)
        pthread_detach(thread);
}

// Slows the agent thread down, for tests that want entities to end before it comes to them.
void delay() {
    if (const char* text = std::getenv("ORX_TEST_DELAY_MS"); text != nullptr) {
        const timespec time{std::atol(text) / 1000, (std::atol(text) % 1000) * 1000000};
        nanosleep(&time, nullptr);
    }
}

void takeSnapshot(const ORX_MonitoringResource& resource) {
    const auto* entity = static_cast<const DDS_Entity*>(resource.userResource);
    DDS_Entity_lock(entity);
    const bool isLocked =
        ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_METRIC, resource.index, 1, 1, nullptr) == 0;
    for (DDS_UnsignedLong group = 0; group < factsOf(resource.classId).groups; ++group) {
        void* value = nullptr;
        const bool isThere =
            resource.forwarder.get_metric_group_function(&value, resource.userResource, group);
        write("group " + resource.name + " " + std::to_string(group) + " " +
              (isThere ? textOf(resource.classId, group, value) : "missing"));
    }
    void* value = nullptr;
    if (resource.forwarder.get_metric_group_function(&value, resource.userResource,
            factsOf(resource.classId).groups + factsOf(resource.classId).periodic))
        write("error: a group beyond the last");
    if (isLocked)
        ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_METRIC, resource.index, 1);
    DDS_Entity_unlock(entity);
}

ORX_MonitoringResource* assertResource(ORX_MonitoringClass*, DDS_UnsignedLong* index, const DDS_GUID_t* guid,
    DDS_UnsignedLong classId, const char* name, void* userResource, ORX_MonitoringResource* parent,
    const ORX_MonitoringResourceForwarder* forwarder) {
    delay();
    const char* failAt = std::getenv("ORX_TEST_FAIL_ASSERT");
    if (failAt != nullptr && ++assertions == static_cast<size_t>(std::atol(failAt))) {
        write(std::string("refuse ") + name);
        return nullptr;
    }
    auto* resource = new ORX_MonitoringResource;
    resource->name = name;
    resource->path = parent->path + "/" + factsOf(classId).name + "/" + name;
    resource->classId = classId;
    const ORX_MonitoringGlobals* globals = ORX_MonitoringGlobals_get_instance();
    resource->index =
        (guid->value[0] + guid->value[1] + guid->value[2] + guid->value[3]) % globals->eventConcurrency.level;
    resource->userResource = userResource;
    resource->parent = parent;
    resource->forwarder = *forwarder;
    pthread_mutex_lock(&treeMutex);
    parent->children.push_back(resource);
    pthread_mutex_unlock(&treeMutex);
    write("assert " + std::string(factsOf(classId).name) + " " + name + " " + parent->path);
    takeSnapshot(*resource);
    *index = resource->index;
    return resource;
}

void destroy(ORX_MonitoringResource* resource) {
    for (ORX_MonitoringResource* child : resource->children)
        destroy(child);
    resource->name = "(deleted)";
    delete resource;
}

void deleteResource(ORX_MonitoringClass*, ORX_MonitoringResource* resource) {
    write("delete " + resource->name);
    pthread_mutex_lock(&treeMutex);
    std::erase(resource->parent->children, resource);
    destroy(resource);
    pthread_mutex_unlock(&treeMutex);
}

DDS_Boolean pushMetric(
    ORX_MonitoringClass*, void* value, ORX_MonitoringResource* resource, DDS_UnsignedLong group) {
    write("push " + resource->name + " " + std::to_string(group) + " " +
          textOf(resource->classId, group, value));
    return DDS_BOOLEAN_TRUE;
}

// One call of the system and no lock: a handler of a signal may log.
void writeMessage(
    ZDDS_Config_LogFacility facility, ZDDS_Config_SyslogLevel level, const char* category, const char* text) {
    char line[8192];
    const int length = std::snprintf(line, sizeof line, "log %d %d %s %s\n", static_cast<int>(facility),
        static_cast<int>(level), category != nullptr ? category : "-", text);
    if (::write(fileno(record), line, static_cast<size_t>(length)) != length)
        std::abort();
}

DDS_Boolean postLogMessage(ORX_MonitoringClass*, const char* text, ZDDS_Config_SyslogLevel level,
    DDS_UnsignedLong, const DDS_Duration_t*, ZDDS_Config_LogFacility facility, const void*,
    const char* category, DDS_UnsignedLong) {
    writeMessage(facility, level, category, text);
    return DDS_BOOLEAN_TRUE;
}

void writeToDevice(ZDDS_Config_LoggerDevice*, const ZDDS_Config_LogMessage* message) {
    writeMessage(
        message->facility, ZDDS_Config_SyslogLevel_from_log_level(message->level), nullptr, message->text);
}

// The verbosity of the facility middleware that the test wants, and a device where the library has one.
void setUpLogging() {
    static ZDDS_Config_LoggerDevice device{nullptr, writeToDevice, nullptr};
    ZDDS_Config_Logger* logger = ZDDS_Config_Logger_get_instance();
    if (const char* verbosity = std::getenv("ORX_TEST_VERBOSITY"))
        ZDDS_Config_Logger_set_verbosity_by_facilityI(logger, ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE,
            static_cast<ZDDS_Config_LogVerbosity>(std::atoi(verbosity)), 0);
    ADVLOGLogger_setDevice(5, ZDDS_Config_Logger_createADVLOGLoggerDevice(&device), 0, 0);
}

// No entity is looked at any more once this has returned.
DDS_Boolean prefinalize(ORX_MonitoringClass*) {
    pthread_mutex_lock(&treeMutex);
    isEnded = true;
    pthread_mutex_unlock(&treeMutex);
    write("prefinalize");
    return DDS_BOOLEAN_TRUE;
}

void deleteClass(ORX_MonitoringClass*) {
    write("end");
}

ORX_MonitoringClass* create(DDS_DomainParticipantFactory* factory, const ORX_MonitoringProperty_t* property) {
    const char* file = std::getenv("ORX_TEST_RECORD");
    record = file != nullptr ? std::fopen(file, "a") : nullptr;
    if (record == nullptr)
        return nullptr;
    std::string line = "create domain " + std::to_string(property->domain_id) + " name " +
                       (property->application_name != nullptr ? property->application_name : "-") + " peers";
    for (DDS_Long i = 0; i < DDS_StringSeq_get_length(&property->collector_initial_peers); ++i)
        line += std::string(" ") + DDS_StringSeq_get(&property->collector_initial_peers, i);
    write(line);
    for (DDS_Long i = 0; i < DDS_MonitoringMetricSelectionSeq_get_length(&property->metric_selection_list);
         ++i) {
        const DDS_MonitoringMetricSelection& selection =
            *DDS_MonitoringMetricSelectionSeq_get_reference(&property->metric_selection_list, i);
        line = std::string("select ") + selection.resource_selection + " on";
        for (DDS_Long j = 0; j < DDS_StringSeq_get_length(&selection.enabled_metrics_selection); ++j)
            line += std::string(" ") + DDS_StringSeq_get(&selection.enabled_metrics_selection, j);
        line += " off";
        for (DDS_Long j = 0; j < DDS_StringSeq_get_length(&selection.disabled_metrics_selection); ++j)
            line += std::string(" ") + DDS_StringSeq_get(&selection.disabled_metrics_selection, j);
        write(line);
    }
    if (std::getenv("ORX_TEST_FAIL_CREATE") != nullptr)
        return nullptr;
    setUpLogging();
    table.factory = factory;
    table.rootResource = &root;
    table.prefinalizeFunction = prefinalize;
    table.deleteFunction = deleteClass;
    table.assertResourceFunction = assertResource;
    table.deleteResourceFunction = deleteResource;
    table.pushEventMetricFunction = pushMetric;
    table.postLogMessage = postLogMessage;
    startPolls();
    return &table;
}

} // namespace

extern "C" __attribute__((visibility("default"))) void ORX_Monitoring_initialize(void) {
    ORX_MonitoringGlobals_get_instance()->createFunction = create;
}
