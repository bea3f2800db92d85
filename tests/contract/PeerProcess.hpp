// A peer process as its test sees it.
#ifndef TESTS_CONTRACT_PEER_PROCESS_HPP
#define TESTS_CONTRACT_PEER_PROCESS_HPP

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include "tests/contract/PeerProtocol.hpp"

extern char** environ;

namespace contract {

class PeerProcess {
public:
    // arguments as EnginePeer.cpp tells, without the program.
    explicit PeerProcess(std::vector<std::string> arguments) {
        int in[2], out[2];
        if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0)
            return;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, in[0], 0);
        posix_spawn_file_actions_adddup2(&actions, out[1], 1);
        arguments.insert(arguments.begin(), PEER_PROGRAM);
        std::vector<char*> texts;
        for (std::string& argument : arguments)
            texts.push_back(argument.data());
        texts.push_back(nullptr);
        if (posix_spawn(&process_, PEER_PROGRAM, &actions, nullptr, texts.data(), environ) != 0)
            process_ = -1;
        posix_spawn_file_actions_destroy(&actions);
        close(in[0]);
        close(out[1]);
        input_ = in[1];
        output_ = out[0];
        const std::string guid = expectLine("guid ");
        if (guid.size() == 5 + 32 + 1 + 32)
            identity_ = guid.substr(5);
    }
    ~PeerProcess() {
        end();
        close(output_);
    }
    PeerProcess(const PeerProcess&) = delete;
    PeerProcess& operator=(const PeerProcess&) = delete;

    bool isUp() const { return !identity_.empty(); }
    // "<endpoint> <participant>"
    const std::string& identity() const { return identity_; }

    void send(const std::string& command) {
        const std::string line = command + "\n";
        EXPECT_EQ(::write(input_, line.data(), line.size()), static_cast<ssize_t>(line.size()));
    }
    // The command's result line.
    std::string obey(const std::string& command) {
        send(command);
        for (;;) {
            const std::string line = nextLine();
            if (line.empty() || line == "ok" || line.rfind("failed", 0) == 0)
                return line;
            heard_.push_back(line);
        }
    }
    // The next line that begins so, of those that were not asked for yet; others are kept. Empty when none
    // came.
    std::string expectLine(const std::string& beginning) {
        for (size_t i = 0;; ++i) {
            if (i == heard_.size()) {
                const std::string line = nextLine();
                if (line.empty())
                    return line;
                heard_.push_back(line);
            }
            if (heard_[i].rfind(beginning, 0) != 0)
                continue;
            const std::string found = heard_[i];
            heard_.erase(heard_.begin() + static_cast<std::ptrdiff_t>(i));
            return found;
        }
    }
    void signal(int number) { kill(process_, number); }
    // Closes its input and waits for it; its exit status, or -1.
    int end() {
        if (process_ <= 0)
            return -1;
        close(input_);
        while (!nextLine().empty()) {
        }
        int status = 0;
        waitpid(process_, &status, 0);
        process_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    std::string nextLine() {
        const auto deadline = std::chrono::steady_clock::now() + patience;
        for (;;) {
            const size_t newline = buffer_.find('\n');
            if (newline != std::string::npos) {
                const std::string line = buffer_.substr(0, newline);
                buffer_.erase(0, newline + 1);
                return line;
            }
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            pollfd poller{output_, POLLIN, 0};
            if (left.count() <= 0 || poll(&poller, 1, static_cast<int>(left.count())) <= 0)
                return {};
            char chunk[4096];
            const ssize_t size = ::read(output_, chunk, sizeof chunk);
            if (size <= 0)
                return {};
            buffer_.append(chunk, static_cast<size_t>(size));
        }
    }

    pid_t process_ = -1;
    int input_ = -1, output_ = -1;
    std::string buffer_, identity_;
    std::vector<std::string> heard_;
};

} // namespace contract

#endif
