// What the recording library writes of an agent's calls, and commands that run under the agent.
#ifndef TESTS_SYSTEM_AGENT_RECORD_HPP
#define TESTS_SYSTEM_AGENT_RECORD_HPP

#include <string>
#include <vector>

#include "tests/helpers/TestDomain.hpp"
#include "tests/system/support/Process.hpp"

// A file for the recording library, removed at the end.
class Record {
public:
    Record();
    ~Record();
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;
    // What makes a program under orx-run write to it.
    Environment environment(Environment more = {}) const;
    std::vector<std::string> lines() const;
    // Lines that begin so.
    std::vector<std::string> lines(const std::string& start) const;

private:
    std::string path_;
};

// orx-run with the monitoring domain of these tests (testDomain(1)), and the command.
std::vector<std::string> underAgent(std::vector<std::string> command, std::vector<std::string> options = {});

#endif
