// A reader's cache against a plain model of it: a list of samples that is walked for everything.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <vector>

#include "middleware/entities/ReaderCache.hpp"
#include "middleware/entities/ServiceRequestType.hpp"
#include "zddsc/builtin_topics.h"

namespace {

using zdds::CachedSample;
using zdds::SampleSelection;
using zdds::engine::SampleKind;

struct Key {
    uint8_t service;
    uint8_t instance;
    auto operator<=>(const Key&) const = default;

    // As the network has it, in little-endian.
    std::vector<uint8_t> encoding() const {
        std::vector<uint8_t> bytes(4 + 20 + 4);
        bytes[1] = 7;
        bytes[4] = service;
        bytes[8] = instance;
        return bytes;
    }
    zdds::InstanceKey inner() const {
        zdds::InstanceKey key;
        EXPECT_TRUE(key.read(zdds::serviceRequestTypePlugin(), zdds::serviceRequestKeyBytes, encoding()));
        return key;
    }
    std::vector<uint8_t> octets() const {
        const zdds::InstanceKey key = inner();
        return {key.bytes, key.bytes + key.length};
    }
    DDS_InstanceHandle_t handle() const { return inner().handle(); }
};

bool isBefore(const DDS_InstanceHandle_t& left, const DDS_InstanceHandle_t& right) {
    return std::memcmp(left.keyHash, right.keyHash, sizeof left.keyHash) < 0;
}

struct Bounds {
    DDS_UnsignedLong samples = 0;
    DDS_UnsignedLong depth = 0; // 0 keeps all
    bool keepsNewest = false;
    bool forgets = false;
};

struct Seen {
    uint64_t arrival;
    DDS_SampleStateMask sampleState;
    DDS_ViewStateMask viewState;
    DDS_InstanceStateMask instanceState;
    DDS_Long rank;
    bool operator==(const Seen&) const = default;
};

class Model {
public:
    explicit Model(const Bounds& bounds) : bounds_(bounds) {}

    bool insert(const Key& key, SampleKind kind, uint8_t writer) {
        Instance& instance = instances_[key];
        if (kind == SampleKind::unregister) {
            instance.writers.erase(writer);
            if (instance.writers.empty() && instance.state == DDS_ALIVE_INSTANCE_STATE)
                instance.state = DDS_NOT_ALIVE_NO_WRITERS_INSTANCE_STATE;
            if (instance.state == DDS_ALIVE_INSTANCE_STATE)
                return forgetIfEmpty(key), false;
        } else {
            const bool isData = kind == SampleKind::data;
            if (isData && instance.state != DDS_ALIVE_INSTANCE_STATE)
                instance.isNew = true;
            instance.state = isData ? DDS_ALIVE_INSTANCE_STATE : DDS_NOT_ALIVE_DISPOSED_INSTANCE_STATE;
            instance.writers.insert(writer);
        }
        const auto isOfKey = [&](const Sample& sample) { return sample.key == key; };
        if (bounds_.depth != 0 && std::count_if(samples_.begin(), samples_.end(), isOfKey) >= bounds_.depth)
            samples_.erase(std::find_if(samples_.begin(), samples_.end(), isOfKey));
        while (bounds_.keepsNewest && samples_.size() >= bounds_.samples) {
            const Key oldest = samples_.front().key;
            samples_.erase(samples_.begin());
            if (oldest != key)
                forgetIfEmpty(oldest);
        }
        if (samples_.size() >= bounds_.samples)
            return forgetIfEmpty(key), false;
        samples_.push_back({++arrivals_, key, false});
        return true;
    }

    std::vector<size_t> select(const SampleSelection& selection) const {
        std::vector<size_t> found;
        const Key* next = nullptr;
        if (selection.scope == SampleSelection::Scope::nextInstance) {
            for (const Sample& sample : samples_) {
                const DDS_InstanceHandle_t handle = sample.key.handle();
                const bool isBehind =
                    DDS_InstanceHandle_is_nil(&selection.instance) || isBefore(selection.instance, handle);
                if (isBehind && isSelected(selection, sample) &&
                    (next == nullptr || isBefore(handle, next->handle())))
                    next = &sample.key;
            }
            if (next == nullptr)
                return found;
        }
        for (size_t i = 0; i < samples_.size(); ++i) {
            const DDS_InstanceHandle_t handle = samples_[i].key.handle();
            const bool isInScope =
                selection.scope == SampleSelection::Scope::all ||
                (next != nullptr ? samples_[i].key == *next
                                 : DDS_InstanceHandle_equals(&handle, &selection.instance));
            if (isInScope && isSelected(selection, samples_[i]))
                found.push_back(i);
        }
        return found;
    }

