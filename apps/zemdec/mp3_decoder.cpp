#include "mp3_decoder.hpp"

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "scan.hpp"
#include "zemac.h"

namespace zemdec {
namespace {

constexpr int kBitrates[2][16] = {
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 0},     // MPEG-2
    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 0}, // MPEG-1
};
constexpr int kRates[2][3] = {{22050, 24000, 16000}, {44100, 48000, 32000}};
constexpr const char* kModes[4] = {"stereo", "joint stereo", "dual channel", "mono"};
// The longest Layer III frame: free format at 640 kbit/s and 32 kHz, with padding.
constexpr long kMaxFrameBytes = 2881;

struct FrameInfo {
    ZemMp3HeaderRec h;
    int rate, channels, samples; // samples per channel
    long length;                 // bytes, header included; 0 for free format until measured
};

enum class Sync { Ok, NotAudio, Unsupported };

// The header at p: a Layer III frame of MPEG-1 or MPEG-2, something else of MPEG audio, or
// no header at all.
Sync parse_header(const uint8_t* p, FrameInfo& f) {
    if (p[0] != 0xFF || (p[1] & 0xE0) != 0xE0)
        return Sync::NotAudio;
    const int version = (p[1] >> 3) & 3, layer = (p[1] >> 1) & 3;
    if (version == 1 || layer == 0 || (p[2] >> 4) == 15 || ((p[2] >> 2) & 3) == 3)
        return Sync::NotAudio; // reserved values
    if (version == 0 || layer != 1)
        return Sync::Unsupported; // MPEG-2.5, Layer I or II
    uint8_t* q = const_cast<uint8_t*>(p);
    zemsUnpackFrameHeader_MP3(&q, &f.h);
    f.rate = kRates[f.h.id][f.h.sampling_frequency];
    f.channels = f.h.mode == 3 ? 1 : 2;
    f.samples = f.h.id ? 1152 : 576;
    const int kbps = kBitrates[f.h.id][f.h.bitrate_index];
    f.length = kbps == 0 ? 0 : long(f.samples / 8) * kbps * 1000 / f.rate + f.h.padding_bit;
    return Sync::Ok;
}

// Fields that stay the same from frame to frame of one stream.
bool same_stream(const FrameInfo& a, const FrameInfo& b) {
    return a.h.id == b.h.id && a.h.sampling_frequency == b.h.sampling_frequency &&
           (a.h.bitrate_index == 0) == (b.h.bitrate_index == 0);
}

int side_info_bytes(const FrameInfo& f) {
    if (f.h.id == 1)
        return f.channels == 1 ? 17 : 32;
    return f.channels == 1 ? 9 : 17;
}

int header_bytes(const FrameInfo& f) { return 4 + (f.h.protection_bit == 0 ? 2 : 0); }

// A Xing/Info frame, with the encoder delay and padding of its LAME extension.
struct InfoFrame {
    bool present = false;
    bool lame = false;
    int delay = 0, padding = 0;
};

InfoFrame read_info_frame(const uint8_t* frame, long length, const FrameInfo& f) {
    InfoFrame info;
    auto tag_at = [&](long at) {
        return at + 8 <= length &&
               (std::memcmp(frame + at, "Xing", 4) == 0 || std::memcmp(frame + at, "Info", 4) == 0);
    };
    // The tag follows the side information; LAME leaves out the CRC word of a protected
    // info frame, so both places are looked at.
    long at = header_bytes(f) + side_info_bytes(f);
    if (!tag_at(at))
        at = 4 + side_info_bytes(f);
    if (!tag_at(at))
        return info;
    info.present = true;
    const uint32_t flags = uint32_t(frame[at + 7]) | uint32_t(frame[at + 6]) << 8;
    const long p = at + 8 + ((flags & 1) ? 4 : 0) + ((flags & 2) ? 4 : 0) +
                   ((flags & 4) ? 100 : 0) + ((flags & 8) ? 4 : 0);
    // The encoder's extension follows with its name in nine printable characters, whatever
    // the encoder ("LAME3.100", "Lavc58.13", ...).
    const bool named = p + 24 <= length && std::all_of(frame + p, frame + p + 9, [](uint8_t c) {
                           return c >= 0x20 && c < 0x7F;
                       });
    if (named) {
        info.lame = true;
        const uint8_t* d = frame + p + 21;
        info.delay = d[0] << 4 | d[1] >> 4;
        info.padding = (d[1] & 15) << 8 | d[2];
    }
    return info;
}

