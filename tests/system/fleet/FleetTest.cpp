// A hundred applications with fifty resources each, and a collector that knows them all: when they start,
// when some die and return, when it returns itself, and when it commands them.
#include <algorithm>
#include <cstdio>

#include "tests/system/fleet/Fleet.hpp"

namespace fleet {

namespace {

constexpr int resourcesOfEach = 50; // below the root
constexpr double commandTimeout = 3;
constexpr double completeWithin = 30; // seconds from the last one's start

std::size_t applicationCount() {
    return isSanitized() ? 24 : 100;
}

// One fleet for all tests, as it takes long to start.
class Fleet : public testing::Test {
protected:
    static void SetUpTestSuite() {
        collector = std::make_unique<Collector>(
            0, Command{"--command-timeout", std::to_string(static_cast<int>(commandTimeout))});
        collector->start();
        for (std::size_t i = 0; i < applicationCount(); ++i)
            applications.push_back(std::make_unique<Application>(static_cast<int>(i), resourcesOfEach));
        for (const auto& each : applications)
            each->start();
        lastStart = now();
        for (const auto& each : applications)
            each->awaitReady();
    }
    // Every one ends cleanly, with the fleet or as its last.
    static void TearDownTestSuite() {
        for (const auto& each : applications)
            each->stop();
        EXPECT_LT(awaitTree(*collector, {}), bound);
        collector->stop();
        applications.clear();
        collector.reset();
    }
    static Resources truth() {
        Resources all;
        for (const auto& each : applications) {
            if (each->isRunning())
                all.merge(each->tree());
        }
        return all;
    }
    static std::vector<std::size_t> counts(const std::string& operation) {
        std::vector<std::size_t> all;
        for (const auto& each : applications)
            all.push_back(each->commands(operation));
        return all;
    }
    static void expectOneMoreEach(const std::string& operation, std::vector<std::size_t> before) {
        for (std::size_t& each : before)
            ++each;
        EXPECT_EQ(counts(operation), before) << operation;
    }
    // Topics, writers and readers whose snapshot has not come.
    static std::size_t unnamed() {
        std::size_t count = 0;
        for (const char* path : {"//topics/*", "//data_writers/*", "//data_readers/*"}) {
            const Json page = collector->get(std::string("/api/v1/resources?path=") + path).json();
            for (const Json& each : page.value("resources", Json::array()))
                count += each.value("topic", Json()) == "text" ? 0 : 1;
        }
        return count;
    }
    static void awaitTruth(const char* after) {
        const double seconds = awaitTree(*collector, truth());
        std::printf("the truth after %s: %.2f s\n", after, seconds);
    }

