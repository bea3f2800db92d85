// The quick way of a post: node and payload in one buffer, and no call but for the arena and the list.
//
// For payloads whose size is known beforehand. It does what reserving a payload and posting it do, in one
// step each. Threads: under the mutex of the queue, from the reservation to the post. Ownership: the buffer
// is the caller's until it is linked, and goes back with REDAInlineMemBuffer_release; afterwards it is the
// queue's, which frees node and payload at once when the payload's delete function has run. Errors: false or
// null, without a line of log.
#ifndef ORX_RESERVED_TASK_HPP
#define ORX_RESERVED_TASK_HPP

#include <cstddef>

#include "src/taskExecutor/TaskQueue.hpp"

namespace orx::taskExecutor {

// A node and behind it the payload. T owns no memory outside of it but what its delete function frees.
template <typename T> struct ReservedTask {
    Task task; // first
    T payload;
};

// Null when memory is out; `extra` bytes follow the payload.
template <typename T> ReservedTask<T>* reserveTask(Queue& queue, ORX_UINT32 extra) {
    static_assert(alignof(ReservedTask<T>) <= alignof(std::max_align_t));
    return static_cast<ReservedTask<T>*>(REDAInlineMemory_reserveBufferI(
        &queue.memoryManager, static_cast<REDAInlineMemorySize>(sizeof(ReservedTask<T>) + extra), 1));
}

// The payload is complete. False: it is still the caller's.
template <typename T>
bool linkReservedTask(Queue& queue, ReservedTask<T>& reserved, int (*deletePayloadFunction)(void* payload)) {
    reserved.task.deletePayloadFunction = deletePayloadFunction;
    reserved.task.payload = &reserved.payload;
    reserved.task.state = nullptr;
    reserved.task.payloadMemoryManagerIndex = queue.concurrencyIndex;
    return linkTask(queue, reserved.task);
}

} // namespace orx::taskExecutor

#endif
