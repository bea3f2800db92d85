// Feeders, scrapers, lookups and observers at once.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "collector/exposition/Exposition.hpp"
#include "collector/model/Model.hpp"
#include "tests/unit/collector/ExpositionText.hpp"
#include "tests/unit/collector/FakeApplication.hpp"

namespace {

using namespace collector;
using collector_test::FakeApplication;
using collector_test::readExposition;

struct Counting : ModelObserver {
    std::atomic<std::uint64_t> count{0};
    void onEvents(std::span<const ModelEvent> events) override {
        count.fetch_add(events.size(), std::memory_order_relaxed);
    }
};

struct ModelThreads : testing::Test {
    Model model;
    OwnMetrics own;
    Exposition exposition{model, own};
    std::atomic<bool> isOver{false};

    // One application after the other; writer 5 is told a number before writer 7 is.
    void feed(std::uint32_t number) {
        for (std::uint32_t life = 0; life < 12; ++life) {
            FakeApplication app(model, number, "app" + std::to_string(number), life);
            app.createSmallTree();
            app.create(7, 2, ResourceClass::dataWriter, "w7");
            for (std::int32_t value = 1; value <= 40; ++value) {
                app.tellMatched(5, value);
                app.tellMatched(7, value);
                app.tellWritten(5, value);
                app.tellTopic(5, "topic" + std::to_string(value), "T");
                if (value % 10 == 0)
                    app.tellRegistry();
            }
            app.vanish();
        }
    }

    // Every scrape is right by itself, and shows one moment.
    void scrape() {
        do {
            const auto read = readExposition(exposition.render(ExpositionFormat::openMetrics), true);
            EXPECT_EQ(read.errors, std::vector<std::string>{});
            for (const char* application : {"app1", "app2"}) {
                constexpr const char* name = "dds_data_writer_publication_matched_current_count";
                const auto* first = read.find(name, {{"application", application}, {"name", "w"}});
                const auto* second = read.find(name, {{"application", application}, {"name", "w7"}});
                if (first == nullptr || second == nullptr)
                    continue;
                const int lead = std::stoi(first->value) - std::stoi(second->value);
                EXPECT_TRUE(lead == 0 || lead == 1) << first->value << " " << second->value;
            }
        } while (!isOver);
    }

    void look() {
        do {
            for (const ApplicationView& view : model.applications()) {
                EXPECT_GE(view.resources, 1U);
                (void)model.resource(view.guid);
            }
            const auto page = model.resources("/applications/*//data_writers/*", true, 100);
            ASSERT_TRUE(page);
            for (const ResourceView& view : page->resources)
                EXPECT_TRUE(view.path.starts_with("/applications/app")) << view.path;
            EXPECT_LE(model.translateSelector("/applications/app1//topics/*").size(), 2U);
            (void)model.takeIncomplete();
        } while (!isOver);
    }

    void observe() {
        do {
            const auto observer = std::make_shared<Counting>();
            model.addObserver(observer);
            std::this_thread::yield();
            model.removeObserver(observer.get());
        } while (!isOver);
    }
};

TEST_F(ModelThreads, MayAllWorkAtOnce) {
    const auto counting = std::make_shared<Counting>();
    model.addObserver(counting);
    std::vector<std::thread> readers;
    readers.emplace_back([&] { scrape(); });
    readers.emplace_back([&] { scrape(); });
    readers.emplace_back([&] { look(); });
    readers.emplace_back([&] { observe(); });
    std::thread first([&] { feed(1); });
    std::thread second([&] { feed(2); });
    first.join();
    second.join();
    isOver = true;
    for (std::thread& reader : readers)
        reader.join();
    const ModelStatistics statistics = model.statistics();
    EXPECT_EQ(statistics.applications, 0U);
    EXPECT_EQ(statistics.resources, 0U);
    EXPECT_EQ(statistics.series, 0U);
    for (const std::uint64_t dropped : statistics.dropped)
        EXPECT_EQ(dropped, 0U);
    // Of each life: it appeared, seven resources, values, it vanished.
    EXPECT_GE(counting->count, 2U * 12U * (1U + 7U + 80U + 1U));
}

} // namespace
