// The thread of a participant that hands queued samples to the engine, so that no writing thread waits on the
// network. It starts with the first asynchronous writer that is enabled.
//
// Fairness: ready writers take turns of bounded length. One whose engine stalls keeps its sample and goes to
// the back of the line, so that it costs the others at most one bounded engine call for each of their turns.
// Threads: start, stop and remove by owners of writers; schedule by any thread.
#ifndef ZDDSC_ENTITIES_FLUSHER_HPP
#define ZDDSC_ENTITIES_FLUSHER_HPP

#include "middleware/entities/OwnThread.hpp"
#include "middleware/entities/Sync.hpp"

namespace zdds {

// What the flusher works for.
class FlushTarget {
public:
    enum class Outcome { idle, more, stalled };
    // Hands over at most `limit` samples. `idle` tells that the target will ask for its next turn itself.
    virtual Outcome flush(unsigned limit) = 0;

protected:
    ~FlushTarget() = default;

private:
    friend class Flusher;
    FlushTarget* nextReady_ = nullptr; // under the flusher's mutex
    bool isRemoved_ = false;
};

class Flusher {
public:
    // Idempotent. False when the thread cannot be made.
    bool start();
    // Ends the thread after its current engine call; every target was removed before. False when it did not
    // end.
    bool stop();
    void schedule(FlushTarget& target);
    // Returns once the thread is not inside the target and will not be again: after at most one engine call.
    void remove(FlushTarget& target);

private:
    void work();
    FlushTarget* popLocked();
    void appendLocked(FlushTarget& target);
    void settleLocked(FlushTarget& target, FlushTarget::Outcome outcome);

    Mutex mutex_;
    Condition changed_;
    FlushTarget* first_ = nullptr;
    FlushTarget* last_ = nullptr;
    FlushTarget* current_ = nullptr;
    unsigned readyCount_ = 0;
    unsigned stallsInRow_ = 0;
    bool isStopping_ = false;
    OwnThread thread_;
};

} // namespace zdds

#endif
