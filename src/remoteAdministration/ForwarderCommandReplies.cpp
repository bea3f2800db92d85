// How commands end: by their replies, by their time-out, and what happens then.
#include <utility>

#include "src/log/Log.hpp"
#include "src/remoteAdministration/CommandHelper.h"
#include "src/remoteAdministration/ForwarderCommandShared.hpp"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::remoteAdministration;

using namespace orx::forwarder;

constexpr Status pending = ORX_MONITORING_FORWARDER_COMMAND_HANDLER_PENDING_STATE;
constexpr Status successful = ORX_MONITORING_FORWARDER_COMMAND_HANDLER_SUCCESSFUL_STATE;
constexpr Status timedOut = ORX_MONITORING_FORWARDER_COMMAND_HANDLER_TIMEOUT_STATE;
constexpr Status failed = ORX_MONITORING_FORWARDER_COMMAND_HANDLER_FAILED_STATE;
constexpr Status nothingFound = ORX_MONITORING_FORWARDER_COMMAND_HANDLER_NO_RESOURCE_FOUND_STATE;
constexpr Status permanent = ORX_MONITORING_FORWARDER_COMMAND_HANDLER_PERMANENT_STATE;

// In one call of the callback, so that a flood does not keep the thread from all else.
constexpr int maximumBatches = 8;
// Each reply is followed by the end of its instance, which meets no condition. It takes so many before they
// are worth a look; the reader lets go of the oldest anyway when it is full.
constexpr DDS_UnsignedLong leftOverBound = 128;

// A decoded reply, finalized with its scope.
struct Reply {
    Reply() : isInitialized(DDS_Monitoring_MonitoringService_Reply_initialize(&value) != 0) {}
    ~Reply() { DDS_Monitoring_MonitoringService_Reply_finalize(&value); }
    Reply(const Reply&) = delete;
    Reply& operator=(const Reply&) = delete;
    DDS_Monitoring_MonitoringService_Reply value{};
    const bool isInitialized;
};

// The built-in reader of the participant whose built-in writer the handle names.
DDS_InstanceHandle_t readerBeside(const DDS_InstanceHandle_t& writer) {
    DDS_GUID_t guid;
    ORXOsapiRtpsGuid words;
    DDS_InstanceHandle_t reader;
    DDS_GUID_from_instance_handle(&guid, &writer);
    DDS_GUID_copy_to_pres_guid(&guid, &words);
    words.objectId = DDS_SERVICE_REQUEST_READER_OBJECT_IDI;
    DDS_GUID_copy_from_pres_guid(&guid, &words);
    DDS_GUID_to_instance_handle(&guid, &reader);
    return reader;
}

// What comes back for one command while its handler is locked. The handler's own state follows at the end.
class Collection {
public:
    explicit Collection(Manager& self, Handler& handler)
        : self_(self), handler_(handler), state_(stateOf(handler)) {}

    bool isOpen() const { return state_ == pending; }
    void takeReply(const DDS_ServiceRequest& sample, const DDS_SampleInfo& info);
    void fail(const char* message) {
        state_ = failed;
        tellFailure(handler_, message);
    }
    // Ends the command if it is decided. What frees a waiting caller is the state, written last, and the
    // detachment, which takes effect after this callback.
    void finish();

private:
    DDS_InstanceHandle_t* findUnanswered(const DDS_InstanceHandle_t& writer) const;
    void count(DDS_InstanceHandle_t& destination, bool isOk);

    Manager& self_;
    Handler& handler_;
    Status state_;
};

// A destination that has not answered yet; null for any other writer, and for one that has.
DDS_InstanceHandle_t* Collection::findUnanswered(const DDS_InstanceHandle_t& writer) const {
    const DDS_InstanceHandle_t reader = readerBeside(writer);
    const DDS_Long length = DDS_InstanceHandleSeq_get_length(&handler_.commandDestinationSeq);
    for (auto i = static_cast<DDS_Long>(handler_.receivedSamples); i < length; ++i) {
        auto* destination = DDS_InstanceHandleSeq_get_reference(&handler_.commandDestinationSeq, i);
        if (DDS_InstanceHandle_compare(destination, &reader) == 0)
            return destination;
    }
    return nullptr;
}

// Those that have answered stand first.
void Collection::count(DDS_InstanceHandle_t& destination, bool isOk) {
    const auto answered = static_cast<DDS_Long>(handler_.receivedSamples);
    std::swap(destination, *DDS_InstanceHandleSeq_get_reference(&handler_.commandDestinationSeq, answered));
    ++handler_.receivedSamples;
    if (isOk)
        handler_.receivedOkResponse = 1;
}

