// zemenc's WAV reader on arbitrary bytes; what it accepts, if short, is encoded.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "encoder.hpp"
#include "wav_reader.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    const std::vector<uint8_t> file(data, data + size);
    zemenc::Pcm pcm;
    std::string error;
    if (!zemenc::parse_wav(file, pcm, error))
        return 0;
    if (pcm.channels < 1 || pcm.channels > 2 || pcm.samples.size() % std::size_t(pcm.channels) != 0)
        __builtin_trap();
    if (pcm.samples.size() <= 2 * 2304) {
        std::vector<uint8_t> mp3;
        zemenc::encode(pcm, zemenc::Settings{}, mp3, error);
    }
    return 0;
}
