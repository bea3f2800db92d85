#include "middleware/entities/ReaderCache.hpp"

#include <algorithm>

namespace zdds {

ReaderCache::~ReaderCache() {
    while (CachedSample* sample = first_) {
        unlink(*sample);
        CachedSample::destroy(sample, plugin_);
    }
}

void ReaderCache::setQos(const DDS_DataReaderQos& qos) {
    const auto bound = [](DDS_Long limit) {
        return limit == DDS_LENGTH_UNLIMITED ? safetyBoundSamples : static_cast<DDS_UnsignedLong>(limit);
    };
    maxSamples_ = bound(qos.resource_limits.max_samples);
    maxSamplesPerInstance_ = bound(qos.resource_limits.max_samples_per_instance);
    instances_.setBound(qos.resource_limits.max_instances);
    depth_ =
        qos.history.kind == DDS_KEEP_LAST_HISTORY_QOS ? static_cast<DDS_UnsignedLong>(qos.history.depth) : 0;
}

// ---- What the engine brings ----

bool ReaderCache::fits(const Instance& instance, size_t bytes) const {
    return counters_.cached < maxSamples_ && instance.samples < maxSamplesPerInstance_ &&
           bytes <= maxBytes_ && bytes_ <= maxBytes_ - bytes;
}

bool ReaderCache::insert(const engine::IncomingSample& sample, InstanceKey* key) {
    const bool isTooLarge = sample.bytes.size() > maxSampleBytes_;
    CachedSample* cached = isTooLarge ? nullptr : CachedSample::create(sample);
    Guard guard(mutex_);
    ++counters_.received;
    if (cached == nullptr) {
        ++(isTooLarge ? counters_.dropped_too_large : counters_.dropped_no_memory);
        return false;
    }
    const bool isTaken = take(*cached, sample, *key);
    guard.release();
    if (!isTaken)
        CachedSample::destroy(cached, plugin_);
    return isTaken;
}

bool ReaderCache::take(CachedSample& cached, const engine::IncomingSample& sample, InstanceKey& key) {
    // Without a key there is nothing to dispose of.
    const bool isMeaningful = instances_.isKeyed() ? instances_.readKey(sample.bytes, &key)
                                                   : sample.kind == engine::SampleKind::data;
    if (!isMeaningful) {
        ++counters_.dropped_decoding;
        return false;
    }
    Instance* instance = instances_.isKeyed() ? instances_.assertInstance(key) : &instances_.single();
    if (instance == nullptr) {
        ++counters_.dropped_cache_full;
        return false;
    }
    changeState(*instance, sample.kind, sample.writer);
    // A writer that leaves an instance to others changes nothing that a reader would see.
    if (sample.kind == engine::SampleKind::unregister && instance->state == DDS_ALIVE_INSTANCE_STATE) {
        forgetIfEmpty(*instance);
        return false;
    }
    if (!makeRoom(*instance, sample.bytes.size())) {
        forgetIfEmpty(*instance);
        ++counters_.dropped_cache_full;
        return false;
    }
    link(cached, *instance);
    return true;
}

bool ReaderCache::insertMade(CachedSample& sample, engine::SampleKind kind, const InstanceKey& key) {
    Guard guard(mutex_);
    ++counters_.received;
    Instance* instance = instances_.isKeyed() ? instances_.assertInstance(key) : &instances_.single();
    bool isTaken = false;
    if (instance != nullptr) {
        DDS_GUID_t writer;
        DDS_InstanceHandle_to_guid(&sample.info.publication_handle, &writer);
        changeState(*instance, kind, writer);
        isTaken = makeRoom(*instance, sample.size);
        if (isTaken)
            link(sample, *instance);
        else
            forgetIfEmpty(*instance);
    }
    counters_.dropped_cache_full += isTaken ? 0U : 1U;
    guard.release();
    if (!isTaken)
        CachedSample::destroy(&sample, plugin_);
    return isTaken;
}

// State follows from the sample even when the sample itself found no room.
void ReaderCache::changeState(Instance& instance, engine::SampleKind kind, const DDS_GUID_t& writer) {
    switch (kind) {
    case engine::SampleKind::data:
        if (instance.state != DDS_ALIVE_INSTANCE_STATE)
            instance.isNew = true;
        instance.state = DDS_ALIVE_INSTANCE_STATE;
        if (instances_.isKeyed())
            InstanceTable::addWriter(instance, writer);
        break;
    case engine::SampleKind::dispose:
        instance.state = DDS_NOT_ALIVE_DISPOSED_INSTANCE_STATE;
        if (instances_.isKeyed())
            InstanceTable::addWriter(instance, writer);
        break;
    case engine::SampleKind::unregister:
        InstanceTable::removeWriter(instance, writer);
        if (instance.writers == nullptr && instance.state == DDS_ALIVE_INSTANCE_STATE)
            instance.state = DDS_NOT_ALIVE_NO_WRITERS_INSTANCE_STATE;
        break;
    }
}

bool ReaderCache::writerMatched() {
    Guard guard(mutex_);
    ++matchedWriters_;
    return false;
}

bool ReaderCache::writerUnmatched(const DDS_GUID_t& writer) {
    Guard guard(mutex_);
    if (matchedWriters_ > 0)
        --matchedWriters_;
    if (!instances_.isKeyed()) {
        if (matchedWriters_ == 0)
            instances_.single().state = DDS_NOT_ALIVE_NO_WRITERS_INSTANCE_STATE;
        return false;
    }
    bool hasNews = false;
    instances_.forEach([&](Instance& instance) {
        const bool hadWriters = instance.writers != nullptr;
        InstanceTable::removeWriter(instance, writer);
        if (!hadWriters || instance.writers != nullptr || instance.state != DDS_ALIVE_INSTANCE_STATE)
            return;
        instance.state = DDS_NOT_ALIVE_NO_WRITERS_INSTANCE_STATE;
        // The change is a sample without data. The state holds even when there is no room to tell it.
        CachedSample* cached = fits(instance, 0) ? CachedSample::create({.bytes = {},
                                                       .writer = writer,
                                                       .sequenceNumber = 0,
                                                       .sourceTimeNs = -1,
                                                       .kind = engine::SampleKind::unregister})
                                                 : nullptr;
        if (cached == nullptr)
            return;
        link(*cached, instance);
        hasNews = true;
    });
    return hasNews;
}

// ---- The list ----

void ReaderCache::link(CachedSample& sample, Instance& instance) {
    sample.instance = &instance;
    sample.key = instance.key;
    sample.info.instance_handle = instance.handle;
    sample.previous = last_;
    sample.next = nullptr;
    (last_ != nullptr ? last_->next : first_) = &sample;
    last_ = &sample;
    sample.previousOfInstance = instance.last;
    sample.nextOfInstance = nullptr;
    (instance.last != nullptr ? instance.last->nextOfInstance : instance.first) = &sample;
    instance.last = &sample;
    sample.isLinked = true;
    sample.arrival = arrivals_.load(std::memory_order_relaxed) + 1;
    arrivals_.store(sample.arrival, std::memory_order_release);
    ++instance.samples;
    ++counters_.cached;
    bytes_ += sample.size;
}

void ReaderCache::unlink(CachedSample& sample) {
    (sample.previous != nullptr ? sample.previous->next : first_) = sample.next;
    (sample.next != nullptr ? sample.next->previous : last_) = sample.previous;
    Instance& instance = *sample.instance;
    CachedSample* previous = sample.previousOfInstance;
    CachedSample* next = sample.nextOfInstance;
    (previous != nullptr ? previous->nextOfInstance : instance.first) = next;
    (next != nullptr ? next->previousOfInstance : instance.last) = previous;
    sample.isLinked = false;
    --instance.samples;
    --counters_.cached;
    bytes_ -= sample.size;
    forgetIfEmpty(instance);
}

void ReaderCache::forgetIfEmpty(Instance& instance) {
    if (forgetsInstances_ && instance.samples == 0)
        instances_.remove(instance);
}

// A sample on loan leaves the cache and lives until it is returned.
void ReaderCache::drop(CachedSample& sample) {
    unlink(sample);
    if (sample.pins == 0)
        CachedSample::destroy(&sample, plugin_);
}

// The instance that something is to be put into stays, though this may be its last sample.
void ReaderCache::dropFor(Instance& instance, CachedSample& sample) {
    ++instance.samples;
    drop(sample);
    --instance.samples;
}

bool ReaderCache::makeRoom(Instance& instance, size_t bytes) {
    if (depth_ != 0 && instance.samples >= depth_)
        dropFor(instance, *instance.first);
    while (keepsNewest_ && bytes <= maxBytes_ && first_ != nullptr && !fits(instance, bytes)) {
        dropFor(instance, *first_);
        ++counters_.dropped_cache_full;
    }
    return fits(instance, bytes);
}

// ---- Reading ----

bool ReaderCache::selects(const SampleSelection& selection, const CachedSample& sample) {
    const Instance& instance = *sample.instance;
    const DDS_SampleStateMask sampleState = sample.isRead ? DDS_READ_SAMPLE_STATE : DDS_NOT_READ_SAMPLE_STATE;
    const DDS_ViewStateMask viewState = instance.isNew ? DDS_NEW_VIEW_STATE : DDS_NOT_NEW_VIEW_STATE;
    return sample.arrival <= selection.lastArrival && (selection.sampleStates & sampleState) != 0 &&
           (selection.viewStates & viewState) != 0 && (selection.instanceStates & instance.state) != 0 &&
           selection.key.accepts(sample.key);
}

// Without a key the nil handle is the one instance.
const Instance* ReaderCache::findInstance(const DDS_InstanceHandle_t& handle) {
    if (!instances_.isKeyed())
        return DDS_InstanceHandle_is_nil(&handle) ? &instances_.single() : nullptr;
    return instances_.find(handle);
}

bool ReaderCache::knows(const DDS_InstanceHandle_t& handle) {
    Guard guard(mutex_);
    return findInstance(handle) != nullptr;
}

// *only is the instance to look at, null for all. False when there is none.
bool ReaderCache::findScope(const SampleSelection& selection, const Instance** only) {
    *only = nullptr;
    if (selection.scope == SampleSelection::Scope::all)
        return true;
    if (selection.scope == SampleSelection::Scope::instance) {
        *only = findInstance(selection.instance);
        return *only != nullptr;
    }
    *only = instances_.findNext(
        selection.instance, [&](const Instance& instance) { return selectsAny(selection, instance); });
    return *only != nullptr;
}

bool ReaderCache::selectsAny(const SampleSelection& selection, const Instance& instance) {
    for (const CachedSample* sample = instance.first; sample != nullptr; sample = sample->nextOfInstance) {
        if (selects(selection, *sample))
            return true;
    }
    return false;
}

// Calls function(sample) for the selected samples in order until it says false. Of one instance, or of the
// few that the key leaves, only their samples are looked at.
template <class Function> void ReaderCache::forSelected(const SampleSelection& selection, Function function) {
    constexpr size_t few = 8;
    const Instance* only = nullptr;
    Instance* accepted[few];
    size_t count = 0;
    if (!findScope(selection, &only))
        return;
    if (only != nullptr) {
        for (CachedSample* sample = only->first; sample != nullptr; sample = sample->nextOfInstance) {
            if (selects(selection, *sample) && !function(*sample))
                return;
        }
    } else if (instances_.findAccepted(selection.key, accepted, few, &count)) {
        forMerged<few>(selection, accepted, count, function);
    } else {
        for (CachedSample* sample = first_; sample != nullptr; sample = sample->next) {
            if (selects(selection, *sample) && !function(*sample))
                return;
        }
    }
}

// The same for the samples of a few instances.
template <size_t room, class Function>
void ReaderCache::forMerged(
    const SampleSelection& selection, Instance* const (&instances)[room], size_t count, Function function) {
    CachedSample* heads[room];
    for (size_t i = 0; i < count; ++i)
        heads[i] = instances[i]->first;
    for (;;) {
        CachedSample** oldest = nullptr;
        for (size_t i = 0; i < count; ++i) {
            if (heads[i] != nullptr && (oldest == nullptr || heads[i]->arrival < (*oldest)->arrival))
                oldest = &heads[i];
        }
        if (oldest == nullptr)
            return;
        CachedSample& sample = **oldest;
        *oldest = sample.nextOfInstance;
        if (selects(selection, sample) && !function(sample))
            return;
    }
}

DDS_Long ReaderCache::count(const SampleSelection& selection, DDS_Long limit) {
    Guard guard(mutex_);
    DDS_Long found = 0;
    if (limit > 0)
        forSelected(selection, [&](CachedSample&) { return ++found < limit; });
    return found;
}

DDS_Long ReaderCache::collect(const SampleSelection& selection, DDS_Long limit, bool take,
    CachedSample** samples, DDS_SampleInfo* infos) {
    Guard guard(mutex_);
    DDS_Long found = 0;
    if (limit > 0)
        forSelected(selection, [&](CachedSample& sample) {
            samples[found] = &sample;
            infos[found] = sample.info;
            infos[found].sample_state = sample.isRead ? DDS_READ_SAMPLE_STATE : DDS_NOT_READ_SAMPLE_STATE;
            infos[found].view_state = sample.instance->isNew ? DDS_NEW_VIEW_STATE : DDS_NOT_NEW_VIEW_STATE;
            infos[found].instance_state = sample.instance->state;
            ++sample.pins;
            sample.isRead = true;
            return ++found < limit;
        });
    // Only now, so that all samples of one call have the same view state. The rank counts those that follow.
    for (DDS_Long i = 0; i < found; ++i)
        samples[i]->instance->rank = 0;
    for (DDS_Long i = found - 1; i >= 0; --i) {
        infos[i].sample_rank = samples[i]->instance->rank++;
        samples[i]->instance->isNew = false;
        if (take)
            unlink(*samples[i]);
    }
    return found;
}

void ReaderCache::release(CachedSample& sample) {
    Guard guard(mutex_);
    const bool isLast = --sample.pins == 0 && !sample.isLinked;
    guard.release();
    if (isLast)
        CachedSample::destroy(&sample, plugin_);
}

Decoding ReaderCache::decode(CachedSample& sample) {
    Guard guard(decodeMutex_);
    const Decoding decoding = sample.decode(plugin_);
    guard.release();
    if (decoding == Decoding::done)
        return decoding;
    Guard counting(mutex_);
    ++(decoding == Decoding::outOfMemory ? counters_.dropped_no_memory : counters_.dropped_decoding);
    return decoding;
}

DDS_DataReaderCountersI ReaderCache::counters() const {
    Guard guard(mutex_);
    return counters_;
}

bool ReaderCache::findKey(const DDS_InstanceHandle_t& handle, InstanceKey* key) {
    Guard guard(mutex_);
    const Instance* instance = instances_.find(handle);
    if (instance != nullptr)
        *key = instance->key;
    return instance != nullptr;
}

bool ReaderCache::fillKey(const DDS_InstanceHandle_t& handle, void* sample) {
    Guard guard(mutex_);
    const Instance* instance = instances_.find(handle);
    if (instance == nullptr)
        return false;
    instance->key.fill(plugin_, sample);
    return true;
}

} // namespace zdds
