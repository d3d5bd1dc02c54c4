/* zemac: AAC inverse quantisation, stereo tools, TNS and filter bank. */
#ifndef ZEMAC_AAC_TOOLS_H
#define ZEMAC_AAC_TOOLS_H

#include "core.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif
