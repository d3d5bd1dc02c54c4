// The delay lines of the SBR QMF banks, float and fixed alike: the write position kept on its
// block grid, positions wrapped at the line's end, and where the synthesis window's blocks lie.
#pragma once

#include <cstdint>

namespace zem::sbr {

// A record's write position brought into 0 .. line - 1 and down to a multiple of `block`,
// whatever the record holds, so that no index leads outside the line.
constexpr int32_t line_index(int32_t index, int32_t line, int32_t block) {
    return ((index % line) + line) % line / block * block;
}

// A position below twice the line's length, wrapped into the line.
constexpr int32_t wrap_line(int32_t p, int32_t line) { return p >= line ? p - line : p; }

// The distance of block i (of ten) of the synthesis window from the newest value:
// 4M floor(i / 2), plus 3M for odd i.
constexpr int32_t output_offset(int32_t i, int32_t bands) {
    return (i / 2) * 4 * bands + (i & 1) * 3 * bands;
}

} // namespace zem::sbr
