// Query conditions, and samples that are put into a reader by hand.
#include <cstdio>
#include <map>

#include "middleware/conditions/QueryExpression.hpp"
#include "middleware/entities/ServiceRequestType.hpp"
#include "tests/unit/middleware/ServiceRequestFixture.hpp"
#include "zddsc/builtin_topics.h"

namespace requests {
namespace {

const char* defectOf(const std::string& expression) {
    zdds::KeyFilter filter;
    return zdds::conditions::parseQuery(zdds::serviceRequestTypePlugin(), expression.c_str(), &filter);
}

TEST(QueryExpression, IntegersAndOctetsOfTheKeyAreCompared) {
    EXPECT_EQ(defectOf("service_id = 4"), nullptr);
    EXPECT_EQ(defectOf("service_id=-2147483648"), nullptr);
    EXPECT_EQ(defectOf("  service_id\t=\n2147483647  "), nullptr);
    EXPECT_EQ(defectOf("instance_id.value = &hex(00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0e 0f)"), nullptr);
    EXPECT_EQ(defectOf("instance_id.value=&hex(000102030405060708090A0B0C0D0E0F)"), nullptr);
}

TEST(QueryExpression, AnythingElseIsAnError) {
    for (const char* expression :
        {"", " ", "=", "service_id", "service_id =", "service_id = ", "service_id = x",
            "service_id = 2147483648", "service_id = -2147483649", "service_id = 99999999999999999999999",
            "service_id = 4 AND service_id = 5", "service_id > 4", "service_id == 4", "service_id = 4.5",
            "service_id = %0", "service_id = - 4x", "request_body = 4", "instance_id = 4",
            "instance_id.value = 4", "instance_id.value = &hex()", "instance_id.value = &hex(00)",
            "instance_id.value = &hex(00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F",
            "instance_id.value = &hex(00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10)",
            "instance_id.value = &hex(0g 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F)",
            "instance_id.value = &hex(00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F) x"})
        EXPECT_NE(defectOf(expression), nullptr) << expression;
    EXPECT_NE(defectOf("service_id = " + std::string(2000, ' ') + "4"), nullptr) << "too long";
    zdds::KeyFilter filter;
    EXPECT_NE(zdds::conditions::parseQuery(test_type::plugin, "number = 4", &filter), nullptr)
        << "a type without a key";
}

class Queries : public testing::Test {
protected:
    ~Queries() override {
        peer.end();
        zdds::engine::setInstance(nullptr);
        EXPECT_EQ(loopback.liveObjects(), 0);
    }
    DDS_ReturnCode_t put(
        const DDS_GUID_t& from, const Request& request, DDS_WriteParams_t* params = nullptr) const {
        return DDS_DataReader_add_sample_to_remote_writer_queue_untypedI(
            peer.reader, &request, &from, params);
    }
    DDS_QueryCondition* query(const std::string& expression) const {
        return DDS_DataReader_create_querycondition(peer.reader, DDS_NOT_READ_SAMPLE_STATE,
            DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE, expression.c_str(), nullptr);
    }
    std::vector<std::string> take(DDS_QueryCondition* condition) const {
        DDS_ServiceRequestSeq samples{};
        DDS_SampleInfoSeq infos{};
        std::vector<std::string> names;
        DDS_ServiceRequestDataReader* typed = DDS_ServiceRequestDataReader_narrow(peer.reader);
        if (DDS_ServiceRequestDataReader_take_w_condition(
                typed, &samples, &infos, DDS_LENGTH_UNLIMITED, condition) != DDS_RETCODE_OK)
            return names;
        for (DDS_Long i = 0; i < DDS_ServiceRequestSeq_get_length(&samples); ++i) {
            const DDS_ServiceRequest& one = *DDS_ServiceRequestSeq_get_reference(&samples, i);
            const auto* name = reinterpret_cast<const char*>(one.instance_id.value);
            names.push_back(std::to_string(one.service_id) + std::string(name, strnlen(name, 16)));
        }
        EXPECT_EQ(DDS_ServiceRequestDataReader_return_loan(typed, &samples, &infos), DDS_RETCODE_OK);
        return names;
    }

