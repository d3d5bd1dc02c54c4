/* zemac: general MDCT. */
#ifndef ZEMAC_TRANSFORM_H
#define ZEMAC_TRANSFORM_H

#include "core.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Opaque MDCT records (tagged, built by Init or InitAlloc). */
typedef struct ZemMdctFwdSpec_32f ZemMdctFwdSpec_32f;
typedef struct ZemMdctInvSpec_32f ZemMdctInvSpec_32f;
typedef struct ZemMdctFwdSpec_16s ZemMdctFwdSpec_16s;

/* MDCT of N time samples and N/2 coefficients, n0 = N/4 + 1/2:
     forward X[k] = 2 sum_n x[n] cos(2 pi/N (n + n0)(k + 1/2)), k < N/2;
     inverse y[n] = 2/N sum_k X[k] cos(2 pi/N (n + n0)(k + 1/2)), n < N.
   No window is applied. Valid lengths: 12, 36 and powers of two from 32 (zemStatusBadSize
   otherwise, and for lengths whose byte counts would exceed 32 bits). */

/* Byte counts of the record memory, the Init scratch and a work buffer for length len.
   Statuses: zemStatusNullPointer, zemStatusBadSize. */
ZEM_API ZemStatus zemsMDCTFwdGetSize_32f(int32_t len, int32_t* pSizeSpec, int32_t* pSizeInit,
                                         int32_t* pSizeWork);
ZEM_API ZemStatus zemsMDCTInvGetSize_32f(int32_t len, int32_t* pSizeSpec, int32_t* pSizeInit,
                                         int32_t* pSizeWork);

/* Builds the record in pMemSpec (any alignment; the record starts at the next 32-byte
   boundary and *ppSpec receives it); pMemInit is scratch during the call, required for powers
   of two. The record must not be moved. Statuses: zemStatusBadSize, zemStatusNullPointer. */
ZEM_API ZemStatus zemsMDCTFwdInit_32f(ZemMdctFwdSpec_32f** ppSpec, int32_t len, uint8_t* pMemSpec,
                                      uint8_t* pMemInit);
ZEM_API ZemStatus zemsMDCTInvInit_32f(ZemMdctInvSpec_32f** ppSpec, int32_t len, uint8_t* pMemSpec,
                                      uint8_t* pMemInit);

/* Allocates and builds a record; release it with the matching Free.
   Statuses: zemStatusNullPointer, zemStatusBadSize, zemStatusNoMemory. */
ZEM_API ZemStatus zemsMDCTFwdInitAlloc_32f(ZemMdctFwdSpec_32f** ppSpec, int32_t len);
ZEM_API ZemStatus zemsMDCTInvInitAlloc_32f(ZemMdctInvSpec_32f** ppSpec, int32_t len);

/* Invalidates a record and releases it if InitAlloc made it.
   Statuses: zemStatusNullPointer, zemStatusContextMismatch. */
ZEM_API ZemStatus zemsMDCTFwdFree_32f(ZemMdctFwdSpec_32f* pSpec);
ZEM_API ZemStatus zemsMDCTInvFree_32f(ZemMdctInvSpec_32f* pSpec);

/* Bytes of the work buffer a transform with this record uses (alignment slack included).
   Statuses: zemStatusNullPointer, zemStatusContextMismatch. */
ZEM_API ZemStatus zemsMDCTFwdGetBufSize_32f(const ZemMdctFwdSpec_32f* pSpec, int32_t* pSize);
ZEM_API ZemStatus zemsMDCTInvGetBufSize_32f(const ZemMdctInvSpec_32f* pSpec, int32_t* pSize);

/* Forward: N samples in, N/2 coefficients out. Inverse: N/2 coefficients in, N samples out.
   pWorkBuf (GetBufSize bytes, any alignment) may be null: the call then allocates one.
   The _I variants work in place. Statuses: the record (zemStatusNullPointer, then
   zemStatusContextMismatch) before the data pointers (zemStatusNullPointer); zemStatusNoMemory. */
ZEM_API ZemStatus zemsMDCTFwd_32f(const float* pSrc, float* pDst, const ZemMdctFwdSpec_32f* pSpec,
                                  uint8_t* pWorkBuf);
ZEM_API ZemStatus zemsMDCTFwd_32f_I(float* pSrcDst, const ZemMdctFwdSpec_32f* pSpec,
                                    uint8_t* pWorkBuf);
ZEM_API ZemStatus zemsMDCTInv_32f(const float* pSrc, float* pDst, const ZemMdctInvSpec_32f* pSpec,
                                  uint8_t* pWorkBuf);
ZEM_API ZemStatus zemsMDCTInv_32f_I(float* pSrcDst, const ZemMdctInvSpec_32f* pSpec,
                                    uint8_t* pWorkBuf);

/* 16-bit forward MDCT, N a power of two from 32: N samples in, N/2 coefficients out, each
   X[k] 2^-scaleFactor of the forward definition above, rounded and saturated. The lifecycle
   functions work as those of the 32f records (Init here checks ppSpec, pMemSpec and pMemInit,
   all required, before the length). Statuses as there. */
ZEM_API ZemStatus zemsMDCTFwdGetSize_16s(int32_t len, int32_t* pSizeSpec, int32_t* pSizeInit,
                                         int32_t* pSizeWork);
ZEM_API ZemStatus zemsMDCTFwdInit_16s(ZemMdctFwdSpec_16s** ppSpec, int32_t len, uint8_t* pMemSpec,
                                      uint8_t* pMemInit);
ZEM_API ZemStatus zemsMDCTFwdInitAlloc_16s(ZemMdctFwdSpec_16s** ppSpec, int32_t len);
ZEM_API ZemStatus zemsMDCTFwdFree_16s(ZemMdctFwdSpec_16s* pSpec);
ZEM_API ZemStatus zemsMDCTFwdGetBufSize_16s(const ZemMdctFwdSpec_16s* pSpec, int32_t* pSize);
ZEM_API ZemStatus zemsMDCTFwd_16s_Sfs(const int16_t* pSrc, int16_t* pDst,
                                      const ZemMdctFwdSpec_16s* pSpec, int32_t scaleFactor,
                                      uint8_t* pWorkBuf);

#ifdef __cplusplus
}
#endif

#endif
