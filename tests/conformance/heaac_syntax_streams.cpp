// Writes HE-AAC streams with SBR syntax that the encoder at hand never produces: every frame
// class with its variable borders and transient pointers, both frequency resolutions mixed,
// time- and frequency-direction deltas, sinusoids, coupled and independent channel pairs,
// smoothing, per-band energy estimation off, and header changes mid-stream. The core is silent,
// so the output is the SBR noise floor and sinusoids alone, which any decoder renders the same.
// usage: heaac_syntax_streams OUTDIR (also writes OUTDIR/MANIFEST.tsv)
#include <cstdio>
#include <random>
#include <string>
#include <vector>

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
    // with the next frame is where FFmpeg, the reference here, reads the standard otherwise.
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
    int channels;
    std::vector<zemdec::SbrHeader> headers; // switched every `period` frames
    int period;
    int frames;
};

zemdec::SbrHeader make_header(int start, int stop, int xover, int scale, int alter, int noise,
                              int amp, int limBands, int limGains, int interpol, int smoothing) {
    zemdec::SbrHeader h;
    h.startFreq = start;
    h.stopFreq = stop;
    h.xoverBand = xover;
    h.freqScale = scale;
    h.alterScale = alter;
    h.noiseBands = noise;
    h.ampRes = amp;
    h.limiterBands = limBands;
    h.limiterGains = limGains;
    h.interpolFreq = interpol;
    h.smoothingMode = smoothing;
    return h;
}

bool write_stream(const std::string& dir, const StreamPlan& plan, std::mt19937& rng) {
    constexpr int kRates[] = {96000, 88200, 64000, 48000, 44100, 32000,
                              24000, 22050, 16000, 12000, 11025, 8000};
    std::vector<uint8_t> out;
    Channel ch[2];
    zemtest::SbrWriterState state[2];
    zemdec::SbrBands bands;
    int headerIndex = -1;
    for (int f = 0; f < plan.frames; ++f) {
        const int want = (f / plan.period) % int(plan.headers.size());
        const bool newHeader = want != headerIndex;
        if (newHeader) {
            headerIndex = want;
            if (!zemdec::derive_sbr_bands(plan.headers[std::size_t(want)], kRates[plan.sfi], bands))
                return false;
            ch[0].fresh = ch[1].fresh = true;
        }
        const zemdec::SbrHeader& h = plan.headers[std::size_t(headerIndex)];
        SbrFrameSpec s[2];
        const bool coupling = plan.channels == 2 && ch[0].trail == ch[1].trail && pick(rng, 0, 1);
        // A channel that turns from levels to balances (or back) starts without time deltas.
        if (plan.channels == 2 && ch[1].balance != coupling)
            ch[1].fresh = true;
        for (int c = 0; c < plan.channels; ++c) {
            if (c == 1 && coupling) {
                s[1] = s[0];
            } else {
                random_grid(rng, ch[c].trail, s[c]);
            }
            random_data(rng, bands, h.ampRes, c == 1 && coupling, ch[c].fresh, s[c]);
            if (c == 1 && coupling)
                s[1].invf = s[0].invf;
        }
        for (int c = 0; c < plan.channels; ++c) {
            ch[c].trail = last_border(s[c]);
            ch[c].fresh = false;
        }
        ch[1].balance = coupling;
        zemtest::BitBuilder payload;
        // The header goes out with every header change and every eighth frame.
        zemtest::write_sbr_payload(payload, newHeader || f % 8 == 0 ? &h : nullptr, h.ampRes, bands,
                                   s, plan.channels, coupling, state, f % 5 == 0 ? 3 : 0);
        const std::vector<uint8_t> frame = zemtest::adts_frame_with_sbr(
            plan.sfi, plan.channels, payload.bytes(0), payload.bit_count());
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
    const std::vector<StreamPlan> plans = {
        {"sbr_grids_mono_44k", 7, 1, {make_header(5, 9, 1, 2, 0, 2, 1, 2, 2, 1, 1)}, 1000, 80},
        {"sbr_smoothing_mono_48k", 6, 1, {make_header(7, 8, 0, 1, 1, 3, 0, 3, 1, 0, 0)}, 1000, 80},
        {"sbr_pairs_stereo_32k", 8, 2, {make_header(10, 12, 2, 3, 0, 1, 1, 1, 0, 1, 0)}, 1000, 80},
        {"sbr_headers_mono_24k",
         9,
         1,
         {make_header(4, 10, 0, 0, 0, 2, 1, 0, 3, 1, 1),
          make_header(8, 14, 1, 2, 1, 2, 0, 2, 2, 0, 0),
          make_header(2, 15, 3, 1, 0, 0, 1, 3, 2, 1, 0)},
         12,
         84},
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
        std::fprintf(manifest, "%s.aac\theaac\n", plan.name);
    }
    return std::fclose(manifest) == 0 ? 0 : 1;
}
