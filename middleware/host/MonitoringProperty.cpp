// Property records of the library: defaults, deep copy, release.
#include "middleware/log/DdsLog.hpp"
#include "middleware/log/Memory.hpp"
#include "middleware/qos/PolicyOperations.hpp"
#include "zddsc/monitoring_property.h"

namespace {

constexpr DDS_UnsignedLong milliseconds(DDS_UnsignedLong count) {
    return count * 1'000'000U;
}

// QoS members are pointers that may be null. The copy is a new value; shared is the source's own pointer.
template <class Qos, auto initialize, auto copyQos, auto finalizeQos> struct QosMember {
    static bool copy(Qos*& destination, Qos* source, bool share) {
        if (source == nullptr || share) {
            destination = source;
            return true;
        }
        Qos* fresh = zdds::create<Qos>("struct DDS_Qos");
        if (fresh == nullptr)
            return false;
        initialize(fresh);
        if (copyQos(fresh, source) != DDS_RETCODE_OK) {
            ORXOsapiHeap_freeMemoryInternal(fresh);
            return false;
        }
        destination = fresh;
        return true;
    }
    static void release(Qos*& qos, bool shared) {
        if (qos != nullptr && !shared) {
            finalizeQos(qos);
            ORXOsapiHeap_freeMemoryInternal(qos);
        }
        qos = nullptr;
    }
};
using ParticipantQosMember = QosMember<DDS_DomainParticipantQos, DDS_DomainParticipantQos_initialize,
    DDS_DomainParticipantQos_copy, DDS_DomainParticipantQos_finalize>;
using PublisherQosMember = QosMember<DDS_PublisherQos, DDS_PublisherQos_initialize, DDS_PublisherQos_copy,
    DDS_PublisherQos_finalize>;
using WriterQosMember = QosMember<DDS_DataWriterQos, DDS_DataWriterQos_initialize, DDS_DataWriterQos_copy,
    DDS_DataWriterQos_finalize>;

void setDefaults(ORX_MonitoringLoggingProperty_t& self) {
    self.publication_period = {0, milliseconds(100)};
    self.concurrency_level = 5;
    self.initial_memory_size = 10 * 1024;
    self.gc_threshold = 10;
    self.max_logs_per_update = 512;
    self.max_historical_logs = 128;
}

void setDefaults(ORX_MonitoringEventProperty_t& self) {
    self.publication_period = {0, milliseconds(100)};
    self.concurrency_level = 5;
    self.initial_memory_size = 10 * 1024;
    self.gc_threshold = 10;
    self.snapshot_delay = {1, 0};
}

void setDefaults(ORX_MonitoringCommandDispatcherProperty_t& self) {
    self.reply_timeout = {5, 0};
    self.lock_timeout = {5, 0};
    self.destruction_timeout = {10, 0};
}

void copyPlain(ORX_MonitoringLoggingProperty_t& self, const ORX_MonitoringLoggingProperty_t& source) {
    self.forwarding_level = source.forwarding_level;
    self.publication_period = source.publication_period;
    self.concurrency_level = source.concurrency_level;
    self.initial_memory_size = source.initial_memory_size;
    self.gc_threshold = source.gc_threshold;
    self.max_logs_per_update = source.max_logs_per_update;
    self.max_historical_logs = source.max_historical_logs;
}

// What is copied as plain values: everything but owners of memory.
void copyPlain(ORX_MonitoringProperty_t& self, const ORX_MonitoringProperty_t& source) {
    self.domain_id = source.domain_id;
    copyPlain(self.logging, source.logging);
    self.periodic.polling_period = source.periodic.polling_period;
    self.event.publication_period = source.event.publication_period;
    self.event.concurrency_level = source.event.concurrency_level;
    self.event.initial_memory_size = source.event.initial_memory_size;
    self.event.gc_threshold = source.event.gc_threshold;
    self.event.snapshot_delay = source.event.snapshot_delay;
    self.command_dispatcher.reply_timeout = source.command_dispatcher.reply_timeout;
    self.command_dispatcher.lock_timeout = source.command_dispatcher.lock_timeout;
    self.command_dispatcher.destruction_timeout = source.command_dispatcher.destruction_timeout;
}

bool copyOwned(ORX_MonitoringProperty_t& self, const ORX_MonitoringProperty_t& source, bool share) {
    return zdds::qos::copyText(self.application_name, source.application_name) &&
           ParticipantQosMember::copy(self.participant_qos, source.participant_qos, share) &&
           PublisherQosMember::copy(self.publisher_qos, source.publisher_qos, share) &&
           WriterQosMember::copy(self.logging.writer_qos, source.logging.writer_qos, share) &&
           WriterQosMember::copy(self.periodic.writer_qos, source.periodic.writer_qos, share) &&
           WriterQosMember::copy(self.event.writer_qos, source.event.writer_qos, share) &&
           DDS_ThreadSettings_t_copy(&self.logging.thread_setting, &source.logging.thread_setting) &&
           DDS_ThreadSettings_t_copy(&self.periodic.thread_setting, &source.periodic.thread_setting) &&
           DDS_ThreadSettings_t_copy(&self.event.thread_setting, &source.event.thread_setting) &&
           DDS_ThreadSettings_t_copy(
               &self.command_dispatcher.thread_setting, &source.command_dispatcher.thread_setting) &&
           DDS_MonitoringMetricSelectionSeq_copy(
               &self.metric_selection_list, &source.metric_selection_list) != nullptr &&
           DDS_StringSeq_copy(&self.collector_initial_peers, &source.collector_initial_peers) != nullptr;
}

bool releaseOwned(ORX_MonitoringProperty_t& self, bool shared) {
    zdds::qos::copyText(self.application_name, nullptr);
    ParticipantQosMember::release(self.participant_qos, shared);
    PublisherQosMember::release(self.publisher_qos, shared);
    WriterQosMember::release(self.logging.writer_qos, shared);
    WriterQosMember::release(self.periodic.writer_qos, shared);
    WriterQosMember::release(self.event.writer_qos, shared);
    // Each of these is tried whatever the ones before it said.
    const bool released[] = {
        DDS_ThreadSettings_t_finalize(&self.logging.thread_setting) != 0,
        DDS_ThreadSettings_t_finalize(&self.periodic.thread_setting) != 0,
        DDS_ThreadSettings_t_finalize(&self.event.thread_setting) != 0,
        DDS_ThreadSettings_t_finalize(&self.command_dispatcher.thread_setting) != 0,
        DDS_MonitoringMetricSelectionSeq_finalize(&self.metric_selection_list) != 0,
        DDS_StringSeq_finalize(&self.collector_initial_peers) != 0,
    };
    bool all = true;
    for (const bool one : released)
        all = all && one;
    return all;
}

} // namespace

