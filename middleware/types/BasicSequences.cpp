// The sequences that zddsc/sequence.h declares.
#include "zddsc/sequence_define.h"

namespace {

constexpr DDS_SequenceElement characters = DDS_SEQUENCE_ELEMENT_PLAIN(DDS_Char);
constexpr DDS_SequenceElement octets = DDS_SEQUENCE_ELEMENT_PLAIN(DDS_Octet);
constexpr DDS_SequenceElement booleans = DDS_SEQUENCE_ELEMENT_PLAIN(DDS_Boolean);
constexpr DDS_SequenceElement longs = DDS_SEQUENCE_ELEMENT_PLAIN(DDS_Long);
constexpr DDS_SequenceElement unsignedLongs = DDS_SEQUENCE_ELEMENT_PLAIN(DDS_UnsignedLong);
constexpr DDS_SequenceElement longLongs = DDS_SEQUENCE_ELEMENT_PLAIN(DDS_LongLong);
constexpr DDS_SequenceElement unsignedLongLongs = DDS_SEQUENCE_ELEMENT_PLAIN(DDS_UnsignedLongLong);
constexpr DDS_SequenceElement floats = DDS_SEQUENCE_ELEMENT_PLAIN(DDS_Float);
constexpr DDS_SequenceElement strings = DDS_SEQUENCE_ELEMENT_OF_TYPE(DDS_StringElement, &DDS_g_type_string);
constexpr DDS_SequenceElement instanceHandles = DDS_SEQUENCE_ELEMENT_PLAIN(DDS_InstanceHandle_t);
constexpr DDS_SequenceElement guids = DDS_SEQUENCE_ELEMENT_PLAIN(DDS_GUID_t);

} // namespace

DDS_SEQUENCE_DEFINE(DDS_CharSeq, DDS_Char, &characters)
DDS_SEQUENCE_DEFINE(DDS_OctetSeq, DDS_Octet, &octets)
DDS_SEQUENCE_DEFINE(DDS_BooleanSeq, DDS_Boolean, &booleans)
DDS_SEQUENCE_DEFINE(DDS_LongSeq, DDS_Long, &longs)
DDS_SEQUENCE_DEFINE(DDS_UnsignedLongSeq, DDS_UnsignedLong, &unsignedLongs)
DDS_SEQUENCE_DEFINE(DDS_LongLongSeq, DDS_LongLong, &longLongs)
DDS_SEQUENCE_DEFINE(DDS_UnsignedLongLongSeq, DDS_UnsignedLongLong, &unsignedLongLongs)
DDS_SEQUENCE_DEFINE(DDS_FloatSeq, DDS_Float, &floats)
DDS_SEQUENCE_DEFINE(DDS_StringSeq, DDS_StringElement, &strings)
DDS_SEQUENCE_DEFINE(DDS_InstanceHandleSeq, DDS_InstanceHandle_t, &instanceHandles)
DDS_SEQUENCE_DEFINE(DDS_GUIDSeq, DDS_GUID_t, &guids)
