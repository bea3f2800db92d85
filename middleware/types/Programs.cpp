#include "middleware/types/Programs.hpp"

#include <mutex>

#include "middleware/log/DdsLog.hpp"
#include "middleware/log/Memory.hpp"
#include "middleware/types/ShapeBuilder.hpp"
#include "middleware/types/WireBuilder.hpp"
#include "zddsc/type_engine.h"

namespace zdds::types {
namespace {

// Every type that programs were made for. Descriptors that have no runtime record are found here alone.
constexpr size_t bucketCount = 64;
std::mutex mutex;
DDS_TypePrograms* buckets[bucketCount]; // guarded by mutex

DDS_TypePrograms*& bucketOf(const DDS_TypeDescriptor* type) {
    return buckets[(reinterpret_cast<uintptr_t>(type) >> 4) % bucketCount];
}

const DDS_TypePrograms* findLocked(const DDS_TypeDescriptor* type) {
    for (const DDS_TypePrograms* programs = bucketOf(type); programs != nullptr; programs = programs->next)
        if (programs->type == type)
            return programs->target != nullptr ? programs->target : programs;
    return nullptr;
}

template <typename Nested> bool build(DDS_TypePrograms& programs, Nested nested) {
    const DDS_TypeDescriptor& type = *programs.type;
    if (type.kind == DDS_TYPE_ALIAS && (type.flags & DDS_TYPE_FLAG_REFERENCE) == 0) {
        programs.target = nested(type.element);
        return programs.target != nullptr;
    }
    ShapeBuilder shapes(programs, nested);
    return shapes.build() && buildWire(programs);
}

// depth: how many types enclose this one. Types within are made first; those that are complete stay when an
// outer one fails.
const DDS_TypePrograms* makeLocked(const DDS_TypeDescriptor* type, unsigned depth) {
    if (const DDS_TypePrograms* found = findLocked(type))
        return found;
    if (depth > DDS_TYPE_MAXIMUM_NESTING)
        return ZDDS_FAIL(nullptr, NOT_SUPPORTED, "type '%s': recursive or nested too deep", type->name);
    auto* programs = create<DDS_TypePrograms>("struct DDS_TypePrograms");
    if (programs == nullptr)
        return nullptr;
    programs->type = type;
    const auto nested = [depth](const DDS_TypeDescriptor* inner) { return makeLocked(inner, depth + 1); };
    if (!build(*programs, nested)) {
        destroy(programs);
        return nullptr;
    }
    programs->next = bucketOf(type);
    bucketOf(type) = programs;
    const DDS_TypePrograms* result = programs->target != nullptr ? programs->target : programs;
    if (type->runtime != nullptr)
        std::atomic_ref(type->runtime->program)
            .store(const_cast<DDS_TypePrograms*>(result), std::memory_order_release);
    return result;
}

} // namespace

const DDS_TypePrograms* makePrograms(const DDS_TypeDescriptor* type) {
    const std::lock_guard guard(mutex);
    return makeLocked(type, 0);
}

} // namespace zdds::types

using namespace zdds::types;

void DDS_Type_finalize_programs(void) {
    const std::lock_guard guard(mutex);
    for (DDS_TypePrograms*& bucket : buckets) {
        while (bucket != nullptr) {
            DDS_TypePrograms* programs = bucket;
            bucket = programs->next;
            if (programs->type->runtime != nullptr)
                std::atomic_ref(programs->type->runtime->program).store(nullptr, std::memory_order_release);
            zdds::destroy(programs);
        }
    }
}

const DDS_TypePrograms* DDS_Type_get_programs(const DDS_TypeDescriptor* type) {
    return type == nullptr ? nullptr : programsOf(type);
}

DDS_Boolean DDS_Type_prepare(const DDS_TypeDescriptor* type) {
    return DDS_Type_get_programs(type) != nullptr;
}

const ORXXCdrSampleAccessInfo* DDS_Type_get_sample_access_info(const DDS_TypeDescriptor* type) {
    if (type == nullptr || type->runtime == nullptr || type->access == nullptr ||
        (type->kind != DDS_TYPE_STRUCT && type->kind != DDS_TYPE_UNION))
        return nullptr;
    ORXXCdrSampleAccessInfo& record = type->runtime->access;
    if (std::atomic_ref(record.isInitialized).load(std::memory_order_acquire) == 1)
        return &record;
    const std::lock_guard guard(mutex);
    if (record.isInitialized == 1)
        return &record;
    ORXXCdrMemberAccessInfo* entry = type->access;
    if (type->kind == DDS_TYPE_UNION)
        *entry++ = {type->discriminatorOffset, type->discriminator->size, false};
    for (const DDS_TypeMember* member = type->members; member != type->members + type->memberCount;
         ++member) {
        const bool isPointer = isOptional(*member);
        *entry++ = {member->offset, isPointer ? sizeof(void*) : member->type->size, isPointer};
    }
    record.memberAccessInfos = type->access;
    record.memberCount = static_cast<DDS_UnsignedLong>(entry - type->access);
    record.sampleSize = type->size;
    std::atomic_ref(record.isInitialized).store(1, std::memory_order_release);
    return &record;
}
