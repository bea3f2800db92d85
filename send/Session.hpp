// A participant on the monitoring domain, which finds applications and sends commands to one of them.
//
// Applications are known by what they publish: the registry in a snapshot tells the name, and the writer that
// it came from the participant. Threads: one. Errors: an empty result, and a sentence in `error` where there
// is one.
#ifndef SEND_SESSION_HPP
#define SEND_SESSION_HPP

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace send {

using Guid = std::array<std::uint8_t, 16>;
using Bytes = std::vector<std::uint8_t>;
using Deadline = std::chrono::steady_clock::time_point;

struct Application {
    std::string name;
    Guid participant; // its prefix counts
};

class Session {
public:
    static std::unique_ptr<Session> open(
        int domain, const std::vector<std::string>& peers, std::string& error);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    enum class Finding { found, notThere, ambiguous };
    // The application with that name, or the only one when it is empty.
    Finding find(const std::string& name, Deadline deadline, Application& application, std::string& error);

    // Sends the request to the application and waits for its reply; gives the reply's body. The identifier is
    // made anew for each, and given back.
    std::optional<Bytes> ask(
        const Application& application, const Bytes& request, Deadline deadline, Guid& identifier);
    // Waits until the application has taken the last reply for acknowledged, so that it does not wait for it
    // in vain when the session ends. At most until the deadline.
    bool awaitAcknowledged(Deadline deadline);
    // Bodies of replies that came beside those that were asked for.
    std::size_t strays() const { return strays_; }

private:
    struct Entities;
    explicit Session();
    bool create(int domain, const std::vector<std::string>& peers, std::string& error);
    bool createEventReader();
    bool createChannel();
    void takeEvents();
    bool takeReplies();
    void wait(Deadline deadline);

    std::unique_ptr<Entities> entities_;
    Guid asked_{};
    std::optional<Bytes> reply_;
    bool isUnregistered_ = false;
    std::size_t strays_ = 0;
};

} // namespace send

#endif
