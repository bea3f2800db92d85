/* A wait set with a thread of its own, which calls the handlers of its conditions.
 *
 * Threads: any may call, the thread of the wait set itself among them, from inside a handler; what only
 * another thread may call says so. Handlers and the listener are called on the wait set's thread, one at a
 * time. A condition that stays triggered is handled again. A detachment takes effect when no handler runs:
 * the handler of that condition is not called any more from the call on, and then on_condition_detached is.
 * Without a running thread, it takes effect, and is told, on the calling thread. Ownership: conditions and
 * their handlers are the caller's; a condition is detached before it is deleted. */
#ifndef ZDDSC_ASYNC_WAIT_SET_H
#define ZDDSC_ASYNC_WAIT_SET_H

#include "zddsc/conditions.h"

ZDDS_BEGIN_C

typedef struct DDS_AsyncWaitSetImpl DDS_AsyncWaitSet;

struct DDS_AsyncWaitSetProperty_t {
    DDS_Duration_t wait_timeout; /* without anything to handle; then on_wait_timeout */
    char* thread_name_prefix;    /* owned; null takes a name of the middleware's own */
};
typedef struct DDS_AsyncWaitSetProperty_t DDS_AsyncWaitSetProperty_t;
/* No time-out, no prefix. */
ZDDSC_EXPORT extern const DDS_AsyncWaitSetProperty_t DDS_ASYNC_WAITSET_PROPERTY_DEFAULT;
ZDDSC_EXPORT DDS_ReturnCode_t DDS_AsyncWaitSetProperty_t_finalize(DDS_AsyncWaitSetProperty_t* self);

/* Every function may be null. threadId: that of ORXOsapiThread_getCurrentThreadID. */
struct DDS_AsyncWaitSetListener {
    void* listener_data;
    void (*on_thread_spawned)(void* listener_data, DDS_UnsignedLongLong thread_id);
    void (*on_thread_deleted)(void* listener_data, DDS_UnsignedLongLong thread_id);
    void (*on_wait_timeout)(void* listener_data, DDS_UnsignedLongLong thread_id);
    void (*on_condition_attached)(void* listener_data, DDS_Condition* condition);
    void (*on_condition_detached)(void* listener_data, DDS_Condition* condition);
};
typedef struct DDS_AsyncWaitSetListener DDS_AsyncWaitSetListener;

/* Says when an attachment or detachment has taken effect. IGNORE: nobody asks, and the call returns at once.
 */
typedef struct DDS_AsyncWaitSetCompletionTokenImpl DDS_AsyncWaitSetCompletionToken;
ZDDSC_EXPORT extern DDS_AsyncWaitSetCompletionToken* const DDS_ASYNC_WAITSET_COMPLETION_TOKEN_IGNORE;
/* For one use after another. Null on failure. */
ZDDSC_EXPORT DDS_AsyncWaitSetCompletionToken* DDS_AsyncWaitSet_create_completion_token(
    DDS_AsyncWaitSet* self);
/* DDS_RETCODE_TIMEOUT when what it was last given to has not taken effect in time. Not on the wait set's
 * thread. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_AsyncWaitSetCompletionToken_wait(
    DDS_AsyncWaitSetCompletionToken* self, const DDS_Duration_t* maxWait);
/* Once nothing is pending with it. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_AsyncWaitSet_delete_completion_token(
    DDS_AsyncWaitSet* self, DDS_AsyncWaitSetCompletionToken* token);

/* The property is copied; the listener, which may be null, too. Null on failure. */
ZDDSC_EXPORT DDS_AsyncWaitSet* DDS_AsyncWaitSet_new_with_listener(
    const DDS_AsyncWaitSetProperty_t* property, const DDS_AsyncWaitSetListener* listener);
/* Stops; what is attached is let go without a word. DDS_RETCODE_PRECONDITION_NOT_MET on its own thread. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_AsyncWaitSet_delete(DDS_AsyncWaitSet* self);
/* Both idempotent. Once stop returns, no handler runs and none will until the next start; not on its own
 * thread. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_AsyncWaitSet_start(DDS_AsyncWaitSet* self);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_AsyncWaitSet_stop(DDS_AsyncWaitSet* self);

/* Takes effect at once, with a token or without. Again is fine. A condition without a handler is
 * DDS_RETCODE_PRECONDITION_NOT_MET. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_AsyncWaitSet_attach_condition(
    DDS_AsyncWaitSet* self, DDS_Condition* condition);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_AsyncWaitSet_attach_condition_with_completion_token(
    DDS_AsyncWaitSet* self, DDS_Condition* condition, DDS_AsyncWaitSetCompletionToken* token);
/* Without a token it returns once the detachment has taken effect, except on the wait set's thread, where
 * that is after the handler. DDS_RETCODE_PRECONDITION_NOT_MET for a condition that is not attached. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_AsyncWaitSet_detach_condition(
    DDS_AsyncWaitSet* self, DDS_Condition* condition);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_AsyncWaitSet_detach_condition_with_completion_token(
    DDS_AsyncWaitSet* self, DDS_Condition* condition, DDS_AsyncWaitSetCompletionToken* token);
/* Those that are attached and not about to be detached, in the order of attaching. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_AsyncWaitSet_get_conditions(
    DDS_AsyncWaitSet* self, DDS_ConditionSeq* conditions);

ZDDS_END_C

#endif