    std::vector<Seen> collect(const SampleSelection& selection, size_t limit, bool take) {
        std::vector<size_t> found = select(selection);
        found.resize(std::min(found.size(), limit));
        std::vector<Seen> seen;
        for (const size_t i : found) {
            Sample& sample = samples_[i];
            const Instance& instance = instances_.at(sample.key);
            const auto rank = std::count_if(found.begin(), found.end(),
                [&](size_t other) { return other > i && samples_[other].key == sample.key; });
            seen.push_back({sample.arrival, sample.isRead ? DDS_READ_SAMPLE_STATE : DDS_NOT_READ_SAMPLE_STATE,
                instance.isNew ? DDS_NEW_VIEW_STATE : DDS_NOT_NEW_VIEW_STATE, instance.state,
                static_cast<DDS_Long>(rank)});
        }
        for (auto at = found.rbegin(); at != found.rend(); ++at) {
            const Key key = samples_[*at].key;
            samples_[*at].isRead = true;
            instances_.at(key).isNew = false;
            if (!take)
                continue;
            samples_.erase(samples_.begin() + static_cast<std::ptrdiff_t>(*at));
            forgetIfEmpty(key);
        }
        return seen;
    }

    bool knows(const Key& key) const { return instances_.contains(key); }
    uint64_t arrivals() const { return arrivals_; }

private:
    struct Sample {
        uint64_t arrival;
        Key key;
        bool isRead;
    };
    struct Instance {
        DDS_InstanceStateMask state = DDS_ALIVE_INSTANCE_STATE;
        bool isNew = true;
        std::set<uint8_t> writers;
    };

    bool isSelected(const SampleSelection& selection, const Sample& sample) const {
        const Instance& instance = instances_.at(sample.key);
        const std::vector<uint8_t> octets = sample.key.octets();
        const auto& filter = selection.key;
        return sample.arrival <= selection.lastArrival &&
               (selection.sampleStates &
                   (sample.isRead ? DDS_READ_SAMPLE_STATE : DDS_NOT_READ_SAMPLE_STATE)) != 0 &&
               (selection.viewStates & (instance.isNew ? DDS_NEW_VIEW_STATE : DDS_NOT_NEW_VIEW_STATE)) != 0 &&
               (selection.instanceStates & instance.state) != 0 &&
               std::equal(filter.octets, filter.octets + filter.length,
                   octets.begin() + static_cast<std::ptrdiff_t>(filter.offset));
    }
    void forgetIfEmpty(const Key& key) {
        const bool isEmpty = std::none_of(
            samples_.begin(), samples_.end(), [&](const Sample& sample) { return sample.key == key; });
        if (bounds_.forgets && isEmpty)
            instances_.erase(key);
    }

    const Bounds bounds_;
    std::vector<Sample> samples_;
    std::map<Key, Instance> instances_;
    uint64_t arrivals_ = 0;
};

class RandomCache {
public:
    RandomCache(const Bounds& bounds, unsigned seed)
        : random_(seed), model_(bounds),
          cache_(zdds::serviceRequestTypePlugin(), zdds::serviceRequestKeyBytes) {
        DDS_DataReaderQos qos{};
        DDS_DataReaderQos_initialize(&qos);
        qos.history.kind = bounds.depth != 0 ? DDS_KEEP_LAST_HISTORY_QOS : DDS_KEEP_ALL_HISTORY_QOS;
        qos.history.depth = static_cast<DDS_Long>(std::max(bounds.depth, 1U));
        qos.resource_limits.max_samples = static_cast<DDS_Long>(bounds.samples);
        cache_.setQos(qos);
        DDS_DataReaderQos_finalize(&qos);
        if (bounds.forgets)
            cache_.forgetInstances();
        if (bounds.keepsNewest)
            cache_.keepNewest();
    }

