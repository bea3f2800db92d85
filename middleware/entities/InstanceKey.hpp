// Keys of keyed topics. A keyed type is final and its key members come first, so that the key is the first
// bytes of every encoding behind the encapsulation header.
#ifndef ZDDSC_ENTITIES_INSTANCE_KEY_HPP
#define ZDDSC_ENTITIES_INSTANCE_KEY_HPP

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "zddsc/type_plugin.h"

namespace zdds {

constexpr size_t encapsulationBytes = 4;
constexpr size_t maximumKeyBytes = 32;

// *keyBytes is 0 for a type without a key. False for a keyed type whose key is not known here.
bool findKeyBytes(const DDS_TypePlugin& plugin, DDS_UnsignedLong* keyBytes);

// A key in the byte order of the network, so that it does not depend on who encoded it.
struct InstanceKey {
    uint8_t bytes[maximumKeyBytes] = {};
    DDS_UnsignedLong length = 0;

    // False when there are not enough bytes, or the encapsulation is none of CDR.
    bool read(const DDS_TypePlugin& plugin, DDS_UnsignedLong keyBytes, std::span<const uint8_t> encoding);
    // Of a sample in memory. False when it cannot be encoded.
    bool readSample(const DDS_TypePlugin& plugin, DDS_UnsignedLong keyBytes, const void* sample);
    // The key itself where it fits, else its MD5.
    DDS_InstanceHandle_t handle() const;
    // Fills the key members of an initialized sample.
    void fill(const DDS_TypePlugin& plugin, void* sample) const;
};

// The tail of a key, its last octets, is what tells keys apart (an identifier that nobody gives twice), so
// that tables go by it. A short key is all tail.
constexpr DDS_UnsignedLong keyTailBytes = 16;
constexpr DDS_UnsignedLong keyTailOffset(DDS_UnsignedLong keyBytes) {
    return keyBytes > keyTailBytes ? keyBytes - keyTailBytes : 0;
}
size_t hashOfKeyTail(const uint8_t* tail, DDS_UnsignedLong keyBytes);

// A part of a key, as InstanceKey has it, and the octets that it is to equal. Without any, every key is
// wanted.
struct KeyFilter {
    DDS_UnsignedLong offset = 0;
    DDS_UnsignedLong length = 0;
    uint8_t octets[maximumKeyBytes] = {};

    bool accepts(const InstanceKey& key) const {
        return length == 0 ||
               (offset + length <= key.length && std::memcmp(key.bytes + offset, octets, length) == 0);
    }
    // The tail that all accepted keys have; null where they may differ in it.
    const uint8_t* tail(DDS_UnsignedLong keyBytes) const {
        const bool coversTail =
            length != 0 && offset <= keyTailOffset(keyBytes) && offset + length == keyBytes;
        return coversTail ? octets + (keyTailOffset(keyBytes) - offset) : nullptr;
    }
};

// The encoding of a sample's key alone, with its encapsulation header: what a dispose or unregister carries.
struct KeyEncoding {
    uint8_t bytes[encapsulationBytes + maximumKeyBytes] = {};
    size_t length = 0;

    bool write(const DDS_TypePlugin& plugin, DDS_UnsignedLong keyBytes, DDS_UnsignedShort representation,
        const void* sample);
    std::span<const uint8_t> view() const { return {bytes, length}; }
};

} // namespace zdds

#endif
