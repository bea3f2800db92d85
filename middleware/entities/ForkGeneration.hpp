// Tells a forked child from the process that made an object: a child has none of the threads, and locks may
// be held by threads that it does not have. So entities of the parent are dead in a child, and every call on
// one that could wait answers DDS_RETCODE_ILLEGAL_OPERATION without touching a lock.
#ifndef ZDDSC_ENTITIES_FORK_GENERATION_HPP
#define ZDDSC_ENTITIES_FORK_GENERATION_HPP

#include <atomic>

namespace zdds {

class ForkGeneration {
public:
    // Begins to count; cheap when called again. False when memory is out.
    static bool watch();
    static unsigned current() { return count_.load(std::memory_order_relaxed); }

private:
    static std::atomic<unsigned> count_; // written in a child that has one thread
};

} // namespace zdds

#endif
