/* Builds as C99 against the public header and checks the version record through it. */
#include <stdio.h>
#include <string.h>

#include "zemac.h"

int main(void) {
    const ZemLibVersion* v = zemacGetLibVersion();
    ZemAacAdtsRec adts;
    uint8_t frame[16] = {0xFF, 0xF1, 0x50, 0x80, 0x2E, 0x7F, 0xFC};
    uint8_t* p = frame;
    if (v != zemacGetLibVersion() || v->versionMajor != 7 ||
        strcmp(v->libName, "zemacq5-7.0.dll") != 0)
        return 1;
    if (zemsUnpackADTSFrameHeader_AAC(&p, &adts) != zemStatusOk || p != frame + 7)
        return 1;
    if (adts.sampling_frequency_index != 4 || adts.channel_configuration != 2 ||
        adts.aac_frame_length != 371)
        return 1;
    puts("C API ok");
    return 0;
}
