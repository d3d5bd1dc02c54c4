// Both noiseless decoders on arbitrary channel streams: the first byte picks the decoder, the
// sampling rate and the common-window case (with a random shared ICS info in the record).
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "padded_input.hpp"
#include "zemac.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    if (size < 4)
        return 0;
    const uint8_t pick = data[0];
    zemfuzz::PaddedInput in(data + 3, size - 3, zemReadMaxNoiselessDecode);
    uint8_t* p = in.data();
    int32_t pos = 0;
    ZemAacIcsRec ics{};
    ZemAacChanRec chan{};
    ZemAacLayerMainRec main{};
    chan.sampling_frequency_index = pick % 12;
    chan.pIcsOfChan = &ics;
    const int commonWindow = (pick >> 4) & 1;
    if (commonWindow) { // a shared ICS info as a channel pair would leave it
        ics.window_sequence = data[1] & 3;
        ics.max_sfb = data[2] & 63;
        ics.num_window_groups = 1 + (data[1] >> 5);
        for (int g = 0; g < 8; ++g)
            ics.window_group_length[g] = 1;
    }
    main.num_window_groups = 1 + (data[1] >> 5);
    for (int g = 0; g < 8; ++g)
        main.window_group_length[g] = 1 + (data[2] >> 7);
    int16_t sf[8 * 51];
    int32_t coef[1024];
    uint8_t cb[8 * 51];
    int8_t tns[64];
    if (pick & 0x80)
        zemsNoiselessDecoder_LC_AAC(&p, &pos, commonWindow, &chan, sf, coef, cb, tns);
    else
        zemsNoiselessDecode_AAC(&p, &pos, &main, sf, coef, cb, tns, &chan, data[1] & 3,
                                data[2] % 52, commonWindow, (pick >> 5) & 1, 2 - ((pick >> 6) & 1));
    return 0;
}
