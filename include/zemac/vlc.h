/* zemac: escape-block VLC coding with caller-built code tables. */
#ifndef ZEMAC_VLC_H
#define ZEMAC_VLC_H

#include "core.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif
