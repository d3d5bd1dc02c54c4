// Escape-block VLC coding with caller-built tables: AAC escape words and MP3 linbits around a
// code of value pairs.
#include "zemac.h"

#include "core/bitstream.hpp"
#include "core/checks.hpp"
#include "core/state.hpp"

using namespace zem;

namespace {

constexpr uint32_t kEncTag = uint32_t(Tag::VlcEncSpec);
constexpr uint32_t kDecTag = uint32_t(Tag::VlcDecSpec);

// The lookup table of a decoding spec.
class Lookup {
  public:
    // A leaf's length field counts bits of one level (at most 23 in a valid table); keeping
    // only its low five bits holds a malformed leaf to 32 + 31 bits a walk.
    explicit Lookup(const ZemVlcDecSpec& s, int lengthBits)
        : s_(s), lengthMask_(((1u << lengthBits) - 1) & 31u) {}

    // Walks the levels over the left-aligned window; returns the leaf and the bits it uses, or
    // 0 (never a leaf) when the walk finds no leaf within the window: a table whose links loop
    // or run past 32 bits (an empty or incomplete code) must not keep the decoder going.
    int32_t decode(uint32_t window, int& used) const {
        int at = 0, consumed = 0;
        for (int level = 0; level <= 32 && consumed <= 32; ++level) {
            const int width = element(at);
            const uint32_t rest = consumed < 32 ? window << consumed : 0;
            const uint32_t index = width > 0 ? rest >> (32 - width) : 0;
            const int32_t e = element(at + 1 + int(index));
            if (e & 1) {
                used = consumed + int((uint32_t(e) >> 1) & lengthMask_);
                return e;
            }
            consumed += width;
            at = e >> 1;
        }
        return 0;
    }

