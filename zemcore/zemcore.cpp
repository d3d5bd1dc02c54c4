#include "zemcore.h"

#include <cstdlib>

void* zemMalloc(size_t size) { return size == 0 ? nullptr : std::malloc(size); }

void zemFree(void* ptr) { std::free(ptr); }
