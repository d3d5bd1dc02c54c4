/* zemac: escape-block VLC coding with caller-built code tables. */
#ifndef ZEMAC_VLC_H
#define ZEMAC_VLC_H

#include "core.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Encoding spec, built by the caller at a 32-byte aligned address (the functions round the
   address they are given up to 32). Pair (x, y) uses entry B + 16 + 64 x + y (AAC, |x|, |y| <= 16)
   or B + 15 + 32 x + y (MP3, |x|, |y| <= 15); an entry's code is the codeword followed by the
   pair's sign bits (x first, 1 = negative), its length counting them. */
typedef struct ZemVlcEncSpec {
    const int32_t* pTable; /* 2^k code lengths, then 2^k right-aligned codes */
    int32_t base;          /* B */
    int32_t indexBits;     /* k, in the low byte */
    int32_t reserved;
    uint32_t tag; /* 0x434D415F */
} ZemVlcEncSpec;

/* Decoding spec, also read at the next 32-byte boundary. The lookup table starts with the
   index width of its first level; a level of width w is indexed by the next w bits. An element
   with bit 0 clear links to the level starting at element (e >> 1) of the whole table; with
   bit 0 set it is a leaf: bits 1..L hold how many bits of the last level the codeword uses.
   Plain leaves hold the first value signed above bit L + 9 and the second value + 128 in bits
   L + 1..L + 8; unsigned-tuple leaves hold two V-bit magnitudes, the first at bit
   S - V + L + 1, the second at bit S - 2 V + L + 1. */
typedef struct ZemVlcDecSpec {
    uint32_t tag; /* 0x434D4160 */
    int32_t reserved0;
    int32_t windowBits;  /* W: the longest code with its sign bits (at most 23) */
    const void* pTable;  /* the lookup table */
    int32_t elementBits; /* 32 for int32 elements, anything else for int16 */
    int32_t lengthBits;  /* L */
    int32_t reserved1;
    int32_t valueBits;  /* V (unsigned-tuple tables) */
    int32_t valuesBits; /* S (unsigned-tuple tables) */
} ZemVlcDecSpec;

/* Decoders: len / 2 pairs into pDst, the cursor left after the last bit used. AAC: values of
   magnitude 16 are followed by escape words (magnitude 2^N + N bits, N = 4..12); an escape with
   nine or more leading ones returns zemStatusVlcBadEscape with the pairs before it stored and
   the cursor unchanged. MP3: values of magnitude 15 are followed by linbits bits and their sign.
   The unsigned-tuple variants take magnitudes from the table and read the sign bits themselves.
   The table must be a complete code: a walk that meets no leaf within 32 bits or 32 levels (a
   hole or a loop in the table) returns zemStatusFailed, with the pairs before it stored and the
   cursor unchanged.
   Statuses: zemStatusNullPointer, zemStatusVlcBadBitOffset, zemStatusContextMismatch (tag),
   zemStatusBadSize (len negative), zemStatusBadArgument (linbits outside 0..13),
   zemStatusFailed. */
ZEM_API ZemStatus zemsVLCDecodeEscBlock_AAC_1u16s(uint8_t** ppStream, int32_t* pBitPos,
                                                  int16_t* pDst, int32_t len,
                                                  const ZemVlcDecSpec* pVlcSpec);
ZEM_API ZemStatus zemsVLCDecodeUTupleEscBlock_AAC_1u16s(uint8_t** ppStream, int32_t* pBitPos,
                                                        int16_t* pDst, int32_t len,
                                                        const ZemVlcDecSpec* pVlcSpec);
ZEM_API ZemStatus zemsVLCDecodeEscBlock_MP3_1u16s(uint8_t** ppStream, int32_t* pBitPos,
                                                  int32_t linbits, int16_t* pDst, int32_t len,
                                                  const ZemVlcDecSpec* pVlcSpec);
ZEM_API ZemStatus zemsVLCDecodeUTupleEscBlock_MP3_1u16s(uint8_t** ppStream, int32_t* pBitPos,
                                                        int32_t linbits, int16_t* pDst, int32_t len,
                                                        const ZemVlcDecSpec* pVlcSpec);

/* Encoders: len / 2 pairs from pSrc (AAC magnitudes up to 8191), written from the cursor; the
   bits before the cursor and after the new cursor in the last byte keep their content.
   Statuses as the decoders' (no zemStatusFailed). */
ZEM_API ZemStatus zemsVLCEncodeEscBlock_AAC_16s1u(const int16_t* pSrc, int32_t len,
                                                  uint8_t** ppStream, int32_t* pBitPos,
                                                  const ZemVlcEncSpec* pVlcSpec);
ZEM_API ZemStatus zemsVLCEncodeEscBlock_MP3_16s1u(const int16_t* pSrc, int32_t len, int32_t linbits,
                                                  uint8_t** ppStream, int32_t* pBitPos,
                                                  const ZemVlcEncSpec* pVlcSpec);

/* The bits the encoders would write for the block. Statuses: zemStatusNullPointer,
   zemStatusContextMismatch, zemStatusBadSize, zemStatusBadArgument, as above. */
ZEM_API ZemStatus zemsVLCCountEscBits_AAC_16s32s(const int16_t* pSrc, int32_t len,
                                                 int32_t* pBitCount, const ZemVlcEncSpec* pVlcSpec);
ZEM_API ZemStatus zemsVLCCountEscBits_MP3_16s32s(const int16_t* pSrc, int32_t len, int32_t linbits,
                                                 int32_t* pBitCount, const ZemVlcEncSpec* pVlcSpec);

#ifdef __cplusplus
}
#endif

#endif
