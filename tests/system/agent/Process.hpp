// Child processes of the tests: run with a bound, their output kept, and never left behind.
#ifndef ORX_TESTS_SYSTEM_AGENT_PROCESS_HPP
#define ORX_TESTS_SYSTEM_AGENT_PROCESS_HPP

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

struct Outcome {
    int exitCode = -1; // -1: ended by a signal, or not in time
    int signal = 0;
    bool isLate = false;
    std::string output;
    std::string errors;
    double seconds = 0;
};

using Environment = std::map<std::string, std::string>;

class Process {
public:
    Process(const std::vector<std::string>& command, const Environment& environment);
    ~Process(); // kills it if it still runs, by its id
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    Outcome wait(double bound = 60);

private:
    void readWhatIsThere(int& descriptor, std::string& text);

    pid_t pid_ = -1;
    int output_ = -1;
    int errors_ = -1;
    double started_ = 0;
};

inline Outcome run(
    const std::vector<std::string>& command, const Environment& environment = {}, double bound = 60) {
    return Process(command, environment).wait(bound);
}

inline std::string bin(const std::string& name) {
    return std::string(ORX_BIN) + "/" + name;
}
inline std::string testProgram(const std::string& name) {
    return std::string(ORX_TESTS) + "/" + name;
}
inline bool isSanitized() {
    return std::string(ORX_SANITIZER) != "";
}

std::vector<std::string> linesOf(const std::string& text);

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

// orx-run with the monitoring domain of these tests, and the command.
std::vector<std::string> underAgent(std::vector<std::string> command, std::vector<std::string> options = {});

#endif
