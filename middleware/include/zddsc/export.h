/* Marks what libzddsc exports; everything else is hidden. */
#ifndef ZDDSC_EXPORT_H
#define ZDDSC_EXPORT_H

#include "zddscore/export.h"

#define ZDDSC_EXPORT __attribute__((visibility("default")))

#endif
