/* Marks what liborxmonitoring2d exports; everything else is hidden. */
#ifndef ORXMONITORING2D_EXPORT_H
#define ORXMONITORING2D_EXPORT_H

#define ORX_EXPORT __attribute__((visibility("default")))

#endif
