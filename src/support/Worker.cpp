#include "src/support/Worker.hpp"

#include <atomic>
#include <cstdio>
#include <new>

#include "zddscore/heap.h"

struct REDAWorkerFactory {
    std::atomic<int> workers;
};

struct REDAWorker {
    REDAWorkerFactory* factory;
    const ORXOsapiActivityContextStackEntry* activity;
    char name[80];
};

namespace zdds {

REDAWorker* createWorker(REDAWorkerFactory* factory, const char* threadName, const char* participantId,
    const ORXOsapiRtpsGuidPrefix* guidPrefix) {
    if (factory == nullptr)
        return nullptr;
    REDAWorker* worker = nullptr;
    if (!ORXOsapiHeap_allocateStructure(&worker, struct REDAWorker))
        return nullptr;
    worker->factory = factory;
    factory->workers.fetch_add(1, std::memory_order_relaxed);
    const char* name = threadName != nullptr ? threadName : "";
    if (guidPrefix != nullptr)
        std::snprintf(worker->name, sizeof worker->name, "%.30s%.5s@%08x.%08x.%08x", name, participantId,
            guidPrefix->hostId, guidPrefix->appId, guidPrefix->instanceId);
    else
        std::snprintf(worker->name, sizeof worker->name, "%.30s%.5s", name, participantId);
    return worker;
}

void deleteWorker(REDAWorker* worker) {
    if (worker == nullptr)
        return;
    worker->factory->workers.fetch_sub(1, std::memory_order_relaxed);
    ORXOsapiHeap_freeStructure(worker);
}

void setActivity(REDAWorker* worker, const ORXOsapiActivityContextStackEntry* activity) {
    worker->activity = activity;
}

} // namespace zdds

REDAWorkerFactory* REDAWorkerFactory_new(void) {
    REDAWorkerFactory* memory = nullptr;
    if (!ORXOsapiHeap_allocateStructure(&memory, struct REDAWorkerFactory))
        return nullptr;
    return new (memory) REDAWorkerFactory{};
}

void REDAWorkerFactory_delete(REDAWorkerFactory* self) {
    ORXOsapiHeap_freeStructure(self);
}

int REDAWorkerFactory_getWorkerCount(const REDAWorkerFactory* self) {
    return self->workers.load(std::memory_order_relaxed);
}

const char* REDAWorker_getName(const REDAWorker* self) {
    return self->name;
}

const ORXOsapiActivityContextStackEntry* REDAWorker_getActivity(const REDAWorker* self) {
    return self->activity;
}
