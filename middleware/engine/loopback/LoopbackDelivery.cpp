// The way of a sample through the loopback engine: from write to a step per reader, and the running of steps.
#include <chrono>
#include <cstring>

#include "middleware/engine/loopback/LoopbackEngine.hpp"
#include "middleware/engine/loopback/LoopbackObjects.hpp"
#include "middleware/log/DdsLog.hpp"

namespace zdds::engine {

using namespace loopback;

namespace {

int64_t systemTime() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::system_clock::now().time_since_epoch())
        .count();
}

// Steps that are made and not yet in the engine's list; deletes what was not handed over.
class NewSteps {
public:
    ~NewSteps() {
        while (Step* step = take())
            delete step;
    }
    bool add(Step* step) {
        if (step == nullptr)
            return false;
        step->next = nullptr;
        *end_ = step;
        end_ = &step->next;
        return true;
    }
    Step* take() {
        Step* step = first_;
        if (step == nullptr)
            return nullptr;
        first_ = step->next;
        if (first_ == nullptr)
            end_ = &first_;
        step->next = nullptr;
        return step;
    }

private:
    Step* first_ = nullptr;
    Step** end_ = &first_;
};

// The reference of the one who made a sample.
class Held {
public:
    explicit Held(Sample* sample) : sample_(sample) {}
    ~Held() { Sample::release(sample_); }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    Sample* get() const { return sample_; }

private:
    Sample* const sample_;
};

Step* stepFor(Match& pair, Sample& sample, bool delayed) {
    auto* step = new ("struct Step") Step(Step::Kind::sample, &pair);
    if (step == nullptr)
        return nullptr;
    step->reader = &pair.reader;
    step->sample = &sample;
    step->delayed = delayed;
    ++sample.references;
    return step;
}

Step* lossFor(Match& pair) {
    auto* step = new ("struct Step") Step(Step::Kind::lost, &pair);
    if (step != nullptr)
        step->reader = &pair.reader;
    return step;
}

} // namespace

// ---- samples ----

// No reader that a reliable writer has to wait for is at its limit.
bool LoopbackEngine::mayAppend(const WriterObject& writer) const {
    for (const Match* pair = matches_; pair != nullptr; pair = pair->next)
        if (&pair->writer == &writer && pair->unacknowledged >= options_.maximumUnacknowledged)
            return false;
    return true;
}

Status LoopbackEngine::send(WriterObject& writer, std::span<const uint8_t> bytes, SampleKind kind,
    int64_t sourceTimeNs, int64_t* sequenceNumber) {
    if (!writer.terms.accepts(bytes, kind))
        return Status::badParameter;
    if (!mayAppend(writer))
        return Status::timeout;
    const int64_t time = sourceTimeNs != now ? sourceTimeNs : (time_ != now ? time_ : systemTime());
    const Held sample{Sample::create({bytes, writer.identity, writer.lastSequenceNumber + 1, time, kind})};
    if (sample.get() == nullptr)
        return Status::outOfResources;
    const bool lost = dropNext_ > 0;
    const bool delayed = !lost && delayNext_ > 0;

    NewSteps steps;
    for (Match* pair = matches_; pair != nullptr; pair = pair->next) {
        if (&pair->writer != &writer || pair->parted)
            continue;
        if (pair->reader.stalled && !pair->isReliable())
            continue;
        if (!steps.add(lost ? lossFor(*pair) : stepFor(*pair, *sample.get(), delayed)))
            return Status::outOfResources;
    }
    if (writer.terms.isTransientLocal() && !writer.remember(*sample.get()))
        return Status::outOfResources;

    dropNext_ -= lost ? 1 : 0;
    delayNext_ -= delayed ? 1 : 0;
    ++writer.lastSequenceNumber;
    if (sequenceNumber != nullptr)
        *sequenceNumber = writer.lastSequenceNumber;
    while (Step* step = steps.take())
        append(*step);
    return Status::ok;
}

// What a late reader of a writer with a memory gets.
bool LoopbackEngine::replay(Match& pair) {
    if (!pair.writer.terms.isTransientLocal() || !pair.reader.terms.isTransientLocal())
        return true;
    for (Sample* sample : pair.writer.history) {
        Step* step = stepFor(pair, *sample, false);
        if (step == nullptr)
            return false;
        append(*step);
    }
    return true;
}

bool LoopbackEngine::isAcknowledged(const WriterObject& writer) const {
    for (const Match* pair = matches_; pair != nullptr; pair = pair->next)
        if (&pair->writer == &writer && pair->unacknowledged > 0)
            return false;
    return true;
}

