// The collector's own metrics: families that are asked for their values at each scrape.
//
// A family has a name that begins with "orx_collector_" (a counter's ends in "_total"), a help text, a type,
// and a function that gives its series. Threads: add before the first scrape; scrapes may be on any threads
// at once, and so are the functions, which must not take long.
#ifndef COLLECTOR_OWN_METRICS_HPP
#define COLLECTOR_OWN_METRICS_HPP

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace collector {

class Model;

enum class MetricType { counter, gauge };

struct Label {
    std::string_view name;  // [a-z_]+
    std::string_view value; // any text
};

class OwnMetrics {
public:
    // Gives one series, with its labels, which stand in the same order in all series of a family.
    using Emit = std::function<void(std::initializer_list<Label> labels, double value)>;
    using Collect = std::function<void(const Emit& emit)>;

    struct Family {
        std::string name;
        std::string help;
        MetricType type = MetricType::gauge;
        Collect collect;
    };

    void add(Family family) { families_.push_back(std::move(family)); }
    const std::vector<Family>& families() const { return families_; }

private:
    std::vector<Family> families_;
};

// What the model counts: samples by topic, drops by cause, applications, resources, series. The model
// outlives the registry's use.
void addModelMetrics(OwnMetrics& own, const Model& model);
// Memory, processor time and start of this process.
void addProcessMetrics(OwnMetrics& own);
// Resident memory of this process; 0 when the system does not tell.
std::size_t residentBytes();

} // namespace collector

#endif
