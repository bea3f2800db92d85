// Child processes of the tests: run with a bound, fed and read line by line, and never left behind.
//
// Threads: one owner. A child is killed with its owner, and with the thread that started it.
#ifndef TESTS_SYSTEM_SUPPORT_PROCESS_HPP
#define TESTS_SYSTEM_SUPPORT_PROCESS_HPP

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
using Command = std::vector<std::string>;

// How long a condition may take to come true on a busy machine.
constexpr double patience = 60;

class Process {
public:
    enum class Group { ofTheTest, ofItsOwn };

    explicit Process(
        const Command& command, const Environment& environment = {}, Group group = Group::ofTheTest);
    ~Process(); // kills it if it still runs, by its id; a group of its own as a whole
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    // A line into its standard input. Without a call its input stays empty and open until wait.
    void say(const std::string& line);
    // Reads its output until there is a line with all the parts; false when it has ended or the time is over.
    // Lines that were there already count as well.
    bool waitForLine(const std::vector<std::string>& parts, double bound = patience);
    // Everything that it has written to its standard output so far.
    const std::string& output() const { return outputText_; }
    const std::string& errors() const { return errorText_; }
    void signal(int number) const;
    // Nobody reads its standard output any more.
    void closeOutput();
    pid_t id() const { return pid_; }

    // Ends its input and waits for its end; the bound counts from the start of the process.
    Outcome wait(double bound = 60);
    // The same; the bound counts from this call.
    Outcome waitFromNow(double bound = patience);

private:
    void readForAWhile();
    bool isEnded();

    pid_t pid_ = -1;
    bool hasGroup_ = false;
    int status_ = 0;
    int input_ = -1;
    int output_ = -1;
    int errors_ = -1;
    std::string outputText_;
    std::string errorText_;
    double started_ = 0;
};

inline Outcome run(const Command& command, const Environment& environment = {}, double bound = 60) {
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
// Lines that have all the parts.
std::vector<std::string> linesWith(const std::string& text, const std::vector<std::string>& parts);

#endif
