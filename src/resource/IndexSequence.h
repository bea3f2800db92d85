/* Sequences of unsigned longs used as sets, in order of first insertion. Linear searches: they hold a class's
 * metrics or groups, some hundred at most. */
#ifndef ORX_MONITORING_INDEX_SEQUENCE_H
#define ORX_MONITORING_INDEX_SEQUENCE_H

#include "zddsc/sequence.h"

ZDDS_BEGIN_C

/* Appends the element unless it is there. */
int DDS_UnsignedLongSeq_assertElement(DDS_UnsignedLongSeq* self, DDS_UnsignedLong element);
/* Takes the element out by moving the last one to its place. Success when it is not there. */
int DDS_UnsignedLongSeq_removeElement(DDS_UnsignedLongSeq* self, DDS_UnsignedLong element);

ZDDS_END_C

#endif
