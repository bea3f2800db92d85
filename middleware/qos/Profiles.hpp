// Built-in QoS profiles. There is one: DDS_PROFILE_GENERIC_MONITORING2 of DDS_BUILTIN_QOS_LIB.
//
// What a stalled reader or a slow network may cost is settled here: bounded queues and bounded caches.
// Errors: DDS_RETCODE_BAD_PARAMETER for a profile that does not exist; *qos is then unchanged.
#ifndef ZDDSC_QOS_PROFILES_HPP
#define ZDDSC_QOS_PROFILES_HPP

#include "zddsc/qos.h"

namespace zdds::qos {

constexpr DDS_UnsignedLong defaultMaxQueuedSamples = 32'768; // a periodic pass over very many resources fits
constexpr DDS_UnsignedLong defaultMaxQueuedBytes = 16U << 20;

// Each fills an initialized value; what it held before is replaced.
DDS_ReturnCode_t loadProfile(DDS_DomainParticipantQos& qos, const char* library, const char* profile);
DDS_ReturnCode_t loadProfile(DDS_PublisherQos& qos, const char* library, const char* profile);
DDS_ReturnCode_t loadProfile(DDS_SubscriberQos& qos, const char* library, const char* profile);
// The topic decides the reliability: periodic samples are best effort, since the next one replaces a lost
// one.
DDS_ReturnCode_t loadProfile(
    DDS_DataWriterQos& qos, const char* library, const char* profile, const char* topicName);
DDS_ReturnCode_t loadProfile(
    DDS_DataReaderQos& qos, const char* library, const char* profile, const char* topicName);

} // namespace zdds::qos

#endif