struct ChannelState {
    int32_t overlap[576] = {};
    int32_t prevSubbands = 0;
    int32_t v[512] = {};
    int32_t vPos = 0;
};

class Decoder {
  public:
    Decoder(const PcmOutput& out, std::FILE* log) : out_(out), log_(log) {}

    void set_trim(long begin, long end) {
        trimBegin_ = begin;
        trimEnd_ = end;
    }
    // Decodes one frame (data points at its header); on an error the frame is reported and
    // replaced by silence. False on an error.
    bool frame(const uint8_t* data, long length, const FrameInfo& f, long number,
               std::size_t offset);
    void conceal(const FrameInfo& f);
    bool started() const { return started_; }

  private:
    bool decode(const uint8_t* data, long length, const FrameInfo& f);
    bool granule(const ZemMp3HeaderRec& h, ZemMp3GranuleRec* records, const int32_t* scfsi, int gr,
                 int nch, long& bitAt, int16_t* pcm);
    void emit(const int16_t* pcm, int samples, int channels, int rate);
    bool fail(const char* what, ZemStatus st);

    const PcmOutput& out_;
    std::FILE* log_;
    bool started_ = false;
    bool convertReported_ = false;
    int outChannels_ = 0;
    long number_ = 0;
    std::size_t offset_ = 0;
    ChannelState state_[2];
    int8_t sf_[80] = {};
    int32_t spec_[2 * 576] = {};
    int32_t work_[576] = {};
    int32_t subbands_[576] = {};
    // The bit reservoir: main data of the recent frames, then room for a granule that runs
    // past them (its reads stay inside the buffer).
    std::vector<uint8_t> reservoir_ = std::vector<uint8_t>(8192 + 2048, 0);
    long reservoirSize_ = 0;
    long trimBegin_ = 0, trimEnd_ = 0;
    std::vector<int16_t> held_; // samples held back for the end trim, interleaved
};

bool Decoder::fail(const char* what, ZemStatus st) {
    say(log_, "error: frame %ld at offset %zu: %s (status %d)\n", number_, offset_, what, int(st));
    return false;
}

void Decoder::emit(const int16_t* pcm, int samples, int channels, int rate) {
    if (!started_) {
        outChannels_ = channels;
        started_ = true;
        out_.begin({rate, channels, 0});
    }
    std::vector<int16_t> converted;
    if (channels != outChannels_) {
        if (!convertReported_)
            say(log_, "warning: frame %ld at offset %zu: %d channel(s) instead of %d, converted\n",
                number_, offset_, channels, outChannels_);
        convertReported_ = true;
        converted.resize(std::size_t(samples) * std::size_t(outChannels_));
        for (std::size_t i = 0; i < std::size_t(samples); ++i) {
            if (outChannels_ == 2)
                converted[2 * i] = converted[2 * i + 1] = pcm[i];
            else
                converted[i] = int16_t((pcm[2 * i] + pcm[2 * i + 1]) / 2);
        }
        pcm = converted.data();
    }
    const long nch = outChannels_;
    const long skip = std::min<long>(trimBegin_, samples);
    trimBegin_ -= skip;
    pcm += skip * nch;
    const long fresh = samples - skip;
    // The last trimEnd_ samples are held back until more follow. Once this frame alone covers
    // them, the held ones and the frame's head go out directly and its tail is held instead.
    if (fresh < trimEnd_) {
        held_.insert(held_.end(), pcm, pcm + fresh * nch);
        const long ready = long(held_.size()) / nch - trimEnd_;
        if (ready > 0) {
            out_.write(held_.data(), std::size_t(ready));
            held_.erase(held_.begin(), held_.begin() + ready * nch);
        }
        return;
    }
    if (!held_.empty())
        out_.write(held_.data(), held_.size() / std::size_t(nch));
    if (fresh > trimEnd_)
        out_.write(pcm, std::size_t(fresh - trimEnd_));
    held_.assign(pcm + (fresh - trimEnd_) * nch, pcm + fresh * nch);
}

