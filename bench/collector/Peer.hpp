// The peer of a scrape: a registry of prometheus-cpp with the series that a text of ours has, and its own
// serializer. Threads: one owner.
#ifndef BENCH_COLLECTOR_PEER_HPP
#define BENCH_COLLECTOR_PEER_HPP

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace bench {

class Peer {
public:
    // Takes over families, helps, labels and values of a text in Prometheus' format.
    explicit Peer(std::string_view exposition);
    ~Peer();

    // Collects and serializes.
    std::string scrape() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace bench

#endif
