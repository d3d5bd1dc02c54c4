/* Test build of zemcore: the same two functions, plus fault injection and leak accounting. */
#ifndef ZEMCORE_TESTING_H
#define ZEMCORE_TESTING_H

#include "zemcore.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Makes the n-th allocation from now fail (1 = the next one); 0 disarms. */
void zemcoreFailAllocation(long n);
/* Blocks handed out and not yet released. */
long zemcoreOutstandingBlocks(void);
/* Allocations made since the process started. */
long zemcoreAllocationCount(void);

#ifdef __cplusplus
}
#endif

#endif
