// A model with a clock of its own and an application that tells it of itself, for the tests of the model.
#ifndef TESTS_COLLECTOR_MODEL_FIXTURE_HPP
#define TESTS_COLLECTOR_MODEL_FIXTURE_HPP

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "collector/model/Model.hpp"
#include "tests/unit/collector/FakeApplication.hpp"

namespace collector_test {

struct Modelling : testing::Test {
    std::int64_t nowNs = 1;
    collector::Model model{{}, [this] { return nowNs; }};
    FakeApplication app{model, 1, "app"};

    std::uint64_t dropped(collector::DropCause cause, const collector::Model& of) const {
        return of.statistics().dropped[static_cast<std::size_t>(cause)];
    }
    std::uint64_t dropped(collector::DropCause cause) const { return dropped(cause, model); }

    std::optional<collector::MetricReading> metric(
        const collector::Guid& guid, const std::string& name) const {
        const auto view = model.resource(guid);
        if (!view)
            return std::nullopt;
        for (const collector::MetricReading& reading : view->metrics) {
            if (reading.name == name)
                return reading;
        }
        return std::nullopt;
    }
    std::vector<std::string> pathsOf(const char* expression) const {
        std::vector<std::string> paths;
        const auto page = model.resources(expression, false, 1000);
        for (const collector::ResourceView& view : page->resources)
            paths.push_back(view.path);
        return paths;
    }
};

inline constexpr const char* matched = "dds_data_writer_publication_matched_current_count";
inline constexpr const char* pushed = "dds_data_writer_protocol_pushed_samples_total";

} // namespace collector_test

#endif
