// A tree of one participant and many writers below it, in a process of its own, so that trees of different
// sizes can be compared in turns.
#ifndef BENCH_RESOURCE_TREE_HPP
#define BENCH_RESOURCE_TREE_HPP

#include <cstddef>

#include "bench/common/Child.hpp"

namespace bench {

class Tree {
public:
    struct Answer {
        double deleteNanoseconds; // of one deletion
        double assertNanoseconds; // of one assertion
        double heapBytes;         // alive on the library's heap, less the queues' arenas
    };

    explicit Tree(std::size_t siblings);

    std::size_t siblings() const { return siblings_; }
    // Waits until the tree stands.
    Answer waitUntilBuilt() const;
    // Deletes that many of the siblings, chosen by chance, and asserts as many new ones in their place.
    Answer replace(std::size_t count) const;

private:
    Answer ask(std::size_t question) const;

    std::size_t siblings_;
    Child child_;
};

} // namespace bench

#endif
