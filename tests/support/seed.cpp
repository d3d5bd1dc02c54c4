#include "support/seed.hpp"

#include <cstdio>
#include <cstdlib>

namespace zemtest {

uint32_t seed() {
    static const uint32_t value = [] {
        const char* env = std::getenv("ZEM_TEST_SEED");
        const uint32_t s = env != nullptr ? uint32_t(std::strtoul(env, nullptr, 0)) : 20261123u;
        std::printf("random seed %u (set ZEM_TEST_SEED to override)\n", s);
        return s;
    }();
    return value;
}

} // namespace zemtest
