// Shared facts about a Layer III frame for the bit-stream primitives.
#pragma once

#include <cstdint>

#include "zemac/mp3.h"

namespace zem::mp3 {

constexpr int channels(const ZemMp3HeaderRec& h) { return h.mode == 3 ? 1 : 2; }

// The header fields every side-information routine depends on.
constexpr bool side_info_header_ok(const ZemMp3HeaderRec& h) {
    return (h.id == 0 || h.id == 1) && h.layer == 1 && h.mode >= 0 && h.mode <= 3;
}

// MPEG-1 scale-factor widths slen1 and slen2 by scalefac_compress.
inline constexpr uint8_t kSlen1[16] = {0, 0, 0, 0, 3, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4};
inline constexpr uint8_t kSlen2[16] = {0, 1, 2, 3, 0, 1, 2, 3, 1, 2, 3, 1, 2, 3, 2, 3};

} // namespace zem::mp3
