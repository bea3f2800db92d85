// DDS domains that nothing else on this machine uses, so that tests may run beside each other and beside
// other checkouts of the project.
//
// A domain is claimed by an abstract socket that bears its number: it is as private to the network as the
// domain's ports are, nothing of it stays behind, and the kernel gives it back when the process ends, however
// it ends. Programs that do not know of this rule are told by the ports that they hold. free_domain.py
// follows the same rule. Threads: any. Domains 0 to 19 are left to people and demonstrations.
#ifndef TESTS_HELPERS_TEST_DOMAIN_HPP
#define TESTS_HELPERS_TEST_DOMAIN_HPP

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>

namespace test_domain {

constexpr int first = 20;
constexpr int last = 100; // ports of higher ones lie where the system takes its own from

inline bool isPortFree(int port) {
    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    const bool isFree =
        descriptor >= 0 && bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    if (descriptor >= 0)
        close(descriptor);
    return isFree;
}

// Multicast, and the unicast ports of the first participants.
inline bool arePortsFree(int domain) {
    const int base = 7400 + 250 * domain;
    for (const int offset : {0, 10, 12, 14}) {
        if (!isPortFree(base + offset))
            return false;
    }
    return true;
}

// The socket stays open until the process ends. A forked child holds it too, an executed program does not.
inline bool claim(int domain) {
    const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0)
        return false;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const int length =
        std::snprintf(address.sun_path + 1, sizeof address.sun_path - 1, "orx-test-domain-%d", domain);
    const auto size =
        static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + static_cast<size_t>(length));
    if (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), size) == 0 && arePortsFree(domain))
        return true;
    close(descriptor);
    return false;
}

// Starts at another number in every process, so that few meet.
inline int claimAny() {
    constexpr int count = last - first + 1;
    const int start = getpid() % count;
    for (int round = 0; round < 600; ++round) {
        for (int i = 0; i < count; ++i) {
            const int domain = first + (start + i) % count;
            if (claim(domain))
                return domain;
        }
        poll(nullptr, 0, 100); // until another test has ended
    }
    std::fputs("no DDS domain is free\n", stderr);
    std::abort();
}

} // namespace test_domain

// The domain that this process uses for its n-th purpose: the same in every call.
inline int testDomain(size_t purpose = 0) {
    static std::mutex mutex;
    static std::array<int, 8> domains{};
    const std::lock_guard<std::mutex> lock(mutex);
    int& domain = domains.at(purpose);
    if (domain == 0)
        domain = test_domain::claimAny();
    return domain;
}
inline std::string testDomainText(size_t purpose = 0) {
    return std::to_string(testDomain(purpose));
}

#endif
