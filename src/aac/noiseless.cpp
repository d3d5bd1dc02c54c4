// Noiseless decoding of one individual channel stream: section data, scale factors, pulse
// data, TNS side data and the Huffman-coded spectrum, in the low-complexity and the general
// form.
#include "zemac.h"

#include <cstring>

#include "aac/huffman_tree.hpp"
#include "aac/ics.hpp"
#include "core/checks.hpp"
#include "tables/aac_swb.hpp"

using namespace zem;
using namespace zem::aac;

namespace {

constexpr int kMaxSections = 120;

enum class Variant { LowComplexity, General };

// What the window information of a frame says, wherever it came from.
struct Frame {
    bool eightShort;
    int maxSfb;
    int numGroups;
    const int32_t* groupLength;
    const SwbTable* bands;
    int winLen;
};

// Group count and lengths must describe at most eight windows, or the group areas would run
// past the 1024 values.
bool valid_groups(const Frame& f) {
    if (f.numGroups < 1 || f.numGroups > 8)
        return false;
    int windows = 0;
    for (int g = 0; g < f.numGroups; ++g) {
        if (f.groupLength[g] < 1)
            return false;
        windows += f.groupLength[g];
    }
    return windows <= (f.eightShort ? 8 : 1);
}

void describe_frame(ZemAacChanRec& chan, Frame& f) {
    f.winLen = f.eightShort ? 128 : 1024;
    f.bands = &swb_table(chan.sampling_frequency_index, f.winLen);
    chan.frame_length = f.winLen;
    chan.num_windows = f.eightShort ? 8 : 1;
    chan.num_swb = f.bands->count;
}

ZemStatus read_sections(BitCursor& bc, const Frame& f, ZemAacChanRec& chan, uint8_t* sfbCb) {
    const int lengthBits = f.eightShort ? 3 : 5;
    const uint32_t escape = f.eightShort ? 7 : 31;
    int total = 0;
    for (int g = 0; g < f.numGroups; ++g) {
        int k = 0, s = 0;
        uint8_t* cbRow = sfbCb + g * f.maxSfb;
        while (k < f.maxSfb && s < f.maxSfb) {
            if (total == kMaxSections)
                return zemStatusAacBadSectionData;
            const uint8_t cb = uint8_t(bc.read(4));
            chan.sect_cb[total] = cb;
            uint32_t piece = bc.read(lengthBits);
            int length = int(piece);
            while (piece == escape && k + length <= f.maxSfb) {
                piece = bc.read(lengthBits);
                length += int(piece);
            }
            if (k + length > f.maxSfb)
                return zemStatusAacBadSectionData;
            std::memset(cbRow + k, cb, size_t(length));
            k += length;
            chan.sect_end[total++] = uint8_t(k);
            ++s;
        }
        if (k != f.maxSfb)
            return zemStatusAacBadSectionData;
        chan.num_sec[g] = s;
    }
    return zemStatusOk;
}

// Scale-factor differences from a window that is fetched again only when it may no longer hold
// the longest codeword (the same bytes a single read fetches).
class SfReader {
  public:
    explicit SfReader(BitCursor& bc) : bc_(bc) {}
    int next() {
        if (valid_ < kLongest) {
            window_ = bc_.window();
            valid_ = 32 - bc_.bit_pos();
        }
        int bits = 0;
        const uint32_t index = kSfDecoder.table().decode(window_, bits);
        bc_.skip(bits);
        window_ <<= bits;
        valid_ -= bits;
        return int(index) - 60;
    }
    // Reads outside the codewords go through the cursor, after which the window is stale.
    uint32_t read(int n) {
        valid_ = 0;
        return bc_.read(n);
    }

