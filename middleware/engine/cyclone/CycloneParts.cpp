#include "middleware/engine/cyclone/CycloneEndpoint.hpp"
#include "middleware/log/DdsLog.hpp"

namespace zdds::engine {
namespace {

bool exists(dds_entity_t entity, const char* what, const TopicInfo& info) {
    if (entity > 0)
        return true;
    ZDDS_LOG_ERROR(FAILED_TO_CREATE, "%s of topic '%s': %s", what, info.topicName, dds_strretcode(entity));
    return false;
}

} // namespace

bool CycloneParts::openGroup(dds_entity_t group, const TopicInfo& info) {
    group_ = group;
    return exists(group, "publisher or subscriber", info);
}

bool CycloneParts::openEndpoint(dds_entity_t entity, ZddsCycloneSide side, const TopicInfo& info) {
    const char* what = side == ZDDS_CYCLONE_WRITER ? "writer" : "reader";
    record_.entity = entity;
    if (!exists(entity, what, info))
        return false;
    guid_ = guidOf(entity);
    if (ZddsCyclone_findEndpoint(&record_, side, entity, topic_.type(), guid_.value))
        return true;
    ZDDS_LOG_ERROR(FAILED_TO_FIND, "record of the %s of topic '%s'", what, info.topicName);
    return false;
}

void CycloneParts::close() {
    for (dds_entity_t* entity : {&record_.entity, &group_}) {
        if (*entity > 0)
            dds_delete(*entity);
        *entity = 0;
    }
}

} // namespace zdds::engine
