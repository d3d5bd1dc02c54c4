// Channel pair, data stream and fill elements, and the scalable layer headers.
#include "zemac.h"

#include <cstring>

#include "aac/ics.hpp"
#include "core/checks.hpp"

using namespace zem;
using namespace zem::aac;

namespace {

// M/S flags of every group and band below max_sfb when the mask is transmitted.
void read_ms_used(BitCursor& bc, uint8_t* rows, int groups, int maxSfb) {
    for (int g = 0; g < groups; ++g)
        for (int b = 0; b < maxSfb; ++b)
            rows[60 * g + b] = uint8_t(bc.read(1));
}

// The common part of both channel pair parsers after the ICS info.
ZemStatus finish_pair(BitCursor& bc, ZemStatus icsStatus, const ZemAacIcsRec& ics,
                      ZemAacCpeRec& cpe) {
    if (icsStatus != zemStatusOk)
        return icsStatus;
    cpe.ms_mask_present = int32_t(bc.read(2));
    if (cpe.ms_mask_present == 1)
        read_ms_used(bc, &cpe.ms_used[0][0], ics.num_window_groups, ics.max_sfb);
    return zemStatusOk;
}

void read_bytes(BitCursor& bc, uint8_t* out, int count) {
    for (int i = 0; i < count; ++i)
        out[i] = uint8_t(bc.read(8));
}

} // namespace

ZEM_API ZemStatus zemsDecodeChanPairElt_AAC(uint8_t** ppStream, int32_t* pBitPos,
                                            ZemAacIcsRec* pIcs, ZemAacCpeRec* pCpe,
                                            int32_t predSfbLimit) {
    if (any_null(pIcs, pCpe))
        return zemStatusNullPointer;
    if (const ZemStatus st = check_cursor(ppStream, pBitPos, zemStatusAacBadBitOffset);
        st != zemStatusOk)
        return st;
    if (predSfbLimit < 0 || predSfbLimit > 41)
        return zemStatusAacBadPredictionLimit;
    BitCursor bc(*ppStream, *pBitPos);
    pCpe->common_window = int32_t(bc.read(1));
    ZemStatus st = zemStatusOk;
    if (pCpe->common_window)
        st = finish_pair(bc, read_ics_prediction(bc, *pIcs, predSfbLimit), *pIcs, *pCpe);
    bc.store(ppStream, pBitPos);
    return st;
}

ZEM_API ZemStatus zemsDecodeChanPairElt_MP4_AAC(uint8_t** ppStream, int32_t* pBitPos,
                                                ZemAacIcsRec* pIcs, ZemAacCpeRec* pCpe,
                                                ZemAacLayerMainRec* pMain, int32_t predSfbLimit,
                                                int32_t objectType) {
    if (any_null(pIcs, pCpe))
        return zemStatusNullPointer;
    if (const ZemStatus st = check_cursor(ppStream, pBitPos, zemStatusAacBadBitOffset);
        st != zemStatusOk)
        return st;
    if (predSfbLimit < 0 || predSfbLimit > 51)
        return zemStatusAacBadMaxSfb;
    BitCursor bc(*ppStream, *pBitPos);
    pCpe->common_window = int32_t(bc.read(1));
    ZemStatus st = zemStatusOk;
    if (pCpe->common_window)
        st = finish_pair(bc, read_ics_mp4(bc, *pIcs, pMain, predSfbLimit, objectType, true), *pIcs,
                         *pCpe);
    bc.store(ppStream, pBitPos);
    return st;
}