void Decoder::conceal(const FrameInfo& f) {
    std::vector<int16_t> silence(std::size_t(f.samples) * std::size_t(f.channels), 0);
    emit(silence.data(), f.samples, f.channels, f.rate);
}

bool Decoder::granule(const ZemMp3HeaderRec& h, ZemMp3GranuleRec* records, const int32_t* scfsi,
                      int gr, int nch, long& bitAt, int16_t* pcm) {
    int32_t bound[2] = {};
    for (int ch = 0; ch < nch; ++ch) {
        ZemMp3GranuleRec& g = records[gr * nch + ch];
        uint8_t* p = reservoir_.data() + bitAt / 8;
        int32_t pos = int32_t(bitAt % 8);
        const ZemStatus sfs = zemsUnpackScaleFactors_MP3_1u8s(&p, &pos, sf_ + 40 * ch, &g,
                                                              scfsi + 4 * ch, &h, gr, ch);
        if (sfs != zemStatusOk)
            return fail("scale factors", sfs);
        const long used = (p - reservoir_.data()) * 8 + pos - bitAt;
        const ZemStatus hs = zemsHuffmanDecode_MP3_1u32s(&p, &pos, spec_ + 576 * ch, &bound[ch], &g,
                                                         &h, int32_t(g.part2_3_length - used));
        if (hs != zemStatusOk)
            return fail("Huffman data", hs);
        bitAt += g.part2_3_length;
        if (bitAt > reservoirSize_ * 8)
            return fail("main data runs past the frame", zemStatusFailed);
    }
    const ZemStatus rq = zemsReQuantize_MP3_32s_I(spec_, bound, sf_, records + gr * nch, &h, work_);
    if (rq != zemStatusOk)
        return fail("requantisation", rq);
    for (int ch = 0; ch < nch; ++ch) {
        const ZemMp3GranuleRec& g = records[gr * nch + ch];
        ChannelState& s = state_[ch];
        const ZemStatus ms = zemsMDCTInv_MP3_32s(spec_ + 576 * ch, subbands_, s.overlap, bound[ch],
                                                 &s.prevSubbands, g.block_type, g.mixed_block_flag);
        if (ms != zemStatusOk)
            return fail("inverse transform", ms);
        for (int t = 0; t < 18; ++t)
            zemsSynthPQMF_MP3_32s16s(subbands_ + 32 * t, pcm + (576 * gr + 32 * t) * nch + ch, s.v,
                                     &s.vPos, nch);
    }
    return true;
}

bool Decoder::decode(const uint8_t* data, long length, const FrameInfo& f) {
    uint8_t* p = const_cast<uint8_t*>(data);
    ZemMp3HeaderRec h;
    zemsUnpackFrameHeader_MP3(&p, &h);
    ZemMp3GranuleRec records[4] = {};
    int32_t mainDataBegin = 0, privateBits = 0, scfsi[8] = {};
    const ZemStatus st =
        zemsUnpackSideInfo_MP3(&p, records, &mainDataBegin, &privateBits, scfsi, &h);
    if (st != zemStatusOk)
        return fail("side information", st);
    // Append this frame's main data; the granules start mainDataBegin bytes before it.
    const long mainBytes = length - long(p - data);
    if (mainBytes < 0 || length > kMaxFrameBytes)
        return fail("frame length out of range", zemStatusFailed);
    if (reservoirSize_ + mainBytes > 8192) {
        const long keep = std::min<long>(reservoirSize_, 511);
        std::memmove(reservoir_.data(), reservoir_.data() + reservoirSize_ - keep,
                     std::size_t(keep));
        reservoirSize_ = keep;
    }
    const long begin = reservoirSize_ - mainDataBegin;
    std::memcpy(reservoir_.data() + reservoirSize_, p, std::size_t(mainBytes));
    reservoirSize_ += mainBytes;
    // The readers look up to three bytes past the last bit they take. A granule that takes
    // bits past the end is rejected below whatever they hold, so only those bytes are cleared.
    std::memset(reservoir_.data() + reservoirSize_, 0, 4);
    if (begin < 0)
        return fail("bit reservoir underflow (main data before the stream)", zemStatusFailed);
    const int nch = f.channels;
    int16_t pcm[2 * 1152];
    long bitAt = begin * 8;
    for (int gr = 0; gr < (h.id ? 2 : 1); ++gr)
        if (!granule(h, records, scfsi, gr, nch, bitAt, pcm))
            return false;
    emit(pcm, f.samples, nch, f.rate);
    return true;
}

