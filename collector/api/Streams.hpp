// The clients that follow: bounds how many there are. Threads: any. Ownership: a stream belongs to its
// response, and is forgotten once that is gone or the stream has ended.
#ifndef COLLECTOR_API_STREAMS_HPP
#define COLLECTOR_API_STREAMS_HPP

#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

#include "collector/http/EventStream.hpp"
#include "collector/http/Message.hpp"

namespace collector::api {

class Streams {
public:
    explicit Streams(std::size_t limit, http::EventStream::Limits each = {}) : limit_(limit), each_(each) {}

    // Null when all are taken.
    std::shared_ptr<http::EventStream> open();
    std::size_t size() const;

private:
    const std::size_t limit_;
    const http::EventStream::Limits each_;
    mutable std::mutex mutex_;
    std::vector<std::weak_ptr<http::EventStream>> streams_;
};

http::Response streamResponse(std::shared_ptr<http::EventStream> stream);
http::Response noStreamLeft();

} // namespace collector::api

#endif
