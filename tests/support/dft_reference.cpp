#include "support/dft_reference.hpp"

#include <cmath>
#include <random>

namespace zemtest {

namespace {
constexpr double kTwoPi = 6.283185307179586476925286766559;

std::complex<double> root(std::size_t k, std::size_t n, bool inverse) {
    const double a = kTwoPi * double(k) / double(n);
    return {std::cos(a), inverse ? std::sin(a) : -std::sin(a)};
}
} // namespace

cvec direct_dft(const cvec& x, bool inverse) {
    const std::size_t n = x.size();
    cvec w(n), out(n);
    for (std::size_t k = 0; k < n; ++k)
        w[k] = root(k, n, inverse);
    for (std::size_t k = 0; k < n; ++k) {
        std::complex<double> s = 0;
        for (std::size_t m = 0; m < n; ++m)
            s += x[m] * w[(m * k) % n];
        out[k] = s;
    }
    return out;
}

cvec fast_dft(const cvec& x, bool inverse) {
    const std::size_t n = x.size();
    std::size_t bits = 0;
    while ((std::size_t(1) << bits) < n)
        ++bits;
    cvec a(n), w(n / 2 + 1);
    for (std::size_t i = 0; i < n; ++i) {
        std::size_t r = 0;
        for (std::size_t b = 0; b < bits; ++b)
            r |= ((i >> b) & 1) << (bits - 1 - b);
        a[r] = x[i];
    }
    for (std::size_t k = 0; k < n / 2; ++k)
        w[k] = root(k, n, inverse);
    for (std::size_t len = 2; len <= n; len *= 2)
        for (std::size_t blk = 0; blk < n; blk += len)
            for (std::size_t k = 0; k < len / 2; ++k) {
                const std::complex<double> t = w[k * (n / len)] * a[blk + k + len / 2];
                a[blk + k + len / 2] = a[blk + k] - t;
                a[blk + k] += t;
            }
    return a;
}

double rel_l2(const float* got, const cvec& want) {
    double num = 0, den = 0;
    for (std::size_t i = 0; i < want.size(); ++i) {
        num += std::norm(std::complex<double>(got[2 * i], got[2 * i + 1]) - want[i]);
        den += std::norm(want[i]);
    }
    return den == 0 ? std::sqrt(num) : std::sqrt(num / den);
}

cvec random_complex(std::size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    cvec x(n);
    for (auto& v : x)
        v = {u(rng), u(rng)};
    return x;
}

} // namespace zemtest
