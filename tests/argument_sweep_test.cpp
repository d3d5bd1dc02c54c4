// Argument checks of every export, one table per family: each required pointer null, each
// out-of-range scalar (and the cursor's bit offset), each foreign or invalidated record, with
// the documented status and nothing written anywhere in the memory the call may touch.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <tuple>

#include "support/argument_sweep.hpp"
#include "support/vlc_builder.hpp"
#include "tables/mp3_sfb_bands.hpp"
#include "zemac.h"

namespace {

// All memory the swept calls reach: a zero stream, its cursor, buffers and records set up for
// a valid call (44.1 kHz, one long window group, MPEG-1 Layer III stereo).
struct Arena {
    uint8_t stream[4096];
    uint8_t* cursor;
    int32_t bitPos;
    int32_t x[2304], y[2304], z[2304], work[2304];
    int16_t s16[2048], t16[2048];
    uint8_t u8[1024], v8[1024];
    int8_t i8[512];
    float f[2048], g[2048];
    uint32_t seed, noiseSeeds[480];
    int32_t groupLen[8], ltpUsed[64], nonZero[2], count, tag, prevImdct, vPos, sizes[4];
    ZemAacIcsRec ics;
    ZemAacCpeRec cpe;
    ZemAacLayerMainRec main;
    ZemAacLayerExtRec ext;
    ZemAacChanRec chan;
    ZemAacAdtsRec adts;
    ZemAacAdifRec adif;
    ZemAacPceRec pce[2];
    ZemMp3HeaderRec hdr, hdr2; // MPEG-1, MPEG-2
    ZemMp3GranuleRec gr[4];
    int32_t scfsi[8], mainDataBegin, privateBits;
    int16_t sfbLong[6 * 23], sfbShort[6 * 14], mbp[12];
    alignas(32) uint8_t fwdMem[4096], invMem[4096], fwd16Mem[4096], initMem[4096];
    ZemMdctFwdSpec_32f* fwd;
    ZemMdctInvSpec_32f* inv;
    ZemMdctFwdSpec_16s* fwd16;
    alignas(16) uint8_t pqmfMem[2][2112];
    ZemMp3PqmfAnalysisSpec_32f* pqmfA;
    ZemMp3PqmfSynthesisSpec_32f* pqmfS;
    ZemMp3ReservoirRec reservoir;
    int32_t isStart[3];
    alignas(32) uint8_t quantWork[ZEM_MP3_QUANTIZE_WORK_BYTES];
    ZemMp3PsyStateRec psy;
    ZemMp3PsyResultRec psyResult;
    uint8_t psyWork[ZEM_MP3_PSY_WORK_BYTES];
    ZemFirBlockState_32f* fir;
    int16_t* planes16[2];
    float* planes32[2];
    const int16_t* sources16[2];
    const float* sources32[2];
    int32_t offsets[4];
    alignas(16) int16_t inter16[64];
    alignas(16) float inter32[64];
    alignas(16) int16_t plane16[2][32];
    alignas(16) float plane32[2][32];
    alignas(16) uint8_t vqMem[2][2048];
    ZemVqCodebook_32f* vq[2];
    const ZemVqCodebook_32f* vqc[2];
    int32_t vqLen[2], vqMode[2], vqIdx[2][8], vqSign[2][8];
    int32_t* vqOutIdx[2];
    int32_t* vqOutSign[2];
    const int32_t* vqInIdx[2];
    const int32_t* vqInSign[2];
    const int32_t* vqModes[2];
    alignas(16) uint8_t dtsMem[2944];
    alignas(16) uint8_t fdpMem[6 * 64 + 96];
    ZemFdpState_32f* fdp;
    int32_t fdpBands[3];
};

struct Fixture {
    std::unique_ptr<Arena> owned = std::make_unique<Arena>();
    Arena& a = *owned;
    Fixture() {
        std::memset(&a, 0, sizeof a);
        a.cursor = a.stream;
        for (int32_t& v : a.groupLen)
            v = 1;
        a.chan.sampling_frequency_index = 4;
        a.chan.pIcsOfChan = &a.ics;
        a.main.pMsUsed = a.u8;
        a.ext.pMsUsed = a.u8;
        a.hdr.id = 1;
        a.hdr.layer = 1;
        a.hdr.protection_bit = 1;
        a.hdr2 = a.hdr;
        a.hdr2.id = 0;
        std::memcpy(a.sfbLong, zem::mp3::kSfbLong, sizeof a.sfbLong);
        std::memcpy(a.sfbShort, zem::mp3::kSfbShort, sizeof a.sfbShort);
        const int16_t mbp[12] = {6, 0, 6, 0, 6, 0, 8, 0, 8, 0, 8, 0};
        std::memcpy(a.mbp, mbp, sizeof mbp);
        int32_t s[3];
        EXPECT_EQ(zemsMDCTFwdGetSize_32f(64, &s[0], &s[1], &s[2]), zemStatusOk);
        EXPECT_TRUE(s[0] <= 4096 - 32 && s[1] <= 4096);
        EXPECT_EQ(zemsMDCTFwdGetSize_16s(64, &s[0], &s[1], &s[2]), zemStatusOk);
        EXPECT_TRUE(s[0] <= 4096 - 32 && s[1] <= 4096);
        EXPECT_EQ(zemsMDCTFwdInit_32f(&a.fwd, 64, a.fwdMem, a.initMem), zemStatusOk);
        EXPECT_EQ(zemsMDCTInvInit_32f(&a.inv, 64, a.invMem, a.initMem), zemStatusOk);
        EXPECT_EQ(zemsMDCTFwdInit_16s(&a.fwd16, 64, a.fwd16Mem, a.initMem), zemStatusOk);
        EXPECT_EQ(zemsAnalysisFilterInit_PQMF_MP3_32f(&a.pqmfA, a.pqmfMem[0]), zemStatusOk);
        EXPECT_EQ(zemsSynthesisFilterInit_PQMF_MP3_32f(&a.pqmfS, a.pqmfMem[1]), zemStatusOk);
    }
};

using Reject = zemtest::Reject<Arena>;
constexpr ZemStatus kNoValidCall = zemtest::Sweep<Arena>::kNoValidCall; // it would allocate

using Rejects = std::vector<Reject>;

template <class T> int64_t addr(const T* p) { return int64_t(reinterpret_cast<intptr_t>(p)); }

TEST(ArgumentSweep, AacElementsAndHeaders) {
    Fixture f;
    Arena& a = f.a;
    zemtest::Sweep<Arena> sweep(a, zemStatusAacBadBitOffset);
    uint8_t** pp = &a.cursor;
    int32_t* pos = &a.bitPos;
    sweep("zemsDecodeChanPairElt_AAC", zemsDecodeChanPairElt_AAC,
          std::tuple{pp, pos, &a.ics, &a.cpe, 0},
          {{"predSfbLimit -1", 4, -1, zemStatusAacBadPredictionLimit},
           {"predSfbLimit 42", 4, 42, zemStatusAacBadPredictionLimit}});
    // pMain is read only for a common window with LTP.
    sweep("zemsDecodeChanPairElt_MP4_AAC", zemsDecodeChanPairElt_MP4_AAC,
          std::tuple{pp, pos, &a.ics, &a.cpe, &a.main, 0, 2},
          {{"predSfbLimit -1", 5, -1, zemStatusAacBadMaxSfb},
           {"predSfbLimit 52", 5, 52, zemStatusAacBadMaxSfb}},
          zemStatusOk, 1u << 4);
    sweep("zemsDecodeDatStrElt_AAC", zemsDecodeDatStrElt_AAC,
          std::tuple{pp, pos, &a.tag, &a.count, a.u8}, {});
    sweep("zemsDecodeFillElt_AAC", zemsDecodeFillElt_AAC, std::tuple{pp, pos, &a.count, a.u8}, {});
    sweep("zemsDecodeMainHeader_AAC", zemsDecodeMainHeader_AAC, std::tuple{pp, pos, &a.main, 1, 0},
          {{"numChannels 0", 3, 0, zemStatusAacBadLayerChannels},
           {"numChannels 3", 3, 3, zemStatusAacBadLayerChannels},
           {"modeFlag -1", 4, -1, zemStatusAacBadLayerFlag},
           {"modeFlag 2", 4, 2, zemStatusAacBadLayerFlag}});
    sweep("zemsDecodeMainHeader_AAC (pair)", zemsDecodeMainHeader_AAC,
          std::tuple{pp, pos, &a.main, 2, 0},
          {{"modeFlag 2", 4, 2, zemStatusAacBadLayerFlag},
           {"pMsUsed null", -1, 0, zemStatusNullPointer,
            [](Arena& a) { a.main.pMsUsed = nullptr; }}});
    sweep(
        "zemsDecodeExtensionHeader_AAC", zemsDecodeExtensionHeader_AAC,
        std::tuple{pp, pos, &a.ext, 1, 1, 1, 0, 49, 0},
        {{"readTns 2", 3, 2, zemStatusAacBadLayerFlag},
         {"stereoLayer -1", 4, -1, zemStatusAacBadStereoLayerFlag},
         {"readBandSwitch 2", 5, 2, zemStatusAacBadBandSwitchFlag},
         {"sfbStart -1", 6, -1, zemStatusAacBadMaxSfb},
         {"sfbStart 52", 6, 52, zemStatusAacBadMaxSfb},
         {"sfbLimit 52", 7, 52, zemStatusAacBadMaxSfb},
         {"windowSequence 4", 8, 4, zemStatusAacBadWindowSequence},
         {"windowSequence -1", 8, -1, zemStatusAacBadWindowSequence},
         {"pMsUsed null", -1, 0, zemStatusNullPointer, [](Arena& a) { a.ext.pMsUsed = nullptr; }}});
    sweep("zemsNoiselessDecoder_LC_AAC", zemsNoiselessDecoder_LC_AAC,
          std::tuple{pp, pos, 0, &a.chan, a.s16, a.x, a.u8, a.i8},
          {{"commonWindow 2", 2, 2, zemStatusAacBadCommonWindow},
           {"pIcsOfChan null", -1, 0, zemStatusNullPointer,
            [](Arena& a) { a.chan.pIcsOfChan = nullptr; }},
           {"sampling_frequency_index 12", -1, 0, zemStatusAacBadSampleRateIndex,
            [](Arena& a) { a.chan.sampling_frequency_index = 12; }},
           {"sampling_frequency_index -1", -1, 0, zemStatusAacBadSampleRateIndex,
            [](Arena& a) { a.chan.sampling_frequency_index = -1; }},
           {"predSfbLimit 1", -1, 0, zemStatusAacBadPredictionLimit,
            [](Arena& a) { a.chan.predSfbLimit = 1; }}});
    sweep("zemsNoiselessDecode_AAC", zemsNoiselessDecode_AAC,
          std::tuple{pp, pos, &a.main, a.s16, a.x, a.u8, a.i8, &a.chan, 0, 0, 0, 0, 2},
          {{"commonWindow 2", 10, 2, zemStatusAacBadCommonWindow},
           {"windowSequence 4", 8, 4, zemStatusAacBadWindowSequence},
           {"headerSource 2", 11, 2, zemStatusAacBadHeaderSourceFlag},
           {"objectType 17", 12, 17, zemStatusAacBadObjectType},
           {"objectType -1", 12, -1, zemStatusAacBadObjectType},
           {"maxSfb 52", 9, 52, zemStatusAacBadMaxSfb},
           {"maxSfb -1", 9, -1, zemStatusAacBadMaxSfb},
           {"sampling_frequency_index 12", -1, 0, zemStatusAacBadSampleRateIndex,
            [](Arena& a) { a.chan.sampling_frequency_index = 12; }},
           {"pIcsOfChan null", -1, 0, zemStatusNullPointer,
            [](Arena& a) { a.chan.pIcsOfChan = nullptr; }}});
    sweep("zemsUnpackADTSFrameHeader_AAC", zemsUnpackADTSFrameHeader_AAC, std::tuple{pp, &a.adts},
          {});
    sweep("zemsUnpackADIFHeader_AAC", zemsUnpackADIFHeader_AAC, std::tuple{pp, &a.adif, a.pce, 2},
          {{"maxPce 0", 3, 0, zemStatusAacBadPceCount},
           {"maxPce 17", 3, 17, zemStatusAacBadPceCount}});
    sweep("zemsDecodePrgCfgElt_AAC", zemsDecodePrgCfgElt_AAC, std::tuple{pp, pos, a.pce}, {});
}

TEST(ArgumentSweep, AacTools) {
    Fixture f;
    Arena& a = f.a;
    zemtest::Sweep<Arena> sweep(a, zemStatusAacBadBitOffset);
    const int32_t* gl = a.groupLen;
    // Arguments numWinGrp, maxSfb, sfIndex and winLen at the given positions; the window length
    // first, then the grouping, maxSfb 0..51, the sampling rate, maxSfb within the band count.
    auto spectral = [](int grp, int maxSfb, int sfi, int len) {
        return Rejects{{"winLen 512", len, 512, zemStatusAacBadWindowLength},
                       {"winLen 0", len, 0, zemStatusAacBadWindowLength},
                       {"numWinGrp 0", grp, 0, zemStatusAacBadWindowGroupCount},
                       {"numWinGrp 9", grp, 9, zemStatusAacBadWindowGroupCount},
                       {"long group of 2 windows", -1, 0, zemStatusAacBadWindowGroupCount,
                        [](Arena& a) { a.groupLen[0] = 2; }},
                       {"maxSfb -1", maxSfb, -1, zemStatusAacBadMaxSfb},
                       {"maxSfb 52", maxSfb, 52, zemStatusAacBadMaxSfb},
                       {"sfIndex -1", sfi, -1, zemStatusAacBadSampleRateIndex},
                       {"sfIndex 12", sfi, 12, zemStatusAacBadSampleRateIndex},
                       {"maxSfb 50 (49 bands)", maxSfb, 50, zemStatusAacBadMaxSfb}};
    };
    // Noise substitution: maxSfb 0..51, the grouping, the sampling rate, the window length, the
    // group lengths, maxSfb within the band count.
    auto noise = [](int maxSfb, int grp, int sfi, int len) {
        return Rejects{{"maxSfb -1", maxSfb, -1, zemStatusAacBadMaxSfb},
                       {"maxSfb 52", maxSfb, 52, zemStatusAacBadMaxSfb},
                       {"numWinGrp 0", grp, 0, zemStatusAacBadWindowGroupCount},
                       {"numWinGrp 9", grp, 9, zemStatusAacBadWindowGroupCount},
                       {"sfIndex -1", sfi, -1, zemStatusAacBadSampleRateIndex},
                       {"sfIndex 12", sfi, 12, zemStatusAacBadSampleRateIndex},
                       {"winLen 512", len, 512, zemStatusAacBadWindowLength},
                       {"winLen 0", len, 0, zemStatusAacBadWindowLength},
                       {"long group of 2 windows", -1, 0, zemStatusAacBadWindowGroupCount,
                        [](Arena& a) { a.groupLen[0] = 2; }},
                       {"maxSfb 50 (49 bands)", maxSfb, 50, zemStatusAacBadMaxSfb}};
    };
    sweep("zemsQuantInv_AAC_32s_I", zemsQuantInv_AAC_32s_I,
          std::tuple{a.x, a.s16, 1, gl, 49, a.u8, 4, 1024}, spectral(2, 4, 6, 7));
    sweep("zemsDecodeMsStereo_AAC_32s_I", zemsDecodeMsStereo_AAC_32s_I,
          std::tuple{a.x, a.y, 1, a.v8, a.u8, 1, gl, 49, 4, 1024}, spectral(5, 7, 8, 9));
    sweep("zemsDecodeMsStereo_AAC_32s_I", zemsDecodeMsStereo_AAC_32s_I,
          std::tuple{a.x, a.y, 1, a.v8, a.u8, 1, gl, 49, 4, 1024},
          {{"msMaskPresent 0", 2, 0, zemStatusAacBadMsMaskPresent},
           {"msMaskPresent 3", 2, 3, zemStatusAacBadMsMaskPresent}});
    sweep("zemsDecodeIsStereo_AAC_32s", zemsDecodeIsStereo_AAC_32s,
          std::tuple{a.x, a.y, a.s16, a.u8, 1, gl, 49, 4, 1024}, spectral(4, 6, 7, 8));
    sweep("zemsDecodePNS_AAC_32s", zemsDecodePNS_AAC_32s,
          std::tuple{a.x, a.ltpUsed, a.u8, a.s16, 49, 1, gl, 4, 1024, &a.seed}, noise(4, 5, 7, 8));
    // A list of rejects followed by the checks made after them.
    auto then = [](Rejects first, const Rejects& after) {
        first.insert(first.end(), after.begin(), after.end());
        return first;
    };
    sweep(
        "zemsDecodeMsPNS_AAC_32s", zemsDecodeMsPNS_AAC_32s,
        std::tuple{a.x, a.ltpUsed, a.u8, a.s16, 49, 1, gl, 4, 1024, &a.seed, 1, a.v8, a.noiseSeeds},
        then(noise(4, 5, 7, 8), {{"channel 2", 10, 2, zemStatusBadArgument},
                                 {"channel -1", 10, -1, zemStatusBadArgument}}));
    // Short windows: eight groups of one window, or fewer groups of more.
    sweep("zemsDecodePNS_AAC_32s", zemsDecodePNS_AAC_32s,
          std::tuple{a.x, a.ltpUsed, a.u8, a.s16, 14, 8, gl, 4, 128, &a.seed},
          {{"group length 0", -1, 0, zemStatusAacBadWindowGroupCount,
            [](Arena& a) { a.groupLen[7] = 0; }},
           {"nine windows", -1, 0, zemStatusAacBadWindowGroupCount,
            [](Arena& a) { a.groupLen[7] = 2; }},
           {"maxSfb 15 (14 bands)", 4, 15, zemStatusAacBadMaxSfb}});
    sweep("zemsQuantInv_AAC_32s_I", zemsQuantInv_AAC_32s_I,
          std::tuple{a.x, a.s16, 8, gl, 14, a.u8, 4, 128},
          {{"nine windows", -1, 0, zemStatusAacBadWindowGroupCount,
            [](Arena& a) { a.groupLen[0] = 2; }},
           {"group length -1", -1, 0, zemStatusAacBadWindowGroupCount,
            [](Arena& a) { a.groupLen[3] = -1; }},
           {"maxSfb 15 (14 bands)", 4, 15, zemStatusAacBadMaxSfb}});
    // No filters (pNumFilt all zero): only the argument checks can fail.
    const int32_t* z = a.z;
    Rejects tns = {{"winLen 512", 10, 512, zemStatusAacBadWindowLength},
                   {"samplingFreqIndex 12", 9, 12, zemStatusAacBadSampleRateIndex},
                   {"samplingFreqIndex -1", 9, -1, zemStatusAacBadSampleRateIndex},
                   {"maxSfb 50 (49 bands)", 7, 50, zemStatusAacBadMaxSfb},
                   {"maxSfb -1", 7, -1, zemStatusAacBadMaxSfb}};
    sweep("zemsDecodeTNS_AAC_32s_I", zemsDecodeTNS_AAC_32s_I,
          std::tuple{a.x, z, z, z, z, a.i8, z, 49, 0, 4, 1024}, tns);
    // The encoder checks its mode after the window length.
    tns.insert(tns.begin() + 1, {{"mode 2", 8, 2, zemStatusAacTnsModeUnsupported},
                                 {"mode 0", 8, 0, zemStatusAacTnsModeUnsupported}});
    sweep("zemsEncodeTNS_AAC_32s_I", zemsEncodeTNS_AAC_32s_I,
          std::tuple{a.x, z, z, z, z, a.i8, z, 49, 1, 4, 1024}, tns);
    // Window sequence and shapes at the given argument positions, then size or stride.
    auto window = [](int seq, int shape, int prev) {
        return Rejects{{"windowSequence -1", seq, -1, zemStatusAacBadWindowSequence},
                       {"windowSequence 4", seq, 4, zemStatusAacBadWindowSequence},
                       {"windowShape 2", shape, 2, zemStatusAacBadWindowShape},
                       {"windowShape -1", shape, -1, zemStatusAacBadWindowShape},
                       {"prevWindowShape 2", prev, 2, zemStatusAacBadWindowShape}};
    };
    sweep("zemsMDCTInv_AAC_32s16s", zemsMDCTInv_AAC_32s16s, std::tuple{a.x, a.s16, a.y, 0, 0, 0, 1},
          then(window(3, 4, 5), {{"dstStep 0", 6, 0, zemStatusAacBadOutputStride},
                                 {"dstStep 3", 6, 3, zemStatusAacBadOutputStride}}));
    sweep("zemsMDCTInv_AAC_32s_I", zemsMDCTInv_AAC_32s_I, std::tuple{a.x, a.y, 0, 0, 0, 1024},
          then(window(2, 3, 4), {{"len 1023", 5, 1023, zemStatusBadSize}}));
    sweep("zemsMDCTFwd_AAC_32s", zemsMDCTFwd_AAC_32s, std::tuple{a.x, a.y, a.z, 0, 0, 0, a.work},
          window(3, 4, 5));
    sweep("zemsMDCTFwd_AAC_32s_I", zemsMDCTFwd_AAC_32s_I, std::tuple{a.x, 0, 0, 0, 2048},
          then(window(1, 2, 3), {{"len 1024", 4, 1024, zemStatusBadSize}}));
    sweep("zemsDeinterleaveSpectrum_AAC_32s", zemsDeinterleaveSpectrum_AAC_32s,
          std::tuple{a.x, a.y, 1, gl, 14, 4, 128},
          {{"len 1024", 6, 1024, zemStatusAacBadWindowLength},
           {"numWindowGroups 0", 2, 0, zemStatusAacBadWindowGroupCount},
           {"numWindowGroups 9", 2, 9, zemStatusAacBadWindowGroupCount},
           {"maxSfb -1", 4, -1, zemStatusAacBadMaxSfb},
           {"samplingFreqIndex 12", 5, 12, zemStatusAacBadSampleRateIndex},
           {"maxSfb 15 (14 bands)", 4, 15, zemStatusAacBadMaxSfb},
           {"group length 0", -1, 0, zemStatusAacBadWindowGroupCount,
            [](Arena& a) { a.groupLen[0] = 0; }},
           {"groups of 9 windows", -1, 0, zemStatusAacBadWindowGroupCount,
            [](Arena& a) { a.groupLen[0] = 9; }}});
}

TEST(ArgumentSweep, Mp3) {
    Fixture f;
    Arena& a = f.a;
    zemtest::Sweep<Arena> sweep(a, zemStatusBadArgument);
    uint8_t** pp = &a.cursor;
    int32_t* pos = &a.bitPos;
    // Header fields checked by the parsers that take a header.
    const Reject badId{"id 2", -1, 0, zemStatusMp3BadFrameHeader, [](Arena& a) { a.hdr.id = 2; }};
    const Reject badLayer{"layer 3", -1, 0, zemStatusMp3BadFrameHeader,
                          [](Arena& a) { a.hdr.layer = 3; }};
    const Reject badMode{"mode 4", -1, 0, zemStatusMp3BadFrameHeader,
                         [](Arena& a) { a.hdr.mode = 4; }};
    const Reject badFreq{"sampling_frequency 3", -1, 0, zemStatusMp3BadFrameHeader,
                         [](Arena& a) { a.hdr.sampling_frequency = 3; }};
    const Reject bigValues{"big_values 289", -1, 0, zemStatusMp3BadSideInfo,
                           [](Arena& a) { a.gr[0].big_values = 289; }};
    const Reject blockType{"block_type 4", -1, 0, zemStatusMp3BadSideInfo,
                           [](Arena& a) { a.gr[0].block_type = 4; }};
    const Reject count1{"count1table_select 2", -1, 0, zemStatusMp3BadSideInfo,
                        [](Arena& a) { a.gr[0].count1table_select = 2; }};
    sweep("zemsUnpackFrameHeader_MP3", zemsUnpackFrameHeader_MP3, std::tuple{pp, &a.hdr}, {});
    sweep("zemsPackFrameHeader_MP3", zemsPackFrameHeader_MP3, std::tuple{&a.hdr, pp}, {});
    sweep("zemsUnpackSideInfo_MP3", zemsUnpackSideInfo_MP3,
          std::tuple{pp, a.gr, &a.mainDataBegin, &a.privateBits, a.scfsi, &a.hdr},
          {badId, badLayer, badMode});
    sweep("zemsPackSideInfo_MP3", zemsPackSideInfo_MP3, std::tuple{a.gr, pp, 0, 0, a.scfsi, &a.hdr},
          {badId, badLayer, badMode});
    sweep("zemsUnpackScaleFactors_MP3_1u8s", zemsUnpackScaleFactors_MP3_1u8s,
          std::tuple{pp, pos, a.i8, a.gr, a.scfsi, &a.hdr, 0, 0},
          {{"granule 2", 6, 2, zemStatusBadArgument},
           {"granule -1", 6, -1, zemStatusBadArgument},
           {"channel 2", 7, 2, zemStatusBadArgument},
           badId,
           {"scalefac_compress 16", -1, 0, zemStatusMp3BadSideInfo,
            [](Arena& a) { a.gr[0].scalefac_compress = 16; }}});
    const Rejects mpeg2 = {{"scalefac_compress 512", -1, 0, zemStatusMp3BadSideInfo,
                            [](Arena& a) { a.gr[0].scalefac_compress = 512; }},
                           {"scalefac_compress -1", -1, 0, zemStatusMp3BadSideInfo,
                            [](Arena& a) { a.gr[0].scalefac_compress = -1; }},
                           {"mode_extension 4", -1, 0, zemStatusMp3BadFrameHeader,
                            [](Arena& a) { a.hdr2.mode_extension = 4; }}};
    sweep("zemsUnpackScaleFactors_MP3_1u8s (MPEG-2)", zemsUnpackScaleFactors_MP3_1u8s,
          std::tuple{pp, pos, a.i8, a.gr, a.scfsi, &a.hdr2, 0, 1}, mpeg2);
    sweep("zemsPackScaleFactors_MP3_8s1u (MPEG-2)", zemsPackScaleFactors_MP3_8s1u,
          std::tuple{a.i8, pp, pos, &a.hdr2, a.gr, a.scfsi, 0, 1}, mpeg2);
    sweep("zemsPackScaleFactors_MP3_8s1u", zemsPackScaleFactors_MP3_8s1u,
          std::tuple{a.i8, pp, pos, &a.hdr, a.gr, a.scfsi, 0, 0},
          {{"granule 2", 6, 2, zemStatusBadArgument},
           {"channel -1", 7, -1, zemStatusBadArgument},
           badId,
           {"scalefac_compress 16", -1, 0, zemStatusMp3BadSideInfo,
            [](Arena& a) { a.gr[0].scalefac_compress = 16; }}});
    const Reject switching{"window_switching_flag 2", -1, 0, zemStatusMp3BadSideInfo,
                           [](Arena& a) { a.gr[0].window_switching_flag = 2; }};
    const Reject switchedLong{"window switching with block_type 0", -1, 0, zemStatusMp3BadSideInfo,
                              [](Arena& a) { a.gr[0].window_switching_flag = 1; }};
    const Reject regionSum{
        "region counts summing to 21", -1, 0, zemStatusMp3BadSideInfo,
        [](Arena& a) { a.gr[0].region0_count = 10, a.gr[0].region1_count = 11; }};
    const Reject regionNeg{"region0_count -1", -1, 0, zemStatusMp3BadSideInfo,
                           [](Arena& a) { a.gr[0].region0_count = -1; }};
    const Reject table{"table_select 32", -1, 0, zemStatusMp3BadSideInfo,
                       [](Arena& a) { a.gr[0].table_select[0] = 32, a.gr[0].big_values = 2; }};
    const Rejects huffman = {{"hufSize -1", 6, -1, zemStatusBadArgument},
                             {"hufSize above part2_3_length", 6, 1, zemStatusBadArgument},
                             bigValues,
                             blockType,
                             switching,
                             count1,
                             badId,
                             badLayer,
                             badFreq,
                             switchedLong,
                             regionSum,
                             regionNeg,
                             table};
    sweep("zemsHuffmanDecodeSfb_MP3_1u32s", zemsHuffmanDecodeSfb_MP3_1u32s,
          std::tuple{pp, pos, a.x, a.nonZero, a.gr, &a.hdr, 0, a.sfbLong}, huffman);
    sweep("zemsHuffmanDecode_MP3_1u32s", zemsHuffmanDecode_MP3_1u32s,
          std::tuple{pp, pos, a.x, a.nonZero, a.gr, &a.hdr, 0}, huffman);
    // This variant checks the id, then big_values and the block fields, the rest of the header,
    // then count1table_select and hufSize (as side information).
    const Rejects mbp = {badId,
                         bigValues,
                         blockType,
                         switching,
                         switchedLong,
                         badLayer,
                         badFreq,
                         count1,
                         {"hufSize -1", 6, -1, zemStatusMp3BadSideInfo},
                         {"hufSize above part2_3_length", 6, 1, zemStatusMp3BadSideInfo},
                         regionSum,
                         regionNeg,
                         table};
    sweep("zemsHuffmanDecodeSfbMbp_MP3_1u32s", zemsHuffmanDecodeSfbMbp_MP3_1u32s,
          std::tuple{pp, pos, a.x, a.nonZero, a.gr, &a.hdr, 0, a.sfbLong, a.sfbShort, a.mbp}, mbp);
    sweep("zemsHuffmanEncode_MP3_32s1u", zemsHuffmanEncode_MP3_32s1u,
          std::tuple{a.x, pp, pos, &a.hdr, a.gr, 0, 0},
          {bigValues,
           regionSum,
           regionNeg,
           count1,
           badId,
           {"id 0 (MPEG-2)", -1, 0, zemStatusMp3BadFrameHeader, [](Arena& a) { a.hdr.id = 0; }},
           badLayer,
           badFreq,
           {"count1Len -4", 5, -4, zemStatusBadArgument},
           {"count1Len 580", 5, 580, zemStatusBadArgument},
           {"hufSize -1", 6, -1, zemStatusBadArgument}});
    const Rejects requantize = {
        badId,
        badFreq,
        badMode,
        {"mode_extension 4", -1, 0, zemStatusMp3BadFrameHeader,
         [](Arena& a) { a.hdr.mode_extension = 4; }},
        blockType,
        {"non-zero bound 577", -1, 0, zemStatusBadArgument, [](Arena& a) { a.nonZero[1] = 577; }},
        {"non-zero bound -1", -1, 0, zemStatusBadArgument, [](Arena& a) { a.nonZero[0] = -1; }}};
    sweep("zemsReQuantizeSfb_MP3_32s_I", zemsReQuantizeSfb_MP3_32s_I,
          std::tuple{a.x, a.nonZero, a.i8, a.gr, &a.hdr, a.work, a.sfbLong, a.sfbShort},
          requantize);
    sweep("zemsReQuantize_MP3_32s_I", zemsReQuantize_MP3_32s_I,
          std::tuple{a.x, a.nonZero, a.i8, a.gr, &a.hdr, a.work}, requantize);
    sweep("zemsMDCTInv_MP3_32s", zemsMDCTInv_MP3_32s,
          std::tuple{a.x, a.y, a.z, 0, &a.prevImdct, 0, 0},
          {{"nonZeroBound -1", 3, -1, zemStatusBadArgument},
           {"nonZeroBound 577", 3, 577, zemStatusBadArgument},
           {"blockType -1", 5, -1, zemStatusBadArgument},
           {"blockType 4", 5, 4, zemStatusBadArgument},
           {"mixedBlock 2", 6, 2, zemStatusBadArgument},
           {"previous count 33", -1, 0, zemStatusBadArgument, [](Arena& a) { a.prevImdct = 33; }},
           {"previous count -1", -1, 0, zemStatusBadArgument, [](Arena& a) { a.prevImdct = -1; }}});
    sweep("zemsMDCTInvWindow_MP3_32s", zemsMDCTInvWindow_MP3_32s, std::tuple{a.x, a.y, 0},
          {{"blockType -1", 2, -1, zemStatusBadArgument},
           {"blockType 4", 2, 4, zemStatusBadArgument},
           {"blockType 7", 2, 7, zemStatusBadArgument}});
    sweep("zemsSynthPQMF_MP3_32s16s", zemsSynthPQMF_MP3_32s16s,
          std::tuple{a.x, a.s16, a.y, &a.vPos, 1},
          {{"mode 0", 4, 0, zemStatusBadArgument},
           {"mode 3", 4, 3, zemStatusBadArgument},
           {"V position 16", -1, 0, zemStatusBadArgument, [](Arena& a) { a.vPos = 16; }},
           {"V position -1", -1, 0, zemStatusBadArgument, [](Arena& a) { a.vPos = -1; }}});
}

TEST(ArgumentSweep, TransformMdct) {
    Fixture f;
    Arena& a = f.a;
    zemtest::Sweep<Arena> sweep(a, zemStatusBadSize);
    int32_t* s = a.sizes;
    const Rejects badLen = {{"len 0", 0, 0, zemStatusBadSize},
                            {"len -32", 0, -32, zemStatusBadSize},
                            {"len 16", 0, 16, zemStatusBadSize},
                            {"len 24", 0, 24, zemStatusBadSize},
                            {"len 48", 0, 48, zemStatusBadSize},
                            {"len 2^30", 0, 1 << 30, zemStatusBadSize},
                            {"len 13", 0, 13, zemStatusBadSize},
                            {"len 96", 0, 96, zemStatusBadSize},
                            {"len 2^31-1", 0, INT32_MAX, zemStatusBadSize}};
    sweep("zemsMDCTFwdGetSize_32f", zemsMDCTFwdGetSize_32f, std::tuple{64, s, s + 1, s + 2},
          badLen);
    sweep("zemsMDCTInvGetSize_32f", zemsMDCTInvGetSize_32f, std::tuple{64, s, s + 1, s + 2},
          badLen);
    sweep("zemsMDCTFwdGetSize_16s", zemsMDCTFwdGetSize_16s, std::tuple{64, s, s + 1, s + 2},
          {{"len 36", 0, 36, zemStatusBadSize},
           {"len 12", 0, 12, zemStatusBadSize},
           {"len 16", 0, 16, zemStatusBadSize},
           {"len 0", 0, 0, zemStatusBadSize},
           {"len 2^30", 0, 1 << 30, zemStatusBadSize},
           {"len -64", 0, -64, zemStatusBadSize}});
    // Init rebuilds the arena's record in place; the 32f records check the length first.
    const Reject lenFirst{"len 48", 1, 48, zemStatusBadSize, nullptr, true};
    sweep("zemsMDCTFwdInit_32f", zemsMDCTFwdInit_32f, std::tuple{&a.fwd, 64, a.fwdMem, a.initMem},
          {lenFirst});
    sweep("zemsMDCTInvInit_32f", zemsMDCTInvInit_32f, std::tuple{&a.inv, 64, a.invMem, a.initMem},
          {lenFirst});
    sweep("zemsMDCTFwdInit_16s", zemsMDCTFwdInit_16s,
          std::tuple{&a.fwd16, 64, a.fwd16Mem, a.initMem}, {{"len 36", 1, 36, zemStatusBadSize}});
    sweep("zemsMDCTFwdInitAlloc_32f", zemsMDCTFwdInitAlloc_32f, std::tuple{&a.fwd, 64},
          {{"len 48", 1, 48, zemStatusBadSize}}, kNoValidCall);
    sweep("zemsMDCTInvInitAlloc_32f", zemsMDCTInvInitAlloc_32f, std::tuple{&a.inv, 64},
          {{"len -1", 1, -1, zemStatusBadSize}}, kNoValidCall);
    sweep("zemsMDCTFwdInitAlloc_16s", zemsMDCTFwdInitAlloc_16s, std::tuple{&a.fwd16, 64},
          {{"len 36", 1, 36, zemStatusBadSize}}, kNoValidCall);
    // Records of another kind, and memory that holds no record, are context mismatches.
    // The record (null, then tag) comes before the data pointers.
    const Reject notFwd{"inverse record", -1, addr(a.inv), zemStatusContextMismatch, nullptr, true};
    const Reject notInv{"forward record", -1, addr(a.fwd), zemStatusContextMismatch, nullptr, true};
    const Reject not16{"32f record", -1, addr(a.fwd), zemStatusContextMismatch, nullptr, true};
    auto at = [](Reject r, int arg) { return r.arg = arg, r; };
    const Reject garbage{"memory without a record", -1,      addr(a.u8),
                         zemStatusContextMismatch,  nullptr, true};
    sweep("zemsMDCTFwdFree_32f", zemsMDCTFwdFree_32f, std::tuple{a.fwd},
          {at(notFwd, 0), at(garbage, 0)});
    sweep("zemsMDCTInvFree_32f", zemsMDCTInvFree_32f, std::tuple{a.inv},
          {at(notInv, 0), at(garbage, 0)});
    sweep("zemsMDCTFwdFree_16s", zemsMDCTFwdFree_16s, std::tuple{a.fwd16},
          {at(not16, 0), at(garbage, 0)});
    sweep("zemsMDCTFwdGetBufSize_32f", zemsMDCTFwdGetBufSize_32f, std::tuple{a.fwd, s},
          {at(notFwd, 0), at(garbage, 0)});
    sweep("zemsMDCTInvGetBufSize_32f", zemsMDCTInvGetBufSize_32f, std::tuple{a.inv, s},
          {at(notInv, 0), at(garbage, 0)});
    sweep("zemsMDCTFwdGetBufSize_16s", zemsMDCTFwdGetBufSize_16s, std::tuple{a.fwd16, s},
          {at(not16, 0), at(garbage, 0)});
    // The work buffer may be null (the call then allocates one).
    sweep("zemsMDCTFwd_32f", zemsMDCTFwd_32f, std::tuple{a.f, a.g, a.fwd, a.u8},
          {at(notFwd, 2), at(garbage, 2)}, zemStatusOk, 1u << 3);
    sweep("zemsMDCTInv_32f", zemsMDCTInv_32f, std::tuple{a.f, a.g, a.inv, a.u8},
          {at(notInv, 2), at(garbage, 2)}, zemStatusOk, 1u << 3);
    sweep("zemsMDCTFwd_32f_I", zemsMDCTFwd_32f_I, std::tuple{a.f, a.fwd, a.u8},
          {at(notFwd, 1), at(garbage, 1)}, zemStatusOk, 1u << 2);
    sweep("zemsMDCTInv_32f_I", zemsMDCTInv_32f_I, std::tuple{a.f, a.inv, a.u8},
          {at(notInv, 1), at(garbage, 1)}, zemStatusOk, 1u << 2);
    sweep("zemsMDCTFwd_16s_Sfs", zemsMDCTFwd_16s_Sfs, std::tuple{a.s16, a.t16, a.fwd16, 0, a.u8},
          {at(not16, 2), at(garbage, 2)}, zemStatusOk, 1u << 4);
    // Scale factors far out of the useful range saturate or flush; they must stay defined.
    for (int32_t sf : {INT32_MIN, INT32_MAX})
        sweep("zemsMDCTFwd_16s_Sfs", zemsMDCTFwd_16s_Sfs,
              std::tuple{a.s16, a.t16, a.fwd16, sf, a.u8}, {}, zemStatusOk, ~0u);
}

TEST(ArgumentSweep, VlcEscapeBlock) {
    Fixture f;
    Arena& a = f.a;
    zemtest::Sweep<Arena> sweep(a, zemStatusVlcBadBitOffset);
    uint8_t** pp = &a.cursor;
    int32_t* pos = &a.bitPos;
    using zemtest::VlcSpecs;
    const VlcSpecs aac(zemtest::aac_pair_book(11), VlcSpecs::Kind::Aac);
    const VlcSpecs mp3(zemtest::mp3_pair_book(16), VlcSpecs::Kind::Mp3);
    const Reject decAsEnc{"encoding spec", -1, addr(aac.enc()), zemStatusContextMismatch};
    const Reject encAsDec{"decoding spec", -1, addr(aac.plain()), zemStatusContextMismatch};
    auto at = [](Reject r, int arg) { return r.arg = arg, r; };
    const Reject negLen{"len -2", -1, -2, zemStatusBadSize};
    auto linbits = [](int arg) {
        return Rejects{{"linbits -1", arg, -1, zemStatusBadArgument},
                       {"linbits 14", arg, 14, zemStatusBadArgument},
                       {"linbits 31", arg, 31, zemStatusBadArgument}};
    };
    sweep("zemsVLCDecodeEscBlock_AAC_1u16s", zemsVLCDecodeEscBlock_AAC_1u16s,
          std::tuple{pp, pos, a.s16, 8, aac.plain()}, {at(decAsEnc, 4), at(negLen, 3)});
    sweep("zemsVLCDecodeUTupleEscBlock_AAC_1u16s", zemsVLCDecodeUTupleEscBlock_AAC_1u16s,
          std::tuple{pp, pos, a.s16, 8, aac.tuple()}, {at(decAsEnc, 4), at(negLen, 3)});
    for (auto* fn : {zemsVLCDecodeEscBlock_MP3_1u16s, zemsVLCDecodeUTupleEscBlock_MP3_1u16s}) {
        const bool plain = fn == zemsVLCDecodeEscBlock_MP3_1u16s;
        const auto args = std::tuple{pp, pos, 13, a.s16, 8, plain ? mp3.plain() : mp3.tuple()};
        sweep(plain ? "zemsVLCDecodeEscBlock_MP3_1u16s" : "zemsVLCDecodeUTupleEscBlock_MP3_1u16s",
              fn, args, {at(decAsEnc, 5), at(negLen, 4)});
        sweep("linbits", fn, args, linbits(2));
    }
    sweep("zemsVLCEncodeEscBlock_AAC_16s1u", zemsVLCEncodeEscBlock_AAC_16s1u,
          std::tuple{a.t16, 8, pp, pos, aac.enc()}, {at(encAsDec, 4), at(negLen, 1)});
    const auto encMp3 = std::tuple{a.t16, 8, 13, pp, pos, mp3.enc()};
    sweep("zemsVLCEncodeEscBlock_MP3_16s1u", zemsVLCEncodeEscBlock_MP3_16s1u, encMp3,
          {at(encAsDec, 5), at(negLen, 1)});
    sweep("zemsVLCEncodeEscBlock_MP3_16s1u", zemsVLCEncodeEscBlock_MP3_16s1u, encMp3, linbits(2));
    sweep("zemsVLCCountEscBits_AAC_16s32s", zemsVLCCountEscBits_AAC_16s32s,
          std::tuple{a.t16, 8, &a.count, aac.enc()}, {at(encAsDec, 3), at(negLen, 1)});
    const auto countMp3 = std::tuple{a.t16, 8, 13, &a.count, mp3.enc()};
    sweep("zemsVLCCountEscBits_MP3_16s32s", zemsVLCCountEscBits_MP3_16s32s, countMp3,
          {at(encAsDec, 4), at(negLen, 1)});
    sweep("zemsVLCCountEscBits_MP3_16s32s", zemsVLCCountEscBits_MP3_16s32s, countMp3, linbits(2));
}

} // namespace

