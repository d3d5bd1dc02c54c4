#include <cstring>

#include "sbr/qmf_float.hpp"

namespace zem::sbr {
namespace {

struct TransformSizes {
    int32_t spec = 0, init = 0, work = 0;
};

TransformSizes transform_sizes(QmfTransform t) {
    TransformSizes s;
    switch (t) {
    case QmfTransform::FftSplit5:
    case QmfTransform::Fft5:
        fft_get_buf_sizes(5, FftNoScale, 0, &s.spec, &s.init, &s.work);
        break;
    case QmfTransform::Fft6:
        fft_get_buf_sizes(6, FftNoScale, 0, &s.spec, &s.init, &s.work);
        break;
    case QmfTransform::DctInv32:
    case QmfTransform::DctFwd32:
        dct_get_buf_sizes(32, 0, &s.spec, &s.init, &s.work);
        break;
    case QmfTransform::DctFwd64:
        dct_get_buf_sizes(64, 0, &s.spec, &s.init, &s.work);
        break;
    }
    return s;
}

} // namespace

ZemStatus qmf_sizes(QmfTransform t, int32_t stateExtra, int32_t* pSizeSpec, int32_t* pSizeInit,
                    int32_t* pSizeWork) {
    if (pSizeSpec == nullptr || pSizeInit == nullptr || pSizeWork == nullptr)
        return zemStatusNullPointer;
    const TransformSizes s = transform_sizes(t);
    *pSizeSpec = int32_t(round_up<16>(std::size_t(s.spec))) + stateExtra;
    *pSizeInit = s.init + 4;
    *pSizeWork = s.work + 4;
    return zemStatusOk;
}

ZemStatus qmf_init(void** ppSpec, uint8_t* pMemSpec, uint8_t* pMemInit, QmfTransform t, Tag tag,
                   int32_t delayFloats) {
    if (ppSpec == nullptr || pMemSpec == nullptr || pMemInit == nullptr)
        return zemStatusNullPointer;
    uint8_t* base = align_up<16>(pMemSpec);
    const TransformSizes s = transform_sizes(t);
    auto* header = reinterpret_cast<QmfHeader*>(base + round_up<16>(std::size_t(s.spec)));
    ZemFftSpec* fft = nullptr;
    ZemDctSpec* dct = nullptr;
    switch (t) {
    case QmfTransform::FftSplit5:
        fft_init_split(&fft, 5, FftNoScale, 0, base, pMemInit);
        break;
    case QmfTransform::Fft5:
        fft_init(&fft, 5, FftNoScale, 0, base, pMemInit);
        break;
    case QmfTransform::Fft6:
        fft_init(&fft, 6, FftNoScale, 0, base, pMemInit);
        break;
    case QmfTransform::DctInv32:
        dct_inv_init(&dct, 32, 0, base, pMemInit);
        break;
    case QmfTransform::DctFwd32:
        dct_fwd_init(&dct, 32, 0, base, pMemInit);
        break;
    case QmfTransform::DctFwd64:
        dct_fwd_init(&dct, 64, 0, base, pMemInit);
        break;
    }
    const auto offset = [header](const void* p) {
        return p ? int32_t(static_cast<const uint8_t*>(p) - reinterpret_cast<uint8_t*>(header)) : 0;
    };
    std::memset(header, 0, sizeof(QmfHeader));
    header->tag = uint32_t(tag);
    header->delayOffset = int32_t(sizeof(QmfHeader));
    header->fftOffset = offset(fft);
    header->dctOffset = offset(dct);
    std::memset(qmf_delay(header), 0, std::size_t(delayFloats) * sizeof(float));
    *ppSpec = header;
    return zemStatusOk;
}

} // namespace zem::sbr
