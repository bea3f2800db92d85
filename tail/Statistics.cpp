#include "tail/Statistics.hpp"

#include <algorithm>

namespace tail {

std::uint64_t Gaps::add(std::uint64_t number, std::uint64_t step) {
    std::uint64_t missing = 0;
    // A number below the last one is a source that began anew.
    if (last_ && number > *last_)
        missing = number - *last_ - std::min(step, number - *last_);
    last_ = number;
    lost_ += missing;
    return missing;
}

bool SerialNumbers::add(std::uint64_t number) {
    if (count_ == 0)
        first_ = last_ = number;
    if (last_ >= number && last_ - number >= remembered)
        return false;
    for (std::uint64_t left = number > last_ ? std::min(number - last_, remembered) : 0; left > 0; --left)
        recent_.reset((number - left + 1) % remembered);
    if (recent_.test(number % remembered))
        return false;
    recent_.set(number % remembered);
    ++count_;
    first_ = std::min(first_, number);
    last_ = std::max(last_, number);
    return true;
}

std::uint64_t SerialNumbers::lost() const {
    return count_ == 0 ? 0 : last_ - first_ - (count_ - 1);
}

std::uint64_t Statistics::received(
    const std::string& topic, const Guid& writer, std::uint64_t sequenceNumber, bool isSnapshot) {
    TopicCounts& counts = topics_[topic];
    ++counts.received;
    counts.snapshots += isSnapshot ? 1 : 0;
    const std::pair<std::string, Guid> key{topic, writer};
    auto known = writers_.find(key);
    if (known == writers_.end()) {
        if (sequenceNumber == 0 || writers_.size() >= maximalSources)
            return 0;
        known = writers_.emplace(key, Gaps{}).first;
    }
    const std::uint64_t missing = known->second.add(sequenceNumber);
    counts.lost += missing;
    return missing;
}

std::uint64_t Statistics::eventEpochs(
    const Guid& application, std::uint64_t resource, std::uint64_t metric, Moved moved) {
    Application* known = find(application);
    if (known == nullptr)
        return 0;
    known->metricEpochs.add(metric, moved == Moved::metric ? 1 : 0);
    return known->resourceEpochs.add(resource, moved == Moved::resource ? 1 : 0);
}

void Statistics::logEpoch(const Guid& application, std::uint64_t epoch, bool isSnapshot) {
    if (Application* known = find(application))
        known->logEpochs.add(epoch, isSnapshot ? 0 : 1);
}

bool Statistics::logMessage(const Guid& application, unsigned facility, std::uint64_t serialNumber) {
    Application* known = find(application);
    if (known == nullptr ||
        (known->messages.size() >= maximalFacilities && !known->messages.contains(facility)))
        return true;
    return known->messages[facility].add(serialNumber);
}

void Statistics::name(const Guid& application, const std::string& name) {
    if (Application* known = find(application))
        known->name = name;
}

void Statistics::gone(const Guid& application) {
    if (const auto known = applications_.find(application); known != applications_.end())
        known->second.isGone = true;
}

TopicCounts Statistics::topic(const std::string& topic) const {
    const auto known = topics_.find(topic);
    return known != topics_.end() ? known->second : TopicCounts{};
}

std::vector<ApplicationCounts> Statistics::applications() const {
    std::vector<ApplicationCounts> all;
    for (const auto& [guid, application] : applications_) {
        ApplicationCounts counts;
        counts.name = application.name.empty() ? guidText(guid) : application.name;
        counts.guid = guid;
        counts.resourceEpochsLost = application.resourceEpochs.lost();
        counts.metricEpochsLost = application.metricEpochs.lost();
        counts.logEpochsLost = application.logEpochs.lost();
        for (const auto& [facility, numbers] : application.messages) {
            counts.logMessages += numbers.count();
            counts.logMessagesLost += numbers.lost();
        }
        counts.isGone = application.isGone;
        all.push_back(std::move(counts));
    }
    std::stable_sort(all.begin(), all.end(),
        [](const ApplicationCounts& a, const ApplicationCounts& b) { return a.name < b.name; });
    return all;
}

Statistics::Application* Statistics::find(const Guid& application) {
    const auto known = applications_.find(application);
    if (known != applications_.end())
        return &known->second;
    if (applications_.size() >= maximalSources)
        return nullptr;
    return &applications_[application];
}

} // namespace tail
