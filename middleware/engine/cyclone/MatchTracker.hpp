// The matched endpoints of one writer or reader, and the order in which its sink hears of them.
//
// The library tells a match by an instance handle and forgets the rest when the match ends, so what belongs
// to a handle is kept here. Three things can come in an unexpected order, and are put right:
// - a match may be told while the endpoint is still being made and cannot be asked: it waits for attach;
// - a sample of a writer in this process may come before its match: the match is told first, and once;
// - a sample may come after its writer was unmatched: it is dropped, for a short memory of past handles.
// Threads: any. The sink is called under the tracker's mutex, which makes its calls come one at a time; no
// call into the library is made under it, since the library delivers samples under locks of its own.
#ifndef ZDDSC_ENGINE_CYCLONE_MATCH_TRACKER_HPP
#define ZDDSC_ENGINE_CYCLONE_MATCH_TRACKER_HPP

#include <algorithm>
#include <cstring>
#include <mutex>

#include "middleware/engine/Engine.hpp"
#include "middleware/engine/HeapObject.hpp"
#include "middleware/engine/cyclone/CycloneInternals.h"
#include "middleware/log/DdsLog.hpp"

namespace zdds::engine {

// Every participant has this entity id, and its endpoints share its prefix.
inline DDS_GUID_t participantOf(const DDS_GUID_t& endpoint) {
    constexpr DDS_Octet participantEntityId[4] = {0x00, 0x00, 0x01, 0xc1};
    DDS_GUID_t result = endpoint;
    std::memcpy(result.value + 12, participantEntityId, sizeof participantEntityId);
    return result;
}

template <class Sink> class MatchTracker {
public:
    // Who a matched endpoint is, of the endpoint that was attached.
    using Find = bool (*)(const ZddsCycloneEndpoint* endpoint, uint64_t handle, uint8_t guid[16]);

    // The sink may be null.
    explicit MatchTracker(Sink* sink, Find findMatched = ZddsCyclone_findMatched)
        : sink_(sink), findMatched_(findMatched) {}
    // The library calls no more by then; taking the mutex makes all that was done under it happen before.
    ~MatchTracker() { std::lock_guard lock(mutex_); }
    MatchTracker(const MatchTracker&) = delete;
    MatchTracker& operator=(const MatchTracker&) = delete;

    // The endpoint can be asked from now on: tells the matches that waited for it.
    void attach(const ZddsCycloneEndpoint& endpoint) {
        {
            std::lock_guard lock(mutex_);
            endpoint_ = &endpoint;
        }
        uint64_t handle = 0;
        for (uint64_t from = 0; nextUnknown(from, handle); from = handle + 1) {
            DDS_GUID_t guid;
            if (!findMatched_(&endpoint, handle, guid.value))
                continue;
            std::lock_guard lock(mutex_);
            Match* match = find(handle);
            if (match != nullptr && !match->known)
                makeKnown(*match, guid);
        }
    }

    void onMatched(uint64_t handle) {
        DDS_GUID_t guid{};
        bool known = false;
        for (const ZddsCycloneEndpoint* asked = nullptr;;) {
            {
                std::lock_guard lock(mutex_);
                if (find(handle) != nullptr)
                    return; // its first sample was faster
                // What is added without asking is there before the endpoint can be attached, and so waits for
                // that.
                if (asked == endpoint_)
                    return addMatch(handle, known ? &guid : nullptr);
                asked = endpoint_;
            }
            known = findMatched_(asked, handle, guid.value);
        }
    }

    void onUnmatched(uint64_t handle) {
        std::lock_guard lock(mutex_);
        Match* match = find(handle);
        if (match == nullptr)
            return;
        const Match gone = *match;
        matches_.erase(static_cast<std::size_t>(match - matches_.begin()));
        past_[pastNext_++ % pastSize] = handle;
        if (gone.known && sink_ != nullptr)
            sink_->onUnmatched(gone.remote);
    }

    // Calls deliver(counted), with `counted` the running number of the writer's samples, under the mutex,
    // after the match of the writer was told. Drops the sample of a writer that is gone.
    template <class Deliver> void withSample(uint64_t handle, const DDS_GUID_t& writer, Deliver deliver) {
        std::lock_guard lock(mutex_);
        Match* match = find(handle);
        if (match == nullptr) {
            if (std::find(past_, past_ + pastSize, handle) != past_ + pastSize)
                return;
            match = add(handle);
            if (match == nullptr)
                return;
        }
        if (!match->known)
            makeKnown(*match, writer);
        deliver(++match->samples);
    }

    template <class Call> void withSink(Call call) {
        std::lock_guard lock(mutex_);
        if (sink_ != nullptr)
            call(*sink_);
    }

private:
    struct Match {
        uint64_t handle;
        RemoteEndpoint remote;
        int64_t samples;
        bool known; // remote is valid, and the sink has been told
    };
    // As many may part at once when a host goes, while a sample of the first is still on its way.
    static constexpr std::size_t pastSize = 512;

    Match* lowerBound(uint64_t handle) {
        return std::lower_bound(matches_.begin(), matches_.end(), handle,
            [](const Match& match, uint64_t value) { return match.handle < value; });
    }
    Match* find(uint64_t handle) {
        Match* match = lowerBound(handle);
        return match != matches_.end() && match->handle == handle ? match : nullptr;
    }
    Match* add(uint64_t handle) {
        const auto index = static_cast<std::size_t>(lowerBound(handle) - matches_.begin());
        if (!matches_.insert(index, Match{handle, {}, 0, false})) {
            ZDDS_LOG_ERROR(FAILED_TO_ALLOCATE, "matched endpoint; its samples are dropped");
            return nullptr;
        }
        return &matches_[index];
    }
    // The GUID is null for one that waits to be known.
    void addMatch(uint64_t handle, const DDS_GUID_t* guid) {
        forget(handle);
        Match* match = add(handle);
        if (match != nullptr && guid != nullptr)
            makeKnown(*match, *guid);
    }
    void makeKnown(Match& match, const DDS_GUID_t& guid) {
        match.remote = {guid, participantOf(guid)};
        match.known = true;
        if (sink_ != nullptr)
            sink_->onMatched(match.remote);
    }
    // The first handle from `from` on that waits for its GUID.
    bool nextUnknown(uint64_t from, uint64_t& handle) {
        std::lock_guard lock(mutex_);
        for (Match* match = lowerBound(from); match != matches_.end(); ++match) {
            if (match->known)
                continue;
            handle = match->handle;
            return true;
        }
        return false;
    }
    void forget(uint64_t handle) { std::replace(past_, past_ + pastSize, handle, uint64_t{0}); }

    std::mutex mutex_;
    Sink* const sink_;
    const Find findMatched_;
    const ZddsCycloneEndpoint* endpoint_ = nullptr; // under mutex_, as all below
    HeapArray<Match> matches_{"struct Match"};      // by handle
    uint64_t past_[pastSize] = {};                  // handles that were unmatched last; 0 is none
    std::size_t pastNext_ = 0;
};

} // namespace zdds::engine

#endif
