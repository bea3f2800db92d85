#include "middleware/entities/Flusher.hpp"

namespace zdds {
namespace {

constexpr unsigned turnLength = 256;        // samples
constexpr int64_t stallPauseNs = 5'000'000; // when nobody is ready who does not stall

} // namespace

bool Flusher::start() {
    Guard guard(mutex_);
    return thread_.start(
        "oZddsFlush", "flusher thread",
        [](void* self) -> void* {
            static_cast<Flusher*>(self)->work();
            return nullptr;
        },
        this);
}

bool Flusher::stop() {
    {
        Guard guard(mutex_);
        isStopping_ = true;
        changed_.wakeAll();
    }
    return thread_.join("flusher thread");
}

void Flusher::schedule(FlushTarget& target) {
    Guard guard(mutex_);
    if (target.isRemoved_)
        return;
    appendLocked(target);
    changed_.wakeAll();
}

void Flusher::remove(FlushTarget& target) {
    Guard guard(mutex_);
    target.isRemoved_ = true;
    FlushTarget* kept = nullptr;
    for (FlushTarget* one = first_; one != nullptr;) {
        FlushTarget* next = one->nextReady_;
        if (one == &target) {
            (kept != nullptr ? kept->nextReady_ : first_) = next;
            if (last_ == one)
                last_ = kept;
            --readyCount_;
        } else {
            kept = one;
        }
        one = next;
    }
    while (current_ == &target)
        changed_.wait(mutex_);
}

void Flusher::work() {
    Guard guard(mutex_);
    while (!isStopping_) {
        FlushTarget* target = popLocked();
        if (target == nullptr) {
            changed_.wait(mutex_);
            continue;
        }
        current_ = target;
        guard.release();
        const FlushTarget::Outcome outcome = target->flush(turnLength);
        guard.take();
        current_ = nullptr;
        settleLocked(*target, outcome);
        changed_.wakeAll();
        if (stallsInRow_ > 0 && stallsInRow_ >= readyCount_ && !isStopping_)
            changed_.wait(mutex_, Deadline::in(stallPauseNs));
    }
}

FlushTarget* Flusher::popLocked() {
    FlushTarget* target = first_;
    if (target == nullptr)
        return nullptr;
    first_ = target->nextReady_;
    if (first_ == nullptr)
        last_ = nullptr;
    --readyCount_;
    return target;
}

void Flusher::appendLocked(FlushTarget& target) {
    target.nextReady_ = nullptr;
    (last_ != nullptr ? last_->nextReady_ : first_) = &target;
    last_ = &target;
    ++readyCount_;
}

// A removed target is not looked at any more: its owner may be waiting for just this.
void Flusher::settleLocked(FlushTarget& target, FlushTarget::Outcome outcome) {
    stallsInRow_ = outcome == FlushTarget::Outcome::stalled ? stallsInRow_ + 1 : 0;
    if (outcome != FlushTarget::Outcome::idle && !target.isRemoved_)
        appendLocked(target);
}

} // namespace zdds
