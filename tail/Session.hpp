// The DDS side of orx-tail: one participant, a reader for each of the three topics, a thread of the caller's.
#ifndef TAIL_SESSION_HPP
#define TAIL_SESSION_HPP

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tail/Interpreter.hpp"
#include "tail/Options.hpp"

namespace tail {

class Session {
public:
    // Null with a text that tells why.
    static std::unique_ptr<Session> open(
        const Options& options, Interpreter& interpreter, std::string& error);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Reads and interprets until `stop` is set or the deadline (monotonic nanoseconds, negative for none) has
    // passed.
    void run(const std::atomic<bool>& stop, std::int64_t deadlineNs);

private:
    struct Entities;
    explicit Session(Interpreter& interpreter);
    bool create(const Options& options, std::string& error);
    bool createReader(int topic, std::string& error);
    void drain();
    std::vector<Guid> writersThatLeft();

    Interpreter& interpreter_;
    std::unique_ptr<Entities> entities_;
};

} // namespace tail

#endif
