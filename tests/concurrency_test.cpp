// The library keeps no state between calls beyond what the caller hands it: eight threads that
// decode at once, each with its own states, produce the bits that one thread alone produces, and
// so do threads that share one read-only transform record with work buffers of their own. The
// ThreadSanitizer build (scripts/tsan.sh) runs these tests to show that no two threads touch the
// same memory.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "aac_decoder.hpp"
#include "mp3_decoder.hpp"
#include "zemac.h"

namespace {

uint64_t fnv1a(uint64_t h, const void* data, std::size_t bytes) {
    const auto* p = static_cast<const uint8_t*>(data);
    for (std::size_t i = 0; i < bytes; ++i)
        h = (h ^ p[i]) * 0x100000001B3ull;
    return h;
}

struct Job {
    std::string file;
    bool sbrLowPower = false;
};

// The hash of everything the decoder writes, format included.
uint64_t decode(const Job& job) {
    zemdec::Buffer in;
    std::string error;
    EXPECT_TRUE(zemdec::load_file(std::string(ZEM_TEST_DATA_DIR) + "/" + job.file, in, error))
        << job.file << ": " << error;
    uint64_t h = 0xCBF29CE484222325ull;
    int channels = 0;
    zemdec::PcmOutput out;
    out.begin = [&](const zemdec::StreamFormat& f) {
        channels = f.channels;
        h = fnv1a(h, &f, sizeof f);
    };
    out.write = [&](const int16_t* pcm, std::size_t frames) {
        h = fnv1a(h, pcm, frames * std::size_t(channels) * 2);
    };
    const zemdec::DecodeSummary s = job.file.ends_with(".mp3")
                                        ? zemdec::decode_mp3(in, out, {}, nullptr)
                                        : zemdec::decode_aac(in, out, nullptr, job.sbrLowPower);
    EXPECT_GT(s.frames, 0) << job.file;
    EXPECT_EQ(s.errors, 0) << job.file;
    return h;
}

TEST(Concurrency, EightDecodersAtOnceGiveTheBitsOfOne) {
    const std::vector<Job> jobs = {
        {"mp3/mpeg1_44100_128_joint.mp3"},  {"mp3/mpeg2_22050_64_joint.mp3"},
        {"aac/stereo_44100.aac"},           {"aac/main_stereo_48000_nopns.aac"},
        {"aac/ltp_stereo_48000_nopns.aac"}, {"heaac/he-s24-speech-28k.aac"},
        {"heaac/ps-s22-music-20k.aac"},     {"heaac/he-s24-speech-28k.aac", true}};
    std::vector<uint64_t> alone;
    for (const Job& j : jobs)
        alone.push_back(decode(j));
    std::vector<uint64_t> together(jobs.size());
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < jobs.size(); ++i)
        threads.emplace_back([&, i] { together[i] = decode(jobs[i]); });
    for (std::thread& t : threads)
        t.join();
    for (std::size_t i = 0; i < jobs.size(); ++i)
        EXPECT_EQ(together[i], alone[i]) << jobs[i].file;
}

// One forward and one inverse MDCT record and one 16-bit record, shared by eight threads that
// each bring their own input, output and work buffer.
TEST(Concurrency, SharedTransformRecords) {
    constexpr int32_t kLen = 512;
    ZemMdctFwdSpec_32f* fwd = nullptr;
    ZemMdctInvSpec_32f* inv = nullptr;
    ZemMdctFwdSpec_16s* fwd16 = nullptr;
    ASSERT_EQ(zemsMDCTFwdInitAlloc_32f(&fwd, kLen), zemStatusOk);
    ASSERT_EQ(zemsMDCTInvInitAlloc_32f(&inv, kLen), zemStatusOk);
    ASSERT_EQ(zemsMDCTFwdInitAlloc_16s(&fwd16, kLen), zemStatusOk);
    int32_t workBytes = 0, work16Bytes = 0;
    ASSERT_EQ(zemsMDCTFwdGetBufSize_32f(fwd, &workBytes), zemStatusOk);
    ASSERT_EQ(zemsMDCTFwdGetBufSize_16s(fwd16, &work16Bytes), zemStatusOk);
    // Thread t transforms blocks derived from t; its hash is compared with a lone run's.
    auto run = [&](int t) {
        std::vector<uint8_t> work(std::size_t(std::max(workBytes, work16Bytes)));
        std::vector<float> x(kLen), spectrum(kLen / 2), y(kLen);
        std::vector<int16_t> x16(kLen), spectrum16(kLen / 2);
        uint64_t h = 0xCBF29CE484222325ull;
        for (int block = 0; block < 64; ++block) {
            for (int i = 0; i < kLen; ++i) {
                const int v = (i * 7919 + block * 104729 + t * 1299709) % 20011 - 10005;
                x[std::size_t(i)] = float(v) / 10005.0f;
                x16[std::size_t(i)] = int16_t(v * 3);
            }
            EXPECT_EQ(zemsMDCTFwd_32f(x.data(), spectrum.data(), fwd, work.data()), zemStatusOk);
            EXPECT_EQ(zemsMDCTInv_32f(spectrum.data(), y.data(), inv, work.data()), zemStatusOk);
            EXPECT_EQ(zemsMDCTFwd_16s_Sfs(x16.data(), spectrum16.data(), fwd16, 9, work.data()),
                      zemStatusOk);
            h = fnv1a(h, y.data(), y.size() * 4);
            h = fnv1a(h, spectrum16.data(), spectrum16.size() * 2);
        }
        return h;
    };
    std::vector<uint64_t> alone, together(8);
    for (int t = 0; t < 8; ++t)
        alone.push_back(run(t));
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([&, t] { together[std::size_t(t)] = run(t); });
    for (std::thread& th : threads)
        th.join();
    EXPECT_EQ(together, alone);
    EXPECT_EQ(zemsMDCTFwdFree_32f(fwd), zemStatusOk);
    EXPECT_EQ(zemsMDCTInvFree_32f(inv), zemStatusOk);
    EXPECT_EQ(zemsMDCTFwdFree_16s(fwd16), zemStatusOk);
}

} // namespace
