#include "scan.hpp"

#include <algorithm>
#include <cstring>

#include "aac_info.hpp"
#include "mp3_decoder.hpp"

namespace zemdec {
namespace {

bool has(const uint8_t* d, const char* text) {
    return std::memcmp(d, text, std::strlen(text)) == 0;
}

uint32_t le32(const uint8_t* d) {
    return uint32_t(d[0]) | uint32_t(d[1]) << 8 | uint32_t(d[2]) << 16 | uint32_t(d[3]) << 24;
}

// The 28-bit size of an ID3v2 header or footer (seven bits a byte), or -1 when it is not one.
long synchsafe_size(const uint8_t* d) {
    if (d[3] == 0xFF || d[4] == 0xFF || ((d[6] | d[7] | d[8] | d[9]) & 0x80) != 0)
        return -1;
    return long(d[6]) << 21 | long(d[7]) << 14 | long(d[8]) << 7 | long(d[9]);
}

// APEv2 header or footer: "APETAGEX", version, size (items and footer), item count, flags.
// Bit 31 of the flags: the tag has a header; bit 29: this is the header.
constexpr std::size_t kApeBytes = 32;
constexpr uint32_t kApeHasHeader = 1u << 31, kApeIsHeader = 1u << 29;

// Length of the tag that ends at end, or 0.
std::size_t trailing_tag_length(const uint8_t* d, std::size_t end) {
    if (end >= 128 && has(d + end - 128, "TAG"))
        return 128; // ID3v1
    if (end >= kApeBytes && has(d + end - kApeBytes, "APETAGEX")) {
        const uint8_t* f = d + end - kApeBytes;
        const std::size_t size = le32(f + 12), flags = le32(f + 20);
        const std::size_t total = size + ((flags & kApeHasHeader) != 0 ? kApeBytes : 0);
        if ((flags & kApeIsHeader) == 0 && size >= kApeBytes && total <= end)
            return total;
    }
    if (end >= 15 + 11 && has(d + end - 9, "LYRICS200")) { // Lyrics3 v2: six digits of size
        std::size_t size = 0;
        bool digits = true;
        for (const uint8_t* p = d + end - 15; p < d + end - 9; ++p) {
            digits = digits && *p >= '0' && *p <= '9';
            size = size * 10 + std::size_t(*p - '0') % 10;
        }
        if (digits && size + 15 <= end && has(d + end - 15 - size, "LYRICSBEGIN"))
            return size + 15;
    }
    if (end >= 20 && has(d + end - 9, "LYRICSEND")) { // Lyrics3 v1: at most 5100 bytes of text
        const std::size_t lowest = end - std::min<std::size_t>(end, 5100 + 20);
        for (std::size_t at = end - 20 + 1; at-- > lowest;)
            if (has(d + at, "LYRICSBEGIN"))
                return end - at;
    }
    if (end >= 20 && has(d + end - 10, "3DI")) { // ID3v2 with a footer
        const long size = synchsafe_size(d + end - 10);
        if (size >= 0 && std::size_t(size) + 20 <= end && has(d + end - 20 - size, "ID3"))
            return std::size_t(size) + 20;
    }
    return 0;
}

} // namespace

std::size_t id3v2_length(const uint8_t* d, std::size_t size) {
    if (size < 10 || !has(d, "ID3"))
        return 0;
    const long body = synchsafe_size(d);
    if (body < 0)
        return 0;
    const std::size_t len = 10 + std::size_t(body) + ((d[5] & 0x10) != 0 ? 10 : 0); // footer
    return len <= size ? len : size;
}

std::size_t tag_length_at(const uint8_t* d, std::size_t pos, std::size_t end) {
    if (pos >= end)
        return 0;
    if (const std::size_t id3 = id3v2_length(d + pos, end - pos))
        return id3;
    if (end - pos >= kApeBytes && has(d + pos, "APETAGEX") &&
        (le32(d + pos + 20) & kApeIsHeader) != 0) {
        const std::size_t total = std::size_t(le32(d + pos + 12)) + kApeBytes;
        return std::min(total, end - pos);
    }
    return 0;
}

std::size_t trailing_tags_start(const uint8_t* d, std::size_t size) {
    std::size_t end = size;
    while (const std::size_t tag = trailing_tag_length(d, end))
        end -= tag;
    return end;
}

StreamLocation locate_stream(const Buffer& in) {
    const uint8_t* d = in.data();
    StreamLocation loc;
    loc.end = trailing_tags_start(d, in.size);
    std::size_t pos = 0;
    while (const std::size_t tag = tag_length_at(d, pos, loc.end))
        pos += tag;
    loc.end = std::max(loc.end, pos);
    loc.tagsEnd = loc.begin = pos;
    if (loc.end - pos >= 4 && has(d + pos, "ADIF")) {
        loc.kind = StreamKind::Adif;
        return loc;
    }
    while (pos + 4 <= loc.end) {
        if (d[pos] == 0xFF) {
            const StreamKind kind = confirmed_mp3_frame(d, pos, loc.end) > 0    ? StreamKind::Mp3
                                    : confirmed_adts_frame(d, pos, loc.end) > 0 ? StreamKind::Adts
                                                                                : StreamKind::None;
            if (kind != StreamKind::None) {
                loc.kind = kind;
                loc.begin = pos;
                return loc;
            }
        } else if (const std::size_t tag = tag_length_at(d, pos, loc.end)) {
            pos += tag; // a tag after junk, or between repeated ones
            continue;
        }
        ++pos;
    }
    return loc;
}

bool JunkRun::report(std::FILE* log) {
    if (bytes == 0)
        return false;
    say(log, "warning: skipped %zu bytes of non-audio data at offset %zu\n", bytes, at);
    bytes = 0;
    return true;
}

void report_leading_junk(std::FILE* log, const StreamLocation& loc) {
    if (loc.begin > loc.tagsEnd)
        say(log, "warning: skipped %zu bytes of non-audio data at offset %zu\n",
            loc.begin - loc.tagsEnd, loc.tagsEnd);
}

} // namespace zemdec
