// Sequence of name and value pairs.
#include "zddsc/qos.h"
#include "zddsc/sequence_define.h"

namespace {

DDS_Property_t& asProperty(void* element) {
    return *static_cast<DDS_Property_t*>(element);
}

DDS_Boolean initializeProperty(void* element, const DDS_TypeAllocationParams_t*, REDAInlineMemory**) {
    asProperty(element) = DDS_Property_t{};
    return DDS_BOOLEAN_TRUE;
}

void releaseText(char*& text, DDS_Boolean isArena) {
    if (isArena && text != nullptr) {
        REDAInlineMemBuffer_release(text);
        text = nullptr;
    } else {
        DDS_String_replace(&text, nullptr);
    }
}

void finalizeProperty(void* element, const DDS_TypeDeallocationParams_t*, DDS_Boolean isArena) {
    releaseText(asProperty(element).name, isArena);
    releaseText(asProperty(element).value, isArena);
}

bool copyText(char*& destination, const char* source, REDAInlineMemory** memoryManager) {
    if (memoryManager == nullptr)
        return DDS_String_replace(&destination, source) != nullptr || source == nullptr;
    if (source != nullptr)
        return ORXCdrType_copyStringExWMemoryManager(&destination, memoryManager, source, 0xFFFFFFFEU, 1) !=
               nullptr;
    releaseText(destination, DDS_BOOLEAN_TRUE);
    return true;
}

DDS_Boolean copyProperty(void* destination, const void* source, REDAInlineMemory** memoryManager) {
    const auto& from = *static_cast<const DDS_Property_t*>(source);
    DDS_Property_t& to = asProperty(destination);
    if (!copyText(to.name, from.name, memoryManager) || !copyText(to.value, from.value, memoryManager))
        return DDS_BOOLEAN_FALSE;
    to.propagate = from.propagate;
    return DDS_BOOLEAN_TRUE;
}

constexpr DDS_SequenceElement propertyElement =
    DDS_SEQUENCE_ELEMENT_WITH(DDS_Property_t, initializeProperty, finalizeProperty, copyProperty);

} // namespace

DDS_SEQUENCE_DEFINE(DDS_PropertySeq, DDS_Property_t, &propertyElement)
