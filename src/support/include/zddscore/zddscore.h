/* Everything of libzddscore. The conventions of the C ABI stand in docs/conventions.md. */
#ifndef ZDDSCORE_H
#define ZDDSCORE_H

#include "zddscore/clock.h"
#include "zddscore/event_generator.h"
#include "zddscore/fast_buffer_pool.h"
#include "zddscore/hash.h"
#include "zddscore/heap.h"
#include "zddscore/host.h"
#include "zddscore/inline_list.h"
#include "zddscore/inline_memory.h"
#include "zddscore/inline_memory_bound.h"
#include "zddscore/log.h"
#include "zddscore/semaphore.h"
#include "zddscore/skiplist.h"
#include "zddscore/text.h"
#include "zddscore/thread.h"
#include "zddscore/types.h"

#endif
