// The remote endpoints that match one of ours. Threads: callers serialize. Bounded: what remote participants
// can make this table hold is limited; matches beyond it are counted by the statuses and not listed.
#ifndef ZDDSC_ENTITIES_MATCHED_ENDPOINTS_HPP
#define ZDDSC_ENTITIES_MATCHED_ENDPOINTS_HPP

#include <cstddef>

#include "middleware/engine/Engine.hpp"

namespace zdds {

class MatchedEndpoints {
public:
    static constexpr size_t maximum = 16384;

    MatchedEndpoints() = default;
    ~MatchedEndpoints();
    MatchedEndpoints(const MatchedEndpoints&) = delete;
    MatchedEndpoints& operator=(const MatchedEndpoints&) = delete;

    // False when there is no room or no memory.
    bool add(const engine::RemoteEndpoint& endpoint);
    void remove(const engine::RemoteEndpoint& endpoint);
    size_t count() const { return count_; }
    // Whether it is there, or was until lately.
    bool knows(const DDS_GUID_t& endpoint) const;
    const engine::RemoteEndpoint& operator[](size_t index) const { return endpoints_[index]; }
    DDS_ReturnCode_t copyHandles(DDS_InstanceHandleSeq& handles) const;

private:
    engine::RemoteEndpoint* endpoints_ = nullptr;
    size_t count_ = 0;
    size_t room_ = 0;
    static constexpr size_t pastCount = 64;
    DDS_GUID_t past_[pastCount] = {}; // those that left last
    size_t nextPast_ = 0;
};

// Counts a change into a matched status; `Handle` is the member that names the last endpoint.
template <class Status>
void countMatch(Status& status, DDS_InstanceHandle_t Status::*handle, const DDS_GUID_t& guid, bool matched) {
    const DDS_Long change = matched ? 1 : -1;
    status.current_count += change;
    status.current_count_change += change;
    if (matched) {
        ++status.total_count;
        ++status.total_count_change;
    }
    if (status.current_count > status.current_count_peak)
        status.current_count_peak = status.current_count;
    DDS_InstanceHandle_from_guid(&(status.*handle), &guid);
}

// What a getter gives: the status, whose changes begin anew.
template <class Status> Status takeStatus(Status& status) {
    const Status taken = status;
    status.total_count_change = status.current_count_change = 0;
    return taken;
}

} // namespace zdds

#endif
