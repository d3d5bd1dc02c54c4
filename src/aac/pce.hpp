#pragma once

#include <cstdint>

#include "zemac/aac_stream.h"

namespace zem::aac {

// program_config_element() after its element_id, ending with the byte-aligned comment field.
void read_program_config(uint8_t*& stream, int32_t& bitPos, ZemAacPceRec& pce);

} // namespace zem::aac
