// Writing: synchronous and asynchronous, bounded, counted, with readers that stall.
#include <atomic>
#include <thread>

#include "tests/unit/middleware/EntityFixture.hpp"

namespace {

using namespace std::chrono_literals;

class Writing : public WriterAndReader {
protected:
    // The reader takes nothing more, and the engine no more than it has: one sample is stuck in the queue.
    void fillEngine() {
        engine.stall(guidOfReader());
        for (int i = 0; i < maximumUnacknowledged; ++i) {
            ASSERT_EQ(write(i), DDS_RETCODE_OK);
            ASSERT_EQ(DDS_DataWriter_flushI(writer, &generous), DDS_RETCODE_OK);
        }
        ASSERT_EQ(write(-1), DDS_RETCODE_OK);
    }
    static constexpr int maximumUnacknowledged = 1024; // of the loopback engine
    static constexpr DDS_Duration_t shortly{0, 100'000U};
};

TEST_F(Writing, ASynchronousWriteIsThereWhenItReturns) {
    makeBoth();
    EXPECT_EQ(write(7), DDS_RETCODE_OK);
    Loan loan(reader, true);
    EXPECT_EQ(loan.numbers(), std::vector<int>{7});
    EXPECT_STREQ(loan.samples[0].text, "text");
    const DDS_DataWriterCountersI counters = writerCounters();
    EXPECT_EQ(counters.written, 1U);
    EXPECT_GT(counters.written_bytes, 8U);
    EXPECT_EQ(counters.queued, 0U);
}

TEST_F(Writing, AnAsynchronousWriteArrivesInOrder) {
    makeWriter(WriterQos().asynchronous());
    makeReader(ReaderQos());
    std::vector<int> expected;
    for (int i = 0; i < 500; ++i) {
        ASSERT_EQ(write(i), DDS_RETCODE_OK);
        expected.push_back(i);
    }
    ASSERT_EQ(DDS_DataWriter_flushI(writer, &generous), DDS_RETCODE_OK);
    Loan loan(reader, true);
    EXPECT_EQ(loan.numbers(), expected);
    EXPECT_EQ(writerCounters().written, 500U);
    EXPECT_EQ(writerCounters().queued, 0U);
    EXPECT_GE(writerCounters().queued_peak, 1U);
}

TEST_F(Writing, SourceTimesAreOfTheWriteAndTheWritersGuidIsKnown) {
    makeBoth();
    const TestSample sample{1, nullptr};
    const DDS_Time_t time{1234, 5678};
    ASSERT_EQ(
        DDS_DataWriter_write_w_timestamp_untypedI(writer, &sample, &DDS_HANDLE_NIL, &time), DDS_RETCODE_OK);
    DDS_WriteParams_t params{};
    params.source_timestamp = {99, 0};
    ASSERT_EQ(DDS_DataWriter_write_w_params_untypedI(writer, &sample, &params), DDS_RETCODE_OK);
    EXPECT_EQ(params.identity.low, 2U);
    const DDS_Time_t wrong{-5, 0};
    EXPECT_EQ(DDS_DataWriter_write_w_timestamp_untypedI(writer, &sample, &DDS_HANDLE_NIL, &wrong),
        DDS_RETCODE_BAD_PARAMETER);
    Loan loan(reader, true);
    ASSERT_EQ(loan.samples.length(), 2);
    EXPECT_EQ(loan.info(0).source_timestamp.sec, 1234);
    EXPECT_EQ(loan.info(0).source_timestamp.nanosec, 5678U);
    EXPECT_EQ(loan.info(1).source_timestamp.sec, 99);
    EXPECT_EQ(loan.info(0).publication_sequence_number.low, 1U);
    DDS_GUID_t guid;
    DDS_InstanceHandle_to_guid(&loan.info(0).publication_handle, &guid);
    const DDS_GUID_t writerGuid = guidOfWriter();
    EXPECT_TRUE(DDS_GUID_equals(&guid, &writerGuid));
    EXPECT_TRUE(DDS_GUID_equals(&loan.info(0).original_publication_virtual_guid, &writerGuid));
}

TEST_F(Writing, AQueuedSampleHasThePlaceInTheQueueAsItsNumber) {
    makeWriter(WriterQos().asynchronous());
    makeReader(ReaderQos());
    const TestSample sample{1, nullptr};
    DDS_WriteParams_t params{};
    for (DDS_UnsignedLong i = 1; i <= 3; ++i) {
        ASSERT_EQ(DDS_DataWriter_write_w_params_untypedI(writer, &sample, &params), DDS_RETCODE_OK);
        EXPECT_EQ(params.identity.low, i);
    }
    ASSERT_EQ(DDS_DataWriter_flushI(writer, &generous), DDS_RETCODE_OK);
    Loan loan(reader, true);
    EXPECT_EQ(loan.info(2).publication_sequence_number.low, 3U);
}

TEST_F(Writing, AWriteToOneReaderIsNotSupported) {
    makeBoth();
    const TestSample sample{1, nullptr};
    DDS_WriteParams_t params{};
    params.destination = guidOfReader();
    EXPECT_EQ(DDS_DataWriter_write_w_params_untypedI(writer, &sample, &params), DDS_RETCODE_UNSUPPORTED);
    EXPECT_TRUE(log.has("NOT_SUPPORTED", "write to one reader of topic 'Topic'"));
}

TEST_F(Writing, AStalledReaderCostsBoundedMemoryAndTheRestIsCounted) {
    makeWriter(WriterQos().asynchronous(10, 1000));
    makeReader(ReaderQos());
    fillEngine();
    int accepted = 0, refused = 0;
    for (int i = 0; i < 100; ++i)
        (write(i) == DDS_RETCODE_OK ? accepted : refused) += 1;
    EXPECT_LE(accepted, 10);
    EXPECT_EQ(refused, 100 - accepted);
    const DDS_DataWriterCountersI counters = writerCounters();
    EXPECT_EQ(counters.dropped_queue_full, static_cast<DDS_UnsignedLongLong>(refused));
    EXPECT_EQ(counters.queued_peak, 10U);
    EXPECT_TRUE(log.has("FAILED_TO_ADD", "sample of topic 'Topic' to the full queue of its writer"));
    EXPECT_EQ(DDS_DataWriter_flushI(writer, &shortly), DDS_RETCODE_TIMEOUT);
    // The reader goes on: what was accepted arrives.
    engine.stall(guidOfReader(), false);
    EXPECT_EQ(DDS_DataWriter_flushI(writer, &generous), DDS_RETCODE_OK);
    EXPECT_EQ(writerCounters().queued, 0U);
    EXPECT_EQ(writerCounters().dropped_engine, 0U);
    EXPECT_EQ(readerCounters().received, writerCounters().written);
}

TEST_F(Writing, TheQueueIsBoundedInBytesToo) {
    makeWriter(WriterQos().asynchronous(1000, 300));
    makeReader(ReaderQos());
    const std::string big(400, 'x');
    EXPECT_EQ(write(1, big.c_str()), DDS_RETCODE_OUT_OF_RESOURCES) << "larger than the whole queue";
    fillEngine();
    const std::string text(80, 'x');
    int accepted = 0;
    for (int i = 0; i < 50; ++i)
        accepted += write(i, text.c_str()) == DDS_RETCODE_OK;
    EXPECT_LE(accepted, 3);
    engine.stall(guidOfReader(), false);
    EXPECT_EQ(DDS_DataWriter_flushI(writer, &generous), DDS_RETCODE_OK);
}

TEST_F(Writing, AWriterIsDeletedWhileItsReaderStalls) {
    makeWriter(WriterQos().asynchronous(100));
    makeReader(ReaderQos());
    fillEngine();
    for (int i = 0; i < 50; ++i)
        write(i);
    EXPECT_GT(writerCounters().queued, 0U);
    auto deletion =
        std::async(std::launch::async, [&] { return DDS_Publisher_delete_datawriter(publisher, writer); });
    ASSERT_EQ(deletion.wait_for(30s), std::future_status::ready);
    EXPECT_EQ(deletion.get(), DDS_RETCODE_OK);
}

TEST_F(Writing, AStalledReaderDoesNotHoldUpOtherWriters) {
    makeWriter(WriterQos().asynchronous(100));
    makeReader(ReaderQos());
    DDS_Topic* topic = createTopic(writing, "Other");
    DDS_DataWriter* other =
        DDS_Publisher_create_datawriter(publisher, topic, &WriterQos().asynchronous(), nullptr, 0);
    fillEngine();
    for (int i = 0; i < 10; ++i)
        write(i);
    const TestSample sample{1, nullptr};
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(DDS_DataWriter_write_untypedI(other, &sample, &DDS_HANDLE_NIL), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DataWriter_flushI(other, &generous), DDS_RETCODE_OK);
    engine.stall(guidOfReader(), false);
    EXPECT_EQ(DDS_DataWriter_flushI(writer, &generous), DDS_RETCODE_OK);
}

TEST_F(Writing, WhatTheEngineRefusesIsDroppedAndCounted) {
    makeWriter(WriterQos().asynchronous());
    makeReader(ReaderQos());
    engine.failAt(2);
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(write(i), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_DataWriter_flushI(writer, &generous), DDS_RETCODE_OK);
    EXPECT_EQ(writerCounters().dropped_engine, 1U);
    EXPECT_EQ(writerCounters().written, 2U);
    Loan loan(reader, true);
    EXPECT_EQ(loan.numbers(), (std::vector<int>{0, 2}));
    const TestSample sample{1, nullptr};
    DDS_WriteParams_t params{};
    params.identity.low = 77;
    ASSERT_EQ(DDS_DataWriter_write_w_params_untypedI(writer, &sample, &params), DDS_RETCODE_OK);
    EXPECT_EQ(params.identity.low, 0U) << "the number is not known any more";
}

TEST_F(Writing, ASynchronousWriteReportsTheEnginesFailure) {
    makeBoth();
    engine.failAt(1);
    EXPECT_EQ(write(1), DDS_RETCODE_ERROR);
    EXPECT_EQ(writerCounters().dropped_engine, 1U);
    EXPECT_EQ(write(2), DDS_RETCODE_OK);
}

TEST_F(Writing, AcknowledgmentsAreWaitedForBehindTheQueue) {
    makeWriter(WriterQos().asynchronous());
    makeReader(ReaderQos());
    engine.withholdAcknowledgments(guidOfReader());
    ASSERT_EQ(write(1), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DataWriter_wait_for_acknowledgments(writer, &shortly), DDS_RETCODE_TIMEOUT);
    ASSERT_EQ(DDS_DataWriter_flushI(writer, &generous), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DataWriter_wait_for_acknowledgments(writer, &shortly), DDS_RETCODE_TIMEOUT);
    engine.withholdAcknowledgments(guidOfReader(), false);
    EXPECT_EQ(DDS_DataWriter_wait_for_acknowledgments(writer, &generous), DDS_RETCODE_OK);
}

TEST_F(Writing, ABestEffortWriterWaitsForNobody) {
    WriterQos qos;
    qos.reliability.kind = DDS_BEST_EFFORT_RELIABILITY_QOS;
    makeWriter(qos);
    EXPECT_EQ(DDS_DataWriter_wait_for_acknowledgments(writer, &shortly), DDS_RETCODE_OK);
}

TEST_F(Writing, AfterWarmUpAWriteDoesNotCallTheHeap) {
    makeWriter(WriterQos().asynchronous());
    for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(write(i), DDS_RETCODE_OK);
        if (i % 8 == 7) {
            ASSERT_EQ(DDS_DataWriter_flushI(writer, &generous), DDS_RETCODE_OK);
        }
    }
    FailingHeap heap;
    const long before = FailingHeap::allocationsOfThisThread();
    for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(write(i), DDS_RETCODE_OK);
        if (i % 8 == 7) {
            ASSERT_EQ(DDS_DataWriter_flushI(writer, &generous), DDS_RETCODE_OK);
        }
    }
    EXPECT_EQ(FailingHeap::allocationsOfThisThread(), before);
}

