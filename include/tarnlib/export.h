// Export macro of the shared library. The library is built with hidden
// visibility; only declarations marked TARNLIB_EXPORT are visible to hosts.
#ifndef TARNLIB_EXPORT_H_
#define TARNLIB_EXPORT_H_

#if defined(TARNLIB_BUILDING)
#define TARNLIB_EXPORT __attribute__((visibility("default")))
#else
#define TARNLIB_EXPORT
#endif

#endif  // TARNLIB_EXPORT_H_
