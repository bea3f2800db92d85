// The three forms in which a value of a metric group is copied into an arena, and freed.
//
// Application form in, distribution form out: for a text the text itself, else a pointer to a value of the
// member's type. A value lies in one arena with all that it points at, so that a task's whole sample does.
// Threads: the caller holds the lock of the arena. Errors: null, without a line of log; a null value gives
// null. What was reserved before a failure stays the arena's until its end: the buffer of a half-built value
// is not released.
#ifndef ORX_DATA_MODEL_DISTRIBUTION_MAPPING_HPP
#define ORX_DATA_MODEL_DISTRIBUTION_MAPPING_HPP

#include <cstdint>
#include <span>

#include "zddsc/type_descriptor.h"
#include "zddscore/inline_memory.h"

namespace orx::dataModel {

// A text of any length; the bound of the sample's member is looked at when the sample is serialized.
void* mapText(const void* text, REDAInlineMemory** memoryManager);
// A primitive of `size` bytes.
void* mapPlain(REDAInlineMemorySize size, const void* value, REDAInlineMemory** memoryManager);
// Anything else.
void* mapValue(const DDS_TypeDescriptor& type, const void* value, REDAInlineMemory** memoryManager);

// Null is a no-op.
void deletePlain(void* value);
void deleteValue(const DDS_TypeDescriptor& type, void* value);

// What the distribution form of a group is made of.
struct ValueForm {
    std::uint32_t
        plainSize; // bytes that are the value, as for mapPlain; 0 for a text and for what owns memory
    const DDS_TypeDescriptor* type; // of what mapValue copies; null for a plain value and for a text
};
// Of the event groups of a class, in the order of its group table. Empty for an unknown class.
std::span<const ValueForm> eventValueForms(DDS_UnsignedLong classId);
// Makes now what the first mapValue of each event group would make on the heap, for all classes, so that no
// push of an application has to. Idempotent. False when memory is out.
bool prepareEventValues();

} // namespace orx::dataModel

#endif
