// Applications and a collector are started, stopped, frozen and killed at random; afterwards collectors and
// applications agree, and nothing is left behind. A second collector sees it all without being touched.
//
// ORX_CHAOS_SEED repeats a run, ORX_CHAOS_SECONDS makes it longer.
#include <poll.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>

#include "tests/system/fleet/Fleet.hpp"

namespace fleet {

namespace {

constexpr int resourcesOfEach = 30;
// What a collector that has seen everything may keep, and what it may grow by from the first calm moment on.
constexpr long mostKilobytes = 96 * 1024;
constexpr long mostGrowth = 24 * 1024;

unsigned numberFrom(const char* variable, unsigned otherwise) {
    const char* const text = std::getenv(variable);
    return text != nullptr ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : otherwise;
}

class Chaos : public testing::Test {
protected:
    Chaos() : seed(numberFrom("ORX_CHAOS_SEED", std::random_device{}())), random(seed) {
        std::printf("ORX_CHAOS_SEED=%u\n", seed);
        std::fflush(stdout);
        for (int i = 0; i < (isSanitized() ? 6 : 12); ++i)
            applications.push_back(std::make_unique<Application>(i, resourcesOfEach));
    }
    std::size_t below(std::size_t most) { return random() % most; }

    void disturb(Application& application) {
        const std::size_t dice = below(12);
        if (!application.isRunning())
            return launch(application);
        if (application.isFrozen())
            return dice < 6 ? application.thaw() : dice < 8 ? application.kill() : void();
        if (dice < 6)
            application.churn(static_cast<int>(1 + below(20)));
        else if (dice < 8)
            application.freeze();
        else if (dice < 10)
            application.kill();
        else
            application.stop();
    }
    void disturbCollector() {
        if (!collector.isRunning())
            return collector.start();
        if (collector.isFrozen())
            return collector.thaw();
        const std::size_t dice = below(3);
        if (dice == 0)
            collector.freeze();
        else if (dice == 1)
            collector.kill();
        else
            collector.stop();
    }
    void launch(Application& application) {
        application.start();
        application.awaitReady();
    }
    void calm(Program& program) {
        if (program.isFrozen())
            program.thaw();
    }
    Resources truth() {
        Resources all;
        for (const auto& each : applications)
            all.merge(each->tree());
        return all;
    }

    const unsigned seed;
    std::mt19937 random;
    Collector witness{0};
    Collector collector{1};
    std::vector<std::unique_ptr<Application>> applications;
};

TEST_F(Chaos, CollectorsAndApplicationsAgreeAfterwards) {
    witness.start();
    collector.start();
    for (const auto& each : applications)
        launch(*each);
    (void)awaitTree(witness, truth());
    const long before = witness.residentKilobytes();

    const double end = now() + numberFrom("ORX_CHAOS_SECONDS", isSanitized() ? 20 : 60);
    std::size_t steps = 0;
    for (; now() < end && !HasFailure(); ++steps) {
        if (below(8) == 0)
            disturbCollector();
        else
            disturb(*applications[below(applications.size())]);
        poll(nullptr, 0, static_cast<int>(below(200)));
    }

    calm(collector);
    if (!collector.isRunning())
        collector.start();
    for (const auto& each : applications) {
        calm(*each);
        if (!each->isRunning())
            launch(*each);
    }
    const Resources all = truth();
    const double first = awaitTree(witness, all);
    const double second = awaitTree(collector, all);
    std::printf(
        "%zu steps; %zu resources; agreed after %.2f s, and %.2f s\n", steps, all.size(), first, second);
    awaitSeries(witness, all);
    awaitSeries(collector, all);
    const long after = witness.residentKilobytes();
    std::printf("memory of the collector that saw it all: %ld kB, before %ld kB\n", after, before);
    if (!isSanitized()) {
        EXPECT_LT(after, mostKilobytes);
        EXPECT_LT(after - before, mostGrowth);
    }

    for (const auto& each : applications)
        each->stop();
    (void)awaitTree(witness, {});
    (void)awaitTree(collector, {});
    witness.stop();
    collector.stop();
}

} // namespace

} // namespace fleet
