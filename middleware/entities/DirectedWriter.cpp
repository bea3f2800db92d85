#include "middleware/entities/DirectedWriter.hpp"

#include <algorithm>
#include <cstring>

#include "middleware/entities/DataWriterImpl.hpp"
#include "middleware/log/DdsLog.hpp"
#include "middleware/log/Memory.hpp"

namespace zdds {
namespace {

constexpr auto relaxed = std::memory_order_relaxed;
// A stalled destination gives its sample back after this long, and costs the others no more for each turn.
constexpr DDS_Duration_t longestBlock{0, 20'000'000U};
constexpr int candidatesPerSearch = 8;
constexpr int64_t sweepPeriodNs = 1'000'000'000;

std::atomic<uint64_t> lastId{0};

// What the calling thread sent last. An id is never used again, so that what has gone is not mistaken.
struct LastSent {
    uint64_t writerId = 0;
    DDS_GUID_t reader{};
    int64_t position = 0;
};
thread_local LastSent lastSent;

} // namespace

PartitionName::PartitionName(const DDS_GUID_t& reader) {
    constexpr char digits[] = "0123456789abcdef";
    char* place = text;
    for (const DDS_Octet octet : reader.value) {
        *place++ = digits[octet >> 4];
        *place++ = digits[octet & 15];
    }
    *place = '\0';
}

DDS_GUID_t participantOf(const DDS_GUID_t& endpoint) {
    constexpr DDS_UnsignedLong participantObjectId = 0x000001C1;
    return endpointOf(endpoint, participantObjectId);
}

DDS_GUID_t endpointOf(const DDS_GUID_t& participant, DDS_UnsignedLong objectId) {
    DDS_GUID_t guid = participant;
    for (int i = 15; i >= 12; --i, objectId >>= 8)
        guid.value[i] = static_cast<DDS_Octet>(objectId);
    return guid;
}

DirectedWriter::Sample* DirectedWriter::Sample::create(
    size_t size, engine::SampleKind kind, int64_t sourceTimeNs) {
    void* memory = nullptr;
    if (size > UINT32_MAX || !ORXOsapiHeap_reallocateMemoryInternal(&memory, sizeof(Sample) + size,
                                 alignof(Sample), 0, "struct DirectedWriter::Sample"))
        return nullptr;
    return new (memory) Sample{nullptr, sourceTimeNs, 0, 0, static_cast<uint32_t>(size), kind};
}

void DirectedWriter::Sample::destroy(Sample* sample) {
    ORXOsapiHeap_freeMemoryInternal(sample);
}

DirectedWriter::Destination::Destination(DirectedWriter& directedWriter, const DDS_GUID_t& readerGuid)
    : owner(directedWriter), reader(readerGuid), participant(participantOf(readerGuid)) {}

DirectedWriter::Destination::~Destination() {
    delete engineWriter;
    while (Sample* sample = first) {
        first = sample->next;
        Sample::destroy(sample);
    }
}

DirectedWriter::DirectedWriter(DDS_DataWriterImpl& writer)
    : writer_(writer), id_(lastId.fetch_add(1, relaxed) + 1) {}

DirectedWriter::~DirectedWriter() {
    endWriters();
    while (Destination* one = destinations_) {
        destinations_ = one->next;
        destroy(one);
    }
}

// The engine may linger for a second over each writer whose destination has not acknowledged. So those are
// ended side by side: frozen destinations, however many, hold up the end for little more than one.
void DirectedWriter::endWriters() {
    constexpr size_t atOnce = 64;
    // However long it takes: the writer's sink is what is freed next.
    const auto join = [](ORXOsapiJoinableThread* thread) {
        constexpr int turnMs = 20'000;
        while (!ORXOsapiJoinableThread_stopAndDelete(thread, turnMs)) {
        }
    };
    const auto end = [](void* writer) -> void* {
        delete static_cast<engine::Writer*>(writer);
        return nullptr;
    };
    ORXOsapiJoinableThread* threads[atOnce] = {};
    size_t next = 0;
    for (Destination* one = destinations_; one != nullptr; one = one->next) {
        const bool mayLinger =
            one->engineWriter != nullptr && one->engineWriter->waitForAcknowledgmentOf(one->participant,
                                                one->sequenceNumber, 0) == engine::Status::timeout;
        if (!mayLinger)
            continue;
        ORXOsapiJoinableThread*& place = threads[next++ % atOnce];
        join(place);
        place = ORXOsapiJoinableThread_new("oZddsEnd", ORX_OSAPI_THREAD_PRIORITY_DEFAULT,
            ORX_OSAPI_THREAD_OPTION_DEFAULT, ORX_OSAPI_THREAD_STACK_SIZE_DEFAULT, nullptr, end,
            one->engineWriter);
        if (place != nullptr)
            one->engineWriter = nullptr;
    }
    for (ORXOsapiJoinableThread* thread : threads)
        join(thread);
}

// ---- The list ----

DirectedWriter::Destination* DirectedWriter::find(const DDS_GUID_t& reader) {
    for (Destination* one = destinations_; one != nullptr; one = one->next) {
        if (DDS_GUID_equals(&one->reader, &reader))
            return one;
    }
    return nullptr;
}

// The one that is used comes to the front.
DirectedWriter::Destination* DirectedWriter::findOrMake(const DDS_GUID_t& reader) {
    Destination* found = find(reader);
    if (found != nullptr) {
        Destination** link = &destinations_;
        while (*link != found)
            link = &(*link)->next;
        *link = found->next;
    } else {
        if (destinationCount_ >= limits_.destinations)
            return nullptr;
        found = create<Destination>("struct DirectedWriter::Destination", *this, reader);
        if (found == nullptr)
            return nullptr;
        ++destinationCount_;
    }
    found->next = destinations_;
    destinations_ = found;
    found->usedNs = Deadline::now();
    return found;
}

void DirectedWriter::append(Destination& to, Sample& sample) {
    sample.expiresNs = Deadline::in(limits_.holdNs).ns;
    sample.position = ++to.sent;
    (to.last != nullptr ? to.last->next : to.first) = &sample;
    to.last = &sample;
    ++to.samples;
    to.bytes += sample.size;
    bytes_ += sample.size;
    queuedPeak_ = std::max(queuedPeak_, ++queued_);
}

// Takes the first sample out: it went to the engine, or is lost.
void DirectedWriter::settleFirst(Destination& to, bool isLost) {
    Sample* sample = to.first;
    to.first = sample->next;
    if (to.first == nullptr)
        to.last = nullptr;
    --to.samples;
    to.bytes -= sample->size;
    bytes_ -= sample->size;
    --queued_;
    to.settled = sample->position;
    if (isLost) {
        to.lostFrom = to.lostTo == sample->position - 1 ? to.lostFrom : sample->position;
        to.lostTo = sample->position;
    }
    Sample::destroy(sample);
    changed_.wakeAll();
}

void DirectedWriter::dropOverdue(Destination& to) {
    const int64_t now = Deadline::now();
    while (to.first != nullptr && to.first->expiresNs <= now) {
        writer_.counters.count(&DDS_DataWriterImpl::Counters::droppedDeadline);
        settleFirst(to, true);
    }
}

// Those that the flusher does not look after, since nobody is matched.
void DirectedWriter::dropOverdueOfIdle() {
    const int64_t now = Deadline::now();
    if (now - sweptNs_ < sweepPeriodNs && destinationCount_ < limits_.destinations)
        return;
    sweptNs_ = now;
    for (Destination** link = &destinations_; *link != nullptr;) {
        Destination* one = *link;
        if (!one->isScheduled)
            dropOverdue(*one);
        const bool isEmpty =
            one->engineWriter == nullptr && one->first == nullptr && !one->isScheduled && one->users == 0;
        if (!isEmpty) {
            link = &one->next;
            continue;
        }
        *link = one->next;
        --destinationCount_;
        destroy(one);
    }
}

// True when the caller has to tell the flusher, with the mutex free.
bool DirectedWriter::schedules(Destination& to) {
    if (to.isScheduled || to.isRetired)
        return false;
    to.isScheduled = true;
    return true;
}

// ---- Sending ----

DDS_ReturnCode_t DirectedWriter::send(const DDS_GUID_t& reader, Sample* sample) {
    Cleanup undo([&] { Sample::destroy(sample); });
    if (!writer_.participant->flusher.start())
        return DDS_RETCODE_OUT_OF_RESOURCES;
    Guard guard(mutex_);
    dropOverdueOfIdle();
    Destination* to = findOrMake(reader);
    const bool fits = to != nullptr && to->samples < limits_.samples &&
                      to->bytes + sample->size <= limits_.bytes && bytes_ + sample->size <= limits_.allBytes;
    if (!fits) {
        writer_.counters.count(&DDS_DataWriterImpl::Counters::droppedQueueFull);
        return DDS_RETCODE_OUT_OF_RESOURCES;
    }
    undo.dismiss();
    append(*to, *sample);
    lastSent = {id_, reader, sample->position};
    const bool isMine = schedules(*to);
    guard.release();
    if (isMine)
        writer_.participant->flusher.schedule(*to);
    return DDS_RETCODE_OK;
}

void DirectedWriter::countMatch(Destination& to, const engine::RemoteEndpoint& reader, int change) {
    // Others may listen in the partition: they have no say.
    if (!DDS_GUID_equals(&reader.participant, &to.participant))
        return;
    Guard guard(mutex_);
    to.matches += change;
    if (to.matches == 0 && to.settled > to.acknowledged) {
        to.lostFrom = to.acknowledged + 1;
        to.lostTo = to.settled;
    }
    changed_.wakeAll();
    const bool isMine = to.matches > 0 && to.first != nullptr && schedules(to);
    guard.release();
    if (isMine)
        writer_.participant->flusher.schedule(to);
}

FlushTarget::Outcome DirectedWriter::flush(Destination& to, unsigned limit) {
    using Outcome = FlushTarget::Outcome;
    Guard guard(mutex_);
    for (unsigned i = 0; i < limit; ++i) {
        dropOverdue(to);
        if (to.first != nullptr && to.engineWriter == nullptr) {
            const Connection connection = connect(to, guard);
            if (connection == Connection::noRoom)
                return Outcome::stalled;
            if (connection == Connection::refused) {
                countRefused(writer_, engine::Status::error);
                settleFirst(to, true);
            }
            continue;
        }
        // The match schedules anew.
        if (to.first == nullptr || to.matches == 0) {
            to.isScheduled = false;
            return Outcome::idle;
        }
        if (const Outcome outcome = writeFirst(to, guard); outcome != Outcome::more)
            return outcome;
    }
    return Outcome::more;
}

FlushTarget::Outcome DirectedWriter::writeFirst(Destination& to, Guard& guard) {
    Sample& sample = *to.first;
    int64_t number = 0;
    guard.release();
    const engine::Status status =
        to.engineWriter->write(sample.view(), sample.kind, sample.sourceTimeNs, &number);
    guard.take();
    if (status == engine::Status::timeout)
        return FlushTarget::Outcome::stalled;
    const bool isWritten = status == engine::Status::ok;
    if (isWritten) {
        countWritten(writer_, sample.size);
        to.sequenceNumber = number;
    } else {
        countRefused(writer_, status);
    }
    to.usedNs = Deadline::now();
    settleFirst(to, !isWritten);
    // It left while the sample was on its way to the engine: nobody got it.
    if (isWritten && to.matches == 0) {
        to.lostFrom = to.acknowledged + 1;
        to.lostTo = to.settled;
    }
    return FlushTarget::Outcome::more;
}

// ---- Engine writers: on the flusher's thread ----

DirectedWriter::Connection DirectedWriter::connect(Destination& to, Guard& guard) {
    if (!makeRoom(guard))
        return Connection::noRoom;
    guard.release();
    // The engine borrows the QoS for the call: a shallow copy with another blocking time is enough.
    DDS_DataWriterQos qos = writer_.qos;
    qos.reliability.max_blocking_time = longestBlock;
    const PartitionName name(to.reader);
    const char* const partition = name.text;
    engine::Writer* made = writer_.participant->engineParticipant->createWriter(
        writer_.topic->info(), qos, std::span<const char* const>(&partition, 1), &to);
    guard.take();
    if (made == nullptr)
        return ZDDS_FAIL(Connection::refused, FAILED_TO_CREATE, "engine writer of topic '%s' to reader %s",
            writer_.topic->name, name.text);
    to.engineWriter = made;
    ++engineWriters_;
    return Connection::made;
}

// What was written to it and went lately may still be on its way through the engine at the other side: an end
// of its writer could overtake it.
bool DirectedWriter::isIdle(const Destination& one) const {
    return one.engineWriter != nullptr && one.first == nullptr && !one.isScheduled && one.users == 0 &&
           Deadline::now() - one.usedNs >= limits_.leastIdleNs;
}

bool DirectedWriter::hasOutstanding(Destination& one, Guard& guard) {
    if (one.matches == 0 || one.acknowledged >= one.settled)
        return false;
    const int64_t settled = one.settled;
    ++one.users;
    guard.release();
    const engine::Status status =
        one.engineWriter->waitForAcknowledgmentOf(one.participant, one.sequenceNumber, 0);
    guard.take();
    --one.users;
    if (status == engine::Status::ok)
        one.acknowledged = std::max(one.acknowledged, settled);
    return status != engine::Status::ok && status != engine::Status::notMatched;
}

// With the cache full one that is idle goes, the oldest first; else one whose destination has left.
bool DirectedWriter::makeRoom(Guard& guard) {
    const bool isFull = engineWriters_ >= limits_.engineWriters;
    int64_t triedNs = INT64_MIN;
    for (int i = 0; i < candidatesPerSearch; ++i) {
        const int64_t goneSinceNs = Deadline::now() - limits_.holdNs;
        Destination* oldest = nullptr;
        for (Destination* one = destinations_; one != nullptr; one = one->next) {
            const bool isWanted =
                isIdle(*one) && (isFull || (one->matches == 0 && one->usedNs < goneSinceNs));
            if (isWanted && one->usedNs > triedNs && (oldest == nullptr || one->usedNs < oldest->usedNs))
                oldest = one;
        }
        if (oldest == nullptr)
            break;
        triedNs = oldest->usedNs;
        if (hasOutstanding(*oldest, guard) || !isIdle(*oldest))
            continue;
        retire(*oldest, guard);
        return true;
    }
    return !isFull;
}

void DirectedWriter::retire(Destination& one, Guard& guard) {
    Destination** link = &destinations_;
    while (*link != &one)
        link = &(*link)->next;
    *link = one.next;
    --destinationCount_;
    one.isRetired = true;
    guard.release();
    destroy(&one);
    guard.take();
    --engineWriters_;
}

// ---- Waiting ----

DDS_ReturnCode_t DirectedWriter::waitForAcknowledgment(const DDS_GUID_t& reader, Deadline deadline) {
    Guard guard(mutex_);
    Destination* to = find(reader);
    if (to == nullptr)
        return DDS_RETCODE_ERROR;
    return awaitSample(*to, to->sent, deadline, guard);
}

DDS_ReturnCode_t DirectedWriter::waitForOwnAcknowledgment(Deadline deadline) {
    if (lastSent.writerId != id_)
        return DDS_RETCODE_OK;
    Guard guard(mutex_);
    Destination* to = find(lastSent.reader);
    if (to == nullptr || to->sent < lastSent.position)
        return DDS_RETCODE_ERROR;
    return awaitSample(*to, lastSent.position, deadline, guard);
}

DDS_ReturnCode_t DirectedWriter::awaitSample(
    Destination& to, int64_t position, Deadline deadline, Guard& guard) {
    const auto isLost = [&] { return position >= to.lostFrom && position <= to.lostTo; };
    ++to.users;
    const Cleanup leave([&] { --to.users; });
    for (bool inTime = true; to.settled < position; inTime = changed_.wait(mutex_, deadline)) {
        if (!inTime)
            return DDS_RETCODE_TIMEOUT;
    }
    if (isLost())
        return DDS_RETCODE_ERROR;
    if (to.acknowledged >= position)
        return DDS_RETCODE_OK;
    const int64_t settled = to.settled;
    const int64_t number = to.sequenceNumber;
    guard.release();
    const engine::Status status =
        to.engineWriter->waitForAcknowledgmentOf(to.participant, number, deadline.remaining());
    guard.take();
    if (isLost())
        return DDS_RETCODE_ERROR;
    if (status == engine::Status::ok)
        to.acknowledged = std::max(to.acknowledged, settled);
    if (to.acknowledged >= position)
        return DDS_RETCODE_OK;
    return status == engine::Status::timeout ? DDS_RETCODE_TIMEOUT : DDS_RETCODE_ERROR;
}

bool DirectedWriter::waitUntilEmpty(Deadline deadline) {
    Guard guard(mutex_);
    for (bool inTime = true; queued_ != 0; inTime = changed_.wait(mutex_, deadline)) {
        if (!inTime)
            return false;
    }
    return true;
}

unsigned DirectedWriter::queued() const {
    Guard guard(mutex_);
    return queued_;
}

unsigned DirectedWriter::queuedPeak() const {
    Guard guard(mutex_);
    return queuedPeak_;
}

unsigned DirectedWriter::engineWriters() const {
    Guard guard(mutex_);
    return engineWriters_;
}

} // namespace zdds
