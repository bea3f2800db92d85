// How a program joins the domain in which applications publish what they monitor: QoS and readers of the
// built-in profile, and values that are finalized with their scope.
//
// Errors: false or null, with a text that a user reads in `error` where there is one.
// Threads: any; no state.
#ifndef READING_JOINING_HPP
#define READING_JOINING_HPP

#include <string>
#include <vector>

#include "zddsc/entities.h"
#include "zddsc/qos.h"

namespace reading {

// A value of C that is finalized with its scope.
template <typename Value, auto initialize, auto finalize> struct Scoped {
    Value value{};
    Scoped() { initialize(&value); }
    ~Scoped() { finalize(&value); }
    Scoped(const Scoped&) = delete;
    Scoped& operator=(const Scoped&) = delete;
};
using ParticipantQos =
    Scoped<DDS_DomainParticipantQos, DDS_DomainParticipantQos_initialize, DDS_DomainParticipantQos_finalize>;
using ReaderQos = Scoped<DDS_DataReaderQos, DDS_DataReaderQos_initialize, DDS_DataReaderQos_finalize>;
using TopicQos = Scoped<DDS_TopicQos, DDS_TopicQos_initialize, DDS_TopicQos_finalize>;
using SubscriberQos = Scoped<DDS_SubscriberQos, DDS_SubscriberQos_initialize, DDS_SubscriberQos_finalize>;

// Fills the QoS of a participant from the built-in profile. Peers are addresses to announce to, for hosts
// without multicast; without any the profile's own stay.
bool fillParticipantQos(ParticipantQos& qos, const std::vector<std::string>& peers, std::string& error);

// A topic that applications publish on.
struct MonitoringTopic {
    const char* name;
    const char* typeName;
    DDS_ReturnCode_t (*registerType)(DDS_DomainParticipant*, const char*);
};

// Creates the topic, and a reader with the QoS that the built-in profile has for it. The reader keeps so many
// samples at most: a flood is dropped and not stored without bound. Both belong to the participant, whose
// subscriber it is.
DDS_DataReader* createMonitoringReader(DDS_DomainParticipant* participant, DDS_Subscriber* subscriber,
    const MonitoringTopic& topic, DDS_Long cachedSamples);

} // namespace reading

#endif
