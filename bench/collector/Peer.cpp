#include "bench/collector/Peer.hpp"

#include <prometheus/counter.h>
#include <prometheus/gauge.h>
#include <prometheus/registry.h>
#include <prometheus/text_serializer.h>

#include <sstream>

#include "bench/common/Child.hpp"
#include "tests/unit/collector/ExpositionText.hpp"

namespace bench {

struct Peer::State {
    prometheus::Registry registry;
    prometheus::TextSerializer serializer;
};

Peer::Peer(std::string_view exposition) : state_(std::make_unique<State>()) {
    const auto read = collector_test::readExposition(exposition, false);
    if (!read.errors.empty())
        fail(read.errors.front().c_str());
    for (const std::string& name : read.order) {
        const auto& family = read.families.at(name);
        if (family.type == "counter") {
            auto& counters =
                prometheus::BuildCounter().Name(name).Help(family.help).Register(state_->registry);
            for (const auto& sample : family.samples)
                counters.Add(sample.labels).Increment(std::stod(sample.value));
        } else {
            auto& gauges = prometheus::BuildGauge().Name(name).Help(family.help).Register(state_->registry);
            for (const auto& sample : family.samples)
                gauges.Add(sample.labels).Set(std::stod(sample.value));
        }
    }
}

Peer::~Peer() = default;

std::string Peer::scrape() const {
    std::ostringstream out;
    state_->serializer.Serialize(out, state_->registry.Collect());
    return out.str();
}

} // namespace bench
