// A forwarder, applications that are played by writers of the three topics, and what its user takes.
#ifndef ORX_TESTS_FORWARDER_WORLD_HPP
#define ORX_TESTS_FORWARDER_WORLD_HPP

#include <chrono>
#include <memory>
#include <ostream>
#include <thread>
#include <vector>

#include "middleware/engine/loopback/LoopbackEngine.hpp"
#include "orxmonitoring2d/dds_entities_distribution_support.h"
#include "orxmonitoring2d/dds_logging_support.h"
#include "orxmonitoring2d/forwarder.h"
#include "orxmonitoring2d/path_tokenizer.h"
#include "src/entities/LibraryEntities.h"
#include "src/monitoringForwarder/MonitoringForwarder.h"
#include "tests/helpers/LogCapture.hpp"
#include "tests/helpers/TestDomain.hpp"
#include "tests/helpers/Wait.hpp"
#include "tests/unit/monitoringForwarder/RegistryWorld.hpp"
#include "zddsc/service_request.h"
#include "gtest/gtest.h"

enum class EngineKind { loopback, cyclone };
inline void PrintTo(EngineKind kind, std::ostream* out) {
    *out << (kind == EngineKind::loopback ? "loopback" : "cyclone");
}
inline std::string engineName(const testing::TestParamInfo<EngineKind>& info) {
    return info.param == EngineKind::loopback ? "Loopback" : "Cyclone";
}

// False when the bound has passed.
template <typename Condition> bool eventually(Condition condition) {
    const auto end = std::chrono::steady_clock::now() + waitBound;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::yield();
    }
    return true;
}

// The engine of the process while it lives.
class TestEngine {
public:
    explicit TestEngine(EngineKind kind) : domain{kind == EngineKind::cyclone ? testDomain() : 40} {
        zdds::engine::setInstance(kind == EngineKind::loopback ? &loopback : nullptr);
    }
    ~TestEngine() { zdds::engine::setInstance(nullptr); }
    TestEngine(const TestEngine&) = delete;
    TestEngine& operator=(const TestEngine&) = delete;

    zdds::engine::LoopbackEngine loopback;
    const DDS_DomainId_t domain;
};

inline DDS_DomainParticipantFactory* factory() {
    return DDS_DomainParticipantFactory_get_instance();
}

// A participant with the QoS of the profile, which has the service-request channel.
inline DDS_DomainParticipant* newParticipant(DDS_DomainId_t domain) {
    DDS_DomainParticipantQos qos{};
    DDS_DomainParticipantQos_initialize(&qos);
    DDS_DomainParticipantFactory_get_participant_qos_from_profile(
        factory(), &qos, DDS_BUILTIN_QOS_LIB, DDS_PROFILE_GENERIC_MONITORING2);
    auto* participant = DDS_DomainParticipantFactory_create_participant(factory(), domain, &qos, nullptr, 0);
    DDS_DomainParticipantQos_finalize(&qos);
    return participant;
}

