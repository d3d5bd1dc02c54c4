// SBR delta codes (ISO/IEC 14496-3 subpart 4, Annex 4.A): t = time, f = frequency direction.
#pragma once

#include "huffman_tree.hpp"

namespace zemdec {

extern const HuffmanCode kTHuffmanEnv15db[121];     // values -60 .. 60
extern const HuffmanCode kFHuffmanEnv15db[121];     // values -60 .. 60
extern const HuffmanCode kTHuffmanEnvBal15db[49];   // values -24 .. 24
extern const HuffmanCode kFHuffmanEnvBal15db[49];   // values -24 .. 24
extern const HuffmanCode kTHuffmanEnv30db[63];      // values -31 .. 31
extern const HuffmanCode kFHuffmanEnv30db[63];      // values -31 .. 31
extern const HuffmanCode kTHuffmanEnvBal30db[25];   // values -12 .. 12
extern const HuffmanCode kFHuffmanEnvBal30db[25];   // values -12 .. 12
extern const HuffmanCode kTHuffmanNoise30db[63];    // values -31 .. 31
extern const HuffmanCode kTHuffmanNoiseBal30db[25]; // values -12 .. 12

} // namespace zemdec
