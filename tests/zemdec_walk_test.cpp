// The sample decoder's stream walker on real and damaged ADTS streams.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "aac_info.hpp"
#include "input.hpp"

namespace {

zemdec::Buffer bundled_sample() {
    zemdec::Buffer in;
    std::string error;
    EXPECT_TRUE(zemdec::load_file(std::string(ZEM_SAMPLE_DIR) + "/tone_stereo_44k.aac", in, error))
        << error;
    return in;
}

std::vector<uint8_t> data_of(const zemdec::Buffer& b) { return {b.data(), b.data() + b.size}; }

TEST(ZemdecWalk, BundledSampleIsClean) {
    const zemdec::Buffer in = bundled_sample();
    const zemdec::WalkSummary sum = zemdec::walk_aac(in, nullptr);
    EXPECT_GT(sum.frames, 80); // two seconds at 44.1 kHz: about 88 frames
    EXPECT_EQ(sum.errors, 0);
    EXPECT_EQ(sum.skippedBytes, 0);
}

TEST(ZemdecWalk, ResynchronisesAfterGarbageAndReportsTruncation) {
    const std::vector<uint8_t> clean = data_of(bundled_sample());
    const long frames =
        zemdec::walk_aac(zemdec::make_buffer(clean.data(), clean.size()), nullptr).frames;

    std::vector<uint8_t> damaged(clean.begin(), clean.end());
    const std::vector<uint8_t> garbage = {0x12, 0xFF, 0x00, 0x34, 0x56, 0xFF, 0xF9, 0xFF};
    damaged.insert(damaged.begin() + 2000, garbage.begin(), garbage.end());
    damaged.resize(damaged.size() - 100); // cut into the last frame
    const zemdec::WalkSummary sum =
        zemdec::walk_aac(zemdec::make_buffer(damaged.data(), damaged.size()), nullptr);
    // The frame that holds the garbage still walks by its own length; the next header is
    // found 8 bytes later, and the cut last frame is reported, not counted.
    EXPECT_EQ(sum.errors, 1);
    EXPECT_GE(sum.frames, frames - 2); // the cut may reach into the last two frames
    EXPECT_LT(sum.frames, frames);
    EXPECT_GE(sum.skippedBytes, 8);
}

TEST(ZemdecWalk, NotAacFindsNothing) {
    std::vector<uint8_t> text(5000);
    for (std::size_t i = 0; i < text.size(); ++i)
        text[i] = uint8_t("not an AAC stream "[i % 18]);
    const zemdec::WalkSummary sum =
        zemdec::walk_aac(zemdec::make_buffer(text.data(), text.size()), nullptr);
    EXPECT_EQ(sum.frames, 0);
    EXPECT_EQ(sum.skippedBytes, 5000);
    for (std::size_t n = 0; n < 12; ++n) {
        const std::vector<uint8_t> tiny(n, 0xFF);
        EXPECT_EQ(zemdec::walk_aac(zemdec::make_buffer(tiny.data(), n), nullptr).frames, 0);
    }
}

} // namespace
