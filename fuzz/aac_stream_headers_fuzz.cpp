// ADTS, ADIF and program config element parsers on arbitrary bytes. The first byte picks the
// parser and its bit position; the parsers must never read past the data plus 3 bytes.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "padded_input.hpp"
#include "zemac.h"

namespace {

// An ADIF header and a PCE carry no length: run them only where the input holds the largest
// element that could start there, so that every byte they may read belongs to the input.
constexpr std::size_t kMaxPceBytes = 330;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    if (size < 1)
        return 0;
    const uint8_t mode = data[0];
    zemfuzz::PaddedInput in(data + 1, size - 1);
    uint8_t* p = in.data();
    switch (mode % 3) {
    case 0: {
        if (in.size() < 9)
            return 0;
        ZemAacAdtsRec h;
        zemsUnpackADTSFrameHeader_AAC(&p, &h);
        if (in.offset(p) != 7u + 2u * (h.protection_absent == 0))
            __builtin_trap();
        break;
    }
    case 1: {
        const int32_t maxPce = 1 + (mode >> 4);
        if (in.size() < 17 + 72 + std::size_t(maxPce) * (kMaxPceBytes + 3))
            return 0;
        ZemAacAdifRec adif;
        std::vector<ZemAacPceRec> pce(static_cast<std::size_t>(maxPce));
        zemsUnpackADIFHeader_AAC(&p, &adif, pce.data(), maxPce);
        break;
    }
    default: {
        if (in.size() < kMaxPceBytes)
            return 0;
        int32_t pos = (mode >> 2) & 7;
        ZemAacPceRec pce;
        if (zemsDecodePrgCfgElt_AAC(&p, &pos, &pce) != zemStatusOk || pos != 0)
            __builtin_trap();
        break;
    }
    }
    return 0;
}
