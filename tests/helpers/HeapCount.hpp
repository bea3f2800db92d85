// Heap calls (malloc and its kin) that the calling thread has made; 0 under a sanitizer, which has a heap of
// its own. A test program that uses it has HeapCount.cpp among its sources.
#ifndef ORX_TESTS_HEAP_COUNT_HPP
#define ORX_TESTS_HEAP_COUNT_HPP

#include <cstdint>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ORX_TESTS_COUNT_MALLOC 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ORX_TESTS_COUNT_MALLOC 0
#else
#define ORX_TESTS_COUNT_MALLOC 1
#endif
#else
#define ORX_TESTS_COUNT_MALLOC 1
#endif

uint64_t heapCallsOfThisThread();

#endif
