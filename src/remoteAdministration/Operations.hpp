// The operations of the command service by their hashes, which are the labels of requests and replies.
#ifndef ORX_COMMAND_OPERATIONS_HPP
#define ORX_COMMAND_OPERATIONS_HPP

#include "src/dataModel/IdHash.hpp"
#include "zddsc/basic_types.h"

namespace orx::operation {

#define ORX_OPERATION_(name) constexpr DDS_Long name = ::orx::dataModel::operationHash(#name)
ORX_OPERATION_(set_metric_subscription_state);
ORX_OPERATION_(update_metric_subscription_state);
ORX_OPERATION_(subscribe);
ORX_OPERATION_(unsubscribe);
ORX_OPERATION_(request_event_subscription_snapshot);
ORX_OPERATION_(request_resource_registry);
ORX_OPERATION_(request_logging_snapshot);
ORX_OPERATION_(request_snapshot);
ORX_OPERATION_(set_logging_collection_level);
ORX_OPERATION_(set_logging_forwarding_level);
ORX_OPERATION_(pause_subscription);
ORX_OPERATION_(resume_subscription);
#undef ORX_OPERATION_

} // namespace orx::operation

#endif
