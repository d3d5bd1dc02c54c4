// Noiseless decoding: round trips of synthesised channel streams through both decoders, and
// every failure status on crafted streams.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "support/aac_ics_writer.hpp"
#include "support/seed.hpp"
#include "support/stream.hpp"
#include "tables/aac_swb.hpp"
#include "zemac.h"

namespace {

using zemtest::AacChannel;
using zemtest::BitBuilder;

struct Outputs {
    ZemAacIcsRec ics{};
    ZemAacChanRec chan{};
    ZemAacLayerMainRec main{};
    int16_t sf[8 * 51] = {};
    int32_t coef[1024] = {};
    uint8_t sfbCb[8 * 51] = {};
    int8_t tnsCoef[64] = {};
    Outputs(int sfIndex) {
        chan.sampling_frequency_index = sfIndex;
        chan.pIcsOfChan = &ics;
    }
};

// Runs a decoder on the stream in an exactly sized buffer (3 readable bytes after the data) and
// returns its status; consumed receives the bits the cursor moved.
enum class Which { Lc, General };

ZemStatus run(Which which, const BitBuilder& b, Outputs& o, long& consumed) {
    zemtest::Cursor c(b);
    const ZemStatus st = which == Which::Lc
                             ? zemsNoiselessDecoder_LC_AAC(&c.p, &c.pos, 0, &o.chan, o.sf, o.coef,
                                                           o.sfbCb, o.tnsCoef)
                             : zemsNoiselessDecode_AAC(&c.p, &c.pos, &o.main, o.sf, o.coef, o.sfbCb,
                                                       o.tnsCoef, &o.chan, 0, 0, 0, 0, 2);
    consumed = c.used();
    return st;
}

// The values after the pulses are applied; false when the pulses run past the frame.
bool with_pulses(const AacChannel& ch, std::vector<int32_t>& c) {
    c = ch.coef;
    int k = ch.pulsesPresent ? zem::aac::swb_long(ch.sfIndex).offset[ch.pulses.startBand] : 0;
    for (std::size_t i = 0; ch.pulsesPresent && i < ch.pulses.offset.size(); ++i) {
        k += ch.pulses.offset[i];
        if (k >= 1024)
            return false;
        int32_t& v = c[std::size_t(k)];
        v = v > 0 ? v + ch.pulses.amplitude[i] : v - ch.pulses.amplitude[i];
    }
    return true;
}

void expect_decoded(const AacChannel& ch, const std::vector<int32_t>& want, const Outputs& o,
                    long consumed, long written) {
    ASSERT_EQ(consumed, written);
    EXPECT_EQ(o.chan.global_gain, ch.globalGain);
    EXPECT_EQ(o.chan.frame_length, ch.windowSequence == 2 ? 128 : 1024);
    const std::vector<int> groups = zemtest::aac_group_lengths(ch);
    ASSERT_EQ(o.ics.num_window_groups, int(groups.size()));
    int section = 0;
    for (std::size_t g = 0; g < groups.size(); ++g) {
        ASSERT_EQ(o.chan.num_sec[g], int(ch.sections[g].size()));
        int end = 0;
        for (const zemtest::AacSection& s : ch.sections[g]) {
            end += s.length;
            EXPECT_EQ(o.chan.sect_cb[section], s.cb);
            EXPECT_EQ(o.chan.sect_end[section], end);
            ++section;
        }
    }
    for (std::size_t i = 0; i < ch.sf.size(); ++i)
        ASSERT_EQ(o.sf[i], ch.sf[i]) << "band " << i;
    for (int i = 0; i < 1024; ++i)
        ASSERT_EQ(o.coef[i], want[std::size_t(i)]) << "value " << i;
    EXPECT_EQ(o.chan.pulse_data_present, ch.pulsesPresent);
    EXPECT_EQ(o.chan.tns_data_present, ch.tnsPresent);
    if (!ch.tnsPresent)
        return;
    int filter = 0, coef = 0;
    for (std::size_t w = 0; w < ch.tns.size(); ++w) {
        EXPECT_EQ(o.chan.n_filt[w], int(ch.tns[w].size()));
        for (const zemtest::AacTnsFilter& f : ch.tns[w]) {
            EXPECT_EQ(o.chan.length[filter], f.length);
            EXPECT_EQ(o.chan.order[filter], f.order);
            ++filter;
            for (int c : f.coef)
                EXPECT_EQ(o.tnsCoef[coef++], c);
        }
    }
}

void round_trips(Which which, const std::vector<int>& books, int iterations) {
    std::mt19937 rng(zemtest::seed());
    for (int it = 0; it < iterations; ++it) {
        const int sfIndex = int(rng() % 12);
        const bool eightShort = rng() % 3 == 0;
        const AacChannel ch = zemtest::random_aac_channel(rng, sfIndex, eightShort, books, true);
        std::vector<int32_t> want;
        if (!with_pulses(ch, want))
            continue;
        BitBuilder b;
        zemtest::write_aac_channel(b, ch);
        Outputs o(sfIndex);
        long consumed = 0;
        ASSERT_EQ(run(which, b, o, consumed), zemStatusOk) << "iteration " << it;
        expect_decoded(ch, want, o, consumed, long(b.bit_count()));
        if (testing::Test::HasFailure())
            return;
    }
}

TEST(AacNoiseless, LowComplexityRoundTrips) {
    round_trips(Which::Lc, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 11, 14, 15}, 400);
}

