// What goes with asynchronous wait sets: their property, and tokens of completion.
#include "middleware/conditions/AsyncWaitSet.hpp"
#include "middleware/log/DdsLog.hpp"
#include "middleware/log/Memory.hpp"

const DDS_AsyncWaitSetProperty_t DDS_ASYNC_WAITSET_PROPERTY_DEFAULT = {DDS_DURATION_INFINITE, nullptr};

DDS_ReturnCode_t DDS_AsyncWaitSetProperty_t_finalize(DDS_AsyncWaitSetProperty_t* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    DDS_String_free(self->thread_name_prefix);
    *self = DDS_ASYNC_WAITSET_PROPERTY_DEFAULT;
    return DDS_RETCODE_OK;
}

DDS_AsyncWaitSetCompletionToken* DDS_AsyncWaitSet_create_completion_token(DDS_AsyncWaitSet* self) {
    ZDDS_REQUIRE(self != nullptr, nullptr);
    auto* token = zdds::create<DDS_AsyncWaitSetCompletionTokenImpl>("struct CompletionToken");
    if (token == nullptr)
        return ZDDS_FAIL(nullptr, FAILED_TO_ALLOCATE, "completion token");
    token->waitSet = self;
    return token;
}

DDS_ReturnCode_t DDS_AsyncWaitSetCompletionToken_wait(
    DDS_AsyncWaitSetCompletionToken* self, const DDS_Duration_t* maxWait) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(maxWait != nullptr, DDS_RETCODE_BAD_PARAMETER);
    return self->waitSet->awaitToken(*self, zdds::deadlineIn(*maxWait));
}

DDS_ReturnCode_t DDS_AsyncWaitSet_delete_completion_token(
    DDS_AsyncWaitSet* self, DDS_AsyncWaitSetCompletionToken* token) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(token != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (token->waitSet != self || self->awaitToken(*token, zdds::Deadline::in(0)) != DDS_RETCODE_OK)
        return ZDDS_FAIL(
            DDS_RETCODE_PRECONDITION_NOT_MET, FAILED_TO_DELETE, "completion token: it is in use");
    zdds::destroy(token);
    return DDS_RETCODE_OK;
}