TEST(ArgumentSweep, Mp3Encoding) {
    Fixture f;
    Arena& a = f.a;
    // Joint stereo with intensity on (mode 1, mode_extension 3), long blocks from band 20.
    a.hdr.mode = 1;
    a.hdr.mode_extension = 3;
    a.isStart[0] = 20;
    zemtest::Sweep<Arena> sweep(a, zemStatusBadArgument);
    sweep("zemsAnalysisFilterGetSize_PQMF_MP3_32f", zemsAnalysisFilterGetSize_PQMF_MP3_32f,
          std::tuple{a.sizes}, {});
    sweep("zemsSynthesisFilterGetSize_PQMF_MP3_32f", zemsSynthesisFilterGetSize_PQMF_MP3_32f,
          std::tuple{a.sizes}, {});
    sweep("zemsAnalysisFilterInit_PQMF_MP3_32f", zemsAnalysisFilterInit_PQMF_MP3_32f,
          std::tuple{&a.pqmfA, a.pqmfMem[0]}, {});
    sweep("zemsSynthesisFilterInit_PQMF_MP3_32f", zemsSynthesisFilterInit_PQMF_MP3_32f,
          std::tuple{&a.pqmfS, a.pqmfMem[1]}, {});
    sweep("zemsAnalysisFilterInitAlloc_PQMF_MP3_32f", zemsAnalysisFilterInitAlloc_PQMF_MP3_32f,
          std::tuple{&a.pqmfA}, {}, kNoValidCall);
    sweep("zemsSynthesisFilterInitAlloc_PQMF_MP3_32f", zemsSynthesisFilterInitAlloc_PQMF_MP3_32f,
          std::tuple{&a.pqmfS}, {}, kNoValidCall);
    // A state of the other direction, or memory without one, is a context mismatch, checked
    // after the pointers and the channel count.
    const Reject synthesisState{"synthesis state", 2, addr(a.pqmfS), zemStatusContextMismatch};
    const Reject analysisState{"analysis state", 2, addr(a.pqmfA), zemStatusContextMismatch};
    const Reject noState{"memory without a state", 2, addr(a.u8), zemStatusContextMismatch};
    auto at = [](Reject r, int arg) { return r.arg = arg, r; };
    sweep("zemsAnalysisFilterFree_PQMF_MP3_32f", zemsAnalysisFilterFree_PQMF_MP3_32f,
          std::tuple{a.pqmfA}, {at(synthesisState, 0), at(noState, 0)});
    sweep("zemsSynthesisFilterFree_PQMF_MP3_32f", zemsSynthesisFilterFree_PQMF_MP3_32f,
          std::tuple{a.pqmfS}, {at(analysisState, 0), at(noState, 0)});
    const Rejects channels = {{"numCh 0", 3, 0, zemStatusBadArgument},
                              {"numCh 3", 3, 3, zemStatusBadArgument},
                              {"numCh -1", 3, -1, zemStatusBadArgument}};
    Rejects analysis = channels, synthesis = channels;
    analysis.push_back(synthesisState);
    analysis.push_back(noState);
    synthesis.push_back(analysisState);
    synthesis.push_back(noState);
    sweep("zemsAnalysisFilter_PQMF_MP3_32f", zemsAnalysisFilter_PQMF_MP3_32f,
          std::tuple{a.f, a.g, a.pqmfA, 1}, analysis);
    sweep("zemsSynthesisFilter_PQMF_MP3_32f", zemsSynthesisFilter_PQMF_MP3_32f,
          std::tuple{a.f, a.g, a.pqmfS, 1}, synthesis);

    Rejects pcmChannels = channels;
    for (Reject& r : pcmChannels)
        r.arg = 2;
    sweep("zemsAnalysisPQMF_MP3_16s32s", zemsAnalysisPQMF_MP3_16s32s, std::tuple{a.s16, a.x, 1},
          pcmChannels);
    sweep("zemsMDCTFwd_MP3_32s", zemsMDCTFwd_MP3_32s, std::tuple{a.x, a.y, 0, 0, &a.hdr, a.z},
          {{"blockType -1", 2, -1, zemStatusBadArgument},
           {"blockType 4", 2, 4, zemStatusBadArgument},
           {"mixedBlock 2", 3, 2, zemStatusBadArgument},
           {"mixedBlock -1", 3, -1, zemStatusBadArgument},
           {"sampling_frequency 3", -1, 0, zemStatusBadArgument,
            [](Arena& a) { a.hdr.sampling_frequency = 3; }}});
    sweep("zemsBitReservoirInit_MP3", zemsBitReservoirInit_MP3, std::tuple{&a.reservoir, &a.hdr},
          {{"MPEG-2 header", -1, 0, zemStatusMp3BadFrameHeader, [](Arena& a) { a.hdr.id = 0; }},
           {"bitrate_index 15", -1, 0, zemStatusMp3BadFrameHeader,
            [](Arena& a) { a.hdr.bitrate_index = 15; }},
           {"sampling_frequency 3", -1, 0, zemStatusMp3BadFrameHeader,
            [](Arena& a) { a.hdr.sampling_frequency = 3; }}});
    sweep("zemsJointStereoEncode_MP3_32s_I", zemsJointStereoEncode_MP3_32s_I,
          std::tuple{a.x, a.y, a.u8, &a.hdr, a.gr, a.isStart},
          {{"block types differ", -1, 0, zemStatusMp3BadSideInfo,
            [](Arena& a) { a.gr[1].block_type = 2; }},
           {"intensity start 23", -1, 0, zemStatusBadArgument, [](Arena& a) { a.isStart[0] = 23; }},
           {"intensity start -1", -1, 0, zemStatusBadArgument, [](Arena& a) { a.isStart[0] = -1; }},
           {"sampling_frequency 3", -1, 0, zemStatusBadArgument,
            [](Arena& a) { a.hdr.sampling_frequency = 3; }}});
    // The quantiser: a long granule, no intensity (both of pIsPos and pIsStart may be null, not
    // one of them), 1000 bits.
    a.hdr = f.a.hdr2;
    a.hdr.id = 1;
    a.hdr.mode = 3;
    a.gr[0] = a.gr[1] = ZemMp3GranuleRec{};
    a.isStart[0] = 0;
    zemtest::Sweep<Arena> quant(a, zemStatusBadArgument);
    quant(
        "zemsQuantize_MP3_32s_I", zemsQuantize_MP3_32s_I,
        std::tuple{a.x, a.i8, &a.gr[0], &a.count, a.sizes, a.f, a.u8, a.isStart, &a.hdr, 1000,
                   a.quantWork},
        {{"MPEG-2 header", -1, 0, zemStatusMp3BadFrameHeader, [](Arena& a) { a.hdr.id = 0; }},
         {"sampling_frequency 3", -1, 0, zemStatusMp3BadFrameHeader,
          [](Arena& a) { a.hdr.sampling_frequency = 3; }},
         {"block_type 4", -1, 0, zemStatusMp3BadSideInfo, [](Arena& a) { a.gr[0].block_type = 4; }},
         {"block_type 1 without window switching", -1, 0, zemStatusMp3BadSideInfo,
          [](Arena& a) { a.gr[0].block_type = 1; }},
         {"mixed block", -1, 0, zemStatusMp3BadSideInfo,
          [](Arena& a) { a.gr[0].mixed_block_flag = 1; }},
         {"maxBits -1", 9, -1, zemStatusBadArgument},
         {"intensity start 23", -1, 0, zemStatusBadArgument, [](Arena& a) { a.isStart[0] = 23; }}});
    quant("zemsPsychoacousticModelTwo_MP3_16s", zemsPsychoacousticModelTwo_MP3_16s,
          std::tuple{a.s16, 1, &a.hdr, &a.psy, &a.psyResult, a.psyWork},
          {{"numCh 0", 1, 0, zemStatusBadArgument},
           {"numCh 3", 1, 3, zemStatusBadArgument},
           {"MPEG-2 header", -1, 0, zemStatusMp3BadFrameHeader, [](Arena& a) { a.hdr.id = 0; }},
           {"sampling_frequency 3", -1, 0, zemStatusMp3BadFrameHeader,
            [](Arena& a) { a.hdr.sampling_frequency = 3; }}});
}