TEST(AacNoiseless, GeneralRoundTripsWithNoiseAndIntensity) {
    round_trips(Which::General, {0, 1, 4, 7, 10, 11, 13, 13, 14, 15}, 400);
}

// A long channel's global gain and ICS info (no predictor data).
BitBuilder long_ics(int gain, int maxSfb) {
    BitBuilder b;
    b.put(gain, 8).put(0, 1).put(0, 2).put(0, 1).put(maxSfb, 6).put(0, 1);
    return b;
}

// One section of zeros over one band, then the tail fields that follow.
BitBuilder zero_band() { return long_ics(100, 1).put(0, 4).put(1, 5); }

BitBuilder escape11(int ones) { // codebook 11 escape with eight (N = 12) or nine prefix ones
    BitBuilder b = long_ics(100, 1).put(11, 4).put(1, 5);
    zemtest::write_aac_sf_difference(b, 0);
    const zem::HuffCode esc = zem::aac::kSpectralCodes11[16 * 17]; // (16, 0)
    b.put(0, 3).put(esc.code, esc.length).put(1, 1).put((1u << ones) - 1, ones);
    return ones == 8 ? b.put(0, 1).put(4095, 12) : b;
}

// Section, scale-factor, pulse, gain-control, TNS and escape failures on crafted streams, with
// the bits consumed up to the failure and what was or was not written.
TEST(AacNoiseless, StreamFailures) {
    constexpr long kAll = -1, kAny = -2; // bits used: the whole stream, or not checked
    struct Case {
        const char* what;
        Which which;
        BitBuilder (*build)();
        ZemStatus want;
        long used;
        bool (*check)(const Outputs&) = nullptr;
    } const cases[] = {
        {"codebook 13 in LC, while decoding scale factors", Which::Lc,
         [] { return long_ics(100, 2).put(13, 4).put(2, 5); }, zemStatusAacBadCodebook, 28},
        {"codebook 12", Which::General, [] { return long_ics(100, 2).put(12, 4).put(2, 5); },
         zemStatusAacBadCodebook, kAny},
        {"sections beyond max_sfb write nothing for their bands", Which::Lc,
         [] { return long_ics(100, 8).put(1, 4).put(9, 5); }, zemStatusAacBadSectionData, kAny,
         [](const Outputs& o) { return o.sfbCb[0] == 0xEE; }},
        {"escaped section length: 31 then 0 makes 31 bands", Which::Lc,
         [] { return long_ics(100, 31).put(0, 4).put(31, 5).put(0, 5).put(0, 3); }, zemStatusOk,
         kAll, [](const Outputs& o) { return o.chan.sect_end[0] == 31; }},
        {"scale factor leaving 0..255", Which::Lc,
         [] {
             BitBuilder b = long_ics(250, 1).put(1, 4).put(1, 5);
             zemtest::write_aac_sf_difference(b, 10);
             return b;
         },
         zemStatusAacBadScaleFactor, kAll},
        {"max_sfb above the band count of the rate", Which::Lc,
         [] { return long_ics(100, 50).put(1, 4).put(50, 5); }, zemStatusAacBadMaxSfb, kAny},
        {"max_sfb 52 in the ICS info", Which::General, [] { return long_ics(100, 52); },
         zemStatusAacBadMaxSfb, 18},
        {"pulse start band", Which::Lc, [] { return zero_band().put(1, 1).put(0, 2).put(52, 6); },
         zemStatusAacBadPulseData, kAll},
        {"pulse past the band table", Which::Lc,
         [] { return zero_band().put(1, 1).put(0, 2).put(49, 6).put(3, 5).put(1, 4); },
         zemStatusAacBadPulseData, kAll},
        {"pulses from band 48 (offset 928) walking past 1023; on zero values they subtract",
         Which::Lc,
         [] {
             BitBuilder b = zero_band().put(1, 1).put(3, 2).put(48, 6);
             for (int i = 0; i < 4; ++i)
                 b.put(31, 5).put(2, 4);
             return b.put(0, 2);
         },
         zemStatusAacBadPulseData, kAny,
         [](const Outputs& o) {
             return o.coef[959] == -2 && o.coef[990] == -2 && o.coef[1021] == -2;
         }},
        {"gain control", Which::Lc, [] { return zero_band().put(0, 1).put(0, 1).put(1, 1); },
         zemStatusAacGainControlUnsupported, kAny},
        {"TNS order", Which::Lc,
         [] { return zero_band().put(0, 1).put(1, 1).put(1, 2).put(0, 1).put(10, 6).put(13, 5); },
         zemStatusAacBadTnsOrder, kAll},
        {"escape of 13 bits", Which::Lc, [] { return escape11(8); }, zemStatusOk, kAny,
         [](const Outputs& o) { return o.coef[0] == -8191; }},
        {"escape prefix of nine ones", Which::Lc, [] { return escape11(9); },
         zemStatusAacBadSpectralValue, kAny},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Outputs o(4);
        std::memset(o.sfbCb, 0xEE, sizeof o.sfbCb);
        const BitBuilder b = c.build();
        long used = 0;
        EXPECT_EQ(run(c.which, b, o, used), c.want);
        if (c.used != kAny) {
            EXPECT_EQ(used, c.used == kAll ? long(b.bit_count()) : c.used);
        }
        if (c.check != nullptr) {
            EXPECT_TRUE(c.check(o));
        }
    }
}

// The general decoder with the window information given by the caller (scalable layers): no
// ICS info, pulse, TNS or gain-control bits, and a section beyond the band table fails with -2.
TEST(AacNoiseless, HeaderFromCaller) {
    for (int bands : {12, 10}) {
        Outputs o(0); // 96 kHz: 41 long bands
        o.main.num_window_groups = 1;
        o.main.window_group_length[0] = 1;
        o.chan.pulse_data_present = 77;
        BitBuilder b;
        b.put(100, 8).put(0, 4).put(30, 5).put(0, 4).put(bands, 5);
        zemtest::Cursor c(b);
        EXPECT_EQ(zemsNoiselessDecode_AAC(&c.p, &c.pos, &o.main, o.sf, o.coef, o.sfbCb, o.tnsCoef,
                                          &o.chan, 0, 30 + bands, 0, 1, 2),
                  bands == 12 ? zemStatusFailed : zemStatusOk);
        if (bands == 12)
            EXPECT_EQ(o.chan.pulse_data_present, 77);
        else
            EXPECT_EQ(c.used(), long(b.bit_count()));
    }
}

} // namespace
