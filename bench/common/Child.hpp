// A process of its own for a candidate, so that candidates of different sizes can be measured in turns
// without sharing memory. It answers questions, and does nothing else meanwhile but what its library's
// threads do.
//
// Threads: one owner. The child is killed with its owner. A child that goes away ends the program.
#ifndef BENCH_CHILD_HPP
#define BENCH_CHILD_HPP

#include <sys/types.h>

#include <array>
#include <cstddef>
#include <functional>

namespace bench {

class Child {
public:
    using Answer = std::array<double, 8>;
    using Handler = std::function<Answer(std::size_t question)>; // questions are not 0

    // `make` runs in the child and builds what is to be measured.
    explicit Child(const std::function<Handler()>& make);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    // Waits until `make` has returned.
    void waitUntilBuilt() const { (void)receive(); }
    Answer ask(std::size_t question) const;

private:
    Answer receive() const;

    pid_t process_ = -1;
    int socket_ = -1;
};

// Ends the program, or the child, with a word why.
[[noreturn]] void fail(const char* what);

} // namespace bench

#endif