void Collection::takeReply(const DDS_ServiceRequest& sample, const DDS_SampleInfo& info) {
    if (!isOpen() || !info.valid_data || sample.service_id != ORX_MONITORING_REPLY_SERVICE_ID)
        return;
    DDS_InstanceHandle_t* destination = findUnanswered(info.publication_handle);
    if (destination == nullptr)
        return;
    Reply reply;
    if (!reply.isInitialized)
        return fail("Unable to initialize reply object");
    if (!ORX_MonitoringCommandHelper_octetSeqToReply(&reply.value, &sample.request_body))
        return fail("Unable to deserialize reply");
    DDS_Monitoring_MonitoringCommandError* error = nullptr;
    if (!ORX_MonitoringCommandHelper_getReplyException(&error, &reply.value))
        return fail("Unable to parse reply");
    if (error->ret_code == DDS_MONITORING_COMMAND_NO_ERROR)
        count(*destination, true);
    else if (error->ret_code == DDS_MONITORING_COMMAND_NO_RESOURCE_FOUND_ERROR)
        count(*destination, false);
    else
        fail(error->error_message);
}

void Collection::finish() {
    const bool haveAllReplied = handler_.receivedSamples == handler_.expectedSamples;
    if (stateOf(handler_) != pending || (!haveAllReplied && state_ != failed))
        return;
    if (haveAllReplied) {
        state_ = handler_.receivedOkResponse ? successful : nothingFound;
        tell(handler_, state_);
    }
    if (DDS_AsyncWaitSet_detach_condition_with_completion_token(self_.asyncWaitSet,
            DDS_QueryCondition_as_condition(handler_.queryCondition),
            DDS_ASYNC_WAITSET_COMPLETION_TOKEN_IGNORE) != DDS_RETCODE_OK) {
        ORX_ERROR(FAILED_TO_DETACH, "Condition from asynchronous waitset in the command manager");
        if (state_ != failed)
            fail("Unable to remove condition from asynchronous waitset");
    }
    if (!ORX_MonitoringForwarderCommandManager_disposeCommand(&self_, &handler_)) {
        ORX_ERROR(FAILED_TO_SEND, "Dispose message for command");
        if (state_ != failed)
            fail("Unable to dispose command");
    }
    self_.leftOver += handler_.expectedSamples;
    setState(handler_, state_);
}

// False when there is nothing more. What comes for a command that is decided is taken, and dropped.
bool collectBatch(const Manager& self, const Handler& handler, Collection& collection) {
    Loan loan(self);
    const DDS_ReturnCode_t result = loan.take(handler.queryCondition);
    if (result == DDS_RETCODE_NO_DATA)
        return false;
    if (result != DDS_RETCODE_OK) {
        if (collection.isOpen())
            collection.fail("Unable to take reply samples");
        return ORX_FLOOD_ERROR(FAILED_TO_GET, "Reply samples");
    }
    for (DDS_Long i = 0; i < loan.length(); ++i)
        collection.takeReply(loan.sample(i), loan.info(i));
    if (loan.giveBack())
        return true;
    if (collection.isOpen())
        collection.fail("Unable to return an outstanding loan for reply samples");
    return ORX_ERROR(FAILED_TO_RETURN, "Loan on Service request reader ");
}

// ---- Time-outs ----

// The manager's thread alone attaches a meaning to a condition in its wait set: none of them goes while it
// walks.
Handler& handlerOf(const DDS_Condition* condition) {
    return *static_cast<Handler*>(DDS_Condition_get_handler(condition)->handler_data);
}

bool endOverdue(Manager& self, DDS_Condition* condition, Handler& handler) {
    const HandlerLock lock{handler};
    // Decided commands are only here when they could not be detached: their result stands.
    const bool isDecided = !isPending(handler);
    const auto end = [&](Status state, const char* message) {
        if (isDecided)
            return;
        tell(handler, state, message);
        setState(handler, state);
    };
    if (DDS_AsyncWaitSet_detach_condition_with_completion_token(
            self.asyncWaitSet, condition, DDS_ASYNC_WAITSET_COMPLETION_TOKEN_IGNORE) != DDS_RETCODE_OK) {
        end(failed, "Failed to detach condition from the asynchronous waitset in the command manager");
        return ORX_ERROR(FAILED_TO_DETACH, "Condition from asynchronous waitset in the command manager");
    }
    self.leftOver += handler.expectedSamples;
    if (!ORX_MonitoringForwarderCommandManager_disposeCommand(&self, &handler)) {
        end(failed, "Failed to dispose the command");
        return ORX_ERROR(FAILED_TO_SEND, "Dispose message for command");
    }
    end(timedOut, nullptr);
    return true;
}

// False ends the walk.
bool walkOne(Manager& self, DDS_Condition* condition) {
    Handler& handler = handlerOf(condition);
    if (stateOf(handler) == permanent)
        return true;
    ORXNtpTime now;
    if (!self.clock->getTime(self.clock, &now))
        return ORX_ERROR(FAILED_TO_GET, "Timestamp for command\n");
    return !hasPassed(handler.timestamp, now, self.timeout) || endOverdue(self, condition, handler);
}

