#include "src/remoteAdministration/CommandError.hpp"

#include "src/remoteAdministration/CommandText.hpp"

namespace {
constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::remoteAdministration;
}

namespace orx::command {

Return failWithReply(Error& error, const char* message, const char* logged) {
    error.ret_code = DDS_MONITORING_COMMAND_INTERNAL_ERROR;
    if (DDS_String_replace(&error.error_message, message) == nullptr) {
        if (logged != nullptr)
            ORX_ERROR(FAILED_TO_COPY, "Error message: %s", logged);
        else
            ORX_ERROR(FAILED_TO_COPY, "Error message: '%s'", message);
    }
    return failedWithReply;
}

Return succeed(Error& error) {
    error.ret_code = DDS_MONITORING_COMMAND_NO_ERROR;
    if (DDS_String_replace(&error.error_message, "") != nullptr)
        return done;
    ORX_ERROR(FAILED_TO_COPY, "Empty error message");
    error.ret_code = DDS_MONITORING_COMMAND_INTERNAL_ERROR;
    return failedWithReply;
}

Return requireRoot(const Dispatcher& self, Error& error, const ORX_MonitoringResource* resource) {
    const ORX_MonitoringResource* root = self.monitoringClass->rootResource;
    if (resource == root)
        return done;
    ORX_ERROR(FAILED_TO_VALIDATE,
        "Application " ORX_UUID_FORMAT " not equals to the root resource " ORX_UUID_FORMAT,
        ORX_GUID_ARGUMENTS(resource->base.guid), ORX_GUID_ARGUMENTS(root->base.guid));
    return failWithReply(error, "Unexpected application resource");
}

} // namespace orx::command
