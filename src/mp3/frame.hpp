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

} // namespace zem::mp3
