/* zemac: AAC raw data block elements and noiseless decoding. */
#ifndef ZEMAC_AAC_ELEMENTS_H
#define ZEMAC_AAC_ELEMENTS_H

#include "core.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif
