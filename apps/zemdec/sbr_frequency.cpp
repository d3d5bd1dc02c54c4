#include "sbr_frequency.hpp"

#include <algorithm>
#include <cmath>

namespace zemdec {

namespace {

struct RateRow {
    int coreRate;
    int startMin, stopMin, goalSb, maxK2MinusK0, offsetList;
};

// Per SBR rate (twice the core rate): startMin, stopMin, goalSb, the largest k2 - k0 and which
// start-offset list applies.
constexpr RateRow kRates[] = {
    {8000, 24, 48, 128, 48, 0}, {11025, 17, 35, 93, 48, 1}, {12000, 16, 32, 85, 48, 2},
    {16000, 16, 32, 64, 48, 3}, {22050, 12, 23, 46, 35, 4}, {24000, 11, 21, 43, 32, 4},
    {32000, 10, 20, 32, 32, 4}, {44100, 7, 15, 23, 32, 5},  {48000, 7, 13, 21, 32, 5},
};

constexpr int8_t kStartOffset[6][16] = {
    {-8, -7, -6, -5, -4, -3, -2, -1, 0, 1, 2, 3, 4, 5, 6, 7},
    {-5, -4, -3, -2, -1, 0, 1, 2, 3, 4, 5, 6, 7, 9, 11, 13},
    {-5, -3, -2, -1, 0, 1, 2, 3, 4, 5, 6, 7, 9, 11, 13, 16},
    {-6, -4, -2, -1, 0, 1, 2, 3, 4, 5, 6, 7, 9, 11, 13, 16},
    {-4, -2, -1, 0, 1, 2, 3, 4, 5, 6, 7, 9, 11, 13, 16, 20},
    {-2, -1, 0, 1, 2, 3, 4, 5, 6, 7, 9, 11, 13, 16, 20, 24},
};

int nint(double x) { return int(std::floor(x + 0.5)); }

// Band widths of a logarithmic split of [a, b) into n bands, ascending.
void log_widths(int a, int b, int n, int* dk) {
    const double ratio = double(b) / a;
    for (int k = 0; k < n; ++k)
        dk[k] =
            nint(a * std::pow(ratio, double(k + 1) / n)) - nint(a * std::pow(ratio, double(k) / n));
    std::sort(dk, dk + n);
}

bool master_linear(const SbrHeader& h, SbrBands& b) {
    const int dk = h.alterScale ? 2 : 1;
    const int numBands = h.alterScale ? 2 * nint((b.k2 - b.k0) / 4.0) : 2 * ((b.k2 - b.k0) / 2);
    if (numBands < 1 || numBands > kSbrMaxBands)
        return false;
    int vDk[kSbrMaxBands];
    std::fill(vDk, vDk + numBands, dk);
    int diff = b.k2 - (b.k0 + numBands * dk);
    // Widen the last bands or narrow the first ones until the table ends at k2.
    for (int k = diff > 0 ? numBands - 1 : 0; diff != 0; diff > 0 ? --k : ++k) {
        if (k < 0 || k >= numBands)
            return false;
        const int step = diff > 0 ? 1 : -1;
        vDk[k] += step;
        diff -= step;
    }
    b.nMaster = numBands;
    b.fMaster[0] = uint8_t(b.k0);
    for (int k = 1; k <= numBands; ++k) {
        if (vDk[k - 1] <= 0)
            return false;
        b.fMaster[k] = uint8_t(b.fMaster[k - 1] + vDk[k - 1]);
    }
    return true;
}

bool master_log(const SbrHeader& h, SbrBands& b) {
    constexpr int kBandsPerOctave[3] = {12, 10, 8};
    const int bands = kBandsPerOctave[h.freqScale - 1];
    const double warp = h.alterScale ? 1.3 : 1.0;
    const bool twoRegions = double(b.k2) / b.k0 > 2.2449;
    const int k1 = twoRegions ? 2 * b.k0 : b.k2;
    const int numBands0 = 2 * nint(bands * std::log(double(k1) / b.k0) / (2 * std::log(2.0)));
    if (numBands0 < 1 || numBands0 > kSbrMaxBands)
        return false;
    int vDk0[kSbrMaxBands];
    log_widths(b.k0, k1, numBands0, vDk0);
    int n = numBands0;
    b.fMaster[0] = uint8_t(b.k0);
    for (int k = 1; k <= numBands0; ++k)
        b.fMaster[k] = uint8_t(b.fMaster[k - 1] + vDk0[k - 1]);
    if (twoRegions) {
        const int numBands1 =
            2 * nint(bands * std::log(double(b.k2) / k1) / (2 * std::log(2.0) * warp));
        if (numBands1 < 1 || numBands0 + numBands1 > kSbrMaxBands)
            return false;
        int vDk1[kSbrMaxBands];
        log_widths(k1, b.k2, numBands1, vDk1);
        // The second region starts no narrower than the first one ends.
        if (vDk1[0] < vDk0[numBands0 - 1]) {
            const int change = std::min(vDk0[numBands0 - 1] - vDk1[0], (b.k2 - k1 - vDk1[0]) / 2);
            vDk1[0] += change;
            vDk1[numBands1 - 1] -= change;
            std::sort(vDk1, vDk1 + numBands1);
        }
        for (int k = 1; k <= numBands1; ++k)
            b.fMaster[numBands0 + k] = uint8_t(b.fMaster[numBands0 + k - 1] + vDk1[k - 1]);
        n += numBands1;
    }
    for (int k = 0; k < n; ++k)
        if (b.fMaster[k + 1] <= b.fMaster[k])
            return false;
    b.nMaster = n;
    return true;
}

bool patches(int goalSb, SbrBands& b) {
    int msb = b.k0, usb = b.kx, k;
    b.numPatches = 0;
    if (goalSb < b.kx + b.m) {
        for (k = 0; b.fMaster[k] < goalSb; ++k) {
        }
    } else {
        k = b.nMaster;
    }
    int sb;
    int rounds = 0; // a table that never reaches kx + M must not loop for ever
    do {
        if (++rounds > 12)
            return false;
        int j = k + 1, odd;
        do {
            if (--j < 0)
                return false;
            sb = b.fMaster[j];
            odd = (sb - 2 + b.k0) % 2;
        } while (sb > b.k0 - 1 + msb - odd);
        const int bandsOfPatch = std::max(sb - usb, 0);
        if (bandsOfPatch > 0) {
            if (b.numPatches == 5)
                return false;
            b.patchBands[b.numPatches] = uint8_t(bandsOfPatch);
            b.patchStart[b.numPatches] = uint8_t(b.k0 - odd - bandsOfPatch);
            usb = sb;
            msb = sb;
            ++b.numPatches;
        } else {
            msb = b.kx;
        }
        if (b.fMaster[k] - sb < 3)
            k = b.nMaster;
    } while (sb != b.kx + b.m);
    if (b.numPatches > 1 && b.patchBands[b.numPatches - 1] < 3)
        --b.numPatches;
    return b.numPatches > 0;
}

} // namespace

void derive_limiter_bands(int limiterBands, SbrBands& b) {
    const uint8_t* low = b.f[0];
    if (limiterBands == 0) {
        b.nLim = 1;
        b.fLim[0] = low[0];
        b.fLim[1] = low[b.n[0]];
        return;
    }
    constexpr double kBandsPerOctave[3] = {1.2, 2.0, 3.0};
    const double minRatio = std::pow(2.0, 0.49 / kBandsPerOctave[limiterBands - 1]);
    uint8_t borders[6];
    borders[0] = uint8_t(b.kx);
    for (int p = 0; p < b.numPatches; ++p)
        borders[p + 1] = uint8_t(borders[p] + b.patchBands[p]);
    const auto isBorder = [&](int v) {
        return std::find(borders, borders + b.numPatches + 1, v) != borders + b.numPatches + 1;
    };
    uint8_t table[kSbrMaxBands + 8];
    int n = b.n[0] + b.numPatches; // entries
    std::copy(low, low + b.n[0] + 1, table);
    std::copy(borders + 1, borders + b.numPatches, table + b.n[0] + 1);
    std::sort(table, table + n);
    // Merge borders closer than the limiter's resolution, keeping patch borders.
    int out = 0;
    for (int in = 1; in < n; ++in) {
        if (table[in] >= table[out] * minRatio) {
            table[++out] = table[in];
        } else if (table[in] == table[out] || !isBorder(table[in])) {
            continue;
        } else if (!isBorder(table[out])) {
            table[out] = table[in];
        } else {
            table[++out] = table[in];
        }
    }
    // Without its last patch (narrower than three bands) the merge can end the table below the
    // high band's top; the bands above still need a limiter band.
    if (table[out] < low[b.n[0]])
        table[++out] = low[b.n[0]];
    b.nLim = out;
    std::copy(table, table + out + 1, b.fLim);
}

bool derive_sbr_bands(const SbrHeader& h, int coreRate, SbrBands& b) {
    const RateRow* rate = nullptr;
    for (const RateRow& r : kRates)
        if (r.coreRate == coreRate)
            rate = &r;
    if (rate == nullptr)
        return false;
    b = SbrBands{};
    b.k0 = rate->startMin + kStartOffset[rate->offsetList][h.startFreq];
    if (h.stopFreq == 14) {
        b.k2 = std::min(64, 2 * b.k0);
    } else if (h.stopFreq == 15) {
        b.k2 = std::min(64, 3 * b.k0);
    } else {
        int dk[13];
        const double ratio = 64.0 / rate->stopMin;
        for (int p = 0; p < 13; ++p)
            dk[p] = nint(rate->stopMin * std::pow(ratio, (p + 1) / 13.0)) -
                    nint(rate->stopMin * std::pow(ratio, p / 13.0));
        std::sort(dk, dk + 13);
        b.k2 = rate->stopMin;
        for (int p = 0; p < h.stopFreq; ++p)
            b.k2 += dk[p];
        b.k2 = std::min(64, b.k2);
    }
    if (b.k2 <= b.k0 || b.k2 - b.k0 > rate->maxK2MinusK0)
        return false;
    if (!(h.freqScale == 0 ? master_linear(h, b) : master_log(h, b)))
        return false;
    if (h.xoverBand >= b.nMaster)
        return false;
    // Envelope bands: the master table from the crossover band, and every second border of it.
    const int nHigh = b.nMaster - h.xoverBand;
    b.n[1] = nHigh;
    b.n[0] = (nHigh + 1) / 2;
    std::copy(b.fMaster + h.xoverBand, b.fMaster + b.nMaster + 1, b.f[1]);
    for (int k = 0; k <= b.n[0]; ++k)
        b.f[0][k] = b.f[1][k == 0 ? 0 : 2 * k - (nHigh & 1)];
    b.kx = b.f[1][0];
    b.m = b.f[1][nHigh] - b.kx;
    if (b.kx > 32 || b.kx + b.m > 64 || b.m <= 0)
        return false;
    // Noise-floor bands.
    b.nQ = h.noiseBands == 0
               ? 1
               : std::max(1, nint(h.noiseBands * std::log(double(b.k2) / b.kx) / std::log(2.0)));
    if (b.nQ > 5)
        return false;
    int i = 0;
    b.fNoise[0] = b.f[0][0];
    for (int k = 1; k <= b.nQ; ++k) {
        i += (b.n[0] - i) / (b.nQ + 1 - k);
        b.fNoise[k] = b.f[0][i];
    }
    if (!patches(rate->goalSb, b))
        return false;
    derive_limiter_bands(h.limiterBands, b);
    return true;
}

} // namespace zemdec
