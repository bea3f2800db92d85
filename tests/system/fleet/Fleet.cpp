#include "tests/system/fleet/Fleet.hpp"

#include <httplib.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>

namespace fleet {

namespace {

constexpr int collectorPlaces = 2; // 0 and 1
constexpr int lastPlace = 119;     // ports of higher ones are the next domain's

Environment environmentOf(int place) {
    const auto portOf = [](int of) { return std::to_string(7400 + 250 * testDomain() + 10 + 2 * of); };
    std::string peers;
    for (int of = 0; of < (place < collectorPlaces ? lastPlace + 1 : collectorPlaces); ++of)
        peers += "<Peer address=\"127.0.0.1:" + portOf(of) + "\"/>";
    return {{"CYCLONEDDS_URI",
                "<General><Interfaces><NetworkInterface name=\"lo\" multicast=\"false\"/></Interfaces>"
                "<AllowMulticast>false</AllowMulticast></General>"
                "<Discovery><ParticipantIndex>" +
                    std::to_string(place) + "</ParticipantIndex><Peers>" + peers + "</Peers><LeaseDuration>" +
                    leaseSeconds() + "s</LeaseDuration></Discovery>"},
        {"FLEET_LEASE", leaseSeconds()}};
}

std::string readFile(const std::string& name) {
    std::ifstream file(name);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

std::string guidIn(const std::string& line, const std::string& label) {
    const auto begin = line.find(label + "=\"");
    const auto end = begin == std::string::npos ? begin : line.find('"', begin + label.size() + 2);
    return end == std::string::npos ? ""
                                    : line.substr(begin + label.size() + 2, end - begin - label.size() - 2);
}

} // namespace

double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

bool eventually(const std::function<bool()>& condition, double seconds) {
    for (const double deadline = now() + seconds; !condition(); poll(nullptr, 0, 50)) {
        if (now() > deadline)
            return condition();
    }
    return true;
}

std::string differenceOf(const Resources& expected, const Resources& seen) {
    constexpr std::size_t mostLines = 12;
    std::ostringstream text;
    const auto tell = [&](const char* what, const Resources& one, const Resources& other) {
        std::vector<std::string> only;
        std::set_difference(one.begin(), one.end(), other.begin(), other.end(), std::back_inserter(only));
        text << only.size() << ' ' << what << '\n';
        for (std::size_t i = 0; i < std::min(only.size(), mostLines); ++i)
            text << "    " << only[i] << '\n';
    };
    tell("missing", expected, seen);
    tell("too many", seen, expected);
    return text.str();
}

// On a busy machine a living program must not seem dead all the time.
std::string leaseSeconds() {
    return isSanitized() ? "10" : "8";
}

// ---- Programs ----

Program::~Program() {
    process_.reset();
    if (!errorFile_.empty())
        unlink(errorFile_.c_str());
}

void Program::launch(const Command& command) {
    if (errorFile_.empty()) {
        char name[] = "/tmp/orx-fleet-XXXXXX";
        close(mkstemp(name));
        errorFile_ = name;
    }
    Command redirected{"/bin/sh", "-c", "exec \"$@\" 2>>\"$0\"", errorFile_};
    redirected.insert(redirected.end(), command.begin(), command.end());
    process_ = std::make_unique<Process>(redirected, environmentOf(place_));
    isFrozen_ = false;
}

void Program::freeze() {
    process_->signal(SIGSTOP);
    isFrozen_ = true;
}

void Program::thaw() {
    process_->signal(SIGCONT);
    isFrozen_ = false;
}

void Program::kill() {
    siginfo_t end{};
    const bool isAlive =
        waitid(P_PID, static_cast<id_t>(process_->id()), &end, WEXITED | WNOHANG | WNOWAIT) == 0 &&
        end.si_pid == 0;
    EXPECT_TRUE(isAlive) << name_ << " had ended by itself\n" << errors();
    process_.reset();
    isFrozen_ = false;
}

void Program::awaitEnd() {
    const Outcome outcome = process_->waitFromNow(bound);
    EXPECT_TRUE(outcome.exitCode == 0 || isCutOff(outcome.exitCode, errors()))
        << name_ << " ended with code " << outcome.exitCode << ", by signal " << outcome.signal << ", late "
        << outcome.isLate << "\n"
        << errors();
    EXPECT_EQ(errors().find("Sanitizer"), std::string::npos) << name_ << "\n" << errors();
    process_.reset();
}

std::string Program::errors() const {
    return errorFile_.empty() ? "" : readFile(errorFile_);
}

// ---- Applications ----

Application::Application(int number, int resources)
    : Program("app" + std::to_string(number), collectorPlaces + number), resources_(resources) {}

void Application::start() {
    launch({testProgram("fleet_Application"), testDomainText(), name(), std::to_string(resources_)});
}

void Application::awaitReady() {
    ASSERT_TRUE(process_->waitForLine({"ready"}, bound)) << name() << "\n" << errors();
}

void Application::stop() {
    awaitEnd();
}

std::vector<std::string> Application::ask(const std::string& verb, const std::string& argument) {
    const std::string number = std::to_string(++questions_);
    process_->say(verb + " " + number + " " + argument);
    EXPECT_TRUE(process_->waitForLine({"done " + number}, bound)) << name() << "\n" << errors();
    return linesOf(process_->output());
}

Resources Application::tree() {
    const auto lines = ask("tree");
    const std::string prefix = std::to_string(questions_) + " ";
    Resources resources;
    for (const std::string& line : lines) {
        if (line.starts_with(prefix))
            resources.insert(line.substr(prefix.size()));
    }
    return resources;
}

void Application::churn(int count) {
    (void)ask("churn", std::to_string(count));
}

std::size_t Application::commands(const std::string& operation) {
    const auto lines = ask("count", operation);
    const std::string prefix = "count " + std::to_string(questions_) + " ";
    for (const std::string& line : lines) {
        if (line.starts_with(prefix))
            return std::stoul(line.substr(prefix.size()));
    }
    return 0;
}

// ---- Collectors ----

Collector::Collector(int place, Command options)
    : Program("collector" + std::to_string(place), place), options_(std::move(options)) {}

void Collector::start() {
    const std::size_t before = errors().size();
    Command command{bin("orx-collector"), "--domain", testDomainText(), "--listen", "127.0.0.1:0"};
    command.insert(command.end(), options_.begin(), options_.end());
    launch(command);
    const std::string head = "listening on ";
    ASSERT_TRUE(eventually([&] {
        const std::string text = errors().substr(before);
        const auto begin = text.find(head);
        const auto end = begin == std::string::npos ? begin : text.find('\n', begin);
        if (end == std::string::npos)
            return false;
        url_ = text.substr(begin + head.size(), end - begin - head.size());
        return true;
    })) << errors();
}

void Collector::stop() {
    process_->signal(SIGTERM);
    awaitEnd();
}

Answer Collector::get(const std::string& target) const {
    httplib::Client client(url_);
    client.set_read_timeout(static_cast<time_t>(bound));
    const double begin = now();
    const auto result = client.Get(target.c_str());
    return result ? Answer{result->status, result->body, now() - begin} : Answer{};
}

Answer Collector::post(const std::string& command, const Json& body) const {
    httplib::Client client(url_);
    client.set_read_timeout(static_cast<time_t>(bound));
    const double begin = now();
    const auto result = client.Post(("/api/v1/commands/" + command).c_str(), body.dump(), "application/json");
    return result ? Answer{result->status, result->body, now() - begin} : Answer{};
}

std::optional<Json> Collector::status() const {
    const Answer answer = get("/api/v1/status");
    return answer.status == 200 ? std::optional(answer.json()) : std::nullopt;
}

std::optional<Resources> Collector::resources() const {
    Resources resources;
    std::string after;
    do {
        const Answer answer = get("/api/v1/resources" + (after.empty() ? "" : "?after=" + after));
        if (answer.status != 200)
            return std::nullopt;
        const Json page = answer.json();
        for (const Json& each : page.at("resources")) {
            const Json& parent = each.at("parent");
            resources.insert(each.at("guid").get<std::string>() + " " +
                             (parent.is_null() ? "-" : parent.get<std::string>()) + " " +
                             each.at("path").get<std::string>());
        }
        after = page.at("next").is_null() ? "" : page.at("next").get<std::string>();
    } while (!after.empty());
    return resources;
}

std::optional<Collector::Series> Collector::series() const {
    const Answer answer = get("/metrics");
    if (answer.status != 200)
        return std::nullopt;
    Series series;
    for (const std::string& line : linesOf(answer.body)) {
        // The collector's own have no GUID.
        if (const std::string application = guidIn(line, "application_guid"); !application.empty()) {
            series.applications.insert(application);
            series.resources.insert(guidIn(line, ",guid"));
        }
    }
    return series;
}

long Collector::residentKilobytes() const {
    std::istringstream text(readFile("/proc/" + std::to_string(id()) + "/status"));
    for (std::string line; std::getline(text, line);) {
        if (line.starts_with("VmRSS:"))
            return std::stol(line.substr(6));
    }
    return 0;
}

// ---- Truth ----

double awaitTree(const Collector& collector, const Resources& expected, double seconds) {
    const double begin = now();
    std::optional<Resources> seen;
    const bool isTrue = eventually(
        [&] {
            // The number is cheaper to ask for.
            const auto status = collector.status();
            if (!status || status->at("resources") != expected.size())
                return false;
            seen = collector.resources();
            return seen == expected;
        },
        seconds);
    const double taken = now() - begin;
    if (!isTrue) {
        const auto status = collector.status();
        ADD_FAILURE() << collector.name() << " " << (status ? status->dump() : "is silent") << "\n"
                      << differenceOf(expected, collector.resources().value_or(Resources{}))
                      << collector.errors();
    }
    return taken;
}

void awaitSeries(const Collector& collector, const Resources& expected) {
    std::set<std::string> living;
    std::set<std::string> applications;
    for (const std::string& line : expected) {
        living.insert(line.substr(0, 35));
        if (line.substr(36, 1) == "-")
            applications.insert(line.substr(0, 35));
    }
    Collector::Series seen;
    const bool isTrue = eventually([&] {
        seen = collector.series().value_or(Collector::Series{});
        return seen.applications == applications &&
               std::includes(living.begin(), living.end(), seen.resources.begin(), seen.resources.end());
    });
    EXPECT_TRUE(isTrue) << collector.name() << ": series of\n"
                        << differenceOf(applications, seen.applications) << "applications, and of "
                        << differenceOf(living, seen.resources) << "resources";
}

} // namespace fleet