TEST(ArgumentSweep, Tools) {
    Fixture f;
    Arena& a = f.a;
    ASSERT_EQ(zemsFIRBlockInitAlloc_32f(&a.fir, 3, 16), zemStatusOk);
    // Buffers on 16-byte boundaries: the helpers that can warn of misalignment return 0.
    for (int c = 0; c < 2; ++c) {
        a.planes16[c] = a.plane16[c];
        a.planes32[c] = a.plane32[c];
        a.sources16[c] = a.plane16[c];
        a.sources32[c] = a.plane32[c];
    }
    a.offsets[1] = 4;
    a.offsets[2] = 8;
    zemtest::Sweep<Arena> sweep(a, zemStatusBadArgument);
    const Rejects firLengths = {{"taps 0", 1, 0, zemStatusBadFirLength},
                                {"taps -1", 1, -1, zemStatusBadFirLength},
                                {"taps 32768", 1, 32768, zemStatusBadFirLength},
                                {"blockLen 0", 2, 0, zemStatusBadFirLength}};
    ZemFirBlockState_32f* scratch = nullptr;
    sweep("zemsFIRBlockInitAlloc_32f", zemsFIRBlockInitAlloc_32f, std::tuple{&scratch, 3, 16},
          firLengths, kNoValidCall);
    const Reject noFir{"memory without a record", 2, addr(a.x), zemStatusContextMismatch};
    sweep("zemsFIRBlockOne_32f", zemsFIRBlockOne_32f,
          std::tuple{a.inter32, a.plane32[0], a.fir, a.plane32[1]}, {noFir});
    sweep("zemsFIRBlockFree_32f", zemsFIRBlockFree_32f, std::tuple{a.fir},
          {{"memory without a record", 0, addr(a.x), zemStatusContextMismatch}}, kNoValidCall);

    auto len_at = [](int arg, int64_t v) {
        return Reject{"len out of range", arg, v, zemStatusBadSize};
    };
    sweep("zemsCalcSF_16s32f", zemsCalcSF_16s32f, std::tuple{a.s16, 0, a.f, 8}, {len_at(3, 0)});
    sweep("zemsMakeFloat_16s32f", zemsMakeFloat_16s32f,
          std::tuple{a.inter16, a.plane16[0], a.inter32, 8}, {len_at(3, 0), len_at(3, -5)});
    sweep("zemsPow34_32f", zemsPow34_32f, std::tuple{a.inter32, a.plane32[0], 8}, {len_at(2, 0)});
    sweep("zemsPow34_32f16s", zemsPow34_32f16s, std::tuple{a.inter32, a.inter16, 8},
          {len_at(2, 0)});
    Reject lenFirst = len_at(4, 0);
    lenFirst.beforePointers = true;
    sweep("zemsPow34_16s_Sfs", zemsPow34_16s_Sfs, std::tuple{a.s16, 0, a.t16, 0, 8}, {lenFirst});
    sweep("zemsPow43_16s32f", zemsPow43_16s32f, std::tuple{a.s16, a.f, 8}, {len_at(2, -1)});
    sweep("zemsPow43Scale_16s32s_Sf", zemsPow43Scale_16s32s_Sf,
          std::tuple{a.s16, a.x, a.t16, a.offsets, 0, 2, 1, 0},
          {{"numBands -1", 5, -1, zemStatusBadSize}, {"groupLen -1", 6, -1, zemStatusBadSize}});
    sweep("zemsScale_32f_I", zemsScale_32f_I, std::tuple{a.f, a.g, a.offsets, 2},
          {{"numBands 0", 3, 0, zemStatusBadSize}});
    sweep("zemsSpread_16s_Sfs", zemsSpread_16s_Sfs, std::tuple{int16_t(0), int16_t(3), 0, a.s16},
          {});
    // The channel count, the length, then a null channel pointer.
    auto planes = [](void (*nullChannel)(Arena&)) {
        return Rejects{{"numCh 0", 1, 0, zemStatusBadChannelCount},
                       {"len 0", 2, 0, zemStatusBadSize},
                       {"channel 1 null", -1, 0, zemStatusNullPointer, nullChannel}};
    };
    sweep("zemsDeinterleave_16s", zemsDeinterleave_16s, std::tuple{a.inter16, 2, 8, a.planes16},
          planes([](Arena& a) { a.planes16[1] = nullptr; }));
    sweep("zemsDeinterleave_32f", zemsDeinterleave_32f, std::tuple{a.inter32, 2, 8, a.planes32},
          planes([](Arena& a) { a.planes32[1] = nullptr; }));
    sweep("zemsInterleave_16s", zemsInterleave_16s, std::tuple{a.sources16, 2, 8, a.inter16},
          planes([](Arena& a) { a.sources16[1] = nullptr; }));
    sweep("zemsInterleave_32f", zemsInterleave_32f, std::tuple{a.sources32, 2, 8, a.inter32},
          planes([](Arena& a) { a.sources32[1] = nullptr; }));
    EXPECT_EQ(zemsFIRBlockFree_32f(a.fir), zemStatusOk);
}

