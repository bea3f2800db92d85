// orx-run: runs a program with the agent preloaded.
//
// Every option becomes a variable of the environment, the shim goes into LD_PRELOAD, and the program takes
// this process over: its exit status, its signals and its process id are its own. Options, and variables that
// are set already, are checked first. Exit codes of its own: 2 for a wrong option or variable, 126 when the
// program cannot be run, 127 when it is not found.
#include <getopt.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "agent/Settings.hpp"

namespace {

using orx::agent::Option;
using orx::agent::Problem;

constexpr int exitWrongUse = 2;
constexpr int exitCannotRun = 126;
constexpr int exitNotFound = 127;
constexpr size_t maximumOptions = 64; // with room for those of this program, and an end

void printHelp() {
    std::puts("usage: orx-run [options] -- program [arguments]\n"
              "\n"
              "Runs a program that uses Cyclone DDS " ORX_ENGINE_VERSION
              " so that it can be monitored: its entities,\n"
              "their names and types, the changes of their statuses, figures about their data and\n"
              "log messages are published on the monitoring domain. The program itself stays as it\n"
              "is, and so do the programs that it starts, which are monitored as well.\n"
              "\n"
              "Options, with the variables of the environment that mean the same:\n");
    for (const Option& option : orx::agent::options()) {
        std::printf("  --%s%s%s  [%s]\n", option.name, option.argument != nullptr ? " " : "",
            option.argument != nullptr ? option.argument : "", option.environment);
        for (const char* line = option.help; line != nullptr;) {
            const char* end = std::strchr(line, '\n');
            const int length =
                end != nullptr ? static_cast<int>(end - line) : static_cast<int>(std::strlen(line));
            std::printf("        %.*s\n", length, line);
            line = end != nullptr ? end + 1 : nullptr;
        }
    }
    std::puts("  --help\n"
              "  --version\n"
              "\n"
              "Exit codes: the program's own; 2 for a wrong option, 126 when the program cannot be\n"
              "run, 127 when it is not found.\n"
              "\n"
              "Example: orx-run --app-name pinger --select '//data_writers/*=*matched*' -- ddsperf ping");
}

int wrongUse(const char* text) {
    std::fprintf(stderr, "orx-run: %s\nTry 'orx-run --help'.\n", text);
    return exitWrongUse;
}

// The file in the folders where an installed or a built tree has its libraries; empty when there is none.
std::string findLibrary(const char* file) {
    char self[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", self, sizeof self - 1);
    if (length <= 0)
        return {};
    const std::string path(self, static_cast<size_t>(length));
    const std::string folder = path.substr(0, path.rfind('/'));
    for (const char* libraries : {"/../" ORX_LIBRARY_FOLDER "/", "/../lib/", "/"}) {
        char* found = realpath((folder + libraries + file).c_str(), nullptr);
        if (found != nullptr) {
            const std::string result = found;
            std::free(found);
            return result;
        }
    }
    return {};
}

// Sets the variable of an option, or adds a line to it when the option was given before.
void setVariable(const Option& option, const char* value, bool givenBefore) {
    std::string text = value;
    const char* earlier = std::getenv(option.environment);
    if (option.repeatable && givenBefore && earlier != nullptr)
        text = std::string(earlier) + '\n' + value;
    setenv(option.environment, text.c_str(), 1);
}

bool isSwitchedOff() {
    const char* off = std::getenv("ORX_AGENT_OFF");
    return off != nullptr && *off != '\0' && std::strcmp(off, "0") != 0;
}

// Null, or what is wrong.
const char* preloadShim() {
    const std::string shim = findLibrary("liborxshim.so");
    if (shim.empty())
        return "liborxshim.so is missing beside orx-run and in its library folder";
    if (shim.find_first_of(" :") != std::string::npos)
        return "the path of liborxshim.so holds a space or a colon, which LD_PRELOAD cannot take";
    const char* earlier = std::getenv("LD_PRELOAD");
    setenv("LD_PRELOAD", (earlier != nullptr && *earlier != '\0' ? shim + ':' + earlier : shim).c_str(), 1);
    return nullptr;
}

enum SpecialOption { optionHelp = 1000, optionVersion };

// What getopt did not take: `choice` is its answer, `word` what it was looking at.
std::string refusalOf(int choice, const char* word) {
    if (choice == ':')
        return std::string("option '") + word + "' needs a value";
    const char* value = std::strchr(word, '=');
    // It tells which option has got a value that it does not take.
    if (optopt != 0 && value != nullptr && word[1] == '-')
        return "option '" + std::string(word, value) + "' takes no value";
    return std::string("unknown option '") + word + "'";
}

} // namespace

int main(int argc, char** argv) {
    const auto table = orx::agent::options();
    option longOptions[maximumOptions] = {};
    size_t count = 0;
    for (const Option& entry : table) {
        longOptions[count] = {entry.name, entry.argument != nullptr ? required_argument : no_argument,
            nullptr, static_cast<int>(count)};
        ++count;
    }
    longOptions[count++] = {"help", no_argument, nullptr, optionHelp};
    longOptions[count++] = {"version", no_argument, nullptr, optionVersion};

    bool given[maximumOptions] = {};
    opterr = 0;
    for (;;) {
        const char* word = argv[optind]; // several letters in one word leave it where it is
        const int choice = getopt_long(argc, argv, "+:", longOptions, nullptr);
        if (choice == -1)
            break;
        if (choice == optionHelp)
            return printHelp(), 0;
        if (choice == optionVersion)
            return std::puts("orx-run " ORX_VERSION), 0;
        if (choice == '?' || choice == ':')
            return wrongUse(refusalOf(choice, word).c_str());
        const Option& entry = table[static_cast<size_t>(choice)];
        const char* value = entry.argument != nullptr ? optarg : "1";
        Problem problem;
        if (entry.repeatable && *value == '\0')
            return wrongUse((std::string("--") + entry.name + ": the value is empty").c_str());
        entry.check(entry, value, problem);
        if (problem)
            return wrongUse((std::string("--") + entry.name + ": " + problem.text).c_str());
        setVariable(entry, value, given[choice]);
        given[choice] = true;
    }
    if (optind >= argc)
        return wrongUse("no program is named");
    Problem problem;
    orx::agent::checkEnvironment(problem);
    if (problem)
        return wrongUse(problem.text);

    if (!isSwitchedOff()) {
        if (const char* failure = preloadShim(); failure != nullptr) {
            std::fprintf(stderr, "orx-run: %s\n", failure);
            return exitCannotRun;
        }
    }
    execvp(argv[optind], argv + optind);
    const int reason = errno;
    std::fprintf(stderr, "orx-run: %s: %s\n", argv[optind], std::strerror(reason));
    return reason == ENOENT || reason == ENOTDIR ? exitNotFound : exitCannotRun;
}