bool Decoder::frame(const uint8_t* data, long length, const FrameInfo& f, long number,
                    std::size_t offset) {
    number_ = number;
    offset_ = offset;
    if (decode(data, length, f))
        return true;
    conceal(f);
    return false;
}

// Free-format frame length without padding: the distance to the next matching header.
long free_format_length(const uint8_t* d, std::size_t pos, std::size_t end, const FrameInfo& f) {
    const std::size_t last = std::min(end, pos + std::size_t(kMaxFrameBytes) + 1 + 4);
    for (std::size_t q = pos + 4 + std::size_t(side_info_bytes(f)); q + 4 <= last; ++q) {
        FrameInfo next;
        if (parse_header(d + q, next) == Sync::Ok && same_stream(f, next) &&
            next.h.bitrate_index == 0 && next.h.mode == f.h.mode)
            return long(q - pos) - f.h.padding_bit;
    }
    return 0;
}

} // namespace

long confirmed_mp3_frame(const uint8_t* d, std::size_t pos, std::size_t end) {
    FrameInfo f;
    if (pos + 4 > end || parse_header(d + pos, f) != Sync::Ok)
        return 0;
    long length = f.length;
    if (length == 0) {
        length = free_format_length(d, pos, end, f);
        if (length == 0 || length > kMaxFrameBytes)
            return 0;
        length += f.h.padding_bit;
    }
    const std::size_t next = pos + std::size_t(length);
    if (next == end || (next < end && tag_length_at(d, next, end) > 0))
        return length;
    FrameInfo g;
    return next + 4 <= end && parse_header(d + next, g) == Sync::Ok && same_stream(f, g) ? length
                                                                                         : 0;
}

bool looks_like_mp3(const Buffer& in) {
    const StreamLocation loc = locate_stream(in);
    if (loc.kind != StreamKind::None)
        return loc.kind == StreamKind::Mp3;
    // Nothing confirmed: a lone MPEG audio header at the start still goes to the MP3 path,
    // which reports the layers and versions it does not decode.
    FrameInfo f;
    return loc.end >= loc.tagsEnd + 4 && parse_header(in.data() + loc.tagsEnd, f) != Sync::NotAudio;
}

namespace {

// The frames of a Layer III stream one after the other. Tags between frames are passed over;
// junk is skipped and reported once per run, as an error except before the first frame.
class FrameSync {
  public:
    FrameSync(const Buffer& in, const StreamLocation& loc, std::FILE* log)
        : data_(in.data()), end_(loc.end), log_(log),
          pos_(loc.kind == StreamKind::Mp3 ? loc.begin : loc.tagsEnd), junk_{pos_ - loc.tagsEnd,
                                                                             loc.tagsEnd} {}

    // The next frame f, at `at`; false at the end of the data. The frame may run past it.
    bool next(FrameInfo& f, std::size_t& at, DecodeSummary& sum) {
        while (pos_ + 4 <= end_) {
            if (const std::size_t tag = tag_length_at(data_, pos_, end_)) {
                pos_ += tag; // a tag between frames: an appended or a concatenated stream's
                continue;
            }
            const Sync s = parse_header(data_ + pos_, f);
            // Inside a Layer III stream, other MPEG audio headers are taken for junk.
            if (s == Sync::NotAudio ||
                (s == Sync::Unsupported && (unsupportedReported_ || !first_))) {
                junk_.skip(pos_);
                continue;
            }
            if (s == Sync::Unsupported) {
                say(log_, "error: offset %zu: MPEG-2.5 and Layers I and II are not supported\n",
                    pos_);
                unsupportedReported_ = true;
                ++sum.errors;
                ++pos_;
                continue;
            }
            if (!measure_free_format(f) || !confirmed(f)) {
                junk_.skip(pos_);
                continue;
            }
            if (junk_.report(log_) && !first_)
                ++sum.errors;
            first_ = false;
            last_ = f;
            at = pos_;
            pos_ += std::size_t(f.length);
            return true;
        }
        return false;
    }

