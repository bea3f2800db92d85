#include "ctl/EventStream.hpp"

#include <charconv>

namespace ctl {

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
constexpr std::size_t longestId = 256;

} // namespace

bool EventStream::feed(std::string_view piece, const std::function<bool(const ServerEvent&)>& take) {
    while (!piece.empty()) {
        if (wasReturn_ && piece.front() == '\n')
            piece.remove_prefix(1);
        wasReturn_ = false;
        const std::size_t end = piece.find_first_of("\r\n");
        const std::string_view part = piece.substr(0, end);
        if (line_.size() + part.size() > longestEvent) {
            isLineTooLong_ = true;
            line_.clear();
        }
        if (!isLineTooLong_)
            line_ += part;
        if (end == std::string_view::npos)
            return true;
        wasReturn_ = piece[end] == '\r';
        piece.remove_prefix(end + 1);
        if (!endLine(take))
            return false;
    }
    return true;
}

void EventStream::restart() {
    line_.clear();
    name_.clear();
    data_.clear();
    hasData_ = isTooLong_ = isLineTooLong_ = wasReturn_ = false;
    isAtStart_ = true;
    id_.reset();
}

bool EventStream::endLine(const std::function<bool(const ServerEvent&)>& take) {
    if (isLineTooLong_) {
        isLineTooLong_ = false;
        isTooLong_ = true;
        isAtStart_ = false;
        return true;
    }
    std::string_view line = line_;
    if (isAtStart_ && line.substr(0, byteOrderMark.size()) == byteOrderMark)
        line.remove_prefix(byteOrderMark.size());
    isAtStart_ = false;
    bool goesOn = true;
    if (line.empty()) {
        goesOn = dispatch(take);
    } else if (line.front() != ':') { // which begins a comment
        const std::size_t colon = line.find(':');
        std::string_view value = colon == std::string_view::npos ? "" : line.substr(colon + 1);
        if (!value.empty() && value.front() == ' ')
            value.remove_prefix(1);
        takeField(line.substr(0, colon), value);
    }
    line_.clear();
    return goesOn;
}

void EventStream::takeField(std::string_view name, std::string_view value) {
    if (name == "event") {
        name_ = value.substr(0, longestId);
    } else if (name == "data") {
        if (data_.size() + value.size() + 1 > longestEvent)
            isTooLong_ = true;
        if (isTooLong_) {
            data_.clear();
            return;
        }
        if (hasData_)
            data_ += '\n';
        data_ += value;
        hasData_ = true;
    } else if (name == "id") {
        // It goes into a header of a request: nothing but printable characters.
        bool isPlain = value.size() <= longestId;
        for (const char c : value)
            isPlain = isPlain && c >= 0x20 && c < 0x7F;
        if (isPlain)
            id_ = std::string(value);
    } else if (name == "retry") {
        std::uint32_t milliseconds = 0;
        const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), milliseconds);
        if (error == std::errc() && end == value.data() + value.size())
            retry_ = milliseconds;
    }
}

bool EventStream::dispatch(const std::function<bool(const ServerEvent&)>& take) {
    if (id_)
        lastId_ = id_->empty() ? std::nullopt : id_;
    id_.reset();
    const bool isWhole = hasData_ && !isTooLong_;
    if (isTooLong_)
        ++skipped_;
    ServerEvent event;
    if (!name_.empty())
        event.name = std::move(name_);
    event.data = std::move(data_);
    name_.clear();
    data_.clear();
    hasData_ = isTooLong_ = false;
    return !isWhole || take(event);
}

} // namespace ctl
