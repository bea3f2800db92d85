// The exported operations on values: find the shape, and walk it.
#include "zddsc/type_engine.h"

#include "middleware/types/Programs.hpp"
#include "middleware/types/Values.hpp"

using namespace zdds::types;

namespace {

DDS_Boolean initialize(const DDS_TypeDescriptor* type, void* value, const DDS_TypeAllocationParams_t& params,
    const Memory& memory) {
    const Shape* shape = type == nullptr || value == nullptr ? nullptr : shapeOf(type);
    if (shape == nullptr)
        return DDS_BOOLEAN_FALSE;
    return params.allocate_memory ? initializeValue(*shape, value, params, memory)
                                  : resetValue(*shape, value, memory);
}

DDS_Boolean finalize(const DDS_TypeDescriptor* type, void* value, const DDS_TypeDeallocationParams_t& params,
    const Releasing& how) {
    const Shape* shape = type == nullptr || value == nullptr ? nullptr : shapeOf(type);
    if (shape == nullptr)
        return DDS_BOOLEAN_FALSE;
    finalizeValue(*shape, value, params, how);
    return DDS_BOOLEAN_TRUE;
}

DDS_TypeAllocationParams_t allocation(DDS_Boolean allocatePointers, DDS_Boolean allocateMemory) {
    return {allocatePointers, DDS_BOOLEAN_FALSE, allocateMemory};
}

DDS_TypeDeallocationParams_t deallocation(DDS_Boolean deletePointers) {
    return {deletePointers, DDS_BOOLEAN_TRUE};
}

} // namespace

DDS_Boolean DDS_Type_initialize(const DDS_TypeDescriptor* type, void* value) {
    return initialize(type, value, defaultAllocation, {});
}

DDS_Boolean DDS_Type_initialize_ex(
    const DDS_TypeDescriptor* type, void* value, DDS_Boolean allocatePointers, DDS_Boolean allocateMemory) {
    return initialize(type, value, allocation(allocatePointers, allocateMemory), {});
}

DDS_Boolean DDS_Type_initialize_w_params(
    const DDS_TypeDescriptor* type, void* value, const DDS_TypeAllocationParams_t* params) {
    return params != nullptr && initialize(type, value, *params, {});
}

void DDS_Type_finalize(const DDS_TypeDescriptor* type, void* value) {
    finalize(type, value, defaultDeallocation, false);
}

void DDS_Type_finalize_ex(const DDS_TypeDescriptor* type, void* value, DDS_Boolean deletePointers) {
    finalize(type, value, deallocation(deletePointers), false);
}

void DDS_Type_finalize_w_params(
    const DDS_TypeDescriptor* type, void* value, const DDS_TypeDeallocationParams_t* params) {
    finalize(type, value, params == nullptr ? defaultDeallocation : *params, false);
}

DDS_Boolean DDS_Type_finalize_w_return(const DDS_TypeDescriptor* type, void* value) {
    return finalize(type, value, defaultDeallocation, false);
}

void DDS_Type_finalize_optional_members(
    const DDS_TypeDescriptor* type, void* value, DDS_Boolean deletePointers) {
    const Shape* shape = type == nullptr || value == nullptr ? nullptr : shapeOf(type);
    if (shape != nullptr)
        finalizeOptionalMembers(*shape, value, deallocation(deletePointers));
}

DDS_Boolean DDS_Type_copy(const DDS_TypeDescriptor* type, void* destination, const void* source) {
    if (type == nullptr || destination == nullptr || source == nullptr)
        return DDS_BOOLEAN_FALSE;
    const Shape* shape = shapeOf(type);
    return shape != nullptr && copyValue(*shape, destination, source, {});
}

DDS_Boolean DDS_Type_initialize_w_memory_manager(
    const DDS_TypeDescriptor* type, void* value, REDAInlineMemory** memoryManager) {
    return memoryManager != nullptr && initialize(type, value, defaultAllocation, {memoryManager});
}

DDS_Boolean DDS_Type_initialize_ex_w_memory_manager(const DDS_TypeDescriptor* type, void* value,
    REDAInlineMemory** memoryManager, DDS_Boolean allocatePointers, DDS_Boolean allocateMemory) {
    return memoryManager != nullptr &&
           initialize(type, value, allocation(allocatePointers, allocateMemory), {memoryManager});
}

DDS_Boolean DDS_Type_initialize_w_params_w_memory_manager(const DDS_TypeDescriptor* type, void* value,
    REDAInlineMemory** memoryManager, const DDS_TypeAllocationParams_t* params) {
    return memoryManager != nullptr && params != nullptr && initialize(type, value, *params, {memoryManager});
}

void DDS_Type_finalize_w_memory_manager(const DDS_TypeDescriptor* type, void* value) {
    finalize(type, value, defaultDeallocation, true);
}

void DDS_Type_finalize_ex_w_memory_manager(
    const DDS_TypeDescriptor* type, void* value, DDS_Boolean deletePointers) {
    finalize(type, value, deallocation(deletePointers), true);
}

void DDS_Type_finalize_w_params_w_memory_manager(
    const DDS_TypeDescriptor* type, void* value, const DDS_TypeDeallocationParams_t* params) {
    finalize(type, value, params == nullptr ? defaultDeallocation : *params, true);
}

DDS_Boolean DDS_Type_copy_w_memory_manager(
    const DDS_TypeDescriptor* type, void* destination, REDAInlineMemory** memoryManager, const void* source) {
    if (type == nullptr || destination == nullptr || memoryManager == nullptr || source == nullptr)
        return DDS_BOOLEAN_FALSE;
    const Shape* shape = shapeOf(type);
    return shape != nullptr && copyValue(*shape, destination, source, {memoryManager});
}

void* DDS_Type_create_data(const DDS_TypeDescriptor* type) {
    return DDS_Type_create_data_w_params(type, &defaultAllocation);
}

void* DDS_Type_create_data_ex(const DDS_TypeDescriptor* type, DDS_Boolean allocatePointers) {
    const DDS_TypeAllocationParams_t params = allocation(allocatePointers, DDS_BOOLEAN_TRUE);
    return DDS_Type_create_data_w_params(type, &params);
}

void* DDS_Type_create_data_w_params(
    const DDS_TypeDescriptor* type, const DDS_TypeAllocationParams_t* params) {
    const Shape* shape = type == nullptr || params == nullptr ? nullptr : shapeOf(type);
    return shape == nullptr ? nullptr : createValue(*shape, *params, {});
}

void DDS_Type_destroy_data(const DDS_TypeDescriptor* type, void* value) {
    DDS_Type_destroy_data_w_params(type, value, &defaultDeallocation);
}

void DDS_Type_destroy_data_ex(const DDS_TypeDescriptor* type, void* value, DDS_Boolean deletePointers) {
    const DDS_TypeDeallocationParams_t params = deallocation(deletePointers);
    DDS_Type_destroy_data_w_params(type, value, &params);
}

void DDS_Type_destroy_data_w_params(
    const DDS_TypeDescriptor* type, void* value, const DDS_TypeDeallocationParams_t* params) {
    ORXOsapiHeapFrees frees{};
    const Releasing together(frees);
    if (!finalize(type, value, params == nullptr ? defaultDeallocation : *params, together))
        return;
    Memory::release(value, together);
    ORXOsapiHeap_endFrees(&frees);
}
