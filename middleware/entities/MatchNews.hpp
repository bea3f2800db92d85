// What a reader's listener is still to hear of its writers: each match and each unmatch by itself, in order.
//
// A match also holds back the samples that came behind it, so that the listener hears of a writer before it
// reads a sample of that writer. Threads: callers serialize. Bounded, since remote participants match: a
// writer that finds no room is told neither at its match nor at its end. What a match takes suffices for its
// end, which is never lost.
#ifndef ZDDSC_ENTITIES_MATCH_NEWS_HPP
#define ZDDSC_ENTITIES_MATCH_NEWS_HPP

#include "middleware/entities/MatchedEndpoints.hpp"
#include "zddsc/status.h"

namespace zdds {

class MatchNews {
public:
    static constexpr unsigned maximum = 2 * MatchedEndpoints::maximum; // writers, with those that are gone
    static constexpr uint64_t noArrival = UINT64_MAX;

    MatchNews() = default;
    ~MatchNews() { close(); }
    MatchNews(const MatchNews&) = delete;
    MatchNews& operator=(const MatchNews&) = delete;

    // News are kept while it is open. current: of the writers that will not be told.
    void open(DDS_Long total, DDS_Long current);
    void close();
    bool isOpen() const { return isOpen_; }

    // arrivals: samples that had arrived before the match. False when there is no room.
    bool addMatch(const DDS_GUID_t& writer, uint64_t arrivals);
    void addUnmatch(const DDS_GUID_t& writer);
    // Also a writer whose end is still to be told.
    bool knows(const DDS_GUID_t& writer) const;

    bool isEmpty() const { return first_ == nullptr; }
    bool isMatchNext() const { return first_ != nullptr && first_->isMatch; }
    // Samples that had arrived before the first match that is still to be told; noArrival without one.
    uint64_t arrivalsBeforeNextMatch() const;
    // The next of the news as the status that a listener gets. arrivals: as above, of a match. False when
    // there is none.
    bool take(DDS_SubscriptionMatchedStatus* status, uint64_t* arrivals);

private:
    struct Writer;
    struct Event {
        Event* next;
        Writer* writer;
        bool isMatch;
    };
    struct Writer {
        Writer* next;
        DDS_GUID_t guid;
        uint64_t arrivals;
        bool isGone;
        Event events[2]; // its match and its end
    };
    void append(Writer& writer, bool isMatch);
    void forget(Writer& writer);

    bool isOpen_ = false;
    unsigned count_ = 0;
    Writer* writers_ = nullptr;
    Event* first_ = nullptr;
    Event* last_ = nullptr;
    DDS_SubscriptionMatchedStatus told_{};
};

} // namespace zdds

#endif