  private:
    static constexpr int kLongest = huff_longest(kSfCodes);
    BitCursor& bc_;
    uint32_t window_ = 0;
    int valid_ = 0;
};

ZemStatus read_scale_factors(BitCursor& bc, const Frame& f, const ZemAacChanRec& chan,
                             Variant variant, const uint8_t* sfbCb, int16_t* sf) {
    int scale = chan.global_gain, position = 0, noise = 0;
    bool firstNoise = true;
    SfReader reader(bc);
    for (int g = 0; g < f.numGroups; ++g) {
        const uint8_t* cbRow = sfbCb + g * f.maxSfb;
        int16_t* sfRow = sf + g * f.maxSfb;
        for (int b = 0; b < f.maxSfb; ++b) {
            const int cb = cbRow[b];
            if (cb == 0) {
                sfRow[b] = 0;
            } else if (cb <= 11) {
                scale += reader.next();
                if (scale < 0 || scale > 255)
                    return zemStatusAacBadScaleFactor;
                sfRow[b] = int16_t(scale);
            } else if (cb == 14 || cb == 15) {
                position += reader.next();
                sfRow[b] = int16_t(position);
            } else if (cb == 13 && variant == Variant::General) {
                if (firstNoise) {
                    noise = chan.global_gain + int(reader.read(9)) - 346;
                    firstNoise = false;
                } else {
                    noise += reader.next();
                    if (noise < 0 || noise > 255)
                        return zemStatusAacBadScaleFactor;
                }
                sfRow[b] = int16_t(noise);
            } else {
                return zemStatusAacBadCodebook;
            }
        }
    }
    return zemStatusOk;
}

struct Pulses {
    int count;
    int startBand;
    int offset[4];
    int amplitude[4];
};

ZemStatus read_pulses(BitCursor& bc, const Frame& f, Pulses& p) {
    if (f.eightShort)
        return zemStatusAacBadPulseData;
    p.count = int(bc.read(2)) + 1;
    p.startBand = int(bc.read(6));
    if (p.startBand > 51)
        return zemStatusAacBadPulseData;
    for (int i = 0; i < p.count; ++i) {
        p.offset[i] = int(bc.read(5));
        p.amplitude[i] = int(bc.read(4));
    }
    return p.startBand >= f.bands->count ? zemStatusAacBadPulseData : zemStatusOk;
}

ZemStatus apply_pulses(const Pulses& p, const Frame& f, int32_t* coef) {
    int k = f.bands->offset[p.startBand];
    for (int i = 0; i < p.count; ++i) {
        k += p.offset[i];
        if (k >= 1024)
            return zemStatusAacBadPulseData;
        coef[k] = coef[k] > 0 ? coef[k] + p.amplitude[i] : coef[k] - p.amplitude[i];
    }
    return zemStatusOk;
}

// Replaces an escaped magnitude 16 by 2^N + the N bits that follow its prefix of ones.
bool read_escape(BitCursor& bc, int32_t& value) {
    int n = 4;
    while (bc.read(1)) {
        if (++n > 12)
            return false;
    }
    const int32_t magnitude = (int32_t(1) << n) + int32_t(bc.read(n));
    value = value < 0 ? -magnitude : magnitude;
    return true;
}

constexpr bool codewords_fit_window() { // a codeword and its four sign bits in one window
    for (const SpectralBook& b : kSpectralBooks)
        if (huff_longest(b.codes) + 4 > 25)
            return false;
    return true;
}
static_assert(codewords_fit_window());

// The longest codeword of each book with its sign bits: while a window still holds that many
// unread bits, the next codeword is decoded from it without fetching the stream again.
struct BookSpans {
    int bits[12];
};
constexpr BookSpans book_spans() {
    BookSpans s{};
    for (int cb = 1; cb < 12; ++cb)
        s.bits[cb] = huff_longest(kSpectralBooks[cb].codes) +
                     (kSpectralBooks[cb].hasSigns ? kSpectralBooks[cb].dim : 0);
    return s;
}
inline constexpr BookSpans kBookSpans = book_spans();

// Decodes count values (a multiple of Dim) with codebook cb of that dimension. Sign bits
// follow the codeword, one per non-zero value; escapes (codebook 11) follow the signs.
template <int Dim, bool HasSigns>
ZemStatus decode_values(BitCursor& bc, int cb, int32_t* out, int count) {
    constexpr int kFieldBits = spectral_field_bits(Dim);
    const SpectralDecoder decoder = spectral_decoder(cb);
    const int span = kBookSpans.bits[cb];
    int i = 0;
    while (i < count) {
        // The window holds 32 - bit_pos valid bits, the same bytes a single read would fetch.
        uint32_t window = bc.window();
        int valid = 32 - bc.bit_pos();
        bool escaped = false;
        int used = 0; // consumed from the window, handed to the cursor when it is needed
        do {
            int bits = 0;
            const uint32_t symbol = decoder.decode(window, bits);
            int32_t v[Dim];
            for (int j = 0; j < Dim; ++j) {
                const uint32_t field = (symbol >> (kFieldBits * j)) & ((1u << kFieldBits) - 1);
                v[j] = int32_t(field << (32 - kFieldBits)) >> (32 - kFieldBits);
            }
            if constexpr (HasSigns) {
                // The sign bits still sit in the window behind the codeword, one per non-zero
                // value in order; their count comes with the symbol, so the next codeword's
                // position does not wait for the signs. Without branches: the signs are as
                // random as the music, and a mispredicted branch costs more than this.
                uint32_t signs = window << bits;
                bits += int(symbol >> kSpectralSignCountShift);
                for (int j = 0; j < Dim; ++j) {
                    const uint32_t nonzero = 0u - uint32_t(v[j] != 0); // all ones or zero
                    const int32_t flip = int32_t(uint32_t(int32_t(signs) >> 31) & nonzero);
                    v[j] = (v[j] ^ flip) - flip;
                    signs += signs & nonzero; // past this value's sign bit, if it has one
                }
            }
            used += bits;
            window <<= bits;
            valid -= bits;
            if constexpr (HasSigns) {
                if (cb == 11)
                    for (int j = 0; j < Dim; ++j)
                        if (v[j] == 16 || v[j] == -16) {
                            bc.skip(used);
                            used = 0;
                            if (!read_escape(bc, v[j]))
                                return zemStatusAacBadSpectralValue;
                            escaped = true; // the window is behind the cursor now
                        }
            }
            for (int j = 0; j < Dim; ++j)
                out[i + j] = v[j];
            i += Dim;
        } while (i < count && !escaped && valid >= span);
        bc.skip(used);
    }
    return zemStatusOk;
}

ZemStatus decode_section_values(BitCursor& bc, int cb, int32_t* out, int count) {
    const SpectralBook& book = kSpectralBooks[cb];
    if (book.dim == 4)
        return book.hasSigns ? decode_values<4, true>(bc, cb, out, count)
                             : decode_values<4, false>(bc, cb, out, count);
    return book.hasSigns ? decode_values<2, true>(bc, cb, out, count)
                         : decode_values<2, false>(bc, cb, out, count);
}

ZemStatus read_spectrum(BitCursor& bc, const Frame& f, const ZemAacChanRec& chan, int32_t* coef) {
    int section = 0;
    int32_t* area = coef;
    for (int g = 0; g < f.numGroups; ++g) {
        const int groupLength = f.groupLength[g];
        int p = 0;
        for (int s = 0; s < chan.num_sec[g]; ++s, ++section) {
            const int end = chan.sect_end[section];
            if (end > f.bands->count)
                return zemStatusFailed;
            const int n = f.bands->offset[end] * groupLength - p;
            const int cb = chan.sect_cb[section];
            if (cb == 12)
                return zemStatusAacBadCodebook;
            if (cb == 0 || cb >= 13) {
                std::memset(area + p, 0, sizeof(int32_t) * size_t(n));
            } else if (const ZemStatus st = decode_section_values(bc, cb, area + p, n);
                       st != zemStatusOk) {
                return st;
            }
            p += n;
        }
        std::memset(area + p, 0, sizeof(int32_t) * size_t(f.winLen * groupLength - p));
        area += f.winLen * groupLength;
    }
    return zemStatusOk;
}

// Pulse, TNS and gain-control fields that follow the scale factors.
ZemStatus read_tail_fields(BitCursor& bc, const Frame& f, ZemAacChanRec& chan, int8_t* tnsCoef,
                           Pulses& pulses) {
    chan.pulse_data_present = int32_t(bc.read(1));
    if (chan.pulse_data_present)
        if (const ZemStatus st = read_pulses(bc, f, pulses); st != zemStatusOk)
            return st;
    chan.n_filt[0] = 0;
    chan.tns_data_present = int32_t(bc.read(1));
    if (chan.tns_data_present) {
        const TnsFields out{chan.n_filt, chan.coef_res,  chan.length,
                            chan.order,  chan.direction, tnsCoef};
        if (const ZemStatus st = read_tns_data(bc, f.eightShort, out); st != zemStatusOk)
            return st;
    }
    chan.gain_control_data_present = int32_t(bc.read(1));
    return chan.gain_control_data_present ? zemStatusAacGainControlUnsupported : zemStatusOk;
}

// Sections through pulses, once the window information is known.
ZemStatus decode_body(BitCursor& bc, const Frame& f, ZemAacChanRec& chan, Variant variant,
                      bool tailFields, int16_t* sf, int32_t* coef, uint8_t* sfbCb,
                      int8_t* tnsCoef) {
    if (const ZemStatus st = read_sections(bc, f, chan, sfbCb); st != zemStatusOk)
        return st;
    if (const ZemStatus st = read_scale_factors(bc, f, chan, variant, sfbCb, sf); st != zemStatusOk)
        return st;
    Pulses pulses{};
    if (tailFields)
        if (const ZemStatus st = read_tail_fields(bc, f, chan, tnsCoef, pulses); st != zemStatusOk)
            return st;
    if (const ZemStatus st = read_spectrum(bc, f, chan, coef); st != zemStatusOk)
        return st;
    if (tailFields && chan.pulse_data_present)
        return apply_pulses(pulses, f, coef);
    return zemStatusOk;
}

// The window information checked, then everything after it. The low-complexity decoder
// holds max_sfb to the band count; the general one catches sections beyond the band table
// while decoding the spectrum.
ZemStatus decode_frame(BitCursor& bc, Frame f, ZemAacChanRec& chan, Variant variant,
                       bool tailFields, int16_t* sf, int32_t* coef, uint8_t* sfbCb,
                       int8_t* tnsCoef) {
    describe_frame(chan, f);
    const int limit = variant == Variant::LowComplexity ? f.bands->count : 51;
    if (f.maxSfb < 0 || f.maxSfb > limit)
        return zemStatusAacBadMaxSfb;
    if (!valid_groups(f))
        return zemStatusAacBadWindowGroupCount;
    return decode_body(bc, f, chan, variant, tailFields, sf, coef, sfbCb, tnsCoef);
}

// The checks both decoders start with: null pointers (the decoder's own record last), the bit
// offset, the common-window flag.
ZemStatus check_channel_args(uint8_t** ppStream, const int32_t* pBitPos, const ZemAacChanRec* pChan,
                             const int16_t* pSf, const int32_t* pCoef, const uint8_t* pSfbCb,
                             const int8_t* pTnsCoef, const void* record, int32_t commonWindow) {
    if (ppStream == nullptr || pBitPos == nullptr ||
        any_null(pChan, pSf, pCoef, pSfbCb, pTnsCoef) || *ppStream == nullptr || record == nullptr)
        return zemStatusNullPointer;
    if (!valid_bit_pos(*pBitPos))
        return zemStatusAacBadBitOffset;
    if (commonWindow != 0 && commonWindow != 1)
        return zemStatusAacBadCommonWindow;
    return zemStatusOk;
}

Frame frame_of(const ZemAacIcsRec& ics) {
    return {ics.window_sequence == kEightShort,
            ics.max_sfb,
            ics.num_window_groups,
            ics.window_group_length,
            nullptr,
            0};
}

} // namespace

