// What must hold in a fuzz target, its replay in the tests included: otherwise the process ends with a text.
#ifndef ORX_FUZZ_REQUIRE_HPP
#define ORX_FUZZ_REQUIRE_HPP

#include <cstdio>
#include <cstdlib>

inline void require(bool condition, const char* what) {
    if (condition)
        return;
    std::fprintf(stderr, "%s\n", what);
    std::abort();
}

#endif
