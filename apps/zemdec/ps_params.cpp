// ps_data(): the header, the envelope borders and the IID, ICC, IPD and OPD indices of each
// envelope, and the mappings between the 10/20/34-band parameter resolutions.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "huffman_tree.hpp"
#include "ps_decoder.hpp"
#include "ps_huffman_tables.hpp"

namespace zemdec {

namespace ps {

namespace {

// 34 -> 20 bands (17 -> 11 for IPD/OPD: only the first 11). Integer indices divide with
// truncation, as the standard's mapping of indices does.
template <typename T> void fold_34_to_20(const T* p, T* m, bool full) {
    m[0] = T((2 * p[0] + p[1]) / T(3));
    m[1] = T((p[1] + 2 * p[2]) / T(3));
    m[2] = T((2 * p[3] + p[4]) / T(3));
    m[3] = T((p[4] + 2 * p[5]) / T(3));
    m[4] = T((p[6] + p[7]) / T(2));
    m[5] = T((p[8] + p[9]) / T(2));
    m[6] = p[10];
    m[7] = p[11];
    m[8] = T((p[12] + p[13]) / T(2));
    m[9] = T((p[14] + p[15]) / T(2));
    m[10] = p[16];
    if (!full)
        return;
    m[11] = p[17];
    m[12] = p[18];
    m[13] = p[19];
    m[14] = T((p[20] + p[21]) / T(2));
    m[15] = T((p[22] + p[23]) / T(2));
    m[16] = T((p[24] + p[25]) / T(2));
    m[17] = T((p[26] + p[27]) / T(2));
    m[18] = T((p[28] + p[29] + p[30] + p[31]) / T(4));
    m[19] = T((p[32] + p[33]) / T(2));
}

// 20 -> 34 bands (11 -> 17): each 34-band band takes the 20-band band it lies in, or the mean
// of the two it straddles.
constexpr int8_t kFrom20[34] = {0,  0,  1,  2,  2,  3,  4,  4,  5,  5,  6,  7,  8,  8,  9,  9,  10,
                                11, 12, 13, 14, 14, 15, 15, 16, 16, 17, 17, 18, 18, 18, 18, 19, 19};
template <typename T> void spread_20_to_34(const T* p, T* m, bool full) {
    for (int b = 0; b < (full ? 34 : 17); ++b)
        m[b] = p[kFrom20[b]];
    m[1] = T((p[0] + p[1]) / T(2));
    m[4] = T((p[2] + p[3]) / T(2));
}

bool is_full(int n) { return n == 10 || n == 20 || n == 34; }

} // namespace

void map_bands(const int8_t* from, int nFrom, int8_t* to, int nTo) {
    if (nFrom == nTo) {
        std::copy(from, from + nFrom, to);
        return;
    }
    const bool full = is_full(nFrom);
    int8_t mid[20] = {};
    if (nFrom == 10 || nFrom == 5) {
        for (int b = 0; b < nFrom; ++b)
            mid[2 * b] = mid[2 * b + 1] = from[b];
    } else if (nFrom == 34 || nFrom == 17) {
        fold_34_to_20(from, mid, full);
    } else {
        std::copy(from, from + nFrom, mid);
    }
    if (nTo == 34 || nTo == 17) {
        spread_20_to_34(mid, to, full);
    } else if (nTo == 10 || nTo == 5) {
        for (int b = 0; b < nTo; ++b)
            to[b] = mid[2 * b];
    } else {
        std::copy(mid, mid + nTo, to);
    }
}

void map_values(float* v, bool to34) {
    float in[kMaxParBands];
    std::copy(v, v + kMaxParBands, in);
    if (to34)
        spread_20_to_34(in, v, true);
    else
        fold_34_to_20(in, v, true);
}

} // namespace ps

namespace {

struct Codes {
    HuffmanTree iidDf{kIidDfDefault, 29, -14}, iidDt{kIidDtDefault, 29, -14};
    HuffmanTree iidDfFine{kIidDfFine, 61, -30}, iidDtFine{kIidDtFine, 61, -30};
    HuffmanTree iccDf{kIccDf, 15, -7}, iccDt{kIccDt, 15, -7};
    HuffmanTree ipdDf{kIpdDf, 8, 0}, ipdDt{kIpdDt, 8, 0};
    HuffmanTree opdDf{kOpdDf, 8, 0}, opdDt{kOpdDt, 8, 0};
};

const Codes& codes() {
    static const Codes c;
    return c;
}

// Values in [lo, hi]; wrap: modulo 8 instead (phase indices).
struct Range {
    int lo, hi;
    bool wrap;
};

// One envelope's indices, coded as differences along frequency (df) or to the same band of the
// previous envelope (dt).
bool read_envelope(BitReader& br, const HuffmanTree& code, bool dt, const int8_t* prev, int n,
                   int8_t* out, Range range) {
    int v = 0;
    for (int b = 0; b < n; ++b) {
        v = (dt ? prev[b] : v) + code.decode(br);
        if (range.wrap)
            v &= 7;
        else if (v < range.lo || v > range.hi)
            return false;
        out[b] = int8_t(v);
    }
    return !br.overrun();
}

template <int N>
bool read_parameter(BitReader& br, const HuffmanTree& df, const HuffmanTree& dt, const int8_t* last,
                    int numEnv, int n, int8_t (*par)[N], Range range) {
    for (int e = 0; e < numEnv; ++e) {
        const bool timeDiff = br.bit() != 0;
        if (!read_envelope(br, timeDiff ? dt : df, timeDiff, e ? par[e - 1] : last, n, par[e],
                           range))
            return false;
    }
    return true;
}

} // namespace

PsDecoder::PsDecoder() { init_tables(); }

bool PsDecoder::started() const { return started_; }

bool PsDecoder::read(BitReader& br, int bitsLeft) {
    BitReader r = br; // the caller's reader moves by exactly what was read, or past it all
    Header h = header_;
    next_ = Params{};
    const bool ok = parse(r, h, next_) && !r.overrun() && r.position() - br.position() <= bitsLeft;
    if (!ok) {
        br.skip(std::max(bitsLeft, 0));
        return false;
    }
    br.skip(r.position() - br.position());
    header_ = h;
    cur_ = next_;
    fresh_ = true;
    started_ = true;
    return true;
}

bool PsDecoder::parse(BitReader& br, Header& h, Params& p) const {
    if (br.bit()) { // enable_ps_header
        h.enableIid = br.bit() != 0;
        if (h.enableIid && (h.iidMode = int(br.read(3))) > 5)
            return false;
        h.enableIcc = br.bit() != 0;
        if (h.enableIcc && (h.iccMode = int(br.read(3))) > 5)
            return false;
        h.enableExt = br.bit() != 0;
    }
    const int frameClass = int(br.bit());
    p.numEnv = ps::kNumEnv[frameClass][br.read(2)];
    p.border[0] = -1;
    for (int e = 1; e <= p.numEnv; ++e) {
        p.border[e] = frameClass ? int(br.read(5)) : e * kSlots / p.numEnv - 1;
        if (p.border[e] < p.border[e - 1])
            return false;
    }
    p.nrIid = ps::kNrParBands[h.iidMode];
    p.nrIpd = ps::kNrIpdBands[h.iidMode];
    p.nrIcc = ps::kNrParBands[h.iccMode];
    p.fineIid = h.iidMode > 2;
    p.mixingB = h.iccMode > 2;
    p.is34 = h.enableIid || h.enableIcc
                 ? (h.enableIid && p.nrIid == 34) || (h.enableIcc && p.nrIcc == 34)
                 : cur_.is34;

    // Time differences of the first envelope refer to the last one of the previous frame, at
    // this frame's resolution.
    const int le = cur_.numEnv - 1;
    int8_t lastIid[ps::kMaxParBands], lastIcc[ps::kMaxParBands];
    int8_t lastIpd[ps::kMaxIpdBands], lastOpd[ps::kMaxIpdBands];
    ps::map_bands(cur_.iid[le], cur_.nrIid, lastIid, p.nrIid);
    ps::map_bands(cur_.icc[le], cur_.nrIcc, lastIcc, p.nrIcc);
    ps::map_bands(cur_.ipd[le], cur_.nrIpd, lastIpd, p.nrIpd);
    ps::map_bands(cur_.opd[le], cur_.nrIpd, lastOpd, p.nrIpd);

    const Codes& c = codes();
    const int iidMax = p.fineIid ? 15 : 7;
    if (h.enableIid &&
        !read_parameter(br, p.fineIid ? c.iidDfFine : c.iidDf, p.fineIid ? c.iidDtFine : c.iidDt,
                        lastIid, p.numEnv, p.nrIid, p.iid, {-iidMax, iidMax, false}))
        return false;
    if (h.enableIcc &&
        !read_parameter(br, c.iccDf, c.iccDt, lastIcc, p.numEnv, p.nrIcc, p.icc, {0, 7, false}))
        return false;

    if (h.enableExt) {
        int bits = 8 * int(br.read(4)); // ps_extension_size, then esc_count
        if (bits == 8 * 15)
            bits += 8 * int(br.read(8));
        while (bits > 7) {
            const int id = int(br.read(2));
            bits -= 2;
            if (id != 0) // no other extension is defined: skipped with the rest of the count
                break;
            const int start = br.position();
            p.ipdOpd = br.bit() != 0;
            if (p.ipdOpd) {
                for (int e = 0; e < p.numEnv; ++e) {
                    const Range phase{0, 7, true};
                    bool dt = br.bit() != 0;
                    read_envelope(br, dt ? c.ipdDt : c.ipdDf, dt, e ? p.ipd[e - 1] : lastIpd,
                                  p.nrIpd, p.ipd[e], phase);
                    dt = br.bit() != 0;
                    read_envelope(br, dt ? c.opdDt : c.opdDf, dt, e ? p.opd[e - 1] : lastOpd,
                                  p.nrIpd, p.opd[e], phase);
                }
            }
            br.bit(); // reserved_ps
            bits -= br.position() - start;
        }
        if (bits < 0)
            return false;
        br.skip(bits);
    }

    // Without a border at the frame's last slot, the last envelope (or, with none, the previous
    // frame's) holds to the end of the frame.
    if (p.numEnv == 0 || p.border[p.numEnv] < kSlots - 1) {
        const int e = p.numEnv;
        if (e > 0) {
            std::memcpy(p.iid[e], p.iid[e - 1], sizeof p.iid[e]);
            std::memcpy(p.icc[e], p.icc[e - 1], sizeof p.icc[e]);
            std::memcpy(p.ipd[e], p.ipd[e - 1], sizeof p.ipd[e]);
            std::memcpy(p.opd[e], p.opd[e - 1], sizeof p.opd[e]);
        } else {
            if (h.enableIid)
                std::copy(lastIid, lastIid + p.nrIid, p.iid[0]);
            if (h.enableIcc)
                std::copy(lastIcc, lastIcc + p.nrIcc, p.icc[0]);
            if (p.ipdOpd) {
                std::copy(lastIpd, lastIpd + p.nrIpd, p.ipd[0]);
                std::copy(lastOpd, lastOpd + p.nrIpd, p.opd[0]);
            }
            // The previous frame's IID may use the fine grid where this one does not.
            for (int b = 0; b < p.nrIid; ++b)
                if (std::abs(p.iid[0][b]) > iidMax)
                    return false;
        }
        p.border[++p.numEnv] = kSlots - 1;
    }
    return !br.overrun();
}

// A frame without ps_data(): its last envelope covers the next frame.
void PsDecoder::hold() {
    const int e = cur_.numEnv - 1;
    if (e > 0) {
        std::memcpy(cur_.iid[0], cur_.iid[e], sizeof cur_.iid[0]);
        std::memcpy(cur_.icc[0], cur_.icc[e], sizeof cur_.icc[0]);
        std::memcpy(cur_.ipd[0], cur_.ipd[e], sizeof cur_.ipd[0]);
        std::memcpy(cur_.opd[0], cur_.opd[e], sizeof cur_.opd[0]);
    }
    cur_.numEnv = 1;
    cur_.border[1] = kSlots - 1;
}

} // namespace zemdec
