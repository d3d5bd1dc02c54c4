// The fixed-point SBR QMF banks on arbitrary integers, band limits and mixes of 64- and 32-band
// calls on one state: under UBSan no overflow outside the banks' documented wrapping, and no
// access outside the records.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "zemac.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    if (size < 2)
        return 0;
    std::vector<int32_t> x(128, 0);
    std::memcpy(x.data(), data + 2, std::min(size - 2, x.size() * 4));
    const int bands = int(data[1] % 34);
    std::vector<uint8_t> a(1327), s(5167), d(2607);
    zemsAnalysisFilterInit_SBRHQ_32s32sc(a.data());
    zemsSynthesisFilterInit_SBRHQ_32sc32s(s.data());
    zemsSynthesisDownFilterInit_SBRLP_32s(d.data());
    int32_t y[64];
    Zem32sc c[32];
    for (int round = 0; round < 4; ++round) {
        const int kind = (data[0] >> (2 * round)) & 3;
        if (kind == 0)
            zemsAnalysisFilter_SBRHQ_32s32sc(x.data() + 32 * round, c, bands,
                                             reinterpret_cast<ZemSbrAnalysisSpec_32s*>(a.data()));
        else if (kind == 1)
            zemsSynthesisFilter_SBRHQ_32sc32s(reinterpret_cast<const Zem32sc*>(x.data()), y,
                                              reinterpret_cast<ZemSbrSynthesisSpec_32s*>(s.data()));
        else if (kind == 2)
            zemsSynthesisDownFilter_SBRHQ_32sc32s(
                reinterpret_cast<const Zem32sc*>(x.data() + 64), y,
                reinterpret_cast<ZemSbrSynthesisDownSpec_32s*>(s.data()));
        else
            zemsSynthesisDownFilter_SBRLP_32s(
                x.data() + 32 * round, y, reinterpret_cast<ZemSbrSynthesisDownSpec_32s*>(d.data()));
    }
    zemsAnalysisFilter_SBRLP_32s(x.data(), y, bands,
                                 reinterpret_cast<ZemSbrAnalysisSpec_32s*>(a.data()));
    zemsSynthesisFilter_SBRLP_32s(x.data(), y,
                                  reinterpret_cast<ZemSbrSynthesisSpec_32s*>(s.data()));
    return 0;
}
