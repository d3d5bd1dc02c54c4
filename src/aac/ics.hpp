// Side-data readers shared by the AAC element parsers and the noiseless decoders: ICS info,
// window grouping, TNS data and LTP data. They read through an inline cursor and return at
// once on a bad value, leaving the cursor after it.
#pragma once

#include "core/bitstream.hpp"
#include "zemac/aac_elements.h"

namespace zem::aac {

inline constexpr int32_t kEightShort = 2;

// Groups of an eight-short frame from the 7 grouping bits (bit 6 belongs to window 1): a set
// bit adds the window to the current group. Long frames have one group of one window.
void window_grouping(int32_t windowSequence, int32_t grouping, int32_t& numGroups,
                     int32_t* groupLength);

// ICS info with prediction side data for predSfbLimit bands.
ZemStatus read_ics_prediction(BitCursor& bc, ZemAacIcsRec& ics, int32_t predSfbLimit);

// ICS info of the MPEG-4 parsers: objectType 1 reads prediction data (predSfbLimit checked
// here), every other object type LTP data into main.ltp[0] and, for a channel pair, main.ltp[1].
ZemStatus read_ics_mp4(BitCursor& bc, ZemAacIcsRec& ics, ZemAacLayerMainRec* main,
                       int32_t predSfbLimit, int32_t objectType, bool pair);

// Where TNS side data goes: a ZemAacTnsRec or the channel record with the caller's coefficients.
struct TnsFields {
    int32_t* nFilt;
    int32_t* coefRes;
    int32_t* length;
    int32_t* order;
    int32_t* direction;
    int8_t* coef;
};

TnsFields tns_fields(ZemAacTnsRec& rec);
ZemStatus read_tns_data(BitCursor& bc, bool eightShort, const TnsFields& out);

// LTP data of one channel for the window sequence and max_sfb of the frame.
void read_ltp_data(BitCursor& bc, ZemAacLtpRec& ltp, int32_t windowSequence, int32_t maxSfb);

} // namespace zem::aac
