#include "bench/common/Child.hpp"

#include <errno.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace bench {

namespace {

[[noreturn]] void serve(int socket, const std::function<Child::Handler()>& make) {
    const Child::Handler handler = make();
    Child::Answer answer{};
    std::size_t question = 0;
    while (write(socket, &answer, sizeof answer) == sizeof answer &&
           read(socket, &question, sizeof question) == sizeof question && question != 0)
        answer = handler(question);
    std::_Exit(0); // all that was built goes with the process
}

} // namespace

void fail(const char* what) {
    std::fprintf(stderr, "%s: %s\n", program_invocation_short_name, what);
    std::_Exit(1);
}

Child::Child(const std::function<Handler()>& make) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        fail("no socket");
    process_ = fork();
    if (process_ < 0)
        fail("no process");
    if (process_ == 0) {
        // Children that are made later hold the other end of this one's socket too.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        close(ends[0]);
        serve(ends[1], make);
    }
    close(ends[1]);
    socket_ = ends[0];
}

Child::~Child() {
    const std::size_t end = 0;
    if (write(socket_, &end, sizeof end) != sizeof end)
        kill(process_, SIGKILL);
    close(socket_);
    waitpid(process_, nullptr, 0);
}

Child::Answer Child::receive() const {
    Answer answer{};
    if (read(socket_, &answer, sizeof answer) != sizeof answer)
        fail("a child went away");
    return answer;
}

Child::Answer Child::ask(std::size_t question) const {
    if (write(socket_, &question, sizeof question) != sizeof question)
        fail("a child went away");
    return receive();
}

} // namespace bench