ZEM_API ZemStatus zemsDecodeDatStrElt_AAC(uint8_t** ppStream, int32_t* pBitPos, int32_t* pTag,
                                          int32_t* pCount, uint8_t* pData) {
    if (any_null(pTag, pCount, pData))
        return zemStatusNullPointer;
    if (const ZemStatus st = check_cursor(ppStream, pBitPos, zemStatusAacBadBitOffset);
        st != zemStatusOk)
        return st;
    BitCursor bc(*ppStream, *pBitPos);
    *pTag = int32_t(bc.read(4));
    const bool align = bc.read(1) != 0;
    int count = int(bc.read(8));
    if (count == 255)
        count += int(bc.read(8));
    if (align)
        bc.align();
    read_bytes(bc, pData, count);
    *pCount = count;
    bc.store(ppStream, pBitPos);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsDecodeFillElt_AAC(uint8_t** ppStream, int32_t* pBitPos, int32_t* pCount,
                                        uint8_t* pData) {
    if (any_null(pCount, pData))
        return zemStatusNullPointer;
    if (const ZemStatus st = check_cursor(ppStream, pBitPos, zemStatusAacBadBitOffset);
        st != zemStatusOk)
        return st;
    BitCursor bc(*ppStream, *pBitPos);
    int count = int(bc.read(4));
    if (count == 15)
        count += int(bc.read(8)) - 1;
    read_bytes(bc, pData, count);
    *pCount = count;
    bc.store(ppStream, pBitPos);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsDecodeMainHeader_AAC(uint8_t** ppStream, int32_t* pBitPos,
                                           ZemAacLayerMainRec* pMain, int32_t numChannels,
                                           int32_t modeFlag) {
    if (pMain == nullptr)
        return zemStatusNullPointer;
    if (const ZemStatus st = check_cursor(ppStream, pBitPos, zemStatusAacBadBitOffset);
        st != zemStatusOk)
        return st;
    if (numChannels != 1 && numChannels != 2)
        return zemStatusAacBadLayerChannels;
    if (modeFlag != 0 && modeFlag != 1)
        return zemStatusAacBadLayerFlag;
    if (numChannels == 2 && pMain->pMsUsed == nullptr)
        return zemStatusNullPointer;
    BitCursor bc(*ppStream, *pBitPos);
    ZemAacLayerMainRec& m = *pMain;
    m.window_sequence = int32_t(bc.read(2));
    m.window_shape = int32_t(bc.read(1));
    const bool eightShort = m.window_sequence == kEightShort;
    if (eightShort) {
        m.max_sfb = int32_t(bc.read(4));
        m.scale_factor_grouping = int32_t(bc.read(7));
        window_grouping(m.window_sequence, m.scale_factor_grouping, m.num_window_groups,
                        m.window_group_length);
    } else {
        m.max_sfb = int32_t(bc.read(6));
        m.num_window_groups = 1;
        m.window_group_length[0] = 1;
        for (int g = 1; g < 8; ++g)
            m.window_group_length[g] = 0;
    }
    ZemStatus st = zemStatusOk;
    if (numChannels == 2) {
        m.ms_mask_present = int32_t(bc.read(2));
        for (int g = 0; g < m.num_window_groups; ++g)
            for (int b = 0; b < m.max_sfb; ++b)
                m.pMsUsed[60 * g + b] = m.ms_mask_present == 1   ? uint8_t(bc.read(1))
                                        : m.ms_mask_present == 2 ? 1
                                                                 : 0;
    }
    for (int ch = 0; ch < numChannels && st == zemStatusOk; ++ch) {
        std::memset(&m.tns[ch], 0, sizeof(ZemAacTnsRec));
        m.tns[ch].tns_data_present = int32_t(bc.read(1));
        if (m.tns[ch].tns_data_present)
            st = read_tns_data(bc, eightShort, tns_fields(m.tns[ch]));
        if (st != zemStatusOk)
            break;
        std::memset(&m.ltp[ch], 0, sizeof(ZemAacLtpRec));
        m.ltp[ch].ltp_data_present = int32_t(bc.read(1));
        if (m.ltp[ch].ltp_data_present)
            read_ltp_data(bc, m.ltp[ch], m.window_sequence, m.max_sfb);
    }
    bc.store(ppStream, pBitPos);
    if (st == zemStatusOk && modeFlag == 1)
        return zemStatusModeUnsupported;
    return st;
}

ZEM_API ZemStatus zemsDecodeExtensionHeader_AAC(uint8_t** ppStream, int32_t* pBitPos,
                                                ZemAacLayerExtRec* pExt, int32_t readTns,
                                                int32_t stereoLayer, int32_t readBandSwitch,
                                                int32_t sfbStart, int32_t sfbLimit,
                                                int32_t windowSequence) {
    if (pExt == nullptr)
        return zemStatusNullPointer;
    if (const ZemStatus st = check_cursor(ppStream, pBitPos, zemStatusAacBadBitOffset);
        st != zemStatusOk)
        return st;
    if (readTns != 0 && readTns != 1)
        return zemStatusAacBadLayerFlag;
    if (stereoLayer != 0 && stereoLayer != 1)
        return zemStatusAacBadStereoLayerFlag;
    if (readBandSwitch != 0 && readBandSwitch != 1)
        return zemStatusAacBadBandSwitchFlag;
    if (sfbStart < 0 || sfbStart > 51 || sfbLimit < 0 || sfbLimit > 51)
        return zemStatusAacBadMaxSfb;
    if (windowSequence < 0 || windowSequence > 3)
        return zemStatusAacBadWindowSequence;
    if (stereoLayer && pExt->pMsUsed == nullptr)
        return zemStatusNullPointer;
    BitCursor bc(*ppStream, *pBitPos);
    ZemAacLayerExtRec& x = *pExt;
    const bool eightShort = windowSequence == kEightShort;
    ZemStatus st = zemStatusOk;
    x.max_sfb = int32_t(bc.read(eightShort ? 4 : 6));
    if (!eightShort && x.max_sfb > 60)
        st = zemStatusAacBadMaxSfb;
    if (st == zemStatusOk && stereoLayer) {
        x.ms_mask_present = int32_t(bc.read(2));
        if (x.ms_mask_present == 1)
            for (int g = 0; g < (eightShort ? 4 : 1); ++g)
                for (int b = sfbStart; b < x.max_sfb; ++b)
                    x.pMsUsed[60 * g + b] = uint8_t(bc.read(1));
    }
    for (int ch = 0; ch < 2 && st == zemStatusOk && readTns; ++ch) {
        x.tns[ch].tns_data_present = int32_t(bc.read(1));
        if (x.tns[ch].tns_data_present)
            st = read_tns_data(bc, eightShort, tns_fields(x.tns[ch]));
    }
    if (st == zemStatusOk && readBandSwitch && stereoLayer) {
        const int end = sfbLimit < x.max_sfb ? sfbLimit : x.max_sfb;
        for (int ch = 0; ch < 2; ++ch) {
            int n = 0;
            if (eightShort) {
                if (sfbStart == 0)
                    for (; n < 8; ++n)
                        x.band_switch[ch][n] = int32_t(bc.read(1));
            } else {
                for (int b = sfbStart; b < end; ++b)
                    if (x.pMsUsed[b] == 0)
                        x.band_switch[ch][n++] = int32_t(bc.read(1));
            }
        }
    }
    bc.store(ppStream, pBitPos);
    return st;
}
