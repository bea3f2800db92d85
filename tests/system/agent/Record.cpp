#include "Record.hpp"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include "tests/helpers/TestDomain.hpp"

namespace {

// Programs of these tests make their entities in a domain of this process, unless a test says otherwise.
const int domainIsSet = setenv("PROGRAM_DOMAIN", testDomainText(0).c_str(), 1);

} // namespace

Record::Record() {
    char path[] = "/tmp/orx-agent-record-XXXXXX";
    const int descriptor = mkstemp(path);
    if (descriptor < 0)
        throw std::runtime_error("mkstemp");
    close(descriptor);
    path_ = path;
}

Record::~Record() {
    std::remove(path_.c_str());
}

Environment Record::environment(Environment more) const {
    more["ORX_TEST_RECORD"] = path_;
    // The end of a program waits for the agent within a bound, which is not meant for slow builds.
    if (isSanitized())
        more.try_emplace("PROGRAM_LINGER_MS", "2000");
    more["ORX_AGENT_LIBRARY"] = testProgram("agent/libagent_recording_library.so");
    return more;
}

std::vector<std::string> Record::lines() const {
    std::ifstream file(path_);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);)
        lines.push_back(line);
    return lines;
}

std::vector<std::string> Record::lines(const std::string& start) const {
    std::vector<std::string> found;
    for (const std::string& line : lines()) {
        if (line.starts_with(start))
            found.push_back(line);
    }
    return found;
}

std::vector<std::string> underAgent(std::vector<std::string> command, std::vector<std::string> options) {
    std::vector<std::string> result = {bin("orx-run"), "--domain", testDomainText(1)};
    result.insert(result.end(), options.begin(), options.end());
    result.emplace_back("--");
    result.insert(result.end(), command.begin(), command.end());
    return result;
}
