#include "middleware/entities/ForkGeneration.hpp"

#include <pthread.h>

namespace zdds {

constinit std::atomic<unsigned> ForkGeneration::count_{0};

namespace {
pthread_mutex_t watchMutex = PTHREAD_MUTEX_INITIALIZER;
bool isWatching = false;
} // namespace

bool ForkGeneration::watch() {
    pthread_mutex_lock(&watchMutex);
    if (!isWatching)
        isWatching =
            pthread_atfork(nullptr, nullptr, [] { count_.fetch_add(1, std::memory_order_relaxed); }) == 0;
    const bool watches = isWatching;
    pthread_mutex_unlock(&watchMutex);
    return watches;
}

} // namespace zdds
