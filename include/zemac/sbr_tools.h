/* zemac: SBR high-frequency generation prediction, SBR encoder tools and the PS hybrid analysis. */
#ifndef ZEMAC_SBR_TOOLS_H
#define ZEMAC_SBR_TOOLS_H

#include "core.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif
