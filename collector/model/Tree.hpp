// The tree of resources with their values: an index by GUID, links between neighbours, lists by class.
//
// Every resource hangs, by its parent, on the root of its application: what has no known parent is not added,
// so there are no rings, and the depth is bounded. The caller counts what is refused. Threads: one lock, the
// caller's. Ownership: resources and applications belong to the tree; pointers hold until they are removed.
#ifndef COLLECTOR_TREE_HPP
#define COLLECTOR_TREE_HPP

#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "collector/model/Catalogue.hpp"
#include "collector/model/Model.hpp"
#include "collector/model/Snapshot.hpp"

namespace collector {

struct Resource;

struct Application {
    Guid guid{};
    Guid participant{}; // of the monitoring
    Resource* root = nullptr;
    std::optional<std::string> host;
    std::optional<std::uint64_t> processId;
    std::vector<LoggingSetting> loggingCollection;
    std::vector<LoggingSetting> loggingForwarding;
    std::size_t resources = 0;
    std::size_t series = 0;
    std::int64_t lastSampleNs = 0; // monotonic
    std::uint64_t resourceEpoch = 0;
    std::uint64_t metricEpoch = 0;
    bool isComplete = true;
    bool isTruncated = false; // resources were refused since the last registry: asking again would not help
    std::uint32_t unknownPeriodic = 0; // periodic samples of unknown resources since the tree changed
    std::optional<std::int64_t> askedNs;
};

struct Resource {
    struct Traits {
        std::optional<std::string> topic;
        std::optional<std::string> type;
        std::optional<std::int32_t> domain; // of a participant
    };
    static constexpr std::uint8_t noCells = 0xFF;

    Guid guid{};
    Application* application = nullptr;
    Resource* parent = nullptr;
    Resource* firstChild = nullptr;
    Resource* lastChild = nullptr;
    Resource* previous = nullptr; // siblings, in the order in which they came
    Resource* next = nullptr;
    std::string name;
    std::unique_ptr<Traits> traits; // once something is told
    MetricSet selected;
    MetricSet present;                // selected, and the group was received: the series
    std::vector<std::uint64_t> cells; // of each group received: its time, and the octets of its values
    std::array<std::uint8_t, maximalGroups> cellOf{}; // where a group begins in `cells`
    std::shared_ptr<const std::string> labels;        // null until they are asked for
    std::uint32_t slot = 0;                           // in the list of its class
    ResourceClass resourceClass = ResourceClass::application;
    std::uint8_t depth = 0;

    Resource() { cellOf.fill(noCells); }
    bool has(std::size_t group) const { return cellOf[group] != noCells; }
    std::int64_t timeOf(std::size_t group) const { return static_cast<std::int64_t>(cells[cellOf[group]]); }
    std::uint64_t valueOf(const Metric& metric) const {
        return cells[cellOf[metric.group] + 1U + metric.inGroup];
    }
    // Nearest participant above, itself included.
    const Resource* participant() const;
    std::string path() const;
};

// By name, then GUID.
void sortByName(std::vector<const Application*>& applications);

class Tree {
public:
    static constexpr std::size_t maximalDepth = 8; // the schema has four levels

    explicit Tree(const ModelLimits& limits) : limits_(limits) {}

    Application* application(const Guid& guid);
    const Application* application(const Guid& guid) const;
    Resource* resource(const Guid& guid);
    const Resource* resource(const Guid& guid) const;
    using Applications = std::unordered_map<Guid, Application, reading::GuidHash>;
    Applications& applications() { return applications_; }
    const Applications& applications() const { return applications_; }
    // By name, then GUID.
    std::vector<const Application*> sortedApplications() const;

    // The application with its root. The result or the reason.
    struct Added {
        Resource* resource = nullptr;
        DropCause refusal = DropCause::invalid; // of a null resource
    };
    Added addApplication(const Guid& guid, const Guid& participant, std::string name);
    // Below a resource of the same application; the GUID is not known yet.
    Added add(Resource& parent, const Guid& guid, ResourceClass resourceClass, std::string name);
    void rename(Resource& resource, std::string name);

    using OnRemoved = std::function<void(const Resource&)>; // the deepest first, still below its parents
    void remove(Resource& resource, const OnRemoved& onRemoved);
    void removeApplication(Application& application);

    // The metrics that are series from here on, once received. Groups of which nothing is selected are
    // forgotten, and those for which there is no room. Gives the number of series refused.
    std::size_t select(Resource& resource, const MetricSet& metrics);
    struct Stored {
        std::size_t refused = 0; // series
        MetricSet changed;       // series that are new or have another value
    };
    // A group of which nothing is selected is not kept.
    Stored store(
        Resource& resource, std::size_t group, std::span<const std::uint64_t> values, std::int64_t timeNs);

    Resource::Traits& traits(Resource& resource);
    // Of the resource and all below it.
    void forgetLabels(Resource& resource);

    // Renders missing labels of the class from the slot on, at most so many; the slot to go on from, nothing
    // at the end.
    std::optional<std::size_t> renderLabels(
        ResourceClass resourceClass, std::size_t slot, std::size_t atMost);
    void take(Snapshot& snapshot);

    std::size_t resourceCount() const { return resources_.size(); }
    std::size_t seriesCount() const { return series_; }

private:
    struct ClassList {
        std::vector<Resource*> slots; // in the order in which they came; null where one was removed
        std::size_t removed = 0;
    };

    Added insert(Application& application, Resource* parent, const Guid& guid, ResourceClass resourceClass,
        std::string name);
    void erase(Resource& resource);
    void compact(ClassList& list);
    bool hasRoomFor(const Application& application, std::size_t series) const;
    void setPresent(Resource& resource, const MetricSet& present);
    void forgetGroup(Resource& resource, std::size_t group);
    void takeResource(Resource& resource, Snapshot& snapshot);

    const ModelLimits limits_;
    Applications applications_;
    std::unordered_map<Guid, Resource, reading::GuidHash> resources_;
    std::array<ClassList, resourceClassCount> lists_;
    std::size_t series_ = 0;
};

} // namespace collector

#endif
