/* Configured settings of a thread. */
#ifndef ZDDSC_THREAD_SETTINGS_H
#define ZDDSC_THREAD_SETTINGS_H

#include "zddsc/sequence.h"
#include "zddscore/thread.h"

ZDDS_BEGIN_C

typedef DDS_UnsignedLong DDS_ThreadSettingsKindMask;
typedef enum DDS_ThreadSettingsCpuRotationKind {
    DDS_THREAD_SETTINGS_CPU_NO_ROTATION = 0,
    DDS_THREAD_SETTINGS_CPU_RR_ROTATION = 1
} DDS_ThreadSettingsCpuRotationKind;

struct DDS_ThreadSettings_t {
    DDS_ThreadSettingsKindMask mask;
    DDS_Long priority;    /* ORX_OSAPI_THREAD_PRIORITY_DEFAULT */
    DDS_Long stack_size;  /* bytes, ORX_OSAPI_THREAD_STACK_SIZE_DEFAULT */
    DDS_LongSeq cpu_list; /* CPU numbers, 0 to 1023 */
    DDS_ThreadSettingsCpuRotationKind cpu_rotation;
};
typedef struct DDS_ThreadSettings_t DDS_ThreadSettings_t;
/* mask 0, priority -9999999, stack size -1, no CPUs. */
ZDDSC_EXPORT DDS_Boolean DDS_ThreadSettings_t_initialize(DDS_ThreadSettings_t* self);
ZDDSC_EXPORT DDS_Boolean DDS_ThreadSettings_t_finalize(DDS_ThreadSettings_t* self);
ZDDSC_EXPORT DDS_Boolean DDS_ThreadSettings_t_copy(
    DDS_ThreadSettings_t* self, const DDS_ThreadSettings_t* source);
/* An empty list gives an unset bitmap. A number outside 0..1023 fails. */
ZDDSC_EXPORT DDS_Boolean DDS_ThreadSettings_cpuListToBitmap(
    ORXOsapiCpuBitmap* bitmap, const DDS_LongSeq* cpuList, DDS_ThreadSettingsCpuRotationKind cpuRotation);

ZDDS_END_C

#endif
