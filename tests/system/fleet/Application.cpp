// An application of the fleet: the library as a host runs it, and resources on command.
//
// Arguments: the domain of the monitoring, the application's name, and how many resources to make below the
// root. Says "ready" once they stand. Commands, one a line of standard input; the end of input ends it:
//
//   tree N       tells its tree: a line "N RESOURCE" for each resource, the root's too, then "done N"
//   churn N C    makes and deletes C resources at random, values pushed between, then "done N"
//   count N OP   how many commands of the operation reached the library: "count N NUMBER", then "done N"
//
// A RESOURCE is "GUID PARENT PATH", with '-' for no parent.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <mutex>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "orxmonitoring2d/data_model.h"
#include "orxmonitoring2d/metric_catalogue.h"
#include "orxmonitoring2d/orx_remote_administration_support.h"
#include "reading/Guid.hpp"
#include "reading/Samples.hpp"
#include "src/remoteAdministration/Operations.hpp"
#include "zddsc/monitoring.h"

extern "C" DDS_Boolean ORX_Monitoring_initialize(void);

namespace {

using reading::Guid;

[[noreturn]] void fail(const std::string& what) {
    std::cerr << "fleet_Application: " << what << std::endl;
    std::_Exit(1);
}

// ---- Commands that come in, counted on their way to the library ----

class CommandCount {
public:
    void add(const DDS_ServiceRequest& sample) {
        DDS_Monitoring_MonitoringService_Request request{};
        DDS_Monitoring_MonitoringService_Request_initialize(&request);
        const auto* bytes =
            reinterpret_cast<const char*>(DDS_OctetSeq_get_contiguous_buffer(&sample.request_body));
        if (DDS_Monitoring_MonitoringService_RequestPlugin_deserialize_from_cdr_buffer(&request, bytes,
                static_cast<DDS_UnsignedLong>(DDS_OctetSeq_get_length(&sample.request_body)))) {
            const std::lock_guard lock(mutex_);
            ++counts_[request.data._d];
        }
        DDS_Monitoring_MonitoringService_Request_finalize(&request);
    }
    std::size_t of(const std::string& operation) {
        static const std::map<std::string, DDS_Long> labels{
            {"set_metric_subscription_state", orx::operation::set_metric_subscription_state},
            {"update_metric_subscription_state", orx::operation::update_metric_subscription_state},
            {"set_logging_collection_level", orx::operation::set_logging_collection_level},
            {"set_logging_forwarding_level", orx::operation::set_logging_forwarding_level},
            {"request_resource_registry", orx::operation::request_resource_registry}};
        const std::lock_guard lock(mutex_);
        return counts_[labels.at(operation)];
    }

private:
    std::mutex mutex_;
    std::map<DDS_Long, std::size_t> counts_; // by operation
};

CommandCount commandCount;
ORX_Monitoring_CreateFunction createLibrary = nullptr;
DDS_Boolean (*dispatchToLibrary)(
    ORX_MonitoringClass* self, const DDS_ServiceRequest* sample, const DDS_SampleInfo* info) = nullptr;

DDS_Boolean countAndDispatch(
    ORX_MonitoringClass* self, const DDS_ServiceRequest* sample, const DDS_SampleInfo* info) {
    commandCount.add(*sample);
    return dispatchToLibrary(self, sample, info);
}

ORX_MonitoringClass* createCounted(
    DDS_DomainParticipantFactory* factory, const ORX_MonitoringProperty_t* property) {
    ORX_MonitoringClass* library = createLibrary(factory, property);
    if (library != nullptr) {
        dispatchToLibrary = library->dispatchCommandFunction;
        library->dispatchCommandFunction = countAndDispatch;
    }
    return library;
}

// ---- Values: zeros are a value of every type but texts ----

alignas(64) unsigned char zeros[4096];
char text[] = "text";

template <DDS_UnsignedLong firstText, DDS_UnsignedLong lastText>
DDS_Boolean getGroup(void** group, const void*, DDS_UnsignedLong index) {
    *group = index >= firstText && index <= lastText ? static_cast<void*>(text) : zeros;
    return DDS_BOOLEAN_TRUE;
}

struct Kind {
    DDS_EntityKind entity;
    DDS_UnsignedLong classId;
    const char* container; // as in paths
    const char* prefix;
    ORX_MonitoringResourceForwarder groups;
};
const Kind participantKind{DDS_PARTICIPANT_ENTITY_KIND, ORX_MONITORING_PARTICIPANT_CLASS_ID,
    "domain_participants", "participant", {getGroup<3, 3>, nullptr}};
const Kind topicKind{
    DDS_TOPIC_ENTITY_KIND, ORX_MONITORING_TOPIC_CLASS_ID, "topics", "topic", {getGroup<1, 2>, nullptr}};
const Kind publisherKind{DDS_PUBLISHER_ENTITY_KIND, ORX_MONITORING_PUBLISHER_CLASS_ID, "publishers",
    "publisher", {getGroup<1, 0>, nullptr}};
const Kind subscriberKind{DDS_SUBSCRIBER_ENTITY_KIND, ORX_MONITORING_SUBSCRIBER_CLASS_ID, "subscribers",
    "subscriber", {getGroup<1, 0>, nullptr}};
const Kind writerKind{DDS_DATAWRITER_ENTITY_KIND, ORX_MONITORING_DATA_WRITER_CLASS_ID, "data_writers",
    "writer", {getGroup<7, 8>, nullptr}};
const Kind readerKind{DDS_DATAREADER_ENTITY_KIND, ORX_MONITORING_DATA_READER_CLASS_ID, "data_readers",
    "reader", {getGroup<8, 9>, nullptr}};

// ---- The tree ----

struct Node {
    ORX_MonitoringResource* resource = nullptr;
    DDS_UnsignedLong index = 0; // of concurrency
    Guid guid{};
    Guid parent{};
    std::string path;
};

// The published description stands first in a resource.
Guid guidOf(const ORX_MonitoringResource* resource) {
    return reading::guidOf(reinterpret_cast<const DDS_Monitoring_Resource*>(resource)->guid);
}

class Application {
public:
    Application(DDS_DomainId_t domain, const std::string& name) {
        start(domain, name);
        root_.resource = library_->rootResource;
        root_.guid = guidOf(root_.resource);
        root_.path = "/applications/" + name;
        participant_ = add(participantKind, root_);
        publisher_ = add(publisherKind, participant_);
        subscriber_ = add(subscriberKind, participant_);
    }

