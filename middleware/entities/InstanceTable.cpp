#include "middleware/entities/InstanceTable.hpp"

#include <cstring>

#include "middleware/log/Memory.hpp"

namespace zdds {
namespace {

int compareHandles(const DDS_InstanceHandle_t& left, const DDS_InstanceHandle_t& right) {
    return std::memcmp(left.keyHash, right.keyHash, sizeof left.keyHash);
}

} // namespace

InstanceTable::~InstanceTable() {
    for (Instance*& bucket : buckets_) {
        while (Instance* instance = bucket) {
            bucket = instance->next;
            destroyInstance(instance);
        }
    }
}

void InstanceTable::destroyInstance(Instance* instance) {
    while (InstanceWriter* writer = instance->writers) {
        instance->writers = writer->next;
        destroy(writer);
    }
    destroy(instance);
}

void InstanceTable::setBound(DDS_Long maxInstances) {
    if (maxInstances != DDS_LENGTH_UNLIMITED)
        bound_ = static_cast<DDS_UnsignedLong>(maxInstances);
}

bool InstanceTable::hasReadableKey(std::span<const uint8_t> encoding) const {
    InstanceKey key;
    return !isKeyed() || key.read(plugin_, keyBytes_, encoding);
}

Instance* InstanceTable::assertInstance(std::span<const uint8_t> encoding) {
    InstanceKey key;
    return key.read(plugin_, keyBytes_, encoding) ? assertInstance(key) : nullptr;
}

Instance* InstanceTable::assertInstance(const InstanceKey& key) {
    const DDS_InstanceHandle_t handle = key.handle();
    if (Instance* known = find(handle))
        return known;
    if (count_ >= bound_ && !makeRoom())
        return nullptr;
    auto* instance = create<Instance>("struct Instance");
    if (instance == nullptr)
        return nullptr;
    instance->key = key;
    instance->handle = handle;
    Instance*& bucket = bucketOf(handle);
    instance->next = bucket;
    bucket = instance;
    ++count_;
    return instance;
}

// Forgets one instance that has nothing to tell any more. Looks at a few buckets only, others the next time:
// a flood of new keys must not make each of them expensive.
bool InstanceTable::makeRoom() {
    constexpr int bucketsPerSearch = 4;
    for (int i = 0; i < bucketsPerSearch; ++i) {
        Instance*& bucket = buckets_[nextToClear_++ % bucketCount];
        for (Instance** link = &bucket; *link != nullptr; link = &(*link)->next) {
            Instance* instance = *link;
            if (instance->state == DDS_ALIVE_INSTANCE_STATE || instance->samples != 0)
                continue;
            *link = instance->next;
            destroyInstance(instance);
            --count_;
            return true;
        }
    }
    return false;
}

void InstanceTable::remove(Instance& instance) {
    Instance** link = &bucketOf(instance.handle);
    while (*link != &instance)
        link = &(*link)->next;
    *link = instance.next;
    destroyInstance(&instance);
    --count_;
}

Instance* InstanceTable::find(const DDS_InstanceHandle_t& handle) {
    for (Instance* instance = bucketOf(handle); instance != nullptr; instance = instance->next) {
        if (DDS_InstanceHandle_equals(&instance->handle, &handle))
            return instance;
    }
    return nullptr;
}

Instance* InstanceTable::findNext(const DDS_InstanceHandle_t& handle) {
    const bool fromStart = DDS_InstanceHandle_is_nil(&handle);
    if (!isKeyed())
        return fromStart ? &single_ : nullptr;
    Instance* best = nullptr;
    forEach([&](Instance& instance) {
        if (!fromStart && compareHandles(instance.handle, handle) <= 0)
            return;
        if (best == nullptr || compareHandles(instance.handle, best->handle) < 0)
            best = &instance;
    });
    return best;
}

bool InstanceTable::addWriter(Instance& instance, const DDS_GUID_t& guid) {
    for (const InstanceWriter* writer = instance.writers; writer != nullptr; writer = writer->next) {
        if (DDS_GUID_equals(&writer->guid, &guid))
            return true;
    }
    auto* writer = create<InstanceWriter>("struct InstanceWriter", instance.writers, guid);
    if (writer == nullptr)
        return false;
    instance.writers = writer;
    return true;
}

void InstanceTable::removeWriter(Instance& instance, const DDS_GUID_t& guid) {
    for (InstanceWriter** link = &instance.writers; *link != nullptr; link = &(*link)->next) {
        InstanceWriter* writer = *link;
        if (!DDS_GUID_equals(&writer->guid, &guid))
            continue;
        *link = writer->next;
        destroy(writer);
        return;
    }
}

} // namespace zdds
