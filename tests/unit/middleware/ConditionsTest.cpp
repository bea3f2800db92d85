// Conditions and wait sets.
#include <algorithm>
#include <array>
#include <random>
#include <set>
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

// Many guard conditions in one wait set, of which nobody has triggered any.
class ManyGuards {
public:
    explicit ManyGuards(size_t count) : guards_(count) {
        for (DDS_GuardCondition*& each : guards_) {
            each = DDS_GuardCondition_new();
            DDS_WaitSet_attach_condition(waitSet_, DDS_GuardCondition_as_condition(each));
        }
        EXPECT_EQ(DDS_WaitSet_wait(waitSet_, &active_, &zero), DDS_RETCODE_TIMEOUT);
    }
    ~ManyGuards() {
        DDS_WaitSet_delete(waitSet_);
        for (DDS_GuardCondition* each : guards_)
            DDS_GuardCondition_delete(each);
        DDS_ConditionSeq_finalize(&active_);
    }
    ManyGuards(const ManyGuards&) = delete;
    ManyGuards& operator=(const ManyGuards&) = delete;

    std::chrono::nanoseconds timeOfWakes() {
        constexpr size_t wakes = 100;
        const auto start = std::chrono::steady_clock::now();
        for (size_t i = 0; i < wakes; ++i) {
            DDS_GuardCondition* one = guards_[i * 7 % guards_.size()];
            DDS_GuardCondition_set_trigger_value(one, DDS_BOOLEAN_TRUE);
            EXPECT_EQ(DDS_WaitSet_wait(waitSet_, &active_, &zero), DDS_RETCODE_OK);
            EXPECT_EQ(DDS_ConditionSeq_get_length(&active_), 1);
            DDS_GuardCondition_set_trigger_value(one, DDS_BOOLEAN_FALSE);
        }
        return std::chrono::steady_clock::now() - start;
    }

private:
    DDS_WaitSet* const waitSet_ = DDS_WaitSet_new();
    std::vector<DDS_GuardCondition*> guards_;
    DDS_ConditionSeq active_{};
};

