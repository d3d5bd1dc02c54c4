// Rotation factors of the floating-point QMF banks' fast transforms, computed at compile time.
#pragma once

#include "transform/twiddle.hpp"

namespace zem::sbr {

struct QmfRotations {
    float quarterStep[32][2]; // cos, sin of pi (4i + 1)/256: the pre-rotation of 32-point folds
    float step[33][2];        // cos, sin of pi r/64
};

constexpr QmfRotations make_qmf_rotations() {
    QmfRotations r{};
    for (int i = 0; i < 32; ++i) {
        const CosSin a = cos_sin_constexpr(4 * i + 1, 512);
        r.quarterStep[i][0] = float(a.c);
        r.quarterStep[i][1] = float(a.s);
    }
    for (int i = 0; i < 33; ++i) {
        const CosSin a = cos_sin_constexpr(i, 128);
        r.step[i][0] = float(a.c);
        r.step[i][1] = float(a.s);
    }
    return r;
}
inline constexpr QmfRotations kQmfRotations = make_qmf_rotations();

} // namespace zem::sbr
