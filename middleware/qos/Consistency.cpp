#include "middleware/qos/Consistency.hpp"

#include "middleware/log/DdsLog.hpp"
#include "zddsc/type_plugin.h"

namespace zdds::qos {
namespace {

bool isLimit(DDS_Long limit) {
    return limit > 0 || limit == DDS_LENGTH_UNLIMITED;
}

template <class Qos> bool hasConsistentHistory(const Qos& qos) {
    const DDS_ResourceLimitsQosPolicy& limits = qos.resource_limits;
    if (!isLimit(limits.max_samples) || !isLimit(limits.max_instances) ||
        !isLimit(limits.max_samples_per_instance))
        return ZDDS_FAIL(false, INCONSISTENT_QOS, "resource limits %d, %d, %d", limits.max_samples,
            limits.max_instances, limits.max_samples_per_instance);
    if (qos.history.kind == DDS_KEEP_LAST_HISTORY_QOS && qos.history.depth < 1)
        return ZDDS_FAIL(false, INCONSISTENT_QOS, "history depth %d", qos.history.depth);
    return true;
}

bool isRepresentation(DDS_Long id) {
    return id == DDS_XCDR_DATA_REPRESENTATION || id == DDS_XCDR2_DATA_REPRESENTATION;
}

bool hasKnownRepresentations(const DDS_DataRepresentationQosPolicy& policy) {
    const DDS_Long length = DDS_LongSeq_get_length(&policy.value);
    for (DDS_Long i = 0; i < length; ++i) {
        const DDS_Long id = DDS_LongSeq_get(&policy.value, i);
        if (!isRepresentation(id))
            return ZDDS_FAIL(false, INCONSISTENT_QOS, "data representation %d", id);
    }
    return true;
}

} // namespace

bool isConsistent(const DDS_DataWriterQos& qos) {
    return hasConsistentHistory(qos) && hasKnownRepresentations(qos.representation);
}
bool isConsistent(const DDS_DataReaderQos& qos) {
    return hasConsistentHistory(qos) && hasKnownRepresentations(qos.representation);
}
bool isConsistent(const DDS_TopicQos& qos) {
    return hasConsistentHistory(qos);
}

} // namespace zdds::qos
