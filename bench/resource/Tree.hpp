// A tree of one participant and many writers below it, in a process of its own, so that trees of different
// sizes can be compared in turns.
//
// The process waits for commands, and does nothing else meanwhile but what the library's own threads do.
#ifndef BENCH_RESOURCE_TREE_HPP
#define BENCH_RESOURCE_TREE_HPP

#include <sys/types.h>

#include <cstddef>
#include <cstdint>

namespace bench {

class Tree {
public:
    struct Answer {
        double deleteNanoseconds; // of one deletion
        double assertNanoseconds; // of one assertion
        double heapBytes;         // alive on the library's heap, less the queues' arenas
        double ok;
    };

    explicit Tree(std::size_t siblings);
    ~Tree();
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;

    std::size_t siblings() const { return siblings_; }
    // Waits until the tree stands.
    Answer waitUntilBuilt();
    // Deletes that many of the siblings, chosen by chance, and asserts as many new ones in their place.
    Answer replace(std::size_t count);

private:
    Answer receive() const;

    std::size_t siblings_;
    pid_t process_ = -1;
    int socket_ = -1;
};

} // namespace bench

#endif
