// What the collector knows: applications, their resources, and the last value of every selected metric.
//
// Fed with the decoded samples of the event and the periodic topic; read by scrapes, by the API and by live
// streams. A resource stands in the tree from its creation, or from a registry that names it, until its own
// deletion, the deletion of anything above it, a registry that names it no longer, or the end of its
// application. A series is a metric of the catalogue that is selected on a living resource and whose group
// was received: one that is deselected is gone with the change that tells so.
//
// Samples are not waited for. One that speaks of an application or a resource that is not known is dropped
// and counted: a registry, and the values behind it, follow every match of an application's writer, and
// periodic values come again by themselves. Where something was missed (a gap in the epochs, an unknown
// parent, values of unknown resources) the application is on the list of takeIncomplete(), so that a registry
// can be asked for.
//
// Bounds: everything remote can swell has a limit (ModelLimits); what is refused is counted by cause. Texts
// are valid UTF-8 once they are in the model (what is not is replaced by U+FFFD), and cut at a length.
//
// Threads: every function may be called from any thread. Feeders follow each other; readers copy what they
// need out of one short lock and never hold up the feed for longer than a copy of the values takes (snapshot:
// some nanoseconds a series). Observers are called on the feeding thread, with no lock held but the feeders'
// own: an observer may read the model and take locks of its own, but must not feed. Errors: std::bad_alloc
// alone, which leaves the model usable; the sample at hand may be half taken over.
#ifndef COLLECTOR_MODEL_HPP
#define COLLECTOR_MODEL_HPP

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "collector/model/Snapshot.hpp"
#include "orxmonitoring2d/data_model.h"
#include "reading/Guid.hpp"
#include "zddsc/status.h"

namespace collector {

struct ModelLimits {
    std::size_t applications = 1'000;
    std::size_t resources = 200'000; // of all applications
    std::size_t resourcesPerApplication = 20'000;
    std::size_t series = 5'000'000; // of all applications
    std::size_t seriesPerApplication = 50'000;
    std::size_t textLength = 512; // bytes of a name of a topic, a type, a host; longer ones are cut
};

// Why something was refused, dropped or cut.
enum class DropCause : std::uint8_t {
    invalid,            // a sample without data
    applicationLimit,   // ModelLimits::applications
    resourceLimit,      // resources, resourcesPerApplication: one for each resource refused
    seriesLimit,        // series, seriesPerApplication: one for each series refused
    depth,              // a resource deeper than any tree of the schema can be
    textLength,         // a text that was cut (and taken)
    unknownApplication, // a sample of an application that has not told its registry yet
    unknownResource,    // values of a resource that is not known
    unknownParent,      // a resource below one that is not known
    unknownClass, // a class that the schema does not have, or values of another class than the resource's
    conflict,     // of a GUID that belongs to another application, or an application of another participant
    count
};
// "invalid", "application_limit", ...: a stable word.
const char* dropCauseName(DropCause cause);

struct ModelStatistics {
    std::size_t applications = 0;
    std::size_t incompleteApplications = 0; // of them: something was missed and not told again yet
    std::size_t resources = 0;
    std::size_t series = 0;
    std::uint64_t eventSamples = 0;
    std::uint64_t periodicSamples = 0;
    std::uint64_t loggingSamples = 0;
    std::array<std::uint64_t, static_cast<std::size_t>(DropCause::count)> dropped{}; // by cause
};

// As many as a facility has settings; the numbers of the schema: a verbosity is a mask.
struct LoggingSetting {
    std::uint8_t facility = 0;
    std::uint32_t verbosity = 0;
};

struct ApplicationView {
    Guid guid{};
    Guid participant{}; // of the monitoring, which its writers belong to
    std::string name;   // as in "/applications/<name>"
    std::optional<std::string> host;
    std::optional<std::uint64_t> processId;
    std::vector<LoggingSetting> loggingCollection; // as told last; empty until then
    std::vector<LoggingSetting> loggingForwarding;
    std::size_t resources = 0; // itself included
    std::size_t series = 0;
    double lastSampleSecondsAgo = 0; // of any topic
    std::uint64_t resourceEpoch = 0;
    std::uint64_t metricEpoch = 0;
    bool isComplete = true; // nothing is known to be missing
};

// Every metric of the catalogue is a number.
using MetricValue = std::variant<std::int64_t, std::uint64_t, double>;

struct MetricReading {
    const char* name = nullptr; // the catalogue's own text
    MetricValue value;
    std::int64_t timeNs = 0; // of the sample at its source, since 1970
    bool isPeriodic = false; // topic "periodic", else "event"
};

struct ResourceView {
    Guid guid{};
    Guid parent{}; // noGuid for an application
    Guid application{};
    std::string applicationName;
    ResourceClass resourceClass = ResourceClass::application;
    std::string name;
    std::string path; // "/applications/app/domain_participants/p/topics/t"
    std::optional<std::string> topic;
    std::optional<std::string> type;
    std::optional<std::int32_t> domain;
    std::vector<MetricReading> metrics; // the series, when they were asked for
    std::vector<Guid> children;         // when they were asked for
};

enum class ModelEventKind : std::uint8_t {
    applicationAppeared, // its root resource is known now
    applicationVanished, // with all its resources: no deletions are told for them
    created,
    deleted, // told for each resource, the deepest first
    metric   // a value of the event topic that is new, or differs from the last one
};
// "application_appeared", "created", ...
const char* modelEventName(ModelEventKind kind);

struct ModelEvent {
    ModelEventKind kind = ModelEventKind::created;
    std::int64_t timeNs = 0; // of the sample at its source, since 1970
    Guid application{};
    std::string applicationName;
    Guid guid{};
    ResourceClass resourceClass = ResourceClass::application;
    std::string path;
    const char* metric = nullptr; // of a metric: its name in the catalogue
    MetricValue value;            // of a metric
    bool isSnapshot = false;      // told by a snapshot: not new for everybody
};

class ModelObserver {
public:
    virtual ~ModelObserver() = default;
    // What one sample changed, in order. The events are the model's, for the time of the call. Must not
    // throw.
    virtual void onEvents(std::span<const ModelEvent> events) = 0;
};

class Model {
public:
    using Clock = std::function<std::int64_t()>; // monotonic nanoseconds

