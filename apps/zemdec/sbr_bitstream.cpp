#include "sbr_bitstream.hpp"

#include <algorithm>

#include "sbr_huffman_tables.hpp"

namespace zemdec {

namespace {

struct SbrCodes {
    HuffmanTree tEnv15{kTHuffmanEnv15db, 121, -60};
    HuffmanTree fEnv15{kFHuffmanEnv15db, 121, -60};
    HuffmanTree tBal15{kTHuffmanEnvBal15db, 49, -24};
    HuffmanTree fBal15{kFHuffmanEnvBal15db, 49, -24};
    HuffmanTree tEnv30{kTHuffmanEnv30db, 63, -31};
    HuffmanTree fEnv30{kFHuffmanEnv30db, 63, -31};
    HuffmanTree tBal30{kTHuffmanEnvBal30db, 25, -12};
    HuffmanTree fBal30{kFHuffmanEnvBal30db, 25, -12};
    HuffmanTree tNoise{kTHuffmanNoise30db, 63, -31};
    HuffmanTree tNoiseBal{kTHuffmanNoiseBal30db, 25, -12};
};

const SbrCodes& codes() {
    static const SbrCodes c;
    return c;
}

int bits_for(int values) { // ceil(log2(values))
    int n = 0;
    while ((1 << n) < values)
        ++n;
    return n;
}

bool read_grid(BitReader& br, int headerAmpRes, SbrChannelData& c) {
    c.frameClass = int(br.read(2));
    c.ampRes = headerAmpRes;
    int absLead = 0, absTrail = kSbrTimeSlots, relLead = 0, relTrail = 0, pointer = 0;
    uint8_t lead[4] = {}, trail[4] = {};
    switch (c.frameClass) {
    case kFixFix: {
        c.numEnv = 1 << br.read(2);
        if (c.numEnv > 4)
            return false;
        if (c.numEnv == 1)
            c.ampRes = 0;
        std::fill(c.freqRes, c.freqRes + c.numEnv, uint8_t(br.bit()));
        relLead = c.numEnv - 1;
        std::fill(lead, lead + relLead, uint8_t(kSbrTimeSlots / c.numEnv));
        break;
    }
    case kFixVar:
    case kVarVar: {
        if (c.frameClass == kVarVar)
            absLead = int(br.read(2));
        absTrail += int(br.read(2));
        if (c.frameClass == kVarVar)
            relLead = int(br.read(2));
        relTrail = int(br.read(2));
        c.numEnv = relLead + relTrail + 1;
        if (c.numEnv > kSbrMaxEnvelopes)
            return false;
        for (int i = 0; i < relLead; ++i)
            lead[i] = uint8_t(2 * br.read(2) + 2);
        for (int i = 0; i < relTrail; ++i)
            trail[i] = uint8_t(2 * br.read(2) + 2);
        pointer = int(br.read(bits_for(c.numEnv + 1)));
        if (c.frameClass == kFixVar)
            for (int l = c.numEnv - 1; l >= 0; --l)
                c.freqRes[l] = uint8_t(br.bit());
        else
            for (int l = 0; l < c.numEnv; ++l)
                c.freqRes[l] = uint8_t(br.bit());
        break;
    }
    default: { // kVarFix
        absLead = int(br.read(2));
        relLead = int(br.read(2));
        c.numEnv = relLead + 1;
        for (int i = 0; i < relLead; ++i)
            lead[i] = uint8_t(2 * br.read(2) + 2);
        pointer = int(br.read(bits_for(c.numEnv + 1)));
        for (int l = 0; l < c.numEnv; ++l)
            c.freqRes[l] = uint8_t(br.bit());
        break;
    }
    }
    if (pointer > c.numEnv + 1)
        return false;
    c.tE[0] = uint8_t(absLead);
    c.tE[c.numEnv] = uint8_t(absTrail);
    for (int l = 1; l <= relLead; ++l)
        c.tE[l] = uint8_t(c.tE[l - 1] + lead[l - 1]);
    for (int l = c.numEnv - 1; l > relLead; --l) {
        const int t = c.tE[l + 1] - trail[c.numEnv - 1 - l];
        if (t < 0)
            return false;
        c.tE[l] = uint8_t(t);
    }
    for (int l = 0; l < c.numEnv; ++l)
        if (c.tE[l] >= c.tE[l + 1])
            return false;
    if (c.frameClass == kFixFix)
        c.transientEnv = -1;
    else if (c.frameClass == kVarFix)
        c.transientEnv = pointer > 1 ? pointer - 1 : -1;
    else
        c.transientEnv = pointer > 0 ? c.numEnv + 1 - pointer : -1;

    c.numNoise = c.numEnv > 1 ? 2 : 1;
    c.tQ[0] = c.tE[0];
    c.tQ[c.numNoise] = c.tE[c.numEnv];
    if (c.numNoise == 2) {
        int middle;
        if (c.frameClass == kFixFix)
            middle = c.numEnv / 2;
        else if (c.frameClass == kVarFix)
            middle = pointer == 0 ? 1 : pointer == 1 ? c.numEnv - 1 : pointer - 1;
        else
            middle = pointer > 1 ? c.numEnv + 1 - pointer : c.numEnv - 1;
        c.tQ[1] = c.tE[middle];
    }
    return true;
}

void copy_grid(const SbrChannelData& from, SbrChannelData& to) {
    to.frameClass = from.frameClass;
    to.numEnv = from.numEnv;
    to.numNoise = from.numNoise;
    to.ampRes = from.ampRes;
    to.transientEnv = from.transientEnv;
    std::copy(from.tE, from.tE + kSbrMaxEnvelopes + 1, to.tE);
    std::copy(from.tQ, from.tQ + 3, to.tQ);
    std::copy(from.freqRes, from.freqRes + kSbrMaxEnvelopes, to.freqRes);
}

void read_dtdf(BitReader& br, SbrChannelData& c) {
    for (int l = 0; l < c.numEnv; ++l)
        c.dfEnv[l] = uint8_t(br.bit());
    for (int l = 0; l < c.numNoise; ++l)
        c.dfNoise[l] = uint8_t(br.bit());
}

// The index of the band of the previous envelope's resolution that a band of this one maps to.
int previous_band(const SbrBands& b, int res, int prevRes, int k) {
    if (res == prevRes)
        return k;
    if (res == 0) // low after high: the high band with the same lower border
        return int(std::find(b.f[1], b.f[1] + b.n[1], b.f[0][k]) - b.f[1]);
    int i = 0; // high after low: the low band that contains this one
    while (i + 1 < b.n[0] && b.f[0][i + 1] <= b.f[1][k])
        ++i;
    return i;
}

// Envelope values; `balance` for the second channel of a coupled pair, whose values count
// twice.
bool read_envelope(BitReader& br, const SbrBands& b, bool balance, SbrChannelData& c) {
    const SbrCodes& h = codes();
    const bool coarse = c.ampRes == 1;
    const HuffmanTree& t =
        balance ? (coarse ? h.tBal30 : h.tBal15) : (coarse ? h.tEnv30 : h.tEnv15);
    const HuffmanTree& f =
        balance ? (coarse ? h.fBal30 : h.fBal15) : (coarse ? h.fEnv30 : h.fEnv15);
    const int startBits = (coarse ? 6 : 7) - (balance ? 1 : 0);
    const int scale = balance ? 2 : 1;
    int prevRes = c.lastFreqRes;
    const int16_t* prev = c.lastEnv;
    for (int l = 0; l < c.numEnv; ++l) {
        const int res = c.freqRes[l];
        int16_t* e = c.env[l];
        if (c.dfEnv[l]) {
            for (int k = 0; k < b.n[res]; ++k)
                e[k] = int16_t(prev[previous_band(b, res, prevRes, k)] + scale * t.decode(br));
        } else {
            e[0] = int16_t(scale * int(br.read(startBits)));
            for (int k = 1; k < b.n[res]; ++k)
                e[k] = int16_t(e[k - 1] + scale * f.decode(br));
        }
        // Levels beyond the start value's range (or below zero) would overflow the gains.
        const int top = coarse ? 63 : 127;
        for (int k = 0; k < b.n[res]; ++k)
            if (e[k] < 0 || e[k] > top)
                return false;
        prev = e;
        prevRes = res;
    }
    return true;
}

bool read_noise(BitReader& br, const SbrBands& b, bool balance, SbrChannelData& c) {
    const SbrCodes& h = codes();
    const HuffmanTree& t = balance ? h.tNoiseBal : h.tNoise;
    const HuffmanTree& f = balance ? h.fBal30 : h.fEnv30;
    const int scale = balance ? 2 : 1;
    const int16_t* prev = c.lastNoise;
    for (int l = 0; l < c.numNoise; ++l) {
        int16_t* q = c.noise[l];
        if (c.dfNoise[l]) {
            for (int k = 0; k < b.nQ; ++k)
                q[k] = int16_t(prev[k] + scale * t.decode(br));
        } else {
            q[0] = int16_t(scale * int(br.read(5)));
            for (int k = 1; k < b.nQ; ++k)
                q[k] = int16_t(q[k - 1] + scale * f.decode(br));
        }
        for (int k = 0; k < b.nQ; ++k)
            if (q[k] < 0 || q[k] > 63)
                return false;
        prev = q;
    }
    return true;
}

// Keeps what the next frame's time-direction deltas refer to.
void remember_last(const SbrBands& b, SbrChannelData& c) {
    const int l = c.numEnv - 1;
    c.lastFreqRes = c.freqRes[l];
    std::copy(c.env[l], c.env[l] + b.n[c.lastFreqRes], c.lastEnv);
    std::copy(c.noise[c.numNoise - 1], c.noise[c.numNoise - 1] + b.nQ, c.lastNoise);
}

void read_harmonics(BitReader& br, const SbrBands& b, SbrChannelData& c) {
    c.addHarmonicFlag = br.bit() != 0;
    std::fill(c.addHarmonic, c.addHarmonic + kSbrMaxBands, uint8_t(0));
    if (c.addHarmonicFlag)
        for (int k = 0; k < b.n[1]; ++k)
            c.addHarmonic[k] = uint8_t(br.bit());
}

} // namespace

bool read_sbr_header(BitReader& br, bool crc, SbrPayload& out) {
    if (crc)
        br.skip(10);
    out.headerPresent = br.bit() != 0;
    if (out.headerPresent) {
        SbrHeader& h = out.header;
        h.ampRes = int(br.bit());
        h.startFreq = int(br.read(4));
        h.stopFreq = int(br.read(4));
        h.xoverBand = int(br.read(3));
        br.skip(2);
        const bool extra1 = br.bit() != 0;
        const bool extra2 = br.bit() != 0;
        const SbrHeader defaults;
        h.freqScale = extra1 ? int(br.read(2)) : defaults.freqScale;
        h.alterScale = extra1 ? int(br.bit()) : defaults.alterScale;
        h.noiseBands = extra1 ? int(br.read(2)) : defaults.noiseBands;
        h.limiterBands = extra2 ? int(br.read(2)) : defaults.limiterBands;
        h.limiterGains = extra2 ? int(br.read(2)) : defaults.limiterGains;
        h.interpolFreq = extra2 ? int(br.bit()) : defaults.interpolFreq;
        h.smoothingMode = extra2 ? int(br.bit()) : defaults.smoothingMode;
    }
    return !br.overrun();
}

bool read_sbr_data(BitReader& br, int channels, int ampRes, const SbrBands& bands,
                   SbrChannelData* ch, SbrPayload& out) {
    if (br.bit())
        br.skip(channels == 2 ? 8 : 4); // bs_reserved
    out.coupling = channels == 2 && br.bit() != 0;
    if (channels == 1) {
        if (!read_grid(br, ampRes, ch[0]))
            return false;
        read_dtdf(br, ch[0]);
        for (int i = 0; i < bands.nQ; ++i)
            ch[0].invf[i] = uint8_t(br.read(2));
        if (!read_envelope(br, bands, false, ch[0]) || !read_noise(br, bands, false, ch[0]))
            return false;
    } else if (out.coupling) {
        if (!read_grid(br, ampRes, ch[0]))
            return false;
        copy_grid(ch[0], ch[1]);
        read_dtdf(br, ch[0]);
        read_dtdf(br, ch[1]);
        for (int i = 0; i < bands.nQ; ++i)
            ch[1].invf[i] = ch[0].invf[i] = uint8_t(br.read(2));
        if (!read_envelope(br, bands, false, ch[0]) || !read_noise(br, bands, false, ch[0]) ||
            !read_envelope(br, bands, true, ch[1]) || !read_noise(br, bands, true, ch[1]))
            return false;
    } else {
        if (!read_grid(br, ampRes, ch[0]) || !read_grid(br, ampRes, ch[1]))
            return false;
        read_dtdf(br, ch[0]);
        read_dtdf(br, ch[1]);
        for (int c = 0; c < 2; ++c)
            for (int i = 0; i < bands.nQ; ++i)
                ch[c].invf[i] = uint8_t(br.read(2));
        if (!read_envelope(br, bands, false, ch[0]) || !read_envelope(br, bands, false, ch[1]) ||
            !read_noise(br, bands, false, ch[0]) || !read_noise(br, bands, false, ch[1]))
            return false;
    }
    for (int c = 0; c < channels; ++c) {
        read_harmonics(br, bands, ch[c]);
        remember_last(bands, ch[c]);
    }
    out.extensionBits = 0;
    if (br.bit()) {
        int count = int(br.read(4));
        if (count == 15)
            count += int(br.read(8));
        out.extensionBits = 8 * count;
    }
    return !br.overrun();
}

} // namespace zemdec
