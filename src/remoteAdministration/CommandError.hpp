// How selection and processing fail: without a reply, or with an error in it.
#ifndef ORX_COMMAND_ERROR_HPP
#define ORX_COMMAND_ERROR_HPP

#include "src/log/Log.hpp"
#include "src/remoteAdministration/CommandDispatcher.h"

namespace orx::command {

using Dispatcher = ORX_MonitoringCommandDispatcher;
using Return = ORX_MonitoringCommandDispatcherReturnValue;
using Error = DDS_Monitoring_MonitoringCommandError;
using Request = DDS_Monitoring_MonitoringService_Request;
using Reply = DDS_Monitoring_MonitoringService_Reply;

constexpr Return failed = ORX_MONITORING_COMMAND_DISPATCHER_RETURN_ERROR;
constexpr Return failedWithReply = ORX_MONITORING_COMMAND_DISPATCHER_RETURN_ERROR_WITH_REPLY;
constexpr Return done = ORX_MONITORING_COMMAND_DISPATCHER_RETURN_OK;
constexpr Return noResourceFound = ORX_MONITORING_COMMAND_DISPATCHER_RETURN_NO_RESOURCE_FOUND;

// Puts the message into the reply. `logged`: what the log calls the message when it cannot be copied, where
// that is not "'<message>'".
Return failWithReply(Error& error, const char* message, const char* logged = nullptr);
// The reply of a command that went well. Without memory for its empty message it is a failure.
Return succeed(Error& error);
// Done when the resource is the root of the tree.
Return requireRoot(const Dispatcher& self, Error& error, const ORX_MonitoringResource* resource);

} // namespace orx::command

// A failed precondition: nothing is sent.
#define ORX_REFUSE_IF(...)                                                                                   \
    if (__VA_ARGS__) [[unlikely]] {                                                                          \
        (void)ORX_PRECONDITION_FAILED("\"" ORX_TEXT_OF_(__VA_ARGS__) "\"\n");                                \
        return ::orx::command::failed;                                                                       \
    }
// The same of the four pointers that each selection and processing function gets.
#define ORX_REFUSE_NULL_ARGUMENTS(first, second, third, fourth)                                              \
    ORX_REFUSE_IF(first == ORX_NULL)                                                                         \
    ORX_REFUSE_IF(second == ORX_NULL)                                                                        \
    ORX_REFUSE_IF(third == ORX_NULL)                                                                         \
    ORX_REFUSE_IF(fourth == ORX_NULL)

#endif
