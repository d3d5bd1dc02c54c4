/* zemac: MP3 (MPEG-1 and MPEG-2 Layer III) encoding primitives: the analysis filter bank, the
   forward hybrid transform, the bit reservoir and joint-stereo encoding. */
#ifndef ZEMAC_MP3_ENCODER_H
#define ZEMAC_MP3_ENCODER_H

#include "core.h"
#include "mp3.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The bit reservoir of an MPEG-1 Layer III stream, kept by the encoder. */
typedef struct ZemMp3ReservoirRec {
    int32_t bitsInReservoir;  /* bits held now */
    int32_t maxReservoirBits; /* capacity */
} ZemMp3ReservoirRec;

/* Polyphase analysis of one time slot: pSrc is a window of 512 samples of one channel at
   stride numCh (1 or 2), oldest first, whose last 32 are the slot's new ones; the caller moves
   it on by 32 samples per call. 32 sub-band samples in Q24 (16-bit full scale is 1.0 = 2^24) go
   to pDst: the Q30 window sums rounded to Q25, then matrixed in double precision with a factor
   1/2 and rounded, so that the synthesis zemsSynthPQMF_MP3_32s16s returns the input delayed by
   481 samples (exactly for inputs up to about -12 dBFS, within 2 at full scale). Statuses, in
   check order: zemStatusNullPointer, zemStatusBadArgument (numCh not 1 or 2). */
ZEM_API ZemStatus zemsAnalysisPQMF_MP3_16s32s(const int16_t* pSrc, int32_t* pDst, int32_t numCh);

/* Forward hybrid transform of one granule of one channel: 576 sub-band samples (slot major,
   sub-band sb of slot t at 32 t + sb; those of odd sub-bands in odd slots taken negated) with
   the previous granule's in pPrevious (576, zero at the start, replaced by this granule's) into
   576 lines on the requantiser's Q26 scale. Long blocks (types 0, 1, 3, and sub-bands 0 and 1
   of a mixed block with the normal window): 4/9 of the 36-point MDCT with the type's window, in
   line order; short blocks: 4/3 of the three 12-point MDCTs, in scale-factor-band order (band b
   of window w at 3 short[b] + w width, short the header's short-band table), from short band 3
   on in a mixed block. Then the encoder's alias-reduction butterflies (long: every sub-band
   boundary; mixed: the first one only). All in double precision, rounded to the nearest
   integer. Statuses, in check order: zemStatusNullPointer, zemStatusBadArgument (blockType
   outside 0..3, mixedBlock outside 0..1, or the header's sampling_frequency outside 0..2). */
ZEM_API ZemStatus zemsMDCTFwd_MP3_32s(const int32_t* pSrc, int32_t* pDst, int32_t blockType,
                                      int32_t mixedBlock, const ZemMp3HeaderRec* pHeader,
                                      int32_t* pPrevious);

/* Empties the reservoir and sets its capacity for frames of the header's bit rate and sampling
   frequency (MPEG-1 only): min(4088, 7680 - min(F, 7680)) with F the frame's bits without
   padding; free format (bitrate_index 0) gives 4088. Statuses: zemStatusNullPointer,
   zemStatusMp3BadFrameHeader (id not 1, or a bit-rate index outside 0..14 or sampling
   frequency outside 0..2); nothing is written on failure. */
ZEM_API ZemStatus zemsBitReservoirInit_MP3(ZemMp3ReservoirRec* pReservoir,
                                           const ZemMp3HeaderRec* pHeader);

/* Joint-stereo encoding of one granule, in place on the left and right spectra (576 each, as
   zemsMDCTFwd_MP3_32s gives them), when the header's mode is 1: M/S (bit 1 of mode_extension)
   below the intensity region, M = (L + R)/sqrt(2) to the left and S = (L - R)/sqrt(2) to the
   right, each the upper word of the doubled sum or difference times 1/sqrt(2) in Q31; intensity
   stereo (bit 0) in the region from the start band: per band a position 0..6 (the number of
   the thresholds 2^15 tan^2((2p + 1) pi/24), p = 0..5, that 2^15 E_L/E_R reaches; 6 for a silent
   right channel), stored in pIsPos (long: at the band; short: at 3 band + window), and the
   down-mix L = +-(|L| + |R|) with the sign of the larger component (the right one's on a tie,
   saturated) and R = 0. pIsStart holds the first intensity band: long blocks its first value
   (0..22), short blocks one per window (0..13); without intensity stereo it is set to 22 or to
   13, 13, 13 and no positions are written. The band tables are the built-in ones of the
   header's id and sampling frequency; short ones when the left record's block_type is 2.
   Statuses, in check order: zemStatusNullPointer; zemStatusMp3BadSideInfo (M/S or intensity
   requested and the two records' block_type differ); zemStatusBadArgument (intensity stereo with
   a start outside those ranges, or a header id or sampling frequency outside the tables). */
ZEM_API ZemStatus zemsJointStereoEncode_MP3_32s_I(int32_t* pSrcDstL, int32_t* pSrcDstR,
                                                  uint8_t* pIsPos, const ZemMp3HeaderRec* pHeader,
                                                  const ZemMp3GranuleRec* pSideInfo,
                                                  int32_t* pIsStart);

/* Psychoacoustic model two, one granule of one channel (MPEG-1 sampling frequencies). The state
   is the caller's, zero-filled before the first call and kept for the channel (it holds the two
   previous spectra, the partitions of the sampling frequency and the transform tables, which a
   moved or copied record builds again). */
