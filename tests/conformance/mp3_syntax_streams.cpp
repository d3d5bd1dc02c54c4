// Writes Layer III streams with syntax that LAME never produces, from random spectra: intensity
// stereo (MPEG-1 and MPEG-2) with the right channel ending inside, at and below the top bands,
// mixed blocks, and the mixed flag on start and stop blocks. Headers, side information, scale
// factors and MPEG-1 Huffman data come from the library's pack and encode exports, MPEG-2
// Huffman data from the test-side code writer. Beside each stream NAME.mp3 goes NAME.model.wav,
// the same values decoded by the double-precision model.
// usage: mp3_syntax_streams OUTDIR   (ZEM_TEST_SEED overrides the seed)
#include <algorithm>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "support/bit_builder.hpp"
#include "support/mp3_huffman_writer.hpp"
#include "support/mp3_model.hpp"
#include "support/seed.hpp"
#include "tables/mp3_sfb_bands.hpp"
#include "wav.hpp"
#include "zemac.h"

namespace {

namespace model = zemtest::mp3model;
using zemtest::BitBuilder;

struct StreamSpec {
    const char* name;
    int id, sampling_frequency;
    bool intensity; // joint stereo with intensity stereo, else with M/S or neither
};

constexpr int kRates[2][3] = {{22050, 24000, 16000}, {44100, 48000, 32000}};
constexpr int kKbps[2] = {160, 320}; // bit-rate index 14
constexpr int kFrames = 48;
// Block types granule by granule, both channels alike.
constexpr int kBlockTypes[8] = {0, 1, 2, 2, 3, 1, 2, 3};

// The widths of the scale-factor array entries of one channel (array index order, as the pack
// export takes them), from scalefac_compress by ISO/IEC 11172-3 Table B.6 and ISO/IEC 13818-3
// 2.4.3.2 (nr_of_sfb rows 0, 2 and 3).
std::vector<int> entry_widths(const model::Granule& g, int sfc, bool intensityRight,
                              const model::Channel& c) {
    const bool isShort = c.block_type == 2;
    std::vector<int> w;
    if (g.mpeg1) {
        static const int slen1[16] = {0, 0, 0, 0, 3, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4};
        static const int slen2[16] = {0, 1, 2, 3, 0, 1, 2, 3, 1, 2, 3, 1, 2, 3, 2, 3};
        const int n1 = !isShort ? 11 : c.mixed ? 17 : 18, n2 = !isShort ? 10 : 18;
        w.assign(std::size_t(n1), slen1[sfc]);
        w.insert(w.end(), std::size_t(n2), slen2[sfc]);
        return w;
    }
    const int column = !isShort ? 0 : c.mixed ? 2 : 1;
    static const int nr[4][3][4] = {{{6, 5, 5, 5}, {9, 9, 9, 9}, {6, 9, 9, 9}},
                                    {{11, 10, 0, 0}, {18, 18, 0, 0}, {15, 18, 0, 0}},
                                    {{7, 7, 7, 0}, {12, 12, 12, 0}, {6, 15, 12, 0}}};
    int slen[4], row;
    if (intensityRight) { // i = scalefac_compress / 2 below 180 only
        const int i = sfc / 2;
        slen[0] = i / 36, slen[1] = i % 36 / 6, slen[2] = i % 6, slen[3] = 0, row = 2;
    } else if (sfc < 400) {
        slen[0] = sfc / 16 / 5, slen[1] = sfc / 16 % 5, slen[2] = sfc % 16 / 4, slen[3] = sfc % 4;
        row = 0;
    } else { // 500 and above: preflag
        const int j = sfc - 500;
        slen[0] = j / 3, slen[1] = j % 3, slen[2] = slen[3] = 0, row = 1;
    }
    for (int p = 0; p < 4; ++p)
        w.insert(w.end(), std::size_t(nr[row][column][p]), slen[p]);
    return w;
}

// Array index of each scale factor: long band b at b; short band b, window w after the long
// part (8 MPEG-1, 6 MPEG-2 bands in mixed blocks) at base + 3 (b - first) + w.
int long_count(const model::Granule& g, const model::Channel& c) {
    return c.block_type != 2 ? 21 : c.mixed ? (g.mpeg1 ? 8 : 6) : 0;
}
int short_index(const model::Granule& g, const model::Channel& c, int b, int w) {
    return long_count(g, c) + 3 * (b - (c.mixed ? 3 : 0)) + w;
}

class Writer {
  public:
    Writer(const StreamSpec& s, uint32_t seed) : s_(s), rng_(seed) {}
    bool write(const std::string& dir);