ZEM_API ZemStatus zemsNoiselessDecoder_LC_AAC(uint8_t** ppStream, int32_t* pBitPos,
                                              int32_t commonWindow, ZemAacChanRec* pChan,
                                              int16_t* pSf, int32_t* pCoef, uint8_t* pSfbCb,
                                              int8_t* pTnsCoef) {
    if (const ZemStatus st =
            check_channel_args(ppStream, pBitPos, pChan, pSf, pCoef, pSfbCb, pTnsCoef,
                               pChan == nullptr ? nullptr : pChan->pIcsOfChan, commonWindow);
        st != zemStatusOk)
        return st;
    if (pChan->sampling_frequency_index < 0 || pChan->sampling_frequency_index > 11)
        return zemStatusAacBadSampleRateIndex;
    if (pChan->predSfbLimit != 0)
        return zemStatusAacBadPredictionLimit;
    ZemAacChanRec& chan = *pChan;
    ZemAacIcsRec& ics = *chan.pIcsOfChan;
    BitCursor bc(*ppStream, *pBitPos);
    ZemStatus st = zemStatusOk;
    chan.global_gain = int32_t(bc.read(8));
    if (commonWindow == 0)
        st = read_ics_prediction(bc, ics, 0);
    if (st == zemStatusOk)
        st = decode_frame(bc, frame_of(ics), chan, Variant::LowComplexity, true, pSf, pCoef, pSfbCb,
                          pTnsCoef);
    bc.store(ppStream, pBitPos);
    return st;
}

