// The objects that users of the loopback engine hold: each takes the engine's mutex and hands on.
#include <algorithm>
#include <cstring>

#include "middleware/engine/Encapsulation.hpp"
#include "middleware/engine/loopback/LoopbackObjects.hpp"
#include "middleware/log/DdsLog.hpp"

namespace zdds::engine::loopback {

ParticipantObject::~ParticipantObject() {
    std::lock_guard lock(engine_.mutex_);
    --engine_.participants_;
}

template <class Object, class Qos, class Sink>
Object* ParticipantObject::createEndpoint(
    const TopicInfo& topic, const Qos& qos, std::span<const char* const> partitions, Sink* sink) {
    std::unique_lock lock(engine_.mutex_);
    if (engine_.failsNow())
        return nullptr;
    auto* object = new ("loopback endpoint") Object(engine_, *this, sink);
    if (object == nullptr)
        return nullptr;
    object->terms.setPolicies(qos);
    if (object->terms.set(topic, partitions)) {
        object->identity = engine_.nextGuid(guid_, Object::guidKind(object->terms.isKeyed()));
        if (engine_.add(*object)) {
            engine_.settle();
            return object;
        }
    }
    lock.unlock();
    ZDDS_LOG_ERROR(
        FAILED_TO_CREATE, "endpoint of topic '%s'", topic.topicName != nullptr ? topic.topicName : "");
    delete object;
    return nullptr;
}

Writer* ParticipantObject::createWriter(const TopicInfo& topic, const DDS_DataWriterQos& qos,
    std::span<const char* const> partitions, WriterSink* sink) {
    return createEndpoint<WriterObject>(topic, qos, partitions, sink);
}

Reader* ParticipantObject::createReader(const TopicInfo& topic, const DDS_DataReaderQos& qos,
    std::span<const char* const> partitions, ReaderSink* sink) {
    return createEndpoint<ReaderObject>(topic, qos, partitions, sink);
}

bool ParticipantObject::isTransportEnabled(int transport) const {
    std::lock_guard lock(engine_.mutex_);
    return (transport == 1 || transport == 2) && engine_.transports_[transport];
}

WriterObject::~WriterObject() {
    {
        std::lock_guard lock(engine.mutex_);
        engine.remove(*this);
        engine.settle();
    }
    for (Sample* sample : history)
        Sample::release(sample);
}

Status WriterObject::write(
    std::span<const uint8_t> bytes, SampleKind kind, int64_t sourceTimeNs, int64_t* sequenceNumber) {
    std::lock_guard lock(engine.mutex_);
    if (engine.failsNow())
        return Status::error;
    const Status status = engine.send(*this, bytes, kind, sourceTimeNs, sequenceNumber);
    engine.settle();
    return status;
}

Status WriterObject::waitForAcknowledgments(int64_t timeoutNs) {
    std::unique_lock lock(engine.mutex_);
    if (engine.failsNow())
        return Status::error;
    return engine.awaitAcknowledgments(*this, lock, timeoutNs);
}

Status WriterObject::waitForAcknowledgmentOf(
    const DDS_GUID_t& participantGuid, int64_t sequenceNumber, int64_t timeoutNs) {
    std::unique_lock lock(engine.mutex_);
    if (engine.failsNow())
        return Status::error;
    for (;;) {
        const Status status = engine.acknowledgmentOf(*this, participantGuid, sequenceNumber);
        if (status != Status::timeout || timeoutNs != infinite)
            return status;
        engine.acknowledged_.wait(lock);
    }
}

bool WriterObject::remember(Sample& sample) {
    const auto sameInstance = [&](const Sample* other) {
        return std::memcmp(sample.bytes + encapsulationBytes, other->bytes + encapsulationBytes,
                   terms.keyBytes()) == 0;
    };
    if (!history.append(&sample))
        return false;
    ++sample.references;
    if (terms.depth() == 0)
        return true;
    const auto kept = std::count_if(history.begin(), history.end(), sameInstance);
    if (kept <= terms.depth())
        return true;
    Sample** oldest = std::find_if(history.begin(), history.end(), sameInstance);
    Sample::release(*oldest);
    history.erase(static_cast<std::size_t>(oldest - history.begin()));
    return true;
}

ReaderObject::~ReaderObject() {
    std::lock_guard lock(engine.mutex_);
    engine.remove(*this);
    engine.settle();
}

Sample* Sample::create(const IncomingSample& from) {
    void* memory = nullptr;
    if (!ORXOsapiHeap_reallocateMemoryInternal(
            &memory, sizeof(Sample) + from.bytes.size(), alignof(Sample), 0, "struct Sample"))
        return nullptr;
    auto* self = new (memory)
        Sample{1, from.kind, from.writer, from.sequenceNumber, from.sourceTimeNs, from.bytes.size(), {}};
    std::memcpy(self->bytes, from.bytes.data(), from.bytes.size());
    return self;
}

void Sample::release(Sample* self) {
    if (self != nullptr && --self->references == 0)
        ORXOsapiHeap_freeMemoryInternal(self);
}

IncomingSample Sample::view() const {
    return {{bytes, size}, writer, sequenceNumber, sourceTimeNs, kind};
}

Match::~Match() {
    for (Step* step : farewells)
        delete step;
}

bool Match::isReliable() const {
    return reader.terms.isReliable();
}

} // namespace zdds::engine::loopback