    void step() {
        if (pick(3) != 0)
            insert();
        const SampleSelection selection = randomSelection();
        EXPECT_EQ(cache_.count(selection, INT32_MAX), static_cast<DDS_Long>(model_.select(selection).size()));
        const Key key = randomKey();
        EXPECT_EQ(cache_.knows(key.handle()), model_.knows(key));
        if (pick(4) == 0)
            collect(selection, pick(3) == 0 ? 1 + pick(3) : 64, pick(2) == 0);
    }

private:
    unsigned pick(unsigned of) { return static_cast<unsigned>(random_() % of); }
    // More services of one instance than a look by the tail of the key takes together.
    Key randomKey() { return {static_cast<uint8_t>(pick(12)), static_cast<uint8_t>(pick(4))}; }

    void insert() {
        const Key key = randomKey();
        const auto kind =
            pick(2) == 0 ? SampleKind::data : (pick(2) == 0 ? SampleKind::dispose : SampleKind::unregister);
        const std::vector<uint8_t> bytes = key.encoding();
        DDS_GUID_t writer{};
        writer.value[0] = static_cast<DDS_Octet>(1 + pick(2));
        zdds::InstanceKey told;
        const bool isTaken = cache_.insert(
            {.bytes = bytes, .writer = writer, .sequenceNumber = 1, .sourceTimeNs = 0, .kind = kind}, &told);
        ASSERT_EQ(isTaken, model_.insert(key, kind, writer.value[0]));
        if (isTaken) {
            EXPECT_EQ(std::vector<uint8_t>(told.bytes, told.bytes + told.length), key.octets());
        }
    }

    SampleSelection randomSelection() {
        SampleSelection selection;
        const auto mask = [&](unsigned bits) { return pick(2) == 0 ? 0xFFFFU : pick(1U << bits); };
        selection.sampleStates = mask(2);
        selection.viewStates = mask(2);
        selection.instanceStates = mask(3);
        if (pick(8) == 0)
            selection.lastArrival = model_.arrivals() - std::min<uint64_t>(model_.arrivals(), pick(8));
        constexpr SampleSelection::Scope scopes[] = {SampleSelection::Scope::all, SampleSelection::Scope::all,
            SampleSelection::Scope::instance, SampleSelection::Scope::nextInstance};
        selection.scope = scopes[pick(4)];
        if (selection.scope != SampleSelection::Scope::all && pick(5) != 0)
            selection.instance = randomKey().handle();
        constexpr std::pair<DDS_UnsignedLong, DDS_UnsignedLong> parts[] = {
            {0, 0}, {0, 4}, {4, 16}, {0, 20}, {3, 17}, {4, 8}};
        const auto [offset, length] = parts[pick(6)];
        const std::vector<uint8_t> octets = randomKey().octets();
        selection.key.offset = offset;
        selection.key.length = length;
        std::copy_n(octets.begin() + offset, length, selection.key.octets);
        return selection;
    }

    void collect(const SampleSelection& selection, unsigned limit, bool take) {
        CachedSample* samples[64];
        DDS_SampleInfo infos[64];
        const DDS_Long count = cache_.collect(selection, static_cast<DDS_Long>(limit), take, samples, infos);
        std::vector<Seen> seen;
        for (DDS_Long i = 0; i < count; ++i) {
            seen.push_back({samples[i]->arrival, infos[i].sample_state, infos[i].view_state,
                infos[i].instance_state, infos[i].sample_rank});
            cache_.release(*samples[i]);
        }
        EXPECT_EQ(seen, model_.collect(selection, limit, take));
    }

    std::mt19937 random_;
    Model model_;
    zdds::ReaderCache cache_;
};

TEST(ReaderCache, SelectsWhatAWalkOfAllSamplesSelects) {
    constexpr Bounds bounds[] = {{60, 0, false, false}, {60, 0, true, true}, {60, 2, false, false},
        {20, 1, false, true}, {20, 3, true, false}};
    for (const Bounds& each : bounds) {
        for (unsigned seed = 1; seed <= 2; ++seed) {
            RandomCache cache(each, seed);
            for (int i = 0; i < 700 && !testing::Test::HasFailure(); ++i)
                cache.step();
            ASSERT_FALSE(testing::Test::HasFailure())
                << "seed " << seed << ", bounds " << each.samples << ' ' << each.depth;
        }
    }
}

} // namespace
