#include "src/utils/OpaqueResource.h"

#include "zddsc/sequence_define.h"

namespace {
constexpr DDS_SequenceElement pointerElement = DDS_SEQUENCE_ELEMENT_PLAIN(ORX_MonitoringOpaqueResourcePtr);
}

DDS_SEQUENCE_DEFINE(ORX_MonitoringOpaqueResourceSeq, ORX_MonitoringOpaqueResourcePtr, &pointerElement)
