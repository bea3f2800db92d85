// Ranks of the locks that more than one room takes, lowest first (zddscore/semaphore.h checks them in debug
// builds). The inboxes of the task queues have rank 4 and are leaves.
#ifndef ZDDSC_HOST_LOCK_RANKS_HPP
#define ZDDSC_HOST_LOCK_RANKS_HPP

namespace zdds::host {

constexpr int lockRankLibrary = 1; // the one library lock
constexpr int lockRankEntity = 2;  // DDS_Entity_lock
constexpr int lockRankQueue = 3;   // metric and logging mutexes of a concurrency index

} // namespace zdds::host

#endif