    // What it has below the root.
    std::size_t size() const { return fixedCount + endpoints_.size(); }
    void addEndpoint() {
        const auto kind = made_ % 5;
        endpoints_.push_back(kind == 0  ? add(topicKind, participant_)
                             : kind < 3 ? add(writerKind, publisher_)
                                        : add(readerKind, subscriber_));
    }
    void churn(int count) {
        for (int i = 0; i < count; ++i) {
            if (!endpoints_.empty() && random_() % 2 == 0)
                remove(random_() % endpoints_.size());
            else if (endpoints_.size() < mostEndpoints)
                addEndpoint();
            for (int k = 0; !endpoints_.empty() && k < 3; ++k)
                push(endpoints_[random_() % endpoints_.size()]);
        }
    }
    void tell(const std::string& number) const {
        for (const Node* node : {&root_, &participant_, &publisher_, &subscriber_})
            tell(number, *node);
        for (const Node& node : endpoints_)
            tell(number, node);
    }
    ~Application() {
        if (!ORX_MonitoringHost_stop())
            fail("the library did not stop");
        for (DDS_Entity* each : entities_)
            DDS_Entity_delete_observedI(each);
        ORX_MonitoringHost_finalize();
    }
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;

private:
    static constexpr std::size_t fixedCount = 3;
    static constexpr std::size_t mostEndpoints = 80;

    void start(DDS_DomainId_t domain, const std::string& name);
    Node add(const Kind& kind, const Node& parent);
    void remove(std::size_t place);
    void push(const Node& node);
    static void tell(const std::string& number, const Node& node) {
        std::cout << number << ' ' << reading::guidDigits(node.guid) << ' '
                  << (node.parent == reading::noGuid ? "-" : reading::guidDigits(node.parent)) << ' '
                  << node.path << '\n';
    }

