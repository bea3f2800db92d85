// Turns samples of the three topics into changes, and keeps the tree that they tell of.
//
// Everything here comes from remote: counts are bounded, text is escaped by the printer, and nothing is
// believed about order (a change may name a resource that was never told).
//
// An application tells its name in its registry, a moment after its first changes: those wait for it, for a
// bounded time, so that they are shown under their names. A snapshot repeats what was told before, for the
// sake of whoever came later: values that were shown already are not shown again. Threads: one owner.
#ifndef TAIL_INTERPRETER_HPP
#define TAIL_INTERPRETER_HPP

#include <functional>
#include <map>

#include "orxmonitoring2d/data_model.h"
#include "tail/Change.hpp"
#include "tail/ResourceTree.hpp"
#include "zddsc/status.h"

namespace tail {

class Interpreter {
public:
    using Report = std::function<void(const Change&)>;

    // For how long changes of an application wait for its name; with 0 they are told at once.
    explicit Interpreter(Report report, std::int64_t patienceNs = 0)
        : report_(std::move(report)), patienceNs_(patienceNs) {}

    void event(const DDS_Monitoring_Event& sample, const DDS_SampleInfo& info);
    void periodic(const DDS_Monitoring_Periodic& sample, const DDS_SampleInfo& info);
    void logging(const DDS_Monitoring_Logging& sample, const DDS_SampleInfo& info);
    // The event writer of an application is matched no more: its tree ends.
    void writerLeft(const Guid& writer, std::int64_t timeNs);
    // Samples that could not be decoded, by topic.
    void undecodable(const char* topic, std::uint64_t count, std::int64_t timeNs);

    // Tells the time, monotonic: whose name did not come is shown without.
    void tick(std::int64_t nowNs);
    // Tells everything that still waits.
    void flush();

    const ResourceTree& tree() const { return tree_; }

private:
    Change changeOf(
        const char* topic, const DDS_SampleInfo& info, const Guid& application, const Guid& resource) const;
    void resourceUpdate(const DDS_Monitoring_ResourceUpdate& update, Change change);
    void resourceRegistry(const DDS_Monitoring_ResourceRegistry& registry, const Change& change);
    void groups(const DDS_TypeDescriptor& unionType, const void* unionValue, const Change& change);
    void reportCreated(const Resource& resource, Change change);
    void reportDeleted(const Resource& resource, Change change);

    void tell(Change change);
    void tellWaiting(const Guid& application);
    bool wasShown(const Change& change);

    struct Waiting {
        std::int64_t sinceNs = 0;
        std::vector<Change> changes;
    };

    Report report_;
    std::int64_t patienceNs_;
    std::int64_t nowNs_ = 0;
    std::map<Guid, Waiting> waiting_;                          // by application
    std::map<Guid, std::map<std::string, std::size_t>> shown_; // hashes of values by resource and group
    ResourceTree tree_;
    std::map<Guid, Guid> applications_; // by event writer
    std::map<std::string, std::uint64_t> undecodable_;
};

} // namespace tail

#endif
