/* zemac: scalar types, status codes and the version query. */
#ifndef ZEMAC_CORE_H
#define ZEMAC_CORE_H

#include <stddef.h>
#include <stdint.h>

#if (defined(__GNUC__) || defined(__clang__)) && !defined(_WIN32)
#define ZEM_API __attribute__((visibility("default")))
#else
#define ZEM_API
#endif

/* A record aligned to 8 on every target: the 32-bit Windows ABI aligns a double member to 8, the
   i386 System V ABI to 4, and such a record is to have one layout on both. */
#if defined(__GNUC__) || defined(__clang__)
#define ZEM_ALIGN8 __attribute__((aligned(8)))
#else
#define ZEM_ALIGN8
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Complex values, real part first. */
typedef struct Zem32fc {
    float re;
    float im;
} Zem32fc;

/* Complex 32-bit integers, real part first. */
typedef struct Zem32sc {
    int32_t re;
    int32_t im;
} Zem32sc;

/* Every export but the version query returns one of these: 0 success, negative errors,
   positive warnings (the output is complete). */
typedef int32_t ZemStatus;

enum {
    zemStatusOk = 0,
    zemWarnMisaligned = 2,
    zemStatusFailed = -2,
    zemStatusBadArgument = -5,
    zemStatusBadSize = -6,
    zemStatusNullPointer = -8,
    zemStatusNoMemory = -9,
    zemStatusBadStep = -14,
    zemStatusBadOrder = -15,
    zemStatusBadFlag = -16,
    zemStatusContextMismatch = -17,
    zemStatusBadFirLength = -26,
    zemStatusBadChannelCount = -53,
    zemStatusVlcBadEscape = -127,
    zemStatusAacBadOutputStride = -134,
    zemStatusAacBadWindowShape = -135,
    zemStatusAacBadObjectType = -136,
    zemStatusAacBadHeaderSourceFlag = -137,
    zemStatusAacBadBandSwitchFlag = -138,
    zemStatusAacBadStereoLayerFlag = -139,
    zemStatusAacBadLayerFlag = -140,
    zemStatusAacBadLayerChannels = -141,
    zemStatusAacBadMsMaskPresent = -142,
    zemStatusAacBadCommonWindow = -143,
    zemStatusAacBadWindowSequence = -144,
    zemStatusAacBadWindowGroupCount = -145,
    zemStatusAacBadWindowLength = -146,
    zemStatusAacBadSampleRateIndex = -147,
    zemStatusAacBadBitOffset = -149,
    zemStatusAacTnsModeUnsupported = -151,
    zemStatusAacBadTnsDirection = -152,
    zemStatusAacBadTnsCoef = -153,
    zemStatusAacBadTnsCoefRes = -154,
    zemStatusAacBadTnsOrder = -155,
    zemStatusAacBadTnsLength = -156,
    zemStatusAacBadTnsFilterCount = -157,
    zemStatusAacBadSectionData = -158,
    zemStatusAacGainControlUnsupported = -159,
    zemStatusAacBadPulseData = -160,
    zemStatusAacBadPredictionLimit = -161,
    zemStatusAacBadMaxSfb = -162,
    zemStatusAacBadSpectralValue = -163,
    zemStatusAacBadScaleFactor = -164,
    zemStatusAacBadCodebook = -166,
    zemStatusAacBadPceCount = -167,
    zemStatusMp3BadSideInfo = -170,
    zemStatusMp3BadFrameHeader = -171,
    zemStatusVlcBadBitOffset = -193,
    zemStatusModeUnsupported = -9999
};

/* Read bounds of the stream parsers: the most bytes one call reads from *ppStream as it was at
   the call, on any input, damaged or not. They count the bytes the call consumes (from its bit
   offset on) and the three bytes after them that its 32-bit loads may fetch; a buffer readable
   that far from the cursor is never read past. Each bound is the largest syntax the parser
   accepts, read with the longest codes: a damaged stream cannot take it further, since every
   loop is limited by the syntax (band, section and window counts, 1024 spectral values, byte
   counts) and every code by the longest codeword of its table. */
enum {
    zemReadMaxUnpackADTSFrameHeader = 12,
    zemReadMaxUnpackADIFHeader = 4932, /* sixteen program config elements */
    zemReadMaxDecodePrgCfgElt = 308,   /* 255 comment bytes */
    zemReadMaxDecodeDatStrElt = 517,   /* 510 data bytes */
    zemReadMaxDecodeFillElt = 275,     /* 269 bytes */
    zemReadMaxDecodeChanPairElt = 22,
    zemReadMaxDecodeChanPairEltMP4 = 26,
    zemReadMaxDecodeMainHeader = 117,
    zemReadMaxDecodeExtensionHeader = 93,
    /* Both noiseless decoders: 1024 escaped values of codebook 11 (56 bits a pair), up to
       8 * 51 scale factors of 19 bits (the general decoder reads max_sfb 51 of eight short
       windows before it finds the bands missing), section, pulse and TNS data, ICS info. */
    zemReadMaxNoiselessDecode = 4729,
    zemReadMaxUnpackFrameHeader_MP3 = 6,
    zemReadMaxUnpackSideInfo_MP3 = 35,
    zemReadMaxUnpackScaleFactors_MP3 = 25
};
/* The Layer III Huffman decoders read at most (bitOffset + hufSize + 46) / 8 + 4 bytes (a broken
   stream is read at most one pair of 47 bits past hufSize); the escape-block VLC decoders at most
   (bitOffset + (len / 2) * P - 1) / 8 + 4 bytes, P = 107 (AAC: a table walk of at most 63 bits,
   two signs, two 21-bit escapes) or 91 (MP3: the walk, two linbits of 13 bits and their signs). */

/* The library's version, as zemacGetLibVersion reports it: 7.0 build 205. */
#define ZEMAC_VERSION_MAJOR 7
#define ZEMAC_VERSION_MINOR 0
#define ZEMAC_VERSION_BUILD 205

/* The constant record returned by zemacGetLibVersion. */
typedef struct ZemLibVersion {
    int32_t versionMajor;
    int32_t versionMinor;
    int32_t buildMajor;
    int32_t buildNumber;
    char cpuCode[4];
    const char* libName;
    const char* versionText;
    const char* buildDate;
} ZemLibVersion;

/* Returns the library's one constant version record: 7.0 build 205.1017, variant "q5".
   Never fails; the caller must neither free nor modify the record. */
ZEM_API const ZemLibVersion* zemacGetLibVersion(void);

#ifdef __cplusplus
}
#endif

#endif
