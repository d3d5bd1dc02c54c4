// Layer III Huffman tables by table number: the code table, its width (values per coordinate)
// and linbits. The code table of (x, y) is indexed by width * x + y.
#pragma once

#include "tables/mp3_huffman_codes.hpp"

namespace zem::mp3 {

// The fifteen distinct code tables of the pair tables, in table-number order.
inline constexpr HuffSource kPairCodes[15] = {
    kHuffCodes1,  kHuffCodes2,  kHuffCodes3,  kHuffCodes5,  kHuffCodes6,
    kHuffCodes7,  kHuffCodes8,  kHuffCodes9,  kHuffCodes10, kHuffCodes11,
    kHuffCodes12, kHuffCodes13, kHuffCodes15, kHuffCodes16, kHuffCodes24,
};

struct PairTable {
    const HuffCode* codes; // null for tables 0, 4, 14
    int width;
    int linbits;
    int decoder; // index into kPairCodes, -1 without codes
};

// Table numbers 0-31; 16-23 and 24-31 share their code tables with different linbits.
inline constexpr PairTable kPairTables[32] = {
    {nullptr, 1, 0, -1},        {kHuffCodes1, 2, 0, 0},     {kHuffCodes2, 3, 0, 1},
    {kHuffCodes3, 3, 0, 2},     {nullptr, 1, 0, -1},        {kHuffCodes5, 4, 0, 3},
    {kHuffCodes6, 4, 0, 4},     {kHuffCodes7, 6, 0, 5},     {kHuffCodes8, 6, 0, 6},
    {kHuffCodes9, 6, 0, 7},     {kHuffCodes10, 8, 0, 8},    {kHuffCodes11, 8, 0, 9},
    {kHuffCodes12, 8, 0, 10},   {kHuffCodes13, 16, 0, 11},  {nullptr, 1, 0, -1},
    {kHuffCodes15, 16, 0, 12},  {kHuffCodes16, 16, 1, 13},  {kHuffCodes16, 16, 2, 13},
    {kHuffCodes16, 16, 3, 13},  {kHuffCodes16, 16, 4, 13},  {kHuffCodes16, 16, 6, 13},
    {kHuffCodes16, 16, 8, 13},  {kHuffCodes16, 16, 10, 13}, {kHuffCodes16, 16, 13, 13},
    {kHuffCodes24, 16, 4, 14},  {kHuffCodes24, 16, 5, 14},  {kHuffCodes24, 16, 6, 14},
    {kHuffCodes24, 16, 7, 14},  {kHuffCodes24, 16, 8, 14},  {kHuffCodes24, 16, 9, 14},
    {kHuffCodes24, 16, 11, 14}, {kHuffCodes24, 16, 13, 14},
};

} // namespace zem::mp3
