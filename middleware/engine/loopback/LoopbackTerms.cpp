// Whether a writer and a reader meet: names, key, partitions and policies.
#include <fnmatch.h>

#include <cstring>

#include "middleware/engine/Encapsulation.hpp"
#include "middleware/engine/loopback/LoopbackObjects.hpp"

namespace zdds::engine::loopback {

namespace {

constexpr int64_t nanosecondsPerSecond = 1'000'000'000;

int64_t nanoseconds(const DDS_Duration_t& value) {
    if (value.sec == DDS_DURATION_INFINITE_SEC)
        return infinite;
    return value.sec * nanosecondsPerSecond + value.nanosec;
}

// A length of zero cannot be meant where it would always be missed.
int64_t positive(const DDS_Duration_t& value) {
    const int64_t result = nanoseconds(value);
    return result == 0 ? infinite : result;
}

bool isPattern(const char* name) {
    return std::strpbrk(name, "*?[") != nullptr;
}

// A pattern meets names, and no pattern, not even itself.
bool namesMeet(const char* left, const char* right) {
    if (isPattern(left) == isPattern(right))
        return !isPattern(left) && std::strcmp(left, right) == 0;
    return isPattern(left) ? fnmatch(left, right, FNM_NOESCAPE) == 0
                           : fnmatch(right, left, FNM_NOESCAPE) == 0;
}

} // namespace

bool Text::set(const char* text) {
    if (text == nullptr)
        return false;
    const std::size_t size = std::strlen(text) + 1;
    void* memory = nullptr;
    if (!ORXOsapiHeap_reallocateMemoryInternal(&memory, size, 1, 0, "char"))
        return false;
    std::memcpy(memory, text, size);
    ORXOsapiHeap_freeMemoryInternal(text_);
    text_ = static_cast<char*>(memory);
    return true;
}

bool Text::operator==(const Text& other) const {
    return std::strcmp(text_, other.text_) == 0;
}

Terms::~Terms() {
    for (std::size_t i = 0; i < partitionCount_; ++i)
        partitions_[i].~Text();
    ORXOsapiHeap_freeMemoryInternal(partitions_);
}

bool Terms::set(const TopicInfo& topic, std::span<const char* const> partitions) {
    if (topic.keyed != (topic.keyBytes != 0))
        return false;
    if (!topic_.set(topic.topicName) || !type_.set(topic.typeName))
        return false;
    keyBytes_ = topic.keyBytes;
    extensibility_ = topic.extensibility;
    void* memory = nullptr;
    if (!ORXOsapiHeap_reallocateMemoryInternal(
            &memory, partitions.size() * sizeof(Text), alignof(Text), 0, "class Text"))
        return false;
    partitions_ = static_cast<Text*>(memory);
    for (const char* name : partitions)
        if (!(new (&partitions_[partitionCount_++]) Text)->set(name))
            return false;
    return true;
}

template <class Qos> void Terms::setPolicies(const Qos& qos) {
    reliable_ = qos.reliability.kind == DDS_RELIABLE_RELIABILITY_QOS;
    durability_ = qos.durability.kind;
    liveliness_ = qos.liveliness.kind;
    ownership_ = qos.ownership.kind;
    destinationOrder_ = qos.destination_order.kind;
    deadlineNs_ = positive(qos.deadline.period);
    latencyNs_ = nanoseconds(qos.latency_budget.duration);
    leaseNs_ = positive(qos.liveliness.lease_duration);
    depth_ =
        qos.history.kind == DDS_KEEP_ALL_HISTORY_QOS ? 0 : (qos.history.depth > 0 ? qos.history.depth : 1);
}
template void Terms::setPolicies(const DDS_DataWriterQos&);
template void Terms::setPolicies(const DDS_DataReaderQos&);

bool Terms::accepts(std::span<const uint8_t> bytes, SampleKind kind) const {
    return isEncapsulated(bytes, kind, keyBytes_, extensibility_);
}

bool Terms::partitionsMeet(const Terms& left, const Terms& right) {
    constexpr const char* defaultPartition = "";
    const std::size_t leftCount = left.partitionCount_ == 0 ? 1 : left.partitionCount_;
    const std::size_t rightCount = right.partitionCount_ == 0 ? 1 : right.partitionCount_;
    for (std::size_t i = 0; i < leftCount; ++i) {
        const char* leftName = left.partitionCount_ == 0 ? defaultPartition : left.partitions_[i].get();
        for (std::size_t j = 0; j < rightCount; ++j)
            if (namesMeet(
                    leftName, right.partitionCount_ == 0 ? defaultPartition : right.partitions_[j].get()))
                return true;
    }
    return false;
}

bool Terms::agree(const Terms& offered, const Terms& requested) {
    return offered.topic_ == requested.topic_ && offered.type_ == requested.type_ &&
           offered.keyBytes_ == requested.keyBytes_ && partitionsMeet(offered, requested) &&
           offered.reliable_ >= requested.reliable_ && offered.durability_ >= requested.durability_ &&
           offered.deadlineNs_ <= requested.deadlineNs_ && offered.latencyNs_ <= requested.latencyNs_ &&
           offered.liveliness_ >= requested.liveliness_ && offered.leaseNs_ <= requested.leaseNs_ &&
           offered.ownership_ == requested.ownership_ &&
           offered.destinationOrder_ >= requested.destinationOrder_;
}

} // namespace zdds::engine::loopback