TEST_F(Writing, MatchesAreCountedWithPeakAndChanges) {
    makeWriter(WriterQos());
    DDS_PublicationMatchedStatus status;
    ASSERT_EQ(DDS_DataWriter_get_publication_matched_status(writer, &status), DDS_RETCODE_OK);
    EXPECT_EQ(status.total_count, 0);
    makeReader(ReaderQos());
    DDS_DataReader* second =
        DDS_Subscriber_create_datareader(subscriber, DDS_DataReader_get_topicdescription(reader),
            &static_cast<const DDS_DataReaderQos&>(ReaderQos()), nullptr, 0);
    EXPECT_NE(
        DDS_Entity_get_status_changes(DDS_DataWriter_as_entity(writer)) & DDS_PUBLICATION_MATCHED_STATUS, 0U);
    ASSERT_EQ(DDS_DataWriter_get_publication_matched_status(writer, &status), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_Entity_get_status_changes(DDS_DataWriter_as_entity(writer)), 0U);
    EXPECT_EQ(status.total_count, 2);
    EXPECT_EQ(status.total_count_change, 2);
    EXPECT_EQ(status.current_count, 2);
    EXPECT_EQ(status.current_count_change, 2);
    EXPECT_EQ(status.current_count_peak, 2);
    const DDS_InstanceHandle_t handle = DDS_Entity_get_instance_handle(DDS_DataReader_as_entity(second));
    EXPECT_TRUE(DDS_InstanceHandle_equals(&status.last_subscription_handle, &handle));
    DDS_InstanceHandleSeq handles{};
    ASSERT_EQ(DDS_DataWriter_get_matched_subscriptions(writer, &handles), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_InstanceHandleSeq_get_length(&handles), 2);

    ASSERT_EQ(DDS_Subscriber_delete_datareader(subscriber, second), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_DataWriter_get_publication_matched_status(writer, &status), DDS_RETCODE_OK);
    EXPECT_EQ(status.total_count, 2);
    EXPECT_EQ(status.total_count_change, 0);
    EXPECT_EQ(status.current_count, 1);
    EXPECT_EQ(status.current_count_change, -1);
    EXPECT_EQ(status.current_count_peak, 2);
    ASSERT_EQ(DDS_DataWriter_get_matched_subscriptions(writer, &handles), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_InstanceHandleSeq_get_length(&handles), 1);
    const DDS_InstanceHandle_t left = DDS_Entity_get_instance_handle(DDS_DataReader_as_entity(reader));
    const DDS_InstanceHandle_t listed = DDS_InstanceHandleSeq_get(&handles, 0);
    EXPECT_TRUE(DDS_InstanceHandle_equals(&left, &listed));
    DDS_InstanceHandleSeq_finalize(&handles);
}

