// Double-precision evaluations of the SBR QMF banks' defining sums, with their delay lines kept
// as plain sample histories: the reference the float and fixed banks are measured against.
#pragma once

#include <complex>
#include <vector>

namespace zemtest {

// The 640-coefficient prototype c[0..639] (the library's single-precision table, widened).
std::vector<double> qmf_window();
// c[2i], i = 0..319: the window of the 32-band banks.
std::vector<double> qmf_window_even();

// 32-band analysis: per slot 32 new samples in time order; window w[n + 64m] weighs the delayed
// sample x[n + 64m] (x[0] the newest).
class QmfAnalysisModel {
  public:
    explicit QmfAnalysisModel(std::vector<double> window320);
    // X[k] = sum 2 u[n] exp(i pi (k + .5)(2n - .5) / 64) and the real bank's
    // sum 2 u[n] cos(pi (k + .5)(2n - 96) / 64); either output may be null.
    void slot(const double* src32, std::complex<double>* complexOut, double* realOut);

  private:
    std::vector<double> w_, x_; // x_[0] newest
};

// M-band synthesis (M = 64 or 32), window of 10M coefficients. v[n] = scale * the kernel sum of
// the complex bank (phase 2n - 255 over 128 for M = 64, 2n - 127.5 over 64 for M = 32) or of the
// real bank (2n - 64 over 128, 2n - 32 over 64); y[n] = sum_i w[M i + n] V[o_i + n].
class QmfSynthesisModel {
  public:
    QmfSynthesisModel(int bands, std::vector<double> window);
    void slot_complex(const std::complex<double>* X, double* y, double scale);
    void slot_real(const double* X, double* y, double scale);

  private:
    void output(const std::vector<double>& v, double* y);
    int m_;
    std::vector<double> w_, hist_; // hist_[0 .. 20M): newest v first
};

} // namespace zemtest
