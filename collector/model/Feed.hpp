// One sample on its way into the model. Threads: under both locks of the model.
#ifndef COLLECTOR_FEED_HPP
#define COLLECTOR_FEED_HPP

#include <unordered_map>

#include "collector/model/State.hpp"
#include "reading/Samples.hpp"

namespace collector {

class Feed : public reading::EventVisitor {
public:
    Feed(Model::State& state, const DDS_SampleInfo& info, bool isObserved);

    void event(const DDS_Monitoring_Event& sample);
    void periodic(const DDS_Monitoring_Periodic& sample);
    void logging(const DDS_Monitoring_Logging& sample);
    void participantGone(const Guid& participant);
    void applicationGone(const Guid& application);

    void registry(std::span<const reading::Described> resources) override;
    void created(const reading::Described& resource) override;
    void deleted(const Guid& resource) override;
    void selected(const Guid& resource, const DDS_UnsignedLongSeq& metricIds) override;
    void group(const reading::Group& group) override;

private:
    bool isOfTheApplication(const DDS_Monitoring_Event& sample);
    void followEpochs(const DDS_Monitoring_Event& sample);
    void missed();

    // What is described, in the tree; null, and counted, when it is refused.
    Resource* put(const reading::Described& described, ResourceClass resourceClass);
    Resource* putRoot(const reading::Described& described);
    Resource* putBelow(const reading::Described& described, ResourceClass resourceClass, Resource& parent);
    using Named = std::unordered_map<Guid, const reading::Described*, reading::GuidHash>;
    void removeUnnamed(const Named& named);
    void removeResource(Resource& resource);
    void vanish(Application& application);
    void select(Resource& resource, const DDS_UnsignedLongSeq& metricIds);
    Resource* resourceOfTheGroups();
    void storeGroup(Resource& resource, bool isPeriodic, const reading::Group& group);
    void storeAttribute(Resource& resource, const reading::Group& group);
    void storeText(
        Resource& resource, std::optional<std::string> Resource::Traits::*member, const char* text);
    void storeLogging(const DDS_Monitoring_LoggingConfig& config);
    std::string textOf(const char* text);

    void tell(ModelEventKind kind, const Resource& resource);
    void tellMetrics(const Resource& resource, const MetricSet& metrics);
    ModelEvent eventOf(ModelEventKind kind, const Resource& resource) const;

    Model::State& state_;
    Tree& tree_;
    const DDS_SampleInfo& info_;
    const bool isObserved_;
    const Guid writer_;
    const std::int64_t timeNs_;
    Guid applicationGuid_{};
    Application* application_ = nullptr; // null while it is not known
    Guid resourceGuid_{};                // which the groups are of
    bool isSnapshot_ = false;
    bool hasTreeChanged_ = false; // by this sample
};

} // namespace collector

#endif
