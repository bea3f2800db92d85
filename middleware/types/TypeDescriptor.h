/* The descriptor is public, since generated code defines constants of it. */
#ifndef ZDDSC_TYPES_TYPE_DESCRIPTOR_H
#define ZDDSC_TYPES_TYPE_DESCRIPTOR_H

#include "zddsc/sequence_define.h"
#include "zddsc/type_descriptor.h"
#include "zddsc/type_engine.h"

#endif
