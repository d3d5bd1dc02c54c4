// ADTS, ADIF and program config element parsers on arbitrary bytes. The first byte picks the
// parser and its bit position; the parsers must never read past their documented bounds.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "padded_input.hpp"
#include "zemac.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    if (size < 1)
        return 0;
    const uint8_t mode = data[0];
    constexpr std::size_t kBound[3] = {zemReadMaxUnpackADTSFrameHeader, zemReadMaxUnpackADIFHeader,
                                       zemReadMaxDecodePrgCfgElt};
    zemfuzz::PaddedInput in(data + 1, size - 1, kBound[mode % 3]);
    uint8_t* p = in.data();
    switch (mode % 3) {
    case 0: {
        ZemAacAdtsRec h;
        zemsUnpackADTSFrameHeader_AAC(&p, &h);
        if (in.offset(p) != 7u + 2u * (h.protection_absent == 0))
            __builtin_trap();
        break;
    }
    case 1: {
        const int32_t maxPce = 1 + (mode >> 4);
        ZemAacAdifRec adif;
        std::vector<ZemAacPceRec> pce(static_cast<std::size_t>(maxPce));
        zemsUnpackADIFHeader_AAC(&p, &adif, pce.data(), maxPce);
        break;
    }
    default: {
        int32_t pos = (mode >> 2) & 7;
        ZemAacPceRec pce;
        if (zemsDecodePrgCfgElt_AAC(&p, &pos, &pce) != zemStatusOk || pos != 0)
            __builtin_trap();
        break;
    }
    }
    return 0;
}
