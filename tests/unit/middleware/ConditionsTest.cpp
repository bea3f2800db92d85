// Conditions and wait sets.
#include <thread>

#include "tests/unit/middleware/EntityFixture.hpp"

namespace {

using namespace std::chrono_literals;

constexpr DDS_Duration_t zero = DDS_DURATION_ZERO;
constexpr DDS_Duration_t shortly{0, 1'000'000U};

class WaitSets : public ::testing::Test {
protected:
    ~WaitSets() override {
        DDS_ConditionSeq_finalize(&active);
        EXPECT_EQ(DDS_WaitSet_delete(waitSet), DDS_RETCODE_OK);
        DDS_GuardCondition_delete(guard);
    }
    LogCapture log;
    DDS_WaitSet* waitSet = DDS_WaitSet_new();
    DDS_GuardCondition* guard = DDS_GuardCondition_new();
    DDS_Condition* condition = DDS_GuardCondition_as_condition(guard);
    DDS_ConditionSeq active{};
};

TEST_F(WaitSets, TimeOutWithNothingTriggered) {
    EXPECT_EQ(DDS_WaitSet_wait(waitSet, &active, &zero), DDS_RETCODE_TIMEOUT);
    ASSERT_EQ(DDS_WaitSet_attach_condition(waitSet, condition), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_WaitSet_wait(waitSet, &active, &shortly), DDS_RETCODE_TIMEOUT);
    EXPECT_EQ(DDS_ConditionSeq_get_length(&active), 0);
}

TEST_F(WaitSets, ATriggeredConditionIsListed) {
    DDS_GuardCondition* other = DDS_GuardCondition_new();
    ASSERT_EQ(DDS_WaitSet_attach_condition(waitSet, condition), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_WaitSet_attach_condition(waitSet, condition), DDS_RETCODE_OK) << "twice is once";
    ASSERT_EQ(DDS_WaitSet_attach_condition(waitSet, DDS_GuardCondition_as_condition(other)), DDS_RETCODE_OK);
    EXPECT_FALSE(DDS_Condition_get_trigger_value(condition));
    ASSERT_EQ(DDS_GuardCondition_set_trigger_value(guard, DDS_BOOLEAN_TRUE), DDS_RETCODE_OK);
    EXPECT_TRUE(DDS_Condition_get_trigger_value(condition));
    ASSERT_EQ(DDS_WaitSet_wait(waitSet, &active, &generous), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_ConditionSeq_get_length(&active), 1);
    EXPECT_EQ(DDS_ConditionSeq_get(&active, 0), condition);
    ASSERT_EQ(DDS_GuardCondition_set_trigger_value(other, DDS_BOOLEAN_TRUE), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_WaitSet_wait(waitSet, &active, &zero), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_ConditionSeq_get_length(&active), 2);
    ASSERT_EQ(DDS_WaitSet_detach_condition(waitSet, condition), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_WaitSet_detach_condition(waitSet, condition), DDS_RETCODE_PRECONDITION_NOT_MET);
    ASSERT_EQ(DDS_GuardCondition_delete(other), DDS_RETCODE_OK) << "leaves the wait set by itself";
    EXPECT_EQ(DDS_WaitSet_wait(waitSet, &active, &zero), DDS_RETCODE_TIMEOUT);
    EXPECT_EQ(DDS_ConditionSeq_get_length(&active), 0);
}

TEST_F(WaitSets, AWaiterIsWoken) {
    ASSERT_EQ(DDS_WaitSet_attach_condition(waitSet, condition), DDS_RETCODE_OK);
    for (int i = 0; i < 50; ++i) {
        auto waiter =
            std::async(std::launch::async, [&] { return DDS_WaitSet_wait(waitSet, &active, &generous); });
        ASSERT_EQ(DDS_GuardCondition_set_trigger_value(guard, DDS_BOOLEAN_TRUE), DDS_RETCODE_OK);
        ASSERT_EQ(waiter.get(), DDS_RETCODE_OK);
        ASSERT_EQ(DDS_GuardCondition_set_trigger_value(guard, DDS_BOOLEAN_FALSE), DDS_RETCODE_OK);
    }
}

TEST_F(WaitSets, AttachingATriggeredConditionWakesTheWaiter) {
    ASSERT_EQ(DDS_GuardCondition_set_trigger_value(guard, DDS_BOOLEAN_TRUE), DDS_RETCODE_OK);
    auto waiter =
        std::async(std::launch::async, [&] { return DDS_WaitSet_wait(waitSet, &active, &generous); });
    ASSERT_EQ(DDS_WaitSet_attach_condition(waitSet, condition), DDS_RETCODE_OK);
    EXPECT_EQ(waiter.get(), DDS_RETCODE_OK);
}

TEST_F(WaitSets, OneThreadWaitsAtATime) {
    ASSERT_EQ(DDS_WaitSet_attach_condition(waitSet, condition), DDS_RETCODE_OK);
    auto waiter =
        std::async(std::launch::async, [&] { return DDS_WaitSet_wait(waitSet, &active, &generous); });
    DDS_ConditionSeq mine{};
    DDS_ReturnCode_t result;
    // Until the other thread waits, this one may get its turn.
    while ((result = DDS_WaitSet_wait(waitSet, &mine, &zero)) == DDS_RETCODE_TIMEOUT)
        std::this_thread::yield();
    EXPECT_EQ(result, DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(DDS_WaitSet_delete(waitSet), DDS_RETCODE_PRECONDITION_NOT_MET);
    DDS_GuardCondition_set_trigger_value(guard, DDS_BOOLEAN_TRUE);
    EXPECT_NE(waiter.get(), DDS_RETCODE_TIMEOUT);
    DDS_ConditionSeq_finalize(&mine);
}

TEST_F(WaitSets, OneConditionInTwoWaitSets) {
    DDS_WaitSet* second = DDS_WaitSet_new();
    DDS_ConditionSeq others{};
    ASSERT_EQ(DDS_WaitSet_attach_condition(waitSet, condition), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_WaitSet_attach_condition(second, condition), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_GuardCondition_set_trigger_value(guard, DDS_BOOLEAN_TRUE), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_WaitSet_wait(waitSet, &active, &zero), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_WaitSet_wait(second, &others, &zero), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_WaitSet_deleteI(second, 0), DDS_RETCODE_OK);
    DDS_ConditionSeq_finalize(&others);
}

TEST_F(WaitSets, NullIsABadParameter) {
    EXPECT_EQ(DDS_WaitSet_wait(nullptr, &active, &zero), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_WaitSet_wait(waitSet, nullptr, &zero), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_WaitSet_wait(waitSet, &active, nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_WaitSet_attach_condition(waitSet, nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_WaitSet_delete(nullptr), DDS_RETCODE_BAD_PARAMETER);
}

TEST(WaitSet, TheNthFailingAllocationLeavesNothing) {
    LogCapture log;
    bool isDone = false;
    for (long n = 1; !isDone && n < 50; ++n) {
        FailingHeap heap(n);
        DDS_ConditionSeq active{};
        DDS_WaitSet* waitSet = DDS_WaitSet_new();
        DDS_GuardCondition* guard = DDS_GuardCondition_new();
        if (waitSet != nullptr && guard != nullptr &&
            DDS_WaitSet_attach_condition(waitSet, DDS_GuardCondition_as_condition(guard)) == DDS_RETCODE_OK) {
            DDS_GuardCondition_set_trigger_value(guard, DDS_BOOLEAN_TRUE);
            isDone = DDS_WaitSet_wait(waitSet, &active, &zero) == DDS_RETCODE_OK && !heap.hasFailed();
        }
        DDS_ConditionSeq_finalize(&active);
        if (waitSet != nullptr)
            DDS_WaitSet_delete(waitSet);
        if (guard != nullptr)
            DDS_GuardCondition_delete(guard);
        EXPECT_EQ(heap.live(), 0) << n;
    }
    EXPECT_TRUE(isDone);
}

class EntityConditions : public WriterAndReader {
protected:
    DDS_WaitSet* waitSet = DDS_WaitSet_new();
    DDS_ConditionSeq active{};
    ~EntityConditions() override {
        DDS_ConditionSeq_finalize(&active);
        DDS_WaitSet_delete(waitSet);
    }
    DDS_ReturnCode_t wait(const DDS_Duration_t& timeout) {
        return DDS_WaitSet_wait(waitSet, &active, &timeout);
    }
};

TEST_F(EntityConditions, AMatchTriggersTheWritersCondition) {
    makeWriter(WriterQos());
    DDS_StatusCondition* condition = DDS_Entity_get_statuscondition(DDS_DataWriter_as_entity(writer));
    EXPECT_EQ(DDS_StatusCondition_get_enabled_statuses(condition), DDS_STATUS_MASK_ALL);
    ASSERT_EQ(
        DDS_StatusCondition_set_enabled_statuses(condition, DDS_PUBLICATION_MATCHED_STATUS), DDS_RETCODE_OK);
    ASSERT_EQ(
        DDS_WaitSet_attach_condition(waitSet, DDS_StatusCondition_as_condition(condition)), DDS_RETCODE_OK);
    EXPECT_EQ(wait(zero), DDS_RETCODE_TIMEOUT);
    auto waiter = std::async(std::launch::async, [&] { return wait(generous); });
    makeReader(ReaderQos());
    EXPECT_EQ(waiter.get(), DDS_RETCODE_OK);
    EXPECT_EQ(wait(zero), DDS_RETCODE_OK) << "stays until the status is read";
    DDS_PublicationMatchedStatus status;
    ASSERT_EQ(DDS_DataWriter_get_publication_matched_status(writer, &status), DDS_RETCODE_OK);
    EXPECT_EQ(wait(zero), DDS_RETCODE_TIMEOUT);
}

TEST_F(EntityConditions, OnlyEnabledStatusesTrigger) {
    makeWriter(WriterQos());
    DDS_StatusCondition* condition = DDS_Entity_get_statuscondition(DDS_DataWriter_as_entity(writer));
    ASSERT_EQ(
        DDS_StatusCondition_set_enabled_statuses(condition, DDS_LIVELINESS_LOST_STATUS), DDS_RETCODE_OK);
    ASSERT_EQ(
        DDS_WaitSet_attach_condition(waitSet, DDS_StatusCondition_as_condition(condition)), DDS_RETCODE_OK);
    makeReader(ReaderQos());
    EXPECT_EQ(wait(zero), DDS_RETCODE_TIMEOUT);
    ASSERT_EQ(DDS_StatusCondition_set_enabled_statuses(condition, DDS_STATUS_MASK_ALL), DDS_RETCODE_OK);
    EXPECT_EQ(wait(zero), DDS_RETCODE_OK);
}

TEST_F(EntityConditions, DataTriggersTheReadersConditionUntilItIsRead) {
    makeBoth();
    DDS_StatusCondition* condition = DDS_Entity_get_statuscondition(DDS_DataReader_as_entity(reader));
    ASSERT_EQ(DDS_StatusCondition_set_enabled_statuses(condition, DDS_DATA_AVAILABLE_STATUS), DDS_RETCODE_OK);
    ASSERT_EQ(
        DDS_WaitSet_attach_condition(waitSet, DDS_StatusCondition_as_condition(condition)), DDS_RETCODE_OK);
    EXPECT_EQ(wait(zero), DDS_RETCODE_TIMEOUT);
    ASSERT_EQ(write(1), DDS_RETCODE_OK);
    EXPECT_EQ(wait(generous), DDS_RETCODE_OK);
    { Loan loan(reader, true); }
    EXPECT_EQ(wait(zero), DDS_RETCODE_TIMEOUT);
}

TEST_F(EntityConditions, AnEntityThatGoesLeavesItsWaitSets) {
    makeBoth();
    ASSERT_EQ(
        DDS_WaitSet_attach_condition(waitSet, DDS_StatusCondition_as_condition(DDS_Entity_get_statuscondition(
                                                  DDS_DataReader_as_entity(reader)))),
        DDS_RETCODE_OK);
    ASSERT_EQ(DDS_Subscriber_delete_datareader(subscriber, reader), DDS_RETCODE_OK);
    EXPECT_EQ(wait(zero), DDS_RETCODE_TIMEOUT);
}

TEST_F(EntityConditions, AReadConditionFollowsTheStates) {
    makeBoth();
    DDS_ReadCondition* condition = DDS_DataReader_create_readcondition(
        reader, DDS_NOT_READ_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE);
    ASSERT_NE(condition, nullptr);
    ASSERT_EQ(
        DDS_WaitSet_attach_condition(waitSet, DDS_ReadCondition_as_condition(condition)), DDS_RETCODE_OK);
    EXPECT_EQ(wait(zero), DDS_RETCODE_TIMEOUT);
    auto waiter = std::async(std::launch::async, [&] { return wait(generous); });
    ASSERT_EQ(write(1), DDS_RETCODE_OK);
    EXPECT_EQ(waiter.get(), DDS_RETCODE_OK);
    test_type::Samples samples{};
    DDS_SampleInfoSeq infos{};
    ASSERT_EQ(
        DDS_DataReader_read_or_take_w_condition_untypedI(reader, samples.base(), &infos, 10, condition, 0),
        DDS_RETCODE_OK);
    EXPECT_EQ(samples.length(), 1);
    ASSERT_EQ(DDS_DataReader_return_loan_untypedI(reader, samples.base(), &infos), DDS_RETCODE_OK);
    EXPECT_EQ(wait(zero), DDS_RETCODE_TIMEOUT) << "it has been read";
    EXPECT_EQ(
        DDS_DataReader_read_or_take_w_condition_untypedI(reader, samples.base(), &infos, 10, condition, 0),
        DDS_RETCODE_NO_DATA);
    EXPECT_EQ(
        DDS_DataReader_read_or_take_w_condition_untypedI(reader, samples.base(), &infos, 10, nullptr, 0),
        DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_Subscriber_delete_datareader(subscriber, reader), DDS_RETCODE_PRECONDITION_NOT_MET)
        << "it has a condition";
    EXPECT_EQ(DDS_DataReader_delete_readcondition(reader, condition), DDS_RETCODE_OK);
    EXPECT_EQ(wait(zero), DDS_RETCODE_TIMEOUT);
}

} // namespace
