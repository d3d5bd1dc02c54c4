#include "support/aac_ics_writer.hpp"

#include <algorithm>

#include "tables/aac_huffman.hpp"
#include "tables/aac_swb.hpp"

namespace zemtest {
namespace {

using zem::HuffCode;

int largest_magnitude(int cb) {
    static const int kLav[12] = {0, 1, 1, 2, 2, 4, 4, 7, 7, 12, 12, 8191};
    return kLav[cb];
}

void write_codeword(BitBuilder& b, int cb, const int32_t* v) {
    const zem::aac::SpectralBook& book = zem::aac::kSpectralBooks[cb];
    int index = 0;
    for (int j = 0; j < book.dim; ++j) {
        int digit = book.hasSigns ? (v[j] < 0 ? -v[j] : v[j]) : v[j] + book.offset;
        if (cb == 11 && digit > 16)
            digit = 16;
        index = index * book.radix + digit;
    }
    const HuffCode& c = book.codes.codes[index];
    b.put(c.code, c.length);
    if (!book.hasSigns)
        return;
    for (int j = 0; j < book.dim; ++j)
        if (v[j] != 0)
            b.put(v[j] < 0, 1);
    if (cb != 11)
        return;
    for (int j = 0; j < 2; ++j) {
        const int m = v[j] < 0 ? -v[j] : v[j];
        if (m < 16)
            continue;
        int n = 4;
        while ((2 << n) <= m)
            ++n;
        b.put((1u << (n - 4)) - 1, n - 4).put(0, 1).put(uint32_t(m - (1 << n)), n);
    }
}

} // namespace

std::vector<int> aac_group_lengths(const AacChannel& ch) {
    if (ch.windowSequence != 2)
        return {1};
    std::vector<int> groups{1};
    for (int bit = 6; bit >= 0; --bit) {
        if ((ch.grouping >> bit) & 1)
            ++groups.back();
        else
            groups.push_back(1);
    }
    return groups;
}

void write_aac_sf_difference(BitBuilder& b, int d) {
    const HuffCode& c = zem::aac::kSfCodes[d + 60];
    b.put(c.code, c.length);
}

void write_aac_channel(BitBuilder& b, const AacChannel& ch) {
    const bool eightShort = ch.windowSequence == 2;
    b.put(ch.globalGain, 8);
    b.put(0, 1).put(ch.windowSequence, 2).put(ch.windowShape, 1);
    if (eightShort)
        b.put(ch.maxSfb, 4).put(ch.grouping, 7);
    else
        b.put(ch.maxSfb, 6).put(0, 1);
    const int lengthBits = eightShort ? 3 : 5, escape = eightShort ? 7 : 31;
    for (const auto& group : ch.sections)
        for (const AacSection& s : group) {
            b.put(s.cb, 4);
            int left = s.length;
            while (left >= escape) {
                b.put(escape, lengthBits);
                left -= escape;
            }
            b.put(left, lengthBits);
        }
    int scale = ch.globalGain, position = 0, noise = 0;
    bool firstNoise = true;
    int band = 0;
    for (const auto& group : ch.sections)
        for (const AacSection& s : group)
            for (int k = 0; k < s.length; ++k, ++band) {
                const int v = ch.sf[std::size_t(band)];
                if (s.cb >= 1 && s.cb <= 11) {
                    write_aac_sf_difference(b, v - scale);
                    scale = v;
                } else if (s.cb == 14 || s.cb == 15) {
                    write_aac_sf_difference(b, v - position);
                    position = v;
                } else if (s.cb == 13) {
                    if (firstNoise)
                        b.put(uint32_t(v - ch.globalGain + 346), 9);
                    else
                        write_aac_sf_difference(b, v - noise);
                    firstNoise = false;
                    noise = v;
                }
            }
    b.put(ch.pulsesPresent, 1);
    if (ch.pulsesPresent) {
        b.put(ch.pulses.offset.size() - 1, 2).put(ch.pulses.startBand, 6);
        for (std::size_t i = 0; i < ch.pulses.offset.size(); ++i)
            b.put(ch.pulses.offset[i], 5).put(ch.pulses.amplitude[i], 4);
    }
    b.put(ch.tnsPresent, 1);
    if (ch.tnsPresent)
        for (std::size_t w = 0; w < ch.tns.size(); ++w) {
            b.put(ch.tns[w].size(), eightShort ? 1 : 2);
            if (ch.tns[w].empty())
                continue;
            b.put(ch.tnsCoefRes[w] - 3, 1);
            for (const AacTnsFilter& f : ch.tns[w]) {
                b.put(f.length, eightShort ? 4 : 6).put(f.order, eightShort ? 3 : 5);
                if (f.order == 0)
                    continue;
                b.put(f.direction, 1).put(f.compress, 1);
                for (int c : f.coef)
                    b.put(uint32_t(c), ch.tnsCoefRes[w] - f.compress);
            }
        }
    b.put(0, 1); // gain control
    const zem::aac::SwbTable& bands = zem::aac::swb_table(ch.sfIndex, eightShort ? 128 : 1024);
    const std::vector<int> groups = aac_group_lengths(ch);
    const int32_t* area = ch.coef.data();
    for (std::size_t g = 0; g < groups.size(); ++g) {
        int start = 0;
        for (const AacSection& s : ch.sections[g]) {
            const int end = start + s.length;
            if (s.cb >= 1 && s.cb <= 11) {
                const int dim = zem::aac::kSpectralBooks[s.cb].dim;
                for (int i = bands.offset[start] * groups[g]; i < bands.offset[end] * groups[g];
                     i += dim)
                    write_codeword(b, s.cb, area + i);
            }
            start = end;
        }
        area += (eightShort ? 128 : 1024) * groups[g];
    }
}

AacChannel random_aac_channel(std::mt19937& rng, int sfIndex, bool eightShort,
                              const std::vector<int>& books, bool withPulsesAndTns) {
    auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    AacChannel ch;
    ch.sfIndex = sfIndex;
    ch.windowSequence = eightShort ? 2 : pick(0, 1) * 3;
    ch.windowShape = pick(0, 1);
    const zem::aac::SwbTable& bands = zem::aac::swb_table(sfIndex, eightShort ? 128 : 1024);
    ch.maxSfb = pick(0, bands.count);
    ch.grouping = eightShort ? pick(0, 127) : 0;
    ch.globalGain = pick(80, 180);
    const std::vector<int> groups = aac_group_lengths(ch);
    ch.coef.assign(1024, 0);
    int scale = ch.globalGain, noise = 0, position = 0;
    bool firstNoise = true;
    int32_t* area = ch.coef.data();
    for (int g : groups) {
        std::vector<AacSection> sections;
        for (int k = 0; k < ch.maxSfb;) {
            const AacSection s{books[std::size_t(pick(0, int(books.size()) - 1))],
                               pick(1, ch.maxSfb - k)};
            sections.push_back(s);
            for (int band = k; band < k + s.length; ++band) {
                int v = 0;
                if (s.cb >= 1 && s.cb <= 11) {
                    scale = std::clamp(scale + pick(-20, 20), 0, 255);
                    v = scale;
                    const int lav = largest_magnitude(s.cb);
                    for (int i = bands.offset[band] * g; i < bands.offset[band + 1] * g; ++i) {
                        const int r = pick(0, 9);
                        int32_t x = r < 4 ? 0 : pick(-std::min(lav, 16), std::min(lav, 16));
                        if (s.cb == 11 && r == 9)
                            x = pick(17, 8191) * (pick(0, 1) ? 1 : -1);
                        area[i] = x;
                    }
                } else if (s.cb == 14 || s.cb == 15) {
                    // Intensity positions run on their own: consecutive ones at most 60 apart.
                    v = position = std::clamp(pick(-100, 100), position - 60, position + 60);
                } else if (s.cb == 13) {
                    noise = firstNoise
                                ? pick(std::max(0, ch.globalGain - 346),
                                       std::min(255, ch.globalGain + 165))
                                : noise + pick(std::max(-60, -noise), std::min(60, 255 - noise));
                    firstNoise = false;
                    v = noise;
                }
                ch.sf.push_back(v);
            }
            k += s.length;
        }
        ch.sections.push_back(sections);
        area += (eightShort ? 128 : 1024) * g;
    }
    if (withPulsesAndTns) {
        if (!eightShort && ch.maxSfb > 0 && pick(0, 1)) {
            ch.pulsesPresent = true;
            ch.pulses.startBand = pick(0, ch.maxSfb - 1);
            for (int i = pick(1, 4); i > 0; --i) {
                ch.pulses.offset.push_back(pick(0, 31));
                ch.pulses.amplitude.push_back(pick(0, 15));
            }
        }
        ch.tnsPresent = pick(0, 1) != 0;
        if (ch.tnsPresent)
            for (int w = 0; w < (eightShort ? 8 : 1); ++w) {
                ch.tnsCoefRes.push_back(pick(3, 4));
                std::vector<AacTnsFilter> filters(std::size_t(pick(0, eightShort ? 1 : 3)));
                for (AacTnsFilter& f : filters) {
                    f.length = pick(0, eightShort ? 15 : 63);
                    f.order = pick(0, eightShort ? 7 : 12);
                    f.direction = pick(0, 1);
                    f.compress = pick(0, 1);
                    const int width = ch.tnsCoefRes.back() - f.compress;
                    for (int i = 0; i < f.order; ++i)
                        f.coef.push_back(pick(-(1 << (width - 1)), (1 << (width - 1)) - 1));
                }
                ch.tns.push_back(filters);
            }
    }
    return ch;
}

} // namespace zemtest
