// HF-generation prediction on arbitrary input: any 32-bit integers (including -2^31) for the
// fixed-point predictors, whose arithmetic must never overflow, and any floats (NaN, infinities,
// denormals) for the float ones and the tonality estimator, with arbitrary len and band counts.
// Rows are allocated exactly as long as a call may read, so the sanitizers see any read beyond.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "zemac.h"

namespace {

constexpr int kBands = 6;

void expect(bool ok) {
    if (!ok)
        __builtin_trap();
}

// Values taken from the input in turn, zeros once it runs out.
struct Reader {
    const uint8_t* data;
    std::size_t size, pos = 0;
    template <class T> T next() {
        T v{};
        if (pos + sizeof v <= size)
            std::memcpy(&v, data + pos, sizeof v);
        pos += sizeof v;
        return v;
    }
};

void fixed(Reader& in, int band, int len, int calcAlpha) {
    constexpr int kRows = 40; // what the fixed predictors may read
    std::vector<std::vector<Zem32sc>> c(kRows, std::vector<Zem32sc>(kBands));
    std::vector<std::vector<int32_t>> r(kRows, std::vector<int32_t>(kBands));
    std::vector<const Zem32sc*> rc;
    std::vector<const int32_t*> rr;
    for (int l = 0; l < kRows; ++l) {
        for (int k = 0; k < kBands; ++k) {
            c[l][k] = {in.next<int32_t>(), in.next<int32_t>()};
            r[l][k] = c[l][k].re;
        }
        rc.push_back(c[l].data());
        rr.push_back(r[l].data());
    }
    Zem32sc a0, a1;
    expect(zemsPredictOneCoef_SBRHQ_32sc_D2L(rc.data(), &a0, &a1, band, len) == zemStatusOk);
    int32_t b0, b1, refl;
    expect(zemsPredictOneCoef_SBRLP_32s_D2L(rr.data(), &b0, &b1, &refl, band, len, calcAlpha) ==
           zemStatusOk);
    expect(refl >= -(1 << 29) && refl <= (1 << 29));
}

void floating(Reader& in, int numBands, int len) {
    const int rows = len >= 1 ? len + 2 : 1;
    const int width = numBands >= 1 ? numBands : 1;
    std::vector<std::vector<float>> re(rows, std::vector<float>(width)), im = re;
    std::vector<std::vector<Zem32fc>> c(rows, std::vector<Zem32fc>(width));
    std::vector<const float*> pr, pi;
    std::vector<const Zem32fc*> pc;
    for (int l = 0; l < rows; ++l) {
        for (int k = 0; k < width; ++k) {
            re[l][k] = in.next<float>();
            im[l][k] = in.next<float>();
            c[l][k] = {re[l][k], im[l][k]};
        }
        pr.push_back(re[l].data());
        pi.push_back(im[l].data());
        pc.push_back(c[l].data());
    }
    std::vector<float> o[4];
    for (auto& v : o)
        v.resize(width);
    std::vector<Zem32fc> oc0(width), oc1(width);
    expect(zemsPredictCoef_SBR_R_32f_D2L(pr.data(), o[0].data(), o[1].data(), numBands, len) ==
           zemStatusOk);
    expect(zemsPredictCoef_SBR_C_32fc_D2L(pc.data(), oc0.data(), oc1.data(), numBands, len) ==
           zemStatusOk);
    expect(zemsPredictCoef_SBR_C_32f_D2L(pr.data(), pi.data(), o[0].data(), o[1].data(),
                                         o[2].data(), o[3].data(), numBands, len) == zemStatusOk);
    std::vector<Zem32fc> half(32);
    for (Zem32fc& v : half)
        v = {in.next<float>(), in.next<float>()};
    float t0, t1, e;
    expect(zemsEstimateTNR_SBR_32f(half.data(), &t0, &t1, &e) == zemStatusOk);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    if (size < 4)
        return 0;
    Reader in{data + 4, size - 4};
    const int len = int(data[1]) - 8; // -8 .. 247: beyond 38 the fixed paths cap it
    if (data[0] & 1) {
        fixed(in, data[2] % kBands, len, data[3] & 1);
    } else {
        const int bands = int(data[2] % (kBands + 3)) - 2; // -2 .. kBands
        floating(in, bands, len % 48);
    }
    return 0;
}
