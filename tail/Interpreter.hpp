// Turns samples of the three topics into changes, and keeps the tree that they tell of.
//
// Everything here comes from remote: counts are bounded, text is escaped by the printer, and nothing is believed
// about order (a change may name a resource that was never told).
// Threads: one owner.
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

    explicit Interpreter(Report report) : report_(std::move(report)) {}

    void event(const DDS_Monitoring_Event& sample, const DDS_SampleInfo& info);
    void periodic(const DDS_Monitoring_Periodic& sample, const DDS_SampleInfo& info);
    void logging(const DDS_Monitoring_Logging& sample, const DDS_SampleInfo& info);
    // The event writer of an application is matched no more: its tree ends.
    void writerLeft(const Guid& writer, std::int64_t timeNs);
    // Samples that could not be decoded, by topic.
    void undecodable(const char* topic, std::uint64_t count, std::int64_t timeNs);

    const ResourceTree& tree() const { return tree_; }

private:
    Change changeOf(const char* topic, const DDS_SampleInfo& info, const Guid& application, const Guid& resource) const;
    void resourceUpdate(const DDS_Monitoring_ResourceUpdate& update, Change change);
    void resourceRegistry(const DDS_Monitoring_ResourceRegistry& registry, const Change& change);
    void groups(const DDS_TypeDescriptor& unionType, const void* unionValue, const Change& change);
    void reportCreated(const Resource& resource, Change change);
    void reportDeleted(const Resource& resource, Change change);

    Report report_;
    ResourceTree tree_;
    std::map<Guid, Guid> applications_; // by event writer
    std::map<std::string, std::uint64_t> undecodable_;
};

} // namespace tail

#endif