TEST(ArgumentSweep, VectorQuantiser) {
    Fixture f;
    Arena& a = f.a;
    // Two codebooks of H = 4 vectors of S = 3 in the arena, two sub-vectors of 3 and 2.
    for (int b = 0; b < 2; ++b) {
        ASSERT_EQ(zemsVQCodeBookInit_32f(a.f, &a.vq[b], 3, 4, a.vqMem[b]), zemStatusOk);
        a.vqc[b] = a.vq[b];
        a.vqOutIdx[b] = a.vqIdx[b];
        a.vqOutSign[b] = a.vqSign[b];
        a.vqInIdx[b] = a.vqIdx[b];
        a.vqInSign[b] = a.vqSign[b];
        a.vqModes[b] = a.vqMode;
    }
    a.vqLen[0] = 3;
    a.vqLen[1] = 2;
    zemtest::Sweep<Arena> sweep(a, zemStatusBadArgument);
    const Rejects sizes = {{"S 0", 0, 0, zemStatusBadSize},
                           {"H 0", 1, 0, zemStatusBadSize},
                           {"H -1", 1, -1, zemStatusBadSize}};
    sweep("zemsVQCodeBookGetSize_32f", zemsVQCodeBookGetSize_32f, std::tuple{3, 4, a.sizes}, sizes);
    sweep("zemsVQCodeBookInit_32f", zemsVQCodeBookInit_32f,
          std::tuple{a.f, &a.vq[0], 3, 4, a.vqMem[0]},
          {{"S 0", 2, 0, zemStatusBadSize}, {"H 0", 3, 0, zemStatusBadSize}});
    ZemVqCodebook_32f* scratch = nullptr;
    sweep("zemsVQCodeBookInitAlloc_32f", zemsVQCodeBookInitAlloc_32f,
          std::tuple{a.f, &scratch, 3, 4}, {{"S 0", 2, 0, zemStatusBadSize}}, kNoValidCall);
    sweep("zemsVQCodeBookFree_32f", zemsVQCodeBookFree_32f, std::tuple{a.vq[1]}, {});
    const Reject longSub{"sub-vector longer than S", -1, 0, zemStatusBadArgument,
                         [](Arena& a) { a.vqLen[1] = 4; }};
    sweep("zemsVQPreliminarySelect_32f", zemsVQPreliminarySelect_32f,
          std::tuple{a.f, a.g, 2, a.vqLen, a.vqIdx[0], a.vqSign[0], 2, a.vqMode, a.vqc[0]},
          {longSub});
    sweep("zemsVQMainSelect_32f", zemsVQMainSelect_32f,
          std::tuple{a.f, a.g, a.vqLen, 2, 2, a.vqInIdx, a.vqInSign, a.vqOutIdx, a.vqOutSign, a.vqc,
                     2},
          {longSub, {"candidate index 4", -1, 0, zemStatusBadArgument, [](Arena& a) {
                         a.vqIdx[1][3] = 4;
                     }}});
    sweep("zemsVQIndexSelect_32f", zemsVQIndexSelect_32f,
          std::tuple{a.f, a.g, 2, a.vqLen, 2, a.vqModes, a.vqOutIdx, a.vqOutSign, a.vqc, 2},
          {{"one codebook", 9, 1, zemStatusBadArgument}, longSub});
    sweep("zemsVQReconstruction_32f", zemsVQReconstruction_32f,
          std::tuple{a.vqInIdx, a.vqInSign, a.vqLen, 2, 2, a.plane32[0], a.vqc},
          {{"no codebook", 4, 0, zemStatusBadArgument},
           longSub,
           {"index -1", -1, 0, zemStatusBadArgument, [](Arena& a) { a.vqIdx[0][1] = -1; }}});
}

