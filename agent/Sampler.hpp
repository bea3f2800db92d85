// The agent's second thread: at each interval it looks at every writer and reader that lives, and refreshes
// their figures, so that whoever publishes them only copies.
//
// It takes no lock of the monitoring library but the metric mutex for a push, and no lock of its own while it
// calls the engine. Threads: start, stop and pause may be called by any, one at a time.
#ifndef ORX_AGENT_SAMPLER_HPP
#define ORX_AGENT_SAMPLER_HPP

#include <pthread.h>

#include "agent/Registry.hpp"

namespace orx::agent {

class Sampler {
public:
    explicit Sampler(Registry& registry) : registry_(registry) {}
    Sampler(const Sampler&) = delete;
    Sampler& operator=(const Sampler&) = delete;

    // False when there is no thread to be had.
    bool start(int64_t intervalNs);
    // Returns when the thread does nothing any more.
    void stop();
    // At the process's end: no further look at the engine. False when the look that is under way takes
    // longer.
    bool pause(int64_t deadlineNs);

    // One look at everything, on the calling thread.
    static void sampleAll(Registry& registry);

private:
    static void* run(void* self);
    bool waitForTurn();
    void endTurn();

    Registry& registry_;
    Mutex mutex_;
    Condition changed_;
    int64_t intervalNs_ = 0;
    bool isRunning_ = false;
    bool isStopRequested_ = false;
    bool isAtWork_ = false;
};

} // namespace orx::agent

#endif
