// Stand-in for an entity of another DDS implementation: a lock, a kind, a GUID and, for a participant,
// transports.
#ifndef ZDDSC_ENTITIES_OBSERVED_ENTITY_HPP
#define ZDDSC_ENTITIES_OBSERVED_ENTITY_HPP

#include "middleware/entities/EntityImpl.hpp"

namespace zdds {

struct ObservedEntity : DDS_EntityImpl {
    ObservedEntity(DDS_EntityKind entityKind, const DDS_GUID_t& entityGuid, DDS_UnsignedLong mask)
        : DDS_EntityImpl(entityKind, nullptr), transportMask(mask) {
        isObserved = true;
        isEnabled = true;
        guid = entityGuid;
        hasGuid = true;
    }
    const DDS_UnsignedLong transportMask; // bit 0 UDPv4, bit 1 UDPv6
};

} // namespace zdds

#endif
