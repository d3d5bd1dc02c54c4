// Rotation factors of the floating-point QMF banks' fast transforms, computed at compile time
// and stored by component so that four neighbours load at once.
#pragma once

#include "transform/twiddle.hpp"

namespace zem::sbr {

struct QmfRotations {
    float quarterCos[32], quarterSin[32];   // pi (4i + 1)/256: pre-rotation of the 32-point folds
    float stepCos[36], stepSin[36];         // pi r/64: their post-rotation
    float downPreCos[32], downPreSin[32];   // pi 63.75 k/32: 32-band synthesis, before the FFT
    float downPostCos[64], downPostSin[64]; // pi (n - 63.75)/64: and after it
    float halfStepCos[64], halfStepSin[64]; // pi n/128: the encoder bank's pre-rotation
};

constexpr QmfRotations make_qmf_rotations() {
    QmfRotations r{};
    for (int i = 0; i < 32; ++i) {
        const CosSin a = cos_sin_constexpr(4 * i + 1, 512);
        r.quarterCos[i] = float(a.c);
        r.quarterSin[i] = float(a.s);
        const CosSin d = cos_sin_constexpr(255 * i, 256);
        r.downPreCos[i] = float(d.c);
        r.downPreSin[i] = float(d.s);
    }
    for (int i = 0; i < 36; ++i) {
        const CosSin a = cos_sin_constexpr(i, 128);
        r.stepCos[i] = float(a.c);
        r.stepSin[i] = float(a.s);
    }
    for (int n = 0; n < 64; ++n) {
        const CosSin a = cos_sin_constexpr(4 * n - 255, 512);
        r.downPostCos[n] = float(a.c);
        r.downPostSin[n] = float(a.s);
        const CosSin h = cos_sin_constexpr(n, 256);
        r.halfStepCos[n] = float(h.c);
        r.halfStepSin[n] = float(h.s);
    }
    return r;
}
inline constexpr QmfRotations kQmfRotations = make_qmf_rotations();

} // namespace zem::sbr
