/* zemcore: the heap of the zemac primitives. */
#ifndef ZEMCORE_H
#define ZEMCORE_H

#include <stddef.h>

#if (defined(__GNUC__) || defined(__clang__)) && !defined(_WIN32)
#define ZEMCORE_API __attribute__((visibility("default")))
#else
#define ZEMCORE_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Returns a block of at least size bytes, or null. No alignment is promised. */
ZEMCORE_API void* zemMalloc(size_t size);
/* Releases a block from zemMalloc; null is ignored. */
ZEMCORE_API void zemFree(void* ptr);

#ifdef __cplusplus
}
#endif

#endif
