// How a quantised granule compares with the masking threshold: the noise of each scale-factor
// band (the input line minus its reconstruction from the quantised value, the global gain and the
// band's scale factor) against the allowed noise, ratio times the band's energy. Variable bit
// rate coding searches the smallest budget that leaves no band above its threshold.
#pragma once

#include <cstdint>

#include "zemac.h"

namespace zemenc {

// Scale-factor band boundaries of MPEG-1 Layer III (44.1, 48, 32 kHz): long blocks in lines,
// short blocks in lines of one window.
const int16_t* long_bands(int samplingFrequency);
const int16_t* short_bands(int samplingFrequency);

// Bands whose noise exceeds ratio times their energy. spectrum: the 576 lines given to
// zemsQuantize_MP3_32s_I; quantised, sf and granule: what it returned; ratio: as given to it.
// Bands without a scale factor (long 21, short 12), bands of zero ratio and, with isStart, the
// right channel's intensity bands are not judged, as the quantiser does not judge them.
int bands_over(const int32_t* spectrum, const int32_t* quantised, const int8_t* sf,
               const ZemMp3GranuleRec& granule, const float* ratio, int samplingFrequency,
               const int32_t* isStart);

} // namespace zemenc
