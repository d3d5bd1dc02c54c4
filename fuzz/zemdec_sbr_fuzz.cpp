// zemdec's SBR and PS decoding on arbitrary payloads: a first byte picks the core rate, the
// channel count and the complex or low-power decoder, then each payload is a length byte and
// that many bytes, read and decoded over a core of noise. Damaged data may only switch SBR off;
// the output must stay finite.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "sbr_decoder.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    if (size < 1)
        return 0;
    constexpr int kRates[] = {8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000};
    const int rate = kRates[data[0] % 9];
    const int channels = data[0] & 0x10 ? 2 : 1;
    zemdec::SbrElement element(rate, channels, channels == 1, (data[0] & 0x20) != 0);
    std::vector<int32_t> core[2] = {std::vector<int32_t>(1024), std::vector<int32_t>(1024)};
    uint32_t seed = 1;
    std::vector<float> out[2] = {std::vector<float>(2048), std::vector<float>(2048)};
    std::size_t pos = 1;
    while (pos < size) {
        const std::size_t length = std::min<std::size_t>(data[pos], size - pos - 1);
        // The payload in a buffer of its own size, so that any read past it is caught.
        const std::vector<uint8_t> payload(data + pos + 1, data + pos + 1 + length);
        pos += 1 + length;
        const char* what = "";
        element.read(payload.data(), int(payload.size()), &what);
        for (auto& c : core)
            for (int32_t& v : c)
                v = int32_t((seed = seed * 1664525u + 1013904223u) >> 8) - (1 << 23);
        const int32_t* in[2] = {core[0].data(), core[1].data()};
        float* dst[2] = {out[0].data(), out[1].data()};
        element.process(in, 1.0f / 256, dst);
        for (const auto& o : out)
            for (float v : o)
                if (!std::isfinite(v))
                    __builtin_trap();
    }
    return 0;
}
