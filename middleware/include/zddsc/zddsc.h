/* Everything of libzddsc. The conventions of the C ABI stand in docs/conventions.md. */
#ifndef ZDDSC_H
#define ZDDSC_H

#include "zddsc/async_wait_set.h"
#include "zddsc/basic_types.h"
#include "zddsc/builtin_topics.h"
#include "zddsc/conditions.h"
#include "zddsc/entities.h"
#include "zddsc/logger.h"
#include "zddsc/monitoring.h"
#include "zddsc/monitoring_property.h"
#include "zddsc/qos.h"
#include "zddsc/sequence.h"
#include "zddsc/sequence_define.h"
#include "zddsc/service_request.h"
#include "zddsc/status.h"
#include "zddsc/thread_settings.h"
#include "zddsc/type_descriptor.h"
#include "zddsc/type_engine.h"
#include "zddsc/type_plugin.h"

#endif
