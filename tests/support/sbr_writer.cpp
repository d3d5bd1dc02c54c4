#include "support/sbr_writer.hpp"

#include <algorithm>

#include "sbr_huffman_tables.hpp"

namespace zemtest {

namespace {

void put_code(BitBuilder& b, const zemdec::HuffmanCode* table, int lav, int value) {
    const zemdec::HuffmanCode& c = table[value + lav];
    b.put(c.bits, c.length);
}

int bits_for(int values) {
    int n = 0;
    while ((1 << n) < values)
        ++n;
    return n;
}

// A variable border leads (VARFIX, VARVAR) and/or trails (FIXVAR, VARVAR); the fields of the
// leading one come first.
void write_grid(BitBuilder& b, const SbrFrameSpec& s) {
    b.put(unsigned(s.frameClass), 2);
    const int n = s.envelopes();
    if (s.frameClass == 0) {
        b.put(n == 1 ? 0u : n == 2 ? 1u : n == 4 ? 2u : 3u, 2);
        b.put(unsigned(s.freqRes[0]), 1);
        return;
    }
    const bool lead = s.frameClass >= 2, trail = s.frameClass & 1;
    if (lead)
        b.put(unsigned(s.varBord0), 2);
    if (trail)
        b.put(unsigned(s.varBord1), 2);
    if (lead)
        b.put(s.rel0.size(), 2);
    if (trail)
        b.put(s.rel1.size(), 2);
    for (int r : lead ? s.rel0 : std::vector<int>{})
        b.put(unsigned(r - 2) / 2, 2);
    for (int r : trail ? s.rel1 : std::vector<int>{})
        b.put(unsigned(r - 2) / 2, 2);
    b.put(unsigned(s.pointer), bits_for(n + 1));
    for (int l = 0; l < n; ++l) // FIXVAR lists the resolutions backwards in time
        b.put(unsigned(s.freqRes[std::size_t(s.frameClass == 1 ? n - 1 - l : l)]), 1);
}

void write_dtdf(BitBuilder& b, const SbrFrameSpec& s) {
    for (int v : s.dfEnv)
        b.put(unsigned(v), 1);
    for (int v : s.dfNoise)
        b.put(unsigned(v), 1);
}

// The band of resolution `from` that band k of resolution `to` takes its time delta against.
int reference_band(const zemdec::SbrBands& bands, int to, int from, int k) {
    if (to == from)
        return k;
    const uint8_t* f = bands.f[from];
    const int lower = bands.f[to][k];
    int i = 0;
    for (int j = 0; j < bands.n[from]; ++j)
        if (f[j] <= lower)
            i = j;
    return i;
}

// One envelope of n levels: time deltas with code t against prev (band k against band ref(k)),
// or the first level in `startBits` bits and frequency deltas with code f.
template <class Ref>
void put_levels(BitBuilder& b, const std::vector<int>& v, int n, bool dt,
                const std::vector<int>& prev, Ref ref, const zemdec::HuffmanCode* t,
                const zemdec::HuffmanCode* f, int lav, int startBits) {
    if (!dt)
        b.put(unsigned(v[0]), startBits);
    for (int k = dt ? 0 : 1; k < n; ++k)
        put_code(b, dt ? t : f, lav,
                 v[std::size_t(k)] - (dt ? prev[std::size_t(ref(k))] : v[std::size_t(k) - 1]));
}

void write_envelopes(BitBuilder& b, const zemdec::SbrBands& bands, const SbrFrameSpec& s,
                     int ampRes, bool balance, SbrWriterState& st) {
    using namespace zemdec;
    const bool coarse = ampRes == 1;
    const HuffmanCode* t = balance ? (coarse ? kTHuffmanEnvBal30db : kTHuffmanEnvBal15db)
                                   : (coarse ? kTHuffmanEnv30db : kTHuffmanEnv15db);
    const HuffmanCode* f = balance ? (coarse ? kFHuffmanEnvBal30db : kFHuffmanEnvBal15db)
                                   : (coarse ? kFHuffmanEnv30db : kFHuffmanEnv15db);
    const int lav = balance ? (coarse ? 12 : 24) : (coarse ? 31 : 60);
    for (int l = 0; l < s.envelopes(); ++l) {
        const int res = s.freqRes[std::size_t(l)];
        const auto ref = [&](int k) { return reference_band(bands, res, st.lastRes, k); };
        put_levels(b, s.env[std::size_t(l)], bands.n[res], s.dfEnv[std::size_t(l)] != 0, st.lastEnv,
                   ref, t, f, lav, (coarse ? 6 : 7) - (balance ? 1 : 0));
        st.lastEnv = s.env[std::size_t(l)];
        st.lastRes = res;
    }
}

void write_noise(BitBuilder& b, const zemdec::SbrBands& bands, const SbrFrameSpec& s, bool balance,
                 SbrWriterState& st) {
    using namespace zemdec;
    const HuffmanCode* t = balance ? kTHuffmanNoiseBal30db : kTHuffmanNoise30db;
    const HuffmanCode* f = balance ? kFHuffmanEnvBal30db : kFHuffmanEnv30db;
    for (std::size_t l = 0; l < s.noise.size(); ++l) {
        put_levels(
            b, s.noise[l], bands.nQ, s.dfNoise[l] != 0, st.lastNoise, [](int k) { return k; }, t, f,
            balance ? 12 : 31, 5);
        st.lastNoise = s.noise[l];
    }
}

void write_harmonics(BitBuilder& b, const zemdec::SbrBands& bands, const SbrFrameSpec& s) {
    b.put(s.harmonics ? 1u : 0u, 1);
    if (s.harmonics)
        for (int k = 0; k < bands.n[1]; ++k)
            b.put(unsigned(s.addHarmonic[std::size_t(k)]), 1);
}

} // namespace

int SbrFrameSpec::envelopes() const {
    switch (frameClass) {
    case 0:
        return fixEnvelopes;
    case 1:
        return int(rel1.size()) + 1;
    case 2:
        return int(rel0.size()) + 1;
    default:
        return int(rel0.size() + rel1.size()) + 1;
    }
}

void write_sbr_payload(BitBuilder& b, const zemdec::SbrHeader* header, int headerAmpRes,
                       const zemdec::SbrBands& bands, const SbrFrameSpec* ch, int channels,
                       bool coupling, SbrWriterState* state, int extension,
                       const std::vector<int>* content) {
    b.put(header ? 1u : 0u, 1);
    if (header) {
        const zemdec::SbrHeader& h = *header;
        b.put(unsigned(h.ampRes), 1).put(unsigned(h.startFreq), 4).put(unsigned(h.stopFreq), 4);
        b.put(unsigned(h.xoverBand), 3).put(0, 2).put(1, 1).put(1, 1);
        b.put(unsigned(h.freqScale), 2)
            .put(unsigned(h.alterScale), 1)
            .put(unsigned(h.noiseBands), 2);
        b.put(unsigned(h.limiterBands), 2).put(unsigned(h.limiterGains), 2);
        b.put(unsigned(h.interpolFreq), 1).put(unsigned(h.smoothingMode), 1);
    }
    b.put(0, 1); // bs_data_extra
    if (channels == 2)
        b.put(coupling ? 1u : 0u, 1);
    const int grids = coupling ? 1 : channels; // a coupled pair shares the grid and invf modes
    for (int c = 0; c < grids; ++c)
        write_grid(b, ch[c]);
    for (int c = 0; c < channels; ++c)
        write_dtdf(b, ch[c]);
    for (int c = 0; c < grids; ++c)
        for (int v : ch[c].invf)
            b.put(unsigned(v), 2);
    if (coupling) { // levels then balances, each with its noise
        for (int c = 0; c < 2; ++c) {
            write_envelopes(b, bands, ch[c], ch[0].amp_res(headerAmpRes), c == 1, state[c]);
            write_noise(b, bands, ch[c], c == 1, state[c]);
        }
    } else {
        for (int c = 0; c < channels; ++c)
            write_envelopes(b, bands, ch[c], ch[c].amp_res(headerAmpRes), false, state[c]);
        for (int c = 0; c < channels; ++c)
            write_noise(b, bands, ch[c], false, state[c]);
    }
    for (int c = 0; c < channels; ++c)
        write_harmonics(b, bands, ch[c]);
    b.put(extension ? 1u : 0u, 1);
    if (extension) {
        b.put(unsigned(std::min(extension, 15)), 4);
        if (extension >= 15)
            b.put(unsigned(extension - 15), 8);
        const std::size_t used = content ? content->size() : 0;
        for (std::size_t i = 0; i < 8 * std::size_t(extension); ++i)
            b.put(i < used ? unsigned((*content)[i]) : 0u, 1);
    }
}

std::vector<uint8_t> adts_frame(int sfi, int config, const std::vector<SbrElementFrame>& elements) {
    BitBuilder raw;
    const auto silent_ics = [&raw] {
        raw.put(100, 8);                   // global_gain
        raw.put(0, 1).put(0, 2).put(0, 1); // ics_reserved_bit, only-long, sine window
        raw.put(0, 6).put(0, 1);           // max_sfb 0, no predictor data
        raw.put(0, 1).put(0, 1).put(0, 1); // no pulse, TNS or gain control data
    };
    for (const SbrElementFrame& e : elements) {
        raw.put(unsigned(e.type), 3).put(unsigned(e.tag), 4);
        if (e.type == 1)
            raw.put(0, 1); // no common window
        silent_ics();
        if (e.type == 1)
            silent_ics();
        if (e.payloadBits == 0)
            continue;
        // Fill element: the extension type (and CRC word), then the payload, to whole bytes.
        const std::size_t head = e.crc ? 14 : 4;
        const std::size_t bytes = (head + e.payloadBits + 7) / 8;
        raw.put(6, 3);
        if (bytes < 15)
            raw.put(bytes, 4);
        else
            raw.put(15, 4).put(bytes - 14, 8);
        raw.put(e.crc ? 14u : 13u, 4);
        if (e.crc)
            raw.put(0x2A5, 10); // not checked by the decoders compared
        for (std::size_t i = 0; i < e.payloadBits; ++i)
            raw.put(bit_at(e.payload.data(), i), 1);
        for (std::size_t i = head + e.payloadBits; i < bytes * 8; ++i)
            raw.put(0, 1);
    }
    raw.put(7, 3).align();
    const std::vector<uint8_t> body = raw.bytes(0);
    const std::size_t length = 7 + body.size();
    BitBuilder h;
    h.put(0xFFF, 12).put(0, 1).put(0, 2).put(1, 1); // MPEG-4, no CRC
    h.put(1, 2).put(unsigned(sfi), 4).put(0, 1).put(unsigned(config), 3);
    h.put(0, 4).put(length, 13).put(0x7FF, 11).put(0, 2);
    std::vector<uint8_t> frame = h.bytes(0);
    frame.insert(frame.end(), body.begin(), body.end());
    return frame;
}

std::vector<uint8_t> adts_frame_with_sbr(int sfi, int channels, const std::vector<uint8_t>& payload,
                                         std::size_t payloadBits) {
    return adts_frame(sfi, channels, {{channels == 1 ? 0 : 1, 0, payload, payloadBits}});
}

} // namespace zemtest
