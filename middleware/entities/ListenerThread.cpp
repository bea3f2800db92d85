#include "middleware/entities/DataReaderImpl.hpp"

namespace zdds {

bool ListenerThread::setListener(const DDS_DataReaderListener* listener, DDS_StatusMask mask) {
    Guard guard(mutex_);
    if (listener != nullptr && !startLocked())
        return false;
    listener_ = listener != nullptr ? *listener : DDS_DataReaderListener{};
    mask_ = listener != nullptr ? mask : DDS_STATUS_MASK_NONE;
    pending_ = 0;
    const bool isSelf = hasSelf_ && pthread_equal(self_, pthread_self());
    while (isCalling_ && !isSelf)
        changed_.wait(mutex_);
    return true;
}

bool ListenerThread::startLocked() {
    return thread_.start(
        "oZddsListen", "listener thread",
        [](void* self) -> void* {
            static_cast<ListenerThread*>(self)->work();
            return nullptr;
        },
        this);
}

void ListenerThread::notify(DDS_StatusMask statuses) {
    Guard guard(mutex_);
    if ((statuses & mask_) == 0)
        return;
    pending_ |= statuses & mask_;
    changed_.wakeAll();
}

bool ListenerThread::isCallingThread() const {
    Guard guard(mutex_);
    return hasSelf_ && pthread_equal(self_, pthread_self());
}

void ListenerThread::pause() {
    Guard guard(mutex_);
    isPaused_ = true;
    while (isCalling_)
        changed_.wait(mutex_);
}

void ListenerThread::resume() {
    Guard guard(mutex_);
    isPaused_ = false;
    changed_.wakeAll();
}

bool ListenerThread::stop() {
    {
        Guard guard(mutex_);
        isStopping_ = true;
        changed_.wakeAll();
    }
    return thread_.join("listener thread");
}

void ListenerThread::work() {
    Guard guard(mutex_);
    self_ = pthread_self();
    hasSelf_ = true;
    while (!isStopping_) {
        const DDS_StatusMask status = isPaused_ ? DDS_STATUS_MASK_NONE : chooseLocked();
        if (status == DDS_STATUS_MASK_NONE) {
            changed_.wait(mutex_);
            continue;
        }
        const DDS_DataReaderListener listener = listener_;
        isCalling_ = true;
        guard.release();
        if (status == DDS_SUBSCRIPTION_MATCHED_STATUS)
            tellMatch(listener);
        else if (listener.on_data_available != nullptr)
            listener.on_data_available(listener.listener_data, &reader_);
        guard.take();
        isCalling_ = false;
        changed_.wakeAll();
    }
}

// The status to call for now, one at a time. A writer's end waits until the data before it was offered.
DDS_StatusMask ListenerThread::chooseLocked() {
    if ((pending_ & DDS_SUBSCRIPTION_MATCHED_STATUS) != 0) {
        using News = DDS_DataReaderImpl::News;
        const News next = reader_.nextNews();
        const bool isDataFirst = next == News::unmatch && (pending_ & DDS_DATA_AVAILABLE_STATUS) != 0;
        if (next != News::none && !isDataFirst)
            return DDS_SUBSCRIPTION_MATCHED_STATUS;
        if (next == News::none)
            pending_ &= ~DDS_SUBSCRIPTION_MATCHED_STATUS;
    }
    const DDS_StatusMask data = pending_ & DDS_DATA_AVAILABLE_STATUS;
    pending_ &= ~data;
    return data;
}

void ListenerThread::tellMatch(const DDS_DataReaderListener& listener) {
    DDS_SubscriptionMatchedStatus status;
    bool hidesSamples = false;
    if (!reader_.takeNews(&status, &hidesSamples))
        return;
    if (listener.on_subscription_matched != nullptr)
        listener.on_subscription_matched(listener.listener_data, &reader_, &status);
    if (hidesSamples)
        notify(DDS_DATA_AVAILABLE_STATUS);
}

} // namespace zdds
