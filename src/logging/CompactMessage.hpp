// A message in one buffer, when nothing of it comes from outside but texts.
//
// Payload, message and number's text lie behind each other, then the category with what names it, where the
// message has one, and the text. One reservation and one release are what the thread that logs, and the
// worker, pay for it. What is the same for all messages without a category is there once, for all of them.
// Threads: filled by a producer under the mutex of the queue in whose arena the buffer lies; only read
// afterwards. Ownership: a message refers to its own buffer and to constants alone, so nothing of it is ever
// finalized. Errors: none.
#ifndef ORX_COMPACT_MESSAGE_HPP
#define ORX_COMPACT_MESSAGE_HPP

#include <atomic>
#include <charconv>
#include <cstring>

#include "src/logging/LoggingPayload.h"

namespace orx::logging {

// The entry of structured data that every message has, and its pair.
inline constexpr char entryKey[] = "Zentrox";
inline constexpr char pairName[] = "category";
inline constexpr char noCategory[] = "N/A";

// What the producer gives. Lengths are without terminators.
struct Source {
    const char* text;
    size_t textLength;
    ZDDS_Config_SyslogLevel severity;
    DDS_UnsignedLong messageId;
    const DDS_Duration_t* timestamp;
    ZDDS_Config_LogFacility facility;
    const char* category; // null for none
    size_t categoryLength;
};

// With the lengths of the texts. The category may be null.
inline Source sourceOf(const char* text, ZDDS_Config_SyslogLevel severity, DDS_UnsignedLong messageId,
    const DDS_Duration_t* timestamp, ZDDS_Config_LogFacility facility, const char* category) {
    return {.text = text,
        .textLength = std::strlen(text),
        .severity = severity,
        .messageId = messageId,
        .timestamp = timestamp,
        .facility = facility,
        .category = category,
        .categoryLength = category != nullptr ? std::strlen(category) : 0};
}

// All that is no text, but the number.
inline void setHeader(DDS_Monitoring_LoggingMessage& message, const Source& source) {
    message.facility = static_cast<DDS_Octet>(source.facility & 0xFF);
    message.severity = static_cast<DDS_Monitoring_LoggingLevel>(source.severity);
    message.timestamp.sec = source.timestamp->sec;
    message.timestamp.nanosec = source.timestamp->nanosec;
}

struct CompactMessage {
    ORX_MonitoringLoggingPayload payload; // first
    DDS_Monitoring_LoggingMessage message;
    char id[16]; // the longest number has 10 digits
};

// Behind it, ahead of the texts.
struct Category {
    DDS_Monitoring_StructuredDataMapEntry entry;
    DDS_Monitoring_NameValuePair pair;
};
static_assert(sizeof(CompactMessage) % alignof(Category) == 0);

// Bytes behind a CompactMessage.
inline size_t bytesBehind(const Source& source) {
    return source.textLength + 1 +
           (source.category != nullptr ? sizeof(Category) + source.categoryLength + 1 : 0);
}

// A message that fails later leaves a gap, which tells a reader that there was one.
inline ORX_UINT64 takeNumber(ORX_MonitoringLogging& logging, ZDDS_Config_LogFacility facility) {
    const int counter = facility == ZDDS_CONFIG_LOG_FACILITY_SERVICE          ? 2
                        : facility == ZDDS_CONFIG_LOG_FACILITY_USER           ? 0
                        : facility == ZDDS_CONFIG_LOG_FACILITY_SECURITY_EVENT ? 1
                                                                              : 3;
    return std::atomic_ref(logging.sequenceNumber[counter]).fetch_add(1, std::memory_order_relaxed);
}

// One element, which nobody frees and nobody changes. In place: a sequence that is made elsewhere is copied
// in larger pieces than it was written in, for which the processor waits.
template <class Sequence, class Element> constexpr void lend(Sequence& sequence, const Element& element) {
    sequence = {};
    sequence._contiguous_buffer = const_cast<Element*>(&element);
    sequence._length = 1;
    sequence._maximum = 1;
    sequence._loaned = DDS_BOOLEAN_TRUE;
}

// The entry for messages without a category.
extern const DDS_Monitoring_StructuredDataMapEntry entryWithoutCategory;

inline char* copyText(char* to, const char* text, size_t length) {
    std::memcpy(to, text, length);
    to[length] = '\0';
    return to;
}

// The entry of a category that comes behind the message; *end is where it begins, and then where it ends.
inline const DDS_Monitoring_StructuredDataMapEntry& putCategory(char** end, const Source& source) {
    auto* category = reinterpret_cast<Category*>(*end);
    char* value = copyText(*end + sizeof *category, source.category, source.categoryLength);
    category->pair = {const_cast<char*>(pairName), value};
    category->entry.key = const_cast<char*>(entryKey);
    lend(category->entry.pairs, category->pair);
    *end = value + source.categoryLength + 1;
    return category->entry;
}

// `self` has bytesBehind(source) bytes behind it. Every member is written, and none twice.
inline void fillCompact(CompactMessage& self, ORX_MonitoringLogging& logging, const Source& source) {
    // Before the message is written: an atomic addition waits for all stores that came before it.
    const ORX_UINT64 number = takeNumber(logging, source.facility);
    char* end = reinterpret_cast<char*>(&self + 1);
    const auto& entry = source.category == nullptr ? entryWithoutCategory : putCategory(&end, source);
    *std::to_chars(self.id, self.id + sizeof self.id - 1, source.messageId).ptr = '\0';
    self.payload.base = &self.message;
    self.payload.isSnapshot = 0;
    DDS_Monitoring_LoggingMessage& message = self.message;
    message.sn = number;
    setHeader(message, source);
    message.hostname = nullptr;
    message.hostip = nullptr;
    message.appname = nullptr;
    message.procid = nullptr;
    message.msgid = self.id;
    lend(message.structured_data, entry);
    message.message = copyText(end, source.text, source.textLength);
}

} // namespace orx::logging

#endif
