/* zemac: SBR floating-point QMF analysis and synthesis banks. */
#ifndef ZEMAC_SBR_H
#define ZEMAC_SBR_H

#include "core.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif
