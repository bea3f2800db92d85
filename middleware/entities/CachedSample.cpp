#include "middleware/entities/CachedSample.hpp"

#include <time.h>

#include <cstring>

#include "middleware/types/Serialization.hpp"
#include "zddscore/heap.h"

namespace zdds {
namespace {

DDS_Time_t toTime(int64_t ns) {
    if (ns < 0)
        return DDS_TIME_INVALID;
    return {ns / 1'000'000'000, static_cast<DDS_UnsignedLong>(ns % 1'000'000'000)};
}

DDS_Time_t systemTime() {
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    return {time.tv_sec, static_cast<DDS_UnsignedLong>(time.tv_nsec)};
}

DDS_SequenceNumber_t toSequenceNumber(int64_t number) {
    return {static_cast<DDS_Long>(number >> 32), static_cast<DDS_UnsignedLong>(number & 0xFFFFFFFF)};
}

DDS_SampleInfo makeInfo(const engine::IncomingSample& sample) {
    DDS_SampleInfo info{};
    info.source_timestamp = toTime(sample.sourceTimeNs);
    info.reception_timestamp = systemTime();
    DDS_InstanceHandle_from_guid(&info.publication_handle, &sample.writer);
    info.publication_sequence_number = toSequenceNumber(sample.sequenceNumber);
    info.original_publication_virtual_guid = sample.writer;
    info.original_publication_virtual_sequence_number = info.publication_sequence_number;
    info.valid_data = sample.kind == engine::SampleKind::data;
    return info;
}

} // namespace

CachedSample* CachedSample::create(const engine::IncomingSample& sample) {
    const size_t size = sample.bytes.size();
    void* memory = nullptr;
    if (size > UINT32_MAX || !ORXOsapiHeap_reallocateMemoryInternal(&memory, sizeof(CachedSample) + size,
                                 alignof(CachedSample), 0, "struct CachedSample"))
        return nullptr;
    auto* self = new (memory) CachedSample{};
    self->info = makeInfo(sample);
    self->size = static_cast<uint32_t>(size);
    if (size > 0)
        std::memcpy(self->bytes(), sample.bytes.data(), size);
    return self;
}

CachedSample* CachedSample::createMade(const engine::IncomingSample& sample, uint32_t countedSize) {
    CachedSample* self = create(sample);
    if (self != nullptr)
        self->size = countedSize;
    return self;
}

void CachedSample::destroy(CachedSample* sample, const DDS_TypePlugin& plugin) {
    if (sample == nullptr)
        return;
    if (sample->value != nullptr)
        DDS_TypePlugin_delete_sample(&plugin, sample->value);
    ORXOsapiHeap_freeMemoryInternal(sample);
}

Decoding CachedSample::decode(const DDS_TypePlugin& plugin) {
    if (value != nullptr)
        return Decoding::done;
    bool isOutOfMemory = true;
    if (info.valid_data)
        value = types::createFrom(*plugin.type, reinterpret_cast<const char*>(bytes()), size, &isOutOfMemory);
    else if ((value = DDS_TypePlugin_create_sample(&plugin)) != nullptr)
        key.fill(plugin, value);
    if (value != nullptr)
        return Decoding::done;
    return isOutOfMemory ? Decoding::outOfMemory : Decoding::malformed;
}

} // namespace zdds
