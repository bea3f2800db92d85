#include "collector/model/Feed.hpp"

#include <algorithm>
#include <string_view>

#include "orxmonitoring2d/metric_catalogue.h"
#include "reading/Text.hpp"

namespace collector {

using reading::guidOf;

namespace {

constexpr std::size_t maximalLoggingSettings = 32;   // a facility has one of each kind
constexpr std::uint32_t unknownPeriodicThatTell = 8; // late ones of deleted resources are ordinary
constexpr std::size_t participantPrefix = 12;        // octets of a GUID
constexpr std::array<std::uint8_t, 4> participantEntity{0, 0, 1, 0xC1};

bool isOfParticipant(const Guid& left, const Guid& right) {
    return std::equal(left.begin(), left.begin() + participantPrefix, right.begin());
}

Guid participantOf(const Guid& writer) {
    Guid guid = writer;
    std::copy(participantEntity.begin(), participantEntity.end(), guid.begin() + participantPrefix);
    return guid;
}

const char* loadText(const void* place) {
    const char* text = nullptr;
    std::memcpy(&text, place, sizeof text);
    return text != nullptr ? text : "";
}

template <typename T> T load(const void* place) {
    T value;
    std::memcpy(&value, place, sizeof value);
    return value;
}

const DDS_Monitoring_ResourceUpdate* updateIn(const DDS_Monitoring_Event& sample) {
    const bool isApplication = sample.value._d == static_cast<DDS_Long>(ORX_MONITORING_APPLICATION_CLASS_ID);
    return isApplication ? sample.value._u.application.resource_update : nullptr;
}

bool hasRegistry(const DDS_Monitoring_Event& sample) {
    return sample.value._d == static_cast<DDS_Long>(ORX_MONITORING_APPLICATION_CLASS_ID) &&
           sample.value._u.application.resource_registry != nullptr;
}

bool createsApplication(const DDS_Monitoring_Event& sample) {
    const auto* update = updateIn(sample);
    return update != nullptr &&
           update->_d == DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_CREATION_KIND &&
           update->_u.new_resource.class_id == ORX_MONITORING_APPLICATION_CLASS_ID;
}

} // namespace

Feed::Feed(Model::State& state, const DDS_SampleInfo& info, bool isObserved)
    : state_(state), tree_(state.tree), info_(info), isObserved_(isObserved),
      writer_(guidOf(info.publication_handle)), timeNs_(reading::sourceTimeOf(info)) {}

void Feed::event(const DDS_Monitoring_Event& sample) {
    ++state_.statistics.eventSamples;
    if (info_.valid_data == 0)
        return state_.drop(DropCause::invalid);
    resourceGuid_ = guidOf(sample.resource_guid);
    applicationGuid_ = guidOf(sample.info.root_resource_guid);
    if (applicationGuid_ == noGuid) // a forwarder tells the end of an application, and names no root
        applicationGuid_ = resourceGuid_;
    isSnapshot_ = sample.info.is_snapshot != 0;
    application_ = tree_.application(applicationGuid_);
    if (!isOfTheApplication(sample))
        return;
    const bool isToAgree = hasRegistry(sample) && application_ != nullptr && application_->isComplete &&
                           application_->resourceEpoch == sample.info.epoch_resource;
    reading::visit(sample, *this);
    if (application_ == nullptr)
        return;
    followEpochs(sample);
    // Nothing was missed, and still the registry told another tree: it was made before what was told since,
    // or a change is on its way. The next one will show which.
    if (isToAgree && hasTreeChanged_)
        missed();
}

// Who speaks for an application that is known is the participant that told its registry. Where an application
// moved to another one (its library was started anew), its registry says so, and all that was known has
// ended.
bool Feed::isOfTheApplication(const DDS_Monitoring_Event& sample) {
    if (application_ == nullptr) {
        if (hasRegistry(sample) || createsApplication(sample))
            return true;
        state_.drop(DropCause::unknownApplication);
        return false;
    }
    if (!isOfParticipant(application_->participant, writer_)) {
        if (!hasRegistry(sample)) {
            state_.drop(DropCause::conflict);
            return false;
        }
        vanish(*application_);
        application_ = nullptr;
        return true;
    }
    application_->lastSampleNs = state_.clock();
    return true;
}

// Creations and deletions move the one epoch, values the other; snapshots and selections move none. What else
// the epochs say was missed.
void Feed::followEpochs(const DDS_Monitoring_Event& sample) {
    Application& known = *application_;
    const std::uint64_t resourceEpoch = sample.info.epoch_resource;
    const std::uint64_t metricEpoch = sample.info.epoch_metric;
    if (!hasRegistry(sample)) {
        const auto* update = updateIn(sample);
        const bool movesNone =
            isSnapshot_ || (update != nullptr &&
                               update->_d == DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_CHANGE_KIND);
        const bool movesResource = !movesNone && update != nullptr;
        const bool movesMetric = !movesNone && update == nullptr;
        if (resourceEpoch != known.resourceEpoch + (movesResource ? 1 : 0) ||
            metricEpoch != known.metricEpoch + (movesMetric ? 1 : 0))
            missed();
    }
    known.resourceEpoch = resourceEpoch;
    known.metricEpoch = metricEpoch;
}

// Of an application that has more resources than are kept, another registry would tell nothing.
void Feed::missed() {
    if (application_ != nullptr && !application_->isTruncated)
        application_->isComplete = false;
}

void Feed::registry(std::span<const reading::Described> resources) {
    const auto root = std::find_if(resources.begin(), resources.end(), [&](const auto& each) {
        return each.guid == applicationGuid_ && each.classId == ORX_MONITORING_APPLICATION_CLASS_ID;
    });
    if (root == resources.end())
        return state_.drop(DropCause::unknownApplication);
    if (put(*root, ResourceClass::application) == nullptr)
        return;
    application_->isTruncated = false;
    application_->isComplete = true;
    application_->unknownPeriodic = 0;

    Named named;
    named.reserve(resources.size());
    for (const auto& each : resources)
        named.emplace(each.guid, &each);
    removeUnnamed(named);

    // Parents first, whatever the order of the sample: what still has no parent waits for the next round.
    std::vector<const reading::Described*> waiting;
    waiting.reserve(resources.size());
    for (const auto& each : resources) {
        if (each.guid != applicationGuid_)
            waiting.push_back(&each);
    }
    for (std::size_t round = 0; round < Tree::maximalDepth && !waiting.empty(); ++round) {
        std::erase_if(waiting, [&](const reading::Described* each) {
            const Resource* parent = tree_.resource(each->owner);
            if (parent == nullptr)
                return false;
            created(*each);
            return true;
        });
    }
    for (const reading::Described* each : waiting)
        created(*each); // is refused, and counted
}

void Feed::created(const reading::Described& described) {
    const auto resourceClass = resourceClassOf(described.classId);
    if (!resourceClass)
        return state_.drop(DropCause::unknownClass);
    (void)put(described, *resourceClass);
}

Resource* Feed::put(const reading::Described& described, ResourceClass resourceClass) {
    const bool isRoot = resourceClass == ResourceClass::application;
    if (isRoot != (described.guid == applicationGuid_) || (isRoot && described.owner != noGuid)) {
        state_.drop(DropCause::conflict);
        return nullptr;
    }
    Resource* resource = nullptr;
    if (isRoot) {
        resource = putRoot(described);
    } else if (Resource* parent = tree_.resource(described.owner); parent == nullptr) {
        state_.drop(DropCause::unknownParent);
        missed();
    } else {
        resource = putBelow(described, resourceClass, *parent);
    }
    if (resource != nullptr)
        select(*resource, *described.metricIds);
    return resource;
}

Resource* Feed::putRoot(const reading::Described& described) {
    if (application_ != nullptr) {
        tree_.rename(*application_->root, textOf(described.name));
        return application_->root;
    }
    const Tree::Added added =
        tree_.addApplication(applicationGuid_, participantOf(writer_), textOf(described.name));
    if (added.resource == nullptr) {
        state_.drop(added.refusal);
        return nullptr;
    }
    application_ = added.resource->application;
    application_->lastSampleNs = state_.clock();
    tell(ModelEventKind::applicationAppeared, *added.resource);
    return added.resource;
}

Resource* Feed::putBelow(const reading::Described& described, ResourceClass resourceClass, Resource& parent) {
    Resource* known = tree_.resource(described.guid);
    if (parent.application != application_ || (known != nullptr && known->application != application_)) {
        state_.drop(DropCause::conflict);
        return nullptr;
    }
    if (known != nullptr && known->parent == &parent && known->resourceClass == resourceClass) {
        tree_.rename(*known, textOf(described.name));
        return known;
    }
    if (known != nullptr) {
        // Another resource with a GUID that was used before. It may stand above its new parent: then both
        // end.
        removeResource(*known);
        if (tree_.resource(described.owner) == nullptr) {
            state_.drop(DropCause::unknownParent);
            missed();
            return nullptr;
        }
    }
    const Tree::Added added = tree_.add(parent, described.guid, resourceClass, textOf(described.name));
    if (added.resource == nullptr) {
        state_.drop(added.refusal);
        return nullptr;
    }
    application_->unknownPeriodic = 0;
    hasTreeChanged_ = true;
    tell(ModelEventKind::created, *added.resource);
    return added.resource;
}

// What the registry does not name, or names as another resource. The highest of each branch that ends: what
// is below goes with it, and comes anew if it was named.
void Feed::removeUnnamed(const Named& named) {
    const auto isSame = [&](const Resource& resource) {
        const auto found = named.find(resource.guid);
        if (found == named.end())
            return false;
        const Guid owner = resource.parent != nullptr ? resource.parent->guid : noGuid;
        return found->second->owner == owner && found->second->classId == classIdOf(resource.resourceClass);
    };
    std::vector<Guid> gone;
    std::vector<const Resource*> next{application_->root};
    while (!next.empty()) {
        const Resource* at = next.back();
        next.pop_back();
        if (at != application_->root && !isSame(*at)) {
            gone.push_back(at->guid);
            continue;
        }
        for (const Resource* child = at->firstChild; child != nullptr; child = child->next)
            next.push_back(child);
    }
    for (const Guid& guid : gone)
        removeResource(*tree_.resource(guid));
}

void Feed::removeResource(Resource& resource) {
    hasTreeChanged_ = true;
    tree_.remove(resource, isObserved_ ? [this](const Resource& gone) { tell(ModelEventKind::deleted, gone); }
                                       : Tree::OnRemoved{});
}

void Feed::vanish(Application& application) {
    tell(ModelEventKind::applicationVanished, *application.root);
    tree_.removeApplication(application);
}

void Feed::deleted(const Guid& guid) {
    if (application_ == nullptr)
        return;
    if (guid == applicationGuid_) {
        vanish(*application_);
        application_ = nullptr;
        return;
    }
    Resource* resource = tree_.resource(guid);
    if (resource == nullptr)
        return state_.drop(DropCause::unknownResource);
    if (resource->application != application_)
        return state_.drop(DropCause::conflict);
    removeResource(*resource);
    application_->unknownPeriodic = 0;
}

void Feed::selected(const Guid& guid, const DDS_UnsignedLongSeq& metricIds) {
    Resource* resource = application_ != nullptr ? tree_.resource(guid) : nullptr;
    if (resource == nullptr) {
        state_.drop(DropCause::unknownResource);
        return missed();
    }
    if (resource->application != application_)
        return state_.drop(DropCause::conflict);
    select(*resource, metricIds);
}

void Feed::select(Resource& resource, const DDS_UnsignedLongSeq& metricIds) {
    MetricSet metrics;
    for (DDS_Long i = 0; i < DDS_UnsignedLongSeq_get_length(&metricIds); ++i) {
        if (const auto metric = metricWithId(resource.resourceClass, DDS_UnsignedLongSeq_get(&metricIds, i)))
            metrics.add(*metric);
    }
    if (const std::size_t refused = tree_.select(resource, metrics); refused != 0)
        state_.drop(DropCause::seriesLimit, refused);
}

// ---- Values ----

void Feed::group(const reading::Group& group) {
    Resource* resource = application_ != nullptr ? tree_.resource(resourceGuid_) : nullptr;
    if (resource == nullptr) {
        state_.drop(DropCause::unknownResource);
        return missed();
    }
    if (resource->application != application_)
        return state_.drop(DropCause::conflict);
    storeGroup(*resource, false, group);
}

void Feed::periodic(const DDS_Monitoring_Periodic& sample) {
    ++state_.statistics.periodicSamples;
    if (info_.valid_data == 0)
        return state_.drop(DropCause::invalid);
    Resource* resource = tree_.resource(guidOf(sample.resource_guid));
    if (resource == nullptr) {
        // Of late values of what was deleted nothing follows; of ever more of them, that something was
        // missed.
        state_.drop(DropCause::unknownResource);
        for (auto& [guid, application] : tree_.applications()) {
            if (!isOfParticipant(application.participant, writer_))
                continue;
            application_ = &application;
            if (++application.unknownPeriodic == unknownPeriodicThatTell)
                missed();
        }
        return;
    }
    application_ = resource->application;
    if (!isOfParticipant(application_->participant, writer_))
        return state_.drop(DropCause::conflict);
    application_->lastSampleNs = state_.clock();
    for (const reading::Group& each : reading::groupsOf(sample))
        storeGroup(*resource, true, each);
}

void Feed::storeGroup(Resource& resource, bool isPeriodic, const reading::Group& group) {
    if (group.classId != classIdOf(resource.resourceClass))
        return state_.drop(DropCause::unknownClass);
    const auto number = groupAt(resource.resourceClass, isPeriodic, group.member);
    if (!number)
        return storeAttribute(resource, group);
    std::array<std::uint64_t, MetricSet::capacity> values;
    const std::span own{values.data(), groupsOf(resource.resourceClass)[*number].metricCount};
    readGroup(resource.resourceClass, *number, group.value, own);
    const Tree::Stored stored = tree_.store(resource, *number, own, timeNs_);
    if (stored.refused != 0)
        state_.drop(DropCause::seriesLimit, stored.refused);
    if (isObserved_ && !isPeriodic)
        tellMetrics(resource, stored.changed);
}

void Feed::storeAttribute(Resource& resource, const reading::Group& group) {
    const std::string_view name = group.name;
    if (name == "topic_name") {
        storeText(resource, &Resource::Traits::topic, loadText(group.value));
    } else if (name == "registered_type_name") {
        storeText(resource, &Resource::Traits::type, loadText(group.value));
    } else if (name == "domain_id") {
        auto& domain = tree_.traits(resource).domain;
        if (domain != load<std::int32_t>(group.value)) {
            domain = load<std::int32_t>(group.value);
            tree_.forgetLabels(resource);
        }
    } else if (name == "hostname") {
        application_->host = textOf(loadText(group.value));
    } else if (name == "process_id") {
        application_->processId = load<std::uint64_t>(group.value);
    } else if (name == "logging") {
        storeLogging(*static_cast<const DDS_Monitoring_LoggingConfig*>(group.value));
    }
}

void Feed::storeText(
    Resource& resource, std::optional<std::string> Resource::Traits::*member, const char* text) {
    std::string kept = textOf(text);
    auto& place = tree_.traits(resource).*member;
    if (place == kept)
        return;
    place = std::move(kept);
    tree_.forgetLabels(resource);
}

void Feed::storeLogging(const DDS_Monitoring_LoggingConfig& config) {
    const auto copy = [](const DDS_Monitoring_LoggingSettingSeq& settings) {
        std::vector<LoggingSetting> result;
        const auto count = static_cast<std::size_t>(DDS_Monitoring_LoggingSettingSeq_get_length(&settings));
        for (std::size_t i = 0; i < std::min(count, maximalLoggingSettings); ++i) {
            const auto* each =
                DDS_Monitoring_LoggingSettingSeq_get_reference(&settings, static_cast<DDS_Long>(i));
            result.push_back({each->facility, static_cast<std::uint32_t>(each->verbosity)});
        }
        return result;
    };
    application_->loggingCollection = copy(config.logging_collection);
    application_->loggingForwarding = copy(config.logging_forwarding);
}

std::string Feed::textOf(const char* text) {
    bool isCut = false;
    std::string kept = reading::validUtf8(text, state_.limits.textLength, isCut);
    if (isCut)
        state_.drop(DropCause::textLength);
    return kept;
}

// ---- Others ----

void Feed::logging(const DDS_Monitoring_Logging& sample) {
    ++state_.statistics.loggingSamples;
    if (info_.valid_data == 0)
        return state_.drop(DropCause::invalid);
    Application* known = tree_.application(guidOf(sample.info.root_resource_guid));
    if (known != nullptr && isOfParticipant(known->participant, writer_))
        known->lastSampleNs = state_.clock();
}

void Feed::participantGone(const Guid& participant) {
    std::vector<Guid> gone;
    for (const auto& [guid, application] : tree_.applications()) {
        if (isOfParticipant(application.participant, participant))
            gone.push_back(guid);
    }
    for (const Guid& guid : gone)
        vanish(*tree_.application(guid));
}

void Feed::applicationGone(const Guid& application) {
    if (Application* known = tree_.application(application))
        vanish(*known);
}

ModelEvent Feed::eventOf(ModelEventKind kind, const Resource& resource) const {
    ModelEvent event;
    event.kind = kind;
    event.timeNs = timeNs_;
    event.application = resource.application->guid;
    // A root is told before its application knows it.
    event.applicationName =
        resource.application->root != nullptr ? resource.application->root->name : resource.name;
    event.guid = resource.guid;
    event.resourceClass = resource.resourceClass;
    event.path = resource.path();
    event.isSnapshot = isSnapshot_;
    return event;
}

void Feed::tell(ModelEventKind kind, const Resource& resource) {
    if (isObserved_)
        state_.events.push_back(eventOf(kind, resource));
}

void Feed::tellMetrics(const Resource& resource, const MetricSet& metrics) {
    if (metrics.empty())
        return;
    ModelEvent event = eventOf(ModelEventKind::metric, resource);
    metrics.forEach([&](std::size_t number) {
        const Metric& metric = metricsOf(resource.resourceClass)[number];
        event.metric = metric.name;
        event.value = metricValue(metric.kind, resource.valueOf(metric));
        state_.events.push_back(event);
    });
}

} // namespace collector
