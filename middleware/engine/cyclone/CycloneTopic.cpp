#include "middleware/engine/cyclone/CycloneEndpoint.hpp"

#include "middleware/engine/Encapsulation.hpp"
#include "middleware/log/DdsLog.hpp"

namespace zdds::engine {

DDS_GUID_t guidOf(dds_entity_t entity) {
    DDS_GUID_t result{};
    dds_guid_t guid;
    if (dds_get_guid(entity, &guid) == code::ok)
        std::memcpy(result.value, guid.v, sizeof result.value);
    return result;
}

Status statusOf(dds_return_t code) {
    switch (code) {
    case code::ok:
        return Status::ok;
    case code::badParameter:
        return Status::badParameter;
    case code::outOfResources:
        return Status::outOfResources;
    case code::timeout:
        return Status::timeout;
    case code::unsupported:
        return Status::unsupported;
    default:
        return Status::error;
    }
}

CycloneTopic::~CycloneTopic() {
    if (entity_ <= 0)
        return;
    ZddsCyclone_releaseTopic(entity_, type_, instance_);
    dds_delete(entity_);
}

bool CycloneTopic::create(dds_entity_t participant, const TopicInfo& info) {
    if (info.topicName == nullptr || info.typeName == nullptr || info.keyed != (info.keyBytes != 0)) {
        ZDDS_LOG_ERROR(BAD_PARAMETER_FAILURE, "topic with no name, no type name, or a key of no length");
        return false;
    }
    keyBytes_ = info.keyBytes;
    extensibility_ = info.extensibility;
    entity_ = ZddsCyclone_createTopic(participant, info.topicName, info.typeName, info.keyBytes, &type_);
    if (entity_ < 0) {
        ZDDS_LOG_ERROR(FAILED_TO_CREATE, "topic '%s' of type '%s': %s", info.topicName, info.typeName,
            dds_strretcode(entity_));
        return false;
    }
    instance_ = ZddsCyclone_holdInstance(type_);
    if (info.keyed || instance_ != nullptr)
        return true;
    ZDDS_LOG_ERROR(FAILED_TO_ALLOCATE, "instance of topic '%s'", info.topicName);
    return false;
}

bool CycloneTopic::accepts(std::span<const uint8_t> bytes, SampleKind kind) const {
    return isEncapsulated(bytes, kind, keyBytes_, extensibility_);
}

} // namespace zdds::engine
