/* Marks what libzddscore exports; everything else is hidden. */
#ifndef ZDDSCORE_EXPORT_H
#define ZDDSCORE_EXPORT_H

#define ZDDSCORE_EXPORT __attribute__((visibility("default")))

#ifdef __cplusplus
#define ZDDS_BEGIN_C extern "C" {
#define ZDDS_END_C }
#else
#define ZDDS_BEGIN_C
#define ZDDS_END_C
#endif

#if defined(__GNUC__)
#define ZDDS_PRINTF_LIKE(formatIndex, firstArgument)                                                         \
    __attribute__((format(printf, formatIndex, firstArgument)))
#else
#define ZDDS_PRINTF_LIKE(formatIndex, firstArgument)
#endif

#endif
