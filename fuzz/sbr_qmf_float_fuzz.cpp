// The floating-point SBR QMF banks on arbitrary floats (NaN, infinities, denormals, huge values)
// as samples, sub-band rows and windows, with arbitrary slot counts, offsets and band limits:
// no crash, no access outside the rows, and the status the arguments call for.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "zemac.h"

namespace {

constexpr int kMaxSlots = 8;

std::vector<float> floats(const uint8_t* data, std::size_t size, std::size_t n, std::size_t skip) {
    std::vector<float> v(n, 0.0f);
    for (std::size_t i = 0; i < n && skip + 4 * i + 3 < size; ++i)
        std::memcpy(&v[i], data + skip + 4 * i, 4);
    return v;
}

void expect(bool ok) {
    if (!ok)
        __builtin_trap();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    if (size < 4)
        return 0;
    const int slots = data[0] % (kMaxSlots + 2) - 1; // -1 .. kMaxSlots
    const int offset = data[1] % 3;
    const int bands = int(data[2] % 36) - 2; // -2 .. 33
    const int bank = data[3] % 9;
    const std::vector<float> x = floats(data, size, 128 * kMaxSlots, 4);
    const std::vector<float> w = floats(data, size, 640, 4 + 7);
    std::vector<std::vector<float>> rows(kMaxSlots + 2, std::vector<float>(128));
    for (std::size_t l = 0; l < rows.size(); ++l)
        rows[l].assign(x.begin() + 64 * l, x.begin() + 64 * l + 128);
    std::vector<float*> out, outIm;
    std::vector<const float*> in, inIm;
    for (auto& r : rows) {
        out.push_back(r.data());
        outIm.push_back(r.data() + 64);
        in.push_back(r.data());
        inIm.push_back(r.data() + 64);
    }
    std::vector<uint8_t> spec(6144), init(64), work(1024);
    std::vector<float> y(64 * kMaxSlots);
    const bool bandsOk = bands >= 0 && bands <= 32;
    ZemStatus st = zemStatusOk;
    if (bank < 3) {
        ZemSbrAnalysisSpec_32f* s = nullptr;
        if (bank == 0) {
            zemsAnalysisFilterInit_SBR_RToC_32f32fc(&s, spec.data(), init.data());
            st = zemsAnalysisFilter_SBR_RToC_32f32fc_D2L(
                x.data(), reinterpret_cast<Zem32fc* const*>(out.data()), w.data(), slots, offset,
                bands, s, work.data());
        } else if (bank == 1) {
            zemsAnalysisFilterInit_SBR_RToC_32f(&s, spec.data(), init.data());
            st = zemsAnalysisFilter_SBR_RToC_32f_D2L(x.data(), out.data(), outIm.data(), w.data(),
                                                     slots, offset, bands, s, work.data());
        } else {
            zemsAnalysisFilterInit_SBR_RToR_32f(&s, spec.data(), init.data());
            st = zemsAnalysisFilter_SBR_RToR_32f_D2L(x.data(), out.data(), w.data(), slots, offset,
                                                     bands, s, work.data());
        }
        expect(st == (bandsOk ? zemStatusOk : zemStatusBadSize));
        return 0;
    }
    const auto* c = reinterpret_cast<const Zem32fc* const*>(in.data());
    if (bank < 6) {
        ZemSbrSynthesisSpec_32f* s = nullptr;
        if (bank == 3) {
            zemsSynthesisFilterInit_SBR_CToR_32f(&s, spec.data(), init.data());
            st = zemsSynthesisFilter_SBR_CToR_32f_D2L(in.data(), inIm.data(), y.data(), w.data(),
                                                      slots, s, work.data());
        } else if (bank == 4) {
            zemsSynthesisFilterInit_SBR_CToR_32fc32f(&s, spec.data(), init.data());
            st = zemsSynthesisFilter_SBR_CToR_32fc32f_D2L(c, y.data(), w.data(), slots, s,
                                                          work.data());
        } else {
            zemsSynthesisFilterInit_SBR_RToR_32f(&s, spec.data(), init.data());
            st = zemsSynthesisFilter_SBR_RToR_32f_D2L(in.data(), y.data(), w.data(), slots, s,
                                                      work.data());
        }
    } else {
        ZemSbrSynthesisDownSpec_32f* s = nullptr;
        if (bank == 6) {
            zemsSynthesisDownFilterInit_SBR_CToR_32f(&s, spec.data(), init.data());
            st = zemsSynthesisDownFilter_SBR_CToR_32f_D2L(in.data(), inIm.data(), y.data(),
                                                          w.data(), slots, s, work.data());
        } else if (bank == 7) {
            zemsSynthesisDownFilterInit_SBR_CToR_32fc32f(&s, spec.data(), init.data());
            st = zemsSynthesisDownFilter_SBR_CToR_32fc32f_D2L(c, y.data(), w.data(), slots, s,
                                                              work.data());
        } else {
            zemsSynthesisDownFilterInit_SBR_RToR_32f(&s, spec.data(), init.data());
            st = zemsSynthesisDownFilter_SBR_RToR_32f_D2L(in.data(), y.data(), w.data(), slots, s,
                                                          work.data());
        }
    }
    expect(st == zemStatusOk);
    return 0;
}
