// The built-in service-request channel of one participant: its topic, its writer and its reader.
//
// Threads: create and close by the owner of the participant, enable with the tree mutex held, observe by any.
// Ownership: the participant's, and everything in here belongs to the channel.
#ifndef ZDDSC_ENTITIES_SERVICE_REQUEST_CHANNEL_HPP
#define ZDDSC_ENTITIES_SERVICE_REQUEST_CHANNEL_HPP

#include "middleware/entities/DataReaderImpl.hpp"
#include "middleware/entities/DataWriterImpl.hpp"
#include "middleware/entities/DirectedWriter.hpp"
#include "zddsc/service_request.h"

namespace zdds {

// Who wants to know what passes. Called on threads of the engine and of writers, under a mutex of the
// channel: it only notes and wakes.
class ServiceRequestObserver {
public:
    virtual void onArrival() = 0; // something is to be read
    virtual void onSent(const DDS_ServiceRequest& sample) = 0;

protected:
    ~ServiceRequestObserver() = default;
};

class ServiceRequestChannel {
public:
    // What may wait in the reader.
    static constexpr DDS_Long maxCachedSamples = 8192;
    static constexpr size_t maxCachedBytes = 32U << 20;
    // A body with its key, its length, and what goes around them.
    static constexpr size_t maxEncodedBytes = DDS_SERVICE_REQUEST_MAX_BODY_BYTESI + 64;

    // Null on failure.
    static ServiceRequestChannel* create(DDS_DomainParticipantImpl& participant);
    explicit ServiceRequestChannel(DDS_DomainParticipantImpl& participant);
    ~ServiceRequestChannel();
    ServiceRequestChannel(const ServiceRequestChannel&) = delete;
    ServiceRequestChannel& operator=(const ServiceRequestChannel&) = delete;

    DDS_ReturnCode_t enable();
    bool isUnused() const { return reader_->isUnused(); }
    // Before the participant goes, after its flusher ended. False when a thread of a listener did not end.
    bool close();

    DDS_DataWriterImpl& writer() { return *writer_; }
    DDS_DataReaderImpl& reader() { return *reader_; }
    DDS_SubscriberImpl& subscriber() { return subscriber_; }
    engine::ReaderSink& engineSink() { return sink_; }

    // One at a time; null removes. Once it returns, the one before is not called any more.
    void observe(ServiceRequestObserver* observer);
    void tellSent(const DDS_ServiceRequest& sample);

private:
    // Everybody's samples come from engine writers that nobody knows: readers hear of the built-in one.
    struct Sink final : engine::ReaderSink {
        explicit Sink(ServiceRequestChannel& owner) : channel(owner) {}
        void onSample(const engine::IncomingSample& sample) override;
        void onMatched(const engine::RemoteEndpoint& writer) override;
        void onUnmatched(const engine::RemoteEndpoint& writer) override;
        ServiceRequestChannel& channel;
    };

    bool initialize();
    bool makeTopic();
    bool makeWriter();
    bool makeReader();

    DDS_DomainParticipantImpl& participant_;
    TypeBinding type_;
    DDS_TopicImpl topic_;
    DDS_PublisherImpl publisher_;
    DDS_SubscriberImpl subscriber_;
    DDS_DataWriterImpl* writer_ = nullptr;
    DDS_DataReaderImpl* reader_ = nullptr;
    Sink sink_{*this};
    Mutex observerMutex_;
    ServiceRequestObserver* observer_ = nullptr;
};

// Tells whose built-in writer the calling thread asks for while this lives: who does so means to serve there.
class BuiltinWriterWatch {
public:
    BuiltinWriterWatch();
    ~BuiltinWriterWatch();
    BuiltinWriterWatch(const BuiltinWriterWatch&) = delete;
    BuiltinWriterWatch& operator=(const BuiltinWriterWatch&) = delete;
    // The last one; null when there was none.
    DDS_DomainParticipantImpl* participant() const { return participant_; }
    static void note(DDS_DomainParticipantImpl& participant);
    // Whether there is one on the calling thread.
    static bool isThere();

private:
    BuiltinWriterWatch* const outer_;
    DDS_DomainParticipantImpl* participant_ = nullptr;
};

} // namespace zdds

#endif
