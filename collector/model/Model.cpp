#include "collector/model/Model.hpp"

#include <charconv>
#include <chrono>
#include <cmath>

#include "collector/model/Feed.hpp"
#include "collector/model/State.hpp"

namespace collector {

namespace {

constexpr std::array<const char*, static_cast<std::size_t>(DropCause::count)> causeNames{"invalid",
    "application_limit", "resource_limit", "series_limit", "depth", "text_length", "unknown_application",
    "unknown_resource", "unknown_parent", "unknown_class", "conflict"};

constexpr std::array<const char*, 5> eventNames{
    "application_appeared", "application_vanished", "created", "deleted", "metric"};

std::int64_t monotonicNs() {
    return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// The double that is nearest to the shortest decimal of the float: 0.1 and not 0.10000000149.
double realOf(float value) {
    if (!std::isfinite(value))
        return value;
    std::array<char, 64> text;
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
    double result = 0;
    std::from_chars(text.data(), end, result);
    return result;
}

// Of what no sample tells.
DDS_SampleInfo infoAt(std::int64_t timeNs) {
    DDS_SampleInfo info{};
    info.source_timestamp.sec = timeNs / 1'000'000'000;
    info.source_timestamp.nanosec = static_cast<DDS_UnsignedLong>(timeNs % 1'000'000'000);
    return info;
}

} // namespace

const char* dropCauseName(DropCause cause) {
    return causeNames[static_cast<std::size_t>(cause)];
}

const char* modelEventName(ModelEventKind kind) {
    return eventNames[static_cast<std::size_t>(kind)];
}

MetricValue metricValue(ValueKind kind, std::uint64_t octets) {
    switch (kind) {
    case ValueKind::integer:
        return static_cast<std::int64_t>(octets);
    case ValueKind::natural:
        return octets;
    default:
        return realOf(std::bit_cast<float>(static_cast<std::uint32_t>(octets)));
    }
}

Model::State::State(const ModelLimits& givenLimits, Clock givenClock)
    : limits(givenLimits), clock(givenClock ? std::move(givenClock) : Clock{monotonicNs}), tree(givenLimits),
      observers(std::make_shared<const Observers>()) {}

std::shared_ptr<const Observers> Model::State::currentObservers() {
    if (!isObserved.load(std::memory_order_acquire))
        return nullptr;
    const std::lock_guard guard(observersLock);
    return observers;
}

Model::Model(ModelLimits limits, Clock clock) : state_(std::make_unique<State>(limits, std::move(clock))) {}
Model::~Model() = default;

// Runs one sample through the model, and then tells the observers what came of it.
template <typename Step> void Model::run(const DDS_SampleInfo& info, Step step) {
    const std::lock_guard feeding(state_->feed);
    const auto observers = state_->currentObservers();
    const bool isObserved = observers != nullptr && !observers->empty();
    {
        const std::lock_guard guard(state_->lock);
        state_->events.clear();
        Feed feed(*state_, info, isObserved);
        step(feed);
    }
    if (!isObserved || state_->events.empty())
        return;
    for (const auto& each : *observers)
        each->onEvents(state_->events);
    // A registry makes many events at once; their room is not kept for ever.
    constexpr std::size_t kept = 256;
    if (state_->events.capacity() > kept)
        state_->events = {};
}

void Model::event(const DDS_Monitoring_Event& sample, const DDS_SampleInfo& info) {
    run(info, [&](Feed& feed) { feed.event(sample); });
}

void Model::periodic(const DDS_Monitoring_Periodic& sample, const DDS_SampleInfo& info) {
    run(info, [&](Feed& feed) { feed.periodic(sample); });
}

void Model::logging(const DDS_Monitoring_Logging& sample, const DDS_SampleInfo& info) {
    run(info, [&](Feed& feed) { feed.logging(sample); });
}

void Model::participantGone(const Guid& participant, std::int64_t timeNs) {
    run(infoAt(timeNs), [&](Feed& feed) { feed.participantGone(participant); });
}

void Model::applicationGone(const Guid& application, std::int64_t timeNs) {
    run(infoAt(timeNs), [&](Feed& feed) { feed.applicationGone(application); });
}

void Model::doubtAll() {
    const std::lock_guard guard(state_->lock);
    for (auto& [guid, application] : state_->tree.applications())
        application.isComplete = false;
}

void Model::addObserver(std::shared_ptr<ModelObserver> observer) {
    const std::lock_guard guard(state_->observersLock);
    auto changed = std::make_shared<Observers>(*state_->observers);
    changed->push_back(std::move(observer));
    state_->observers = std::move(changed);
    state_->isObserved.store(true, std::memory_order_release);
}

void Model::removeObserver(const ModelObserver* observer) {
    const std::lock_guard guard(state_->observersLock);
    auto changed = std::make_shared<Observers>(*state_->observers);
    std::erase_if(*changed, [&](const auto& each) { return each.get() == observer; });
    state_->isObserved.store(!changed->empty(), std::memory_order_release);
    state_->observers = std::move(changed);
}

ModelStatistics Model::statistics() const {
    const std::lock_guard guard(state_->lock);
    ModelStatistics result = state_->statistics;
    result.applications = state_->tree.applications().size();
    for (const auto& [guid, application] : state_->tree.applications())
        result.incompleteApplications += application.isComplete ? 0 : 1;
    result.resources = state_->tree.resourceCount();
    result.series = state_->tree.seriesCount();
    return result;
}

const ModelLimits& Model::limits() const {
    return state_->limits;
}

std::vector<Guid> Model::takeIncomplete(std::int64_t againNs) {
    const std::lock_guard guard(state_->lock);
    const std::int64_t now = state_->clock();
    std::vector<Guid> result;
    for (const auto& [guid, known] : state_->tree.applications()) {
        if (known.isComplete || (known.askedNs && now - *known.askedNs < againNs))
            continue;
        state_->tree.application(guid)->askedNs = now;
        result.push_back(guid);
    }
    return result;
}

// Labels are rendered ahead, some at a time, so that the one moment of the snapshot stays short.
void Model::take(Snapshot& snapshot) const {
    constexpr std::size_t atATime = 256;
    for (std::size_t i = 0; i < resourceClassCount; ++i) {
        std::optional<std::size_t> slot = 0;
        while (slot) {
            const std::lock_guard guard(state_->lock);
            slot = state_->tree.renderLabels(static_cast<ResourceClass>(i), *slot, atATime);
        }
    }
    const std::lock_guard guard(state_->lock);
    state_->tree.take(snapshot);
}

} // namespace collector
