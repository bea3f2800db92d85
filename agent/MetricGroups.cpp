#include "agent/MetricGroups.hpp"

#include <sys/utsname.h>

#include <cstdio>

#include "agent/Push.hpp"
#include "agent/ResourceName.hpp"
#include "agent/StatusKinds.hpp"
#include "dds/version.h"
#include "orxmonitoring2d/orx_common.h"

namespace orx::agent {

namespace {

Registry* groupRegistry = nullptr;
char platform[maximumNameLength + 1] = "Linux";
constexpr DDS_Monitoring_ProductVersion_t engineVersion = {
    DDS_VERSION_MAJOR, DDS_VERSION_MINOR, DDS_VERSION_PATCH, 0};

// Groups point out of the agent into whoever copies them; nobody writes through the pointer.
void* pointerTo(const void* value) {
    return const_cast<void*>(value);
}

void* participantGroup(Observed& observed, DDS_UnsignedLong index) {
    switch (index) {
    case 0:
        return &observed.guid;
    case 1:
        return &observed.domainId;
    case 2:
        return pointerTo(&engineVersion);
    case 3:
        return platform;
    default:
        return nullptr;
    }
}

void* topicGroup(Observed& observed, DDS_UnsignedLong index) {
    switch (index) {
    case 0:
        return &observed.guid;
    case 1:
        return pointerTo(observed.topicName);
    case 2:
        return pointerTo(observed.typeName);
    case InconsistentTopic::group:
        return &InconsistentTopic::copyOf(observed);
    default:
        return nullptr;
    }
}

// Families of groups of one status: only the last of each has metrics.
void* periodicWriterGroup(Observed& writer, DDS_UnsignedLong index) {
    Guard guard(writer.figuresMutex);
    WriterFigures& figures = writer.figures.writer;
    switch (index) {
    case 9:
    case 10:
    case 11:
        return figures.hasCache ? &(writer.periodicCopy.writerCache = figures.cache) : nullptr;
    case 12:
    case 13:
    case 14:
        return &(writer.periodicCopy.writerProtocol = takeProtocol(figures));
    case 15:
    case 16:
        return figures.hasCache ? &(writer.periodicCopy.reliableCache = takeReliableCache(figures)) : nullptr;
    default:
        return nullptr;
    }
}

void* periodicReaderGroup(Observed& reader, DDS_UnsignedLong index) {
    Guard guard(reader.figuresMutex);
    ReaderFigures& figures = reader.figures.reader;
    switch (index) {
    case 10:
    case 11:
    case 12:
        return figures.hasCache ? &(reader.periodicCopy.readerCache = figures.cache) : nullptr;
    case 13:
    case 14:
    case 15:
        return &(reader.periodicCopy.readerProtocol = takeProtocol(figures));
    default:
        return nullptr;
    }
}

void* writerGroup(Observed& observed, DDS_UnsignedLong index) {
    switch (index) {
    case 0:
        return &observed.guid;
    case LivelinessLost::group:
        return &LivelinessLost::copyOf(observed);
    case OfferedDeadlineMissed::group:
        return &OfferedDeadlineMissed::copyOf(observed);
    case OfferedIncompatibleQos::group:
        return &OfferedIncompatibleQos::copyOf(observed);
    case PublicationMatched::group - 1:
    case PublicationMatched::group:
        return &PublicationMatched::copyOf(observed);
    case reliableActivityGroup:
        return &observed.statuses.writer.reliableActivityChanged;
    case 7:
        return pointerTo(observed.topicName);
    case 8:
        return pointerTo(observed.typeName);
    default:
        return periodicWriterGroup(observed, index);
    }
}

void* readerGroup(Observed& observed, DDS_UnsignedLong index) {
    switch (index) {
    case 0:
        return &observed.guid;
    case SampleRejected::group:
        return &SampleRejected::copyOf(observed);
    case LivelinessChanged::group:
        return &LivelinessChanged::copyOf(observed);
    case RequestedDeadlineMissed::group:
        return &RequestedDeadlineMissed::copyOf(observed);
    case RequestedIncompatibleQos::group:
        return &RequestedIncompatibleQos::copyOf(observed);
    case SampleLost::group:
        return &SampleLost::copyOf(observed);
    case SubscriptionMatched::group - 1:
    case SubscriptionMatched::group:
        return &SubscriptionMatched::copyOf(observed);
    case 8:
        return pointerTo(observed.topicName);
    case 9:
        return pointerTo(observed.typeName);
    default:
        return periodicReaderGroup(observed, index);
    }
}

void* groupOf(Observed& observed, DDS_UnsignedLong index) {
    switch (observed.kind) {
    case Kind::participant:
        return participantGroup(observed, index);
    case Kind::publisher:
    case Kind::subscriber:
        return index == 0 ? &observed.guid : nullptr;
    case Kind::topic:
        return topicGroup(observed, index);
    case Kind::writer:
        return writerGroup(observed, index);
    case Kind::reader:
        return readerGroup(observed, index);
    }
    return nullptr;
}

DDS_Boolean getMetricGroup(void** group, const void* userResource, DDS_UnsignedLong index) {
    Observed* observed = groupRegistry->findByStandIn(static_cast<const DDS_Entity*>(userResource));
    *group = observed != nullptr ? groupOf(*observed, index) : nullptr;
    return *group != nullptr ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE;
}

} // namespace

DDS_UnsignedLong classIdOf(Kind kind) {
    switch (kind) {
    case Kind::participant:
        return 99258059;
    case Kind::publisher:
        return 116239698;
    case Kind::subscriber:
        return 94988179;
    case Kind::topic:
        return 208182173;
    case Kind::writer:
        return 142415660;
    case Kind::reader:
        return 179666769;
    }
    return 0;
}

const ORX_MonitoringResourceForwarder& resourceForwarder() {
    static constexpr ORX_MonitoringResourceForwarder forwarder = {getMetricGroup, nullptr};
    return forwarder;
}

void setMetricGroupRegistry(Registry& registry) {
    groupRegistry = &registry;
    utsname system{};
    if (uname(&system) == 0)
        std::snprintf(
            platform, sizeof platform, "%.80s %.80s %.80s", system.sysname, system.release, system.machine);
}

} // namespace orx::agent