// Calls function(condition) for what is in the wait set, the last first, until it says false.
template <class Function> void forEachCondition(const Manager& self, Function function) {
    DDS_ConditionSeq conditions{};
    bool goesOn = DDS_AsyncWaitSet_get_conditions(self.asyncWaitSet, &conditions) == DDS_RETCODE_OK;
    if (!goesOn)
        ORX_ERROR(FAILED_TO_GET, "Sequence of conditions of the command manager\n");
    for (DDS_Long i = DDS_ConditionSeq_get_length(&conditions); goesOn && i-- > 0;)
        goesOn = function(*DDS_ConditionSeq_get_reference(&conditions, i));
    (void)DDS_ConditionSeq_finalize(&conditions);
}

void walk(Manager& self) {
    if (!self.clock->getTime(self.clock, &self.lastWalk))
        self.lastWalk = ORX_NTP_TIME_ZERO;
    ORX_MonitoringForwarderCommandManager_forwardWaiting(&self);
    forEachCondition(self, [&](DDS_Condition* condition) { return walkOne(self, condition); });
}

// ---- What nobody asks for ----

// A reply that has just come, with the end of its instance behind it, is not lost to its command.
void route(Manager& self, const DDS_ServiceRequest& sample, const DDS_SampleInfo& info) {
    if (!info.valid_data)
        return;
    forEachCondition(self, [&](DDS_Condition* condition) {
        Handler& handler = handlerOf(condition);
        if (stateOf(handler) == permanent || !DDS_GUID_equals(&handler.commandUuid, &sample.instance_id))
            return true;
        const HandlerLock lock{handler};
        Collection collection(self, handler);
        collection.takeReply(sample, info);
        collection.finish();
        return false;
    });
}

// Takes the ends of replies, and replies that came too late.
void sweep(Manager& self) {
    if (self.leftOver < leftOverBound)
        return;
    const DDS_StringSeq none{};
    DDS_QueryCondition* ended = DDS_DataReader_create_querycondition(self.reader, DDS_ANY_SAMPLE_STATE,
        DDS_ANY_VIEW_STATE, DDS_NOT_ALIVE_INSTANCE_STATE, "service_id = 5", &none);
    if (ended == nullptr)
        return;
    self.leftOver = 0;
    {
        Loan loan(self);
        (void)loan.take(ended);
        for (DDS_Long i = 0; i < loan.length(); ++i)
            route(self, loan.sample(i), loan.info(i));
    }
    (void)DDS_DataReader_delete_readcondition(self.reader, DDS_QueryCondition_as_readcondition(ended));
}

} // namespace

void ORX_MonitoringForwarderCommandManager_onConditionTriggered(
    void* handlerData, DDS_Condition* /*condition*/) {
    ORX_LEAVE_IF(handlerData == ORX_NULL);
    auto& handler = *static_cast<Handler*>(handlerData);
    Manager& self = *handler.manager;
    {
        const HandlerLock lock{handler};
        Collection collection(self, handler);
        int batches = 0;
        while (batches < maximumBatches && collectBatch(self, handler, collection))
            ++batches;
        collection.finish();
    }
    ORX_MonitoringForwarderCommandManager_walkIfDue(&self);
}

void ORX_MonitoringForwarderCommandManager_walkIfDue(ORX_MonitoringForwarderCommandManager* self) {
    ORX_LEAVE_IF(self == ORX_NULL);
    ORXNtpTime now;
    if (!self->clock->getTime(self->clock, &now) || hasPassed(self->lastWalk, now, wakePeriod))
        walk(*self);
}

void ORXMonitoringForwarderCommandManager_onWaitTimeoutCallback(
    void* listenerData, DDS_UnsignedLongLong /*threadId*/) {
    ORX_LEAVE_IF(listenerData == ORX_NULL);
    auto& self = *static_cast<Manager*>(listenerData);
    walk(self);
    sweep(self);
}

// The last touch of the handler on this thread: its caller may have been waiting for that.
void ORXMonitoringForwarderCommandManager_onConditionDetachedCallback(
    void* /*handlerData*/, DDS_Condition* condition) {
    ORX_LEAVE_IF(condition == ORX_NULL);
    Handler& handler = handlerOf(condition);
    const bool returns = handler.isSelfManaged != 0 &&
                         stateOf(handler) != ORX_MONITORING_FORWARDER_COMMAND_HANDLER_NOT_SENT_STATE;
    ORXOsapiSemaphore* settled = handler.settled; // lives as long as the pool
    setAttached(handler, false);
    if (returns)
        (void)ORX_MonitoringForwarderCommandManager_returnCommandHandler(handler.manager, &handler);
    else if (settled != nullptr)
        (void)ORXOsapiSemaphore_give(settled);
}
