#include "middleware/entities/ListenerThread.hpp"

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
        if (pending_ == 0 || isPaused_) {
            changed_.wait(mutex_);
            continue;
        }
        const DDS_DataReaderListener listener = listener_;
        const DDS_StatusMask statuses = pending_;
        pending_ = 0;
        isCalling_ = true;
        guard.release();
        call(listener, statuses);
        guard.take();
        isCalling_ = false;
        changed_.wakeAll();
    }
}

void ListenerThread::call(const DDS_DataReaderListener& listener, DDS_StatusMask statuses) {
    if ((statuses & DDS_SUBSCRIPTION_MATCHED_STATUS) != 0 && listener.on_subscription_matched != nullptr) {
        DDS_SubscriptionMatchedStatus status;
        if (DDS_DataReader_get_subscription_matched_status(&reader_, &status) == DDS_RETCODE_OK)
            listener.on_subscription_matched(listener.listener_data, &reader_, &status);
    }
    if ((statuses & DDS_DATA_AVAILABLE_STATUS) != 0 && listener.on_data_available != nullptr)
        listener.on_data_available(listener.listener_data, &reader_);
}

} // namespace zdds
