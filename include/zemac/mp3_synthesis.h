/* zemac: MP3 requantisation and hybrid synthesis. */
#ifndef ZEMAC_MP3_SYNTHESIS_H
#define ZEMAC_MP3_SYNTHESIS_H

#include "core.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif
