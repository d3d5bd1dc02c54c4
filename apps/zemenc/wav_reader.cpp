#include "wav_reader.hpp"

#include <cstring>

namespace zemenc {
namespace {

uint32_t le32(const uint8_t* p) { return p[0] | p[1] << 8 | p[2] << 16 | uint32_t(p[3]) << 24; }
uint16_t le16(const uint8_t* p) { return uint16_t(p[0] | p[1] << 8); }

} // namespace

bool parse_wav(const std::vector<uint8_t>& file, Pcm& out, std::string& error) {
    if (file.size() < 12 || std::memcmp(file.data(), "RIFF", 4) != 0 ||
        std::memcmp(file.data() + 8, "WAVE", 4) != 0) {
        error = "not a RIFF WAVE file";
        return false;
    }
    bool haveFormat = false;
    std::size_t at = 12;
    while (at + 8 <= file.size()) {
        const uint32_t size = le32(file.data() + at + 4);
        const uint8_t* body = file.data() + at + 8;
        const std::size_t avail = file.size() - at - 8;
        if (std::memcmp(file.data() + at, "fmt ", 4) == 0) {
            if (size < 16 || avail < 16) {
                error = "short fmt chunk";
                return false;
            }
            const uint16_t format = le16(body), channels = le16(body + 2), bits = le16(body + 14);
            const bool extensible =
                format == 0xFFFE && size >= 40 && avail >= 40 && le16(body + 24) == 1;
            if ((format != 1 && !extensible) || bits != 16 || channels < 1 || channels > 2) {
                error = "only 16-bit PCM with one or two channels is supported";
                return false;
            }
            out.channels = channels;
            out.rate = int(le32(body + 4));
            haveFormat = true;
        } else if (std::memcmp(file.data() + at, "data", 4) == 0) {
            if (!haveFormat) {
                error = "data chunk before the fmt chunk";
                return false;
            }
            // A streamed file may give a size larger than what is there: take what is there.
            const std::size_t bytes = size < avail ? size : avail;
            const std::size_t count =
                bytes / 2 / std::size_t(out.channels) * std::size_t(out.channels);
            out.samples.resize(count);
            for (std::size_t i = 0; i < count; ++i)
                out.samples[i] = int16_t(le16(body + 2 * i));
            return true;
        }
        at += 8 + std::size_t(size) + (size & 1);
    }
    error = haveFormat ? "no data chunk" : "no fmt chunk";
    return false;
}

} // namespace zemenc
