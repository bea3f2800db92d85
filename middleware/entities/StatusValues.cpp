// Values of statuses, and the sequence of sample infos.
#include "middleware/log/DdsLog.hpp"
#include "zddsc/sequence_define.h"
#include "zddsc/status.h"

namespace {
constexpr DDS_SequenceElement sampleInfoElement = DDS_SEQUENCE_ELEMENT_PLAIN(DDS_SampleInfo);
}

const DDS_SampleInfo DDS_SAMPLEINFO_DEFAULT = [] {
    DDS_SampleInfo info{};
    info.source_timestamp = info.reception_timestamp = DDS_TIME_INVALID;
    return info;
}();

DDS_SEQUENCE_DEFINE(DDS_SampleInfoSeq, DDS_SampleInfo, &sampleInfoElement)

DDS_Boolean DDS_PublicationMatchedStatus_initialize(DDS_PublicationMatchedStatus* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_BOOLEAN_FALSE);
    *self = DDS_PublicationMatchedStatus{};
    return DDS_BOOLEAN_TRUE;
}

DDS_Boolean DDS_PublicationMatchedStatus_finalize(DDS_PublicationMatchedStatus* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_BOOLEAN_FALSE);
    return DDS_BOOLEAN_TRUE;
}

DDS_Boolean DDS_SubscriptionMatchedStatus_initialize(DDS_SubscriptionMatchedStatus* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_BOOLEAN_FALSE);
    *self = DDS_SubscriptionMatchedStatus{};
    return DDS_BOOLEAN_TRUE;
}

DDS_Boolean DDS_SubscriptionMatchedStatus_finalize(DDS_SubscriptionMatchedStatus* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_BOOLEAN_FALSE);
    return DDS_BOOLEAN_TRUE;
}

// It owns nothing.
DDS_Boolean DDS_SampleInfo_finalize(DDS_SampleInfo* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_BOOLEAN_FALSE);
    *self = DDS_SAMPLEINFO_DEFAULT;
    return DDS_BOOLEAN_TRUE;
}
