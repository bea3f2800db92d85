#include "collector/api/Streams.hpp"

#include <algorithm>

namespace collector::api {

namespace {

bool isOver(const std::weak_ptr<http::EventStream>& stream) {
    const auto alive = stream.lock();
    return alive == nullptr || alive->isEnded();
}

} // namespace

std::shared_ptr<http::EventStream> Streams::open() {
    const std::lock_guard lock(mutex_);
    std::erase_if(streams_, isOver);
    if (streams_.size() >= limit_)
        return nullptr;
    auto stream = std::make_shared<http::EventStream>(each_);
    streams_.push_back(stream);
    return stream;
}

std::size_t Streams::size() const {
    const std::lock_guard lock(mutex_);
    return streams_.size() -
           static_cast<std::size_t>(std::count_if(streams_.begin(), streams_.end(), isOver));
}

http::Response streamResponse(std::shared_ptr<http::EventStream> stream) {
    http::Response response;
    response.contentType = http::eventStreamType;
    response.stream = std::move(stream);
    return response;
}

http::Response noStreamLeft() {
    http::Response response = http::error(429, "too_many_streams", "all streams are taken");
    response.set("Retry-After", "5");
    return response;
}

} // namespace collector::api
