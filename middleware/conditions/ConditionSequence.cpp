#include "zddsc/conditions.h"
#include "zddsc/sequence_define.h"

namespace {
constexpr DDS_SequenceElement conditionElement = DDS_SEQUENCE_ELEMENT_PLAIN(DDS_ConditionPtr);
}

DDS_SEQUENCE_DEFINE(DDS_ConditionSeq, DDS_ConditionPtr, &conditionElement)
