// The one mutex of attachments and waiters; see ConditionImpl.hpp. For the sources of this room only.
#ifndef ZDDSC_CONDITIONS_CONDITIONS_MUTEX_HPP
#define ZDDSC_CONDITIONS_CONDITIONS_MUTEX_HPP

#include "middleware/entities/Sync.hpp"

namespace zdds::conditions {

extern Mutex conditionsMutex;

} // namespace zdds::conditions

#endif
