// Inputs of the benchmarks: seeded Gaussian noise.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

namespace zembench {

inline std::vector<float> noise(std::size_t n, uint32_t seed) {
    std::mt19937 rng(seed);
    std::normal_distribution<float> d(0.0f, 1.0f);
    std::vector<float> v(n);
    for (float& x : v)
        x = d(rng);
    return v;
}

} // namespace zembench
