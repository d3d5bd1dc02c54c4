// Where the audio sits in a file: the tags around it and its first frame.
#pragma once

#include <cstddef>
#include <cstdint>

#include "input.hpp"

namespace zemdec {

// Length of an ID3v2 tag (header, body and footer) at the start of data, or 0.
std::size_t id3v2_length(const uint8_t* data, std::size_t size);

// Length of a tag that starts at pos and can be skipped from its front (ID3v2, or APEv2 with
// a header), cut at end; 0 when there is none.
std::size_t tag_length_at(const uint8_t* data, std::size_t pos, std::size_t end);

// Where the tags at the end of the data begin (ID3v1, APEv2, Lyrics3 and ID3v2 with a footer,
// in any order and number); size when there are none.
std::size_t trailing_tags_start(const uint8_t* data, std::size_t size);

enum class StreamKind { None, Mp3, Adts, Adif };

struct StreamLocation {
    StreamKind kind = StreamKind::None;
    std::size_t tagsEnd = 0; // first byte after the leading tags
    std::size_t begin = 0;   // the first frame (or the ADIF header); tagsEnd when none was found
    std::size_t end = 0;     // first byte of the trailing tags
};

// Skips the tags at both ends, then takes the first position where an MP3 or ADTS header is
// followed at its frame length by a consistent one (or by the end of the audio, or a tag).
StreamLocation locate_stream(const Buffer& in);

// Reports begin - tagsEnd skipped bytes, once, when there are any.
void report_leading_junk(std::FILE* log, const StreamLocation& loc);

// A run of junk between frames: counted byte by byte, reported once when a frame or the end of
// the data ends it.
struct JunkRun {
    std::size_t bytes = 0, at = 0;

    void skip(std::size_t& pos) {
        if (bytes++ == 0)
            at = pos;
        ++pos;
    }
    // Reports the run and starts a new one; true when there was junk.
    bool report(std::FILE* log);
};

} // namespace zemdec
