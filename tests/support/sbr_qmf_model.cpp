#include "support/sbr_qmf_model.hpp"

#include <cmath>
#include <numbers>

#include "tables/sbr_qmf_window.hpp"

namespace zemtest {

using std::numbers::pi;

std::vector<double> qmf_window() {
    return std::vector<double>(std::begin(zem::sbr::kQmfWindow), std::end(zem::sbr::kQmfWindow));
}

std::vector<double> qmf_window_even() {
    std::vector<double> w(320);
    for (int i = 0; i < 320; ++i)
        w[i] = zem::sbr::kQmfWindow[2 * i];
    return w;
}

QmfAnalysisModel::QmfAnalysisModel(std::vector<double> window320)
    : w_(std::move(window320)), x_(320, 0.0) {}

void QmfAnalysisModel::slot(const double* src32, std::complex<double>* complexOut,
                            double* realOut) {
    for (int p = 319; p >= 32; --p)
        x_[p] = x_[p - 32];
    for (int j = 0; j < 32; ++j)
        x_[j] = src32[31 - j];
    double u[64];
    for (int n = 0; n < 64; ++n) {
        u[n] = 0;
        for (int m = 0; m < 5; ++m)
            u[n] += w_[n + 64 * m] * x_[n + 64 * m];
    }
    for (int k = 0; k < 32; ++k) {
        std::complex<double> c = 0;
        double r = 0;
        for (int n = 0; n < 64; ++n) {
            c += 2 * u[n] * std::polar(1.0, pi * (k + 0.5) * (2 * n - 0.5) / 64);
            r += 2 * u[n] * std::cos(pi * (k + 0.5) * (2 * n - 96) / 64);
        }
        if (complexOut)
            complexOut[k] = c;
        if (realOut)
            realOut[k] = r;
    }
}

QmfSynthesisModel::QmfSynthesisModel(int bands, std::vector<double> window)
    : m_(bands), w_(std::move(window)), hist_(20 * bands, 0.0) {}

void QmfSynthesisModel::slot_complex(const std::complex<double>* X, double* y, double scale) {
    const double phase = m_ == 64 ? 255.0 : 127.5, den = 2.0 * m_;
    std::vector<double> v(2 * m_);
    for (int n = 0; n < 2 * m_; ++n) {
        double s = 0;
        for (int k = 0; k < m_; ++k)
            s += (X[k] * std::polar(1.0, pi * (k + 0.5) * (2 * n - phase) / den)).real();
        v[n] = scale * s;
    }
    output(v, y);
}

void QmfSynthesisModel::slot_real(const double* X, double* y, double scale) {
    const double den = 2.0 * m_;
    std::vector<double> v(2 * m_);
    for (int n = 0; n < 2 * m_; ++n) {
        double s = 0;
        for (int k = 0; k < m_; ++k)
            s += X[k] * std::cos(pi * (k + 0.5) * (2 * n - m_) / den);
        v[n] = scale * s;
    }
    output(v, y);
}

void QmfSynthesisModel::output(const std::vector<double>& v, double* y) {
    const int m = m_;
    for (int p = 20 * m - 1; p >= 2 * m; --p)
        hist_[p] = hist_[p - 2 * m];
    for (int n = 0; n < 2 * m; ++n)
        hist_[n] = v[n];
    for (int n = 0; n < m; ++n) {
        double s = 0;
        for (int i = 0; i < 10; ++i) {
            const int o = (i % 2 == 0) ? (i / 2) * 4 * m : ((i - 1) / 2) * 4 * m + 3 * m;
            s += w_[m * i + n] * hist_[o + n];
        }
        y[n] = s;
    }
}

} // namespace zemtest
