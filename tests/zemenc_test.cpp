// The sample encoder's own parts: the WAV reader on good and broken files, and the frames it
// writes walked with the library's unpackers: every main_data_begin within the reservoir and
// within the payload already sent, every frame's main data within what it may use.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "encoder.hpp"
#include "wav_reader.hpp"
#include "zemac.h"

namespace {

std::vector<uint8_t> wav(int channels, int bits, int rate, const std::vector<int16_t>& samples,
                         int format = 1) {
    std::vector<uint8_t> f;
    auto put = [&](uint32_t v, int bytes) {
        for (int i = 0; i < bytes; ++i)
            f.push_back(uint8_t(v >> (8 * i)));
    };
    auto tag = [&](const char* t) {
        for (int i = 0; i < 4; ++i)
            f.push_back(uint8_t(t[i]));
    };
    const uint32_t bytes = uint32_t(2 * samples.size());
    tag("RIFF");
    put(36 + bytes, 4);
    tag("WAVE");
    tag("fmt "); // size, format and channels, rate, byte rate, block size and sample bits
    for (const uint32_t v :
         {16u, uint32_t(format | channels << 16), uint32_t(rate),
          uint32_t(rate * channels * bits / 8), uint32_t(channels * bits / 8 | bits << 16)})
        put(v, 4);
    tag("data");
    put(bytes, 4);
    for (int16_t s : samples)
        put(uint16_t(s), 2);
    return f;
}

TEST(ZemencWav, ReadsPcmAndRefusesTheRest) {
    zemenc::Pcm pcm;
    std::string error;
    ASSERT_TRUE(zemenc::parse_wav(wav(2, 16, 48000, {1, -2, 3, -4}), pcm, error)) << error;
    EXPECT_EQ(pcm.rate, 48000);
    EXPECT_EQ(pcm.channels, 2);
    EXPECT_EQ(pcm.samples, (std::vector<int16_t>{1, -2, 3, -4}));
    // A data size past the end (a streamed file): what is there, whole frames only.
    std::vector<uint8_t> cut = wav(2, 16, 44100, {5, 6, 7, 8});
    cut.resize(cut.size() - 2);
    ASSERT_TRUE(zemenc::parse_wav(cut, pcm, error));
    EXPECT_EQ(pcm.samples, (std::vector<int16_t>{5, 6}));
    for (const auto& bad : {wav(3, 16, 44100, {}), wav(1, 8, 44100, {}), wav(1, 16, 44100, {}, 3),
                            std::vector<uint8_t>{'R', 'I', 'F', 'F'}, std::vector<uint8_t>(44, 0)})
        EXPECT_FALSE(zemenc::parse_wav(bad, pcm, error));
    std::vector<uint8_t> noData = wav(1, 16, 44100, {});
    noData.resize(36);
    EXPECT_FALSE(zemenc::parse_wav(noData, pcm, error));
}

constexpr int kKbps[15] = {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320};

TEST(ZemencFrames, MainDataStaysWithinTheReservoir) {
    zemenc::Pcm pcm;
    pcm.rate = 44100;
    pcm.channels = 2;
    for (int i = 0; i < 44100 * 3;
         ++i) { // quiet, then loud bursts: the reservoir fills and empties
        const double loud = (i / 11025) % 2 ? 12000.0 : 300.0;
        pcm.samples.push_back(int16_t(loud * std::sin(0.07 * i) + 0.3 * loud * std::sin(1.3 * i)));
        pcm.samples.push_back(int16_t(loud * std::sin(0.05 * i)));
    }
    for (const int quality : {-1, -2, 4}) { // 64 and 128 kbit/s, then a variable rate
        zemenc::Settings settings;
        settings.kbps = quality == -1 ? 64 : 128;
        settings.vbrQuality = std::max(quality, -1);
        std::vector<uint8_t> mp3;
        std::string error;
        ASSERT_TRUE(zemenc::encode(pcm, settings, mp3, error)) << error;
        mp3.resize(mp3.size() + 8, 0);
        uint8_t* p = mp3.data();
        const uint8_t* end = mp3.data() + mp3.size() - 8;
        long sent = 0; // payload bytes of the frames so far
        int frames = 0, maxBegin = 0, lowest = 14, highest = 0;
        // The tag frame first: a silent frame with the Info tag, before any audio.
        ZemMp3HeaderRec tagHeader{};
        uint8_t* q = mp3.data();
        ASSERT_EQ(zemsUnpackFrameHeader_MP3(&q, &tagHeader), zemStatusOk);
        ASSERT_EQ(std::memcmp(mp3.data() + 36, quality >= 0 ? "Xing" : "Info", 4), 0);
        p += 144000 * kKbps[tagHeader.bitrate_index] / 44100;
        while (p < end) {
            uint8_t* frame = p;
            ZemMp3HeaderRec h{};
            ASSERT_EQ(zemsUnpackFrameHeader_MP3(&p, &h), zemStatusOk);
            ASSERT_EQ(frame[0], 0xFF);
            ZemMp3GranuleRec side[4];
            int32_t begin = 0, priv = 0, scfsi[8];
            ASSERT_EQ(zemsUnpackSideInfo_MP3(&p, side, &begin, &priv, scfsi, &h), zemStatusOk);
            const int bytes = 144000 * kKbps[h.bitrate_index] / 44100 + h.padding_bit;
            EXPECT_EQ(h.mode_extension & 1, quality == -1 ? 1 : 0); // intensity at 64 kbit/s only
            lowest = std::min(lowest, h.bitrate_index);
            highest = std::max(highest, h.bitrate_index);
            const long payload = bytes - (p - frame);
            ZemMp3ReservoirRec r{};
            ASSERT_EQ(zemsBitReservoirInit_MP3(&r, &h), zemStatusOk);
            EXPECT_LE(begin, std::min<long>(sent, r.maxReservoirBits / 8)) << "frame " << frames;
            long bits = 0;
            for (const ZemMp3GranuleRec& g : side)
                bits += g.part2_3_length;
            EXPECT_LE(bits, 8 * (begin + payload)) << "frame " << frames;
            maxBegin = std::max(maxBegin, begin);
            sent += payload;
            p = frame + bytes;
            ++frames;
        }
        EXPECT_EQ(p, end);
        EXPECT_GT(maxBegin, 0); // the reservoir was used
        if (quality >= 0)       // quiet and loud passages take different rates
            EXPECT_GT(highest, lowest + 2);
        else
            EXPECT_EQ(highest, lowest);
        EXPECT_EQ(frames, (44100 * 3 + zemenc::kEncoderDelay + 1151) / 1152);
    }
}

} // namespace
