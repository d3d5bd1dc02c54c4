#include "aac/ics.hpp"

#include <algorithm>

namespace zem::aac {
namespace {

// LTP coefficient codebook in Q14.
constexpr uint16_t kLtpCoef[8] = {9352, 11413, 13320, 14931, 16137, 17496, 19572, 22438};

// The fields every ICS info starts with.
void read_ics_head(BitCursor& bc, ZemAacIcsRec& ics) {
    ics.ics_reserved_bit = int32_t(bc.read(1));
    ics.window_sequence = int32_t(bc.read(2));
    ics.window_shape = int32_t(bc.read(1));
    ics.predictor_data_present = 0;
}

// max_sfb and the grouping or the predictor flag; false on a long max_sfb above 51.
bool read_ics_bands(BitCursor& bc, ZemAacIcsRec& ics) {
    if (ics.window_sequence == kEightShort) {
        ics.max_sfb = int32_t(bc.read(4));
        ics.scale_factor_grouping = int32_t(bc.read(7));
        return true;
    }
    ics.max_sfb = int32_t(bc.read(6));
    return ics.max_sfb <= 51;
}

ZemStatus read_prediction(BitCursor& bc, ZemAacIcsRec& ics, int32_t predSfbLimit, bool checkLimit) {
    ics.predictor_reset = int32_t(bc.read(1));
    if (ics.predictor_reset)
        ics.predictor_reset_group_number = int32_t(bc.read(5));
    if (checkLimit && (predSfbLimit < 0 || predSfbLimit > 41))
        return zemStatusAacBadPredictionLimit;
    const int n = std::min(ics.max_sfb, predSfbLimit);
    for (int b = 0; b < n; ++b)
        ics.prediction_used[b] = uint8_t(bc.read(1));
    for (int b = n; b < predSfbLimit; ++b)
        ics.prediction_used[b] = 0;
    return zemStatusOk;
}

void finish_grouping(ZemAacIcsRec& ics) {
    window_grouping(ics.window_sequence, ics.scale_factor_grouping, ics.num_window_groups,
                    ics.window_group_length);
}

} // namespace

void window_grouping(int32_t windowSequence, int32_t grouping, int32_t& numGroups,
                     int32_t* groupLength) {
    groupLength[0] = 1;
    numGroups = 1;
    if (windowSequence != kEightShort)
        return;
    for (int bit = 6; bit >= 0; --bit) {
        if ((grouping >> bit) & 1)
            ++groupLength[numGroups - 1];
        else
            groupLength[numGroups++] = 1;
    }
}

ZemStatus read_ics_prediction(BitCursor& bc, ZemAacIcsRec& ics, int32_t predSfbLimit) {
    read_ics_head(bc, ics);
    if (!read_ics_bands(bc, ics))
        return zemStatusAacBadMaxSfb;
    if (ics.window_sequence != kEightShort) {
        ics.predictor_data_present = int32_t(bc.read(1));
        ics.predictor_reset = 0;
        if (ics.predictor_data_present)
            read_prediction(bc, ics, predSfbLimit, false);
    }
    finish_grouping(ics);
    return zemStatusOk;
}

ZemStatus read_ics_mp4(BitCursor& bc, ZemAacIcsRec& ics, ZemAacLayerMainRec* main,
                       int32_t predSfbLimit, int32_t objectType, bool pair) {
    const bool ltp = objectType != 1;
    if (ltp && main == nullptr)
        return zemStatusNullPointer;
    read_ics_head(bc, ics);
    if (main != nullptr) {
        main->ltp[0].ltp_data_present = 0;
        main->ltp[1].ltp_data_present = 0;
    }
    if (!read_ics_bands(bc, ics))
        return zemStatusAacBadMaxSfb;
    if (ics.window_sequence != kEightShort) {
        ics.predictor_data_present = int32_t(bc.read(1));
        ics.predictor_reset = 0;
        if (ics.predictor_data_present) {
            if (!ltp) {
                const ZemStatus st = read_prediction(bc, ics, predSfbLimit, true);
                if (st != zemStatusOk)
                    return st;
            } else {
                main->window_sequence = ics.window_sequence;
                main->max_sfb = ics.max_sfb;
                for (int ch = 0; ch < (pair ? 2 : 1); ++ch) {
                    ZemAacLtpRec& rec = main->ltp[ch];
                    rec.ltp_data_present = int32_t(bc.read(1));
                    if (rec.ltp_data_present)
                        read_ltp_data(bc, rec, ics.window_sequence, ics.max_sfb);
                }
            }
        }
    }
    finish_grouping(ics);
    return zemStatusOk;
}

TnsFields tns_fields(ZemAacTnsRec& rec) {
    return {rec.n_filt, rec.coef_res, rec.length, rec.order, rec.direction, rec.coef};
}

ZemStatus read_tns_data(BitCursor& bc, bool eightShort, const TnsFields& out) {
    const int windows = eightShort ? 8 : 1;
    const int nFiltBits = eightShort ? 1 : 2;
    const int lengthBits = eightShort ? 4 : 6;
    const int orderBits = eightShort ? 3 : 5;
    const int maxOrder = eightShort ? 7 : 12;
    int filter = 0, directions = 0, coefs = 0;
    for (int w = 0; w < windows; ++w) {
        out.nFilt[w] = int32_t(bc.read(nFiltBits));
        if (out.nFilt[w] == 0)
            continue;
        out.coefRes[w] = int32_t(bc.read(1)) + 3;
        for (int f = 0; f < out.nFilt[w]; ++f, ++filter) {
            out.length[filter] = int32_t(bc.read(lengthBits));
            const int order = int(bc.read(orderBits));
            out.order[filter] = order;
            if (order > maxOrder)
                return zemStatusAacBadTnsOrder;
            if (order == 0)
                continue;
            out.direction[directions++] = int32_t(bc.read(1));
            const int width = out.coefRes[w] - int(bc.read(1));
            for (int i = 0; i < order; ++i) {
                const uint32_t v = bc.read(width);
                out.coef[coefs++] = int8_t(int32_t(v << (32 - width)) >> (32 - width));
            }
        }
    }
    return zemStatusOk;
}

void read_ltp_data(BitCursor& bc, ZemAacLtpRec& ltp, int32_t windowSequence, int32_t maxSfb) {
    ltp.ltp_lag = int32_t(bc.read(11));
    ltp.ltp_coef = kLtpCoef[bc.read(3)];
    if (windowSequence != kEightShort) {
        ltp.ltp_long_used[0] = ltp.ltp_data_present;
        const int n = std::clamp(maxSfb, 0, 40);
        for (int b = 1; b <= n; ++b)
            ltp.ltp_long_used[b] = int32_t(bc.read(1));
        for (int b = n + 1; b <= 40; ++b)
            ltp.ltp_long_used[b] = 0;
        return;
    }
    ltp.ltp_window_lag[0] = ltp.ltp_lag;
    int previous = -1;
    for (int w = 0; w < 8; ++w) {
        ltp.ltp_short_used[w] = int32_t(bc.read(1));
        if (!ltp.ltp_short_used[w])
            continue;
        if (previous < 0) {
            ltp.ltp_short_lag_present[w] = 0;
            ltp.ltp_window_lag[w] = ltp.ltp_window_lag[0];
        } else {
            ltp.ltp_short_lag_present[w] = int32_t(bc.read(1));
            ltp.ltp_window_lag[w] = ltp.ltp_window_lag[previous];
            if (ltp.ltp_short_lag_present[w])
                ltp.ltp_window_lag[w] = ltp.ltp_window_lag[previous] - int32_t(bc.read(5)) + 16;
        }
        previous = w;
    }
}

} // namespace zem::aac
