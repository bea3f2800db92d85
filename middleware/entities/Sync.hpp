// The synchronization of this library, and deadlines in DDS's form of time.
#ifndef ZDDSC_ENTITIES_SYNC_HPP
#define ZDDSC_ENTITIES_SYNC_HPP

#include "src/support/Sync.hpp"
#include "zddsc/basic_types.h"

namespace zdds {

// Infinite, and whatever is too long to count, is never.
inline Deadline deadlineIn(const DDS_Duration_t& length) {
    if (DDS_Duration_is_infinite(&length) || length.sec > 1'000'000'000)
        return {};
    if (length.sec < 0)
        return Deadline::in(0);
    return Deadline::in(int64_t{length.sec} * 1'000'000'000 + length.nanosec);
}

} // namespace zdds

#endif
