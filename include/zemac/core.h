/* zemac: scalar types, status codes and the version query. */
#ifndef ZEMAC_CORE_H
#define ZEMAC_CORE_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__) || defined(__clang__)
#define ZEM_API __attribute__((visibility("default")))
#else
#define ZEM_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Complex values, real part first. */
typedef struct Zem32fc {
    float re;
    float im;
} Zem32fc;

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