DDS_Boolean ORX_MonitoringProperty_t_initialize(ORX_MonitoringProperty_t* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_BOOLEAN_FALSE);
    *self = ORX_MonitoringProperty_t{};
    self->domain_id = 2;
    ORX_MonitoringLoggingVerbositySetting_t_initialize(&self->logging.forwarding_level);
    DDS_ThreadSettings_t_initialize(&self->logging.thread_setting);
    DDS_ThreadSettings_t_initialize(&self->periodic.thread_setting);
    DDS_ThreadSettings_t_initialize(&self->event.thread_setting);
    DDS_ThreadSettings_t_initialize(&self->command_dispatcher.thread_setting);
    setDefaults(self->logging);
    self->periodic.polling_period = {5, 0};
    setDefaults(self->event);
    setDefaults(self->command_dispatcher);
    return DDS_BOOLEAN_TRUE;
}

DDS_Boolean ORX_MonitoringCommandDispatcherProperty_t_copy(ORX_MonitoringCommandDispatcherProperty_t* self,
    const ORX_MonitoringCommandDispatcherProperty_t* source) {
    ZDDS_REQUIRE(self != nullptr, DDS_BOOLEAN_FALSE);
    ZDDS_REQUIRE(source != nullptr, DDS_BOOLEAN_FALSE);
    if (!DDS_ThreadSettings_t_copy(&self->thread_setting, &source->thread_setting))
        return ZDDS_FAIL(DDS_BOOLEAN_FALSE, FAILED_TO_COPY, "command dispatcher property");
    self->reply_timeout = source->reply_timeout;
    self->lock_timeout = source->lock_timeout;
    self->destruction_timeout = source->destruction_timeout;
    return DDS_BOOLEAN_TRUE;
}

DDS_Boolean ORX_MonitoringLoggingProperty_t_copy(
    ORX_MonitoringLoggingProperty_t* self, const ORX_MonitoringLoggingProperty_t* source) {
    ZDDS_REQUIRE(self != nullptr, DDS_BOOLEAN_FALSE);
    ZDDS_REQUIRE(source != nullptr, DDS_BOOLEAN_FALSE);
    if (self == source)
        return DDS_BOOLEAN_TRUE;
    ORX_MonitoringLoggingProperty_t fresh{};
    copyPlain(fresh, *source);
    if (!WriterQosMember::copy(fresh.writer_qos, source->writer_qos, false) ||
        !DDS_ThreadSettings_t_copy(&fresh.thread_setting, &source->thread_setting)) {
        ORX_MonitoringLoggingProperty_t_finalize(&fresh);
        return ZDDS_FAIL(DDS_BOOLEAN_FALSE, FAILED_TO_COPY, "logging property");
    }
    ORX_MonitoringLoggingProperty_t_finalize(self);
    *self = fresh;
    return DDS_BOOLEAN_TRUE;
}

DDS_Boolean ORX_MonitoringLoggingProperty_t_finalize(ORX_MonitoringLoggingProperty_t* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_BOOLEAN_FALSE);
    WriterQosMember::release(self->writer_qos, false);
    const bool released = DDS_ThreadSettings_t_finalize(&self->thread_setting) != 0;
    *self = ORX_MonitoringLoggingProperty_t{};
    return released;
}

// Copies into a fresh record first, so that a failure leaves the destination as it was.
DDS_Boolean ORX_MonitoringProperty_t_copy_ex(
    ORX_MonitoringProperty_t* self, const ORX_MonitoringProperty_t* source, DDS_Boolean shareQos) {
    ZDDS_REQUIRE(self != nullptr, DDS_BOOLEAN_FALSE);
    ZDDS_REQUIRE(source != nullptr, DDS_BOOLEAN_FALSE);
    if (self == source)
        return DDS_BOOLEAN_TRUE;
    ORX_MonitoringProperty_t fresh{};
    copyPlain(fresh, *source);
    if (!copyOwned(fresh, *source, shareQos)) {
        releaseOwned(fresh, shareQos);
        return ZDDS_FAIL(DDS_BOOLEAN_FALSE, FAILED_TO_COPY, "monitoring property");
    }
    releaseOwned(*self, shareQos);
    *self = fresh;
    return DDS_BOOLEAN_TRUE;
}

// The record is empty afterwards, and may be finalized again or copied into.
DDS_Boolean ORX_MonitoringProperty_t_finalize_ex(ORX_MonitoringProperty_t* self, DDS_Boolean sharedQos) {
    ZDDS_REQUIRE(self != nullptr, DDS_BOOLEAN_FALSE);
    const bool released = releaseOwned(*self, sharedQos);
    *self = ORX_MonitoringProperty_t{};
    return released;
}
