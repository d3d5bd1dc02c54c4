/* zemac: the MP3 32-band polyphase filter banks in single-precision floating point. */
#ifndef ZEMAC_MP3_PQMF_H
#define ZEMAC_MP3_PQMF_H

#include "core.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Analysis (16-bit-range samples to sub-band samples of the standard's full scale 1.0) and
   synthesis (back, in that normalised scale): analysis then synthesis returns the input times
   1/32768, delayed by 481 samples. Each state holds a 16-byte header at the first 16-byte
   boundary of its memory (tag 0x434D4168 analysis, 0x434D4167 synthesis; position 0..15, 15
   after Init and one step back per call; allocated, 1 after InitAlloc; the history: its address
   on i686, its offset from the header on x86-64) and the history of 512 floats. Every function
   that takes a state rounds its pointer up to 16 bytes first, so the pointer InitAlloc returns
   and the aligned one Init returns both work. One state serves one channel. */
typedef struct ZemMp3PqmfAnalysisSpec_32f ZemMp3PqmfAnalysisSpec_32f;
typedef struct ZemMp3PqmfSynthesisSpec_32f ZemMp3PqmfSynthesisSpec_32f;

/* Bytes of memory a state needs (2091 on every target: header, history and alignment room).
   Status: zemStatusNullPointer. */
ZEM_API ZemStatus zemsAnalysisFilterGetSize_PQMF_MP3_32f(int32_t* pSize);
ZEM_API ZemStatus zemsSynthesisFilterGetSize_PQMF_MP3_32f(int32_t* pSize);

/* Builds a state at the first 16-byte boundary of pMemSpec (at least GetSize bytes) and stores
   that address in *ppState. Status: zemStatusNullPointer. */
ZEM_API ZemStatus zemsAnalysisFilterInit_PQMF_MP3_32f(ZemMp3PqmfAnalysisSpec_32f** ppState,
                                                      uint8_t* pMemSpec);
ZEM_API ZemStatus zemsSynthesisFilterInit_PQMF_MP3_32f(ZemMp3PqmfSynthesisSpec_32f** ppState,
                                                       uint8_t* pMemSpec);

/* The same in memory from zemMalloc; *ppState receives the address zemMalloc returned.
   Statuses: zemStatusNullPointer, zemStatusNoMemory. */
ZEM_API ZemStatus zemsAnalysisFilterInitAlloc_PQMF_MP3_32f(ZemMp3PqmfAnalysisSpec_32f** ppState);
ZEM_API ZemStatus zemsSynthesisFilterInitAlloc_PQMF_MP3_32f(ZemMp3PqmfSynthesisSpec_32f** ppState);

/* Releases a state from InitAlloc with zemFree; one from Init is left alone. Statuses:
   zemStatusNullPointer, zemStatusContextMismatch (not a state of this direction). */
ZEM_API ZemStatus zemsAnalysisFilterFree_PQMF_MP3_32f(ZemMp3PqmfAnalysisSpec_32f* pState);
ZEM_API ZemStatus zemsSynthesisFilterFree_PQMF_MP3_32f(ZemMp3PqmfSynthesisSpec_32f* pState);

/* One time slot. Analysis: 32 new samples read at stride numCh (1 or 2) from pSrc, oldest
   first, into 32 sub-band samples at pDst. Synthesis: 32 sub-band samples from pSrc into 32
   samples written at stride numCh to pDst (the elements between are left alone). Statuses, in
   check order: zemStatusNullPointer, zemStatusBadArgument (numCh not 1 or 2),
   zemStatusContextMismatch (not a state of this direction). */
ZEM_API ZemStatus zemsAnalysisFilter_PQMF_MP3_32f(const float* pSrc, float* pDst,
                                                  ZemMp3PqmfAnalysisSpec_32f* pState,
                                                  int32_t numCh);
ZEM_API ZemStatus zemsSynthesisFilter_PQMF_MP3_32f(const float* pSrc, float* pDst,
                                                   ZemMp3PqmfSynthesisSpec_32f* pState,
                                                   int32_t numCh);

#ifdef __cplusplus
}
#endif

#endif
