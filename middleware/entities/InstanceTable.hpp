// The instances that a reader knows, by handle and by the tail of the key. A topic without a key has one,
// with the nil handle.
//
// Threads: callers serialize. Bounded: remote writers make instances, so their number has a limit; one that
// is not alive and has no samples makes room for a new one.
#ifndef ZDDSC_ENTITIES_INSTANCE_TABLE_HPP
#define ZDDSC_ENTITIES_INSTANCE_TABLE_HPP

#include <array>

#include "middleware/entities/CachedSample.hpp"

namespace zdds {

class InstanceTable {
public:
    static constexpr DDS_UnsignedLong safetyBound = 16384; // instances, where the QoS has no bound

    InstanceTable(const DDS_TypePlugin& plugin, DDS_UnsignedLong keyBytes)
        : plugin_(plugin), keyBytes_(keyBytes) {}
    ~InstanceTable();
    InstanceTable(const InstanceTable&) = delete;
    InstanceTable& operator=(const InstanceTable&) = delete;

    void setBound(DDS_Long maxInstances);
    bool isKeyed() const { return keyBytes_ != 0; }

    // False for an encoding too short to hold a key, or none of CDR.
    bool readKey(std::span<const uint8_t> encoding, InstanceKey* key) const {
        return key->read(plugin_, keyBytes_, encoding);
    }
    // The instance of a key, made when it is new. Null when there is no room.
    Instance* assertInstance(const InstanceKey& key);
    void remove(Instance& instance);
    Instance* find(const DDS_InstanceHandle_t& handle);
    // The instances that a filter of the whole tail accepts are found without a look at the others: at most
    // `room` of them. False when there may be more, or the filter does not cover the tail.
    bool findAccepted(const KeyFilter& filter, Instance** found, size_t room, size_t* count);
    // The instance that comes next in the order of handles, of those that are wanted(instance); nil begins.
    // Null after the last.
    template <class Wanted> Instance* findNext(const DDS_InstanceHandle_t& handle, Wanted wanted) {
        const bool fromStart = DDS_InstanceHandle_is_nil(&handle);
        if (!isKeyed())
            return fromStart && wanted(single_) ? &single_ : nullptr;
        Instance* best = nullptr;
        forEach([&](Instance& instance) {
            const bool isBehind = fromStart || isBefore(handle, instance.handle);
            if (isBehind && (best == nullptr || isBefore(instance.handle, best->handle)) && wanted(instance))
                best = &instance;
        });
        return best;
    }
    // The one instance of a topic without a key.
    Instance& single() { return single_; }

    template <class Function> void forEach(Function function) {
        for (Instance* bucket : buckets_) {
            for (Instance* instance = bucket; instance != nullptr; instance = instance->byHandle.next)
                function(*instance);
        }
    }

    // False when memory is out.
    static bool addWriter(Instance& instance, const DDS_GUID_t& writer);
    static void removeWriter(Instance& instance, const DDS_GUID_t& writer);

private:
    static void destroyInstance(Instance* instance);
    static bool isBefore(const DDS_InstanceHandle_t& left, const DDS_InstanceHandle_t& right);
    Instance* find(const InstanceKey& key);
    bool makeRoom();

    static constexpr size_t bucketCount = 256;
    static constexpr size_t tailBucketCount = 1024;
    Instance*& bucketOf(const DDS_InstanceHandle_t& handle) {
        return buckets_[handle.keyHash[15] % bucketCount];
    }

    Instance*& bucketOfTail(const uint8_t* tail) {
        return tailBuckets_[hashOfKeyTail(tail, keyBytes_) % tailBucketCount];
    }

    const DDS_TypePlugin& plugin_;
    const DDS_UnsignedLong keyBytes_;
    DDS_UnsignedLong bound_ = safetyBound;
    DDS_UnsignedLong count_ = 0;
    size_t nextToClear_ = 0; // where the next search for room begins
    std::array<Instance*, bucketCount> buckets_{};
    std::array<Instance*, tailBucketCount> tailBuckets_{};
    Instance single_;
};

} // namespace zdds

#endif
