// The encoder's side of the frame: the bit reservoir's capacity and joint-stereo encoding.
#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "core/checks.hpp"
#include "core/fixed.hpp"
#include "tables/mp3_sfb_bands.hpp"
#include "zemac.h"

namespace zem::mp3 {
namespace {

// Bytes of an MPEG-1 Layer III frame without its padding byte, floor(144 bitrate / rate), by
// sampling frequency (44.1, 48, 32 kHz) and bit-rate index (0: free format).
constexpr int32_t kFrameBytes[3][15] = {
    {0, 104, 130, 156, 182, 208, 261, 313, 365, 417, 522, 626, 731, 835, 1044},
    {0, 96, 120, 144, 168, 192, 240, 288, 336, 384, 480, 576, 672, 768, 960},
    {0, 144, 180, 216, 252, 288, 360, 432, 504, 576, 720, 864, 1008, 1152, 1440},
};

constexpr int32_t kInvSqrt2Q31 = 1518500250;

// 2^15 tan^2((2p + 1) pi/24), p = 0..5: the ratios E_L / E_R at which the position steps up.
constexpr double kIsThresholds[6] = {568, 5622, 19293, 55653, 190986, 1890566};

// (x doubled) times 1/sqrt(2), upper word.
int32_t times_inv_sqrt2(int32_t x) { return hi32(int64_t(wrap_shl(x, 1)) * kInvSqrt2Q31); }

void mid_side(int32_t* l, int32_t* r, int from, int to) {
    for (int i = from; i < to; ++i) {
        const int32_t a = l[i], b = r[i];
        l[i] = times_inv_sqrt2(wrap_add(a, b));
        r[i] = times_inv_sqrt2(wrap_sub(a, b));
    }
}

// The position of one band and the down-mix into the left channel. The energies are summed in
// double precision, which holds them to far better than the 1e-3 that decides a position.
uint8_t intensity_band(int32_t* l, int32_t* r, int from, int to) {
    double el = 0.0, er = 0.0;
    for (int i = from; i < to; ++i) {
        el += double(l[i]) * l[i];
        er += double(r[i]) * r[i];
    }
    uint8_t position = 6;
    if (er > 0.0) {
        const double q = 32768.0 * el / er;
        position = 0;
        while (position < 6 && q >= kIsThresholds[position])
            ++position;
    }
    for (int i = from; i < to; ++i) {
        const int64_t a = l[i], b = r[i];
        const int64_t sum = std::llabs(a) + std::llabs(b);
        const bool negative = std::llabs(a) > std::llabs(b) ? a < 0 : b < 0;
        l[i] = sat32(negative ? -sum : sum);
        r[i] = 0;
    }
    return position;
}

} // namespace
} // namespace zem::mp3

using namespace zem;
using namespace zem::mp3;

ZEM_API ZemStatus zemsBitReservoirInit_MP3(ZemMp3ReservoirRec* pReservoir,
                                           const ZemMp3HeaderRec* pHeader) {
    if (any_null(pReservoir, pHeader))
        return zemStatusNullPointer;
    const int32_t rate = pHeader->sampling_frequency, index = pHeader->bitrate_index;
    if (pHeader->id != 1 || rate < 0 || rate > 2 || index < 0 || index > 14)
        return zemStatusMp3BadFrameHeader;
    const int32_t frameBits = 8 * kFrameBytes[rate][index];
    pReservoir->bitsInReservoir = 0;
    pReservoir->maxReservoirBits =
        4088 < 7680 - std::min(frameBits, 7680) ? 4088 : 7680 - std::min(frameBits, 7680);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsJointStereoEncode_MP3_32s_I(int32_t* pSrcDstL, int32_t* pSrcDstR,
                                                  uint8_t* pIsPos, const ZemMp3HeaderRec* pHeader,
                                                  const ZemMp3GranuleRec* pSideInfo,
                                                  int32_t* pIsStart) {
    if (any_null(pSrcDstL, pSrcDstR, pIsPos, pHeader, pSideInfo, pIsStart))
        return zemStatusNullPointer;
    const bool joint = pHeader->mode == 1;
    const bool ms = joint && (pHeader->mode_extension & 2) != 0;
    const bool is = joint && (pHeader->mode_extension & 1) != 0;
    if ((ms || is) && pSideInfo[0].block_type != pSideInfo[1].block_type)
        return zemStatusMp3BadSideInfo;
    const bool shortBlocks = pSideInfo[0].block_type == 2;
    const int windows = shortBlocks ? 3 : 1;
    const int bands = shortBlocks ? 13 : 22;
    if (is)
        for (int w = 0; w < windows; ++w)
            if (pIsStart[w] < 0 || pIsStart[w] > bands)
                return zemStatusBadArgument;
    if ((ms || is) && (pHeader->id < 0 || pHeader->id > 1 || pHeader->sampling_frequency < 0 ||
                       pHeader->sampling_frequency > 2))
        return zemStatusBadArgument;
    if (!is)
        for (int w = 0; w < windows; ++w)
            pIsStart[w] = bands;
    if (!ms && !is)
        return zemStatusOk;
    const int row = pHeader->id * 3 + pHeader->sampling_frequency;
    if (!shortBlocks) {
        const int16_t* b = kSfbLong[row];
        if (ms)
            mid_side(pSrcDstL, pSrcDstR, 0, b[pIsStart[0]]);
        if (is)
            for (int band = pIsStart[0]; band < 22; ++band)
                pIsPos[band] = intensity_band(pSrcDstL, pSrcDstR, b[band], b[band + 1]);
        return zemStatusOk;
    }
    const int16_t* b = kSfbShort[row];
    for (int w = 0; w < 3; ++w)
        for (int band = 0; band < 13; ++band) {
            const int width = b[band + 1] - b[band];
            const int from = 3 * b[band] + w * width;
            if (band < pIsStart[w]) {
                if (ms)
                    mid_side(pSrcDstL, pSrcDstR, from, from + width);
            } else if (is) {
                pIsPos[3 * band + w] = intensity_band(pSrcDstL, pSrcDstR, from, from + width);
            }
        }
    return zemStatusOk;
}