// The quickest of interleaved rounds, so that a busy machine has no say.
TEST(WaitSet, AWakeCostsTheSameHoweverManyConditionsWait) {
    ManyGuards few(10);
    ManyGuards many(20'000);
    auto ofFew = std::chrono::nanoseconds::max(), ofMany = ofFew;
    for (int round = 0; round < 15; ++round) {
        ofFew = std::min(ofFew, few.timeOfWakes());
        ofMany = std::min(ofMany, many.timeOfWakes());
    }
    EXPECT_LT(ofMany, 20 * ofFew);
}

// Conditions that come, go and change in any order, against a model.
TEST(WaitSet, ListsWhatIsTriggeredWhateverHappenedBefore) {
    std::mt19937 random(20'240'611);
    const auto below = [&](unsigned bound) { return static_cast<size_t>(random() % bound); };
    std::array<DDS_GuardCondition*, 12> guards{};
    std::set<DDS_GuardCondition*> triggered;
    struct {
        DDS_WaitSet* waitSet = DDS_WaitSet_new();
        std::set<DDS_GuardCondition*> attached;
    } sets[3];
    DDS_ConditionSeq active{};
    for (int step = 0; step < 20'000; ++step) {
        DDS_GuardCondition*& guard = guards[below(guards.size())];
        auto& [waitSet, attached] = sets[below(3)];
        if (guard == nullptr)
            guard = DDS_GuardCondition_new();
        DDS_Condition* condition = DDS_GuardCondition_as_condition(guard);
        switch (below(6)) {
        case 0:
            ASSERT_EQ(DDS_WaitSet_attach_condition(waitSet, condition), DDS_RETCODE_OK);
            attached.insert(guard);
            break;
        case 1:
            if (attached.erase(guard) != 0) {
                ASSERT_EQ(DDS_WaitSet_detach_condition(waitSet, condition), DDS_RETCODE_OK);
            }
            break;
        case 2:
            DDS_GuardCondition_set_trigger_value(guard, DDS_BOOLEAN_TRUE);
            triggered.insert(guard);
            break;
        case 3:
            DDS_GuardCondition_set_trigger_value(guard, DDS_BOOLEAN_FALSE);
            triggered.erase(guard);
            break;
        case 4:
            if (below(8) != 0)
                break;
            ASSERT_EQ(DDS_GuardCondition_delete(guard), DDS_RETCODE_OK);
            for (auto& each : sets)
                each.attached.erase(guard);
            triggered.erase(guard);
            guard = nullptr;
            break;
        default:
            std::set<DDS_Condition*> expected, listed;
            for (DDS_GuardCondition* each : attached) {
                if (triggered.contains(each))
                    expected.insert(DDS_GuardCondition_as_condition(each));
            }
            ASSERT_EQ(DDS_WaitSet_wait(waitSet, &active, &zero),
                expected.empty() ? DDS_RETCODE_TIMEOUT : DDS_RETCODE_OK);
            for (DDS_Long i = 0; i < DDS_ConditionSeq_get_length(&active); ++i)
                ASSERT_TRUE(listed.insert(DDS_ConditionSeq_get(&active, i)).second) << "once";
            ASSERT_EQ(listed, expected) << "step " << step;
        }
    }
    for (auto& each : sets)
        EXPECT_EQ(DDS_WaitSet_delete(each.waitSet), DDS_RETCODE_OK);
    for (DDS_GuardCondition* each : guards) {
        if (each != nullptr)
            DDS_GuardCondition_delete(each);
    }
    DDS_ConditionSeq_finalize(&active);
}

// Nothing that is triggered while others come and go is missed.
TEST(WaitSet, ThreadsThatTriggerAndLeaveAreHeard) {
    DDS_WaitSet* waitSet = DDS_WaitSet_new();
    DDS_ConditionSeq active{};
    constexpr int threadCount = 3, turns = 200;
    std::vector<std::jthread> threads;
    std::array<std::atomic<int>, threadCount> heard{};
    std::array<std::atomic<DDS_GuardCondition*>, threadCount> current{};
    std::atomic<int> done{0};
    for (int t = 0; t < threadCount; ++t) {
        const auto mine = static_cast<size_t>(t);
        threads.emplace_back([&, mine] {
            for (int i = 0; i < turns; ++i) {
                DDS_GuardCondition* guard = DDS_GuardCondition_new();
                current[mine] = guard;
                DDS_WaitSet_attach_condition(waitSet, DDS_GuardCondition_as_condition(guard));
                DDS_GuardCondition_set_trigger_value(guard, DDS_BOOLEAN_TRUE);
                while (heard[mine] <= i)
                    heard[mine].wait(i);
                DDS_GuardCondition_delete(guard);
            }
            ++done;
        });
    }
    const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (done < threadCount && std::chrono::steady_clock::now() < giveUp) {
        const DDS_Duration_t moment{0, 50'000'000U};
        if (DDS_WaitSet_wait(waitSet, &active, &moment) != DDS_RETCODE_OK)
            continue;
        for (DDS_Long i = 0; i < DDS_ConditionSeq_get_length(&active); ++i) {
            for (size_t t = 0; t < threadCount; ++t) {
                DDS_GuardCondition* guard = current[t];
                if (guard != nullptr &&
                    DDS_GuardCondition_as_condition(guard) == DDS_ConditionSeq_get(&active, i)) {
                    current[t] = nullptr;
                    ++heard[t];
                    heard[t].notify_all();
                }
            }
        }
    }
    EXPECT_EQ(done, threadCount);
    for (std::atomic<int>& each : heard) { // also where they gave up
        each = turns;
        each.notify_all();
    }
    threads.clear();
    DDS_WaitSet_delete(waitSet);
    DDS_ConditionSeq_finalize(&active);
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

// Something is read, or the last writer goes: no sample comes, but the states that are waited for do.
TEST_F(EntityConditions, AChangeOfStatesWakesWhoWaitsForThem) {
    makeBoth();
    DDS_ReadCondition* isRead = DDS_DataReader_create_readcondition(
        reader, DDS_READ_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE);
    DDS_ReadCondition* isOrphan = DDS_DataReader_create_readcondition(
        reader, DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_NOT_ALIVE_NO_WRITERS_INSTANCE_STATE);
    for (DDS_ReadCondition* each : {isRead, isOrphan})
        DDS_WaitSet_attach_condition(waitSet, DDS_ReadCondition_as_condition(each));
    ASSERT_EQ(write(1), DDS_RETCODE_OK);
    EXPECT_EQ(wait(zero), DDS_RETCODE_TIMEOUT);
    auto waiter = std::async(std::launch::async, [&] { return wait(generous); });
    { Loan loan(reader, false); }
    EXPECT_EQ(waiter.get(), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_ConditionSeq_get(&active, 0), DDS_ReadCondition_as_condition(isRead));
    ASSERT_EQ(DDS_WaitSet_detach_condition(waitSet, DDS_ReadCondition_as_condition(isRead)), DDS_RETCODE_OK);
    EXPECT_EQ(wait(zero), DDS_RETCODE_TIMEOUT);
    ASSERT_EQ(DDS_Publisher_delete_datawriter(publisher, writer), DDS_RETCODE_OK);
    EXPECT_EQ(wait(generous), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_ConditionSeq_get(&active, 0), DDS_ReadCondition_as_condition(isOrphan));
    for (DDS_ReadCondition* each : {isRead, isOrphan})
        EXPECT_EQ(DDS_DataReader_delete_readcondition(reader, each), DDS_RETCODE_OK);
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
