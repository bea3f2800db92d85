// Collects the lines of the log while it lives, with stderr off.
#ifndef ORX_TESTS_MIDDLEWARE_LOG_CAPTURE_HPP
#define ORX_TESTS_MIDDLEWARE_LOG_CAPTURE_HPP

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

#include "zddscore/log.h"

class LogCapture {
public:
    LogCapture() : id_(ORXLog_addSink(&LogCapture::add, this)) { ORXLog_setStderrEnabled(0); }
    ~LogCapture() {
        ORXLog_removeSink(id_);
        ORXLog_setStderrEnabled(1);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    bool has(const std::string& identifier, const std::string& subject) const {
        std::lock_guard lock(mutex_);
        return std::any_of(lines_.begin(), lines_.end(),
            [&](const Line& line) { return line.identifier == identifier && line.subject == subject; });
    }
    size_t count() const {
        std::lock_guard lock(mutex_);
        return lines_.size();
    }

private:
    struct Line {
        std::string identifier;
        std::string subject;
    };
    static void add(void* context, const ORXLogLine* line) {
        auto* self = static_cast<LogCapture*>(context);
        std::lock_guard lock(self->mutex_);
        self->lines_.push_back(
            {line->messageTemplate != nullptr ? line->messageTemplate->identifier : "", line->subject});
    }
    mutable std::mutex mutex_;
    std::vector<Line> lines_;
    const int id_;
};

#endif
