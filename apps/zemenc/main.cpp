// zemenc: WAV (16-bit PCM, mono or stereo, 32/44.1/48 kHz) to MPEG-1 Layer III, built on the
// library's public header only.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

#include "encoder.hpp"
#include "wav_reader.hpp"

namespace {

constexpr const char* kUsage =
    "usage: zemenc [-b KBPS | -V 0..9] [-m s|j|f|m] [--crc] [-q] INPUT.wav [OUTPUT.mp3]\n"
    "  -b KBPS   constant bit rate: 32 40 48 56 64 80 96 112 128 160 192 224 256 320 (128)\n"
    "  -V Q      variable bit rate at quality Q, 0 (best) to 9 (smallest); each frame takes\n"
    "            the lowest rate that keeps the noise under the masking threshold\n"
    "  -m MODE   s stereo, j joint stereo with M/S chosen per frame and intensity stereo at\n"
    "            96 kbit/s and below (default), f M/S in every frame, m mono (a stereo input\n"
    "            is mixed down)\n"
    "  --crc     protect every frame with a CRC\n"
    "  -q        no progress or summary on standard error\n"
    "INPUT or OUTPUT '-' is standard input or output; OUTPUT defaults to INPUT with .mp3\n"
    "appended. Without INPUT the bundled sample is encoded into the current directory.\n";

bool read_all(const std::string& name, std::vector<uint8_t>& data) {
    FILE* f = name == "-" ? stdin : std::fopen(name.c_str(), "rb");
    if (f == nullptr)
        return false;
    uint8_t buf[65536];
    std::size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0)
        data.insert(data.end(), buf, buf + n);
    const bool ok = !std::ferror(f);
    if (f != stdin)
        std::fclose(f);
    return ok;
}

bool write_all(const std::string& name, const std::vector<uint8_t>& data) {
    FILE* f = name == "-" ? stdout : std::fopen(name.c_str(), "wb");
    if (f == nullptr)
        return false;
    bool ok = std::fwrite(data.data(), 1, data.size(), f) == data.size();
    ok = (f == stdout ? std::fflush(f) : std::fclose(f)) == 0 && ok;
    return ok;
}

std::string base_name(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

} // namespace

int main(int argc, char** argv) {
    zemenc::Settings settings;
    bool quiet = false;
    std::vector<std::string> files;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if ((a == "-b" || a == "-m" || a == "-V") && i + 1 < argc) {
            const std::string v = argv[++i];
            if (a == "-b") {
                settings.kbps = std::atoi(v.c_str());
                settings.vbrQuality = -1;
            } else if (a == "-V") {
                if (v.size() != 1 || v[0] < '0' || v[0] > '9') {
                    std::fprintf(stderr, "zemenc: quality '%s': one of 0 (best) to 9\n%s",
                                 v.c_str(), kUsage);
                    return 2;
                }
                settings.vbrQuality = v[0] - '0';
            } else if (v.size() == 1 && std::strchr("sjfm", v[0]) != nullptr) {
                settings.mode = v[0];
            } else {
                std::fprintf(stderr, "zemenc: unknown mode '%s'\n%s", v.c_str(), kUsage);
                return 2;
            }
        } else if (a == "--crc") {
            settings.crc = true;
        } else if (a == "-q") {
            quiet = true;
        } else if (a == "-h" || a == "--help") {
            std::fputs(kUsage, stdout);
            return 0;
        } else if (a.size() > 1 && a[0] == '-') {
            std::fprintf(stderr, "zemenc: unknown option '%s'\n%s", a.c_str(), kUsage);
            return 2;
        } else {
            files.push_back(a);
        }
    }
    if (files.size() > 2) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    if (files.empty()) {
        files.push_back(ZEMENC_SAMPLE);
        files.push_back(base_name(ZEMENC_SAMPLE) + ".mp3");
    }
    const std::string input = files[0];
    const std::string output = files.size() > 1 ? files[1] : input == "-" ? "-" : input + ".mp3";
    std::vector<uint8_t> file;
    if (!read_all(input, file)) {
        std::fprintf(stderr, "zemenc: cannot read '%s'\n", input.c_str());
        return 2;
    }
    zemenc::Pcm pcm;
    std::string error;
    if (!zemenc::parse_wav(file, pcm, error)) {
        std::fprintf(stderr, "zemenc: %s: %s\n", input.c_str(), error.c_str());
        return 2;
    }
    std::vector<uint8_t> mp3;
    zemenc::Progress progress;
    if (!quiet && isatty(STDERR_FILENO)) // a progress line that rewrites itself on a terminal
        progress = [&](long done, long total) {
            std::fprintf(stderr, "\rzemenc: %s: %3d%%", input.c_str(),
                         total > 0 ? int(100 * done / total) : 100);
            if (done == total)
                std::fputc('\n', stderr);
        };
    zemenc::EncodeReport report;
    if (!zemenc::encode(pcm, settings, mp3, error, &report, progress)) {
        std::fprintf(stderr, "zemenc: %s: %s\n", input.c_str(), error.c_str());
        return 2;
    }
    if (!write_all(output, mp3)) {
        std::fprintf(stderr, "zemenc: cannot write '%s'\n", output.c_str());
        return 1;
    }
    if (!quiet) {
        const std::string rate = settings.vbrQuality >= 0
                                     ? "-V " + std::to_string(settings.vbrQuality) + ", mean " +
                                           std::to_string(int(report.meanKbps + 0.5))
                                     : std::to_string(settings.kbps);
        std::fprintf(stderr, "zemenc: %s -> %s: %zu samples, %d Hz, %s kbit/s, %zu bytes\n",
                     input.c_str(), output.c_str(), pcm.samples.size() / std::size_t(pcm.channels),
                     pcm.rate, rate.c_str(), mp3.size());
    }
    return 0;
}
