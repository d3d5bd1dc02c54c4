// zemdec: the sample decoder, built only on the public header of the library.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "aac_info.hpp"
#include "input.hpp"

namespace {

const char kUsage[] =
    "usage: zemdec [--info] INPUT [OUTPUT]\n"
    "       zemdec --help\n"
    "\n"
    "Reads an AAC stream (ADTS frames, or an ADIF header) from INPUT and reports\n"
    "what its headers say: per frame the sampling rate, channel configuration,\n"
    "profile, frame length and number of raw data blocks; for ADIF the program\n"
    "config elements. Garbage between frames is reported with its byte offset and\n"
    "skipped; the walk resynchronises on the next ADTS header.\n"
    "\n"
    "  --info    print the headers only\n"
    "  --help    print this text\n"
    "  OUTPUT    WAV file to write; defaults to INPUT with the extension .wav,\n"
    "            '-' writes to standard output\n"
    "\n"
    "With no INPUT, zemdec runs on the bundled sample streams.\n"
    "Exit status: 0 when the whole input was valid, 1 when errors were found,\n"
    "2 when nothing valid was found or the command line was wrong.\n";

struct Options {
    bool info = false;
    std::string input;
    std::string output;
};

int run_one(const Options& opt) {
    zemdec::Buffer in;
    std::string error;
    if (!zemdec::load_file(opt.input, in, error)) {
        std::fprintf(stderr, "zemdec: %s\n", error.c_str());
        return 2;
    }
    std::printf("%s:\n", opt.input.c_str());
    const zemdec::WalkSummary sum = zemdec::walk_aac(in, stdout);
    if (sum.frames == 0) {
        std::fprintf(stderr, "zemdec: %s: no AAC header found\n", opt.input.c_str());
        return 2;
    }
    return sum.errors > 0 || sum.skippedBytes > 0 ? 1 : 0;
}

std::vector<std::string> bundled_samples() {
    std::vector<std::string> files;
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator(ZEMDEC_SAMPLE_DIR, ec)) {
        const std::string ext = entry.path().extension().string();
        if (ext == ".aac" || ext == ".adts" || ext == ".adif")
            files.push_back(entry.path().string());
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::string default_output(const std::string& input) {
    std::filesystem::path p(input);
    return p.replace_extension(".wav").string();
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
            opt.output = default_output(s);
            worst = std::max(worst, run_one(opt));
        }
        return worst;
    }
    opt.input = positional[0];
    opt.output = positional.size() > 1 ? positional[1] : default_output(opt.input);
    return run_one(opt);
}