TEST(ArgumentSweep, DtsSynthesis) {
    Fixture f;
    Arena& a = f.a;
    ASSERT_EQ(zemsSynthesisFilterInit_DTS_32f(a.dtsMem), zemStatusOk);
    auto* spec = reinterpret_cast<ZemDtsSynthesisSpec_32f*>(a.dtsMem);
    zemtest::Sweep<Arena> sweep(a, zemStatusBadArgument);
    sweep("zemsSynthesisFilterGetSize_DTS_32f", zemsSynthesisFilterGetSize_DTS_32f,
          std::tuple{a.sizes}, {});
    sweep("zemsSynthesisFilterInit_DTS_32f", zemsSynthesisFilterInit_DTS_32f, std::tuple{a.dtsMem},
          {});
    ZemDtsSynthesisSpec_32f* owned = nullptr;
    sweep("zemsSynthesisFilterInitAlloc_DTS_32f", zemsSynthesisFilterInitAlloc_DTS_32f,
          std::tuple{&owned}, {}, kNoValidCall);
    const Reject noState{"memory without a state", 0, addr(a.x), zemStatusContextMismatch};
    sweep("zemsSynthesisFilterFree_DTS_32f", zemsSynthesisFilterFree_DTS_32f, std::tuple{spec},
          {noState});
    Reject noState3 = noState;
    noState3.arg = 3;
    sweep("zemsSynthesisFilter_DTS_32f", zemsSynthesisFilter_DTS_32f, std::tuple{a.f, a.g, 0, spec},
          {{"filterSelect 2", 2, 2, zemStatusBadArgument},
           {"filterSelect -1", 2, -1, zemStatusBadArgument},
           noState3});
}

