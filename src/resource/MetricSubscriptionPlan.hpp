// A list of selections, prepared to be applied to many resources.
//
// It gives each resource the metrics that ORX_MonitoringResource_computeMetricInfoIndexList gives it, with
// the same failures. What differs is the cost: patterns are held against the metrics of a class once,
// whatever the number of its resources, and expressions as ExpressionSet tells.
//
// Threads: under the library lock, from the preparation to the last use: the tree and the list stand still.
// Ownership: the list is borrowed. Errors: where memory is out, resources are computed in the plain way.
#ifndef ORX_MONITORING_METRIC_SUBSCRIPTION_PLAN_HPP
#define ORX_MONITORING_METRIC_SUBSCRIPTION_PLAN_HPP

#include "src/resource/MetricSubscriptionPatterns.hpp"
#include "src/utils/ExpressionSet.hpp"

namespace orx::resource {

class Selector;

class SelectionPlan {
public:
    explicit SelectionPlan(const REDAInlineList& selections);
    ~SelectionPlan();
    SelectionPlan(const SelectionPlan&) = delete;
    SelectionPlan& operator=(const SelectionPlan&) = delete;

    bool compute(ORX_MonitoringResource& self);

private:
    using Selection = DDS_MonitoringMetricSelection;
    struct Answer {
        MetricSet enabled;
        MetricSet disabled;
        bool isKnown;
    };
    // The metrics of a resource, in their order.
    struct Metrics {
        ORX_UINT8 rows[ORX_MONITORING_RESOURCE_MAX_METRICS];
        ORX_UINT32 length;

        void take(const DDS_UnsignedLongSeq& sequence);
        bool give(DDS_UnsignedLongSeq& sequence) const;
        bool operator==(const Metrics& other) const;
    };
    // What the last resource of a class came to, and what that depends on: most of them share it.
    struct Memory {
        ORX_UINT32* matches = nullptr; /* room for all selections */
        ORX_UINT32 matchCount = 0;
        MetricSet supported = {};
        Metrics before = {};
        Metrics after = {};
        bool isSet = false;
    };
    struct Class {
        DDS_UnsignedLong id;
        MetricNames names;
        Answer* answers; /* one for each selection */
        Memory memory;
    };
    static constexpr unsigned maximumClasses = 16;

    bool prepare();
    Class* classOf(DDS_UnsignedLong id, const ORX_Monitoring_MetricInfo* table, DDS_UnsignedLong metricCount);
    const Answer& answerOf(Class& metrics, ORX_UINT32 selection);
    bool applyTo(ORX_MonitoringResource& self, Class& metrics, path::Branch& branch);
    void reportUnsupported(Selector& selector, ORX_UINT32 matchCount) const;
    bool applyMatches(Selector& selector, Class& metrics, ORX_UINT32 matchCount);

    const REDAInlineList& list_;
    const Selection** selections_ = nullptr;
    ORX_UINT32* matches_ = nullptr; /* of the resource at hand */
    ORX_UINT32 count_ = 0;
    path::ExpressionSet expressions_;
    ORX_MonitoringOpaqueResourceAccessor accessor_{};
    const ORX_MonitoringResource* root_ = nullptr;
    Class* classes_ = nullptr;
    unsigned classCount_ = 0;
};

} // namespace orx::resource

#endif
