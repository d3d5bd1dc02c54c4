// The halves of the AAC long-frame windows by window sequence and shape, for the filter bank and
// long-term prediction: the long window's rising half, or for start and stop frames the short
// slope between flat parts of 1.0 and 0.
#pragma once

#include <cstdint>

#include "aac/filterbank_tables.hpp"
#include "zemac/core.h"

namespace zem::aac {

enum WindowSequence { OnlyLong = 0, LongStart = 1, EightShort = 2, LongStop = 3 };

// Window value at sample n of one 1024-sample half of a long-frame window: a table value, or
// one of the flat parts (kOne: the sample passes unmultiplied, kZero: the term is absent).
constexpr int64_t kOne = int64_t(1) << 40;
constexpr int64_t kZero = 0;

struct HalfWindow {
    const int32_t* table; // rising half of the long window, or of the short window for the
    bool isShort;         // start/stop transitions
    bool rising;
    bool flatFirst; // start/stop: which side of the short slope is 1.0

    // Window value for sample n of this half (0..1023).
    int64_t at(int n) const {
        if (!isShort)
            return rising ? table[n] : table[1023 - n];
        if (n < 448)
            return flatFirst ? kOne : kZero;
        if (n >= 576)
            return flatFirst ? kZero : kOne;
        const int k = n - 448;
        return rising ? table[k] : table[127 - k];
    }
};

inline HalfWindow first_half(int seq, int prevShape) {
    if (seq == LongStop)
        return {short_window(prevShape), true, true, false};
    return {long_window(prevShape), false, true, false};
}

inline HalfWindow second_half(int seq, int shape) {
    if (seq == LongStart)
        return {short_window(shape), true, false, true};
    return {long_window(shape), false, false, false};
}

// Windowed sample with a product shifted by `shift`; flat parts pass y (shifted by shift - 31).
inline int32_t apply(int64_t w, int32_t y, int shift) {
    if (w == kZero)
        return 0;
    if (w == kOne)
        return shift == 31 ? y : int32_t(y >> (shift - 31));
    return int32_t(uint32_t(uint64_t((w * y) >> shift)));
}

inline ZemStatus check_window(int seq, int shape, int prevShape) {
    if (seq < 0 || seq > 3)
        return zemStatusAacBadWindowSequence;
    if (shape < 0 || shape > 1 || prevShape < 0 || prevShape > 1)
        return zemStatusAacBadWindowShape;
    return zemStatusOk;
}

} // namespace zem::aac
