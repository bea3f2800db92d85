// Memory that a process and the children that it makes later have in common.
#ifndef BENCH_FORWARDER_SHARED_HPP
#define BENCH_FORWARDER_SHARED_HPP

#include <sys/mman.h>

#include <chrono>
#include <cstdint>
#include <new>

#include "bench/common/Child.hpp"

namespace bench {

// Zeros at first; never given back.
template <typename T> T& shared() {
    void* memory = mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        fail("no shared memory");
    return *new (memory) T{};
}

// Nanoseconds of the clock that all processes have in common.
inline std::int64_t now() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

} // namespace bench

#endif
