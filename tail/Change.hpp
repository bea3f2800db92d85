// One change that a sample told, ready to be printed.
#ifndef TAIL_CHANGE_HPP
#define TAIL_CHANGE_HPP

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "reading/Leaves.hpp"
#include "tail/ResourceTree.hpp"

namespace tail {

using reading::Leaf;

enum class ChangeKind {
    created,     // a resource came to be
    deleted,     // a resource ended, or an ancestor of it
    selection,   // the metrics enabled on a resource changed
    group,       // values of a metric group
    log,         // a log message
    gone,        // an application's writer left
    undecodable, // samples that could not be decoded
    lost         // samples of an application that did not come
};

struct Change {
    ChangeKind kind = ChangeKind::group;
    std::int64_t timeNs = 0; // source time, since 1970
    std::string topic;       // "event", "periodic" or "logging"
    std::string application;
    Guid applicationGuid{};
    Guid guid{};
    std::uint32_t classId = 0;
    std::string path;
    std::string group; // member name of the group; empty where there is none
    std::vector<Leaf> values;
    bool snapshot = false;
    std::optional<std::pair<std::uint64_t, std::uint64_t>> epochs; // of an event: resource, metric
    std::optional<std::uint64_t> logEpoch;                         // of a log message: of its sample
};

} // namespace tail

#endif
