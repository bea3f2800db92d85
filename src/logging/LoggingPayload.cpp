// Messages and requests of snapshots as payloads of their own. With structured data of the caller's a message
// is put together from several buffers; without, it is one (CompactMessage.hpp).
#include "src/logging/LoggingPayload.h"

#include <climits>
#include <new>

#include "src/log/Log.hpp"
#include "src/logging/CompactMessage.hpp"
#include "src/logging/StructuredData.h"
#include "zddscore/text.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::logging;

using namespace orx::logging;

using Payload = ORX_MonitoringLoggingPayload;
using Message = DDS_Monitoring_LoggingMessage;
using Entry = DDS_Monitoring_StructuredDataMapEntry;
using EntrySeq = DDS_Monitoring_StructuredDataMapEntrySeq;

constexpr size_t idTextSize = 51;

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

bool isCompact(const Payload& payload) {
    return payload.base == &reinterpret_cast<const CompactMessage&>(payload).message;
}

Payload* createCompact(
    ORX_MonitoringLogging& logging, REDAInlineMemory** memoryManager, const Source& source) {
    const size_t size = sizeof(CompactMessage) + bytesBehind(source);
    auto* self = static_cast<CompactMessage*>(reserve(memoryManager, size));
    if (self == nullptr) {
        return ORX_FLOOD_ERROR(FAILED_TO_ALLOCATE, "'struct ORX_MonitoringLoggingPayload' with size %u\n",
            static_cast<unsigned>(size));
    }
    fillCompact(*self, logging, source);
    return &self->payload;
}

// ---- In buffers of its own ----

bool duplicate(char** destination, REDAInlineMemory** memoryManager, const char* source) {
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
    if (!duplicate(&message.message, memoryManager, source.text))
        return ORX_ERROR(FAILED_TO_COPY, "Logging message string");
    char id[idTextSize];
    if (ORXOsapiUtility_snprintf(id, sizeof id, "%u", source.messageId) < 0) {
        return ORX_ERROR(
            FAILED_TO_CONVERT_TYPE, "Logging message ID string from value '%u'\n", source.messageId);
    }
    if (!duplicate(&message.msgid, memoryManager, id))
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

constexpr DDS_Monitoring_NameValuePair pairWithoutCategory{
    const_cast<char*>(pairName), const_cast<char*>(noCategory)};

} // namespace

constexpr DDS_Monitoring_StructuredDataMapEntry orx::logging::entryWithoutCategory = [] {
    DDS_Monitoring_StructuredDataMapEntry entry{};
    entry.key = const_cast<char*>(entryKey);
    lend(entry.pairs, pairWithoutCategory);
    return entry;
}();

ORX_MonitoringLoggingPayload* ORX_MonitoringLoggingPayload_createUpdate(ORX_MonitoringLogging* logging,
    REDAInlineMemory** memoryManager, const char* text, ZDDS_Config_SyslogLevel severity,
    DDS_UnsignedLong message_id, const DDS_Duration_t* timestamp, ZDDS_Config_LogFacility facility,
    const DDS_Monitoring_StructuredDataMapEntrySeq* structuredData, const char* categoryString) {
    ORX_FAIL_IF(logging == ORX_NULL);
    ORX_FAIL_IF(memoryManager == ORX_NULL);
    ORX_FAIL_IF(text == ORX_NULL);
    ORX_FAIL_IF(timestamp == ORX_NULL);
    ORX_FAIL_IF(categoryString == ORX_NULL);
    const Source source = sourceOf(text, severity, message_id, timestamp, facility, categoryString);
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
