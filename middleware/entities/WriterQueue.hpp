// The bounded queue between a write and the thread that hands its bytes to the engine.
//
// A sample's bytes lie in an arena, where its writer serializes into them without the lock; after warm-up no
// write calls the heap. What does not fit is refused: the queue never waits and never grows beyond its
// bounds. Threads: any number of producers, one consumer (the flusher). Samples are consumed in the order of
// push.
#ifndef ZDDSC_ENTITIES_WRITER_QUEUE_HPP
#define ZDDSC_ENTITIES_WRITER_QUEUE_HPP

#include <cstddef>
#include <cstdint>
#include <span>

#include "middleware/engine/Engine.hpp"
#include "middleware/entities/Sync.hpp"
#include "zddscore/inline_memory.h"

namespace zdds {

struct PendingSample {
    PendingSample* next;
    int64_t sourceTimeNs;
    uint32_t size;
    engine::SampleKind kind;
    char* bytes() { return reinterpret_cast<char*>(this + 1); }
    std::span<const uint8_t> view() { return {reinterpret_cast<const uint8_t*>(this + 1), size}; }
};

class WriterQueue {
public:
    ~WriterQueue();
    // Bounds of what is reserved and not yet released. False when memory is out.
    bool initialize(uint32_t maxSamples, uint32_t maxBytes);

    // Room for one sample of that size, or null when it does not fit.
    PendingSample* reserve(size_t size);
    // Gives back what was reserved and not pushed, or what was consumed.
    void release(PendingSample& sample);
    // Puts a filled sample at the back. *position is its number in the queue's life, from 1. True when the
    // queue was idle: then the caller schedules its writer with the flusher.
    bool push(PendingSample& sample, int64_t* position);

    // Consumer: the oldest sample, still in the queue; null when it is empty, and then the queue is idle.
    PendingSample* front();
    // Consumer: takes out and releases the oldest sample.
    void pop();
    // True when everything that was pushed has been consumed; waits for it until the deadline.
    bool waitUntilEmpty(Deadline deadline);

    uint32_t queued() const;
    uint32_t queuedPeak() const;
    uint32_t queuedBytes() const; // and of what is reserved and not pushed yet

private:
    void releaseLocked(PendingSample& sample);

    mutable Mutex mutex_;
    Condition emptied_;
    REDAInlineMemory* arena_ = nullptr;
    PendingSample* head_ = nullptr;
    PendingSample* tail_ = nullptr;
    uint32_t maxSamples_ = 0;
    uint32_t maxBytes_ = 0;
    uint32_t samples_ = 0; // reserved, among them the queued ones
    uint32_t bytes_ = 0;
    uint32_t queued_ = 0;
    uint32_t queuedPeak_ = 0;
    int64_t pushed_ = 0;
    bool isScheduled_ = false; // with the flusher, which alone makes the queue idle again
};

} // namespace zdds

#endif
