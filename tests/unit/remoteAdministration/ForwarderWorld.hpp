// A command manager of a forwarder, and applications that answer as the test says, over either engine.
#ifndef ORX_TESTS_FORWARDER_WORLD_HPP
#define ORX_TESTS_FORWARDER_WORLD_HPP

#include <atomic>
#include <cstring>
#include <future>
#include <memory>
#include <thread>

#include "middleware/engine/loopback/LoopbackEngine.hpp"
#include "orxmonitoring2d/path_tokenizer.h"
#include "src/remoteAdministration/ForwarderCommandShared.hpp"
#include "src/remoteAdministration/ForwarderCommands.h"
#include "tests/contract/ContractFixture.hpp"
#include "tests/helpers/LogCapture.hpp"
#include "tests/helpers/TestDomain.hpp"
#include "tests/helpers/Wait.hpp"
#include "tests/unit/remoteAdministration/Commands.hpp"
#include "zddsc/type_engine.h"
#include "zddscore/heap.h"
#include "zddscore/thread.h"
#include "gtest/gtest.h"

namespace forwarding {

using orx::forwarder::Handler;
using orx::forwarder::Manager;
using Registry = ORX_MonitoringForwarderApplicationRegistry;

enum class EngineKind { loopback, cyclone };
inline std::string nameOf(const testing::TestParamInfo<EngineKind>& info) {
    return info.param == EngineKind::cyclone ? "cyclone" : "loopback";
}
inline const auto bothEngines = testing::Values(EngineKind::loopback, EngineKind::cyclone);

// What selects the application of that number: forwarders tell applications apart by their GUIDs.
inline std::string pathOf(uint32_t number) {
    DDS_Octet guid[16]{};
    std::memcpy(guid, &number, sizeof number);
    char text[ORX_MONITORING_GUID_TEXT_SIZE];
    DDS_Monitoring_GUID_toStr(guid, text);
    return std::string("/applications/") + text;
}

// For what another thread is about to do, where there is nothing to wait with.
template <class Condition> bool eventually(Condition condition) {
    const auto end = std::chrono::steady_clock::now() + waitBound;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// A participant with the channel.
class Channel {
public:
    explicit Channel(DDS_DomainId_t domain) {
        DDS_DomainParticipantQos qos{};
        DDS_DomainParticipantQos_initialize(&qos);
        qos.discovery_config.enabled_builtin_channels = DDS_DISCOVERYCONFIG_SERVICE_REQUEST_CHANNEL;
        participant = DDS_DomainParticipantFactory_create_participant(factory(), domain, &qos, nullptr, 0);
        DDS_DomainParticipantQos_finalize(&qos);
        writer =
            DDS_DomainParticipant_get_builtin_datawriterI(participant, DDS_SERVICE_REQUEST_TOPIC_NAME, 0);
        reader = DDS_Subscriber_lookup_datareader(
            DDS_DomainParticipant_get_builtin_subscriber(participant), DDS_SERVICE_REQUEST_TOPIC_NAME);
    }
    ~Channel() { end(); }
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;
    void end() {
        if (participant != nullptr) {
            EXPECT_EQ(
                DDS_DomainParticipantFactory_delete_participant(factory(), participant), DDS_RETCODE_OK);
        }
        participant = nullptr;
    }

    static DDS_DomainParticipantFactory* factory() { return DDS_DomainParticipantFactory_get_instance(); }
    DDS_GUID_t guid() const {
        DDS_GUID_t guid{};
        DDS_Entity_get_guid(DDS_DomainParticipant_as_entity(participant), &guid);
        return guid;
    }
    DDS_GUID_t writerGuid() const {
        DDS_GUID_t guid{};
        DDS_Entity_get_guid(DDS_DataWriter_as_entity(writer), &guid);
        return guid;
    }
    DDS_InstanceHandle_t readerHandle() const {
        return DDS_Entity_get_instance_handle(DDS_DataReader_as_entity(reader));
    }
    DDS_DataReaderCountersI counters() const {
        DDS_DataReaderCountersI counters;
        DDS_DataReader_get_countersI(reader, &counters);
        return counters;
    }
    bool send(const DDS_InstanceHandle_t& to, DDS_Long service, const DDS_GUID_t& instance,
        const std::vector<DDS_Octet>& body) const {
        DDS_ServiceRequest sample = DDS_SERVICE_REQUEST_DEFAULT;
        sample.service_id = service;
        sample.instance_id = instance;
        DDS_OctetSeq_from_array(&sample.request_body, body.data(), static_cast<DDS_Long>(body.size()));
        const bool isSent =
            DDS_DataWriter_write_untyped_generalI(writer, &to, nullptr, &sample, nullptr) == DDS_RETCODE_OK;
        DDS_ServiceRequest_finalize(&sample);
        return isSent;
    }
    bool unregister(const DDS_InstanceHandle_t& to, DDS_Long service, const DDS_GUID_t& instance) const {
        DDS_ServiceRequest sample = DDS_SERVICE_REQUEST_DEFAULT;
        sample.service_id = service;
        sample.instance_id = instance;
        return DDS_DataWriter_unregister_instance_untyped_generalI(writer, &to, &sample, nullptr) ==
               DDS_RETCODE_OK;
    }

    DDS_DomainParticipant* participant = nullptr;
    DDS_DataWriter* writer = nullptr;
    DDS_DataReader* reader = nullptr;
};

inline std::vector<DDS_Octet> replyBytes(DDS_Long hash, int code, const char* message = "") {
    DDS_Monitoring_MonitoringService_Reply reply{};
    DDS_Monitoring_MonitoringService_Reply_initialize(&reply);
    reply.data._d = hash;
    DDS_Monitoring_MonitoringCommandError* error = nullptr;
    std::vector<DDS_Octet> bytes;
    if (ORX_MonitoringCommandHelper_getReplyException(&error, &reply)) {
        error->ret_code = static_cast<DDS_Monitoring_ReturnCode_t>(code);
        DDS_String_replace(&error->error_message, message);
    }
    DDS_OctetSeq seq{};
    if (ORX_MonitoringCommandHelper_replyToOctetSeq(&seq, &reply)) {
        const DDS_Octet* begin = DDS_OctetSeq_get_contiguous_buffer(&seq);
        bytes.assign(begin, begin + DDS_OctetSeq_get_length(&seq));
    }
    DDS_OctetSeq_finalize(&seq);
    DDS_Monitoring_MonitoringService_Reply_finalize(&reply);
    return bytes;
}

// A command as an application gets it.
struct Arrived {
    bool isData;
    DDS_GUID_t uuid;
    DDS_Long hash;
    Texts applications; // of a request for the registry
    DDS_GUID_t headerWriter;
    DDS_UnsignedLongLong number;
    DDS_InstanceHandle_t sender; // the reader that waits for the reply
};

// An application that does what it is told.
class Application : public Channel {
public:
    using Channel::Channel;

    // What has come, in order, since the last call.
    std::vector<Arrived> takeNow() const {
        std::vector<Arrived> all;
        DDS_ServiceRequestSeq samples{};
        DDS_SampleInfoSeq infos{};
        DDS_ServiceRequestDataReader* typed = DDS_ServiceRequestDataReader_narrow(reader);
        if (DDS_ServiceRequestDataReader_take(typed, &samples, &infos, DDS_LENGTH_UNLIMITED,
                DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE) != DDS_RETCODE_OK)
            return all;
        for (DDS_Long i = 0; i < DDS_ServiceRequestSeq_get_length(&samples); ++i)
            all.push_back(read(*DDS_ServiceRequestSeq_get_reference(&samples, i),
                *DDS_SampleInfoSeq_get_reference(&infos, i)));
        DDS_ServiceRequestDataReader_return_loan(typed, &samples, &infos);
        return all;
    }
    // The next one; a sample without data when nothing comes.
    Arrived await() {
        const auto end = std::chrono::steady_clock::now() + waitBound;
        while (waiting_.empty()) {
            for (Arrived& one : takeNow())
                waiting_.push_back(std::move(one));
            if (waiting_.empty() && std::chrono::steady_clock::now() > end) {
                ADD_FAILURE() << "no command came";
                return {};
            }
            if (waiting_.empty())
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        Arrived one = waiting_.front();
        waiting_.erase(waiting_.begin());
        return one;
    }
    Arrived awaitCommand() {
        Arrived one = await();
        EXPECT_TRUE(one.isData);
        return one;
    }
    void awaitEnd(const DDS_GUID_t& uuid) {
        const Arrived one = await();
        EXPECT_FALSE(one.isData);
        EXPECT_TRUE(DDS_GUID_equals(&one.uuid, &uuid));
    }
    // Nothing more has come.
    bool isQuiet() {
        for (Arrived& one : takeNow())
            waiting_.push_back(std::move(one));
        return waiting_.empty();
    }
    void reply(const Arrived& to, int code, const char* message = "") const {
        EXPECT_TRUE(
            send(to.sender, ORX_MONITORING_REPLY_SERVICE_ID, to.uuid, replyBytes(to.hash, code, message)));
    }

private:
    static Arrived read(const DDS_ServiceRequest& sample, const DDS_SampleInfo& info) {
        Arrived one{info.valid_data != 0, sample.instance_id, 0, {}, {}, 0, {}};
        DDS_GUID_t guid;
        ORXOsapiRtpsGuid words;
        DDS_GUID_from_instance_handle(&guid, &info.publication_handle);
        DDS_GUID_copy_to_pres_guid(&guid, &words);
        words.objectId = DDS_SERVICE_REQUEST_READER_OBJECT_IDI;
        DDS_GUID_copy_from_pres_guid(&guid, &words);
        DDS_GUID_to_instance_handle(&guid, &one.sender);
        DDS_Monitoring_MonitoringService_Request request{};
        DDS_Monitoring_MonitoringService_Request_initialize(&request);
        if (one.isData && ORX_MonitoringCommandHelper_octetSeqToRequest(&request, &sample.request_body)) {
            const auto& id = request.header.requestId;
            one.hash = request.data._d;
            std::memcpy(one.headerWriter.value, &id.writer_guid, sizeof one.headerWriter.value);
            one.number =
                static_cast<DDS_UnsignedLongLong>(id.sequence_number.high) << 32 | id.sequence_number.low;
            const auto& applications = request.data._u.request_resource_registry.applications;
            for (DDS_Long i = 0; i < DDS_StringSeq_get_length(&applications); ++i)
                one.applications.push_back(DDS_StringSeq_get(&applications, i));
        }
        DDS_Monitoring_MonitoringService_Request_finalize(&request);
        return one;
    }

    std::vector<Arrived> waiting_;
};

// What a caller of a command gets.
struct Result {
    bool isPrepared = false;
    bool isSent = false;
    int code = -1;
    std::string message;
};
inline std::ostream& operator<<(std::ostream& stream, const Result& result) {
    return stream << "{prepared " << result.isPrepared << ", sent " << result.isSent << ", " << result.code
                  << ", \"" << result.message << "\"}";
}

struct Exception : DDS_Monitoring_MonitoringCommandError {
    Exception() : DDS_Monitoring_MonitoringCommandError{} {
        DDS_Monitoring_MonitoringCommandError_initialize(this);
        ret_code = static_cast<DDS_Monitoring_ReturnCode_t>(77); // nobody's
    }
    ~Exception() { DDS_Monitoring_MonitoringCommandError_finalize(this); }
    Exception(const Exception&) = delete;
    Exception& operator=(const Exception&) = delete;
    std::string message() const { return error_message != nullptr ? error_message : "(null)"; }
};

enum class Kind { setMetrics, updateMetrics, setCollection, setForwarding, requestRegistry };
inline constexpr Kind allKinds[] = {
    Kind::setMetrics, Kind::updateMetrics, Kind::setCollection, Kind::setForwarding, Kind::requestRegistry};
inline DDS_Long hashOf(Kind kind) {
    switch (kind) {
    case Kind::setMetrics:
        return operation::set_metric_subscription_state;
    case Kind::updateMetrics:
        return operation::update_metric_subscription_state;
    case Kind::setCollection:
        return operation::set_logging_collection_level;
    case Kind::setForwarding:
        return operation::set_logging_forwarding_level;
    case Kind::requestRegistry:
        return operation::request_resource_registry;
    }
    return 0;
}

// A registry and a manager on a participant's channel.
class Collector {
public:
    explicit Collector(DDS_DomainId_t domain, DDS_Duration_t timeout = {60, 0})
        : channel(domain), registry(ORX_MonitoringForwarderApplicationRegistry_new()),
          manager(
              ORX_MonitoringForwarderCommandManager_new(channel.writer, channel.reader, registry, &timeout)) {
    }
    ~Collector() { end(); }
    Collector(const Collector&) = delete;
    Collector& operator=(const Collector&) = delete;
    void end() {
        EXPECT_TRUE(ORX_MonitoringForwarderCommandManager_delete(manager));
        manager = nullptr;
        ORX_MonitoringForwarderApplicationRegistry_delete(registry);
        registry = nullptr;
    }

    // Makes the application known, under a name.
    void know(const DDS_GUID_t& participant, const std::string& name, uint32_t number) {
        DDS_InstanceHandle_t handle;
        DDS_GUID_to_instance_handle(&participant, &handle);
        EXPECT_TRUE(ORX_MonitoringForwarderApplicationRegistry_assertParticipant(
            registry, nullptr, &participant, &handle));
        DDS_Monitoring_Resource resource;
        DDS_Monitoring_Resource_initialize(&resource);
        std::memcpy(resource.guid, &number, sizeof number);
        EXPECT_NE(ORX_MonitoringForwarderApplicationRegistry_assertApplicationResource(
                      registry, name.c_str(), 0, &resource, &participant),
            nullptr);
        DDS_Monitoring_Resource_finalize(&resource);
    }
    void know(const Channel& application, const std::string& name, uint32_t number) {
        know(application.guid(), name, number);
    }
    void forget(const DDS_GUID_t& participant, uint32_t number) {
        DDS_Octet guid[16]{};
        std::memcpy(guid, &number, sizeof number);
        EXPECT_TRUE(ORX_MonitoringForwarderApplicationRegistry_lock(registry));
        ORX_MonitoringForwarderApplicationRegistry_deleteApplicationResource(registry, guid);
        auto* known = ORX_MonitoringForwarderApplicationRegistry_findApplicationMonitoringParticipant(
            registry, &participant);
        EXPECT_TRUE(ORX_MonitoringForwarderApplicationRegistry_deleteParticipant(registry, known));
        EXPECT_TRUE(ORX_MonitoringForwarderApplicationRegistry_unlock(registry));
    }

    Handler* prepare(Kind kind, const Texts& selectors, DDS_Monitoring_MonitoringCommandError* exception,
        int isBlocking = 1, int isSelfManaged = 0) {
        switch (kind) {
        case Kind::setMetrics:
        case Kind::updateMetrics:
            return prepareMetrics(kind, selectors, exception, isBlocking, isSelfManaged);
        case Kind::setCollection:
        case Kind::setForwarding:
            return prepareLogging(kind, selectors, exception, isBlocking, isSelfManaged);
        case Kind::requestRegistry:
            break;
        }
        DDS_StringSeq applications{};
        fill(applications, selectors);
        Handler* handler = ORX_MonitoringForwarderCommandManager_getRequestResourceRegistryHandler(
            manager, exception, &applications, nullptr, isBlocking, isSelfManaged);
        DDS_StringSeq_finalize(&applications);
        return handler;
    }
    // As the forwarder's public operations do it.
    Result run(Kind kind, const Texts& selectors) {
        Exception exception;
        Result result;
        if (Handler* handler = prepare(kind, selectors, &exception)) {
            result.isPrepared = true;
            result.isSent = ORX_MonitoringForwarderCommandManager_sendCommand(manager, handler) != 0;
            EXPECT_TRUE(ORX_MonitoringForwarderCommandManager_returnCommandHandler(manager, handler));
        }
        result.code = exception.ret_code;
        result.message = exception.message();
        return result;
    }
    std::future<Result> start(Kind kind, const Texts& selectors) {
        return std::async(std::launch::async, [this, kind, selectors] { return run(kind, selectors); });
    }
    // Self-managed, to one reader.
    bool requestRegistryFrom(const DDS_InstanceHandle_t& destination) {
        Handler* handler = ORX_MonitoringForwarderCommandManager_getRequestResourceRegistryHandler(
            manager, nullptr, nullptr, &destination, 0, 1);
        return handler != nullptr && ORX_MonitoringForwarderCommandManager_sendCommand(manager, handler);
    }

    int handlersInUse() const {
        REDAFastBufferPoolInfo info{};
        REDAFastBufferPool_getInfo(manager->commandHandlerPool, &info);
        return info.bufferInUse;
    }
    bool isIdle() const {
        return eventually([&] { return handlersInUse() == 0; });
    }

    Channel channel;
    Registry* registry;
    Manager* manager;

private:
    Handler* prepareMetrics(Kind kind, const Texts& selectors,
        DDS_Monitoring_MonitoringCommandError* exception, int isBlocking, int isSelfManaged) {
        std::vector<Selector> all;
        for (const std::string& selector : selectors)
            all.push_back({selector, {"*"}});
        const MetricCommand command(hashOf(kind), all);
        const auto& input = command.request.data._u;
        if (kind == Kind::setMetrics)
            return ORX_MonitoringForwarderCommandManager_getSetMetricSubscriptionStateHandler(
                manager, exception, &input.set_metric_subscription_state.metrics, isBlocking, isSelfManaged);
        return ORX_MonitoringForwarderCommandManager_getUpdateMetricSubscriptionStateHandler(
            manager, exception, &input.update_metric_subscription_state.metrics, isBlocking, isSelfManaged);
    }
    Handler* prepareLogging(Kind kind, const Texts& selectors,
        DDS_Monitoring_MonitoringCommandError* exception, int isBlocking, int isSelfManaged) {
        std::vector<Group> all;
        for (const std::string& selector : selectors)
            all.push_back({selector, {{22, DDS_Monitoring_SyslogVerbosity_SYSLOG_VERBOSITY_WARNING}}});
        const LoggingCommand command(hashOf(kind), all);
        const auto& input = command.request.data._u;
        if (kind == Kind::setCollection)
            return ORX_MonitoringForwarderCommandManager_getSetLoggingCollectionLevelHandler(manager,
                exception, &input.set_logging_collection_level.logging_groups, isBlocking, isSelfManaged);
        return ORX_MonitoringForwarderCommandManager_getSetLoggingForwardingLevelHandler(manager, exception,
            &input.set_logging_forwarding_level.logging_groups, isBlocking, isSelfManaged);
    }
};

// Leaves nothing behind: no engine object, no buffer, no thread.
class World : public testing::TestWithParam<EngineKind> {
protected:
    World() {
        contract::useLoopbackDevice();
        if (GetParam() == EngineKind::loopback)
            zdds::engine::setInstance(&loopback);
    }
    ~World() override {
        collector.reset();
        applications.clear();
        zdds::engine::setInstance(nullptr);
        EXPECT_EQ(loopback.liveObjects(), 0);
        EXPECT_EQ(countBuffers(), buffersBefore) << log.text();
        EXPECT_EQ(ORXOsapiThread_getLiveThreadCount(), threadsBefore);
    }
    // A collector, and applications that it knows as app1, app2...
    void begin(unsigned count, DDS_Duration_t timeout = {60, 0}) {
        domain = GetParam() == EngineKind::cyclone ? testDomain() : 51;
        collector = std::make_unique<Collector>(domain, timeout);
        ASSERT_NE(collector->manager, nullptr) << log.text();
        for (unsigned i = 1; i <= count; ++i)
            addApplication();
    }
    Application& addApplication() {
        applications.push_back(std::make_unique<Application>(domain));
        const auto number = static_cast<uint32_t>(applications.size());
        collector->know(*applications.back(), "app" + std::to_string(number), number);
        return *applications.back();
    }
    Application& app(size_t number) { return *applications.at(number - 1); }

    static ORX_UINT64 countBuffers() {
        DDS_Type_finalize_programs(); // kept for the next use
        return ORXOsapiHeap_getLiveBufferCount();
    }
    const ORX_UINT64 buffersBefore = countBuffers();
    const ORX_UINT32 threadsBefore = ORXOsapiThread_getLiveThreadCount();
    zdds::engine::LoopbackEngine loopback;
    LogCapture log;
    DDS_DomainId_t domain = 51;
    std::unique_ptr<Collector> collector;
    std::vector<std::unique_ptr<Application>> applications;
};

inline const Texts everybody{"//applications/*"};

} // namespace forwarding

#endif
