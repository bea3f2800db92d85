// Collects the lines of the log while it lives, and keeps them off stderr.
#ifndef ORX_TESTS_LOG_CAPTURE_HPP
#define ORX_TESTS_LOG_CAPTURE_HPP

#include <algorithm>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "zddscore/log.h"

class LogCapture {
public:
    struct Line {
        ORX_UINT32 level;
        ORX_UINT32 module;
        std::string identifier; // of the template, "" for none
        std::string subject;
        std::string function;
    };

    LogCapture() : id_{ORXLog_addSink(&LogCapture::take, this)} { ORXLog_setStderrEnabled(0); }
    ~LogCapture() {
        (void)ORXLog_removeSink(id_);
        ORXLog_setStderrEnabled(1);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<Line> lines() const {
        std::lock_guard lock{mutex_};
        return lines_;
    }
    // Lines with this subject, and with this template if one is named.
    size_t count(std::string_view subject, std::string_view identifier = {}) const {
        const auto all = lines();
        return static_cast<size_t>(std::count_if(all.begin(), all.end(), [&](const Line& line) {
            return line.subject == subject && (identifier.empty() || line.identifier == identifier);
        }));
    }
    bool has(std::string_view subject, std::string_view identifier = {}) const {
        return count(subject, identifier) > 0;
    }
    size_t countLevel(ORX_UINT32 level) const {
        const auto all = lines();
        return static_cast<size_t>(
            std::count_if(all.begin(), all.end(), [&](const Line& line) { return line.level == level; }));
    }
    void clear() {
        std::lock_guard lock{mutex_};
        lines_.clear();
    }
    // Everything, for a failure message.
    std::string text() const {
        std::string all;
        for (const Line& line : lines())
            all += line.identifier + ": " + line.subject + "\n";
        return all;
    }

private:
    static void take(void* context, const ORXLogLine* line) {
        auto& self = *static_cast<LogCapture*>(context);
        std::lock_guard lock{self.mutex_};
        self.lines_.push_back({line->level, line->module,
            line->messageTemplate != nullptr ? line->messageTemplate->identifier : "", line->subject,
            line->function});
    }

    mutable std::mutex mutex_;
    std::vector<Line> lines_;
    int id_;
};

#endif
