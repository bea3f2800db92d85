// A thread of this library's own: started once, joined once. Its owner sees to it that the function ends.
//
// Threads: start by whoever owns it, under a lock of the owner; join by the owner alone, without one.
#ifndef ZDDSC_ENTITIES_OWN_THREAD_HPP
#define ZDDSC_ENTITIES_OWN_THREAD_HPP

#include "middleware/log/DdsLog.hpp"
#include "zddscore/thread.h"

namespace zdds {

class OwnThread {
public:
    using Function = void* (*)(void* parameter);

    // Idempotent. `what` is for the log.
    bool start(const char* name, const char* what, Function function, void* parameter) {
        if (thread_ != nullptr)
            return true;
        thread_ = ORXOsapiJoinableThread_new(name, ORX_OSAPI_THREAD_PRIORITY_DEFAULT,
            ORX_OSAPI_THREAD_OPTION_DEFAULT, ORX_OSAPI_THREAD_STACK_SIZE_DEFAULT, nullptr, function,
            parameter);
        return thread_ != nullptr || ZDDS_FAIL(false, FAILED_TO_CREATE, "%s", what);
    }
    // False when it did not end in time: then it is left, with everything that it uses.
    bool join(const char* what) {
        constexpr int timeoutMs = 20'000;
        if (!ORXOsapiJoinableThread_stopAndDelete(thread_, timeoutMs))
            return ZDDS_FAIL(false, FAILED_TO_DELETE, "%s: it did not end", what);
        thread_ = nullptr;
        return true;
    }

private:
    ORXOsapiJoinableThread* thread_ = nullptr;
};

} // namespace zdds

#endif