TEST_F(Writing, KeylessTopicsHaveNothingToRegisterOrDisposeOf) {
    makeBoth();
    const TestSample sample{1, nullptr};
    TestSample holder{};
    void* loan = &holder;
    const DDS_InstanceHandle_t nil = DDS_DataWriter_register_instance_untypedI(writer, &sample);
    EXPECT_TRUE(DDS_InstanceHandle_is_nil(&nil));
    EXPECT_EQ(DDS_DataWriter_dispose_untypedI(writer, &sample, &nil), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(
        DDS_DataWriter_unregister_instance_untypedI(writer, &sample, &nil), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(DDS_DataWriter_get_key_value_untypedI(writer, &holder, &nil), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_DataWriter_get_loan_untypedI(writer, &loan), DDS_RETCODE_UNSUPPORTED);
    EXPECT_EQ(loan, nullptr);
}

TEST_F(Writing, ManyThreadsWriteThroughOneWriter) {
    makeWriter(WriterQos().asynchronous());
    makeReader(ReaderQos());
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([this, t] {
            for (int i = 0; i < 200; ++i)
                EXPECT_EQ(write(t * 1000 + i), DDS_RETCODE_OK);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    ASSERT_EQ(DDS_DataWriter_flushI(writer, &generous), DDS_RETCODE_OK);
    Loan loan(reader, true);
    EXPECT_EQ(loan.samples.length(), 600);
    int last[3] = {-1, -1, -1};
    for (const int number : loan.numbers()) {
        EXPECT_GT(number % 1000, last[number / 1000]) << "out of order";
        last[number / 1000] = number % 1000;
    }
}

} // namespace
