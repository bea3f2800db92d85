#include "middleware/entities/ObservedEntity.hpp"

#include "middleware/log/DdsLog.hpp"
#include "middleware/log/Memory.hpp"

DDS_Entity* DDS_Entity_create_observedI(
    DDS_EntityKind kind, const DDS_GUID_t* guid, DDS_UnsignedLong transportMask) {
    ZDDS_REQUIRE(guid != nullptr, nullptr);
    if (!zdds::ForkGeneration::watch())
        return ZDDS_FAIL(nullptr, FAILED_TO_CREATE, "observed entity");
    auto* self = zdds::create<zdds::ObservedEntity>("struct ObservedEntity", kind, *guid, transportMask);
    if (self == nullptr)
        return ZDDS_FAIL(nullptr, FAILED_TO_ALLOCATE, "observed entity");
    if (!self->initialize()) {
        zdds::destroy(self);
        return nullptr;
    }
    return self;
}

// Null is a no-op. In a forked child the lock may be held by a thread that is not there: the memory is left
// alone.
void DDS_Entity_delete_observedI(DDS_Entity* self) {
    if (self == nullptr || !self->isOfThisProcess())
        return;
    ZDDS_REQUIRE(self->isObserved);
    zdds::destroy(static_cast<zdds::ObservedEntity*>(self));
}
