// Life of a reader: creation, enabling, statuses, listener, deletion. Reading is in Read.cpp.
#include "middleware/entities/DataReaderImpl.hpp"

#include <algorithm>
#include <cstring>

#include "middleware/log/DdsLog.hpp"
#include "middleware/log/Memory.hpp"
#include "middleware/qos/Consistency.hpp"

DDS_DataReaderImpl::DDS_DataReaderImpl(DDS_SubscriberImpl& owner, DDS_TopicImpl& readTopic)
    : DDS_EntityImpl(DDS_DATAREADER_ENTITY_KIND, owner.participant), subscriber(&owner), topic(&readTopic),
      cache(*readTopic.plugin, readTopic.keyBytes) {}

DDS_DataReaderImpl::~DDS_DataReaderImpl() {
    DDS_DataReaderQos_finalize(&qos);
}

void DDS_DataReaderImpl::Sink::raise(DDS_StatusMask statuses) {
    reader.statusCondition.raise(statuses);
    reader.listener.notify(statuses);
}

void DDS_DataReaderImpl::Sink::raiseDataAvailable(const zdds::InstanceKey* key) {
    reader.statusCondition.raise(DDS_DATA_AVAILABLE_STATUS);
    reader.readConditions.wakeWaiters(key);
    reader.listener.notify(DDS_DATA_AVAILABLE_STATUS);
}

void DDS_DataReaderImpl::Sink::onSample(const zdds::engine::IncomingSample& sample) {
    zdds::InstanceKey key;
    if (reader.cache.insert(sample, &key))
        raiseDataAvailable(&key);
    else
        reader.readConditions.wakeOnStates();
}

void DDS_DataReaderImpl::Sink::onMatched(const zdds::engine::RemoteEndpoint& writer) {
    reader.cache.writerMatched();
    count(writer, true);
}

void DDS_DataReaderImpl::Sink::onUnmatched(const zdds::engine::RemoteEndpoint& writer) {
    const bool hasNews = reader.cache.writerUnmatched(writer.endpoint);
    count(writer, false);
    if (hasNews)
        raiseDataAvailable(nullptr);
    else
        reader.readConditions.wakeOnStates();
}

void DDS_DataReaderImpl::Sink::count(const zdds::engine::RemoteEndpoint& writer, bool isMatch) {
    zdds::Guard guard(reader.statusMutex);
    if (!isMatch)
        reader.matched.remove(writer);
    const bool isListed = !isMatch || reader.matched.add(writer);
    zdds::countMatch(reader.matchedStatus, &DDS_SubscriptionMatchedStatus::last_publication_handle,
        writer.endpoint, isMatch);
    if (!isMatch)
        reader.news.addUnmatch(writer.endpoint);
    const bool isTold = !isMatch || reader.news.addMatch(writer.endpoint, reader.cache.arrivals());
    guard.release();
    if (!isTold)
        ZDDS_LOG_WARNING(FAILED_TO_ADD, "matched writer of topic '%s' for the listener", reader.topic->name);
    if (!isListed)
        ZDDS_LOG_WARNING(FAILED_TO_ADD, "matched writer of topic '%s' to the list", reader.topic->name);
    raise(DDS_SUBSCRIPTION_MATCHED_STATUS);
}

// What came before the listener is told to it too: nothing that is still to be read is missed.
bool DDS_DataReaderImpl::setListener(const DDS_DataReaderListener* newListener, DDS_StatusMask mask) {
    {
        zdds::Guard guard(statusMutex);
        news.close();
    }
    if (!listener.setListener(newListener, mask)) // there was none before, or it would have a thread
        return false;
    if (newListener == nullptr)
        return true;
    DDS_StatusMask changes = statusCondition.statusChanges;
    if ((mask & DDS_SUBSCRIPTION_MATCHED_STATUS) != 0) {
        zdds::Guard guard(statusMutex);
        const bool isNew = matchedStatus.total_count_change != 0 || matchedStatus.current_count_change != 0;
        const size_t count = isNew ? matched.count() : 0;
        news.open(matchedStatus.total_count - static_cast<DDS_Long>(count),
            matchedStatus.current_count - static_cast<DDS_Long>(count));
        for (size_t i = 0; i < count; ++i)
            (void)news.addMatch(matched[i].endpoint, 0);
        changes |= DDS_SUBSCRIPTION_MATCHED_STATUS;
    }
    listener.notify(changes);
    return true;
}

