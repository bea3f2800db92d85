// The cache of a reader: samples in the order of arrival, their states and those of their instances.
//
// Threads: the cache's mutex is taken by its own functions, by engine threads that bring samples and by
// readers. Bounded in samples and in bytes, whatever the QoS says: a fast writer and a slow reader cost
// dropped samples, which are counted, and no memory. Decoding is left to who takes, so that engine threads
// only copy.
#ifndef ZDDSC_ENTITIES_READER_CACHE_HPP
#define ZDDSC_ENTITIES_READER_CACHE_HPP

#include <atomic>

#include "middleware/entities/InstanceTable.hpp"
#include "middleware/entities/Sync.hpp"
#include "zddsc/entities.h"

namespace zdds {

// Which samples a read or take wants.
struct SampleSelection {
    DDS_SampleStateMask sampleStates = DDS_ANY_SAMPLE_STATE;
    DDS_ViewStateMask viewStates = DDS_ANY_VIEW_STATE;
    DDS_InstanceStateMask instanceStates = DDS_ANY_INSTANCE_STATE;
    // Whose samples: everybody's, one instance's, or those of the first instance behind `instance` that has
    // some.
    enum class Scope { all, instance, nextInstance } scope = Scope::all;
    DDS_InstanceHandle_t instance{};
    KeyFilter key;
    uint64_t lastArrival = UINT64_MAX; // and none that came later
};

class ReaderCache {
public:
    static constexpr DDS_UnsignedLong safetyBoundSamples = 65536; // where the QoS has no bound
    static constexpr size_t safetyBoundBytes = 64U << 20;

    ReaderCache(const DDS_TypePlugin& plugin, DDS_UnsignedLong keyBytes)
        : plugin_(plugin), instances_(plugin, keyBytes) {}
    ~ReaderCache();
    ReaderCache(const ReaderCache&) = delete;
    ReaderCache& operator=(const ReaderCache&) = delete;
    void setQos(const DDS_DataReaderQos& qos);
    // Bytes of all encodings, and of one, where the usual bounds are too wide.
    void setByteBounds(size_t all, size_t one) {
        maxBytes_ = all;
        maxSampleBytes_ = one;
    }
    // An instance is forgotten with its last sample, for topics where each sample is an instance.
    void forgetInstances() { forgetsInstances_ = true; }
    // What is new finds room: the samples that nobody has taken for longest make it, and count as dropped.
    // For a reader whose users take what concerns them alone.
    void keepNewest() { keepsNewest_ = true; }

    // Takes a sample in. False when there is nothing new to read: it was dropped, and counted. *key is out,
    // if it was taken: the key of its instance.
    bool insert(const engine::IncomingSample& sample, InstanceKey* key);
    // Takes in a sample that was made by hand; it is the cache's in any case. Its instance: `key`, of a keyed
    // topic. Without a key the end of a writer shows as a sample too.
    bool insertMade(CachedSample& sample, engine::SampleKind kind, const InstanceKey& key);
    // A writer came or went. True when there is something new to read: an instance lost its last writer.
    bool writerMatched();
    bool writerUnmatched(const DDS_GUID_t& writer);

    // How many samples of the selection there are, at most `limit`.
    DDS_Long count(const SampleSelection& selection, DDS_Long limit);
    // Collects at most `limit` samples into `samples`, with their infos: unlinked for a take, pinned for a
    // read.
    DDS_Long collect(const SampleSelection& selection, DDS_Long limit, bool take, CachedSample** samples,
        DDS_SampleInfo* infos);
    // Makes the value of a collected sample, and counts it when that fails.
    Decoding decode(CachedSample& sample);
    // Gives back what collect gave.
    void release(CachedSample& sample);

    DDS_DataReaderCountersI counters() const;
    // Samples that have ever entered the cache. Who sees a count sees what happened before its last sample
    // came.
    uint64_t arrivals() const { return arrivals_.load(std::memory_order_acquire); }
    // Whether there is an instance of that handle; without a key it is the nil handle.
    bool knows(const DDS_InstanceHandle_t& handle);
    bool findKey(const DDS_InstanceHandle_t& handle, InstanceKey* key);
    // Fills the key members of an initialized sample. False when there is no such instance.
    bool fillKey(const DDS_InstanceHandle_t& handle, void* sample);

private:
    bool take(CachedSample& cached, const engine::IncomingSample& sample, InstanceKey& key);
    bool fits(const Instance& instance, size_t bytes) const;
    void link(CachedSample& sample, Instance& instance);
    void unlink(CachedSample& sample);
    void forgetIfEmpty(Instance& instance);
    void drop(CachedSample& sample);
    void dropFor(Instance& instance, CachedSample& sample);
    // For one more sample of the instance, by the history and where the newest are kept. False when it does
    // not fit.
    bool makeRoom(Instance& instance, size_t bytes);
    void changeState(Instance& instance, engine::SampleKind kind, const DDS_GUID_t& writer);
    static bool selects(const SampleSelection& selection, const CachedSample& sample);
    static bool selectsAny(const SampleSelection& selection, const Instance& instance);
    const Instance* findInstance(const DDS_InstanceHandle_t& handle);
    bool findScope(const SampleSelection& selection, const Instance** only);
    template <class Function> void forSelected(const SampleSelection& selection, Function function);
    template <size_t room, class Function>
    static void forMerged(const SampleSelection& selection, Instance* const (&instances)[room], size_t count,
        Function function);

    const DDS_TypePlugin& plugin_;
    mutable Mutex mutex_;
    Mutex decodeMutex_; // two readers may have collected one sample; taken alone
    InstanceTable instances_;
    CachedSample* first_ = nullptr;
    CachedSample* last_ = nullptr;
    std::atomic<uint64_t> arrivals_ = 0; // written under the mutex
    size_t bytes_ = 0;
    size_t maxBytes_ = safetyBoundBytes;
    size_t maxSampleBytes_ = safetyBoundBytes;
    bool forgetsInstances_ = false;
    bool keepsNewest_ = false;
    DDS_UnsignedLong maxSamples_ = safetyBoundSamples;
    DDS_UnsignedLong maxSamplesPerInstance_ = safetyBoundSamples;
    DDS_UnsignedLong depth_ = 0; // of a keep-last history; 0 keeps all
    DDS_UnsignedLong matchedWriters_ = 0;
    DDS_DataReaderCountersI counters_{};
};

} // namespace zdds

#endif
