#include "middleware/entities/InstanceTable.hpp"

#include <cstring>

#include "middleware/log/Memory.hpp"

namespace zdds {
namespace {

template <InstanceLink Instance::*chain> void enter(Instance*& bucket, Instance& instance) {
    instance.*chain = {bucket, &bucket};
    if (bucket != nullptr)
        (bucket->*chain).link = &(instance.*chain).next;
    bucket = &instance;
}

template <InstanceLink Instance::*chain> void leave(Instance& instance) {
    const InstanceLink& place = instance.*chain;
    *place.link = place.next;
    if (place.next != nullptr)
        (place.next->*chain).link = place.link;
}

const uint8_t* tailOf(const InstanceKey& key) {
    return key.bytes + keyTailOffset(key.length);
}

} // namespace

bool InstanceTable::isBefore(const DDS_InstanceHandle_t& left, const DDS_InstanceHandle_t& right) {
    return std::memcmp(left.keyHash, right.keyHash, sizeof left.keyHash) < 0;
}

InstanceTable::~InstanceTable() {
    for (Instance*& bucket : buckets_) {
        while (Instance* instance = bucket) {
            bucket = instance->byHandle.next;
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

Instance* InstanceTable::find(const InstanceKey& key) {
    for (Instance* one = bucketOfTail(tailOf(key)); one != nullptr; one = one->byTail.next) {
        if (one->key.length == key.length && std::memcmp(one->key.bytes, key.bytes, key.length) == 0)
            return one;
    }
    return nullptr;
}

Instance* InstanceTable::assertInstance(const InstanceKey& key) {
    if (Instance* known = find(key))
        return known;
    if (count_ >= bound_ && !makeRoom())
        return nullptr;
    auto* instance = create<Instance>("struct Instance");
    if (instance == nullptr)
        return nullptr;
    instance->key = key;
    instance->handle = key.handle();
    enter<&Instance::byHandle>(bucketOf(instance->handle), *instance);
    enter<&Instance::byTail>(bucketOfTail(tailOf(key)), *instance);
    ++count_;
    return instance;
}

// Forgets one instance that has nothing to tell any more. Looks at a few buckets only, others the next time:
// a flood of new keys must not make each of them expensive.
bool InstanceTable::makeRoom() {
    constexpr int bucketsPerSearch = 4;
    for (int i = 0; i < bucketsPerSearch; ++i) {
        Instance* instance = buckets_[nextToClear_++ % bucketCount];
        for (; instance != nullptr; instance = instance->byHandle.next) {
            if (instance->state == DDS_ALIVE_INSTANCE_STATE || instance->samples != 0)
                continue;
            remove(*instance);
            return true;
        }
    }
    return false;
}

void InstanceTable::remove(Instance& instance) {
    leave<&Instance::byHandle>(instance);
    leave<&Instance::byTail>(instance);
    destroyInstance(&instance);
    --count_;
}

Instance* InstanceTable::find(const DDS_InstanceHandle_t& handle) {
    for (Instance* instance = bucketOf(handle); instance != nullptr; instance = instance->byHandle.next) {
        if (DDS_InstanceHandle_equals(&instance->handle, &handle))
            return instance;
    }
    return nullptr;
}

bool InstanceTable::findAccepted(const KeyFilter& filter, Instance** found, size_t room, size_t* count) {
    const uint8_t* tail = filter.tail(keyBytes_);
    if (tail == nullptr)
        return false;
    *count = 0;
    for (Instance* one = bucketOfTail(tail); one != nullptr; one = one->byTail.next) {
        if (!filter.accepts(one->key))
            continue;
        if (*count == room)
            return false;
        found[(*count)++] = one;
    }
    return true;
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