DDS_DataReaderImpl::News DDS_DataReaderImpl::nextNews() const {
    zdds::Guard guard(statusMutex);
    if (news.isEmpty())
        return News::none;
    return news.isMatchNext() ? News::match : News::unmatch;
}

bool DDS_DataReaderImpl::takeNews(DDS_SubscriptionMatchedStatus* status, bool* hidesSamples) {
    zdds::Guard guard(statusMutex);
    uint64_t arrivals = 0;
    if (!news.take(status, &arrivals))
        return false;
    *hidesSamples = status->current_count_change > 0 && cache.arrivals() != arrivals;
    statusCondition.clear(DDS_SUBSCRIPTION_MATCHED_STATUS);
    (void)zdds::takeStatus(matchedStatus);
    return true;
}

// The count first: a sample within it came behind the match of its writer, which is then among the news, or
// told.
uint64_t DDS_DataReaderImpl::lastArrivalForListener() const {
    const uint64_t arrivals = cache.arrivals();
    zdds::Guard guard(statusMutex);
    return std::min(arrivals, news.arrivalsBeforeNextMatch());
}

namespace zdds {
namespace {

bool isIsolated(const DDS_DataReaderQos& qos) {
    const DDS_Property_t* property =
        DDS_PropertyQosPolicyHelper_lookup_property(&qos.property, isolatedProperty);
    return property != nullptr && property->value != nullptr && std::strcmp(property->value, "true") == 0;
}

DDS_DataReaderImpl* createReader(
    DDS_SubscriberImpl& subscriber, DDS_TopicImpl& topic, const DDS_DataReaderQos* qos) {
    auto* reader = create<DDS_DataReaderImpl>("struct DDS_DataReaderImpl", subscriber, topic);
    if (reader == nullptr)
        return ZDDS_FAIL(nullptr, FAILED_TO_ALLOCATE, "reader of topic '%s'", topic.name);
    Cleanup undo([&] { destroy(reader); });
    DDS_DataReaderQos_initialize(&reader->qos);
    if (qos != nullptr && DDS_DataReaderQos_copy(&reader->qos, qos) != DDS_RETCODE_OK)
        return nullptr;
    if (!qos::isConsistent(reader->qos))
        return nullptr;
    reader->cache.setQos(reader->qos);
    if (!reader->initialize())
        return nullptr;
    undo.dismiss();
    return reader;
}

} // namespace

DDS_ReturnCode_t enableReader(DDS_DataReaderImpl& reader) {
    if (isIsolated(reader.qos))
        return DDS_RETCODE_OK;
    reader.engineReader = reader.participant->engineParticipant->createReader(
        reader.topic->info(), reader.qos, textsOf(reader.subscriber->qos.partition.name), &reader.sink);
    if (reader.engineReader == nullptr)
        return ZDDS_FAIL(
            DDS_RETCODE_ERROR, FAILED_TO_CREATE, "engine reader of topic '%s'", reader.topic->name);
    if (!reader.hasGuid)
        reader.guid = reader.engineReader->guid();
    reader.hasGuid = true;
    return DDS_RETCODE_OK;
}

// The listener goes first, so that it is not called for a reader that is half gone; then the engine's reader,
// after which nobody notifies any more; then the thread.
bool destroyReader(DDS_DataReaderImpl& reader) {
    reader.setListener(nullptr, DDS_STATUS_MASK_NONE);
    delete reader.engineReader;
    reader.engineReader = nullptr;
    if (!reader.listener.stop())
        return false;
    destroy(&reader);
    return true;
}

} // namespace zdds

DDS_DataReader* DDS_Subscriber_create_datareader(DDS_Subscriber* self, DDS_TopicDescription* topic,
    const DDS_DataReaderQos* qos, const DDS_DataReaderListener* listener, DDS_StatusMask mask) {
    ZDDS_REQUIRE(self != nullptr, nullptr);
    ZDDS_REQUIRE(topic != nullptr, nullptr);
    ZDDS_REQUIRE(topic->participant == self->participant, nullptr);
    ZDDS_REQUIRE(!self->isBuiltin && !topic->isBuiltin, nullptr);
    if (!self->isOfThisProcess())
        return nullptr;
    DDS_DataReaderImpl* reader = zdds::createReader(*self, *topic, qos);
    if (reader == nullptr)
        return nullptr;
    if (listener != nullptr && !reader->setListener(listener, mask)) {
        zdds::destroyReader(*reader);
        return nullptr;
    }
    zdds::Guard guard(self->participant->tree);
    if (self->isEnabled && self->qos.entity_factory.autoenable_created_entities &&
        zdds::enableLocked(*reader) != DDS_RETCODE_OK) {
        guard.release();
        zdds::destroyReader(*reader);
        return nullptr;
    }
    self->readers.add(*reader);
    ++topic->endpointCount;
    return reader;
}

