// Runs one command line against a collector, and keeps what it printed.
#ifndef TESTS_UNIT_CTL_ASKED_HPP
#define TESTS_UNIT_CTL_ASKED_HPP

#include <gtest/gtest.h>

#include <sstream>
#include <stop_token>
#include <string>
#include <vector>

#include "ctl/Options.hpp"
#include "ctl/Run.hpp"

struct Asked {
    int exitCode = -1;
    std::string output;
    std::string errors;
};

inline Asked ask(const std::string& url, std::vector<std::string> words, const std::stop_token& stop = {}) {
    words.insert(words.begin(), {"--collector", url});
    const ctl::Parsed parsed = ctl::parseOptions(words);
    EXPECT_FALSE(parsed.exitCode);
    std::ostringstream out;
    std::ostringstream err;
    const ctl::Output output{out, err, ctl::Look{}, parsed.options.json};
    const int exitCode = static_cast<int>(ctl::run(parsed.options, output, stop));
    return {exitCode, out.str(), err.str()};
}

inline bool has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

#endif
