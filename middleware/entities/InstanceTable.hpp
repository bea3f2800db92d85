// The instances that a reader knows. A topic without a key has one, with the nil handle.
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
    bool hasReadableKey(std::span<const uint8_t> encoding) const;
    // The instance of an encoding, made when it is new. Null when the key cannot be read, or there is no
    // room.
    Instance* assertInstance(std::span<const uint8_t> encoding);
    Instance* assertInstance(const InstanceKey& key);
    void remove(Instance& instance);
    Instance* find(const DDS_InstanceHandle_t& handle);
    // The instance that comes next in the order of handles; nil begins. Null after the last.
    Instance* findNext(const DDS_InstanceHandle_t& handle);
    // The one instance of a topic without a key.
    Instance& single() { return single_; }

    template <class Function> void forEach(Function function) {
        for (Instance* bucket : buckets_) {
            for (Instance* instance = bucket; instance != nullptr; instance = instance->next)
                function(*instance);
        }
    }

    // False when memory is out.
    static bool addWriter(Instance& instance, const DDS_GUID_t& writer);
    static void removeWriter(Instance& instance, const DDS_GUID_t& writer);

private:
    static void destroyInstance(Instance* instance);
    bool makeRoom();

    static constexpr size_t bucketCount = 256;
    Instance*& bucketOf(const DDS_InstanceHandle_t& handle) {
        return buckets_[handle.keyHash[15] % bucketCount];
    }

    const DDS_TypePlugin& plugin_;
    const DDS_UnsignedLong keyBytes_;
    DDS_UnsignedLong bound_ = safetyBound;
    DDS_UnsignedLong count_ = 0;
    size_t nextToClear_ = 0; // where the next search for room begins
    std::array<Instance*, bucketCount> buckets_{};
    Instance single_;
};

} // namespace zdds

#endif
