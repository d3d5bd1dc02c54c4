/* zemac: SBR fixed-point QMF banks (complex high-quality and real low-power). */
#ifndef ZEMAC_SBR_FIXED_H
#define ZEMAC_SBR_FIXED_H

#include "core.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif
