// Seeds of the randomised tests: printed once, overridable with ZEM_TEST_SEED.
#pragma once

#include <cstdint>

namespace zemtest {

uint32_t seed();

} // namespace zemtest
