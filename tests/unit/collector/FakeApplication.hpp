// An application as its samples show it: keeps its own tree and epochs, and makes the samples that a real one
// would publish. Threads: one owner.
#ifndef TESTS_COLLECTOR_FAKE_APPLICATION_HPP
#define TESTS_COLLECTOR_FAKE_APPLICATION_HPP

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "collector/model/Catalogue.hpp"
#include "collector/model/Model.hpp"
#include "orxmonitoring2d/data_model.h"

namespace collector_test {

using collector::Guid;
using collector::ResourceClass;

// Samples on the heap, finalized with their scope.
struct EventDeleter {
    void operator()(DDS_Monitoring_Event* sample) const {
        DDS_Monitoring_EventPluginSupport_destroy_data(sample);
    }
};
using Event = std::unique_ptr<DDS_Monitoring_Event, EventDeleter>;
struct PeriodicDeleter {
    void operator()(DDS_Monitoring_Periodic* sample) const {
        DDS_Monitoring_PeriodicPluginSupport_destroy_data(sample);
    }
};
using Periodic = std::unique_ptr<DDS_Monitoring_Periodic, PeriodicDeleter>;

void setGuid(DDS_Monitoring_GUID_t& octets, const Guid& guid);
std::vector<std::uint32_t> allMetricIds(ResourceClass resourceClass);

struct FakeResource {
    Guid guid{};
    Guid owner{};
    ResourceClass resourceClass = ResourceClass::application;
    std::string name;
    std::vector<std::uint32_t> metricIds;
};

// All groups of a class in a sample, every number in them different: a function of place and seed. Those that
// have a sign are negative, or all are positive.
Event fullEvent(ResourceClass resourceClass, std::uint32_t seed, bool isNegative = true);
Periodic fullPeriodic(ResourceClass resourceClass, std::uint32_t seed, bool isNegative = true);

class FakeApplication {
public:
    // Number and life make the GUIDs: another life of an application has other ones.
    FakeApplication(collector::Model& model, std::uint32_t number, std::string name, std::uint32_t life = 0);

    Guid guid() const { return guidOf(0); }
    Guid guidOf(std::uint32_t resource) const;
    Guid participant() const;
    DDS_SampleInfo info(unsigned char entity = 0x02) const;
    const std::map<Guid, FakeResource>& resources() const { return resources_; }

    // ---- The tree. Number 0 is the application itself. ----
    // All that is known, in any order.
    void tellRegistry(std::function<void(std::vector<const FakeResource*>&)> arrange = {});
    // With all metrics of the class selected.
    void create(std::uint32_t number, std::uint32_t owner, ResourceClass resourceClass, std::string name);
    void create(std::uint32_t number, std::uint32_t owner, ResourceClass resourceClass, std::string name,
        std::vector<std::uint32_t> metricIds);
    void destroy(std::uint32_t number);
    void select(std::uint32_t number, std::vector<std::uint32_t> metricIds);
    // What happens but is not told: the sample is lost.
    void lose(const std::function<void()>& steps);
    // What the forwarder makes when the writer vanishes.
    void vanish();

    // An application with participant 1, publisher 2, subscriber 3, topic 4, writer 5 and reader 6; told.
    void createSmallTree();

    // ---- Values ----
    void send(Event event, std::uint32_t number, bool isSnapshot = false);
    void send(Periodic periodic, std::uint32_t number);
    void tellTopic(std::uint32_t number, const std::string& topic, const std::string& type);
    void tellDomain(std::uint32_t number, std::int32_t domain);
    void tellMatched(std::uint32_t writer, std::int32_t current, bool isSnapshot = false);
    void tellWritten(std::uint32_t writer, std::int64_t samples);

    std::int64_t timeNs = 1'000'000'000;
    std::uint64_t resourceEpoch = 0;
    std::uint64_t metricEpoch = 0;

private:
    Event updateSample(DDS_Monitoring_ResourceUpdateKind kind) const;
    void publish(Event event, std::uint32_t number, bool isSnapshot);

    collector::Model& model_;
    std::uint32_t number_;
    std::uint32_t life_;
    bool isLost_ = false;
    std::map<Guid, FakeResource> resources_;
};

} // namespace collector_test

#endif
