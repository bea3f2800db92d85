#include "middleware/entities/MatchedEndpoints.hpp"

#include "middleware/log/DdsLog.hpp"
#include "zddscore/heap.h"

namespace zdds {

MatchedEndpoints::~MatchedEndpoints() {
    ORXOsapiHeap_freeMemoryInternal(endpoints_);
}

bool MatchedEndpoints::add(const engine::RemoteEndpoint& endpoint) {
    if (count_ == room_) {
        const size_t room = room_ == 0 ? 4 : room_ * 2;
        if (room > maximum)
            return false;
        void* memory = endpoints_;
        if (!ORXOsapiHeap_reallocateMemoryInternal(&memory, room * sizeof(engine::RemoteEndpoint),
                alignof(engine::RemoteEndpoint), 0, "struct RemoteEndpoint"))
            return false;
        endpoints_ = static_cast<engine::RemoteEndpoint*>(memory);
        room_ = room;
    }
    endpoints_[count_++] = endpoint;
    return true;
}

bool MatchedEndpoints::knows(const DDS_GUID_t& endpoint) const {
    for (size_t i = 0; i < count_; ++i) {
        if (DDS_GUID_equals(&endpoints_[i].endpoint, &endpoint))
            return true;
    }
    for (const DDS_GUID_t& past : past_) {
        if (DDS_GUID_equals(&past, &endpoint))
            return true;
    }
    return false;
}

void MatchedEndpoints::remove(const engine::RemoteEndpoint& endpoint) {
    past_[nextPast_++ % pastCount] = endpoint.endpoint;
    for (size_t i = 0; i < count_; ++i) {
        if (!DDS_GUID_equals(&endpoints_[i].endpoint, &endpoint.endpoint))
            continue;
        endpoints_[i] = endpoints_[--count_];
        return;
    }
}

DDS_ReturnCode_t MatchedEndpoints::copyHandles(DDS_InstanceHandleSeq& handles) const {
    const auto count = static_cast<DDS_Long>(count_);
    if (!DDS_InstanceHandleSeq_ensure_length(&handles, count, count))
        return ZDDS_FAIL(DDS_RETCODE_OUT_OF_RESOURCES, FAILED_TO_SET, "length %d of matched handles", count);
    for (DDS_Long i = 0; i < count; ++i)
        DDS_InstanceHandle_from_guid(
            DDS_InstanceHandleSeq_get_reference(&handles, i), &endpoints_[static_cast<size_t>(i)].endpoint);
    return DDS_RETCODE_OK;
}

} // namespace zdds