    static inline std::unique_ptr<Collector> collector;
    static inline std::vector<std::unique_ptr<Application>> applications;
    static inline double lastStart = 0;
};

TEST_F(Fleet, RegistryIsCompleteSoonAfterTheLastStart) {
    const Resources all = truth();
    EXPECT_EQ(all.size(), applicationCount() * (resourcesOfEach + 1));
    (void)awaitTree(*collector, all);
    const double seconds = now() - lastStart;
    std::printf("%zu applications with %d resources each: complete %.2f s after the last one's start\n",
        applicationCount(), resourcesOfEach, seconds);
    EXPECT_LT(seconds, completeWithin);
    awaitSeries(*collector, all);
    EXPECT_TRUE(eventually([] { return unnamed() == 0; })) << unnamed() << " without the name of their topic";
    std::printf("the collector's memory: %ld kB\n", collector->residentKilobytes());
}

TEST_F(Fleet, DeadApplicationsAreGoneAndReturn) {
    constexpr std::size_t deaths = 7;
    for (std::size_t i = 0; i < deaths; ++i)
        applications[i * 3]->kill();
    awaitTruth("some were killed");
    awaitSeries(*collector, truth());
    for (std::size_t i = 0; i < deaths; ++i)
        applications[i * 3]->start();
    for (std::size_t i = 0; i < deaths; ++i)
        applications[i * 3]->awaitReady();
    awaitTruth("they returned");
    awaitSeries(*collector, truth());
}

TEST_F(Fleet, ApplicationThatReturnsBeforeItsDeathWasNoticedIsThereOnce) {
    for (const std::size_t each : {1U, 2U}) {
        applications[each]->kill();
        applications[each]->start();
        applications[each]->awaitReady();
    }
    awaitTruth("two returned at once");
    awaitSeries(*collector, truth());
}

TEST_F(Fleet, CollectorThatWasKilledKnowsAllAgain) {
    collector->kill();
    applications[5]->churn(20);
    collector->start();
    awaitTruth("the collector returned");
    awaitSeries(*collector, truth());
}

TEST_F(Fleet, SecondCollectorKnowsTheSameWhileResourcesComeAndGo) {
    Collector second(1);
    second.start();
    for (int round = 0; round < 4; ++round) {
        for (const auto& each : applications)
            each->churn(6);
    }
    const Resources all = truth();
    std::printf("the second collector: %.2f s\n", awaitTree(second, all));
    (void)awaitTree(*collector, all);
    awaitSeries(second, all);
    second.stop();
}

TEST_F(Fleet, CommandsReachEveryApplicationOnceAndMergeIntoOneResult) {
    (void)awaitTree(*collector, truth());
    const struct {
        const char* operation;
        const char* body;
    } commands[] = {
        {"set_metric_subscription_state",
            R"({"metrics": [{"resource_selector": "//topics/*", "subscribe_metric_selector": ["dds_topic_*"]}]})"},
        {"update_metric_subscription_state",
            R"({"metrics": [{"resource_selector": "/applications/app*//data_readers/*",
                "subscribe_metric_selector": ["dds_data_reader_*_matched_*"]}]})"},
        {"set_logging_collection_level",
            R"({"logging_groups": [{"application_selector": "/applications/*",
                "logging_settings": [{"facility": "user", "verbosity": "error"}]}]})"},
        {"request_resource_registry", R"({"applications": ["//*"]})"}};
    for (const auto& [operation, body] : commands) {
        const auto before = counts(operation);
        const Answer answer = collector->post(operation, Json::parse(body));
        ASSERT_EQ(answer.status, 200) << operation << answer.body;
        EXPECT_EQ(answer.json().at("ret_code"), 0) << answer.body;
        EXPECT_EQ(answer.json().at("destinations"), applicationCount()) << operation << answer.body;
        std::printf("%s to %zu applications: %.3f s\n", operation, applicationCount(), answer.seconds);
        // What asks for missed registries asks by itself.
        if (operation != std::string("request_resource_registry"))
            expectOneMoreEach(operation, before);
    }
}

TEST_F(Fleet, CommandLineCommandsEveryApplicationOnce) {
    (void)awaitTree(*collector, truth());
    const auto before = counts("update_metric_subscription_state");
    const auto ctl = [](Command command) {
        Command all{bin("orxctl"), "--collector", collector->url(), "--timeout", "60"};
        all.insert(all.end(), command.begin(), command.end());
        return run(all);
    };
    const Outcome updated =
        ctl({"metrics", "update", "/applications/*//data_writers/*", "+dds_data_writer_*_total"});
    EXPECT_EQ(updated.exitCode, 0) << updated.output << updated.errors;
    expectOneMoreEach("update_metric_subscription_state", before);
    const Outcome listed = ctl({"--json", "applications"});
    EXPECT_EQ(listed.exitCode, 0) << listed.errors;
    EXPECT_EQ(Json::parse(listed.output).at("applications").size(), applicationCount());
}

TEST_F(Fleet, CommandTimesOutForAFrozenApplicationAndIsDoneByTheOthersOnce) {
    const Resources all = truth();
    (void)awaitTree(*collector, all);
    const std::string operation = "set_logging_forwarding_level";
    const Json body = Json::parse(R"({"logging_groups": [{"application_selector": "//*",
        "logging_settings": [{"facility": "user", "verbosity": "warning"}]}]})");
    auto before = counts(operation);
    Application& frozen = *applications[applicationCount() / 2];
    frozen.freeze();
    const Answer answer = collector->post(operation, body);
    frozen.thaw();
    ASSERT_EQ(answer.status, 422) << answer.body;
    const Json result = answer.json().at("error").at("result");
    EXPECT_EQ(result.at("ret_code"), 2) << answer.body;
    EXPECT_EQ(result.at("error_message"), "Timedout") << answer.body;
    EXPECT_EQ(result.at("destinations"), applicationCount()) << answer.body;
    EXPECT_GE(answer.seconds, commandTimeout);
    EXPECT_LT(answer.seconds, commandTimeout + 10);
    std::printf("with one frozen: %.2f s\n", answer.seconds);
    // The frozen one may do it late, once.
    const auto after = counts(operation);
    for (std::size_t i = 0; i < after.size(); ++i) {
        EXPECT_LE(after[i], before[i] + 1) << i;
        if (applications[i].get() != &frozen) {
            EXPECT_EQ(after[i], before[i] + 1) << i;
        }
    }
    (void)awaitTree(*collector, all);
    before = counts(operation);
    const Answer again = collector->post(operation, body);
    EXPECT_EQ(again.status, 200) << again.body;
    expectOneMoreEach(operation, before);
}

} // namespace

} // namespace fleet