namespace zdds {
namespace {

// Takes a reader that nobody uses out of the tree.
bool detachReader(DDS_SubscriberImpl& subscriber, DDS_DataReaderImpl& reader) {
    Guard guard(subscriber.participant->tree);
    if (reader.isBuiltin || !subscriber.readers.contains(reader) || !reader.isUnused())
        return false;
    subscriber.readers.detach(reader);
    return true;
}

} // namespace
} // namespace zdds

// A running callback is waited for, with the tree's mutex free, since it may use the tree; what it has on
// loan is returned by then.
DDS_ReturnCode_t DDS_Subscriber_delete_datareader(DDS_Subscriber* self, DDS_DataReader* reader) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(reader != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (!self->isOfThisProcess())
        return DDS_RETCODE_ILLEGAL_OPERATION;
    if (reader->listener.isCallingThread())
        return ZDDS_FAIL(
            DDS_RETCODE_PRECONDITION_NOT_MET, FAILED_TO_DELETE, "reader: this is a callback of its listener");
    reader->listener.pause();
    if (!zdds::detachReader(*self, *reader)) {
        reader->listener.resume();
        return ZDDS_FAIL(DDS_RETCODE_PRECONDITION_NOT_MET, FAILED_TO_DELETE,
            "reader: it is not of this subscriber, or has samples on loan or read conditions");
    }
    DDS_TopicImpl* topic = reader->topic;
    const bool isDestroyed = zdds::destroyReader(*reader);
    zdds::Guard guard(self->participant->tree);
    self->readers.forget();
    --topic->endpointCount;
    return isDestroyed ? DDS_RETCODE_OK : DDS_RETCODE_ERROR;
}

DDS_DataReader* DDS_Subscriber_lookup_datareader(DDS_Subscriber* self, const char* topicName) {
    ZDDS_REQUIRE(self != nullptr, nullptr);
    ZDDS_REQUIRE(topicName != nullptr, nullptr);
    if (!self->isOfThisProcess())
        return nullptr;
    zdds::Guard guard(self->participant->tree);
    for (DDS_EntityImpl* one = self->readers.first(); one != nullptr; one = one->next) {
        auto* reader = static_cast<DDS_DataReaderImpl*>(one);
        if (std::strcmp(reader->topic->name, topicName) == 0)
            return reader;
    }
    return nullptr;
}

DDS_Entity* DDS_DataReader_as_entity(DDS_DataReader* self) {
    return self;
}

DDS_TopicDescription* DDS_DataReader_get_topicdescription(DDS_DataReader* self) {
    ZDDS_REQUIRE(self != nullptr, nullptr);
    return self->topic;
}

const DDS_TypePlugin* DDS_DataReader_get_type_pluginI(const DDS_DataReader* self) {
    ZDDS_REQUIRE(self != nullptr, nullptr);
    return self->topic->plugin;
}

DDS_ReturnCode_t DDS_DataReader_set_listener(
    DDS_DataReader* self, const DDS_DataReaderListener* listener, DDS_StatusMask mask) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (!self->isOfThisProcess())
        return DDS_RETCODE_ILLEGAL_OPERATION;
    return self->setListener(listener, mask) ? DDS_RETCODE_OK : DDS_RETCODE_OUT_OF_RESOURCES;
}

DDS_ReturnCode_t DDS_DataReader_get_subscription_matched_status(
    DDS_DataReader* self, DDS_SubscriptionMatchedStatus* status) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(status != nullptr, DDS_RETCODE_BAD_PARAMETER);
    zdds::Guard guard(self->statusMutex);
    self->statusCondition.clear(DDS_SUBSCRIPTION_MATCHED_STATUS);
    *status = zdds::takeStatus(self->matchedStatus);
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_DataReader_get_matched_publications(
    DDS_DataReader* self, DDS_InstanceHandleSeq* handles) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(handles != nullptr, DDS_RETCODE_BAD_PARAMETER);
    zdds::Guard guard(self->statusMutex);
    return self->matched.copyHandles(*handles);
}

void DDS_DataReader_get_countersI(const DDS_DataReader* self, DDS_DataReaderCountersI* counters) {
    ZDDS_REQUIRE(self != nullptr);
    ZDDS_REQUIRE(counters != nullptr);
    *counters = self->cache.counters();
}
