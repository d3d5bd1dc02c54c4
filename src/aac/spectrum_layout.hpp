// Walks the bands of an AAC spectrum in the noiseless decoder's grouped order: group after
// group, band b of group g spanning (offset[b+1] - offset[b]) * groupLength values from
// groupStart + groupLength * offset[b].
#pragma once

#include <cstdint>

#include "core/checks.hpp"
#include "tables/aac_swb.hpp"
#include "zemac/core.h"

namespace zem::aac {

// The window-length and group checks shared by the spectral tools: 1024 takes one group,
// 128 takes one to eight; any other length is refused.
inline ZemStatus check_grouping(int32_t winLen, int32_t numWinGrp) {
    if (winLen == 1024)
        return numWinGrp == 1 ? zemStatusOk : zemStatusAacBadWindowGroupCount;
    if (winLen == 128)
        return numWinGrp >= 1 && numWinGrp <= 8 ? zemStatusOk : zemStatusAacBadWindowGroupCount;
    return zemStatusAacBadWindowLength;
}

// The group lengths: one window for 1024, otherwise each at least one and eight in all.
inline bool valid_group_lengths(int32_t winLen, int32_t numWinGrp, const int32_t* winGrpLen) {
    if (winLen == 1024)
        return winGrpLen[0] == 1;
    int32_t windows = 0;
    for (int g = 0; g < numWinGrp; ++g) {
        if (winGrpLen[g] < 1 || winGrpLen[g] > 8)
            return false;
        windows += winGrpLen[g];
    }
    return windows <= 8;
}

// Grouping and group lengths, then maxSfb (0..51) and the sampling-frequency index.
inline ZemStatus check_bands(int32_t winLen, int32_t numWinGrp, const int32_t* winGrpLen,
                             int32_t maxSfb, int32_t sfIndex) {
    if (const ZemStatus st = check_grouping(winLen, numWinGrp); st != zemStatusOk)
        return st;
    if (!valid_group_lengths(winLen, numWinGrp, winGrpLen))
        return zemStatusAacBadWindowGroupCount;
    if (maxSfb < 0 || maxSfb > 51)
        return zemStatusAacBadMaxSfb;
    if (sfIndex < 0 || sfIndex > 11)
        return zemStatusAacBadSampleRateIndex;
    return zemStatusOk;
}

// Calls f(group, band, first value, value count) for every band below maxSfb.
template <typename F>
void for_each_grouped_band(const SwbTable& bands, int numWinGrp, const int32_t* winGrpLen,
                           int winLen, int maxSfb, F&& f) {
    int groupStart = 0;
    for (int g = 0; g < numWinGrp; ++g) {
        const int len = winGrpLen[g];
        for (int b = 0; b < maxSfb; ++b)
            f(g, b, groupStart + len * bands.offset[b],
              len * (bands.offset[b + 1] - bands.offset[b]));
        groupStart += len * winLen;
    }
}

} // namespace zem::aac
