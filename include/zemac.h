/* zemac: audio-coding primitives with a plain C ABI.
   Bit-stream functions take a cursor (ppStream, pBitPos): the caller's byte pointer and the
   position 0..7 of the next bit counted from the most significant bit. Readers may fetch up to
   three bytes past the last bit they consume; how far one call can read from its cursor on
   any input, damaged or not, is bounded by the zemReadMax constants of zemac/core.h, so a
   buffer with that much readable after the data is never read past. */
#ifndef ZEMAC_H
#define ZEMAC_H

#include "zemac/aac_elements.h"
#include "zemac/aac_prediction.h"
#include "zemac/aac_stream.h"
#include "zemac/aac_tools.h"
#include "zemac/core.h"
#include "zemac/mp3.h"
#include "zemac/mp3_encoder.h"
#include "zemac/mp3_pqmf.h"
#include "zemac/mp3_synthesis.h"
#include "zemac/sbr.h"
#include "zemac/sbr_fixed.h"
#include "zemac/sbr_tools.h"
#include "zemac/tools.h"
#include "zemac/transform.h"
#include "zemac/vlc.h"

#endif
