#include "middleware/entities/WriterQueue.hpp"

#include <algorithm>
#include <climits>

namespace zdds {
namespace {

constexpr REDAInlineMemorySize firstBlockBytes = 16 * 1024;

// The arena may hold more than the samples: headers, and blocks that are partly free. Twice the bound is
// ample; a reservation that it refuses counts as a full queue.
REDAInlineMemorySize arenaBound(uint32_t maxSamples, uint32_t maxBytes) {
    const uint64_t headers = uint64_t{maxSamples} * 128;
    return static_cast<REDAInlineMemorySize>(
        std::min<uint64_t>(2 * (maxBytes + headers) + uint64_t{2} * firstBlockBytes, INT32_MAX));
}

} // namespace

WriterQueue::~WriterQueue() {
    REDAInlineMemory_delete(arena_);
}

bool WriterQueue::initialize(uint32_t maxSamples, uint32_t maxBytes) {
    maxSamples_ = maxSamples;
    maxBytes_ = maxBytes;
    REDAInlineMemoryProperty property{};
    property.initial = firstBlockBytes;
    property.maximal = arenaBound(maxSamples, maxBytes);
    property.increment = 50;
    property.lowerLevelAllocator = REDAInlineMemoryLowerLevelAllocator_mallocAllocate;
    property.lowerLevelFree = REDAInlineMemoryLowerLevelAllocator_mallocFree;
    arena_ = REDAInlineMemory_new(&property);
    return arena_ != nullptr;
}

PendingSample* WriterQueue::reserve(size_t size) {
    Guard guard(mutex_);
    if (samples_ >= maxSamples_ || size > maxBytes_ - std::min(bytes_, maxBytes_))
        return nullptr;
    const size_t whole = sizeof(PendingSample) + size;
    if (whole > INT32_MAX)
        return nullptr;
    void* memory = REDAInlineMemory_reserveBufferI(
        &arena_, static_cast<REDAInlineMemorySize>(whole), alignof(PendingSample));
    if (memory == nullptr)
        return nullptr;
    ++samples_;
    bytes_ += static_cast<uint32_t>(size);
    return new (memory) PendingSample{nullptr, 0, static_cast<uint32_t>(size), engine::SampleKind::data};
}

void WriterQueue::releaseLocked(PendingSample& sample) {
    --samples_;
    bytes_ -= sample.size;
    REDAInlineMemBuffer_release(&sample);
}

void WriterQueue::release(PendingSample& sample) {
    Guard guard(mutex_);
    releaseLocked(sample);
}

bool WriterQueue::push(PendingSample& sample, int64_t* position) {
    Guard guard(mutex_);
    sample.next = nullptr;
    (tail_ != nullptr ? tail_->next : head_) = &sample;
    tail_ = &sample;
    queuedPeak_ = std::max(queuedPeak_, ++queued_);
    *position = ++pushed_;
    const bool wasIdle = !isScheduled_;
    isScheduled_ = true;
    return wasIdle;
}

PendingSample* WriterQueue::front() {
    Guard guard(mutex_);
    if (head_ == nullptr)
        isScheduled_ = false;
    return head_;
}

void WriterQueue::pop() {
    Guard guard(mutex_);
    PendingSample* sample = head_;
    head_ = sample->next;
    if (head_ == nullptr)
        tail_ = nullptr;
    releaseLocked(*sample);
    if (--queued_ == 0)
        emptied_.wakeAll();
}

bool WriterQueue::waitUntilEmpty(Deadline deadline) {
    Guard guard(mutex_);
    for (bool inTime = true; queued_ != 0; inTime = emptied_.wait(mutex_, deadline)) {
        if (!inTime)
            return false;
    }
    return true;
}

uint32_t WriterQueue::queued() const {
    Guard guard(mutex_);
    return queued_;
}

uint32_t WriterQueue::queuedPeak() const {
    Guard guard(mutex_);
    return queuedPeak_;
}

uint32_t WriterQueue::queuedBytes() const {
    Guard guard(mutex_);
    return bytes_;
}

} // namespace zdds
