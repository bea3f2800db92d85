// What a build with a sanitizer must be told: memory that nobody may touch, and locks that the thread
// sanitizer does not see for itself. Everything is empty in other builds.
#pragma once

#include <cstddef>

#if defined(__SANITIZE_ADDRESS__)
#define ZDDS_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ZDDS_ADDRESS_SANITIZER 1
#endif
#endif

#if defined(__SANITIZE_THREAD__)
#define ZDDS_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ZDDS_THREAD_SANITIZER 1
#endif
#endif

#ifdef ZDDS_ADDRESS_SANITIZER
#include <sanitizer/asan_interface.h>
#endif

namespace zdds {

inline void poison([[maybe_unused]] const void* memory, [[maybe_unused]] std::size_t size) {
#ifdef ZDDS_ADDRESS_SANITIZER
    __asan_poison_memory_region(memory, size);
#endif
}

inline void unpoison([[maybe_unused]] const void* memory, [[maybe_unused]] std::size_t size) {
#ifdef ZDDS_ADDRESS_SANITIZER
    __asan_unpoison_memory_region(memory, size);
#endif
}

} // namespace zdds
