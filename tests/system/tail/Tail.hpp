// A running orx-tail and the applications that it watches.
#ifndef TESTS_SYSTEM_TAIL_TAIL_HPP
#define TESTS_SYSTEM_TAIL_TAIL_HPP

#include <gtest/gtest.h>

#include "tests/helpers/TestDomain.hpp"
#include "tests/system/support/Loopback.hpp"

// orx-tail on the monitoring domain; ends only when it is told to, or killed with its owner.
class Tail : public Process {
public:
    explicit Tail(const std::string& domain, Command options = {})
        : Process(command(domain, std::move(options)), loopbackOnly()) {}

    // Waits for a line with all the parts, and gives it.
    std::string await(const std::vector<std::string>& parts, double bound = patience) {
        std::string wanted;
        for (const std::string& part : parts)
            wanted += " [" + part + "]";
        EXPECT_TRUE(waitForLine(parts, testing::Test::HasFailure() ? 1 : bound))
            << "no line with" << wanted << " but:\n"
            << output() << errors();
        const auto lines = linesWith(output(), parts);
        return lines.empty() ? "" : lines.front();
    }
    // Reads on until the condition holds.
    template <class Condition> void awaitUntil(Condition condition, double bound = 2 * patience) {
        for (int i = 0; i < bound * 10 && !condition(); ++i)
            (void)waitForLine({"no such line"}, 0.1);
        EXPECT_TRUE(condition()) << output() << errors();
    }

private:
    static Command command(const std::string& domain, Command options) {
        Command all{bin("orx-tail"), "--domain", domain};
        all.insert(all.end(), options.begin(), options.end());
        return all;
    }
};

// A stranger that writes the monitoring's samples on command; see tests/system/interop/Writer.c.
class Writer : public Process {
public:
    Writer(const std::string& domain, int application)
        : Process({testProgram("interop_Writer"), domain, std::to_string(application)}, loopbackOnly()) {}

    void command(const std::string& text) {
        say(text);
        EXPECT_TRUE(waitForLine({"done " + text})) << text << "\n" << output() << errors();
    }
};

// A program under the agent; see tests/system/interop/Application.c.
class Application : public Process {
public:
    Application(const std::string& monitoring, const std::string& domain, const std::string& name,
        const Command& options = {}, const Environment& environment = loopbackOnly())
        : Process(line(monitoring, domain, name, options), environment) {}

    void command(const std::string& text) {
        say(text);
        EXPECT_TRUE(waitForLine({"done " + text})) << text << "\n" << output() << errors();
    }

private:
    static Command line(const std::string& monitoring, const std::string& domain, const std::string& name,
        const Command& options) {
        Command all{bin("orx-run"), "--domain", monitoring, "--app-name", name};
        all.insert(all.end(), options.begin(), options.end());
        all.insert(all.end(), {"--", testProgram("interop_Application"), domain});
        return all;
    }
};

#endif
