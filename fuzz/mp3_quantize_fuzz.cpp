// The Layer III quantiser on arbitrary spectra, ratios and budgets: it must succeed, keep to the
// budget, and its side information must describe exactly the bits the packers then write.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "zemac.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    if (size < 4)
        return 0;
    ZemMp3HeaderRec h{};
    h.id = 1;
    h.layer = 1;
    h.mode = 3;
    h.sampling_frequency = data[0] % 3;
    ZemMp3GranuleRec g{};
    g.block_type = (data[0] >> 2) % 4;
    g.window_switching_flag = g.block_type != 0;
    const int32_t budget = int32_t(data[1] | data[2] << 8) % 5000;
    const int shift = data[3] % 31;
    std::vector<int32_t> x(576, 0);
    for (std::size_t i = 4; i + 3 < size && (i - 4) / 4 < 576; i += 4) {
        int32_t v;
        std::memcpy(&v, data + i, 4);
        x[(i - 4) / 4] = v >> shift;
    }
    std::vector<float> ratio(39);
    for (std::size_t u = 0; u < 39; ++u)
        ratio[u] = float(data[(u + 1) % size]) / 64.0f;
    int8_t sf[39];
    int32_t count1Len = 0, hufSize = 0;
    std::vector<uint8_t> work(ZEM_MP3_QUANTIZE_WORK_BYTES);
    if (zemsQuantize_MP3_32s_I(x.data(), sf, &g, &count1Len, &hufSize, ratio.data(), nullptr,
                               nullptr, &h, budget, work.data()) != zemStatusOk ||
        g.part2_3_length > budget)
        __builtin_trap();
    std::vector<uint8_t> out(1024, 0);
    uint8_t* p = out.data();
    int32_t bit = 0, scfsi[4] = {};
    if (zemsPackScaleFactors_MP3_8s1u(sf, &p, &bit, &h, &g, scfsi, 0, 0) != zemStatusOk ||
        zemsHuffmanEncode_MP3_32s1u(x.data(), &p, &bit, &h, &g, count1Len, hufSize) !=
            zemStatusOk ||
        (p - out.data()) * 8 + bit != g.part2_3_length)
        __builtin_trap();
    return 0;
}