  private:
    struct Coded {
        ZemMp3GranuleRec rec{};
        int8_t sf[40] = {};
    };
    void granule(model::Granule& g, int blockType, bool mixed, int fill);
    void fill_spectra(model::Granule& g, int fill);
    void scale_factors(model::Granule& g, int c, Coded& out, bool intensityRight);
    bool code(const ZemMp3HeaderRec& h, const model::Granule& g, int gr, int c, Coded& k,
              BitBuilder& main);
    int32_t random(int32_t top) { return int32_t(rng_() % uint32_t(2 * top + 1)) - top; }

    StreamSpec s_;
    std::mt19937 rng_;
    // The right channel's intensity start: long blocks [0], short blocks by window, and the
    // long part of a mixed block whose short part is empty.
    int intensityStarts_[3] = {};
    int longStart_ = 0;
};

// The right channel's ends: inside the top band (no intensity), inside the band below, at it,
// lower, or empty.
int pick_start(std::mt19937& rng, int first, int top) {
    const int pick = int(rng() % 6);
    return pick == 0   ? top + 1
           : pick < 3  ? top
           : pick == 3 ? top - 1
           : pick == 4 ? first + int(rng() % unsigned(top - 1 - first))
                       : first;
}

void Writer::fill_spectra(model::Granule& g, int fill) {
    const int row = 3 * (g.mpeg1 ? 1 : 0) + g.sampling_frequency;
    const int16_t* lb = zem::mp3::kSfbLong[row];
    const int16_t* sb = zem::mp3::kSfbShort[row];
    auto value = [&](int line) { // larger magnitudes low in frequency, a few escapes at the bottom
        if (rng_() % 3 == 0)
            return int32_t(0);
        const int top = line < 24 ? 40 : line < 100 ? 15 : line < 250 ? 5 : line < 400 ? 2 : 1;
        return random(top);
    };
    const int end = std::min(576, fill);
    for (int c = 0; c < 2; ++c) {
        std::vector<int32_t>& q = g.ch[c].q;
        std::fill(q.begin(), q.end(), 0);
        if (c == 0 || !g.is) {
            for (int i = 0; i < (c == 0 ? end : end * 2 / 3); ++i)
                q[std::size_t(i)] = value(i);
            continue;
        }
        auto last = [&](int from, int width) { // a non-zero value somewhere in the band
            q[std::size_t(from + int(rng_() % unsigned(width)))] = 1;
        };
        const model::Channel& r = g.ch[1];
        if (r.block_type != 2) {
            const int start = intensityStarts_[0];
            for (int i = 0; i < lb[start]; ++i)
                q[std::size_t(i)] = value(i);
            if (start > 0)
                last(lb[start - 1], lb[start] - lb[start - 1]);
            continue;
        }
        const int first = r.mixed ? 3 : 0;
        bool empty = true;
        for (int w = 0; w < 3; ++w) {
            empty = empty && intensityStarts_[w] == first;
            for (int b = first; b < intensityStarts_[w]; ++b) {
                const int width = sb[b + 1] - sb[b], at = 3 * sb[b] + w * width;
                for (int k = 0; k < width; ++k)
                    q[std::size_t(at + k)] = value(at + k);
                if (b == intensityStarts_[w] - 1)
                    last(at, width);
            }
        }
        if (r.mixed) {
            const int longBands = g.mpeg1 ? 8 : 6, start = empty ? longStart_ : longBands;
            for (int i = 0; i < lb[start]; ++i)
                q[std::size_t(i)] = value(i);
            if (start > 0)
                last(lb[start - 1], lb[start] - lb[start - 1]);
        }
    }
}

// Scale factors within their widths; on the intensity right channel positions from the start
// on (MPEG-1 0-7, 7 illegal; MPEG-2 up to 2^slen - 1, the largest illegal).
void Writer::scale_factors(model::Granule& g, int c, Coded& k, bool intensityRight) {
    model::Channel& m = g.ch[c];
    ZemMp3GranuleRec& r = k.rec;
    if (g.mpeg1) {
        static const int rightSfc[2] = {13, 15}; // slen 3 or 4, then 3: positions 0-7 fit
        r.scalefac_compress = intensityRight ? rightSfc[rng_() & 1] : int(rng_() % 16);
    } else if (intensityRight) {
        const int i = 36 * int(1 + rng_() % 4) + 6 * int(1 + rng_() % 4) + int(1 + rng_() % 4);
        r.scalefac_compress = 2 * i + int(rng_() & 1);
    } else if (rng_() % 4 == 0 && m.block_type != 2) {
        r.scalefac_compress = 500 + int(rng_() % 12);
    } else {
        r.scalefac_compress = 16 * int(rng_() % 25) + int(rng_() % 16);
    }
    m.intensity_scale = r.scalefac_compress & 1;
    const std::vector<int> widths = entry_widths(g, r.scalefac_compress, intensityRight, m);
    auto set = [&](int index, bool position, int& sf, bool& illegal) {
        const int width = widths[std::size_t(index)], top = (1 << width) - 1;
        sf = position && g.mpeg1 ? int(rng_() % 8) : int(rng_() % unsigned(top + 1));
        if (position && !g.mpeg1 && rng_() % 4 == 0)
            sf = top;
        illegal = position && !g.mpeg1 && width > 0 && sf == top;
        k.sf[index] = int8_t(sf);
    };
    const int longBands = long_count(g, m);
    const int longStart = m.block_type != 2 ? intensityStarts_[0] : longStart_;
    for (int b = 0; b < longBands; ++b)
        set(b, intensityRight && b >= longStart, m.sfLong[b], m.illegalLong[b]);
    if (m.block_type == 2)
        for (int b = m.mixed ? 3 : 0; b < 12; ++b)
            for (int w = 0; w < 3; ++w)
                set(short_index(g, m, b, w), intensityRight && b >= intensityStarts_[w],
                    m.sfShort[b][w], m.illegalShort[b][w]);
    // MPEG-1: where the band below the top band is not an intensity band, the right channel's
    // own scale factor there is 7 (in range: slen2 is 3). mpg123 takes the top band's position
    // from that entry whatever it holds, even when the right channel has values in the top band;
    // 7 is the illegal position, which the ISO reading gives in these cases.
    if (intensityRight && g.mpeg1) {
        if (m.block_type != 2 && intensityStarts_[0] >= 21)
            k.sf[20] = int8_t(m.sfLong[20] = 7);
        for (int w = 0; m.block_type == 2 && w < 3; ++w)
            if (intensityStarts_[w] >= 12)
                k.sf[short_index(g, m, 11, w)] = int8_t(m.sfShort[11][w] = 7);
    }
}

void Writer::granule(model::Granule& g, int blockType, bool mixed, int fill) {
    const bool isShort = blockType == 2;
    const int first = isShort && mixed ? 3 : 0;
    if (!isShort) {
        intensityStarts_[0] = pick_start(rng_, 0, 21);
    } else {
        for (int& s : intensityStarts_)
            s = pick_start(rng_, first, 12);
        if (mixed && rng_() % 3 == 0)
            intensityStarts_[0] = intensityStarts_[1] = intensityStarts_[2] = 3;
    }
    longStart_ = int(rng_() % (g.mpeg1 ? 9 : 7));
    for (model::Channel& m : g.ch) {
        m = model::Channel{};
        m.block_type = blockType;
        m.mixed = mixed;
        m.global_gain = 144 + int(rng_() % 24);
        m.scalefac_scale = int(rng_() & 1);
        for (int& s : m.subblock_gain)
            s = isShort ? int(rng_() % 4) : 0;
    }
    fill_spectra(g, fill);
}

// Scale factors and Huffman data of one channel appended to the main data; the record's
// part2_3_length, big_values, tables and regions set. False if a count does not fit.
bool Writer::code(const ZemMp3HeaderRec& h, const model::Granule& g, int gr, int c, Coded& k,
                  BitBuilder& main) {
    const model::Channel& m = g.ch[c];
    ZemMp3GranuleRec& r = k.rec;
    std::vector<uint8_t> buf(4096, 0);
    uint8_t* p = buf.data();
    int32_t pos = 0;
    const int32_t scfsi[4] = {};
    if (zemsPackScaleFactors_MP3_8s1u(k.sf, &p, &pos, &h, &r, scfsi, gr, c) != zemStatusOk)
        return false;
    // The big values end after the last magnitude above 1; count1 quadruples run to the last
    // non-zero value, unless they would pass line 576.
    int last = 0, big = 0;
    for (int i = 0; i < 576; ++i) {
        if (m.q[std::size_t(i)] != 0)
            last = i + 1;
        if (std::abs(m.q[std::size_t(i)]) > 1)
            big = i + 1;
    }
    int bv2 = (big + 1) & ~1, quads = (last - bv2 + 3) / 4;
    if (quads < 0)
        quads = 0;
    if (bv2 + 4 * quads > 576)
        bv2 = (last + 1) & ~1, quads = 0;
    r.big_values = bv2 / 2;
    r.count1table_select = int(rng_() & 1);
    const int row = 3 * h.id + h.sampling_frequency;
    const int16_t* lb = zem::mp3::kSfbLong[row];
    int ends[3];
    if (r.window_switching_flag) {
        ends[0] = std::min(bv2, h.id == 1 || r.block_type == 2 ? 36 : 54);
        ends[1] = ends[2] = bv2;
    } else {
        r.region0_count = int(rng_() % 16);
        r.region1_count = int(rng_() % 8);
        if (r.region0_count + r.region1_count > 19)
            r.region0_count = 19 - r.region1_count;
        ends[0] = std::min(bv2, int(lb[r.region0_count + 1]));
        ends[1] = std::min(bv2, int(lb[r.region0_count + r.region1_count + 2]));
        ends[2] = bv2;
    }
    // Each region's table: a random one of those whose values reach its largest magnitude.
    for (int region = 0, from = 0; region < 3; from = ends[region++]) {
        int top = 0;
        for (int i = from; i < ends[region]; ++i)
            top = std::max(top, std::abs(m.q[std::size_t(i)]));
        static const int kSmall[][3] = {{1, 1, 1}, {2, 3, 2}, {5, 6, 5}, {7, 8, 9}, {10, 11, 12}};
        const int pick = int(rng_() % 3);
        r.table_select[region] = top == 0    ? 0
                                 : top <= 1  ? kSmall[0][pick]
                                 : top <= 2  ? kSmall[1][pick]
                                 : top <= 3  ? kSmall[2][pick]
                                 : top <= 5  ? kSmall[3][pick]
                                 : top <= 7  ? kSmall[4][pick]
                                 : top <= 15 ? (pick ? 13 : 15)
                                             : (pick ? 20 : 25); // linbits 6 and 5
    }
    if (h.id == 1) {
        if (zemsHuffmanEncode_MP3_32s1u(m.q.data(), &p, &pos, &h, &r, 4 * quads, 0) != zemStatusOk)
            return false;
    }
    const long bits = (p - buf.data()) * 8 + pos;
    for (long i = 0; i < bits; ++i)
        main.put(zemtest::bit_at(buf.data(), std::size_t(i)), 1);
    long huffman = 0;
    if (h.id == 0) { // the same layout, written code by code
        const std::size_t before = main.bit_count();
        for (int region = 0, from = 0; region < 3; from = ends[region++])
            if (r.table_select[region] != 0)
                for (int i = from; i < ends[region]; i += 2)
                    zemtest::put_pair(main, r.table_select[region], m.q[std::size_t(i)],
                                      m.q[std::size_t(i + 1)]);
        for (int i = 0; i < quads; ++i)
            zemtest::put_quad(main, r.count1table_select == 1, m.q.data() + bv2 + 4 * i);
        huffman = long(main.bit_count() - before);
    }
    r.part2_3_length = int32_t(bits + huffman);
    return r.part2_3_length < 4096;
}

bool Writer::write(const std::string& dir) {
    const int rate = kRates[s_.id][s_.sampling_frequency];
    const int frameBytes = (s_.id ? 144000 : 72000) * kKbps[s_.id] / rate;
    const int nch = 2, granules = s_.id ? 2 : 1;
    const int sideBytes = s_.id ? 32 : 17;
    std::vector<uint8_t> stream;
    std::vector<int16_t> pcm;
    model::Synthesis synth[2];
    int count[4] = {}; // granules with intensity, short, mixed, start/stop with the mixed flag
    for (int frame = 0; frame < kFrames; ++frame) {
        ZemMp3HeaderRec h{};
        h.id = s_.id;
        h.layer = 1;
        h.protection_bit = 1;
        h.bitrate_index = 14;
        h.sampling_frequency = s_.sampling_frequency;
        h.mode = 1;
        const int ms = int(rng_() & 1) << 1;
        h.mode_extension = ms | (s_.intensity ? 1 : 0);
        model::Granule g[2];
        Coded coded[2][2];
        BitBuilder main;
        const long capacity = 8L * (frameBytes - 4 - sideBytes);
        for (int fill = 576;; fill -= 64) { // less spectrum until the frame holds it
            main = BitBuilder{};
            bool ok = true;
            for (int gr = 0; gr < granules && ok; ++gr) {
                const int blockType = kBlockTypes[(frame * granules + gr) % 8];
                const bool mixed = blockType != 0 && (rng_() & 1);
                model::Granule& m = g[gr];
                m.mpeg1 = s_.id == 1;
                m.sampling_frequency = s_.sampling_frequency;
                m.ms = ms != 0;
                m.is = s_.intensity;
                granule(m, blockType, mixed, fill);
                for (int c = 0; c < nch && ok; ++c) {
                    Coded& k = coded[gr][c];
                    k = Coded{};
                    ZemMp3GranuleRec& r = k.rec;
                    const model::Channel& mc = m.ch[c];
                    r.window_switching_flag = blockType != 0;
                    r.block_type = blockType;
                    r.mixed_block_flag = mixed;
                    r.global_gain = mc.global_gain;
                    r.scalefac_scale = mc.scalefac_scale;
                    for (int w = 0; w < 3; ++w)
                        r.subblock_gain[w] = mc.subblock_gain[w];
                    r.region0_count = blockType == 2 && !mixed ? 8 : 7;
                    r.region1_count = 20 - r.region0_count;
                    scale_factors(m, c, k, s_.intensity && c == 1);
                    if (s_.id == 1 && blockType != 2)
                        r.preflag = m.ch[c].preflag = int(rng_() & 1);
                    ok = code(h, m, gr, c, k, main);
                    m.ch[c].preflag = r.preflag; // MPEG-2: set by packing from scalefac_compress
                }
            }
            if (ok && long(main.bit_count()) <= capacity)
                break;
            if (fill <= 64) {
                std::fprintf(stderr, "%s: frame %d does not fit\n", s_.name, frame);
                return false;
            }
        }
        // Header, side information, main data, zeros to the frame's end.
        std::vector<uint8_t> bytes(std::size_t(frameBytes) + 8, 0);
        uint8_t* p = bytes.data();
        ZemMp3GranuleRec side[4];
        for (int gr = 0; gr < granules; ++gr)
            for (int c = 0; c < nch; ++c)
                side[gr * nch + c] = coded[gr][c].rec;
        const int32_t scfsi[8] = {};
        if (zemsPackFrameHeader_MP3(&h, &p) != zemStatusOk ||
            zemsPackSideInfo_MP3(side, &p, 0, 0, scfsi, &h) != zemStatusOk)
            return false;
        const std::vector<uint8_t> data = main.bytes(0);
        std::copy(data.begin(), data.end(), p);
        stream.insert(stream.end(), bytes.begin(), bytes.begin() + frameBytes);
        // The model's decoding of the same granules.
        for (int gr = 0; gr < granules; ++gr) {
            std::vector<double> xr[2], y;
            model::dequantise(g[gr], xr);
            std::vector<int16_t> out(2 * 576);
            for (int c = 0; c < nch; ++c) {
                synth[c].hybrid(xr[c], g[gr].ch[c].block_type, g[gr].ch[c].mixed, y);
                for (int t = 0; t < 18; ++t) {
                    double v[32];
                    synth[c].polyphase(y.data() + 32 * t, v);
                    for (int j = 0; j < 32; ++j)
                        out[std::size_t(2 * (32 * t + j) + c)] = model::to_pcm(v[j]);
                }
            }
            pcm.insert(pcm.end(), out.begin(), out.end());
            const model::Channel& c0 = g[gr].ch[0];
            count[0] += s_.intensity;
            count[1] += c0.block_type == 2;
            count[2] += c0.block_type == 2 && c0.mixed;
            count[3] += c0.block_type % 2 == 1 && c0.mixed;
        }
    }
    std::FILE* f = std::fopen((dir + "/" + s_.name + ".mp3").c_str(), "wb");
    if (f == nullptr)
        return false;
    std::fwrite(stream.data(), 1, stream.size(), f);
    std::fclose(f);
    zemdec::WavWriter wav;
    std::string error;
    if (!wav.open(dir + "/" + s_.name + ".model.wav", error))
        return false;
    wav.begin(rate, 2, 0);
    wav.write(pcm.data(), pcm.size() / 2);
    if (!wav.finish())
        return false;
    int peak = 0;
    for (int16_t v : pcm)
        peak = std::max(peak, std::abs(int(v)));
    std::printf("%s: %d frames, %d intensity granules, %d short (%d mixed), %d start/stop with "
                "the mixed flag, peak %d\n",
                s_.name, kFrames, count[0], count[1], count[2], count[3], peak);
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: mp3_syntax_streams OUTDIR\n");
        return 2;
    }
    const StreamSpec specs[] = {
        {"mpeg1_intensity", 1, 0, true},
        {"mpeg1_mixed", 1, 1, false},
        {"mpeg2_intensity", 0, 0, true},
        {"mpeg2_mixed", 0, 1, false},
    };
    const uint32_t seed = zemtest::seed();
    for (const StreamSpec& s : specs)
        if (!Writer(s, seed).write(argv[1]))
            return 1;
    return 0;
}
