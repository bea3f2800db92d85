#include "tail/Interpreter.hpp"

#include <algorithm>
#include <cstring>
#include <utility>

#include "orxmonitoring2d/metric_catalogue.h"
#include "reading/Samples.hpp"
#include "tail/LogMessage.hpp"

namespace tail {

using reading::guidOf;

namespace {

constexpr std::size_t maximalApplications = 10'000; // event writers remembered
constexpr std::int64_t secondNs = 1'000'000'000;
constexpr std::size_t maximalWaiting = 10'000; // changes of one application, and applications

} // namespace

// Tells each of what a sample says as a change, of the state that what was told before it has made.
class Interpreter::Visitor : public reading::EventVisitor {
public:
    Visitor(Interpreter& interpreter, const DDS_Monitoring_Event& sample, const DDS_SampleInfo& info)
        : interpreter_(interpreter), sample_(sample), info_(info) {}

    void registry(std::span<const reading::Described> resources) override {
        interpreter_.resourceRegistry(resources, prepared());
    }
    void created(const reading::Described& resource) override {
        interpreter_.resourceCreated(resource, prepared());
    }
    void deleted(const Guid& resource) override { interpreter_.resourceDeleted(resource, prepared()); }
    void selected(const Guid& resource, const DDS_UnsignedLongSeq& metricIds) override {
        interpreter_.resourceSelected(resource, reading::metricIdsOf(metricIds), prepared());
    }
    void group(const reading::Group& group) override { interpreter_.group(group, prepared()); }

private:
    Change prepared() const {
        Change change = interpreter_.changeOf(
            "event", info_, guidOf(sample_.info.root_resource_guid), guidOf(sample_.resource_guid));
        change.snapshot = sample_.info.is_snapshot != 0;
        change.epochs = {sample_.info.epoch_resource, sample_.info.epoch_metric};
        return change;
    }

