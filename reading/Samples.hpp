// Takes the samples of the event and the periodic topic apart: what they say of the tree, and their groups.
//
// Nothing is believed about what they say and nothing is kept: names and values point into the sample.
// Threads: any; no state.
#ifndef READING_SAMPLES_HPP
#define READING_SAMPLES_HPP

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "orxmonitoring2d/data_model.h"
#include "reading/Guid.hpp"
#include "zddsc/status.h"

namespace reading {

Guid guidOf(const DDS_Monitoring_GUID_t& octets);
Guid guidOf(const DDS_InstanceHandle_t& handle);
// Nanoseconds since 1970.
std::int64_t sourceTimeOf(const DDS_SampleInfo& info);
std::vector<std::uint32_t> metricIdsOf(const DDS_UnsignedLongSeq& sequence);

// A resource as a creation or a registry tells it.
struct Described {
    Guid guid{};
    Guid owner{}; // none for an application
    std::uint32_t classId = 0;
    const char* name = ""; // never null
    const DDS_UnsignedLongSeq* metricIds = nullptr;
};

// A group of values that is present.
struct Group {
    std::uint32_t classId = 0;
    const char* name = nullptr;               // of the member
    std::size_t member = 0;                   // its number in the structure of the class
    const DDS_TypeDescriptor* type = nullptr; // of the value
    const void* value = nullptr;              // of a text: where the pointer to it lies
};

class EventVisitor {
public:
    virtual ~EventVisitor() = default;
    // All resources of an application, in the order of the sample.
    virtual void registry(std::span<const Described> resources) = 0;
    virtual void created(const Described& resource) = 0;
    virtual void deleted(const Guid& resource) = 0;
    // The metrics that are enabled from here on.
    virtual void selected(const Guid& resource, const DDS_UnsignedLongSeq& metricIds) = 0;
    virtual void group(const Group& group) = 0;
};

// In this order: a registry, which tells the names of the rest; a change of the tree; the groups.
void visit(const DDS_Monitoring_Event& sample, EventVisitor& visitor);

// The groups of a periodic sample.
std::vector<Group> groupsOf(const DDS_Monitoring_Periodic& sample);

} // namespace reading

#endif
