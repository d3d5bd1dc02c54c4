// zemdec: the sample decoder, built only on the public header of the library.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <unistd.h>

#include "aac_decoder.hpp"
#include "aac_info.hpp"
#include "input.hpp"
#include "mp3_decoder.hpp"
#include "wav.hpp"

namespace {

const char kUsage[] =
    "usage: zemdec [--info] [--no-gapless] [--sbr-lp] INPUT [OUTPUT]\n"
    "       zemdec --help\n"
    "\n"
    "Decodes an AAC-LC, AAC Main or AAC LTP stream (ADTS frames, or an ADIF header\n"
    "and raw data blocks), also with SBR and parametric stereo (HE-AAC and HE-AAC v2),\n"
    "or an MP3 stream (MPEG-1 or MPEG-2 Layer III) from INPUT to a 16-bit WAV file in\n"
    "WAV channel order. SBR in the first raw data block doubles the output rate, and a\n"
    "mono core then gives two channels. Damaged frames are reported with their\n"
    "number and byte offset and replaced by silence; decoding resumes at the next\n"
    "frame.\n"
    "MP3 decoding is gapless: the encoder delay and padding that a LAME info frame\n"
    "announces are trimmed.\n"
    "\n"
    "  --info        print what the headers say instead of decoding: per frame the\n"
    "                sampling rate, channels, profile or mode, frame length (and for\n"
    "                AAC the raw data blocks; for ADIF the program config elements)\n"
    "  --no-gapless  keep every decoded MP3 sample\n"
    "  --sbr-lp      decode SBR with the real-valued low-power decoder on the\n"
    "                fixed-point banks (parametric stereo is then left out)\n"
    "  --help        print this text\n"
    "  INPUT         stream to decode; '-' reads standard input\n"
    "  OUTPUT        WAV file to write; defaults to INPUT with the extension .wav,\n"
    "                '-' writes to standard output; with INPUT '-' it must be\n"
    "                given unless standard output is a file or a pipe, which is\n"
    "                then the default\n"
    "\n"
    "Tags (ID3v1, ID3v2, APEv2, Lyrics3) and junk before the first frame are skipped.\n"
    "With no INPUT, zemdec decodes the bundled sample streams into the current\n"
    "directory, each to its file name with .wav appended.\n"
    "Exit status: 0 when the whole input was valid, 1 when errors were found,\n"
    "2 when nothing valid was found or the command line was wrong.\n";

struct Options {
    bool info = false;
    bool gapless = true;
    bool sbrLowPower = false;
    std::string input;
    std::string output;
};

int walk(const Options& opt, const zemdec::Buffer& in) {
    std::printf("%s:\n", opt.input.c_str());
    if (zemdec::looks_like_mp3(in)) {
        const zemdec::DecodeSummary sum = zemdec::decode_mp3(in, {}, {opt.gapless, true}, stdout);
        return sum.frames == 0 ? 2 : sum.errors > 0 ? 1 : 0;
    }
    const zemdec::WalkSummary sum = zemdec::walk_aac(in, stdout);
    if (sum.frames == 0) {
        std::fprintf(stderr, "zemdec: %s: no AAC header found\n", opt.input.c_str());
        return 2;
    }
    // SBR and PS live in fill elements, which only decoding finds.
    zemdec::StreamFormat format;
    const zemdec::PcmOutput probe{[&](const zemdec::StreamFormat& f) { format = f; },
                                  [](const int16_t*, std::size_t) {}};
    const zemdec::DecodeSummary tools = zemdec::decode_aac(in, probe, nullptr);
    if (tools.sbr)
        std::printf("tools: AAC core with SBR (output %d Hz, %d channels)%s\n", format.sampleRate,
                    format.channels, tools.psFrom >= 0 ? " and parametric stereo" : "");
    else
        std::printf("tools: AAC core without SBR or PS\n");
    if (tools.psFrom >= 0)
        std::printf("parametric stereo from raw data block %ld\n", tools.psFrom);
    return sum.errors > 0 || sum.skippedBytes > 0 ? 1 : 0;
}

int decode(const Options& opt, const zemdec::Buffer& in) {
    // With the audio on standard output, every message goes to standard error.
    std::FILE* log = opt.output == "-" ? stderr : stdout;
    zemdec::WavWriter wav;
    std::string error;
    if (!wav.open(opt.output, error)) {
        std::fprintf(stderr, "zemdec: %s\n", error.c_str());
        return 2;
    }
    const zemdec::PcmOutput out{
        [&](const zemdec::StreamFormat& f) { wav.begin(f.sampleRate, f.channels, f.channelMask); },
        [&](const int16_t* pcm, std::size_t frames) { wav.write(pcm, frames); }};
    const bool mp3 = zemdec::looks_like_mp3(in);
    const zemdec::DecodeSummary sum = mp3 ? zemdec::decode_mp3(in, out, {opt.gapless, false}, log)
                                          : zemdec::decode_aac(in, out, log, opt.sbrLowPower);
    const bool started = wav.started();
    if (!wav.finish()) {
        std::fprintf(stderr, "zemdec: writing %s failed: %s\n", opt.output.c_str(),
                     std::strerror(wav.error_number()));
        // A partial WAV file is worse than none; a device or a pipe is left alone.
        std::error_code ec;
        if (opt.output != "-" && std::filesystem::is_regular_file(opt.output, ec))
            std::remove(opt.output.c_str());
        return 2;
    }
    std::fprintf(log, "summary: %s -> %s: %ld %s, %ld with errors\n", opt.input.c_str(),
                 opt.output.c_str(), sum.frames, mp3 ? "frames" : "raw data blocks", sum.errors);
    if (!started) {
        std::fprintf(stderr, "zemdec: %s: no decodable AAC or MP3 found\n", opt.input.c_str());
        if (opt.output != "-")
            std::remove(opt.output.c_str());
        return 2;
    }
    return sum.errors > 0 ? 1 : 0;
}

int run_one(const Options& opt) {
    zemdec::Buffer in;
    std::string error;
    if (!zemdec::load_file(opt.input, in, error)) {
        std::fprintf(stderr, "zemdec: %s\n", error.c_str());
        return 2;
    }
    return opt.info ? walk(opt, in) : decode(opt, in);
}

std::vector<std::string> bundled_samples() {
    std::vector<std::string> files;
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator(ZEMDEC_SAMPLE_DIR, ec)) {
        const std::string ext = entry.path().extension().string();
        if (ext == ".aac" || ext == ".adts" || ext == ".adif" || ext == ".mp3")
            files.push_back(entry.path().string());
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::string default_output(const std::string& input) {
    std::filesystem::path p(input);
    return p.replace_extension(".wav").string();
}

// Bundled samples decode into the current directory, not next to the sources; the whole file
// name is kept, as samples of the two formats share their stem.
std::string bundled_output(const std::string& input) {
    std::filesystem::path name = std::filesystem::path(input).filename();
    return (name += ".wav").string();
}

} // namespace

int main(int argc, char** argv) {
    Options opt;
    std::vector<std::string> positional;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        }
        if (arg == "--info") {
            opt.info = true;
        } else if (arg == "--no-gapless") {
            opt.gapless = false;
        } else if (arg == "--sbr-lp") {
            opt.sbrLowPower = true;
        } else if (arg.size() > 1 && arg[0] == '-' && arg != "-") {
            std::fprintf(stderr, "zemdec: unknown option %s\n\n%s", arg.c_str(), kUsage);
            return 2;
        } else {
            positional.push_back(arg);
        }
    }
    if (positional.size() > 2) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    if (positional.empty()) {
        const std::vector<std::string> samples = bundled_samples();
        if (samples.empty()) {
            std::fprintf(stderr, "zemdec: no bundled samples in %s\n", ZEMDEC_SAMPLE_DIR);
            return 2;
        }
        int worst = 0;
        for (const std::string& s : samples) {
            opt.input = s;
            opt.output = bundled_output(s);
            worst = std::max(worst, run_one(opt));
        }
        return worst;
    }
    opt.input = positional[0];
    // Audio from standard input goes to standard output unless that is a terminal.
    const bool piped = opt.input == "-" && positional.size() == 1;
    if (piped && !opt.info && isatty(STDOUT_FILENO)) {
        std::fputs("zemdec: reading standard input: give an OUTPUT file ('-' for standard "
                   "output, which is a terminal here)\n",
                   stderr);
        return 2;
    }
    opt.output = positional.size() > 1 ? positional[1]
                 : piped               ? std::string(1, '-')
                                       : default_output(opt.input);
    return run_one(opt);
}