    Interpreter& interpreter_;
    const DDS_Monitoring_Event& sample_;
    const DDS_SampleInfo& info_;
};

Change Interpreter::changeOf(
    const char* topic, const DDS_SampleInfo& info, const Guid& application, const Guid& resource) const {
    Change change;
    change.timeNs = reading::sourceTimeOf(info);
    change.topic = topic;
    change.applicationGuid = application;
    change.application = tree_.applicationName(application);
    change.guid = resource;
    if (const Resource* known = tree_.find(resource)) {
        change.classId = known->classId;
        change.path = tree_.path(resource);
    }
    return change;
}

void Interpreter::event(const DDS_Monitoring_Event& sample, const DDS_SampleInfo& info) {
    const Guid application = guidOf(sample.info.root_resource_guid);
    if (applications_.size() < maximalApplications) {
        applications_[guidOf(info.publication_handle)] = application;
        applicationsByPrefix_[prefixOf(info)] = application;
        strangersSinceNs_.erase(prefixOf(info));
    }
    // What was lost on the way is missing from both; what its application dropped from the epochs, and of
    // snapshots from the numbers alone.
    const std::uint64_t missing = count("event", info, sample.info.is_snapshot != 0);
    const std::uint64_t lost = std::max(missing, countEpochs(sample, application));
    if (lost != 0 && (lost_.size() < maximalApplications || lost_.contains(application))) {
        lost_[application] += lost;
        lossTimeNs_ = reading::sourceTimeOf(info);
    }
    Visitor visitor(*this, sample, info);
    reading::visit(sample, visitor);
}

void Interpreter::periodic(const DDS_Monitoring_Periodic& sample, const DDS_SampleInfo& info) {
    count("periodic", info, false);
    const Guid guid = guidOf(sample.resource_guid);
    if (isHeldBack(info, guid))
        return;
    const Resource* known = tree_.find(guid);
    const Change change = changeOf("periodic", info, known != nullptr ? known->application : noGuid, guid);
    for (const reading::Group& each : reading::groupsOf(sample))
        group(each, change);
}

// A periodic sample says nothing of its resource but the GUID. Where the tree is on its way, or has lost the
// resource a moment ago, the values wait for the next sample, since nothing was told of them yet.
bool Interpreter::isHeldBack(const DDS_SampleInfo& info, const Guid& resource) {
    if (tree_.find(resource) != nullptr || patienceNs_ == 0)
        return false;
    const Prefix prefix = prefixOf(info);
    if (const auto application = applicationsByPrefix_.find(prefix);
        application != applicationsByPrefix_.end() && tree_.find(application->second) != nullptr)
        return true;
    if (strangersSinceNs_.size() >= maximalApplications && !strangersSinceNs_.contains(prefix))
        return false;
    return nowNs_ - strangersSinceNs_.try_emplace(prefix, nowNs_).first->second < patienceNs_;
}

Interpreter::Prefix Interpreter::prefixOf(const DDS_SampleInfo& info) {
    Prefix prefix;
    std::memcpy(prefix.data(), info.publication_handle.keyHash, prefix.size());
    return prefix;
}

void Interpreter::logging(const DDS_Monitoring_Logging& sample, const DDS_SampleInfo& info) {
    const Guid application = guidOf(sample.info.root_resource_guid);
    const bool isSnapshot = sample.info.is_snapshot != 0;
    count("logging", info, isSnapshot);
    statistics_.logEpoch(application, sample.info.epoch, isSnapshot);
    Change change = changeOf("logging", info, application, application);
    change.logEpoch = sample.info.epoch;
    if (sample.update != nullptr) {
        for (DDS_Long i = 0; i < DDS_Monitoring_LogReferenceSeq_get_length(sample.update); ++i) {
            if (const auto* each = DDS_Monitoring_LogReferenceSeq_get(sample.update, i))
                message(*each, change);
        }
    }
    change.snapshot = true;
    if (sample.snapshot != nullptr) {
        for (DDS_Long i = 0; i < DDS_Monitoring_LoggingMessageSeq_get_length(sample.snapshot); ++i)
            message(*DDS_Monitoring_LoggingMessageSeq_get_reference(sample.snapshot, i), change);
    }
}

// A snapshot repeats messages that were told before, for the sake of others.
void Interpreter::message(const DDS_Monitoring_LoggingMessage& message, Change change) {
    const bool isNew = statistics_.logMessage(change.applicationGuid, message.facility, message.sn);
    if (change.snapshot && !isNew)
        return;
    setLogMessage(change, message);
    tell(std::move(change));
}

std::uint64_t Interpreter::count(const char* topic, const DDS_SampleInfo& info, bool isSnapshot) {
    const auto& number = info.publication_sequence_number;
    const auto high = static_cast<std::uint32_t>(number.high);
    return statistics_.received(
        topic, guidOf(info.publication_handle), (std::uint64_t{high} << 32U) | number.low, isSnapshot);
}

// Snapshots and changes of a selection move neither epoch.
std::uint64_t Interpreter::countEpochs(const DDS_Monitoring_Event& sample, const Guid& application) {
    auto moved = sample.info.is_snapshot != 0 ? Statistics::Moved::none : Statistics::Moved::metric;
    const bool isApplication = sample.value._d == static_cast<DDS_Long>(ORX_MONITORING_APPLICATION_CLASS_ID);
    const auto* update = isApplication ? sample.value._u.application.resource_update : nullptr;
    if (update != nullptr && moved == Statistics::Moved::metric) {
        moved = update->_d == DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_CHANGE_KIND
                    ? Statistics::Moved::none
                    : Statistics::Moved::resource;
    }
    return statistics_.eventEpochs(application, sample.info.epoch_resource, sample.info.epoch_metric, moved);
}

Resource Interpreter::resourceOf(const reading::Described& described, const Guid& application) {
    return {described.guid, described.owner, application, described.classId, described.name,
        reading::metricIdsOf(*described.metricIds)};
}

void Interpreter::resourceCreated(const reading::Described& resource, const Change& change) {
    if (tree_.put(resourceOf(resource, change.applicationGuid)) == ResourceTree::Outcome::added)
        reportCreated(*tree_.find(resource.guid), change);
}

void Interpreter::resourceDeleted(const Guid& guid, Change change) {
    if (tree_.find(guid) == nullptr) {
        change.kind = ChangeKind::deleted;
        change.guid = guid;
        change.path.clear();
        return tell(std::move(change));
    }
    // Paths are made before the removal takes the ancestors away: the tree removes the deepest first.
    tree_.remove(guid, [&](const Resource& gone) { reportDeleted(gone, change); });
}

void Interpreter::resourceSelected(const Guid& guid, std::vector<std::uint32_t> metricIds, Change change) {
    const Resource* known = tree_.find(guid);
    change.kind = ChangeKind::selection;
    change.guid = guid;
    change.path = known != nullptr ? tree_.path(guid) : "";
    change.classId = known != nullptr ? known->classId : 0;
    change.values.push_back({"metrics", std::to_string(metricIds.size()), false});
    tree_.setMetricIds(guid, std::move(metricIds));
    tell(std::move(change));
}

void Interpreter::resourceRegistry(std::span<const reading::Described> described, const Change& change) {
    std::vector<Resource> resources;
    resources.reserve(described.size());
    for (const reading::Described& each : described)
        resources.push_back(resourceOf(each, change.applicationGuid));
    tree_.replaceApplication(
        change.applicationGuid, std::move(resources),
        [&](const Resource& gone) { reportDeleted(gone, change); },
        [&](const Resource& added) { reportCreated(added, change); });
}

void Interpreter::reportCreated(const Resource& resource, Change change) {
    change.kind = ChangeKind::created;
    change.application = tree_.applicationName(change.applicationGuid);
    change.guid = resource.guid;
    change.classId = resource.classId;
    change.path = tree_.path(resource.guid);
    change.values.push_back({"metrics", std::to_string(resource.metricIds.size()), false});
    tell(change);
}

void Interpreter::reportDeleted(const Resource& resource, Change change) {
    shown_.erase(resource.guid);
    periodicValues_.erase(resource.guid);
    change.kind = ChangeKind::deleted;
    change.guid = resource.guid;
    change.classId = resource.classId;
    // The resource has left the tree, its ancestors have not yet.
    const std::string owner = resource.owner == noGuid ? "" : tree_.path(resource.owner);
    change.path = owner + "/" + classIdentifier(resource.classId) + "/" + escaped(resource.name);
    tell(change);
}

void Interpreter::group(const reading::Group& group, Change change) {
    change.group = group.name;
    reading::appendLeaves(*group.type, group.value, "", change.values);
    const bool isPeriodic = change.topic == "periodic";
    if (isPeriodic && !allPeriodic_)
        keepChanged(change);
    if (isPeriodic ? !change.values.empty() : !wasShown(change))
        tell(std::move(change));
}

void Interpreter::writerLeft(const Guid& writer, std::int64_t timeNs) {
    const auto known = applications_.find(writer);
    if (known == applications_.end())
        return;
    Change change;
    change.kind = ChangeKind::gone;
    change.timeNs = timeNs;
    change.topic = "event";
    change.applicationGuid = change.guid = known->second;
    change.application = tree_.applicationName(known->second);
    change.classId = ORX_MONITORING_APPLICATION_CLASS_ID;
    change.path = tree_.find(known->second) != nullptr ? tree_.path(known->second) : "";
    tell(change);
    tellWaiting(known->second);
    tree_.remove(known->second, [&](const Resource& gone) {
        shown_.erase(gone.guid);
        periodicValues_.erase(gone.guid);
    });
    statistics_.gone(known->second);
    std::erase_if(applicationsByPrefix_, [&](const auto& each) { return each.second == known->second; });
    applications_.erase(known);
}

void Interpreter::undecodable(const char* topic, std::uint64_t count, std::int64_t timeNs) {
    statistics_.undecodable(topic, count);
    std::uint64_t& told = undecodable_[topic];
    if (count == told)
        return;
    Change change;
    change.kind = ChangeKind::undecodable;
    change.timeNs = timeNs;
    change.topic = topic;
    change.values.push_back({"samples", std::to_string(count - told), false});
    told = count;
    tell(change);
}

// Leaves what differs from the last values of the group: before the first they count as zero and empty.
// Values of resources that are not known are not remembered, as nothing bounds their number.
void Interpreter::keepChanged(Change& change) {
    if (tree_.find(change.guid) == nullptr)
        return;
    std::vector<std::string>& last = periodicValues_[change.guid][change.group];
    if (last.size() != change.values.size()) {
        last.clear();
        for (const Leaf& leaf : change.values)
            last.push_back(leaf.isText ? "" : leaf.text == "true" || leaf.text == "false" ? "false" : "0");
    }
    std::vector<Leaf> changed;
    for (std::size_t i = 0; i < last.size(); ++i) {
        if (last[i] == change.values[i].text)
            continue;
        last[i] = change.values[i].text;
        changed.push_back(std::move(change.values[i]));
    }
    change.values = std::move(changed);
}

// Remembers the values of a group, of known resources alone: their number is bounded. A change is always
// shown.
bool Interpreter::wasShown(const Change& change) {
    if (change.topic != "event" || tree_.find(change.guid) == nullptr)
        return false;
    std::string text;
    for (const Leaf& leaf : change.values)
        text += leaf.path + '=' + leaf.text + '\n';
    const std::size_t hash = std::hash<std::string>{}(text);
    const auto [known, isNew] = shown_[change.guid].try_emplace(change.group, hash);
    const bool isSame = !isNew && known->second == hash;
    known->second = hash;
    return isSame && change.snapshot;
}

void Interpreter::tell(Change change) {
    const Guid application = change.applicationGuid;
    const bool isNamed = application == noGuid || tree_.find(application) != nullptr;
    if (isNamed || patienceNs_ == 0) {
        if (application != noGuid && isNamed)
            statistics_.name(application, tree_.applicationName(application));
        report_(change);
        if (!waiting_.empty())
            tellWaiting(application);
        return;
    }
    if (waiting_.size() >= maximalWaiting && !waiting_.contains(application))
        return report_(change);
    Waiting& waiting = waiting_[application];
    if (waiting.changes.empty())
        waiting.sinceNs = nowNs_;
    waiting.changes.push_back(std::move(change));
    if (waiting.changes.size() >= maximalWaiting)
        tellWaiting(application);
}

void Interpreter::tellWaiting(const Guid& application) {
    auto node = waiting_.extract(application);
    if (node.empty())
        return;
    const std::string unnamed = "/?/" + guidText(application);
    for (Change& change : node.mapped().changes) {
        if (tree_.find(application) != nullptr) {
            change.application = tree_.applicationName(application);
            statistics_.name(application, change.application);
            if (change.path.starts_with(unnamed))
                change.path.replace(0, unnamed.size(), tree_.path(application));
            // Told before its resource was: the registry named it since.
            if (change.path.empty() && tree_.find(change.guid) != nullptr) {
                change.path = tree_.path(change.guid);
                change.classId = tree_.find(change.guid)->classId;
            }
        }
        report_(change);
    }
}

void Interpreter::tick(std::int64_t nowNs) {
    nowNs_ = nowNs;
    std::vector<Guid> late;
    for (const auto& [application, waiting] : waiting_) {
        if (nowNs - waiting.sinceNs >= patienceNs_)
            late.push_back(application);
    }
    for (const Guid& application : late)
        tellWaiting(application);
    if (!lost_.empty() && nowNs - lossesToldNs_ >= secondNs)
        tellLosses();
}

void Interpreter::tellLosses() {
    lossesToldNs_ = nowNs_;
    for (const auto& [application, count] : std::exchange(lost_, {})) {
        Change change;
        change.kind = ChangeKind::lost;
        change.timeNs = lossTimeNs_;
        change.topic = "event";
        change.applicationGuid = change.guid = application;
        change.application = tree_.applicationName(application);
        change.classId = ORX_MONITORING_APPLICATION_CLASS_ID;
        change.path = tree_.find(application) != nullptr ? tree_.path(application) : "";
        change.values.push_back({"samples", std::to_string(count), false});
        report_(change);
    }
}

void Interpreter::flush() {
    tellLosses();
    while (!waiting_.empty())
        tellWaiting(waiting_.begin()->first);
}

} // namespace tail
