// The order in which a thread may take ranked mutexes: never one whose rank is below one that it holds.
// Checked in builds with ZDDS_LOCK_ORDER_CHECK, and nothing at all in others.
#pragma once

#include <cstddef>

namespace zdds {

#ifdef ZDDS_LOCK_ORDER_CHECK
// Before a mutex is waited for: aborts with both names when the order is broken.
void lockOrderCheck(const void* mutex, int rank, const char* name);
void lockOrderPush(const void* mutex, int rank, const char* name);
void lockOrderPop(const void* mutex);
#else
inline void lockOrderCheck(const void*, int, const char*) {}
inline void lockOrderPush(const void*, int, const char*) {}
inline void lockOrderPop(const void*) {}
#endif

} // namespace zdds
