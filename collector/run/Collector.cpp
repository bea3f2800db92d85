#include "collector/run/Collector.hpp"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "collector/api/Api.hpp"
#include "collector/exposition/Exposition.hpp"
#include "collector/http/Server.hpp"
#include "collector/run/Forwarding.hpp"
#include "collector/run/Intake.hpp"
#include "collector/run/LogIntake.hpp"
#include "collector/run/LossWatch.hpp"
#include "collector/run/ProgramMetrics.hpp"

namespace collector::run {

namespace {

ModelLimits limitsOf(const Options& options) {
    ModelLimits limits;
    limits.applications = options.maxApplications;
    limits.resourcesPerApplication = options.maxResources;
    limits.resources = std::max(limits.resources, options.maxResources);
    limits.seriesPerApplication = options.maxSeries;
    limits.series = std::max(limits.series, options.maxSeries);
    return limits;
}

http::Policy policyOf(const Options& options, const http::ListenSocket& listening) {
    http::Policy policy;
    policy.readOnly = options.isReadOnly;
    policy.loopbackOnly = listening.isLoopback;
    return policy;
}

// Asks applications of which something was missed for all that they are, on a thread that may wait for them.
class Repair {
public:
    Repair(Model& model, const Intake& intake, Forwarding& forwarding)
        : model_(model), intake_(intake), forwarding_(forwarding) {}
    ~Repair() { stop(); }
    void start() {
        thread_ = std::thread([this] { run(); });
        pthread_setname_np(thread_.native_handle(), "orx-repair");
    }
    // From here on it asks nobody; finish waits for it.
    void stop() {
        {
            const std::lock_guard lock(mutex_);
            isStopped_ = true;
        }
        changed_.notify_all();
        if (thread_.joinable())
            thread_.join();
    }
    void announceStop() {
        const std::lock_guard lock(mutex_);
        isStopped_ = true;
        changed_.notify_all();
    }

private:
    void run() {
        std::unique_lock lock(mutex_);
        while (!changed_.wait_for(lock, std::chrono::seconds(1), [this] { return isStopped_; })) {
            lock.unlock();
            const auto now = std::chrono::steady_clock::now();
            if (watch_.isToAsk(intake_.eventLosses(), now))
                model_.doubtAll();
            ask(model_.takeIncomplete());
            lock.lock();
        }
    }

    // What ended while its end was lost is gone.
    void ask(std::vector<reading::Guid> applications) {
        const std::int64_t nowNs =
            std::chrono::nanoseconds(std::chrono::system_clock::now().time_since_epoch()).count();
        std::erase_if(applications, [&](const reading::Guid& each) {
            const bool isGone = !forwarding_.isAlive(each);
            if (isGone)
                model_.applicationGone(each, nowNs);
            return isGone;
        });
        if (!applications.empty())
            forwarding_.requestRegistries(applications);
    }

    Model& model_;
    const Intake& intake_;
    LossWatch watch_;
    Forwarding& forwarding_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool isStopped_ = false;
    std::thread thread_;
};

} // namespace

struct Collector::Parts {
    explicit Parts(const Options& given)
        : options(given), model(limitsOf(given)), hub(std::make_shared<api::EventHub>(model)),
          streams(given.maxStreams), exposition(model, own), logs(model, ring, logFile), intake(model, logs),
          repair(model, intake, forwarding) {}

    const Options options;
    Model model;
    api::LogRing ring;
    std::shared_ptr<api::EventHub> hub;
    api::Streams streams;
    OwnMetrics own;
    Exposition exposition;
    LogFile logFile;
    LogIntake logs;
    Forwarding forwarding;
    Intake intake;
    Repair repair;
    http::ListenSocket listening;
    std::unique_ptr<http::Service> service;
    std::unique_ptr<api::Api> api;
    std::unique_ptr<http::Server> server;
    std::atomic<const http::Server*> served{nullptr}; // once it stands: its first requests come before
    std::chrono::steady_clock::time_point lastForgotten = std::chrono::steady_clock::now();
};

Collector::Collector(const Options& options) : parts_(std::make_unique<Parts>(options)) {}

Collector::~Collector() {
    stop();
}

const std::string& Collector::url() const {
    return parts_->listening.url;
}

bool Collector::start(std::string& error) {
    Parts& p = *parts_;
    // What fails for what the user wrote comes first.
    if (!p.options.logFile.empty() && !p.logFile.start(p.options.logFile, error))
        return false;
    p.listening = http::listenOn(p.options.listen, error);
    if (p.listening.socket < 0)
        return false;
    const int listenSocket = p.listening.socket;
    p.listening.socket = -1; // the server's, or closed
    const bool isFed = p.forwarding.open(p.options, error) && p.intake.start(p.forwarding.readers(), error);
    if (!isFed) {
        http::closeListener(listenSocket);
        return false;
    }
    p.repair.start();

    api::Facts facts;
    facts.version = ORX_VERSION;
    facts.domain = p.options.domain;
    facts.isReadOnly = p.options.isReadOnly;
    facts.otherDrops = [&p](const auto& tell) { tellDrops(p.intake, p.logFile, tell); };
    p.service = std::make_unique<http::Service>(policyOf(p.options, p.listening));
    p.api = std::make_unique<api::Api>(
        std::move(facts), p.model, p.ring, p.hub, p.streams, p.exposition, p.forwarding);
    p.api->addTo(p.service->router());
    addModelMetrics(p.own, p.model);
    addProcessMetrics(p.own);
    addScrapeMetrics(p.own, p.exposition);
    addProgramMetrics(p.own, {p.intake, p.ring, p.logFile, p.streams, p.served});

    http::ServerOptions server;
    server.connections.total = p.options.maxConnections;
    server.connections.perAddress = std::max<std::size_t>(1, p.options.maxConnections / 2);
    server.slots = p.options.maxCommands;
    p.server = http::Server::start(server, *p.service, listenSocket, error);
    p.served.store(p.server.get(), std::memory_order_release);
    return p.server != nullptr;
}

void Collector::keepHouse() {
    Parts& p = *parts_;
    p.hub->prune();
    for (const reading::Guid& each : p.ring.unnamed()) {
        if (const std::string name = p.model.applicationName(each); !name.empty())
            p.ring.name(each, name);
    }
    if (const auto now = std::chrono::steady_clock::now(); now - p.lastForgotten > std::chrono::minutes(1)) {
        p.lastForgotten = now;
        std::set<reading::Guid> living;
        for (const ApplicationView& each : p.model.applications())
            living.insert(each.guid);
        p.ring.forgetOthers(living);
    }
}

void Collector::reopenLogFile() {
    parts_->logFile.reopen();
}

void Collector::stop() {
    Parts& p = *parts_;
    if (p.server != nullptr)
        p.server->stop();
    p.repair.announceStop();
    p.intake.stop();
    p.logFile.stop();     // nothing comes any more; what waits is written, whatever the rest takes
    p.forwarding.close(); // ends the commands that wait
    p.repair.stop();
    if (p.server != nullptr)
        p.server->finish();
    p.hub->prune();
}

} // namespace collector::run