    zdds::engine::LoopbackEngine loopback;
    // Before the participant, which is made with it.
    struct Chosen {
        explicit Chosen(zdds::engine::LoopbackEngine& engine) { zdds::engine::setInstance(&engine); }
    } chosen{loopback};
    LogCapture log;
    Peer peer;
    const DDS_GUID_t writer = guidOf("a writer by hand");
};

using Names = std::vector<std::string>;

TEST_F(Queries, AConditionSelectsByTheIntegerOfTheKey) {
    ASSERT_EQ(DDS_DataReader_assert_remote_writer_queue(peer.reader, &writer, nullptr), DDS_RETCODE_OK);
    DDS_QueryCondition* commands = query("service_id = 4");
    ASSERT_NE(commands, nullptr);
    ASSERT_EQ(put(writer, Request(reply, "a")), DDS_RETCODE_OK);
    EXPECT_FALSE(DDS_Condition_get_trigger_value(DDS_QueryCondition_as_condition(commands)));
    ASSERT_EQ(put(writer, Request(command, "b")), DDS_RETCODE_OK);
    ASSERT_EQ(put(writer, Request(command, "c")), DDS_RETCODE_OK);
    EXPECT_TRUE(DDS_Condition_get_trigger_value(DDS_QueryCondition_as_condition(commands)));
    EXPECT_EQ(take(commands), (Names{"4b", "4c"}));
    EXPECT_FALSE(DDS_Condition_get_trigger_value(DDS_QueryCondition_as_condition(commands)));
    EXPECT_EQ(peer.take().size(), 1U) << "the other is still there";
    EXPECT_EQ(DDS_DataReader_delete_readcondition(peer.reader, commands), DDS_RETCODE_OK);
}

TEST_F(Queries, AConditionSelectsByTheOctetsOfTheKey) {
    ASSERT_EQ(DDS_DataReader_assert_remote_writer_queue(peer.reader, &writer, nullptr), DDS_RETCODE_OK);
    DDS_QueryCondition* one =
        query("instance_id.value = &hex(61 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00)");
    ASSERT_NE(one, nullptr);
    for (const char* name : {"b", "a", "c"}) {
        ASSERT_EQ(put(writer, Request(command, name)), DDS_RETCODE_OK);
        ASSERT_EQ(put(writer, Request(reply, name)), DDS_RETCODE_OK);
    }
    EXPECT_EQ(take(one), (Names{"4a", "5a"}));
    EXPECT_EQ(DDS_DataReader_delete_readcondition(peer.reader, one), DDS_RETCODE_OK);
}

TEST_F(Queries, AConditionSelectsWhatComesFromTheNetwork) {
    Peer sender;
    DDS_QueryCondition* replies = query("service_id = 5");
    DDS_WaitSet* waitSet = DDS_WaitSet_new();
    DDS_WaitSet_attach_condition(waitSet, DDS_QueryCondition_as_condition(replies));
    ASSERT_EQ(sender.send(peer, Request(command, "a")), DDS_RETCODE_OK);
    ASSERT_EQ(sender.send(peer, Request(reply, "b")), DDS_RETCODE_OK);
    DDS_ConditionSeq active{};
    EXPECT_EQ(DDS_WaitSet_wait(waitSet, &active, &generous), DDS_RETCODE_OK);
    DDS_ConditionSeq_finalize(&active);
    EXPECT_EQ(take(replies), Names{"5b"});
    DDS_WaitSet_delete(waitSet);
    EXPECT_EQ(DDS_DataReader_delete_readcondition(peer.reader, replies), DDS_RETCODE_OK);
}

// Some thousands that wait for a sample of their own, in one wait set, while all of them come from another
// thread: each is told once, and nobody is lost.
TEST_F(Queries, ManyConditionsWaitTogetherForASampleEach) {
    constexpr size_t many = 5000;
    ASSERT_EQ(DDS_DataReader_assert_remote_writer_queue(peer.reader, &writer, nullptr), DDS_RETCODE_OK);
    const auto nameOf = [](size_t i) { return std::to_string(i); };
    DDS_WaitSet* waitSet = DDS_WaitSet_new();
    struct Waiting {
        size_t number;
        DDS_QueryCondition* query;
    };
    std::map<DDS_Condition*, Waiting> waiting;
    for (size_t i = 0; i < many; ++i) {
        std::string expression = "instance_id.value = &hex(";
        for (const DDS_Octet octet : guidOf(nameOf(i)).value) {
            char digits[4];
            std::snprintf(digits, sizeof digits, "%02X ", octet);
            expression += digits;
        }
        DDS_QueryCondition* condition = query(expression + ")");
        ASSERT_NE(condition, nullptr);
        waiting[DDS_QueryCondition_as_condition(condition)] = {i, condition};
        ASSERT_EQ(DDS_WaitSet_attach_condition(waitSet, DDS_QueryCondition_as_condition(condition)),
            DDS_RETCODE_OK);
    }
    DDS_ConditionSeq active{};
    const DDS_Duration_t noTime{0, 0};
    ASSERT_EQ(DDS_WaitSet_wait(waitSet, &active, &noTime), DDS_RETCODE_TIMEOUT);
    std::jthread sender([&] {
        for (size_t i = 0; i < many; ++i)
            EXPECT_EQ(put(writer, Request(reply, nameOf((i * 3) % many))), DDS_RETCODE_OK);
    });
    const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    size_t told = 0;
    while (!waiting.empty() && std::chrono::steady_clock::now() < giveUp) {
        ASSERT_EQ(DDS_WaitSet_wait(waitSet, &active, &generous), DDS_RETCODE_OK);
        for (DDS_Long i = 0; i < DDS_ConditionSeq_get_length(&active); ++i) {
            DDS_Condition* condition = DDS_ConditionSeq_get(&active, i);
            ASSERT_TRUE(waiting.contains(condition));
            const auto [number, mine] = waiting[condition];
            EXPECT_EQ(number, (told++ * 3) % many) << "in the order in which they were triggered";
            EXPECT_EQ(take(mine), Names{"5" + nameOf(number)});
            EXPECT_EQ(DDS_WaitSet_detach_condition(waitSet, condition), DDS_RETCODE_OK);
            EXPECT_EQ(DDS_DataReader_delete_readcondition(peer.reader, mine), DDS_RETCODE_OK);
            waiting.erase(condition);
        }
    }
    sender.join();
    EXPECT_TRUE(waiting.empty());
    DDS_ConditionSeq_finalize(&active);
    DDS_WaitSet_delete(waitSet);
}

// Reading and changes of an instance trigger conditions on such states, though no sample comes.
TEST_F(Queries, ConditionsOnOtherStatesAreLookedAtWithEveryWait) {
    ASSERT_EQ(DDS_DataReader_assert_remote_writer_queue(peer.reader, &writer, nullptr), DDS_RETCODE_OK);
    DDS_ReadCondition* isRead = DDS_DataReader_create_readcondition(
        peer.reader, DDS_READ_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE);
    DDS_ReadCondition* isOld = DDS_DataReader_create_readcondition(
        peer.reader, DDS_ANY_SAMPLE_STATE, DDS_NOT_NEW_VIEW_STATE, DDS_ANY_INSTANCE_STATE);
    DDS_WaitSet* waitSet = DDS_WaitSet_new();
    for (DDS_ReadCondition* each : {isRead, isOld})
        DDS_WaitSet_attach_condition(waitSet, DDS_ReadCondition_as_condition(each));
    ASSERT_EQ(put(writer, Request(command, "a")), DDS_RETCODE_OK);
    const DDS_Duration_t noTime{0, 0};
    DDS_ConditionSeq active{};
    EXPECT_EQ(DDS_WaitSet_wait(waitSet, &active, &noTime), DDS_RETCODE_TIMEOUT);
    DDS_ServiceRequestSeq samples{};
    DDS_SampleInfoSeq infos{};
    auto* base = reinterpret_cast<DDS_SequenceBase*>(&samples);
    ASSERT_EQ(DDS_DataReader_read_or_take_untypedI(peer.reader, base, &infos, DDS_LENGTH_UNLIMITED,
                  DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE, DDS_BOOLEAN_FALSE),
        DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DataReader_return_loan_untypedI(peer.reader, base, &infos), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_WaitSet_wait(waitSet, &active, &noTime), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_ConditionSeq_get_length(&active), 2);
    DDS_ConditionSeq_finalize(&active);
    DDS_WaitSet_delete(waitSet);
    for (DDS_ReadCondition* each : {isRead, isOld})
        EXPECT_EQ(DDS_DataReader_delete_readcondition(peer.reader, each), DDS_RETCODE_OK);
}

TEST_F(Queries, WhatIsNoQueryIsRefusedWithAReason) {
    EXPECT_EQ(query("service_id > 4"), nullptr);
    EXPECT_TRUE(log.has("BAD_PARAMETER_FAILURE",
        "query 'service_id > 4' of topic 'DCPSServiceRequest': the only operator is ="));
    DDS_StringSeq parameters{};
    DDS_StringSeq_ensure_length(&parameters, 1, 1);
    EXPECT_EQ(DDS_DataReader_create_querycondition(
                  peer.reader, 2, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE, "service_id = 4", &parameters),
        nullptr);
    DDS_StringSeq_finalize(&parameters);
}

TEST_F(Queries, ASampleByHandNeedsAQueueAndCarriesWhatItIsGiven) {
    const Request request(command, "a", "body");
    EXPECT_EQ(put(writer, request), DDS_RETCODE_PRECONDITION_NOT_MET);
    ASSERT_EQ(DDS_DataReader_assert_remote_writer_queue(peer.reader, &writer, nullptr), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DataReader_assert_remote_writer_queue(peer.reader, &writer, nullptr), DDS_RETCODE_OK);
    DDS_WriteParams_t params = DDS_WRITEPARAMS_DEFAULT;
    params.source_guid = params.related_source_guid = guidOf("source");
    params.source_timestamp = {1234, 5678U};
    params.identity = {1, 7U};
    ASSERT_EQ(put(writer, request, &params), DDS_RETCODE_OK);
    ASSERT_EQ(put(writer, request), DDS_RETCODE_OK);
    const std::vector<Taken> taken = peer.take();
    ASSERT_EQ(taken.size(), 2U);
    EXPECT_EQ(taken[0].body, "body");
    const DDS_SampleInfo& info = taken[0].info;
    EXPECT_TRUE(DDS_GUID_equals(&info.source_guid, &params.source_guid));
    EXPECT_TRUE(DDS_GUID_equals(&info.related_source_guid, &params.related_source_guid));
    EXPECT_EQ(info.source_timestamp.sec, 1234);
    EXPECT_EQ(info.source_timestamp.nanosec, 5678U);
    EXPECT_EQ(info.publication_sequence_number.high, 1);
    EXPECT_EQ(info.publication_sequence_number.low, 7U);
    DDS_GUID_t publication;
    DDS_GUID_from_instance_handle(&publication, &info.publication_handle);
    EXPECT_TRUE(DDS_GUID_equals(&publication, &writer));
    EXPECT_EQ(taken[1].info.publication_sequence_number.low, 8U) << "without a number it counts on";
    EXPECT_TRUE(DDS_GUID_equals(&taken[1].info.source_guid, &DDS_GUID_UNKNOWN));
    DDS_WriteParams_t back = DDS_WRITEPARAMS_DEFAULT;
    ASSERT_EQ(DDS_WriteParams_from_sample_info(&back, &info), DDS_RETCODE_OK);
    EXPECT_EQ(back.identity.low, 7U);
    EXPECT_EQ(back.source_timestamp.sec, 1234);
    EXPECT_EQ(DDS_DataReader_delete_remote_writer_queue(peer.reader, &writer), DDS_RETCODE_OK);
    EXPECT_EQ(
        DDS_DataReader_delete_remote_writer_queue(peer.reader, &writer), DDS_RETCODE_PRECONDITION_NOT_MET);
}

// The number of a sample is its remote writer's: the largest is no reason to go astray behind it.
TEST_F(Queries, NoNumberFollowsTheLargest) {
    ASSERT_EQ(DDS_DataReader_assert_remote_writer_queue(peer.reader, &writer, nullptr), DDS_RETCODE_OK);
    DDS_WriteParams_t params = DDS_WRITEPARAMS_DEFAULT;
    params.identity = {INT32_MAX, UINT32_MAX};
    ASSERT_EQ(put(writer, Request(command, "a"), &params), DDS_RETCODE_OK);
    ASSERT_EQ(put(writer, Request(command, "b")), DDS_RETCODE_OK);
    for (const Taken& each : peer.take())
        EXPECT_EQ(each.info.publication_sequence_number.high, INT32_MAX);
}

TEST_F(Queries, MatchedWritersAndTheirParticipantsAreKnownAndRemembered) {
    const DDS_GUID_t other = guidOf("nobody");
    DDS_InstanceHandle_t handle, nobody;
    DDS_InstanceHandle_from_guid(&handle, &writer);
    DDS_InstanceHandle_from_guid(&nobody, &other);
    ASSERT_EQ(DDS_DataReader_assert_remote_writer_queue(peer.reader, &writer, nullptr), DDS_RETCODE_OK);
    DDS_PublicationBuiltinTopicData publication = DDS_PUBLICATION_BUILTIN_TOPIC_DATA_DEFAULT;
    ASSERT_EQ(
        DDS_DataReader_get_matched_publication_data(peer.reader, &publication, &handle), DDS_RETCODE_OK);
    EXPECT_STREQ(publication.topic_name, "DCPSServiceRequest");
    ORXOsapiRtpsGuid words;
    DDS_GUID_t guid;
    DDS_BuiltinTopicKey_to_mig_rtps_guidI(&publication.key, &words);
    DDS_GUID_copy_from_pres_guid(&guid, &words);
    EXPECT_TRUE(DDS_GUID_equals(&guid, &writer));
    DDS_PublicationBuiltinTopicData_finalize(&publication);
    DDS_DataReader_delete_remote_writer_queue(peer.reader, &writer);
    DDS_ParticipantBuiltinTopicData participant = DDS_PARTICIPANT_BUILTIN_TOPIC_DATA_DEFAULT;
    ASSERT_EQ(DDS_DataReader_get_matched_publication_participant_data(peer.reader, &participant, &handle),
        DDS_RETCODE_OK)
        << "of samples that are still to be read";
    EXPECT_EQ(participant.key.value[3], 0x000001C1U);
    DDS_InstanceHandle_t participantHandle;
    DDS_Entity_instance_handle_to_participant_instance_handle(&participantHandle, &handle);
    DDS_BuiltinTopicKey_to_mig_rtps_guidI(&participant.key, &words);
    DDS_GUID_copy_from_pres_guid(&guid, &words);
    DDS_InstanceHandle_from_guid(&handle, &guid);
    EXPECT_TRUE(DDS_InstanceHandle_equals(&participantHandle, &handle));
    EXPECT_EQ(DDS_DataReader_get_matched_publication_participant_data(peer.reader, &participant, &nobody),
        DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(DDS_DataReader_get_matched_publication_data(peer.reader, &publication, &DDS_HANDLE_NIL),
        DDS_RETCODE_PRECONDITION_NOT_MET);
}

TEST_F(Queries, ExhaustedMemoryLosesTheSampleByHandAlone) {
    // What stays with the reader is made before, by the usual heap.
    ASSERT_EQ(DDS_DataReader_assert_remote_writer_queue(peer.reader, &writer, nullptr), DDS_RETCODE_OK);
    ASSERT_EQ(put(writer, Request(command, "a", "body")), DDS_RETCODE_OK);
    ASSERT_EQ(peer.take().size(), 1U);
    ASSERT_EQ(DDS_DataReader_delete_remote_writer_queue(peer.reader, &writer), DDS_RETCODE_OK);
    bool isDone = false;
    for (long n = 1; !isDone && n < 100; ++n) {
        FailingHeap heap(n);
        const bool isAsserted =
            DDS_DataReader_assert_remote_writer_queue(peer.reader, &writer, nullptr) == DDS_RETCODE_OK;
        if (isAsserted) {
            const DDS_ServiceRequest empty = DDS_SERVICE_REQUEST_DEFAULT;
            isDone = DDS_DataReader_add_sample_to_remote_writer_queue_untypedI(
                         peer.reader, &empty, &writer, nullptr) == DDS_RETCODE_OK;
        }
        isDone = isDone && !heap.hasFailed();
        DDS_DataReader_delete_remote_writer_queue(peer.reader, &writer);
        peer.take();
        peer.take(); // in case that the first was what failed: nothing of this heap stays behind
    }
    EXPECT_TRUE(isDone);
}

} // namespace
} // namespace requests
