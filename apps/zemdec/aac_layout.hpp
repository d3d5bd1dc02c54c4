// Where the channels of an AAC raw data block go in the WAV output: element slots by channel
// configuration (1..7) or by program config element, each slot naming its speakers.
#pragma once

#include <cstdint>
#include <vector>

#include "zemac.h"

namespace zemdec {

enum class AacElement { Sce = 0, Cpe = 1, Cce = 2, Lfe = 3, Dse = 4, Pce = 5, Fil = 6, End = 7 };

struct AacSlot {
    AacElement type; // Sce (also for LFE-less mono slots), Cpe or Lfe
    int tag;         // element_instance_tag, or -1 to take elements in order
    int out[2];      // output channels in WAV order (second unused for Sce/Lfe)
};

struct AacLayout {
    std::vector<AacSlot> slots;
    int channels = 0;
    uint32_t channelMask = 0; // WAVE_FORMAT_EXTENSIBLE speaker bits, 0 when unknown
};

// The layout of channel_configuration 1..7; false for 0 (program config element) and 8..15.
bool layout_from_configuration(int configuration, AacLayout& layout);
// The layout a program config element describes. Elements that name no WAV speaker layout (a
// lone side channel, a second LFE, elements out of the standard's order) leave every channel
// in element order (front, side, back, LFE) with channel mask 0.
AacLayout layout_from_pce(const ZemAacPceRec& pce);

} // namespace zemdec
