// The sample decoder's whole MP3 decoding path on arbitrary files.
#include <cstddef>
#include <cstdint>

#include "input.hpp"
#include "mp3_decoder.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    const zemdec::Buffer in = zemdec::make_buffer(data, size);
    const zemdec::PcmOutput out{[](const zemdec::StreamFormat&) {},
                                [](const int16_t*, std::size_t) {}};
    zemdec::decode_mp3(in, out, {}, nullptr);
    return 0;
}
