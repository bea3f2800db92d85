// Service requests between their arrival and the library: who may go when, and what is refused.
//
// Requests come from anybody, so everything here is bounded: senders, and requests and bytes of each and of
// all. Senders, which are participants, take turns. Commands that multiply traffic wait for the pace of their
// sender. No more than `inFlight` commands are with the library and not answered, since the library keeps
// what it was given until it has answered: it works in order, so the answer to one tells that all before it
// are done; a command without an answer counts as done after `answerNs`.
//
// Threads: callers serialize. Time is the caller's, in nanoseconds of a monotonic clock.
#ifndef ZDDSC_HOST_REQUEST_INTAKE_HPP
#define ZDDSC_HOST_REQUEST_INTAKE_HPP

#include <array>
#include <cstdint>

#include "zddsc/monitoring.h"
#include "zddsc/service_request.h"

namespace zdds::host {

struct HeldRequest {
    HeldRequest* next;
    DDS_ServiceRequest sample;
    DDS_SampleInfo info;
    uint64_t arrival; // in the order of all
    bool isPaced;
    bool isDelayed; // counted as such

    static void destroy(HeldRequest* request);
};

class RequestIntake {
public:
    static constexpr unsigned maxInFlight = 64;
    static constexpr int64_t never = INT64_MAX;

    struct Limits {
        unsigned senders = 256;
        unsigned requests = 1024;       // of one sender
        size_t bytes = 4U << 20;        // of one sender
        size_t allBytes = 32U << 20;    // of all
        unsigned pacedRequests = 16;    // of one sender
        int64_t paceNs = 1'000'000'000; // for one paced request of a sender; after a rest
        unsigned burst = 4;             // this many go at once
        unsigned inFlight = 32;         // at most maxInFlight
        int64_t answerNs = 10'000'000'000;
    };

    RequestIntake() : RequestIntake(Limits{}) {}
    explicit RequestIntake(const Limits& limits) : limits_(limits) {}
    ~RequestIntake() { clear(); }
    RequestIntake(const RequestIntake&) = delete;
    RequestIntake& operator=(const RequestIntake&) = delete;

    // A copy is kept. False when it is refused, and counted.
    bool add(const DDS_ServiceRequest& sample, const DDS_SampleInfo& info, int64_t nowNs);
    // The request whose turn it is, from now on the caller's and in flight; null when none may go, and then
    // *againNs is when to look again if nothing happens meanwhile.
    HeldRequest* next(int64_t nowNs, int64_t* againNs);
    // The library did not take it: no answer will come.
    void notTaken(const HeldRequest& request);
    // An answer to that command has been sent.
    void answered(const DDS_GUID_t& instance);
    void clear();

    ORX_MonitoringHostRequestCounters counters() const { return counters_; }

private:
    // First in, first out.
    struct Queue {
        HeldRequest* first = nullptr;
        HeldRequest* last = nullptr;
        unsigned count = 0;
        void push(HeldRequest& request);
        HeldRequest* pop();
    };
    struct Sender {
        Sender* next; // in a ring
        DDS_GUID_t participant;
        Queue plain;
        Queue paced;
        size_t bytes;
        int64_t paceUsedUntilNs; // as if each paced request took paceNs
        int64_t usedNs;
        bool isEmpty() const { return plain.count == 0 && paced.count == 0; }
    };
    struct InFlight {
        DDS_GUID_t instance;
        uint64_t arrival;
        int64_t sinceNs;
    };

    Sender* find(const DDS_GUID_t& participant) const;
    Sender* findOrMake(const DDS_GUID_t& participant, int64_t nowNs);
    bool forgetIdle(int64_t nowNs);
    void unlink(Sender& sender);
    bool fits(const Sender& sender, size_t bytes, bool isPaced);
    bool hasRoomInFlight(int64_t nowNs, int64_t* againNs);
    int64_t paceReadyNs(const Sender& sender) const;
    HeldRequest* takeFrom(Sender& sender, int64_t nowNs, int64_t* againNs);

    const Limits limits_;
    Sender* last_ = nullptr; // of the ring: the one whose turn was last
    unsigned senders_ = 0;
    size_t bytes_ = 0;
    uint64_t arrivals_ = 0;
    std::array<InFlight, maxInFlight> inFlight_{}; // the oldest first
    unsigned inFlightCount_ = 0;
    ORX_MonitoringHostRequestCounters counters_{};
};

} // namespace zdds::host

#endif
