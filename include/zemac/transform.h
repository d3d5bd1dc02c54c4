/* zemac: general MDCT. */
#ifndef ZEMAC_TRANSFORM_H
#define ZEMAC_TRANSFORM_H

#include "core.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif
