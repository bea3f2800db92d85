// The one participant factory of the process.
#ifndef ZDDSC_ENTITIES_FACTORY_IMPL_HPP
#define ZDDSC_ENTITIES_FACTORY_IMPL_HPP

#include "middleware/entities/EntityImpl.hpp"
#include "middleware/entities/Sync.hpp"

struct DDS_DomainParticipantFactoryImpl {
    zdds::Mutex mutex; // guards what follows
    zdds::ChildList participants;
    REDAWorkerFactory* workerFactory = nullptr; // made when first asked for
};

namespace zdds {

// Whether a participant of this GUID has been created and not been deleted yet.
bool isParticipantThere(DDS_DomainParticipantFactoryImpl& factory, const DDS_GUID_t& guid);

} // namespace zdds

#endif
