// The service-request channel between participants of this process.
#include <chrono>
#include <thread>

#include "tests/contract/ContractFixture.hpp"
#include "tests/unit/middleware/ServiceRequestFixture.hpp"

namespace requests {
namespace {

class ServiceRequests : public testing::TestWithParam<EngineKind> {
protected:
    ServiceRequests() {
        contract::useLoopbackDevice();
        if (GetParam() == EngineKind::loopback)
            zdds::engine::setInstance(&loopback);
    }
    ~ServiceRequests() override {
        zdds::engine::setInstance(nullptr);
        EXPECT_EQ(loopback.liveObjects(), 0);
        DDS_Type_finalize_programs(); // kept for the next use
        EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffersBefore);
        EXPECT_EQ(ORXOsapiThread_getLiveThreadCount(), threadsBefore);
    }
    const ORX_UINT64 buffersBefore = ORXOsapiHeap_getLiveBufferCount();
    const ORX_UINT32 threadsBefore = ORXOsapiThread_getLiveThreadCount();
    zdds::engine::LoopbackEngine loopback;
    LogCapture log;
};

class OverLoopback : public ServiceRequests {};

TEST_P(ServiceRequests, GuidsAreComputedFromTheParticipants) {
    Peer one(false);
    DDS_GUID_t participant, writer, reader;
    DDS_Entity_get_guid(DDS_DomainParticipant_as_entity(one.participant), &participant);
    DDS_Entity_get_guid(DDS_DataWriter_as_entity(one.writer), &writer);
    DDS_Entity_get_guid(DDS_DataReader_as_entity(one.reader), &reader);
    EXPECT_EQ(std::memcmp(participant.value, writer.value, 12), 0);
    EXPECT_EQ(std::memcmp(participant.value, reader.value, 12), 0);
    ORXOsapiRtpsGuid words;
    DDS_GUID_copy_to_pres_guid(&writer, &words);
    EXPECT_EQ(words.objectId, 0x00020082U);
    DDS_GUID_copy_to_pres_guid(&reader, &words);
    EXPECT_EQ(words.objectId, 0x00020087U);
}

TEST_P(ServiceRequests, AParticipantWithoutTheChannelHasNoEndpoints) {
    DDS_DomainParticipant* plain =
        DDS_DomainParticipantFactory_create_participant(factory(), domain, nullptr, nullptr, 0);
    ASSERT_NE(plain, nullptr);
    EXPECT_EQ(
        DDS_DomainParticipant_get_builtin_datawriterI(plain, DDS_SERVICE_REQUEST_TOPIC_NAME, 0), nullptr);
    EXPECT_EQ(DDS_DomainParticipant_get_builtin_subscriber(plain), nullptr);
    EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory(), plain), DDS_RETCODE_OK);
    Peer peer;
    EXPECT_EQ(DDS_DomainParticipant_get_builtin_datawriterI(peer.participant, "Another", 0), nullptr);
}

TEST_P(ServiceRequests, ASampleReachesItsDestinationAlone) {
    Peer sender, wanted, other;
    const Request request(command, "one", "body");
    ASSERT_EQ(sender.send(wanted, request), DDS_RETCODE_OK);
    const std::vector<Taken> taken = wanted.takeSome(1);
    EXPECT_EQ(taken[0].service, command);
    EXPECT_TRUE(DDS_GUID_equals(&taken[0].instance, &request.instance_id));
    EXPECT_EQ(taken[0].body, "body");
    EXPECT_TRUE(taken[0].info.valid_data);
    const DDS_InstanceHandle_t writer = sender.writerHandle();
    EXPECT_TRUE(DDS_InstanceHandle_equals(&taken[0].info.publication_handle, &writer));
    EXPECT_EQ(taken[0].info.publication_sequence_number.low, 1U);
    EXPECT_EQ(sender.waitForAcknowledgments(), DDS_RETCODE_OK);
    EXPECT_EQ(other.readerCounters().received, 0U);
    EXPECT_EQ(sender.readerCounters().received, 0U);
}

