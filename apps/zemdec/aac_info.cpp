#include "aac_info.hpp"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <vector>

#include "scan.hpp"
#include "zemac.h"

namespace zemdec {

namespace {

const char* const kProfiles[4] = {"Main", "LC", "SSR", "LTP"};

// 56 bits of fixed fields, 72 of copyright, then per PCE 20 bits of buffer fullness and at
// most 46 + 225 + 115 + 7 + 8 + 2040 bits: 16 PCEs stay below 5.3 KB.
constexpr std::size_t kMaxAdifHeaderBytes = 6144;

// An ADTS header can start here: syncword 0xFFF and layer 0.
bool adts_sync_at(const uint8_t* p) { return p[0] == 0xFF && (p[1] & 0xF6) == 0xF0; }

void print_pce(std::FILE* out, int index, const ZemAacPceRec& pce) {
    say(out,
        "  PCE %d: tag %d, object type %d, %d Hz, front %d, side %d, back %d, lfe %d, "
        "data %d, cc %d, comment %d bytes\n",
        index, pce.element_instance_tag, pce.object_type,
        aac_sample_rate(pce.sampling_frequency_index), pce.num_front_channel_elements,
        pce.num_side_channel_elements, pce.num_back_channel_elements, pce.num_lfe_channel_elements,
        pce.num_assoc_data_elements, pce.num_valid_cc_elements, pce.comment_field_bytes);
}

WalkSummary walk_adif(const Buffer& in, std::size_t start, std::size_t dataEnd, std::FILE* out) {
    WalkSummary sum;
    ZemAacAdifRec adif{};
    std::vector<ZemAacPceRec> pces(16);
    // The header carries no length of its own: parse a zero-padded copy as large as the
    // largest possible header, so a truncated one cannot lead the parser out of the file.
    const std::size_t avail = std::min(dataEnd - start, kMaxAdifHeaderBytes);
    Buffer copy = make_buffer(in.data() + start, avail);
    copy.bytes.resize(kMaxAdifHeaderBytes + kReadPadding, 0);
    uint8_t* p = copy.bytes.data();
    const ZemStatus st = zemsUnpackADIFHeader_AAC(&p, &adif, pces.data(), 16);
    const std::size_t used = std::size_t(p - copy.bytes.data());
    const std::size_t end = start + used;
    if (st != zemStatusOk || used > avail) {
        say(out, "ADIF header at offset %zu is truncated or invalid\n", start);
        sum.errors = 1;
        return sum;
    }
    sum.frames = 1;
    say(out, "ADIF header at offset %zu: %s rate, %d bit/s, %d program config element(s)\n", start,
        adif.bitstream_type ? "variable" : "constant", adif.bitrate, adif.pce_count);
    for (int i = 0; i < adif.pce_count; ++i)
        print_pce(out, i, pces[i]);
    say(out, "ADIF: header ends at offset %zu, %zu bytes of raw data blocks follow\n", end,
        dataEnd - end);
    return sum;
}

// Walks the frames from pos to end; the bytes from garbageStart to pos are junk before them.
WalkSummary walk_adts(const Buffer& in, std::size_t garbageStart, std::size_t pos, std::size_t end,
                      std::FILE* out) {
    WalkSummary sum;
    sum.skippedBytes = long(pos - garbageStart);
    while (pos < end) {
        if (const std::size_t tag = tag_length_at(in.data(), pos, end)) {
            if (pos != garbageStart)
                say(out, "skipped %zu bytes of non-ADTS data at offset %zu\n", pos - garbageStart,
                    garbageStart);
            say(out, "skipped a tag of %zu bytes at offset %zu\n", tag, pos);
            pos += tag;
            garbageStart = pos;
            continue;
        }
        // After junk, a sync counts only when the next header follows where it says.
        if (end - pos < 2 || !adts_sync_at(in.data() + pos) ||
            (pos != garbageStart && confirmed_adts_frame(in.data(), pos, end) == 0)) {
            ++pos;
            ++sum.skippedBytes;
            continue;
        }
        if (pos != garbageStart)
            say(out, "skipped %zu bytes of non-ADTS data at offset %zu\n", pos - garbageStart,
                garbageStart);
        ZemAacAdtsRec h{};
        uint8_t* p = const_cast<uint8_t*>(in.data()) + pos;
        zemsUnpackADTSFrameHeader_AAC(&p, &h);
        const std::size_t headerBytes = std::size_t(p - in.data()) - pos;
        const int rate = aac_sample_rate(h.sampling_frequency_index);
        if (pos + headerBytes > end) {
            say(out, "error: truncated ADTS header at offset %zu\n", pos);
            ++sum.errors;
            sum.skippedBytes += long(end - pos);
            break;
        }
        if (rate == 0 || std::size_t(h.aac_frame_length) < headerBytes) {
            say(out, "error: invalid ADTS header at offset %zu (sampling index %d, length %d)\n",
                pos, h.sampling_frequency_index, h.aac_frame_length);
            ++sum.errors;
            ++pos;
            ++sum.skippedBytes;
            garbageStart = pos;
            continue;
        }
        if (pos + std::size_t(h.aac_frame_length) > end) {
            say(out, "error: frame %ld at offset %zu is truncated (%d bytes, %zu present)\n",
                sum.frames, pos, h.aac_frame_length, end - pos);
            ++sum.errors;
            sum.skippedBytes += long(end - pos);
            break;
        }
        say(out, "frame %ld @%zu: %d Hz, channel config %d, %s, %d bytes, %d raw data block(s)%s\n",
            sum.frames, pos, rate, h.channel_configuration, kProfiles[h.profile & 3],
            h.aac_frame_length, h.raw_data_block_count, h.protection_absent ? "" : ", CRC");
        ++sum.frames;
        pos += std::size_t(h.aac_frame_length);
        garbageStart = pos;
    }
    if (pos > garbageStart && sum.skippedBytes > 0)
        say(out, "skipped %zu bytes of non-ADTS data at offset %zu\n", pos - garbageStart,
            garbageStart);
    return sum;
}

} // namespace

int aac_sample_rate(int index) {
    static const int rates[12] = {96000, 88200, 64000, 48000, 44100, 32000,
                                  24000, 22050, 16000, 12000, 11025, 8000};
    return index >= 0 && index < 12 ? rates[index] : 0;
}

long confirmed_adts_frame(const uint8_t* d, std::size_t pos, std::size_t end) {
    ZemAacAdtsRec h{}, g{};
    const auto unpack = [&](std::size_t at, ZemAacAdtsRec& r) {
        uint8_t* p = const_cast<uint8_t*>(d) + at;
        zemsUnpackADTSFrameHeader_AAC(&p, &r);
        return std::size_t(p - d) - at;
    };
    if (pos + 7 > end || !adts_sync_at(d + pos))
        return 0;
    const std::size_t headerBytes = unpack(pos, h);
    if (aac_sample_rate(h.sampling_frequency_index) == 0 ||
        std::size_t(h.aac_frame_length) < headerBytes)
        return 0;
    const std::size_t next = pos + std::size_t(h.aac_frame_length);
    if (next == end || (next < end && tag_length_at(d, next, end) > 0))
        return h.aac_frame_length;
    if (next + 7 > end || !adts_sync_at(d + next))
        return 0;
    unpack(next, g);
    return g.profile == h.profile && g.sampling_frequency_index == h.sampling_frequency_index &&
                   g.channel_configuration == h.channel_configuration
               ? h.aac_frame_length
               : 0;
}

WalkSummary walk_aac(const Buffer& in, std::FILE* out) {
    const StreamLocation loc = locate_stream(in);
    if (loc.tagsEnd > 0)
        say(out, "skipped tags of %zu bytes at offset 0\n", loc.tagsEnd);
    WalkSummary sum =
        loc.kind == StreamKind::Adif
            ? walk_adif(in, loc.begin, loc.end, out)
            : walk_adts(in, loc.tagsEnd, loc.kind == StreamKind::Adts ? loc.begin : loc.tagsEnd,
                        loc.end, out);
    if (loc.end < in.size)
        say(out, "skipped tags of %zu bytes at offset %zu\n", in.size - loc.end, loc.end);
    say(out, "summary: %ld %s, %ld error(s), %ld byte(s) skipped\n", sum.frames,
        sum.frames == 1 ? "header/frame" : "headers/frames", sum.errors, sum.skippedBytes);
    return sum;
}

} // namespace zemdec
