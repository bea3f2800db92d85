// What can be told of a sample from its first bytes.
#ifndef ZDDSC_ENGINE_ENCAPSULATION_HPP
#define ZDDSC_ENGINE_ENCAPSULATION_HPP

#include "middleware/engine/Engine.hpp"

namespace zdds::engine {

constexpr std::size_t encapsulationBytes = 4;

// Whether the id fits a type of this extensibility: XCDR 1 plain or parameter list, and XCDR 2 plain,
// delimited or parameter list, in either byte order. A peer drops a sample whose id does not fit its type
// without a word.
constexpr bool fitsExtensibility(uint8_t high, uint8_t low, TopicInfo::Extensibility extensibility) {
    if (high != 0)
        return false;
    const int form = low & ~1;
    switch (extensibility) {
    case TopicInfo::Extensibility::final:
        return form == 0x00 || form == 0x06;
    case TopicInfo::Extensibility::appendable:
        return form == 0x00 || form == 0x08;
    case TopicInfo::Extensibility::mutableType:
        return form == 0x02 || form == 0x0a;
    }
    return false;
}

// Header, and a key alone for dispose and unregister.
constexpr bool isEncapsulated(std::span<const uint8_t> bytes, SampleKind kind, uint32_t keyBytes,
    TopicInfo::Extensibility extensibility) {
    const std::size_t least = encapsulationBytes + keyBytes;
    if (bytes.size() < least || bytes.size() > INT32_MAX)
        return false;
    if (kind != SampleKind::data && bytes.size() > least + 3)
        return false;
    return fitsExtensibility(bytes[0], bytes[1], extensibility);
}

} // namespace zdds::engine

#endif
