#include "src/dataModel/DistributionMapping.hpp"

#include <cstring>

#include "src/dataModel/MetricCatalogue.h"
#include "zddsc/type_engine.h"

namespace orx::dataModel {

namespace {

// The arena aligns for any type whatever is asked.
constexpr int anyAlignment = 1;
constexpr ORX_UINT32 maximumTextLength = 0xFFFFFFFE;

constexpr DDS_UnsignedLong classIds[] = {ORX_MONITORING_TYPE_CLASS_ID, ORX_MONITORING_TOPIC_CLASS_ID,
    ORX_MONITORING_DATA_WRITER_CLASS_ID, ORX_MONITORING_PUBLISHER_CLASS_ID,
    ORX_MONITORING_DATA_READER_CLASS_ID, ORX_MONITORING_SUBSCRIBER_CLASS_ID,
    ORX_MONITORING_PARTICIPANT_CLASS_ID, ORX_MONITORING_APPLICATION_CLASS_ID};

} // namespace

void* mapText(const void* text, REDAInlineMemory** memoryManager) {
    if (text == nullptr) {
        return nullptr;
    }
    char* copy = nullptr;
    return ORXCdrType_copyStringExWMemoryManager(
        &copy, memoryManager, static_cast<const char*>(text), maximumTextLength, 1);
}

void* mapPlain(REDAInlineMemorySize size, const void* value, REDAInlineMemory** memoryManager) {
    if (value == nullptr) {
        return nullptr;
    }
    void* copy = REDAInlineMemory_reserveBufferI(memoryManager, size, anyAlignment);
    return copy == nullptr ? nullptr : std::memcpy(copy, value, static_cast<size_t>(size));
}

void* mapValue(const DDS_TypeDescriptor& type, const void* value, REDAInlineMemory** memoryManager) {
    if (value == nullptr) {
        return nullptr;
    }
    void* copy = REDAInlineMemory_reserveBufferI(
        memoryManager, static_cast<REDAInlineMemorySize>(type.size), anyAlignment);
    const bool isMapped = copy != nullptr &&
                          DDS_Type_initialize_w_memory_manager(&type, copy, memoryManager) &&
                          DDS_Type_copy_w_memory_manager(&type, copy, memoryManager, value);
    return isMapped ? copy : nullptr;
}

void deletePlain(void* value) {
    if (value != nullptr) {
        (void)REDAInlineMemBuffer_release(value); // nothing can be done about a buffer that is no buffer
    }
}

void deleteValue(const DDS_TypeDescriptor& type, void* value) {
    if (value != nullptr) {
        DDS_Type_finalize_w_memory_manager(&type, value);
        deletePlain(value);
    }
}

bool prepareEventValues() {
    for (const DDS_UnsignedLong classId : classIds) {
        for (const ValueForm& form : eventValueForms(classId))
            if (form.type != nullptr && !DDS_Type_prepare(form.type))
                return false;
    }
    return true;
}

} // namespace orx::dataModel
