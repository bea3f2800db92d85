// A message is one buffer when nothing of it comes from outside but texts: payload, message, the one entry of
// structured data, its one pair, and the texts, one behind the other. One reservation and one release are
// what a thread that logs, and the worker, pay for it. With structured data of the caller's the message is
// put together from buffers of its own.
#include "src/logging/LoggingPayload.h"

#include <atomic>
#include <charconv>
#include <climits>
#include <cstring>
#include <new>

#include "src/log/Log.hpp"
#include "src/logging/StructuredData.h"
#include "zddscore/text.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::logging;

using Payload = ORX_MonitoringLoggingPayload;
using Message = DDS_Monitoring_LoggingMessage;
using Entry = DDS_Monitoring_StructuredDataMapEntry;
using Pair = DDS_Monitoring_NameValuePair;
using EntrySeq = DDS_Monitoring_StructuredDataMapEntrySeq;

constexpr char entryKey[] = "Zentrox";
constexpr char pairName[] = "category";
constexpr size_t idTextSize = 51;

// What the producer gives.
struct Source {
    const char* text;
    ZDDS_Config_SyslogLevel severity;
    DDS_UnsignedLong messageId;
    const DDS_Duration_t* timestamp;
    ZDDS_Config_LogFacility facility;
    const char* category;
};

int counterOf(ZDDS_Config_LogFacility facility) {
    switch (facility) {
    case ZDDS_CONFIG_LOG_FACILITY_USER:
        return 0;
    case ZDDS_CONFIG_LOG_FACILITY_SECURITY_EVENT:
        return 1;
    case ZDDS_CONFIG_LOG_FACILITY_SERVICE:
        return 2;
    case ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE:
        break;
    }
    return 3;
}

// A message that fails later leaves a gap, which tells a reader that there was one.
ORX_UINT64 takeNumber(ORX_MonitoringLogging& logging, ZDDS_Config_LogFacility facility) {
    return std::atomic_ref(logging.sequenceNumber[counterOf(facility)])
        .fetch_add(1, std::memory_order_relaxed);
}

// All that is no text, but the number.
void setHeader(Message& message, const Source& source) {
    message.facility = static_cast<DDS_Octet>(source.facility & 0xFF);
    message.severity = static_cast<DDS_Monitoring_LoggingLevel>(source.severity);
    message.timestamp = {source.timestamp->sec, source.timestamp->nanosec};
}

void* reserve(REDAInlineMemory** memoryManager, size_t size) {
    return size > INT_MAX
               ? nullptr
               : REDAInlineMemory_reserveBufferI(memoryManager, static_cast<REDAInlineMemorySize>(size), 1);
}

Payload* reservePayload(REDAInlineMemory** memoryManager) {
    void* buffer = reserve(memoryManager, sizeof(Payload));
    if (buffer == nullptr) {
        return ORX_ERROR(FAILED_TO_ALLOCATE, "'struct ORX_MonitoringLoggingPayload' with size %u\n",
            static_cast<unsigned>(sizeof(Payload)));
    }
    return new (buffer) Payload{};
}

// ---- In one buffer ----

// By the C library's function: a compiler that knows the size makes a string instruction of it, which takes
// longer to start than this takes altogether. So it is not told.
void clear(void* memory, size_t size) {
    asm("" : "+r"(size));
    std::memset(memory, 0, size);
}

struct CompactMessage {
    Payload payload; // first
    Message message;
    Entry entry;
    Pair pair;
    char key[sizeof entryKey];
    char name[sizeof pairName];
    char id[11]; // the longest number and a terminator
    char texts[1];

    static constexpr size_t bytes(size_t textBytes) { return offsetof(CompactMessage, texts) + textBytes; }
};

bool isCompact(const Payload& payload) {
    return payload.base == &reinterpret_cast<const CompactMessage&>(payload).message;
}

// One element, which is the caller's memory.
template <class Sequence, class Element> void lend(Sequence& sequence, Element& element) {
    sequence._contiguous_buffer = &element;
    sequence._length = 1;
    sequence._maximum = 1;
    sequence._loaned = DDS_BOOLEAN_TRUE;
}

Payload* createCompact(
    ORX_MonitoringLogging& logging, REDAInlineMemory** memoryManager, const Source& source) {
    const size_t textSize = std::strlen(source.text) + 1;
    const size_t categorySize = std::strlen(source.category) + 1;
    const size_t size = CompactMessage::bytes(textSize + categorySize);
    void* buffer = reserve(memoryManager, size);
    if (buffer == nullptr) {
        return ORX_FLOOD_ERROR(FAILED_TO_ALLOCATE, "'struct ORX_MonitoringLoggingPayload' with size %u\n",
            static_cast<unsigned>(size));
    }
    auto* self = static_cast<CompactMessage*>(buffer);
    // Before the message is written: an atomic addition waits for all stores that came before it.
    const ORX_UINT64 number = takeNumber(logging, source.facility);
    clear(self, offsetof(CompactMessage, key));
    std::memcpy(self->key, entryKey, sizeof entryKey);
    std::memcpy(self->name, pairName, sizeof pairName);
    *std::to_chars(self->id, self->id + sizeof self->id - 1, source.messageId).ptr = '\0';
    std::memcpy(self->texts, source.text, textSize);
    std::memcpy(self->texts + textSize, source.category, categorySize);
    self->pair = {self->name, self->texts + textSize};
    self->entry.key = self->key;
    lend(self->entry.pairs, self->pair);
    lend(self->message.structured_data, self->entry);
    self->message.msgid = self->id;
    self->message.message = self->texts;
    setHeader(self->message, source);
    self->message.sn = number;
    self->payload.base = &self->message;
    return &self->payload;
}