    explicit Model(ModelLimits limits = {}, Clock clock = {});
    ~Model();
    Model(const Model&) = delete;
    Model& operator=(const Model&) = delete;

    // ---- The feed ----
    // The info's publication_handle is the GUID of the writer that published the sample, or for which it was
    // made (the deletion of an application whose writer vanished); samples of an application that come from
    // another participant than its registry did are refused, unless they bring a registry.
    void event(const DDS_Monitoring_Event& sample, const DDS_SampleInfo& info);
    void periodic(const DDS_Monitoring_Periodic& sample, const DDS_SampleInfo& info);
    // Is counted, and tells that the application lives. The messages are not the model's.
    void logging(const DDS_Monitoring_Logging& sample, const DDS_SampleInfo& info);
    // Every application of the participant ends. Only the first twelve octets count.
    void participantGone(const Guid& participant, std::int64_t timeNs);
    // The application ends, though no sample told so.
    void applicationGone(const Guid& application, std::int64_t timeNs);
    // Samples were lost before they came here, and nobody knows whose: every application is on the list of
    // takeIncomplete() until it has told its registry.
    void doubtAll();

    // ---- Observers ----
    // While there is none, no event is made. One that is removed may still be in a call that began before.
    void addObserver(std::shared_ptr<ModelObserver> observer);
    void removeObserver(const ModelObserver* observer);

    // ---- Lookups: copies ----
    std::vector<ApplicationView> applications() const; // by name, then GUID
    std::optional<ApplicationView> application(const Guid& guid) const;
    // Empty when there is none.
    std::string applicationName(const Guid& guid) const;
    // Applications that a person means: a path ("/applications/NAME"), a name, either with a pattern of
    // REDAString_fnmatch as the name, or a GUID in any of the forms of parseGuid. By name, then GUID.
    std::vector<Guid> applicationsNamed(std::string_view text) const;

    std::optional<ResourceView> resource(const Guid& guid) const; // with metrics and children

    struct Page {
        std::vector<ResourceView> resources; // parents before children
        Guid next{};                         // what to give as `after`, noGuid at the end
    };
    // What the path expression selects (orxmonitoring2d/path_matcher.h), each resource once, in depth-first
    // order of applications by name; those behind `after`, which may be gone: then from the start. Nothing
    // for an expression that is malformed.
    std::optional<Page> resources(std::string_view expression, bool withMetrics, std::size_t limit,
        const Guid& after = reading::noGuid) const;

    // The selector as it is to be sent, so that everybody reads it alike: where it names an application after
    // "/applications/" (or after a pattern that is met by "applications" at the root), by a name or by a
    // pattern, one expression with the GUID of each application of that name, ordered by name and GUID. A
    // selector that names none, all ("*"), a GUID already, or nobody known, stays as it is. An expression
    // that would become longer than path expressions may be stays too.
    std::vector<std::string> translateSelector(std::string_view selector) const;

    ModelStatistics statistics() const;
    const ModelLimits& limits() const;

    // Applications of which something was missed, to be asked for their registry ("/applications/GUID(...)");
    // each is told again only when `againNs` have passed and it still is incomplete.
    std::vector<Guid> takeIncomplete(std::int64_t againNs = 10'000'000'000);

    // ---- For the exposition ----
    // All series at one moment. `snapshot` may be one that was filled before: its memory is used again.
    void take(Snapshot& snapshot) const;

private:
    friend class Feed;
    struct State;
    template <typename Step> void run(const DDS_SampleInfo& info, Step step);
    std::unique_ptr<State> state_;
};

} // namespace collector

#endif