TEST_P(ServiceRequests, TheReplyFindsItsWayFromThePublicationHandle) {
    Peer collector, application;
    ASSERT_EQ(collector.send(application, Request(command, "one", "ask")), DDS_RETCODE_OK);
    const Taken asked = application.takeSome(1)[0];
    DDS_GUID_t guid;
    DDS_GUID_from_instance_handle(&guid, &asked.info.publication_handle);
    ORXOsapiRtpsGuid words;
    DDS_GUID_copy_to_pres_guid(&guid, &words);
    words.objectId = DDS_SERVICE_REQUEST_READER_OBJECT_IDI;
    DDS_GUID_copy_from_pres_guid(&guid, &words);
    DDS_InstanceHandle_t back = DDS_HANDLE_NIL;
    DDS_GUID_to_instance_handle(&guid, &back);
    const Request answer(reply, "one", "answer");
    DDS_InstanceHandle_t instance = DDS_HANDLE_NIL;
    ASSERT_EQ(DDS_DataWriter_write_untyped_generalI(application.writer, &back, nullptr, &answer, &instance),
        DDS_RETCODE_OK);
    EXPECT_FALSE(DDS_InstanceHandle_is_nil(&instance));
    EXPECT_EQ(collector.takeSome(1)[0].body, "answer");
    EXPECT_EQ(application.waitForAcknowledgments(), DDS_RETCODE_OK);
}

TEST_P(ServiceRequests, ManySamplesToOneDestinationStayInOrder) {
    Peer sender, receiver;
    constexpr int count = 300;
    for (int i = 0; i < count; ++i)
        ASSERT_EQ(
            sender.send(receiver, Request(command, std::to_string(i), std::to_string(i))), DDS_RETCODE_OK);
    const std::vector<Taken> taken = receiver.takeSome(count);
    for (int i = 0; i < count; ++i)
        ASSERT_EQ(taken[static_cast<size_t>(i)].body, std::to_string(i));
    // The receiver may have the last sample before the sender has counted it.
    EXPECT_EQ(sender.waitForAcknowledgments(), DDS_RETCODE_OK);
    for (const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
         sender.writerCounters().written < count && std::chrono::steady_clock::now() < end;)
        std::this_thread::yield();
    EXPECT_EQ(sender.writerCounters().written, static_cast<DDS_UnsignedLongLong>(count));
}

TEST_P(ServiceRequests, ASampleWaitsForItsDestination) {
    Peer sender, late(false);
    ASSERT_EQ(sender.send(late, Request(command, "early", "kept")), DDS_RETCODE_OK);
    EXPECT_EQ(sender.waitForAcknowledgments({0, 20'000'000U}), DDS_RETCODE_TIMEOUT)
        << "who is not matched has not acknowledged";
    EXPECT_EQ(DDS_Entity_enable(late.participant), DDS_RETCODE_OK);
    EXPECT_EQ(late.takeSome(1)[0].body, "kept");
    EXPECT_EQ(sender.waitForAcknowledgments(), DDS_RETCODE_OK);
}

TEST_P(ServiceRequests, ASampleIsDroppedAtItsDeadline) {
    Peer sender, never(false);
    zdds::DirectedWriter::Limits limits;
    limits.holdNs = 0;
    sender.writer->directed->setLimits(limits);
    ASSERT_EQ(sender.send(never, Request(command, "one")), DDS_RETCODE_OK);
    EXPECT_EQ(sender.waitForAcknowledgments(), DDS_RETCODE_ERROR) << "it can never be acknowledged";
    EXPECT_EQ(sender.writerCounters().dropped_deadline, 1U);
    EXPECT_EQ(sender.writerCounters().queued, 0U);
}