  private:
    int32_t element(int i) const {
        return s_.elementBits == 32 ? static_cast<const int32_t*>(s_.pTable)[i]
                                    : static_cast<const int16_t*>(s_.pTable)[i];
    }
    const ZemVlcDecSpec& s_;
    uint32_t lengthMask_;
};

template <typename Spec> const Spec& at_boundary(const Spec* p) { return *align_up<32>(p); }

ZemStatus check_decoder(uint8_t** ppStream, int32_t* pBitPos, const int16_t* pDst,
                        const ZemVlcDecSpec* pSpec) {
    if (any_null(ppStream, pBitPos, pDst, pSpec) || *ppStream == nullptr)
        return zemStatusNullPointer;
    if (!valid_bit_pos(*pBitPos))
        return zemStatusVlcBadBitOffset;
    return at_boundary(pSpec).tag == kDecTag ? zemStatusOk : zemStatusContextMismatch;
}

// After the records: len (values, two per pair) not negative, linbits of the MP3 tables 0..13.
ZemStatus check_block(int32_t len, int32_t linbits = 0) {
    if (len < 0)
        return zemStatusBadSize;
    return linbits >= 0 && linbits <= 13 ? zemStatusOk : zemStatusBadArgument;
}

ZemStatus check_encoder(const int16_t* pSrc, uint8_t** ppStream, int32_t* pBitPos,
                        const ZemVlcEncSpec* pSpec) {
    if (any_null(pSrc, ppStream, pBitPos, pSpec) || *ppStream == nullptr)
        return zemStatusNullPointer;
    if (!valid_bit_pos(*pBitPos))
        return zemStatusVlcBadBitOffset;
    return at_boundary(pSpec).tag == kEncTag ? zemStatusOk : zemStatusContextMismatch;
}

// AAC escape word after a magnitude 16: N - 4 ones, a zero, N bits (N = 4..12).
bool read_escape(BitCursor& bc, int32_t& value) {
    const uint32_t nine = bc.peek(9);
    int ones = 0;
    while (ones < 9 && ((nine >> (8 - ones)) & 1))
        ++ones;
    if (ones == 9)
        return false;
    bc.skip(ones + 1);
    const int n = 4 + ones;
    const int32_t magnitude = (int32_t(1) << n) + int32_t(bc.read(n));
    value = value < 0 ? -magnitude : magnitude;
    return true;
}

int escape_bits(int magnitude) {
    int n = 4;
    while ((2 << n) <= magnitude)
        ++n;
    return 2 * n - 3;
}

// Reads linbits and a sign bit after a magnitude of 15.
int32_t read_linbits(BitCursor& bc, int linbits) {
    const int32_t magnitude = 15 + (linbits > 0 ? int32_t(bc.read(linbits)) : 0);
    return bc.read(1) ? -magnitude : magnitude;
}

int32_t read_sign(BitCursor& bc, int32_t magnitude) {
    return magnitude != 0 && bc.read(1) ? -magnitude : magnitude;
}

enum class Tuple { Plain, Unsigned };

// Values of a leaf: plain leaves hold signed values, unsigned-tuple leaves magnitudes.
void leaf_values(const ZemVlcDecSpec& s, Tuple tuple, int lengthBits, int32_t e, int32_t& x,
                 int32_t& y) {
    if (tuple == Tuple::Plain) {
        x = e >> (lengthBits + 9);
        y = int32_t((uint32_t(e) >> (lengthBits + 1)) & 0xFF) - 128;
        return;
    }
    const uint32_t mask = (1u << s.valueBits) - 1;
    x = int32_t((uint32_t(e) >> (s.valuesBits - s.valueBits + lengthBits + 1)) & mask);
    y = int32_t((uint32_t(e) >> (s.valuesBits - 2 * s.valueBits + lengthBits + 1)) & mask);
}

ZemStatus decode_aac(uint8_t** ppStream, int32_t* pBitPos, int16_t* pDst, int32_t len,
                     const ZemVlcDecSpec* pSpec, Tuple tuple) {
    if (const ZemStatus st = check_decoder(ppStream, pBitPos, pDst, pSpec); st != zemStatusOk)
        return st;
    if (const ZemStatus st = check_block(len); st != zemStatusOk)
        return st;
    const ZemVlcDecSpec& s = at_boundary(pSpec);
    const int lengthBits = tuple == Tuple::Unsigned ? (s.lengthBits & 0xFF) : s.lengthBits;
    const Lookup lookup(s, lengthBits);
    BitCursor bc(*ppStream, *pBitPos);
    for (int i = 0; i + 1 < len; i += 2) {
        int used = 0;
        const int32_t e = lookup.decode(bc.window(), used);
        if (e == 0)
            return zemStatusFailed;
        bc.skip(used);
        int32_t v[2];
        leaf_values(s, tuple, lengthBits, e, v[0], v[1]);
        if (tuple == Tuple::Unsigned)
            for (int32_t& x : v)
                x = read_sign(bc, x);
        for (int32_t& x : v)
            if ((x == 16 || x == -16) && !read_escape(bc, x))
                return zemStatusVlcBadEscape; // the cursor stays where the block started
        pDst[i] = int16_t(v[0]);
        pDst[i + 1] = int16_t(v[1]);
    }
    bc.store(ppStream, pBitPos);
    return zemStatusOk;
}

ZemStatus decode_mp3(uint8_t** ppStream, int32_t* pBitPos, int32_t linbits, int16_t* pDst,
                     int32_t len, const ZemVlcDecSpec* pSpec, Tuple tuple) {
    if (const ZemStatus st = check_decoder(ppStream, pBitPos, pDst, pSpec); st != zemStatusOk)
        return st;
    if (const ZemStatus st = check_block(len, linbits); st != zemStatusOk)
        return st;
    const ZemVlcDecSpec& s = at_boundary(pSpec);
    const Lookup lookup(s, s.lengthBits);
    BitCursor bc(*ppStream, *pBitPos);
    for (int i = 0; i + 1 < len; i += 2) {
        int used = 0;
        const int32_t e = lookup.decode(bc.window(), used);
        if (e == 0)
            return zemStatusFailed;
        bc.skip(used);
        int32_t x, y;
        leaf_values(s, tuple, s.lengthBits, e, x, y);
        if (tuple == Tuple::Unsigned) {
            x = x == 15 ? read_linbits(bc, linbits) : read_sign(bc, x);
            y = y == 15 ? read_linbits(bc, linbits) : read_sign(bc, y);
        } else if (x == 15 || x == -15) {
            // The code carried the signs; give them back and read them in stream order.
            bc.rewind(y != 0 ? 2 : 1);
            x = read_linbits(bc, linbits);
            y = y == 15 || y == -15 ? read_linbits(bc, linbits) : read_sign(bc, y < 0 ? -y : y);
        } else if (y == 15 || y == -15) {
            bc.rewind(1);
            y = read_linbits(bc, linbits);
        }
        pDst[i] = int16_t(x);
        pDst[i + 1] = int16_t(y);
    }
    bc.store(ppStream, pBitPos);
    return zemStatusOk;
}

// Writes bits from the cursor, keeping the bits of each byte that receive none.
class BitSink {
  public:
    BitSink(uint8_t* p, int pos) : p_(p), pos_(pos) {}
    void put(uint32_t value, int n) {
        while (n > 0) {
            const int room = 8 - pos_;
            const int take = n < room ? n : room;
            const uint32_t bits = (value >> (n - take)) & ((1u << take) - 1);
            const uint8_t mask = uint8_t(((1u << take) - 1) << (room - take));
            *p_ = uint8_t((*p_ & ~mask) | (bits << (room - take)));
            pos_ += take;
            n -= take;
            if (pos_ == 8) {
                ++p_;
                pos_ = 0;
            }
        }
    }
    void store(uint8_t** ppStream, int32_t* pBitPos) const {
        *ppStream = p_;
        *pBitPos = pos_;
    }