// The writers of an application, which a test enables one by one, and by which it writes what it wants.
class FakeApplication {
public:
    explicit FakeApplication(DDS_DomainId_t domain) : participant_{newParticipant(domain)} {
        ORX_MonitoringProperty_t property{};
        ORX_MonitoringProperty_t_initialize(&property);
        entities = ORX_MonitoringLibraryEntities_new_w_participant(participant_, &property);
        ORX_MonitoringProperty_t_finalize_ex(&property, DDS_BOOLEAN_FALSE);
    }
    ~FakeApplication() {
        ORX_MonitoringLibraryEntities_delete(entities, factory());
        EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory(), participant_), DDS_RETCODE_OK);
    }
    FakeApplication(const FakeApplication&) = delete;
    FakeApplication& operator=(const FakeApplication&) = delete;

    static void enable(DDS_DataWriter* writer) {
        EXPECT_EQ(DDS_Entity_enable(DDS_DataWriter_as_entity(writer)), DDS_RETCODE_OK);
    }
    void enableAll() { EXPECT_TRUE(ORX_MonitoringLibraryEntities_enable(entities)); }
    DDS_DataWriter* newEventWriter() {
        DDS_DataWriterQos qos{};
        DDS_DataWriterQos_initialize(&qos);
        DDS_DataWriter_get_qos(entities->eventWriter, &qos);
        auto* writer =
            DDS_Publisher_create_datawriter(entities->eventPublisher, entities->eventTopic, &qos, nullptr, 0);
        DDS_DataWriterQos_finalize(&qos);
        enable(writer);
        return writer;
    }
    // Until somebody reads the writer: what is written before is for nobody.
    static bool isMatched(DDS_DataWriter* writer) {
        DDS_PublicationMatchedStatus status{};
        return DDS_DataWriter_get_publication_matched_status(writer, &status) == DDS_RETCODE_OK &&
               status.current_count > 0;
    }
    static void write(DDS_DataWriter* writer, const void* sample) {
        ASSERT_EQ(DDS_DataWriter_write_untypedI(writer, sample, &DDS_HANDLE_NIL), DDS_RETCODE_OK);
        const DDS_Duration_t bound{60, 0};
        ASSERT_EQ(DDS_DataWriter_flushI(writer, &bound), DDS_RETCODE_OK);
    }
    void write(const ApplicationEvent& event) { write(entities->eventWriter, event.get()); }
    // An application's registry with itself alone.
    void announce(uint8_t number, const char* name) {
        ApplicationEvent event;
        event.setRegistry({{number, name}});
        write(event);
    }

    DDS_GUID_t guid() const {
        DDS_GUID_t result{};
        DDS_Entity_get_guid(DDS_DomainParticipant_as_entity(participant_), &result);
        return result;
    }
    DDS_InstanceHandle_t eventHandle() const {
        return DDS_Entity_get_instance_handle(DDS_DataWriter_as_entity(entities->eventWriter));
    }
    DDS_DomainParticipant* participant() { return participant_; }

    ORX_MonitoringLibraryEntities* entities;

private:
    DDS_DomainParticipant* participant_;
};

// ---- What the user takes ----

struct EventTopic {
    using Sample = DDS_Monitoring_Event;
    static void destroy(Sample* sample) { DDS_Monitoring_EventPluginSupport_destroy_data(sample); }
    static Sample* create() { return DDS_Monitoring_EventPluginSupport_create_data(); }
    static constexpr auto nextOf = [](DDS_DataReader* reader, Sample* sample, DDS_SampleInfo* info) {
        return DDS_Monitoring_EventDataReader_take_next_sample(
            DDS_Monitoring_EventDataReader_narrow(reader), sample, info);
    };
};
struct PeriodicTopic {
    using Sample = DDS_Monitoring_Periodic;
    static void destroy(Sample* sample) { DDS_Monitoring_PeriodicPluginSupport_destroy_data(sample); }
    static Sample* create() { return DDS_Monitoring_PeriodicPluginSupport_create_data(); }
    static constexpr auto nextOf = [](DDS_DataReader* reader, Sample* sample, DDS_SampleInfo* info) {
        return DDS_Monitoring_PeriodicDataReader_take_next_sample(
            DDS_Monitoring_PeriodicDataReader_narrow(reader), sample, info);
    };
};
struct LoggingTopic {
    using Sample = DDS_Monitoring_Logging;
    static void destroy(Sample* sample) { DDS_Monitoring_LoggingPluginSupport_destroy_data(sample); }
    static Sample* create() { return DDS_Monitoring_LoggingPluginSupport_create_data(); }
    static constexpr auto nextOf = [](DDS_DataReader* reader, Sample* sample, DDS_SampleInfo* info) {
        return DDS_Monitoring_LoggingDataReader_take_next_sample(
            DDS_Monitoring_LoggingDataReader_narrow(reader), sample, info);
    };
};

// Samples of a cache reader with their infos, in order.
template <class Topic> class Taken {
public:
    struct Item {
        std::unique_ptr<typename Topic::Sample, void (*)(typename Topic::Sample*)> sample;
        DDS_SampleInfo info;
    };

    explicit Taken(DDS_DataReader* reader) : reader_{reader} {}

    size_t size() {
        for (;;) {
            Item item{{Topic::create(), Topic::destroy}, DDS_SAMPLEINFO_DEFAULT};
            if (Topic::nextOf(reader_, item.sample.get(), &item.info) != DDS_RETCODE_OK)
                return items_.size();
            items_.push_back(std::move(item));
        }
    }
    bool reaches(size_t count) {
        return eventually([&] { return size() >= count; });
    }
    template <typename Test> bool has(Test test) {
        for (size_t i = 0; i < size(); ++i)
            if (test(*items_[i].sample, items_[i].info))
                return true;
        return false;
    }
    const typename Topic::Sample& operator[](size_t i) const { return *items_[i].sample; }
    const DDS_SampleInfo& info(size_t i) const { return items_[i].info; }

private:
    DDS_DataReader* reader_;
    std::vector<Item> items_;
};