TEST_P(ServiceRequests, DisposeAndUnregisterTellTheEndOfTheInstance) {
    Peer sender, receiver;
    const Request one(command, "one", "body"), two(reply, "two", "body");
    ASSERT_EQ(sender.send(receiver, one), DDS_RETCODE_OK);
    ASSERT_EQ(sender.send(receiver, two), DDS_RETCODE_OK);
    EXPECT_TRUE(sender.hasInstance(one));
    EXPECT_TRUE(sender.hasInstance(two));
    receiver.takeSome(2);
    ASSERT_EQ(sender.dispose(receiver, one), DDS_RETCODE_OK);
    const Taken disposed = receiver.takeSome(1)[0];
    EXPECT_FALSE(disposed.info.valid_data);
    EXPECT_EQ(disposed.service, command);
    EXPECT_TRUE(DDS_GUID_equals(&disposed.instance, &one.instance_id));
    EXPECT_EQ(disposed.info.instance_state, DDS_NOT_ALIVE_DISPOSED_INSTANCE_STATE);
    EXPECT_FALSE(sender.hasInstance(one));
    ASSERT_EQ(sender.unregister(receiver, two), DDS_RETCODE_OK);
    const Taken unregistered = receiver.takeSome(1)[0];
    EXPECT_FALSE(unregistered.info.valid_data);
    EXPECT_EQ(unregistered.service, reply);
    EXPECT_EQ(unregistered.info.instance_state, DDS_NOT_ALIVE_NO_WRITERS_INSTANCE_STATE);
    EXPECT_FALSE(sender.hasInstance(two));
}

TEST_P(ServiceRequests, AcknowledgmentIsOfTheOneDestination) {
    Peer sender, present, absent(false);
    ASSERT_EQ(sender.send(absent, Request(command, "held")), DDS_RETCODE_OK);
    ASSERT_EQ(sender.send(present, Request(command, "taken")), DDS_RETCODE_OK);
    EXPECT_EQ(sender.waitForAcknowledgments(), DDS_RETCODE_OK) << "of what this thread sent last";
    EXPECT_EQ(sender.waitFor(present), DDS_RETCODE_OK);
    EXPECT_EQ(sender.waitFor(absent, {0, 1}), DDS_RETCODE_TIMEOUT);
    std::thread([&] {
        EXPECT_EQ(sender.waitForAcknowledgments({0, 1}), DDS_RETCODE_OK) << "this one sent nothing";
        ASSERT_EQ(sender.send(absent, Request(command, "held, too")), DDS_RETCODE_OK);
        EXPECT_EQ(sender.waitForAcknowledgments({0, 1}), DDS_RETCODE_TIMEOUT);
    }).join();
    EXPECT_EQ(sender.waitForAcknowledgments(), DDS_RETCODE_OK);
}

TEST_P(ServiceRequests, ADestinationThatLeavesHasNotAcknowledged) {
    Peer sender;
    auto receiver = std::make_unique<Peer>();
    ASSERT_EQ(sender.send(*receiver, Request(command, "one")), DDS_RETCODE_OK);
    receiver->takeSome(1);
    ASSERT_EQ(sender.waitForAcknowledgments(), DDS_RETCODE_OK);
    const DDS_InstanceHandle_t gone = receiver->readerHandle();
    receiver.reset();
    ASSERT_TRUE(eventually([&] {
        // What is sent before the end is noticed is lost; what is sent afterwards is held.
        const Request request(command, "two");
        EXPECT_EQ(DDS_DataWriter_write_untyped_generalI(sender.writer, &gone, nullptr, &request, nullptr),
            DDS_RETCODE_OK);
        return sender.waitForAcknowledgments({0, 1'000'000U}) == DDS_RETCODE_TIMEOUT;
    }));
    EXPECT_GE(sender.writerCounters().queued, 1U);
}

