// How a collector ends that was asked to.
#ifndef TESTS_SYSTEM_SUPPORT_COLLECTOR_END_HPP
#define TESTS_SYSTEM_SUPPORT_COLLECTOR_END_HPP

#include <gtest/gtest.h>

#include <string>

#include "tests/system/support/Process.hpp"

// It gives itself two seconds; on a machine that is too busy for that it says that it was cut off.
inline bool isCutOff(int exitCode, const std::string& errors) {
    return exitCode == 3 && errors.find("cut off") != std::string::npos;
}

inline testing::AssertionResult hasEnded(const Outcome& outcome) {
    if (outcome.exitCode == 0 || isCutOff(outcome.exitCode, outcome.errors))
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "code " << outcome.exitCode << ", signal " << outcome.signal << "\n"
                                       << outcome.errors;
}

#endif