ZEM_API ZemStatus zemsNoiselessDecode_AAC(uint8_t** ppStream, int32_t* pBitPos,
                                          ZemAacLayerMainRec* pMain, int16_t* pSf, int32_t* pCoef,
                                          uint8_t* pSfbCb, int8_t* pTnsCoef, ZemAacChanRec* pChan,
                                          int32_t windowSequence, int32_t maxSfb,
                                          int32_t commonWindow, int32_t headerSource,
                                          int32_t objectType) {
    if (const ZemStatus st = check_channel_args(ppStream, pBitPos, pChan, pSf, pCoef, pSfbCb,
                                                pTnsCoef, pMain, commonWindow);
        st != zemStatusOk)
        return st;
    if (windowSequence < 0 || windowSequence > 3)
        return zemStatusAacBadWindowSequence;
    if (headerSource != 0 && headerSource != 1)
        return zemStatusAacBadHeaderSourceFlag;
    if (objectType < 0 || objectType > 16)
        return zemStatusAacBadObjectType;
    if (maxSfb < 0 || maxSfb > 51)
        return zemStatusAacBadMaxSfb;
    if (pChan->sampling_frequency_index < 0 || pChan->sampling_frequency_index > 11)
        return zemStatusAacBadSampleRateIndex;
    if (headerSource == 0 && pChan->pIcsOfChan == nullptr)
        return zemStatusNullPointer;
    ZemAacChanRec& chan = *pChan;
    BitCursor bc(*ppStream, *pBitPos);
    ZemStatus st = zemStatusOk;
    chan.global_gain = int32_t(bc.read(8));
    if (commonWindow == 0 && headerSource == 0)
        st = read_ics_mp4(bc, *chan.pIcsOfChan, pMain, chan.predSfbLimit, objectType, false);
    if (st == zemStatusOk) {
        const Frame f =
            headerSource == 0
                ? frame_of(*chan.pIcsOfChan)
                : Frame{windowSequence == kEightShort, maxSfb,  pMain->num_window_groups,
                        pMain->window_group_length,    nullptr, 0};
        st = decode_frame(bc, f, chan, Variant::General, headerSource == 0, pSf, pCoef, pSfbCb,
                          pTnsCoef);
    }
    bc.store(ppStream, pBitPos);
    return st;
}