inline bool isDeletionOf(const DDS_Monitoring_Event& event, uint8_t number) {
    const auto& application = event.value._u.application;
    return event.value._d == static_cast<DDS_Long>(ORX_MONITORING_APPLICATION_CLASS_ID) &&
           application.resource_update != nullptr &&
           application.resource_update->_d ==
               DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_DELETION_KIND &&
           application.resource_update->_u.delete_resource.guid[15] == number;
}

class Forwarder {
public:
    explicit Forwarder(DDS_DomainId_t domain) : property{} {
        ORX_MonitoringForwarderProperty_t_finalize(&property);
        property.domain_id = domain;
    }
    ~Forwarder() { drop(); }
    Forwarder(const Forwarder&) = delete;
    Forwarder& operator=(const Forwarder&) = delete;

    bool make() { return (self = ORX_MonitoringForwarder_new(factory(), &property)) != nullptr; }
    bool makeOn(DDS_DomainParticipant* participant) {
        return (self = ORX_MonitoringForwarder_new_w_participant(participant, &property)) != nullptr;
    }
    void drop() {
        ORX_MonitoringForwarder_delete(self);
        self = nullptr;
    }
    ORX_MonitoringForwarderImpl& impl() { return *reinterpret_cast<ORX_MonitoringForwarderImpl*>(self); }
    ORX_MonitoringForwarderEntitiesImpl& entities() {
        return *reinterpret_cast<ORX_MonitoringForwarderEntitiesImpl*>(self->entities);
    }
    ORX_MonitoringForwarderApplicationRegistry* registry() { return impl().applicationRegistry; }

    // The names of the applications that match, with a blank between.
    std::string applications(const char* expression = "/applications/*") {
        std::string names;
        ORX_MonitoringForwarderApplicationResourcePtrSeq found;
        ORX_MonitoringForwarderApplicationResourcePtrSeq_initialize(&found);
        EXPECT_TRUE(ORX_MonitoringForwarder_lock_application_registry(self));
        if (ORX_MonitoringForwarder_find_matching_applications(self, &found, expression)) {
            for (DDS_Long i = 0; i < ORX_MonitoringForwarderApplicationResourcePtrSeq_get_length(&found);
                 ++i) {
                const auto* application =
                    *ORX_MonitoringForwarderApplicationResourcePtrSeq_get_reference(&found, i);
                names += (names.empty() ? "" : " ") + std::string(application->fullyQualifiedName);
            }
        }
        EXPECT_TRUE(ORX_MonitoringForwarder_unlock_application_registry(self));
        ORX_MonitoringForwarderApplicationResourcePtrSeq_finalize(&found);
        return names;
    }
    ORX_MonitoringForwarderApplicationResource* application(uint8_t number) {
        DDS_Octet guid[16]{};
        guid[15] = number;
        return ORX_MonitoringForwarderApplicationRegistry_findApplicationResource(registry(), nullptr, guid);
    }
    bool knowsParticipant(const FakeApplication& application) {
        const DDS_GUID_t guid = application.guid();
        return ORX_MonitoringForwarderApplicationRegistry_findApplicationMonitoringParticipant(
                   registry(), &guid) != nullptr;
    }
    int participants() {
        ORX_MonitoringForwarderApplicationRegistry_lock(registry());
        const int count = REDASkiplist_getNodeCount(registry()->monitoringParticipantIndex);
        ORX_MonitoringForwarderApplicationRegistry_unlock(registry());
        return count;
    }
    int pending() {
        ORX_MonitoringForwarderApplicationRegistry_lock(registry());
        const int count = REDAInlineList_getSize(registry()->participantsPendingResourceRegistryRequestList);
        ORX_MonitoringForwarderApplicationRegistry_unlock(registry());
        return count;
    }
    // Writers that the cache reader has a queue for.
    static DDS_Long queues(DDS_DataReader* cacheReader) {
        DDS_InstanceHandleSeq handles{};
        DDS_DataReader_get_matched_publications(cacheReader, &handles);
        const DDS_Long count = DDS_InstanceHandleSeq_get_length(&handles);
        DDS_InstanceHandleSeq_finalize(&handles);
        return count;
    }

    ORX_MonitoringForwarderProperty_t property;
    ORX_MonitoringForwarder* self = nullptr;
};

#endif
