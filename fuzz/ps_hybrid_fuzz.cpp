// The PS hybrid analysis and the SBR encoder tools on arbitrary floats (NaN, infinities,
// denormals): no crash, no write outside the documented columns.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "zemac.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    if (size < 1)
        return 0;
    std::vector<float> x(640, 0.0f);
    std::memcpy(x.data(), data + 1, std::min(size - 1, x.size() * sizeof(float)));
    const int config = int(data[0] % 7) - 1; // -1 .. 5
    std::vector<Zem32fc> out(32 * 12 + 1, Zem32fc{3.0f, 3.0f});
    const ZemStatus st = zemsAnalysisFilter_PS_32fc_D2(reinterpret_cast<const Zem32fc*>(x.data()),
                                                       out.data(), config);
    if ((config >= 0 && config <= 4) != (st == zemStatusOk))
        __builtin_trap();
    const int bands[5] = {2, 4, 8, 8, 12};
    for (int k = 0; k < 32; ++k)
        for (int q = 0; q < 12; ++q)
            if ((st != zemStatusOk || q >= bands[config]) &&
                (out[12 * k + q].re != 3.0f || out[12 * k + q].im != 3.0f))
                __builtin_trap();
    if (out[32 * 12].re != 3.0f)
        __builtin_trap();
    std::vector<uint8_t> mem(1407), init(4);
    zemsAnalysisFilterEncInit_SBR_32f(mem.data(), init.data());
    Zem32fc X[64];
    zemsAnalysisFilterEnc_SBR_32f32fc(x.data(), X,
                                      reinterpret_cast<ZemSbrAnalysisEncSpec_32f*>(mem.data()));
    float thr = x[0], acc[61] = {};
    zemsDetectTransient_SBR_32f(x.data(), &thr, acc);
    return 0;
}