  private:
    uint8_t* p_;
    int pos_;
};

// The table entry of a pair after clamping to the code's largest magnitude.
struct Entry {
    uint32_t code;
    int length;
};

Entry entry(const ZemVlcEncSpec& s, int x, int y, int limit, int stride) {
    auto clamp = [limit](int v) { return v > limit ? limit : v < -limit ? -limit : v; };
    const int index = s.base + limit + stride * clamp(x) + clamp(y);
    const int32_t* lengths = s.pTable;
    return {uint32_t(lengths[(1 << (s.indexBits & 0xFF)) + index]), lengths[index]};
}

int magnitude(int v) { return v < 0 ? -v : v; }

// Entry lengths of the clamped pairs plus extra(m) for every magnitude m at or above limit.
template <typename Extra>
ZemStatus count_bits(const int16_t* pSrc, int32_t len, int32_t linbits, int32_t* pBitCount,
                     const ZemVlcEncSpec* pVlcSpec, int limit, int stride, Extra extra) {
    if (any_null(pSrc, pBitCount, pVlcSpec))
        return zemStatusNullPointer;
    const ZemVlcEncSpec& s = at_boundary(pVlcSpec);
    if (s.tag != kEncTag)
        return zemStatusContextMismatch;
    if (const ZemStatus st = check_block(len, linbits); st != zemStatusOk)
        return st;
    int32_t bits = 0;
    for (int i = 0; i + 1 < len; i += 2) {
        bits += entry(s, pSrc[i], pSrc[i + 1], limit, stride).length;
        for (int k = 0; k < 2; ++k)
            if (magnitude(pSrc[i + k]) >= limit)
                bits += extra(magnitude(pSrc[i + k]));
    }
    *pBitCount = bits;
    return zemStatusOk;
}

} // namespace

ZEM_API ZemStatus zemsVLCDecodeEscBlock_AAC_1u16s(uint8_t** ppStream, int32_t* pBitPos,
                                                  int16_t* pDst, int32_t len,
                                                  const ZemVlcDecSpec* pVlcSpec) {
    return decode_aac(ppStream, pBitPos, pDst, len, pVlcSpec, Tuple::Plain);
}

ZEM_API ZemStatus zemsVLCDecodeUTupleEscBlock_AAC_1u16s(uint8_t** ppStream, int32_t* pBitPos,
                                                        int16_t* pDst, int32_t len,
                                                        const ZemVlcDecSpec* pVlcSpec) {
    return decode_aac(ppStream, pBitPos, pDst, len, pVlcSpec, Tuple::Unsigned);
}

