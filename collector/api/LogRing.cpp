#include "collector/api/LogRing.hpp"

#include <algorithm>

#include "collector/api/Names.hpp"

namespace collector::api {

namespace {

std::size_t sizeOf(const LogMessage& message) {
    return sizeof message + message.applicationName.size() + message.category.size() +
           message.message.size() + message.line.size();
}

http::EventStream::Text eventOf(const LogMessage& message) {
    return std::make_shared<const std::string>(
        http::eventText("log", std::to_string(message.id), dump(jsonOf(message))));
}

} // namespace

Json jsonOf(const LogMessage& message) {
    return {{"id", message.id}, {"time", timeText(message.timeNs, 6)},
        {"application", message.applicationName.empty() ? reading::guidDigits(message.application)
                                                        : message.applicationName},
        {"application_guid", reading::guidDigits(message.application)},
        {"resource_guid", reading::guidDigits(message.resource)},
        {"facility", facilityJson(message.facility)}, {"severity", severityJson(message.severity)},
        {"sequence_number", message.sequenceNumber}, {"category", message.category},
        {"message", message.message}, {"line", message.line}, {"snapshot", message.isSnapshot}};
}

bool LogFilter::passes(const LogMessage& message) const {
    return message.id > after && (!facility || *facility == message.facility) &&
           (!severity || message.severity <= *severity) && (!category || *category == message.category) &&
           application.passes(message.application, message.applicationName) &&
           (!contains || message.message.find(*contains) != std::string::npos);
}

bool LogRing::Numbers::add(std::uint64_t number) {
    if (isEmpty_ || number > last_) {
        if (isEmpty_ || number - last_ >= remembered) {
            recent_.reset();
        } else {
            for (std::uint64_t i = last_ + 1; i < number; ++i)
                recent_.reset(i % remembered);
        }
        recent_.set(number % remembered);
        last_ = number;
        isEmpty_ = false;
        return true;
    }
    if (last_ - number >= remembered || recent_.test(number % remembered))
        return false;
    recent_.set(number % remembered);
    return true;
}

bool LogRing::isNew(const LogMessage& message) {
    const auto source = std::pair(message.application, message.facility);
    if (numbers_.size() >= limits_.sources && !numbers_.contains(source))
        return true;
    return numbers_[source].add(message.sequenceNumber);
}

bool LogRing::add(LogMessage message) {
    const std::lock_guard lock(mutex_);
    if (!isNew(message) && message.isSnapshot) {
        ++repeated_;
        return false;
    }
    message.id = ++lastId_;
    bytes_ += sizeOf(message);
    messages_.push_back(std::move(message));
    while (messages_.size() > limits_.messages || (bytes_ > limits_.bytes && messages_.size() > 1)) {
        bytes_ -= sizeOf(messages_.front());
        messages_.pop_front();
        ++dropped_;
    }
    http::EventStream::Text event; // made when somebody wants it
    std::erase_if(followers_, [&](const Follower& follower) {
        const auto stream = follower.stream.lock();
        if (stream == nullptr || stream->isEnded())
            return true;
        if (follower.filter.passes(messages_.back())) {
            if (event == nullptr)
                event = eventOf(messages_.back());
            stream->push(event);
        }
        return false;
    });
    return true;
}

std::set<reading::Guid> LogRing::unnamed() const {
    const std::lock_guard lock(mutex_);
    std::set<reading::Guid> applications;
    for (const LogMessage& message : messages_) {
        if (message.applicationName.empty())
            applications.insert(message.application);
    }
    return applications;
}

void LogRing::name(const reading::Guid& application, const std::string& name) {
    const std::lock_guard lock(mutex_);
    for (LogMessage& message : messages_) {
        if (message.applicationName.empty() && message.application == application) {
            message.applicationName = name;
            bytes_ += name.size();
        }
    }
}

void LogRing::forgetOthers(const std::set<reading::Guid>& applications) {
    const std::lock_guard lock(mutex_);
    std::erase_if(numbers_, [&](const auto& each) { return !applications.contains(each.first.first); });
}

std::vector<const LogMessage*> LogRing::select(const LogFilter& filter, std::size_t limit) const {
    std::vector<const LogMessage*> selected;
    for (auto each = messages_.rbegin(); each != messages_.rend() && selected.size() < limit; ++each) {
        if (filter.passes(*each))
            selected.push_back(&*each);
    }
    std::reverse(selected.begin(), selected.end());
    return selected;
}

std::vector<LogMessage> LogRing::newest(const LogFilter& filter, std::size_t limit) const {
    const std::lock_guard lock(mutex_);
    std::vector<LogMessage> copies;
    for (const LogMessage* message : select(filter, limit))
        copies.push_back(*message);
    return copies;
}

void LogRing::follow(std::shared_ptr<http::EventStream> stream, LogFilter filter, std::size_t limit) {
    const std::lock_guard lock(mutex_);
    for (const LogMessage* message : select(filter, limit))
        stream->push(eventOf(*message));
    std::erase_if(followers_, [](const Follower& each) { return each.stream.expired(); });
    followers_.push_back({std::move(stream), std::move(filter)});
}

LogRing::Counts LogRing::counts() const {
    const std::lock_guard lock(mutex_);
    return {messages_.size(), bytes_, lastId_, repeated_, dropped_};
}

} // namespace collector::api
