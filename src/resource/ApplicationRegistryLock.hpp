// The registry's mutex for the length of a block.
#ifndef ORX_MONITORING_APPLICATION_REGISTRY_LOCK_HPP
#define ORX_MONITORING_APPLICATION_REGISTRY_LOCK_HPP

#include "src/resource/ApplicationRegistry.h"

namespace orx::forwarder {

class RegistryLock {
public:
    explicit RegistryLock(ORX_MonitoringForwarderApplicationRegistry* registry)
        : registry_{ORX_MonitoringForwarderApplicationRegistry_lock(registry) ? registry : nullptr} {}
    ~RegistryLock() { (void)unlock(); }
    RegistryLock(const RegistryLock&) = delete;
    RegistryLock& operator=(const RegistryLock&) = delete;

    bool isHeld() const { return registry_ != nullptr; }
    // False when the unlock failed, for a caller whose result depends on it.
    bool unlock() {
        auto* registry = registry_;
        registry_ = nullptr;
        return registry == nullptr || ORX_MonitoringForwarderApplicationRegistry_unlock(registry);
    }

private:
    ORX_MonitoringForwarderApplicationRegistry* registry_;
};

} // namespace orx::forwarder

#endif
