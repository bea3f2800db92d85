// Workers: the identities under which the threads of event generators run.
#pragma once

#include "zddscore/event_generator.h"

namespace zdds {

// A worker of the factory, which counts it; null on failure. A name too long is cut.
REDAWorker* createWorker(REDAWorkerFactory* factory, const char* threadName, const char* participantId,
    const ORXOsapiRtpsGuidPrefix* guidPrefix);
void deleteWorker(REDAWorker* worker);
// By the worker's own thread, around each event; null at its end.
void setActivity(REDAWorker* worker, const ORXOsapiActivityContextStackEntry* activity);

} // namespace zdds