typedef struct ZEM_ALIGN8 ZemMp3PsyStateRec {
    double opaque[7168];
} ZemMp3PsyStateRec;

/* The model's result for one granule. */
typedef struct ZemMp3PsyResultRec {
    float energyLong[22];  /* energy per long scale-factor band (full-scale sine line: 2^46.1) */
    float allowedLong[22]; /* allowed distortion, the masking threshold */
    float ratioLong[22];   /* allowed over energy, 0 for a silent band: zemsQuantize_MP3_32s_I's
                              pRatio for long blocks */
    float energyShort[39]; /* the same per short band and window, at 3 band + window */
    float allowedShort[39];
    float ratioShort[39];
    float pe;       /* perceptual entropy of the long block */
    int32_t attack; /* 1 when pe exceeds 1000 and twice the previous granule's: code
                       this granule with short blocks */
} ZemMp3PsyResultRec;

/* Bytes of the work buffer of zemsPsychoacousticModelTwo_MP3_16s. */
#define ZEM_MP3_PSY_WORK_BYTES 20608

/* Model two of ISO/IEC 11172-3 Annex D: pSrc holds 1024 samples of one channel at stride numCh
   (1 or 2), the granule's 576 samples at pSrc[224 .. 799] (the window centred on the granule as
   the hybrid filter bank sees it: the caller delays the model's input against the analysis by
   the bank's 481 samples minus 224); the three short windows' 256-point transforms start at
   samples 192, 384 and 576. Long block: Hann window, 1024-point FFT, unpredictability of lines
   below 206 from the two previous granules' magnitude and phase (0.4 above, 1 until two granules
   were seen), energies and weighted unpredictability per third-of-a-Bark partition, spread with
   the model's spreading function, tonality -0.299 - 0.43 ln(c) clamped to 0..1, masking level
   tonality 18 dB + (1 - tonality) 6 dB below the normalised spread energy, the threshold in
   quiet (Terhardt's curve, full scale at 96 dB) as a floor, perceptual entropy of the lines above
   their threshold. Short windows: 6 dB below the energy or the threshold in quiet. Statuses, in
   check order: zemStatusNullPointer; zemStatusBadArgument (numCh not 1 or 2);
   zemStatusMp3BadFrameHeader (id not 1, sampling_frequency outside 0..2). */
ZEM_API ZemStatus zemsPsychoacousticModelTwo_MP3_16s(const int16_t* pSrc, int32_t numCh,
                                                     const ZemMp3HeaderRec* pHeader,
                                                     ZemMp3PsyStateRec* pState,
                                                     ZemMp3PsyResultRec* pResult,
                                                     uint8_t* pWorkBuf);

/* Bytes of the work buffer of zemsQuantize_MP3_32s_I. */
#define ZEM_MP3_QUANTIZE_WORK_BYTES 13888

/* Quantises one MPEG-1 granule of one channel in place: pSrcDst holds the 576 lines of
   zemsMDCTFwd_MP3_32s (after joint-stereo encoding) and receives the quantised values (sign
   kept, magnitudes up to 8206). The rate loop takes the smallest global gain whose Huffman bits
   fit the budget left by the scale factors; the distortion loop amplifies by one scale-factor
   step each band whose noise (the energy of x minus its reconstruction) exceeds pRatio times
   its energy, switches to scalefac_scale 1 when the widths run out (then to the pre-emphasis),
   and keeps the result with the fewest bands over and the smallest excess. pRatio: allowed
   noise over energy per band, long blocks 22 (band), short blocks 39 (3 band + window); the
   last band, which has no scale factor, is not judged. With pIsPos and pIsStart (the right
   channel under intensity stereo, as zemsJointStereoEncode_MP3_32s_I leaves them) the intensity
   bands take their positions as scale factors, and bands below the start that quantise to
   nothing take 7, the illegal position, since the decoder starts intensity after the last
   non-zero line. Output: the scale factors in the unpacker's layout (22 or 39 entries, unused
   ones 0), and in *pGranule (whose block_type and window_switching_flag are read) global_gain,
   scalefac_compress, scalefac_scale, preflag (set, for long blocks without intensity positions,
   when the upper bands need more amplification than their factors' widths hold even at
   scalefac_scale 1), subblock_gain (0), big_values, table_select, region counts (the cheapest
   split for long blocks), count1table_select and part2_3_length (at most maxBits and 4095);
   *pCount1Len and *pHufSize as zemsHuffmanEncode_MP3_32s1u takes them. No allocation; pWorkBuf
   holds ZEM_MP3_QUANTIZE_WORK_BYTES. A budget too small for anything gives a silent granule at
   global gain 255. Statuses, in check order: zemStatusNullPointer (also for only one of pIsPos,
   pIsStart); zemStatusMp3BadFrameHeader (id not 1, sampling_frequency outside 0..2);
   zemStatusMp3BadSideInfo (block_type outside 0..3, window_switching_flag not matching it,
   mixed blocks); zemStatusBadArgument (maxBits negative, an intensity start outside 0..22 or
   0..13). */
ZEM_API ZemStatus zemsQuantize_MP3_32s_I(int32_t* pSrcDst, int8_t* pScaleFactor,
                                         ZemMp3GranuleRec* pGranule, int32_t* pCount1Len,
                                         int32_t* pHufSize, const float* pRatio,
                                         const uint8_t* pIsPos, const int32_t* pIsStart,
                                         const ZemMp3HeaderRec* pHeader, int32_t maxBits,
                                         uint8_t* pWorkBuf);

#ifdef __cplusplus
}
#endif

#endif
