// All series of the model at one moment, in the shape in which they are rendered: by class, resources in the
// order in which they came, each with its ready labels and with the values of its class's metrics.
//
// Threads: plain data with one owner; the labels are shared and constant.
#ifndef COLLECTOR_SNAPSHOT_HPP
#define COLLECTOR_SNAPSHOT_HPP

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "collector/model/Catalogue.hpp"

namespace collector {

struct Snapshot {
    struct Entry {
        std::shared_ptr<const std::string> labels; // {application="...",...}
        MetricSet present;                         // the series that it has
        std::size_t firstValue = 0;                // of `values`: one for each bit of `present`, in order
    };
    std::array<std::vector<Entry>, resourceClassCount> classes;
    std::vector<std::uint64_t> values; // octets of the value, of the kind that the catalogue says
};

} // namespace collector

#endif