TEST_P(ServiceRequests, BodiesHaveABound) {
    Peer sender, receiver;
    const std::string longest(DDS_SERVICE_REQUEST_MAX_BODY_BYTESI, 'x');
    EXPECT_EQ(sender.send(receiver, Request(command, "long", longest)), DDS_RETCODE_OK);
    EXPECT_EQ(sender.send(receiver, Request(command, "too long", longest + "x")), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(receiver.takeSome(1)[0].body.size(), longest.size());
    EXPECT_EQ(receiver.readerCounters().dropped_too_large, 0U);
}

TEST_P(ServiceRequests, QueuesHaveABound) {
    Peer sender, absent(false);
    zdds::DirectedWriter::Limits limits;
    limits.samples = 3;
    limits.destinations = 2;
    sender.writer->directed->setLimits(limits);
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(sender.send(absent, Request(command, std::to_string(i))), DDS_RETCODE_OK);
    EXPECT_EQ(sender.send(absent, Request(command, "too many")), DDS_RETCODE_OUT_OF_RESOURCES);
    Peer second(false), third(false);
    EXPECT_EQ(sender.send(second, Request(command, "another")), DDS_RETCODE_OK);
    EXPECT_EQ(sender.send(third, Request(command, "one destination too many")), DDS_RETCODE_OUT_OF_RESOURCES);
    EXPECT_EQ(sender.writerCounters().dropped_queue_full, 2U);
}

TEST_P(ServiceRequests, TheCacheOfEngineWritersIsBounded) {
    Peer sender;
    zdds::DirectedWriter::Limits limits;
    limits.engineWriters = 2;
    limits.leastIdleNs = 0;
    sender.writer->directed->setLimits(limits);
    for (int i = 0; i < 8; ++i) {
        Peer receiver;
        ASSERT_EQ(sender.send(receiver, Request(command, std::to_string(i), "x")), DDS_RETCODE_OK);
        EXPECT_EQ(receiver.takeSome(1)[0].body, "x");
        EXPECT_EQ(sender.waitForAcknowledgments(), DDS_RETCODE_OK);
        EXPECT_LE(sender.writer->directed->engineWriters(), 2U);
    }
}

TEST_P(ServiceRequests, WhatIsHeldKeepsItsEngineWriter) {
    Peer sender, absent(false), first, second;
    zdds::DirectedWriter::Limits limits;
    limits.engineWriters = 2;
    limits.leastIdleNs = 0;
    sender.writer->directed->setLimits(limits);
    ASSERT_EQ(sender.send(absent, Request(command, "held", "held")), DDS_RETCODE_OK);
    for (Peer* receiver : {&first, &second, &first, &second}) {
        ASSERT_EQ(sender.send(*receiver, Request(command, "x", "passing")), DDS_RETCODE_OK);
        receiver->takeSome(1);
        ASSERT_EQ(sender.waitForAcknowledgments(), DDS_RETCODE_OK);
    }
    EXPECT_EQ(DDS_Entity_enable(absent.participant), DDS_RETCODE_OK);
    EXPECT_EQ(absent.takeSome(1)[0].body, "held");
}

TEST_P(ServiceRequests, InstancesOfTheReaderGoWithTheirSamples) {
    Peer sender, receiver;
    for (int i = 0; i < 50; ++i)
        ASSERT_EQ(sender.send(receiver, Request(command, std::to_string(i))), DDS_RETCODE_OK);
    const std::vector<Taken> taken = receiver.takeSome(50);
    DDS_ServiceRequest key = DDS_SERVICE_REQUEST_DEFAULT;
    for (const Taken& one : taken)
        EXPECT_EQ(DDS_DataReader_get_key_value_untypedI(receiver.reader, &key, &one.info.instance_handle),
            DDS_RETCODE_BAD_PARAMETER);
}

TEST_P(ServiceRequests, AReaderThatNobodyEmptiesKeepsTheNewest) {
    Peer sender, receiver;
    DDS_DataReaderQos qos{};
    DDS_DataReaderQos_initialize(&qos);
    qos.history.kind = DDS_KEEP_ALL_HISTORY_QOS;
    qos.resource_limits = {8, DDS_LENGTH_UNLIMITED, DDS_LENGTH_UNLIMITED};
    receiver.channel().reader().cache.setQos(qos);
    DDS_DataReaderQos_finalize(&qos);
    const auto sendSome = [&](DDS_Long service, int from, int to) {
        for (int i = from; i < to; ++i)
            ASSERT_EQ(sender.send(receiver, Request(service, std::to_string(i))), DDS_RETCODE_OK);
    };
    sendSome(command, 0, 20);
    ASSERT_TRUE(eventually([&] { return receiver.readerCounters().received == 20; }));
    EXPECT_EQ(receiver.readerCounters().cached, 8U);
    EXPECT_EQ(receiver.readerCounters().dropped_cache_full, 12U);
    // What is on loan leaves too, and stays readable.
    DDS_ServiceRequestSeq samples{};
    DDS_SampleInfoSeq infos{};
    ASSERT_EQ(
        DDS_DataReader_read_or_take_untypedI(receiver.reader, reinterpret_cast<DDS_SequenceBase*>(&samples),
            &infos, 1, DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE, DDS_BOOLEAN_FALSE),
        DDS_RETCODE_OK);
    sendSome(reply, 20, 24);
    ASSERT_TRUE(eventually([&] { return receiver.readerCounters().received == 24; }));
    EXPECT_EQ(DDS_ServiceRequestSeq_get_reference(&samples, 0)->instance_id.value[0], '1');
    EXPECT_EQ(DDS_ServiceRequestDataReader_return_loan(
                  DDS_ServiceRequestDataReader_narrow(receiver.reader), &samples, &infos),
        DDS_RETCODE_OK);
    const std::vector<Taken> left = receiver.take();
    ASSERT_EQ(left.size(), 8U);
    const DDS_GUID_t oldest = guidOf("16"), newest = guidOf("23");
    EXPECT_TRUE(DDS_GUID_equals(&left.front().instance, &oldest));
    EXPECT_TRUE(DDS_GUID_equals(&left.back().instance, &newest));
    // The same instance again and again: what makes room is its own last sample.
    qos = {};
    DDS_DataReaderQos_initialize(&qos);
    qos.history.kind = DDS_KEEP_ALL_HISTORY_QOS;
    qos.resource_limits = {1, DDS_LENGTH_UNLIMITED, DDS_LENGTH_UNLIMITED};
    receiver.channel().reader().cache.setQos(qos);
    DDS_DataReaderQos_finalize(&qos);
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(sender.send(receiver, Request(command, "same", std::to_string(i))), DDS_RETCODE_OK);
    ASSERT_TRUE(eventually([&] { return receiver.readerCounters().received == 27; }));
    const std::vector<Taken> last = receiver.take();
    ASSERT_EQ(last.size(), 1U);
    EXPECT_EQ(last[0].body, "2");
}

// Users tell samples of their own process from others by this.
TEST_P(ServiceRequests, NoSampleOfAnotherParticipantHasASourceOrAnotherWriter) {
    Peer sender, receiver;
    DDS_GUID_t own;
    std::memset(own.value, 1, sizeof own.value);
    const Request sample(command, "x", "12345678");
    const DDS_InstanceHandle_t handle = receiver.readerHandle();
    DDS_WriteParams_t claim = DDS_WRITEPARAMS_DEFAULT;
    claim.source_guid = claim.related_source_guid = own;
    ASSERT_EQ(DDS_DataWriter_write_untyped_generalI(sender.writer, &handle, &claim, &sample, nullptr),
        DDS_RETCODE_OK);
    // Whatever GUID an engine's writer claims.
    zdds::engine::IncomingSample forged{};
    const Taken remote = receiver.takeSome(1)[0];
    EXPECT_TRUE(DDS_GUID_equals(&remote.info.source_guid, &DDS_GUID_UNKNOWN));
    EXPECT_TRUE(DDS_GUID_equals(&remote.info.related_source_guid, &DDS_GUID_UNKNOWN));
    DDS_GUID_t writer;
    DDS_GUID_from_instance_handle(&writer, &remote.info.publication_handle);
    ORXOsapiRtpsGuid words;
    DDS_GUID_copy_to_pres_guid(&writer, &words);
    EXPECT_EQ(words.objectId, DDS_SERVICE_REQUEST_WRITER_OBJECT_IDI);
    const uint8_t bytes[] = {
        0, 1, 0, 0, 4, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 0, 0, 0, 0};
    forged.bytes = bytes;
    forged.writer = own;
    forged.sequenceNumber = 1;
    forged.kind = zdds::engine::SampleKind::data;
    receiver.channel().engineSink().onSample(forged);
    const Taken claimed = receiver.takeSome(1)[0];
    EXPECT_TRUE(DDS_GUID_equals(&claimed.info.source_guid, &DDS_GUID_UNKNOWN));
    DDS_GUID_from_instance_handle(&writer, &claimed.info.publication_handle);
    EXPECT_FALSE(DDS_GUID_equals(&writer, &own));
    DDS_GUID_copy_to_pres_guid(&writer, &words);
    EXPECT_EQ(words.objectId, DDS_SERVICE_REQUEST_WRITER_OBJECT_IDI);
}

TEST_P(ServiceRequests, OnlyWritesToOneReaderAreTaken) {
    Peer sender;
    const Request request(command, "one");
    EXPECT_EQ(DDS_DataWriter_write_untypedI(sender.writer, &request, &DDS_HANDLE_NIL),
        DDS_RETCODE_ILLEGAL_OPERATION);
    EXPECT_EQ(DDS_DataWriter_dispose_untypedI(sender.writer, &request, &DDS_HANDLE_NIL),
        DDS_RETCODE_ILLEGAL_OPERATION);
    EXPECT_EQ(
        DDS_DataWriter_write_untyped_generalI(sender.writer, &DDS_HANDLE_NIL, nullptr, &request, nullptr),
        DDS_RETCODE_BAD_PARAMETER);
}

TEST_P(ServiceRequests, NobodyDeletesWhatIsBuiltIn) {
    Peer peer;
    EXPECT_EQ(
        DDS_Subscriber_delete_datareader(peer.subscriber, peer.reader), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(DDS_DomainParticipant_delete_subscriber(peer.participant, peer.subscriber),
        DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(DDS_DomainParticipant_delete_contained_entities(peer.participant), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_Entity_enable(DDS_DataReader_as_entity(peer.reader)), DDS_RETCODE_OK);
    Peer disabled(false);
    EXPECT_EQ(DDS_Entity_enable(DDS_DataReader_as_entity(disabled.reader)), DDS_RETCODE_PRECONDITION_NOT_MET);
    DDS_ReadCondition* condition = DDS_DataReader_create_readcondition(
        peer.reader, DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE);
    EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory(), peer.participant),
        DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(DDS_DataReader_delete_readcondition(peer.reader, condition), DDS_RETCODE_OK);
}

TEST_P(ServiceRequests, ManyThreadsSendToManyDestinations) {
    constexpr int threads = 4, perThread = 50;
    Peer sender;
    Peer receivers[3];
    std::vector<std::thread> running;
    for (int t = 0; t < threads; ++t)
        running.emplace_back([&, t] {
            for (int i = 0; i < perThread; ++i) {
                const Peer& to = receivers[(t + i) % 3];
                const std::string name = std::to_string(t) + "/" + std::to_string(i);
                const Request request(command, name, name);
                ASSERT_EQ(sender.send(to, request), DDS_RETCODE_OK);
                ASSERT_EQ(sender.waitForAcknowledgments(), DDS_RETCODE_OK);
                ASSERT_EQ(sender.unregister(to, request), DDS_RETCODE_OK);
            }
        });
    for (std::thread& one : running)
        one.join();
    EXPECT_TRUE(eventually([&] {
        DDS_UnsignedLongLong received = 0;
        for (const Peer& receiver : receivers)
            received += receiver.readerCounters().received;
        return received == 2ULL * threads * perThread;
    }));
}

TEST_P(OverLoopback, AReaderThatWithholdsHasNotAcknowledged) {
    Peer sender, receiver;
    const DDS_GUID_t engineReader = receiver.reader->engineReader->guid();
    loopback.withholdAcknowledgments(engineReader);
    ASSERT_EQ(sender.send(receiver, Request(reply, "one", "x")), DDS_RETCODE_OK);
    receiver.takeSome(1);
    EXPECT_EQ(sender.waitForAcknowledgments(), DDS_RETCODE_TIMEOUT);
    EXPECT_TRUE(sender.hasInstance(Request(reply, "one")));
    loopback.withholdAcknowledgments(engineReader, false);
    EXPECT_EQ(sender.waitForAcknowledgments(), DDS_RETCODE_OK);
}

TEST_P(OverLoopback, WhatWasNotAcknowledgedBeforeAnUnmatchIsLost) {
    Peer sender, receiver;
    loopback.withholdAcknowledgments(receiver.reader->engineReader->guid());
    ASSERT_EQ(sender.send(receiver, Request(reply, "one", "x")), DDS_RETCODE_OK);
    const Taken taken = receiver.takeSome(1)[0];
    receiver.end();
    EXPECT_EQ(sender.waitForAcknowledgments(), DDS_RETCODE_ERROR);
}

TEST_P(OverLoopback, AStalledDestinationDoesNotHoldUpTheOthers) {
    Peer sender, stalled, other;
    const DDS_GUID_t engineReader = stalled.reader->engineReader->guid();
    loopback.stall(engineReader);
    zdds::DirectedWriter::Limits limits;
    limits.samples = 4096;
    limits.bytes = 64U << 20;
    sender.writer->directed->setLimits(limits);
    for (int i = 0; i < 1100; ++i) // beyond what the engine takes of a stalled reader
        ASSERT_EQ(sender.send(stalled, Request(command, std::to_string(i), "x")), DDS_RETCODE_OK);
    ASSERT_EQ(sender.send(other, Request(command, "other", "x")), DDS_RETCODE_OK);
    other.takeSome(1);
    EXPECT_EQ(sender.waitForAcknowledgments(), DDS_RETCODE_OK);
    loopback.stall(engineReader, false);
    EXPECT_EQ(stalled.takeSome(1100).size(), 1100U);
}

TEST_P(OverLoopback, ARefusedEngineWriterLosesTheSampleAndNoMore) {
    Peer sender, receiver;
    loopback.failAt(1);
    ASSERT_EQ(sender.send(receiver, Request(command, "lost")), DDS_RETCODE_OK);
    EXPECT_EQ(sender.waitForAcknowledgments(), DDS_RETCODE_ERROR);
    EXPECT_EQ(sender.writerCounters().dropped_engine, 1U);
    ASSERT_EQ(sender.send(receiver, Request(command, "taken")), DDS_RETCODE_OK);
    EXPECT_EQ(sender.waitForAcknowledgments(), DDS_RETCODE_OK);
}

// One sample from a participant to itself. False when a step failed.
bool sendAndWait() {
    Peer peer(false);
    if (peer.participant == nullptr)
        return false;
    if (DDS_Entity_enable(DDS_DomainParticipant_as_entity(peer.participant)) != DDS_RETCODE_OK)
        return false;
    const DDS_ServiceRequest request = DDS_SERVICE_REQUEST_DEFAULT;
    return peer.send(peer, request) == DDS_RETCODE_OK && peer.waitForAcknowledgments() == DDS_RETCODE_OK;
}

TEST_P(OverLoopback, EveryFailureOfMemoryLeavesNothing) {
    bool isDone = false;
    for (long n = 1; !isDone && n < 500; ++n) {
        FailingHeap heap(n);
        isDone = sendAndWait() && !heap.hasFailed();
        EXPECT_EQ(heap.live(), 0) << "allocation " << n;
        EXPECT_EQ(loopback.liveObjects(), 0) << "allocation " << n;
    }
    EXPECT_TRUE(isDone);
}

TEST_P(OverLoopback, EveryFailureOfTheEngineLeavesNothing) {
    bool isDone = false;
    for (int64_t n = 1; !isDone && n < 50; ++n) {
        const int64_t before = loopback.calls();
        loopback.failAt(n);
        isDone = sendAndWait() && loopback.calls() - before < n;
        EXPECT_EQ(loopback.liveObjects(), 0) << "call " << n;
    }
    EXPECT_TRUE(isDone);
}

INSTANTIATE_TEST_SUITE_P(Engine, ServiceRequests, bothEngines, nameOf);
INSTANTIATE_TEST_SUITE_P(Engine, OverLoopback, testing::Values(EngineKind::loopback), nameOf);

} // namespace
} // namespace requests
