#include "middleware/entities/MatchNews.hpp"

#include "middleware/log/Memory.hpp"

namespace zdds {

void MatchNews::open(DDS_Long total, DDS_Long current) {
    close();
    isOpen_ = true;
    told_ = {};
    told_.total_count = total;
    told_.current_count = told_.current_count_peak = current;
}

void MatchNews::close() {
    while (Writer* writer = writers_) {
        writers_ = writer->next;
        destroy(writer);
    }
    count_ = 0;
    first_ = last_ = nullptr;
    isOpen_ = false;
}

void MatchNews::append(Writer& writer, bool isMatch) {
    Event& event = writer.events[isMatch ? 0 : 1];
    event = {.next = nullptr, .writer = &writer, .isMatch = isMatch};
    (last_ != nullptr ? last_->next : first_) = &event;
    last_ = &event;
}

bool MatchNews::addMatch(const DDS_GUID_t& writer, uint64_t arrivals) {
    if (!isOpen_)
        return true;
    Writer* added = count_ < maximum ? create<Writer>("struct MatchNews::Writer") : nullptr;
    if (added == nullptr)
        return false;
    added->next = writers_;
    added->guid = writer;
    added->arrivals = arrivals;
    writers_ = added;
    ++count_;
    append(*added, true);
    return true;
}

void MatchNews::addUnmatch(const DDS_GUID_t& writer) {
    Writer* one = writers_;
    while (one != nullptr && (one->isGone || !DDS_GUID_equals(&one->guid, &writer)))
        one = one->next;
    if (one == nullptr)
        return;
    one->isGone = true;
    append(*one, false);
}

bool MatchNews::knows(const DDS_GUID_t& writer) const {
    for (const Writer* one = writers_; one != nullptr; one = one->next) {
        if (DDS_GUID_equals(&one->guid, &writer))
            return true;
    }
    return false;
}

uint64_t MatchNews::arrivalsBeforeNextMatch() const {
    for (const Event* event = first_; event != nullptr; event = event->next) {
        if (event->isMatch)
            return event->writer->arrivals;
    }
    return noArrival;
}

bool MatchNews::take(DDS_SubscriptionMatchedStatus* status, uint64_t* arrivals) {
    Event* event = first_;
    if (event == nullptr)
        return false;
    first_ = event->next;
    if (first_ == nullptr)
        last_ = nullptr;
    Writer& writer = *event->writer;
    *arrivals = writer.arrivals;
    countMatch(told_, &DDS_SubscriptionMatchedStatus::last_publication_handle, writer.guid, event->isMatch);
    *status = takeStatus(told_);
    if (!event->isMatch)
        forget(writer);
    return true;
}

void MatchNews::forget(Writer& writer) {
    Writer** link = &writers_;
    while (*link != &writer)
        link = &(*link)->next;
    *link = writer.next;
    --count_;
    destroy(&writer);
}

} // namespace zdds
