// Writes HE-AAC streams with SBR syntax that the encoder at hand never produces: every frame
// class with its variable borders and transient pointers, both frequency resolutions mixed,
// time- and frequency-direction deltas, sinusoids, coupled and independent channel pairs,
// smoothing, per-band energy estimation off, header changes mid-stream, the SBR-CRC extension
// type, the elements of a 5.1 stream each with its own payload (the LFE without one), and
// parametric stereo in both band configurations (fine IID, both mixing procedures, IPD/OPD,
// fixed and variable envelopes, frames without header or envelopes). The core
// is silent, so the output is the SBR noise floor and sinusoids alone, which any decoder renders
// the same. usage: heaac_syntax_streams OUTDIR (also writes OUTDIR/MANIFEST.tsv)
#include <algorithm>
#include <cstdio>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "support/ps_writer.hpp"
#include "support/sbr_writer.hpp"

namespace {

using zemtest::SbrFrameSpec;

struct Channel {
    int trail = 16;       // the previous frame's last border
    bool fresh = true;    // no deltas against the previous frame (first frame, new header)
    bool balance = false; // the previous frame carried balance values (coupled second channel)
};

int pick(std::mt19937& rng, int lo, int hi) {
    return std::uniform_int_distribution<int>(lo, hi)(rng);
}

// A grid that continues from the previous frame's last border.
void random_grid(std::mt19937& rng, int trail, SbrFrameSpec& s) {
    for (;;) {
        s = SbrFrameSpec{};
        s.frameClass = trail > 16 ? pick(rng, 2, 3) : pick(rng, 0, 3);
        if (s.frameClass == 0) {
            s.fixEnvelopes = 1 << pick(rng, 0, 2);
            s.freqRes.assign(std::size_t(s.fixEnvelopes), pick(rng, 0, 1));
            return;
        }
        s.varBord0 = s.frameClass >= 2 ? trail - 16 : 0;
        s.varBord1 = s.frameClass & 1 ? pick(rng, 0, 3) : 0;
        const int lead = s.frameClass >= 2 ? pick(rng, 0, 3) : 0;
        const int tail = s.frameClass & 1 ? pick(rng, 0, 3) : 0;
        int span = 16 + s.varBord1 - s.varBord0;
        for (int i = 0; i < lead; ++i)
            s.rel0.push_back(2 * pick(rng, 1, 4));
        for (int i = 0; i < tail; ++i)
            s.rel1.push_back(2 * pick(rng, 1, 4));
        for (int r : s.rel0)
            span -= r;
        for (int r : s.rel1)
            span -= r;
        if (span < 1 || lead + tail > 4)
            continue;
        s.pointer = pick(rng, 0, s.envelopes() + 1);
        for (int l = 0; l < s.envelopes(); ++l)
            s.freqRes.push_back(pick(rng, 0, 1));
        return;
    }
}

int last_border(const SbrFrameSpec& s) {
    return s.frameClass == 0 || s.frameClass == 2 ? 16 : 16 + s.varBord1;
}

// Envelope, noise, inverse filtering and sinusoid data for a grid.
void random_data(std::mt19937& rng, const zemdec::SbrBands& b, int ampRes, bool balance, bool fresh,
                 SbrFrameSpec& s) {
    const int amp = s.amp_res(ampRes);
    const int lo = balance ? (amp ? 4 : 8) : (amp ? 14 : 28);
    const int hi = balance ? (amp ? 8 : 16) : (amp ? 22 : 44);
    s.env.clear();
    s.noise.clear();
    s.dfEnv.clear();
    s.dfNoise.clear();
    for (int l = 0; l < s.envelopes(); ++l) {
        s.dfEnv.push_back(fresh && l == 0 ? 0 : pick(rng, 0, 1));
        std::vector<int> e;
        for (int k = 0; k < b.n[s.freqRes[std::size_t(l)]]; ++k)
            e.push_back(pick(rng, lo, hi));
        s.env.push_back(e);
    }
    for (int q = 0; q < (s.envelopes() > 1 ? 2 : 1); ++q) {
        s.dfNoise.push_back(fresh && q == 0 ? 0 : pick(rng, 0, 1));
        std::vector<int> v;
        for (int k = 0; k < b.nQ; ++k)
            v.push_back(balance ? pick(rng, 4, 8) : pick(rng, 2, 12));
        s.noise.push_back(v);
    }
    s.invf.clear();
    for (int k = 0; k < b.nQ; ++k)
        s.invf.push_back(pick(rng, 0, 3));
    // No sinusoids in a frame whose transient sits at its end (l_A = L_E): whether they start
    // with the next frame is where FFmpeg, the reference here, departs from the other decoders.
    const bool transientAtEnd = ((s.frameClass & 1) && s.pointer == 1) ||
                                (s.frameClass == 2 && s.pointer == s.envelopes() + 1);
    s.harmonics = pick(rng, 0, 2) != 0 && !transientAtEnd;
    s.addHarmonic.clear();
    for (int k = 0; k < b.n[1]; ++k)
        s.addHarmonic.push_back(pick(rng, 0, 4) == 0);
}

struct StreamPlan {
    const char* name;
    int sfi;
    int config;                             // ADTS channel configuration
    std::vector<int> elements;              // 0 SCE, 1 CPE, 3 LFE, in stream order
    std::vector<zemdec::SbrHeader> headers; // switched every `period` frames
    int period;
    int frames;
    bool crc = false;  // payloads of extension type SBR-CRC
    bool ps = false;   // parametric stereo in the mono element's extended data
    bool ps34 = false; // its 34-band configuration (else 10/20 bands)
};

// What the next ps_data() builds on: the header's modes and the last envelope's values.
struct PsState {
    bool started = false;
    bool wide = false; // the 34-band configuration
    int iidMode = 0, iccMode = 0;
    bool ext = false;
    int nrIid = 0, nrIcc = 0, nrIpd = 0; // of the last frame with envelopes (0: none yet)
    bool fineIid = false;                // its IID quantisation
    std::vector<int> lastIid = std::vector<int>(34, 0), lastIcc = lastIid, lastIpd = lastIid,
                     lastOpd = lastIid;
};

// A random ps_data() with its 2-bit extension id in front: every IID/ICC mode (10, 20 and 34
// bands, fine IID, the second mixing procedure), fixed and variable envelopes (also none),
// IPD/OPD, time differences where the previous frame has the same band count.
std::vector<int> random_ps(std::mt19937& rng, PsState& ps, int maxEnvIdx) {
    constexpr int kBands[6] = {10, 20, 34, 10, 20, 34}, kIpdBands[3] = {5, 11, 17};
    zemtest::Frame f;
    f.header = !ps.started || pick(rng, 0, 3) == 0;
    // A stream keeps to the 20- or the 34-band configuration, and its headers come with
    // envelopes: switching configurations, or modes without parameters, is where FFmpeg
    // carries the held parameters over differently (those paths are unit-tested).
    if (f.header) {
        do {
            ps.iidMode = pick(rng, 0, 5);
            ps.iccMode = pick(rng, 0, 5);
        } while ((ps.iidMode % 3 == 2 || ps.iccMode % 3 == 2) != ps.wide);
        ps.ext = pick(rng, 0, 1) != 0;
    }
    f.iidMode = ps.iidMode;
    f.iccMode = ps.iccMode;
    f.ext = ps.ext;
    const int nrIid = kBands[ps.iidMode], nrIcc = kBands[ps.iccMode];
    const int nrIpd = kIpdBands[ps.iidMode % 3];
    f.frameClass = pick(rng, 0, 1);
    f.envIdx = pick(rng, ps.started && !f.header ? 0 : 1, maxEnvIdx);
    const int numEnv = f.frameClass == 0 ? (1 << f.envIdx) >> 1 : f.envIdx + 1;
    if (f.frameClass == 1) {
        std::vector<int> all(31);
        std::iota(all.begin(), all.end(), 1);
        std::shuffle(all.begin(), all.end(), rng);
        f.borders.assign(all.begin(), all.begin() + numEnv);
        std::sort(f.borders.begin(), f.borders.end());
    }
    const int fineIid = ps.iidMode >= 3 ? 15 : 7;
    for (int e = 0; e < numEnv; ++e) {
        std::vector<int> iid, icc, ipd, opd;
        for (int b = 0; b < nrIid; ++b)
            iid.push_back(pick(rng, -fineIid, fineIid));
        for (int b = 0; b < nrIcc; ++b)
            icc.push_back(pick(rng, 0, 7));
        for (int b = 0; b < nrIpd; ++b) {
            ipd.push_back(pick(rng, 0, 7));
            opd.push_back(pick(rng, 0, 7));
        }
        f.iidV.push_back(iid);
        f.iccV.push_back(icc);
        const bool first = e == 0;
        f.iidDt.push_back(first ? ps.nrIid == nrIid && ps.fineIid == (ps.iidMode >= 3) &&
                                      pick(rng, 0, 1)
                                : pick(rng, 0, 1) != 0);
        f.iccDt.push_back(first ? ps.nrIcc == nrIcc && pick(rng, 0, 1) : pick(rng, 0, 1) != 0);
        if (ps.ext) {
            f.ipdV.push_back(ipd);
            f.opdV.push_back(opd);
            f.ipdDt.push_back(first ? ps.nrIpd == nrIpd && pick(rng, 0, 1) : pick(rng, 0, 1) != 0);
            f.opdDt.push_back(f.ipdDt.back());
        }
    }
    f.lastIid = ps.lastIid;
    f.lastIcc = ps.lastIcc;
    f.lastIpd = ps.lastIpd;
    f.lastOpd = ps.lastOpd;
    if (numEnv > 0) {
        ps.lastIid = f.iidV.back();
        ps.lastIcc = f.iccV.back();
        ps.nrIid = nrIid;
        ps.fineIid = ps.iidMode >= 3;
        ps.nrIcc = nrIcc;
        if (ps.ext) {
            ps.lastIpd = f.ipdV.back();
            ps.lastOpd = f.opdV.back();
            ps.nrIpd = nrIpd;
        } else {
            ps.nrIpd = 0;
        }
    }
    ps.started = true;
    const zemtest::BitBuilder data = zemtest::write(f);
    const std::vector<uint8_t> bytes = data.bytes();
    std::vector<int> bits = {1, 0}; // the extension id of parametric stereo
    for (std::size_t i = 0; i < data.bit_count(); ++i)
        bits.push_back(int(zemtest::bit_at(bytes.data(), i)));
    return bits;
}

// The SBR state of one element: its channels' grids and the writer's delta references.
struct ElementState {
    Channel ch[2];
    zemtest::SbrWriterState writer[2];
    PsState ps;
};

// One frame's payload for an element of `channels` channels.
void element_payload(std::mt19937& rng, const zemdec::SbrHeader& h, const zemdec::SbrBands& bands,
                     bool withHeader, int frame, int channels, bool ps, ElementState& e,
                     zemtest::BitBuilder& payload) {
    SbrFrameSpec s[2];
    Channel* ch = e.ch;
    const bool coupling = channels == 2 && ch[0].trail == ch[1].trail && pick(rng, 0, 1);
    // A channel that turns from levels to balances (or back) starts without time deltas.
    if (channels == 2 && ch[1].balance != coupling)
        ch[1].fresh = true;
    for (int c = 0; c < channels; ++c) {
        if (c == 1 && coupling)
            s[1] = s[0];
        else
            random_grid(rng, ch[c].trail, s[c]);
        random_data(rng, bands, h.ampRes, c == 1 && coupling, ch[c].fresh, s[c]);
        if (c == 1 && coupling)
            s[1].invf = s[0].invf;
    }
    for (int c = 0; c < channels; ++c) {
        ch[c].trail = last_border(s[c]);
        ch[c].fresh = false;
    }
    ch[1].balance = coupling;
    if (ps) {
        // A fill element holds 269 bytes: a frame that would need more is made again with at
        // most two PS envelopes.
        const ElementState before = e;
        for (int maxEnvIdx = 3;; maxEnvIdx = 1) {
            const std::vector<int> psBits = random_ps(rng, e.ps, maxEnvIdx);
            zemtest::BitBuilder attempt;
            zemtest::write_sbr_payload(attempt, withHeader ? &h : nullptr, h.ampRes, bands, s,
                                       channels, coupling, e.writer, int(psBits.size() + 7) / 8,
                                       &psBits);
            if (attempt.bit_count() + 4 <= 8 * 269 || maxEnvIdx == 1) {
                payload = attempt;
                return;
            }
            e = before;
        }
    }
    zemtest::write_sbr_payload(payload, withHeader ? &h : nullptr, h.ampRes, bands, s, channels,
                               coupling, e.writer, frame % 5 == 0 ? 3 : 0);
}

bool write_stream(const std::string& dir, const StreamPlan& plan, std::mt19937& rng) {
    constexpr int kRates[] = {96000, 88200, 64000, 48000, 44100, 32000,
                              24000, 22050, 16000, 12000, 11025, 8000};
    std::vector<uint8_t> out;
    std::vector<ElementState> states(plan.elements.size());
    for (ElementState& e : states)
        e.ps.wide = plan.ps34;
    zemdec::SbrBands bands;
    int headerIndex = -1;
    for (int f = 0; f < plan.frames; ++f) {
        const int want = (f / plan.period) % int(plan.headers.size());
        const bool newHeader = want != headerIndex;
        if (newHeader) {
            headerIndex = want;
            if (!zemdec::derive_sbr_bands(plan.headers[std::size_t(want)], kRates[plan.sfi], bands))
                return false;
            for (ElementState& e : states)
                e.ch[0].fresh = e.ch[1].fresh = true;
        }
        const zemdec::SbrHeader& h = plan.headers[std::size_t(headerIndex)];
        std::vector<zemtest::SbrElementFrame> elements;
        int tags[4] = {};
        for (std::size_t i = 0; i < plan.elements.size(); ++i) {
            const int type = plan.elements[i];
            zemtest::SbrElementFrame e{type, tags[type]++, {}, 0, plan.crc};
            if (type != 3) {
                zemtest::BitBuilder payload;
                // The header goes out with every header change and every eighth frame.
                element_payload(rng, h, bands, newHeader || f % 8 == 0, f, type == 1 ? 2 : 1,
                                plan.ps, states[i], payload);
                e.payload = payload.bytes(0);
                e.payloadBits = payload.bit_count();
            }
            elements.push_back(e);
        }
        const std::vector<uint8_t> frame = zemtest::adts_frame(plan.sfi, plan.config, elements);
        out.insert(out.end(), frame.begin(), frame.end());
    }
    std::FILE* file = std::fopen((dir + "/" + plan.name + ".aac").c_str(), "wb");
    if (file == nullptr)
        return false;
    const bool ok = std::fwrite(out.data(), 1, out.size(), file) == out.size();
    return std::fclose(file) == 0 && ok;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: heaac_syntax_streams OUTDIR\n");
        return 2;
    }
    const std::string dir = argv[1];
    // Headers by their fields: ampRes, startFreq, stopFreq, xoverBand, freqScale, alterScale,
    // noiseBands, limiterBands, limiterGains, interpolFreq, smoothingMode.
    const zemdec::SbrHeader h44{1, 5, 9, 1, 2, 0, 2, 2, 2, 1, 1};
    const zemdec::SbrHeader h48{0, 7, 8, 0, 1, 1, 3, 3, 1, 0, 0};
    const zemdec::SbrHeader h32{1, 10, 12, 2, 3, 0, 1, 1, 0, 1, 0};
    const zemdec::SbrHeader h51{1, 7, 8, 0, 1, 1, 3, 2, 2, 1, 1};
    const std::vector<zemdec::SbrHeader> h24 = {{1, 4, 10, 0, 0, 0, 2, 0, 3, 1, 1},
                                                {0, 8, 14, 1, 2, 1, 2, 2, 2, 0, 0},
                                                {1, 2, 15, 3, 1, 0, 0, 3, 2, 1, 0}};
    const std::vector<StreamPlan> plans = {
        {"sbr_grids_mono_44k", 7, 1, {0}, {h44}, 1000, 80},
        {"sbr_smoothing_crc_mono_48k", 6, 1, {0}, {h48}, 1000, 80, true},
        {"sbr_pairs_stereo_32k", 8, 2, {1}, {h32}, 1000, 80},
        {"sbr_headers_mono_24k", 9, 1, {0}, h24, 12, 84},
        {"ps20_syntax_mono_44k", 7, 1, {0}, {h44}, 1000, 80, false, true},
        {"ps34_syntax_mono_32k", 8, 1, {0}, {h32}, 1000, 80, false, true, true},
        {"sbr_surround_51_48k", 6, 6, {0, 1, 1, 3}, {h51}, 1000, 48},
    };
    std::mt19937 rng(20261124);
    std::FILE* manifest = std::fopen((dir + "/MANIFEST.tsv").c_str(), "w");
    if (manifest == nullptr)
        return 1;
    for (const StreamPlan& plan : plans) {
        if (!write_stream(dir, plan, rng)) {
            std::fprintf(stderr, "heaac_syntax_streams: %s not written\n", plan.name);
            return 1;
        }
        std::fprintf(manifest, "%s.aac\t%s\n", plan.name, plan.ps ? "heaacv2" : "heaac");
    }
    return std::fclose(manifest) == 0 ? 0 : 1;
}