// Samples are acknowledged in order, so that their number tells which ones are not.
Status LoopbackEngine::acknowledgmentOf(
    const WriterObject& writer, const DDS_GUID_t& participant, int64_t sequenceNumber) const {
    Status status = Status::notMatched;
    for (const Match* pair = matches_; pair != nullptr; pair = pair->next) {
        if (&pair->writer != &writer || pair->parted ||
            std::memcmp(&pair->reader.participant, &participant, sizeof participant) != 0)
            continue;
        if (writer.lastSequenceNumber - pair->unacknowledged < sequenceNumber)
            return Status::timeout;
        status = Status::ok;
    }
    return status;
}

Status LoopbackEngine::awaitAcknowledgments(
    WriterObject& writer, std::unique_lock<std::mutex>& lock, int64_t timeoutNs) {
    if (timeoutNs == infinite)
        acknowledged_.wait(lock, [&] { return isAcknowledged(writer); });
    return isAcknowledged(writer) ? Status::ok : Status::timeout;
}

void LoopbackEngine::releaseAcknowledgments(const ReaderObject& reader) {
    for (Match* pair = matches_; pair != nullptr; pair = pair->next)
        if (&pair->reader == &reader)
            pair->unacknowledged = pair->waiting;
    acknowledged_.notify_all();
}

// ---- steps ----

void LoopbackEngine::append(Step& step) {
    step.previous = lastStep_;
    step.next = nullptr;
    (lastStep_ != nullptr ? lastStep_->next : firstStep_) = &step;
    lastStep_ = &step;
    if (step.kind != Step::Kind::sample || step.match == nullptr || !step.match->isReliable())
        return;
    ++step.match->unacknowledged;
    ++step.match->waiting;
}

void LoopbackEngine::unlink(Step& step) {
    (step.previous != nullptr ? step.previous->next : firstStep_) = step.next;
    (step.next != nullptr ? step.next->previous : lastStep_) = step.previous;
    if (step.kind != Step::Kind::sample || step.match == nullptr || !step.match->isReliable())
        return;
    if (step.match->waiting == 0)
        return; // the pair has parted, and counts anew
    --step.match->waiting;
    if (step.match->reader.withholding)
        return;
    --step.match->unacknowledged;
    acknowledged_.notify_all();
}

// The first step that nothing holds up; a held-up step holds up the later ones of its pair.
Step* LoopbackEngine::firstReady() {
    for (Match* pair = matches_; pair != nullptr; pair = pair->next)
        pair->heldUp = false;
    for (Step* step = firstStep_; step != nullptr; step = step->next) {
        const bool isSample = step->kind == Step::Kind::sample;
        const bool heldUp = step->delayed || (isSample && step->reader->stalled) ||
                            (isSample && step->match != nullptr && step->match->heldUp);
        if (!heldUp)
            return step;
        if (step->match != nullptr)
            step->match->heldUp = true;
    }
    return nullptr;
}

void LoopbackEngine::run(Step& step) {
    WriterSink* writer = step.writer != nullptr ? step.writer->sink : nullptr;
    ReaderSink* reader = step.reader != nullptr ? step.reader->sink : nullptr;
    switch (step.kind) {
    case Step::Kind::matched:
        if (writer != nullptr)
            writer->onMatched(step.remote);
        if (reader != nullptr)
            reader->onMatched(step.remote);
        break;
    case Step::Kind::unmatched:
        if (writer != nullptr)
            writer->onUnmatched(step.remote);
        if (reader != nullptr)
            reader->onUnmatched(step.remote);
        break;
    case Step::Kind::sample:
        if (reader != nullptr)
            reader->onSample(step.sample->view());
        break;
    case Step::Kind::lost:
        if (reader != nullptr)
            reader->onSampleLost(1);
        break;
    }
}

// A step is unlinked after it ran: a sample counts as acknowledged when it was taken.
int64_t LoopbackEngine::runSteps(int64_t maximum) {
    int64_t count = 0;
    for (; count < maximum; ++count) {
        Step* step = firstReady();
        if (step == nullptr)
            break;
        run(*step);
        unlink(*step);
        delete step;
    }
    return count;
}

void LoopbackEngine::settle() {
    if (!options_.pumped)
        runSteps(INT64_MAX);
}

void LoopbackEngine::setPumped(bool pumped) {
    std::lock_guard lock(mutex_);
    options_.pumped = pumped;
    settle();
}

int64_t LoopbackEngine::pump(int64_t maximum) {
    std::lock_guard lock(mutex_);
    return runSteps(maximum);
}

int64_t LoopbackEngine::waitingSteps() const {
    std::lock_guard lock(mutex_);
    int64_t count = 0;
    for (const Step* step = firstStep_; step != nullptr; step = step->next)
        ++count;
    return count;
}

} // namespace zdds::engine
