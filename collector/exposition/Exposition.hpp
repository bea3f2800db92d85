// The model's series and the collector's own metrics as text for Prometheus.
//
// Text format 0.0.4, or OpenMetrics 1.0.0. The names are the catalogue's in both. A counter of the catalogue
// ends in "_total"; OpenMetrics names its family without that, and its samples with it. Metrics are families
// in the order of the catalogue, each with its help and type, only those that have series; series of a family
// stand in the order in which their resources came, and keep it from scrape to scrape. Text from remote
// stands in label values alone, escaped.
//
// A scrape takes one snapshot of the model (which is the only time at which it holds up the feed: some
// nanoseconds a series) and is rendered from that, so it shows one moment, however long its reader takes.
// Threads: an Exposition may begin scrapes on any threads at once; a Scrape has one owner.
#ifndef COLLECTOR_EXPOSITION_HPP
#define COLLECTOR_EXPOSITION_HPP

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "collector/exposition/OwnMetrics.hpp"
#include "collector/model/Snapshot.hpp"

namespace collector {

class Model;
class Exposition;

enum class ExpositionFormat { text, openMetrics };

// The format that the value of an Accept header asks for: OpenMetrics where it is named with a quality above
// 0 that is not below the text's, else text.
ExpositionFormat formatFor(std::string_view accept);
// Value of the Content-Type header.
const char* contentType(ExpositionFormat format);

// One scrape, rendered piece by piece, so that nobody needs room for all of it.
class Scrape {
public:
    ~Scrape();
    Scrape(const Scrape&) = delete;
    Scrape& operator=(const Scrape&) = delete;

    // Appends some 64 KiB, or the rest. False when there was nothing left to append.
    bool next(std::string& text);

private:
    friend class Exposition;
    struct State;
    explicit Scrape(std::unique_ptr<State> state);
    std::unique_ptr<State> state_;
};

class Exposition {
public:
    // Both outlive the exposition and its scrapes.
    Exposition(const Model& model, const OwnMetrics& own);

    std::unique_ptr<Scrape> begin(ExpositionFormat format);
    // All at once.
    std::string render(ExpositionFormat format);

    // Of the last scrape that was rendered to its end, without the time that its reader took.
    double lastSeconds() const { return lastSeconds_.load(std::memory_order_relaxed); }
    std::size_t lastBytes() const { return lastBytes_.load(std::memory_order_relaxed); }
    std::uint64_t scrapes() const { return scrapes_.load(std::memory_order_relaxed); }

private:
    friend class Scrape;
    const Model& model_;
    const OwnMetrics& own_;
    // Figures for people: they need no order among each other.
    std::atomic<double> lastSeconds_{0};
    std::atomic<std::size_t> lastBytes_{0};
    std::atomic<std::uint64_t> scrapes_{0};
};

// Families on the exposition itself: seconds and bytes of the last scrape, number of scrapes.
void addScrapeMetrics(OwnMetrics& own, const Exposition& exposition);

} // namespace collector

#endif
