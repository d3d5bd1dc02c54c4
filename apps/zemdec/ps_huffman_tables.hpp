// PS parameter codes (ISO/IEC 14496-3 subpart 8, Annex 8.B): df = frequency, dt = time direction.
#pragma once

#include "huffman_tree.hpp"

namespace zemdec {

extern const HuffmanCode kIidDfDefault[29]; // values -14 .. 14
extern const HuffmanCode kIidDtDefault[29]; // values -14 .. 14
extern const HuffmanCode kIidDfFine[61];    // values -30 .. 30
extern const HuffmanCode kIidDtFine[61];    // values -30 .. 30
extern const HuffmanCode kIccDf[15];        // values -7 .. 7
extern const HuffmanCode kIccDt[15];        // values -7 .. 7
extern const HuffmanCode kIpdDf[8];         // values 0 .. 7
extern const HuffmanCode kIpdDt[8];         // values 0 .. 7
extern const HuffmanCode kOpdDf[8];         // values 0 .. 7
extern const HuffmanCode kOpdDt[8];         // values 0 .. 7

} // namespace zemdec