    ORX_MonitoringClass* library_ = nullptr;
    Node root_, participant_, publisher_, subscriber_;
    std::vector<Node> endpoints_;
    std::vector<DDS_Entity*> entities_;
    std::uint32_t made_ = 0;
    std::mt19937 random_{std::random_device{}()};
};

void select(ORX_MonitoringProperty_t& property, const char* expression, const char* pattern) {
    auto& list = property.metric_selection_list;
    const DDS_Long length = DDS_MonitoringMetricSelectionSeq_get_length(&list);
    DDS_MonitoringMetricSelectionSeq_ensure_length(&list, length + 1, length + 1);
    auto* selection = DDS_MonitoringMetricSelectionSeq_get_reference(&list, length);
    DDS_String_replace(&selection->resource_selection, expression);
    DDS_StringSeq_ensure_length(&selection->enabled_metrics_selection, 1, 1);
    DDS_String_replace(DDS_StringSeq_get_reference(&selection->enabled_metrics_selection, 0), pattern);
}

// A participant that is not heard of for some seconds is dead.
void shortenLease(DDS_DomainParticipantQos& qos) {
    if (DDS_DomainParticipantFactory_get_participant_qos_from_profile(
            DDS_DomainParticipantFactory_get_instance(), &qos, DDS_BUILTIN_QOS_LIB,
            DDS_PROFILE_GENERIC_MONITORING2) != DDS_RETCODE_OK ||
        DDS_PropertyQosPolicyHelper_add_property(&qos.property, DDS_PARTICIPANT_LEASE_PROPERTYI,
            std::getenv("FLEET_LEASE"), DDS_BOOLEAN_FALSE) != DDS_RETCODE_OK)
        fail("the quality of the participant was refused");
}

void Application::start(DDS_DomainId_t domain, const std::string& name) {
    ORX_MonitoringHost_initialize();
    ORX_Monitoring_initialize();
    createLibrary = ORX_MonitoringGlobals_get_instance()->createFunction;
    ORX_MonitoringHost_set_create_function(createCounted);
    DDS_DomainParticipantQos qos{};
    DDS_DomainParticipantQos_initialize(&qos);
    shortenLease(qos);
    ORX_MonitoringProperty_t property{};
    ORX_MonitoringProperty_t_initialize(&property);
    property.domain_id = domain;
    property.participant_qos = &qos;
    property.periodic.polling_period = {2, 0};
    property.event.snapshot_delay = {0, 100'000'000};
    DDS_String_replace(&property.application_name, name.c_str());
    select(property, "//topics/*", "*");
    select(property, "//data_writers/*", "*_matched_*");
    select(property, "//data_readers/*", "*_cache_samples");
    library_ = ORX_MonitoringHost_start(&property);
    property.participant_qos = nullptr;
    ORX_MonitoringProperty_t_finalize_ex(&property, DDS_BOOLEAN_FALSE);
    DDS_DomainParticipantQos_finalize(&qos);
    if (library_ == nullptr)
        fail("the library did not start");
}

Node Application::add(const Kind& kind, const Node& parent) {
    const std::uint32_t number = ++made_;
    DDS_GUID_t guid{};
    // No two lives of an application have resources of one GUID.
    for (auto& octet : guid.value)
        octet = static_cast<DDS_Octet>(random_());
    DDS_Entity* entity = DDS_Entity_create_observedI(kind.entity, &guid, 0);
    entities_.push_back(entity);
    const std::string name = kind.prefix + ("_" + std::to_string(number));
    Node node;
    node.parent = parent.guid;
    node.path = parent.path + "/" + kind.container + "/" + name;
    (void)ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1, 1, nullptr);
    node.resource = library_->assertResourceFunction(
        library_, &node.index, &guid, kind.classId, name.c_str(), entity, parent.resource, &kind.groups);
    (void)ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1);
    if (node.resource == nullptr)
        fail("a resource was not asserted");
    node.guid = guidOf(node.resource);
    return node;
}

void Application::remove(std::size_t place) {
    std::swap(endpoints_[place], endpoints_.back());
    (void)ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1, 1, nullptr);
    library_->deleteResourceFunction(library_, endpoints_.back().resource);
    (void)ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1);
    endpoints_.pop_back();
}

// What a topic, a writer and a reader all have at this place is a status.
void Application::push(const Node& node) {
    constexpr DDS_UnsignedLong statusGroup = 3;
    (void)ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_METRIC, node.index, 1, 1, nullptr);
    library_->pushEventMetricFunction(library_, zeros, node.resource, statusGroup);
    (void)ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_METRIC, node.index, 1);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4)
        fail("wants a domain, a name and a number of resources");
    Application application(std::atoi(argv[1]), argv[2]);
    for (const auto wanted = static_cast<std::size_t>(std::atoi(argv[3])); application.size() < wanted;)
        application.addEndpoint();
    std::cout << "ready" << std::endl;
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words(line);
        std::string verb, number, argument;
        words >> verb >> number >> argument;
        if (verb == "tree")
            application.tell(number);
        else if (verb == "churn")
            application.churn(std::atoi(argument.c_str()));
        else if (verb == "count")
            std::cout << "count " << number << ' ' << commandCount.of(argument) << '\n';
        else
            fail("'" + line + "' is no command");
        std::cout << "done " << number << std::endl;
    }
    return 0;
}
