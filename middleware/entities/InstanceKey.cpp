#include "middleware/entities/InstanceKey.hpp"

#include <cstring>
#include <utility>

#include "middleware/entities/ServiceRequestType.hpp"
#include "zddscore/hash.h"

namespace zdds {
namespace {

// CDR in either version: bit 0 of the identifier tells little-endian.
bool isLittleEndian(std::span<const uint8_t> encoding) {
    return (encoding[1] & 1U) != 0;
}

void swapServiceId(uint8_t* key) {
    std::swap(key[0], key[3]);
    std::swap(key[1], key[2]);
}

} // namespace

bool findKeyBytes(const DDS_TypePlugin& plugin, DDS_UnsignedLong* keyBytes) {
    *keyBytes = 0;
    if (plugin.keyKind == PRES_TYPEPLUGIN_NO_KEY)
        return true;
    if (plugin.type != serviceRequestTypePlugin().type)
        return false;
    *keyBytes = serviceRequestKeyBytes;
    return true;
}

bool InstanceKey::read(
    const DDS_TypePlugin& plugin, DDS_UnsignedLong keyBytes, std::span<const uint8_t> encoding) {
    if (keyBytes > maximumKeyBytes || encoding.size() < encapsulationBytes + keyBytes || encoding[0] != 0)
        return false;
    length = keyBytes;
    std::memcpy(bytes, encoding.data() + encapsulationBytes, keyBytes);
    if (plugin.type == serviceRequestTypePlugin().type && isLittleEndian(encoding))
        swapServiceId(bytes);
    return true;
}

bool InstanceKey::readSample(const DDS_TypePlugin& plugin, DDS_UnsignedLong keyBytes, const void* sample) {
    KeyEncoding encoding;
    return encoding.write(plugin, keyBytes, DDS_XCDR2_DATA_REPRESENTATION, sample) &&
           read(plugin, keyBytes, encoding.view());
}

// Encodes a sample that has the key and nothing else, and keeps the beginning.
bool KeyEncoding::write(const DDS_TypePlugin& plugin, DDS_UnsignedLong keyBytes,
    DDS_UnsignedShort representation, const void* sample) {
    if (plugin.type != serviceRequestTypePlugin().type)
        return false;
    const auto& request = *static_cast<const DDS_ServiceRequest*>(sample);
    const DDS_ServiceRequest keyOnly{request.service_id, request.instance_id, {}};
    char whole[2 * sizeof bytes];
    size_t wholeLength = sizeof whole;
    if (!PRESTypePlugin_interpretedSerialize(&plugin, whole, &wholeLength, representation, &keyOnly))
        return false;
    length = encapsulationBytes + keyBytes;
    if (wholeLength < length)
        return false;
    std::memcpy(bytes, whole, length);
    return true;
}

DDS_InstanceHandle_t InstanceKey::handle() const {
    DDS_InstanceHandle_t handle = DDS_HANDLE_NIL;
    if (length <= sizeof handle.keyHash) {
        std::memcpy(handle.keyHash, bytes, length);
    } else {
        ORXOsapiHash hash;
        ORXOsapiHash_initialize(&hash);
        ORXOsapiHash_computeMd5(&hash, bytes, length);
        std::memcpy(handle.keyHash, hash.value, sizeof handle.keyHash);
    }
    handle.length = sizeof handle.keyHash;
    handle.isValid = 1;
    return handle;
}

// FNV-1a: identifiers often differ in a few octets only.
size_t hashOfKeyTail(const uint8_t* tail, DDS_UnsignedLong keyBytes) {
    uint64_t hash = 0xCBF29CE484222325U;
    for (DDS_UnsignedLong i = keyTailOffset(keyBytes); i < keyBytes; ++i)
        hash = (hash ^ *tail++) * 0x100000001B3U;
    return static_cast<size_t>(hash ^ (hash >> 32));
}

void InstanceKey::fill(const DDS_TypePlugin& plugin, void* sample) const {
    if (plugin.type != serviceRequestTypePlugin().type)
        return;
    auto& request = *static_cast<DDS_ServiceRequest*>(sample);
    uint32_t id = 0;
    for (size_t i = 0; i < 4; ++i)
        id = id << 8 | bytes[i];
    request.service_id = static_cast<DDS_Long>(id);
    std::memcpy(request.instance_id.value, bytes + 4, sizeof request.instance_id.value);
}

} // namespace zdds
