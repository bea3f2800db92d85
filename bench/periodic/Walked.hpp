// A library with many writers and readers, all of whose metrics are selected, and an event clock that decides
// when the periodic collector passes over them.
#ifndef BENCH_PERIODIC_WALKED_HPP
#define BENCH_PERIODIC_WALKED_HPP

#include <cstddef>
#include <memory>

namespace bench {

class Walked {
public:
    explicit Walked(std::size_t resources);
    ~Walked();
    Walked(const Walked&) = delete;
    Walked& operator=(const Walked&) = delete;

    struct Pass {
        double nanoseconds; // of the collector's thread, for each resource visited
        double written;     // samples that the engine took, so far, and those that found the queue full
        double dropped;
    };
    // Lets as many passes happen, one behind the other, as visit so many resources; with an empty queue at
    // the begin.
    Pass pass(std::size_t visits);

    struct Waits { // nanoseconds of a call
        double p50, p99, longest;
    };
    struct Churn {
        Waits assertion, deletion;
    };
    // Deletes resources, chosen by chance, and asserts as many, one by one; while one pass follows the other,
    // or while the collector rests.
    Churn churn(std::size_t count, bool isWalking);

private:
    struct Library;
    std::unique_ptr<Library> library_;
};

} // namespace bench

#endif
