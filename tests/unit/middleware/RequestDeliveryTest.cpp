// Service requests on their way to the library, which is a stand-in that remembers.
#include <algorithm>
#include <mutex>

#include "middleware/host/RequestDelivery.hpp"
#include "tests/contract/ContractFixture.hpp"
#include "tests/unit/middleware/ServiceRequestFixture.hpp"
#include "zddsc/monitoring.h"

namespace requests {
namespace {

// A library that serves on a participant of its own.
struct StubLibrary {
    static inline ORX_MonitoringClass object{};
    static inline Peer* peer = nullptr;
    static inline std::mutex mutex;
    static inline std::vector<std::string> commands;
    static inline std::vector<DDS_SampleInfo> infos;
    static inline std::atomic<bool> isTaking{true};
    static inline std::thread::id thread;

    static ORX_MonitoringClass* create(DDS_DomainParticipantFactory*, const ORX_MonitoringProperty_t*) {
        peer = new Peer;
        object = ORX_MonitoringClass{};
        object.prefinalizeFunction = [](ORX_MonitoringClass*) -> DDS_Boolean { return DDS_BOOLEAN_TRUE; };
        object.deleteFunction = [](ORX_MonitoringClass*) {
            delete peer;
            peer = nullptr;
        };
        object.dispatchCommandFunction = &dispatch;
        return &object;
    }
    static DDS_Boolean dispatch(
        ORX_MonitoringClass*, const DDS_ServiceRequest* sample, const DDS_SampleInfo* info) {
        std::lock_guard lock(mutex);
        const auto* name = reinterpret_cast<const char*>(sample->instance_id.value);
        commands.push_back(std::string(name, strnlen(name, 16)));
        infos.push_back(*info);
        thread = std::this_thread::get_id();
        return isTaking;
    }
    static std::vector<std::string> seen() {
        std::lock_guard lock(mutex);
        return commands;
    }
};

class Delivery : public testing::TestWithParam<EngineKind> {
protected:
    Delivery() {
        contract::useLoopbackDevice();
        if (GetParam() == EngineKind::loopback)
            zdds::engine::setInstance(&loopback);
        StubLibrary::commands.clear();
        StubLibrary::infos.clear();
        StubLibrary::isTaking = true;
        ORX_MonitoringProperty_t_initialize(&property);
        EXPECT_TRUE(ORX_MonitoringHost_set_create_function(&StubLibrary::create));
        EXPECT_EQ(ORX_MonitoringHost_start(&property), &StubLibrary::object);
        before = counters();
    }
    ~Delivery() override {
        EXPECT_TRUE(ORX_MonitoringHost_stop());
        ORX_MonitoringHost_finalize();
        ORX_MonitoringProperty_t_finalize_ex(&property, DDS_BOOLEAN_FALSE);
        zdds::engine::setInstance(nullptr);
        EXPECT_EQ(loopback.liveObjects(), 0);
        EXPECT_EQ(ORXOsapiThread_getLiveThreadCount(), threadsBefore);
    }
    static ORX_MonitoringHostRequestCounters counters() {
        ORX_MonitoringHostRequestCounters now;
        ORX_MonitoringHost_get_request_countersI(&now);
        return now;
    }
    static bool waitForCommands(size_t count) {
        return eventually([&] { return StubLibrary::seen().size() >= count; });
    }
    static Peer& application() { return *StubLibrary::peer; }

