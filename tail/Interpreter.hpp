// Turns samples of the three topics into changes, and keeps the tree that they tell of.
//
// Everything here comes from remote: counts are bounded, text is escaped by the printer, and nothing is
// believed about order (a change may name a resource that was never told).
//
// An application tells its name in its registry, a moment after its first changes: those wait for it, for a
// bounded time, so that they are shown under their names. A snapshot repeats what was told before, for the
// sake of whoever came later: values that were shown already are not shown again. Of periodic values, which
// come whether they changed or not, those are shown that did.
//
// Events that did not come, by the numbers of those that did, are told too, once a second at most. Nobody is
// asked for them: what is sent for one reader goes to all. Threads: one owner.
#ifndef TAIL_INTERPRETER_HPP
#define TAIL_INTERPRETER_HPP

#include <array>
#include <functional>
#include <map>
#include <span>

#include "orxmonitoring2d/data_model.h"
#include "reading/Samples.hpp"
#include "tail/Change.hpp"
#include "tail/ResourceTree.hpp"
#include "tail/Statistics.hpp"
#include "zddsc/status.h"

namespace tail {

class Interpreter {
public:
    using Report = std::function<void(const Change&)>;

    // For how long changes of an application wait for its name; with 0 they are told at once. With
    // allPeriodic periodic values that did not change are told as well.
    explicit Interpreter(Report report, std::int64_t patienceNs = 0, bool allPeriodic = false)
        : report_(std::move(report)), patienceNs_(patienceNs), allPeriodic_(allPeriodic) {}

    void event(const DDS_Monitoring_Event& sample, const DDS_SampleInfo& info);
    void periodic(const DDS_Monitoring_Periodic& sample, const DDS_SampleInfo& info);
    void logging(const DDS_Monitoring_Logging& sample, const DDS_SampleInfo& info);
    // The event writer of an application is matched no more: its tree ends.
    void writerLeft(const Guid& writer, std::int64_t timeNs);
    // Samples that could not be decoded, by topic.
    void undecodable(const char* topic, std::uint64_t count, std::int64_t timeNs);

    // Tells the time, monotonic: whose name did not come is shown without, and what was lost is told.
    void tick(std::int64_t nowNs);
    // Tells everything that still waits.
    void flush();

    // Samples that came faster than they were read, by topic.
    void notCached(const char* topic, std::uint64_t count) { statistics_.notCached(topic, count); }

    const ResourceTree& tree() const { return tree_; }
    const Statistics& statistics() const { return statistics_; }

private:
    class Visitor;

    Change changeOf(
        const char* topic, const DDS_SampleInfo& info, const Guid& application, const Guid& resource) const;
    static Resource resourceOf(const reading::Described& described, const Guid& application);
    void resourceCreated(const reading::Described& resource, const Change& change);
    void resourceDeleted(const Guid& guid, Change change);
    void resourceSelected(const Guid& guid, std::vector<std::uint32_t> metricIds, Change change);
    void resourceRegistry(std::span<const reading::Described> described, const Change& change);
    void group(const reading::Group& group, Change change);
    void reportCreated(const Resource& resource, Change change);
    void reportDeleted(const Resource& resource, Change change);

    void tell(Change change);
    void tellWaiting(const Guid& application);
    bool wasShown(const Change& change);
    void keepChanged(Change& change);
    bool isHeldBack(const DDS_SampleInfo& info, const Guid& resource);
    std::uint64_t count(const char* topic, const DDS_SampleInfo& info, bool isSnapshot);
    std::uint64_t countEpochs(const DDS_Monitoring_Event& sample, const Guid& application);
    void tellLosses();
    void message(const DDS_Monitoring_LoggingMessage& message, Change change);

    // The participant that a writer belongs to.
    using Prefix = std::array<unsigned char, 12>;
    static Prefix prefixOf(const DDS_SampleInfo& info);

    struct Waiting {
        std::int64_t sinceNs = 0;
        std::vector<Change> changes;
    };

    Report report_;
    std::int64_t patienceNs_;
    bool allPeriodic_ = false;
    std::int64_t nowNs_ = 0;
    std::map<Guid, Waiting> waiting_;                          // by application
    std::map<Guid, std::map<std::string, std::size_t>> shown_; // hashes of values by resource and group
    // Texts of the last periodic values by resource and group, in the order of the group's leaves.
    std::map<Guid, std::map<std::string, std::vector<std::string>>> periodicValues_;
    ResourceTree tree_;
    Statistics statistics_;
    std::map<Guid, Guid> applications_;               // by event writer
    std::map<Prefix, Guid> applicationsByPrefix_;     // by the participant of its event writer
    std::map<Prefix, std::int64_t> strangersSinceNs_; // participants whose application was not told yet
    std::map<std::string, std::uint64_t> undecodable_;
    std::map<Guid, std::uint64_t> lost_; // events since the losses were told, by application
    std::int64_t lossesToldNs_ = 0;
    std::int64_t lossTimeNs_ = 0; // source time of what came after the last of them
};

} // namespace tail

#endif
