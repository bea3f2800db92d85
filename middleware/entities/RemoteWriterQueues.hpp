// The writers for which samples are put into a reader by hand, and how many each has sent.
//
// Threads: any. Bounded, since remote participants make those who assert queues assert them.
#ifndef ZDDSC_ENTITIES_REMOTE_WRITER_QUEUES_HPP
#define ZDDSC_ENTITIES_REMOTE_WRITER_QUEUES_HPP

#include "middleware/entities/Sync.hpp"

namespace zdds {

class RemoteWriterQueues {
public:
    static constexpr unsigned maximum = 16384;

    RemoteWriterQueues() = default;
    ~RemoteWriterQueues();
    RemoteWriterQueues(const RemoteWriterQueues&) = delete;
    RemoteWriterQueues& operator=(const RemoteWriterQueues&) = delete;

    enum class Assertion { added, there, noRoom };
    Assertion add(const DDS_GUID_t& writer);
    bool remove(const DDS_GUID_t& writer);
    // The number of the writer's next sample: `wanted`, or the one after the last where that is 0. False
    // without a queue.
    bool count(const DDS_GUID_t& writer, int64_t wanted, int64_t* number);

private:
    struct Queue {
        Queue* next;
        DDS_GUID_t writer;
        int64_t lastNumber;
    };
    static constexpr size_t bucketCount = 64;
    Queue*& bucketOf(const DDS_GUID_t& writer);
    Queue** find(const DDS_GUID_t& writer);

    Mutex mutex_;
    unsigned count_ = 0;
    Queue* buckets_[bucketCount] = {};
};

} // namespace zdds

#endif