    // Junk up to the end of the data.
    void finish(DecodeSummary& sum) {
        if (junk_.report(log_))
            ++sum.errors;
    }

  private:
    // A free-format frame takes the length measured at the stream's first two headers.
    bool measure_free_format(FrameInfo& f) {
        if (f.length != 0)
            return true;
        if (freeLength_ == 0)
            freeLength_ = free_format_length(data_, pos_, end_, f);
        if (freeLength_ == 0 || freeLength_ > kMaxFrameBytes) // no second free-format header
            return false;
        f.length = freeLength_ + f.h.padding_bit;
        return true;
    }

    // A header counts where the frame before it ends, when it continues that frame's stream;
    // otherwise once the next one follows where it says, or a tag, or the data ends there.
    bool confirmed(const FrameInfo& f) const {
        FrameInfo next;
        const std::size_t nextAt = pos_ + std::size_t(f.length);
        return (!first_ && junk_.bytes == 0 && same_stream(last_, f)) || nextAt + 4 > end_ ||
               (parse_header(data_ + nextAt, next) == Sync::Ok && same_stream(f, next)) ||
               tag_length_at(data_, nextAt, end_) > 0;
    }

    const uint8_t* data_;
    std::size_t end_;
    std::FILE* log_;
    std::size_t pos_;
    JunkRun junk_; // junk before the first frame is reported with that frame, and is no error
    long freeLength_ = 0;
    bool first_ = true, unsupportedReported_ = false;
    FrameInfo last_{}; // the frame before pos_, when pos_ is where it ends
};

} // namespace

DecodeSummary decode_mp3(const Buffer& in, const PcmOutput& out, const Mp3Options& options,
                         std::FILE* log) {
    DecodeSummary sum;
    const StreamLocation loc = locate_stream(in);
    FrameSync sync(in, loc, log);
    auto dec = std::make_unique<Decoder>(out, log);
    FrameInfo f;
    std::size_t pos = 0;
    for (long number = 0; sync.next(f, pos, sum); ++number) {
        if (options.infoOnly)
            say(log, "frame %ld @%zu: MPEG-%d Layer III, %d Hz, %s, %d kbit/s%s%s, %ld bytes\n",
                number, pos, f.h.id ? 1 : 2, f.rate, kModes[f.h.mode],
                kBitrates[f.h.id][f.h.bitrate_index],
                f.h.bitrate_index == 0 ? " (free format)" : "",
                f.h.protection_bit == 0 ? " CRC" : "", f.length);
        if (pos + std::size_t(f.length) > loc.end) {
            say(log, "error: frame %ld at offset %zu is truncated\n", number, pos);
            ++sum.errors;
            if (!options.infoOnly && dec->started()) {
                dec->conceal(f);
                ++sum.frames;
            }
            break; // nothing follows a truncated frame
        }
        if (number == 0) {
            const InfoFrame info = read_info_frame(in.data() + pos, f.length, f);
            if (info.present) { // the encoder's info frame carries no audio
                if (info.lame && options.gapless)
                    dec->set_trim(info.delay + 529, std::max(0, info.padding - 529));
                continue;
            }
        }
        if (!options.infoOnly && !dec->frame(in.data() + pos, f.length, f, number, pos))
            ++sum.errors;
        ++sum.frames;
    }
    sync.finish(sum);
    if (options.infoOnly)
        say(log, "summary: %ld frames, %ld errors\n", sum.frames, sum.errors);
    return sum;
}

} // namespace zemdec
