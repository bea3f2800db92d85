// Applications and collectors as processes, and what a test asks them.
//
// Each program has a place: an index of its participant, and so its own ports. Applications announce
// themselves to the places of collectors alone, and collectors to all places, so that discovery grows with
// the applications and not with their square. What a program writes to its standard error goes to a file, so
// that a busy one never waits for a reader. Threads: one.
#ifndef TESTS_SYSTEM_FLEET_FLEET_HPP
#define TESTS_SYSTEM_FLEET_FLEET_HPP

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/helpers/TestDomain.hpp"
#include "tests/system/support/CollectorEnd.hpp"
#include "tests/system/support/Process.hpp"

namespace fleet {

using Json = nlohmann::json;

// How long a condition may take to come true: on a busy machine, under a sanitizer.
constexpr double bound = 60;

double now(); // seconds, monotonic
bool eventually(const std::function<bool()>& condition, double seconds = bound);

// "GUID PARENT PATH" of each resource.
using Resources = std::set<std::string>;
// What the one has and the other has not; cut to what a person reads.
std::string differenceOf(const Resources& expected, const Resources& seen);

// A participant that was not heard of for so long is dead.
std::string leaseSeconds();

class Program {
public:
    Program(std::string name, int place) : name_(std::move(name)), place_(place) {}
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    const std::string& name() const { return name_; }
    bool isRunning() const { return process_ != nullptr; }
    bool isFrozen() const { return isFrozen_; }
    void freeze();
    void thaw();
    void kill(); // as a crash: nothing of it is left
    pid_t id() const { return process_->id(); }
    std::string errors() const; // of all its lives

protected:
    void launch(const Command& command);
    // Gives the end of a life that is told to end, which is clean.
    void awaitEnd();

    std::unique_ptr<Process> process_;

private:
    std::string name_;
    int place_;
    bool isFrozen_ = false;
    std::string errorFile_;
};

// See Application.cpp.
class Application : public Program {
public:
    Application(int number, int resources);
    void start();
    void awaitReady();
    // From the end of its input on.
    void stop();
    Resources tree();
    void churn(int count);
    std::size_t commands(const std::string& operation);

private:
    std::vector<std::string> ask(const std::string& verb, const std::string& argument = "");

    int resources_;
    int questions_ = 0;
};

struct Answer {
    int status = 0; // 0: none came
    std::string body;
    double seconds = 0;
    Json json() const { return Json::parse(body, nullptr, false); }
};

class Collector : public Program {
public:
    explicit Collector(int place, Command options = {});
    void start();
    void stop(); // SIGTERM
    const std::string& url() const { return url_; }
    Answer get(const std::string& target) const;
    Answer post(const std::string& command, const Json& body) const;
    std::optional<Json> status() const;
    std::optional<Resources> resources() const;
    // GUIDs of the resources and of the applications that have a series.
    struct Series {
        std::set<std::string> resources;
        std::set<std::string> applications;
    };
    std::optional<Series> series() const;
    long residentKilobytes() const;

private:
    Command options_;
    std::string url_;
};

// Waits until the collector's tree is exactly this; gives the seconds that it took.
double awaitTree(const Collector& collector, const Resources& expected, double seconds = bound);
// Waits until the series of the collector are of these resources, with some of every application.
void awaitSeries(const Collector& collector, const Resources& expected);

} // namespace fleet

#endif
