#include "zddsc/thread_settings.h"

#include <atomic>

#include "middleware/log/DdsLog.hpp"

namespace {

constexpr DDS_Long cpuCount = 1024;

void nameCpu(ORXOsapiCpuBitmap& bitmap, DDS_Long cpu) {
    const auto number = static_cast<unsigned>(cpu);
    bitmap.bits[number / 64] |= ORX_UINT64{1} << (number % 64);
    bitmap.isSet = 1;
}

// Which CPU of a rotating list the next thread gets; one count for the process, so that threads spread.
std::atomic<DDS_UnsignedLong> nextRotation{0}; // relaxed: a bare counter

} // namespace

DDS_Boolean DDS_ThreadSettings_t_initialize(DDS_ThreadSettings_t* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_BOOLEAN_FALSE);
    *self = DDS_ThreadSettings_t{};
    self->priority = ORX_OSAPI_THREAD_PRIORITY_DEFAULT;
    self->stack_size = ORX_OSAPI_THREAD_STACK_SIZE_DEFAULT;
    return DDS_BOOLEAN_TRUE;
}

DDS_Boolean DDS_ThreadSettings_t_finalize(DDS_ThreadSettings_t* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_BOOLEAN_FALSE);
    return DDS_LongSeq_finalize(&self->cpu_list);
}

DDS_Boolean DDS_ThreadSettings_t_copy(DDS_ThreadSettings_t* self, const DDS_ThreadSettings_t* source) {
    ZDDS_REQUIRE(self != nullptr, DDS_BOOLEAN_FALSE);
    ZDDS_REQUIRE(source != nullptr, DDS_BOOLEAN_FALSE);
    if (DDS_LongSeq_copy(&self->cpu_list, &source->cpu_list) == nullptr)
        return ZDDS_FAIL(DDS_BOOLEAN_FALSE, FAILED_TO_COPY, "CPU list of thread settings");
    self->mask = source->mask;
    self->priority = source->priority;
    self->stack_size = source->stack_size;
    self->cpu_rotation = source->cpu_rotation;
    return DDS_BOOLEAN_TRUE;
}

// Without rotation the thread may run on every CPU of the list. With rotation each call names the next CPU of
// the list alone, so that threads that are made one after the other get one CPU each, in turn.
DDS_Boolean DDS_ThreadSettings_cpuListToBitmap(
    ORXOsapiCpuBitmap* bitmap, const DDS_LongSeq* cpuList, DDS_ThreadSettingsCpuRotationKind cpuRotation) {
    ZDDS_REQUIRE(bitmap != nullptr, DDS_BOOLEAN_FALSE);
    ZDDS_REQUIRE(cpuList != nullptr, DDS_BOOLEAN_FALSE);
    *bitmap = ORXOsapiCpuBitmap{};
    const DDS_Long length = DDS_LongSeq_get_length(cpuList);
    for (DDS_Long i = 0; i < length; ++i) {
        const DDS_Long cpu = DDS_LongSeq_get(cpuList, i);
        if (cpu < 0 || cpu >= cpuCount)
            return ZDDS_FAIL(
                DDS_BOOLEAN_FALSE, BAD_PARAMETER_FAILURE, "CPU %d is not in 0..%d", cpu, cpuCount - 1);
    }
    if (length == 0)
        return DDS_BOOLEAN_TRUE;
    if (cpuRotation == DDS_THREAD_SETTINGS_CPU_RR_ROTATION) {
        const DDS_UnsignedLong turn = nextRotation.fetch_add(1, std::memory_order_relaxed);
        nameCpu(*bitmap,
            DDS_LongSeq_get(cpuList, static_cast<DDS_Long>(turn % static_cast<DDS_UnsignedLong>(length))));
        return DDS_BOOLEAN_TRUE;
    }
    for (DDS_Long i = 0; i < length; ++i)
        nameCpu(*bitmap, DDS_LongSeq_get(cpuList, i));
    return DDS_BOOLEAN_TRUE;
}
