#include "middleware/engine/cyclone/CycloneEndpoint.hpp"

#include "middleware/engine/EngineLog.hpp"

namespace zdds::engine {

namespace {

constexpr std::size_t headerBytes = 4;

// The encapsulation ids of a type, without the bit for the byte order: XCDR 1 plain or parameter list, and XCDR 2
// plain, delimited or parameter list. A reader drops a sample whose id does not fit its type without a word.
bool fits(uint8_t high, uint8_t low, TopicInfo::Extensibility extensibility) {
    if (high != 0) return false;
    const int form = low & ~1;
    switch (extensibility) {
    case TopicInfo::Extensibility::final: return form == 0x00 || form == 0x06;
    case TopicInfo::Extensibility::appendable: return form == 0x00 || form == 0x08;
    case TopicInfo::Extensibility::mutableType: return form == 0x02 || form == 0x0a;
    }
    return false;
}

} // namespace

DDS_GUID_t guidOf(dds_entity_t entity) {
    DDS_GUID_t result{};
    dds_guid_t guid;
    if (dds_get_guid(entity, &guid) == code::ok) std::memcpy(result.value, guid.v, sizeof result.value);
    return result;
}

Status statusOf(dds_return_t code) {
    switch (code) {
    case code::ok: return Status::ok;
    case code::badParameter: return Status::badParameter;
    case code::outOfResources: return Status::outOfResources;
    case code::timeout: return Status::timeout;
    case code::unsupported: return Status::unsupported;
    default: return Status::error;
    }
}

CycloneTopic::~CycloneTopic() {
    ZddsCyclone_releaseType(type_);
    if (entity_ > 0) dds_delete(entity_);
}

bool CycloneTopic::create(dds_entity_t participant, const TopicInfo& info) {
    if (info.topicName == nullptr || info.typeName == nullptr || info.keyed != (info.keyBytes != 0)) {
        ENGINE_LOG(ERROR, BAD_PARAMETER_FAILURE, "topic with no name, no type name, or a key of no length");
        return false;
    }
    keyBytes_ = info.keyBytes;
    extensibility_ = info.extensibility;
    entity_ = ZddsCyclone_createTopic(participant, info.topicName, info.typeName, info.keyBytes, &type_);
    if (entity_ > 0) return true;
    ENGINE_LOG(ERROR, FAILED_TO_CREATE, "topic '%s' of type '%s': %s", info.topicName, info.typeName,
        dds_strretcode(entity_));
    return false;
}

bool CycloneTopic::accepts(std::span<const uint8_t> bytes, SampleKind kind) const {
    if (bytes.size() < headerBytes + keyBytes_ || bytes.size() > INT32_MAX) return false;
    if (kind != SampleKind::data && bytes.size() != headerBytes + keyBytes_) return false;
    return fits(bytes[0], bytes[1], extensibility_);
}

} // namespace zdds::engine
