// The sample decoder's AAC stream walker on arbitrary files.
#include <cstddef>
#include <cstdint>

#include "aac_info.hpp"
#include "input.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    const zemdec::Buffer in = zemdec::make_buffer(data, size);
    zemdec::walk_aac(in, nullptr);
    return 0;
}
