// The thread that calls a reader's listener.
//
// It begins with the reader's first listener and ends with the reader, so that a slow listener holds up
// nobody but itself. Callbacks of one reader come one at a time: each match and each unmatch has its own, a
// match before the data of its writer and an unmatch after it; samples that arrive while a callback runs
// become one call. Threads: notify by any thread
// (engine threads among them), the rest by owners of the reader.
#ifndef ZDDSC_ENTITIES_LISTENER_THREAD_HPP
#define ZDDSC_ENTITIES_LISTENER_THREAD_HPP

#include <pthread.h>

#include "middleware/entities/OwnThread.hpp"
#include "middleware/entities/Sync.hpp"
#include "zddsc/entities.h"

namespace zdds {

class ListenerThread {
public:
    explicit ListenerThread(DDS_DataReaderImpl& reader) : reader_(reader) {}

    // Null removes. Returns when no callback of the old listener runs any more, except on the calling thread
    // itself. False when the thread cannot be made; the old listener is then still there.
    bool setListener(const DDS_DataReaderListener* listener, DDS_StatusMask mask);
    // Statuses of the listener's mask call it.
    void notify(DDS_StatusMask statuses);
    bool isCallingThread() const;
    // Returns when no callback runs; none begins before resume. Not for the thread itself.
    void pause();
    void resume();
    // After setListener(null): ends the thread. False when it did not end.
    bool stop();

private:
    void work();
    DDS_StatusMask chooseLocked();
    void tellMatch(const DDS_DataReaderListener& listener);
    bool startLocked();

    DDS_DataReaderImpl& reader_;
    mutable Mutex mutex_;
    Condition changed_;
    DDS_DataReaderListener listener_{};
    DDS_StatusMask mask_ = 0;
    DDS_StatusMask pending_ = 0;
    bool isCalling_ = false;
    bool isPaused_ = false;
    bool isStopping_ = false;
    pthread_t self_{}; // the thread, once it runs
    bool hasSelf_ = false;
    OwnThread thread_;
};

} // namespace zdds

#endif