// ---- In buffers of its own ----

bool copyText(char** destination, REDAInlineMemory** memoryManager, const char* source) {
    return ORXCdrType_copyStringExWMemoryManager(destination, memoryManager, source, INT_MAX, 1) != nullptr;
}

bool setStructuredData(
    EntrySeq& self, REDAInlineMemory** memoryManager, const EntrySeq& source, const char* category) {
    if (DDS_Monitoring_StructuredDataMapEntrySeq_copy_w_memory_manager(&self, memoryManager, &source) ==
        nullptr) {
        return ORX_ERROR(FAILED_TO_COPY, "Structured Data Map Entry sequence.");
    }
    Entry* entry = DDS_Monitoring_StructuredDataMapEntrySeq_assertElement(&self, memoryManager, entryKey);
    if (entry == nullptr)
        return ORX_ERROR(FAILED_TO_ASSERT, "'%s' key into structured data sequence", entryKey);
    if (DDS_Monitoring_NameValuePairSeq_assertElement(&entry->pairs, memoryManager, pairName, category) ==
        nullptr) {
        return ORX_ERROR(FAILED_TO_ASSERT, "'%s' category into name value pair sequence", category);
    }
    return true;
}

bool setTexts(Message& message, REDAInlineMemory** memoryManager, const Source& source) {
    if (!copyText(&message.message, memoryManager, source.text))
        return ORX_ERROR(FAILED_TO_COPY, "Logging message string");
    char id[idTextSize];
    if (ORXOsapiUtility_snprintf(id, sizeof id, "%u", source.messageId) < 0) {
        return ORX_ERROR(
            FAILED_TO_CONVERT_TYPE, "Logging message ID string from value '%u'\n", source.messageId);
    }
    if (!copyText(&message.msgid, memoryManager, id))
        return ORX_ERROR(FAILED_TO_COPY, "Logging message ID string");
    return true;
}

bool build(Payload& self, ORX_MonitoringLogging& logging, REDAInlineMemory** memoryManager,
    const Source& source, const EntrySeq& structuredData) {
    void* buffer = reserve(memoryManager, sizeof(Message));
    if (buffer == nullptr) {
        return ORX_ERROR(FAILED_TO_ALLOCATE, "'DDS_Monitoring_LoggingMessage' with size %u\n",
            static_cast<unsigned>(sizeof(Message)));
    }
    self.base = new (buffer) Message{};
    if (!setStructuredData(self.base->structured_data, memoryManager, structuredData, source.category))
        return false;
    setHeader(*self.base, source);
    self.base->sn = takeNumber(logging, source.facility);
    return setTexts(*self.base, memoryManager, source);
}

Payload* createFromParts(ORX_MonitoringLogging& logging, REDAInlineMemory** memoryManager,
    const Source& source, const EntrySeq& structuredData) {
    Payload* self = reservePayload(memoryManager);
    if (self == nullptr)
        return nullptr;
    if (!build(*self, logging, memoryManager, source, structuredData)) {
        (void)ORX_MonitoringLoggingPayload_delete(self);
        return nullptr;
    }
    return self;
}

} // namespace

ORX_MonitoringLoggingPayload* ORX_MonitoringLoggingPayload_createUpdate(ORX_MonitoringLogging* logging,
    REDAInlineMemory** memoryManager, const char* text, ZDDS_Config_SyslogLevel severity,
    DDS_UnsignedLong message_id, const DDS_Duration_t* timestamp, ZDDS_Config_LogFacility facility,
    const DDS_Monitoring_StructuredDataMapEntrySeq* structuredData, const char* categoryString) {
    ORX_FAIL_IF(logging == ORX_NULL);
    ORX_FAIL_IF(memoryManager == ORX_NULL);
    ORX_FAIL_IF(text == ORX_NULL);
    ORX_FAIL_IF(timestamp == ORX_NULL);
    ORX_FAIL_IF(categoryString == ORX_NULL);
    const Source source{text, severity, message_id, timestamp, facility, categoryString};
    return structuredData == nullptr ? createCompact(*logging, memoryManager, source)
                                     : createFromParts(*logging, memoryManager, source, *structuredData);
}

ORX_MonitoringLoggingPayload* ORX_MonitoringLoggingPayload_createSnapshot(REDAInlineMemory** memoryManager) {
    ORX_FAIL_IF(memoryManager == ORX_NULL);
    Payload* self = reservePayload(memoryManager);
    if (self != nullptr)
        self->isSnapshot = 1;
    return self;
}

int ORX_MonitoringLoggingPayload_delete(void* payload) {
    ORX_FAIL_IF(payload == ORX_NULL);
    auto* self = static_cast<Payload*>(payload);
    int result = 1;
    if (self->base != nullptr && !isCompact(*self)) {
        DDS_Monitoring_LoggingMessage_finalize_w_memory_manager(self->base);
        if (!REDAInlineMemBuffer_release(self->base)) {
            ORX_ERROR(FAILED_TO_RETURN, "Base task buffer to Memory Manager.\n");
            result = 0;
        }
    }
    if (!REDAInlineMemBuffer_release(self))
        return ORX_ERROR(FAILED_TO_RETURN, "Task buffer to Memory Manager.\n");
    return result;
}
