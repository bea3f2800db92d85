// A reader from the inside. What arrives goes into the cache, then raises the status, then calls the
// listener.
#ifndef ZDDSC_ENTITIES_DATA_READER_IMPL_HPP
#define ZDDSC_ENTITIES_DATA_READER_IMPL_HPP

#include "middleware/entities/ListenerThread.hpp"
#include "middleware/entities/MatchNews.hpp"
#include "middleware/entities/MatchedEndpoints.hpp"
#include "middleware/entities/ParticipantImpl.hpp"
#include "middleware/entities/ReadConditionList.hpp"
#include "middleware/entities/ReaderCache.hpp"
#include "middleware/entities/RemoteWriterQueues.hpp"
#include "middleware/entities/SampleLoan.hpp"

struct DDS_DataReaderImpl : DDS_EntityImpl {
    DDS_DataReaderImpl(DDS_SubscriberImpl& owner, DDS_TopicImpl& readTopic);
    ~DDS_DataReaderImpl();

    // No loans and no conditions: it may be deleted.
    bool isUnused() const { return loans.isEmpty() && readConditions.isEmpty(); }

    // Null removes; the listener then hears of the writers that matched since somebody looked at the status.
    bool setListener(const DDS_DataReaderListener* newListener, DDS_StatusMask mask);
    // For the listener's thread: what it is to tell next, and what of the samples it may read (their number
    // of arrival is at most this).
    enum class News { none, match, unmatch };
    News nextNews() const;
    // hidesSamples: samples came behind the match, which may have been held back for it.
    bool takeNews(DDS_SubscriptionMatchedStatus* status, bool* hidesSamples);
    uint64_t lastArrivalForListener() const;

    // What the engine tells. Its threads only store, wake and return.
    struct Sink final : zdds::engine::ReaderSink {
        explicit Sink(DDS_DataReaderImpl& owner) : reader(owner) {}
        void onSample(const zdds::engine::IncomingSample& sample) override;
        void onMatched(const zdds::engine::RemoteEndpoint& writer) override;
        void onUnmatched(const zdds::engine::RemoteEndpoint& writer) override;
        void count(const zdds::engine::RemoteEndpoint& writer, bool isMatch);
        void raise(DDS_StatusMask statuses);
        // Of a key, of a keyed topic; null when several may have arrived.
        void raiseDataAvailable(const zdds::InstanceKey* key);
        DDS_DataReaderImpl& reader;
    };

    DDS_SubscriberImpl* const subscriber;
    DDS_TopicImpl* const topic;
    DDS_DataReaderQos qos{};
    zdds::engine::Reader* engineReader = nullptr; // null for an isolated reader
    zdds::ReaderCache cache;
    zdds::LoanList loans;
    zdds::ListenerThread listener{*this};
    Sink sink{*this};
    zdds::ReadConditionList readConditions{topic->keyBytes};
    zdds::RemoteWriterQueues remoteWriters; // those that are asserted by hand
    mutable zdds::Mutex statusMutex;        // guards what is below
    DDS_SubscriptionMatchedStatus matchedStatus{};
    zdds::MatchedEndpoints matched;
    zdds::MatchNews news; // open while a listener wants to hear of matches
};

namespace zdds {

// A reader with this property is not known to the engine: it matches nobody.
constexpr const char* isolatedProperty = "dds.data_reader.is_isolated";

// The tree mutex is held.
DDS_ReturnCode_t enableReader(DDS_DataReaderImpl& reader);
// Stops and frees a reader that is out of the tree. False when its listener thread did not end: it is then
// left.
bool destroyReader(DDS_DataReaderImpl& reader);

} // namespace zdds

#endif
