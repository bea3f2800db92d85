#include "collector/http/EventStream.hpp"

#include <algorithm>
#include <cstring>
#include <utility>

namespace collector::http {

std::string eventText(const std::string& name, const std::string& id, const std::string& data) {
    std::string text = "event: " + name + "\n";
    if (!id.empty())
        text += "id: " + id + "\n";
    return text + "data: " + data + "\n\n";
}

void EventStream::wakeUp() {
    if (!std::exchange(isAsleep_, false) || !wake_)
        return;
    wake_();
}

void EventStream::push(Text event) {
    const std::lock_guard lock(mutex_);
    if (isEnded_ || event == nullptr)
        return;
    bytes_ += event->size();
    events_.push_back(std::move(event));
    // The newest stays, whatever its size: events are bounded where they are made.
    while (events_.size() > limits_.events || (bytes_ > limits_.bytes && events_.size() > 1)) {
        bytes_ -= events_.front()->size();
        events_.pop_front();
        ++lostNow_;
        ++lost_;
    }
    wakeUp();
}

void EventStream::keepAlive(Clock::time_point now, Clock::duration idle) {
    static const Text comment = std::make_shared<const std::string>(":\n\n");
    const std::lock_guard lock(mutex_);
    if (isEnded_ || current_ != nullptr || !events_.empty() || now - lastRead_ < idle)
        return;
    bytes_ += comment->size();
    events_.push_back(comment);
    wakeUp();
}

void EventStream::end() {
    const std::lock_guard lock(mutex_);
    isEnded_ = true;
    events_.clear();
    bytes_ = 0;
    wakeUp();
}

bool EventStream::isEnded() const {
    const std::lock_guard lock(mutex_);
    return isEnded_;
}

void EventStream::setWake(std::function<void()> wake) {
    const std::lock_guard lock(mutex_);
    wake_ = std::move(wake);
}

bool EventStream::takeNext() {
    read_ = 0;
    if (const std::uint64_t lost = std::exchange(lostNow_, 0); lost != 0) {
        current_ = std::make_shared<const std::string>(
            eventText("lost", "", "{\"count\": " + std::to_string(lost) + "}"));
        return true;
    }
    if (events_.empty())
        return false;
    current_ = std::move(events_.front());
    events_.pop_front();
    bytes_ -= current_->size();
    return true;
}

EventStream::Piece EventStream::read(char* buffer, std::size_t size, const std::function<void()>& sleep) {
    const std::lock_guard lock(mutex_);
    Piece piece;
    while (piece.size < size && !isEnded_ && (current_ != nullptr || takeNext())) {
        const std::size_t part = std::min(size - piece.size, current_->size() - read_);
        std::memcpy(buffer + piece.size, current_->data() + read_, part);
        piece.size += part;
        read_ += part;
        if (read_ == current_->size())
            current_.reset();
    }
    if (piece.size != 0) {
        lastRead_ = Clock::now();
    } else if (isEnded_) {
        piece.isEnd = true;
    } else if (size != 0) {
        isAsleep_ = true;
        sleep();
    }
    return piece;
}

std::uint64_t EventStream::lost() const {
    const std::lock_guard lock(mutex_);
    return lost_;
}

} // namespace collector::http
