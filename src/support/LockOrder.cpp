#include "src/support/LockOrder.hpp"

#ifdef ZDDS_LOCK_ORDER_CHECK

#include <cstdio>
#include <cstdlib>

namespace {

struct HeldMutex {
    const void* mutex;
    int rank;
    const char* name;
};

// Ranked mutexes that the thread holds. What does not fit is not checked. Few, since a library that is loaded
// late has little thread storage to spare.
constexpr std::size_t capacity = 16;
thread_local HeldMutex held[capacity];
thread_local std::size_t heldCount = 0;

} // namespace

namespace zdds {

void lockOrderCheck(const void*, int rank, const char* name) {
    if (rank == 0)
        return;
    for (std::size_t i = 0; i < heldCount; ++i) {
        if (held[i].rank <= rank)
            continue;
        std::fprintf(stderr, "lock order broken: '%s' (rank %d) is taken while '%s' (rank %d) is held\n",
            name, rank, held[i].name, held[i].rank);
        std::abort();
    }
}

void lockOrderPush(const void* mutex, int rank, const char* name) {
    if (rank == 0 || heldCount == capacity)
        return;
    held[heldCount++] = {mutex, rank, name};
}

void lockOrderPop(const void* mutex) {
    for (std::size_t i = heldCount; i-- > 0;) {
        if (held[i].mutex != mutex)
            continue;
        for (--heldCount; i < heldCount; ++i)
            held[i] = held[i + 1];
        return;
    }
}

} // namespace zdds

#endif