TEST(ArgumentSweep, AacPrediction) {
    Fixture f;
    Arena& a = f.a;
    ASSERT_EQ(zemsFDPInit_32f(&a.fdp, 16, a.fdpMem), zemStatusOk);
    a.fdpBands[1] = 8;
    a.fdpBands[2] = 16;
    zemtest::Sweep<Arena> sweep(a, zemStatusBadArgument);
    sweep("zemsFDPGetSize_32f", zemsFDPGetSize_32f, std::tuple{16, a.sizes},
          {{"len 0", 0, 0, zemStatusBadSize}, {"len -1", 0, -1, zemStatusBadSize}});
    sweep("zemsFDPInit_32f", zemsFDPInit_32f, std::tuple{&a.fdp, 16, a.fdpMem},
          {{"len 0", 1, 0, zemStatusBadSize}});
    ZemFdpState_32f* owned = nullptr;
    sweep("zemsFDPInitAlloc_32f", zemsFDPInitAlloc_32f, std::tuple{&owned, 16},
          {{"len 0", 1, 0, zemStatusBadSize}}, kNoValidCall);
    const Reject none{"memory without a record", 0, addr(a.x), zemStatusContextMismatch};
    auto at = [](Reject r, int arg) { return r.arg = arg, r; };
    sweep("zemsFDPReset_32f", zemsFDPReset_32f, std::tuple{a.fdp}, {none});
    sweep("zemsFDPResetGroup_32f", zemsFDPResetGroup_32f, std::tuple{30, 1, a.fdp},
          {{"start -1", 1, -1, zemStatusBadSize}, {"step 0", 0, 0, zemStatusBadStep}, at(none, 2)});
    sweep("zemsFDPResetSfb_32f", zemsFDPResetSfb_32f, std::tuple{a.fdpBands, 2, a.u8, a.fdp},
          {{"numBands 0", 1, 0, zemStatusBadSize}, at(none, 3)});
    sweep("zemsFDPFwd_32f", zemsFDPFwd_32f, std::tuple{a.plane32[0], a.plane32[1], a.fdp},
          {at(none, 2)});
    sweep("zemsFDPInv_32f_I", zemsFDPInv_32f_I,
          std::tuple{a.plane32[0], a.fdpBands, 2, a.u8, a.fdp},
          {{"numBands 0", 2, 0, zemStatusBadSize},
           at(none, 4),
           {"band past the lines", -1, 0, zemStatusBadArgument,
            [](Arena& a) { a.fdpBands[2] = 17; }}});
    sweep("zemsFDPFree_32f", zemsFDPFree_32f, std::tuple{a.fdp}, {none});
}

