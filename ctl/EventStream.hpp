// Takes a stream of server-sent events apart, by the rules of the WHATWG's "HTML, server-sent events".
//
// The stream may come in any pieces. What a server can make it keep is bounded: an event that is longer is
// left out and counted. Threads: one owner.
#ifndef CTL_EVENT_STREAM_HPP
#define CTL_EVENT_STREAM_HPP

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace ctl {

struct ServerEvent {
    std::string name = "message";
    std::string data;
};

class EventStream {
public:
    static constexpr std::size_t longestEvent = std::size_t{4} << 20;

    // Calls `take` for each event that the piece completes, until it answers false; then so does this.
    bool feed(std::string_view piece, const std::function<bool(const ServerEvent&)>& take);
    // The stream begins anew: what was incomplete is gone, the last id stays.
    void restart();

    // Where to go on after a break; nothing until there was an id.
    const std::optional<std::string>& lastId() const { return lastId_; }
    // How long to wait before a new attempt, if the server said so; milliseconds.
    std::optional<std::uint32_t> retry() const { return retry_; }
    // Events that were too long.
    std::uint64_t skipped() const { return skipped_; }

private:
    bool endLine(const std::function<bool(const ServerEvent&)>& take);
    bool dispatch(const std::function<bool(const ServerEvent&)>& take);
    void takeField(std::string_view name, std::string_view value);

    std::string line_;
    std::string name_;
    std::string data_;
    bool hasData_ = false;
    bool isTooLong_ = false; // the event that is coming
    bool isLineTooLong_ = false;
    bool wasReturn_ = false; // a line feed may belong to it
    bool isAtStart_ = true;
    std::optional<std::string> id_; // holds from the next dispatch on
    std::optional<std::string> lastId_;
    std::optional<std::uint32_t> retry_;
    std::uint64_t skipped_ = 0;
};

} // namespace ctl

#endif