    const ORX_UINT32 threadsBefore = ORXOsapiThread_getLiveThreadCount();
    zdds::engine::LoopbackEngine loopback;
    ORX_MonitoringProperty_t property{};
    ORX_MonitoringHostRequestCounters before{};
};

TEST_P(Delivery, ACommandReachesTheLibraryOnAThreadOfTheHost) {
    Peer collector;
    ASSERT_EQ(collector.send(application(), Request(command, "one", "body")), DDS_RETCODE_OK);
    ASSERT_TRUE(waitForCommands(1));
    EXPECT_EQ(StubLibrary::seen()[0], "one");
    const DDS_InstanceHandle_t writer = collector.writerHandle();
    EXPECT_TRUE(DDS_InstanceHandle_equals(&StubLibrary::infos[0].publication_handle, &writer));
    EXPECT_EQ(StubLibrary::infos[0].publication_sequence_number.low, 1U);
    EXPECT_NE(StubLibrary::thread, std::this_thread::get_id());
}

TEST_P(Delivery, CommandsWaitForTheEntityLock) {
    Peer collector;
    DDS_Entity* const locked = DDS_DomainParticipant_as_entity(application().participant);
    ASSERT_EQ(DDS_Entity_lock(locked), DDS_RETCODE_OK);
    ASSERT_EQ(collector.send(application(), Request(command, "one", "body")), DDS_RETCODE_OK);
    ASSERT_EQ(collector.waitForAcknowledgments(), DDS_RETCODE_OK);
    ASSERT_TRUE(eventually([&] { return counters().handed_over > before.handed_over; }));
    EXPECT_TRUE(StubLibrary::seen().empty());
    DDS_Entity_unlock(locked);
    EXPECT_TRUE(waitForCommands(1));
}

TEST_P(Delivery, OtherServicesAndRepliesAreNotForTheLibrary) {
    Peer collector;
    ASSERT_EQ(collector.send(application(), Request(reply, "reply")), DDS_RETCODE_OK);
    ASSERT_EQ(collector.send(application(), Request(77, "stranger")), DDS_RETCODE_OK);
    ASSERT_EQ(collector.send(application(), Request(command, "command")), DDS_RETCODE_OK);
    ASSERT_TRUE(waitForCommands(1));
    EXPECT_EQ(StubLibrary::seen(), std::vector<std::string>{"command"});
}

TEST_P(Delivery, ADisposeIsHandedOverWithoutData) {
    Peer collector;
    const Request request(command, "one", "body");
    ASSERT_EQ(collector.send(application(), request), DDS_RETCODE_OK);
    ASSERT_TRUE(waitForCommands(1));
    ASSERT_EQ(collector.dispose(application(), request), DDS_RETCODE_OK);
    ASSERT_TRUE(waitForCommands(2));
    EXPECT_EQ(StubLibrary::seen()[1], "one");
    EXPECT_FALSE(StubLibrary::infos[1].valid_data);
}

TEST_P(Delivery, AReplyMakesRoomForTheNextCommand) {
    Peer collector;
    constexpr int count = 100;
    for (int i = 0; i < count; ++i) {
        // An operation that is not paced.
        std::string body(40, '\0');
        body[1] = 1;
        ASSERT_EQ(collector.send(application(), Request(command, std::to_string(i), body)), DDS_RETCODE_OK);
    }
    for (int i = 0; i < count; ++i) {
        ASSERT_TRUE(waitForCommands(static_cast<size_t>(i) + 1)) << i;
        EXPECT_LE(counters().in_flight, 32U);
        ASSERT_EQ(application().send(collector, Request(reply, std::to_string(i))), DDS_RETCODE_OK);
    }
    collector.takeSome(count);
    EXPECT_TRUE(eventually([] { return counters().in_flight == 0; }));
}

TEST_P(Delivery, NothingReachesALibraryThatIsStopping) {
    auto collector = std::make_unique<Peer>();
    const DDS_InstanceHandle_t to = application().readerHandle();
    std::atomic<bool> isOver{false};
    std::thread sender([&] {
        for (int i = 0; !isOver; ++i) {
            const Request request(command, std::to_string(i), "x");
            DDS_DataWriter_write_untyped_generalI(collector->writer, &to, nullptr, &request, nullptr);
        }
    });
    EXPECT_TRUE(waitForCommands(1));
    ASSERT_TRUE(ORX_MonitoringHost_stop());
    const size_t seen = StubLibrary::seen().size();
    isOver = true;
    sender.join();
    EXPECT_EQ(StubLibrary::seen().size(), seen);
    ASSERT_EQ(ORX_MonitoringHost_start(&property), &StubLibrary::object);
    ASSERT_EQ(collector->send(application(), Request(command, "again", "x")), DDS_RETCODE_OK);
    EXPECT_TRUE(eventually([] {
        const std::vector<std::string> all = StubLibrary::seen();
        return std::find(all.begin(), all.end(), "again") != all.end();
    }));
}

TEST_P(Delivery, ManySendersGetThrough) {
    constexpr int senders = 4, perSender = 50;
    std::vector<std::unique_ptr<Peer>> peers;
    for (int i = 0; i < senders; ++i)
        peers.push_back(std::make_unique<Peer>());
    std::string body(40, '\0');
    body[1] = 1;
    for (int i = 0; i < perSender; ++i)
        for (int s = 0; s < senders; ++s) {
            const Request request(command, std::to_string(s) + "/" + std::to_string(i), body);
            ASSERT_EQ(peers[static_cast<size_t>(s)]->send(application(), request), DDS_RETCODE_OK);
        }
    for (size_t i = 0; i < senders * perSender; ++i) {
        ASSERT_TRUE(waitForCommands(i + 1)) << i;
        const std::string name = StubLibrary::seen()[i];
        const Request answer(reply, name);
        ASSERT_EQ(application().send(*peers[static_cast<size_t>(name[0] - '0')], answer), DDS_RETCODE_OK);
    }
    for (int s = 0; s < senders; ++s)
        EXPECT_EQ(peers[static_cast<size_t>(s)]->takeSome(perSender).size(), size_t{perSender});
}

INSTANTIATE_TEST_SUITE_P(Engine, Delivery, bothEngines, nameOf);

} // namespace
} // namespace requests