TEST(ArgumentSweep, AacLongTermPrediction) {
    Fixture f;
    Arena& a = f.a;
    zemtest::Sweep<Arena> sweep(a, zemStatusBadArgument);
    auto* ltp = &a.main.ltp[0];
    // The history (3072) and the update's work buffer (6144) in the arena's largest record.
    int32_t* history = reinterpret_cast<int32_t*>(a.psy.opaque);
    int32_t* work = history + 4096;
    const Rejects sequence = {{"windowSequence 4", 3, 4, zemStatusAacBadWindowSequence},
                              {"windowSequence -1", 3, -1, zemStatusAacBadWindowSequence}};
    sweep("zemsLongTermPredict_AAC_32s", zemsLongTermPredict_AAC_32s,
          std::tuple{history, a.x, ltp, 0}, sequence);
    sweep("zemsLongTermReconstruct_AAC_32s", zemsLongTermReconstruct_AAC_32s,
          std::tuple{a.x, a.y, a.z, 0, 4},
          {sequence[0],
           sequence[1],
           {"sampling index 12", 4, 12, zemStatusAacBadSampleRateIndex},
           {"sampling index -1", 4, -1, zemStatusAacBadSampleRateIndex}});
    sweep("zemsLtpUpdate_AAC_32s", zemsLtpUpdate_AAC_32s, std::tuple{a.x, history, 0, 0, 0, work},
          {{"windowSequence 4", 2, 4, zemStatusAacBadWindowSequence},
           {"windowShape 2", 3, 2, zemStatusAacBadWindowShape},
           {"prevWindowShape -1", 4, -1, zemStatusAacBadWindowShape}});
}
