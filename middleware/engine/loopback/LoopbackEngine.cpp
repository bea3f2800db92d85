// Pairs, faults and counts of the loopback engine.
#include "middleware/engine/loopback/LoopbackEngine.hpp"

#include <cstring>

#include "middleware/engine/loopback/LoopbackObjects.hpp"
#include "middleware/log/DdsLog.hpp"

namespace zdds::engine {

using namespace loopback;

namespace {

bool equal(const DDS_GUID_t& left, const DDS_GUID_t& right) {
    return std::memcmp(&left, &right, sizeof left) == 0;
}

constexpr std::size_t prefixBytes = 12;
constexpr uint8_t participantKind = 0xc1;

void putNumber(DDS_Octet* place, uint32_t number, int octets) {
    for (int i = octets - 1; i >= 0; --i, number >>= 8)
        place[i] = static_cast<DDS_Octet>(number);
}

template <class Object> void unlinkFrom(Object*& head, Object& object) {
    for (Object** link = &head; *link != nullptr; link = &(*link)->next) {
        if (*link != &object)
            continue;
        *link = object.next;
        return;
    }
}

} // namespace

LoopbackEngine::~LoopbackEngine() {
    while (firstStep_ != nullptr) {
        Step* step = firstStep_;
        unlink(*step);
        delete step;
    }
}

Participant* LoopbackEngine::createParticipant(const ParticipantInfo& info) {
    std::lock_guard lock(mutex_);
    if (failsNow() || info.domainId < 0)
        return nullptr;
    DDS_GUID_t guid{{'l', 'o', 'o', 'p', 'b', 'a', 'c', 'k'}};
    putNumber(guid.value + 8, ++participantsMade_, 4);
    putNumber(guid.value + prefixBytes, 1, 3);
    guid.value[15] = participantKind;
    auto* participant = new ("class ParticipantObject") ParticipantObject(*this, info.domainId, guid);
    if (participant != nullptr)
        ++participants_;
    return participant;
}

DDS_GUID_t LoopbackEngine::nextGuid(const DDS_GUID_t& participant, uint8_t kind) {
    DDS_GUID_t guid = participant;
    putNumber(guid.value + prefixBytes, ++endpointsMade_, 3);
    guid.value[15] = kind;
    return guid;
}

bool LoopbackEngine::failsNow() {
    return ++calls_ == options_.failAt;
}

// ---- pairs ----

template <class Condition> void LoopbackEngine::dropSteps(Condition condition) {
    for (Step *step = firstStep_, *next = nullptr; step != nullptr; step = next) {
        next = step->next;
        if (!condition(*step))
            continue;
        unlink(*step);
        delete step;
    }
}

bool LoopbackEngine::add(WriterObject& writer) {
    writer.next = writers_;
    writers_ = &writer;
    for (ReaderObject* reader = readers_; reader != nullptr; reader = reader->next)
        if (!match(writer, *reader))
            return false;
    return true;
}

bool LoopbackEngine::add(ReaderObject& reader) {
    reader.next = readers_;
    readers_ = &reader;
    for (WriterObject* writer = writers_; writer != nullptr; writer = writer->next)
        if (!match(*writer, reader))
            return false;
    return true;
}

bool LoopbackEngine::match(WriterObject& writer, ReaderObject& reader) {
    if (writer.domain != reader.domain || !Terms::agree(writer.terms, reader.terms))
        return true;
    auto* pair = new ("struct Match") Match(writer, reader);
    if (pair == nullptr)
        return false;
    pair->next = matches_;
    matches_ = pair;
    return greet(*pair) && replay(*pair);
}

// Tells both sides, and makes what will tell them of the end.
bool LoopbackEngine::greet(Match& pair) {
    Step* steps[4] = {new ("struct Step") Step(Step::Kind::matched, &pair),
        new ("struct Step") Step(Step::Kind::matched, &pair),
        new ("struct Step") Step(Step::Kind::unmatched, nullptr),
        new ("struct Step") Step(Step::Kind::unmatched, nullptr)};
    for (Step* step : steps) {
        if (step != nullptr)
            continue;
        for (Step* made : steps)
            delete made;
        return false;
    }
    for (int i = 0; i < 4; i += 2) {
        steps[i]->reader = &pair.reader;
        steps[i]->remote = {pair.writer.identity, pair.writer.participant};
        steps[i + 1]->writer = &pair.writer;
        steps[i + 1]->remote = {pair.reader.identity, pair.reader.participant};
    }
    append(*steps[0]);
    append(*steps[1]);
    pair.farewells[0] = steps[2];
    pair.farewells[1] = steps[3];
    return true;
}

// Both sides are told by the steps that were made with the pair.
void LoopbackEngine::part(Match& pair) {
    for (Step*& step : pair.farewells) {
        if (step != nullptr)
            append(*step);
        step = nullptr;
    }
    pair.unacknowledged = pair.waiting = 0;
    acknowledged_.notify_all();
}

void LoopbackEngine::forget(Match& pair) {
    for (Step* step = firstStep_; step != nullptr; step = step->next)
        if (step->match == &pair)
            step->match = nullptr;
    unlinkFrom(matches_, pair);
    delete &pair;
}

void LoopbackEngine::remove(WriterObject& writer) {
    unlinkFrom(writers_, writer);
    // What is held up has nobody left to send it; the rest still arrives.
    dropSteps([&](const Step& step) {
        return step.match != nullptr && &step.match->writer == &writer && step.kind == Step::Kind::sample &&
               (step.delayed || step.reader->stalled);
    });
    for (Match *pair = matches_, *next = nullptr; pair != nullptr; pair = next) {
        next = pair->next;
        if (&pair->writer != &writer)
            continue;
        part(*pair);
        forget(*pair);
    }
    dropSteps([&](const Step& step) { return step.writer == &writer; });
}

void LoopbackEngine::remove(ReaderObject& reader) {
    unlinkFrom(readers_, reader);
    for (Match *pair = matches_, *next = nullptr; pair != nullptr; pair = next) {
        next = pair->next;
        if (&pair->reader != &reader)
            continue;
        part(*pair);
        forget(*pair);
    }
    dropSteps([&](const Step& step) { return step.reader == &reader; });
}

ReaderObject* LoopbackEngine::findReader(const DDS_GUID_t& guid) const {
    ReaderObject* reader = readers_;
    while (reader != nullptr && !equal(reader->identity, guid))
        reader = reader->next;
    return reader;
}

// ---- faults ----

void LoopbackEngine::failAt(int64_t call) {
    std::lock_guard lock(mutex_);
    options_.failAt = call == 0 ? 0 : calls_ + call;
}

void LoopbackEngine::dropNext(int64_t samples) {
    std::lock_guard lock(mutex_);
    dropNext_ = samples;
}

void LoopbackEngine::delayNext(int64_t samples) {
    std::lock_guard lock(mutex_);
    delayNext_ = samples;
}

void LoopbackEngine::releaseDelayed() {
    std::lock_guard lock(mutex_);
    for (Step* step = firstStep_; step != nullptr; step = step->next)
        step->delayed = false;
    settle();
}

void LoopbackEngine::stall(const DDS_GUID_t& guid, bool stalled) {
    std::lock_guard lock(mutex_);
    ReaderObject* reader = findReader(guid);
    if (reader == nullptr)
        return;
    reader->stalled = stalled;
    settle();
}

void LoopbackEngine::withholdAcknowledgments(const DDS_GUID_t& guid, bool withheld) {
    std::lock_guard lock(mutex_);
    ReaderObject* reader = findReader(guid);
    if (reader == nullptr)
        return;
    reader->withholding = withheld;
    if (!withheld)
        releaseAcknowledgments(*reader);
}

bool LoopbackEngine::unmatch(const DDS_GUID_t& writer, const DDS_GUID_t& reader) {
    std::lock_guard lock(mutex_);
    for (Match* pair = matches_; pair != nullptr; pair = pair->next) {
        if (pair->parted || !equal(pair->writer.identity, writer) || !equal(pair->reader.identity, reader))
            continue;
        dropSteps([&](const Step& step) { return step.match == pair && step.kind == Step::Kind::sample; });
        pair->parted = true;
        part(*pair);
        settle();
        return true;
    }
    return false;
}

bool LoopbackEngine::rematch() {
    std::lock_guard lock(mutex_);
    for (Match* pair = matches_; pair != nullptr; pair = pair->next) {
        if (!pair->parted)
            continue;
        if (!greet(*pair))
            return false;
        pair->parted = false;
    }
    settle();
    return true;
}

// ---- surroundings and counts ----

void LoopbackEngine::setTime(int64_t nanosecondsSince1970) {
    std::lock_guard lock(mutex_);
    time_ = nanosecondsSince1970;
}

void LoopbackEngine::setTransportEnabled(int transport, bool enabled) {
    std::lock_guard lock(mutex_);
    if (transport == 1 || transport == 2)
        transports_[transport] = enabled;
}

int64_t LoopbackEngine::liveObjects() const {
    std::lock_guard lock(mutex_);
    int64_t count = participants_;
    for (const WriterObject* writer = writers_; writer != nullptr; writer = writer->next)
        ++count;
    for (const ReaderObject* reader = readers_; reader != nullptr; reader = reader->next)
        ++count;
    return count;
}

int64_t LoopbackEngine::calls() const {
    std::lock_guard lock(mutex_);
    return calls_;
}

int64_t LoopbackEngine::matches() const {
    std::lock_guard lock(mutex_);
    int64_t count = 0;
    for (const Match* pair = matches_; pair != nullptr; pair = pair->next)
        count += pair->parted ? 0 : 1;
    return count;
}

} // namespace zdds::engine