ZEM_API ZemStatus zemsVLCDecodeEscBlock_MP3_1u16s(uint8_t** ppStream, int32_t* pBitPos,
                                                  int32_t linbits, int16_t* pDst, int32_t len,
                                                  const ZemVlcDecSpec* pVlcSpec) {
    return decode_mp3(ppStream, pBitPos, linbits, pDst, len, pVlcSpec, Tuple::Plain);
}

ZEM_API ZemStatus zemsVLCDecodeUTupleEscBlock_MP3_1u16s(uint8_t** ppStream, int32_t* pBitPos,
                                                        int32_t linbits, int16_t* pDst, int32_t len,
                                                        const ZemVlcDecSpec* pVlcSpec) {
    return decode_mp3(ppStream, pBitPos, linbits, pDst, len, pVlcSpec, Tuple::Unsigned);
}

ZEM_API ZemStatus zemsVLCEncodeEscBlock_AAC_16s1u(const int16_t* pSrc, int32_t len,
                                                  uint8_t** ppStream, int32_t* pBitPos,
                                                  const ZemVlcEncSpec* pVlcSpec) {
    if (const ZemStatus st = check_encoder(pSrc, ppStream, pBitPos, pVlcSpec); st != zemStatusOk)
        return st;
    if (const ZemStatus st = check_block(len); st != zemStatusOk)
        return st;
    const ZemVlcEncSpec& s = at_boundary(pVlcSpec);
    BitSink out(*ppStream, *pBitPos);
    for (int i = 0; i + 1 < len; i += 2) {
        const Entry e = entry(s, pSrc[i], pSrc[i + 1], 16, 64);
        out.put(e.code, e.length);
        for (int k = 0; k < 2; ++k) {
            const int m = magnitude(pSrc[i + k]);
            if (m < 16)
                continue;
            const int n = (escape_bits(m) + 3) / 2;
            out.put((1u << (n - 4)) - 1, n - 4);
            out.put(0, 1);
            out.put(uint32_t(m) & ((1u << n) - 1), n);
        }
    }
    out.store(ppStream, pBitPos);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsVLCEncodeEscBlock_MP3_16s1u(const int16_t* pSrc, int32_t len, int32_t linbits,
                                                  uint8_t** ppStream, int32_t* pBitPos,
                                                  const ZemVlcEncSpec* pVlcSpec) {
    if (const ZemStatus st = check_encoder(pSrc, ppStream, pBitPos, pVlcSpec); st != zemStatusOk)
        return st;
    if (const ZemStatus st = check_block(len, linbits); st != zemStatusOk)
        return st;
    const ZemVlcEncSpec& s = at_boundary(pVlcSpec);
    BitSink out(*ppStream, *pBitPos);
    for (int i = 0; i + 1 < len; i += 2) {
        const int x = pSrc[i], y = pSrc[i + 1];
        const Entry e = entry(s, x, y, 15, 32);
        // The code ends with the signs; linbits go in front of their value's sign bit.
        const int signs = (x != 0) + (y != 0);
        out.put(e.code >> signs, e.length - signs);
        int signAt = signs;
        const int pair[2] = {x, y};
        for (const int v : pair) {
            if (magnitude(v) >= 15 && linbits > 0)
                out.put(uint32_t(magnitude(v) - 15), linbits);
            if (v != 0)
                out.put(e.code >> --signAt, 1);
        }
    }
    out.store(ppStream, pBitPos);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsVLCCountEscBits_AAC_16s32s(const int16_t* pSrc, int32_t len,
                                                 int32_t* pBitCount,
                                                 const ZemVlcEncSpec* pVlcSpec) {
    return count_bits(pSrc, len, 0, pBitCount, pVlcSpec, 16, 64,
                      [](int m) { return escape_bits(m); });
}

ZEM_API ZemStatus zemsVLCCountEscBits_MP3_16s32s(const int16_t* pSrc, int32_t len, int32_t linbits,
                                                 int32_t* pBitCount,
                                                 const ZemVlcEncSpec* pVlcSpec) {
    return count_bits(pSrc, len, linbits, pBitCount, pVlcSpec, 15, 32,
                      [linbits](int) { return linbits; });
}
