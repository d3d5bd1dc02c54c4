// GetSize, Init, InitAlloc and Free of the six fixed-point SBR banks.
#include <cstring>

#include "core/checks.hpp"
#include "core/export.hpp"
#include "sbr/qmf_fixed.hpp"
#include "zemac.h"

namespace zem::sbr {
namespace {

// 15 bytes of alignment slack, the record, the delay line.
constexpr int32_t bytes_for(int32_t line) { return 15 + 32 + 4 * line; }

void build(void* mem, Tag tag, int32_t line, int32_t owned) {
    FixedRecord* r = fixed_record(mem);
    std::memset(r, 0, sizeof(FixedRecord));
    r->tag = uint32_t(tag);
    r->descriptorOffset = 16;
    r->ownedByLibrary = owned;
    r->delayOffset = 32;
    std::memset(fixed_delay(r), 0, std::size_t(line) * 4);
}

ZemStatus size_of(int32_t* pSize, int32_t line) {
    if (pSize == nullptr)
        return zemStatusNullPointer;
    *pSize = bytes_for(line);
    return zemStatusOk;
}

ZemStatus init(uint8_t* pMem, Tag tag, int32_t line) {
    if (pMem == nullptr)
        return zemStatusNullPointer;
    build(pMem, tag, line, 0);
    return zemStatusOk;
}

template <class Spec> ZemStatus init_alloc(Spec** ppSpec, Tag tag, int32_t line) {
    if (ppSpec == nullptr)
        return zemStatusNullPointer;
    void* mem = alloc_bytes(bytes_for(line));
    if (mem == nullptr)
        return zemStatusNoMemory;
    build(mem, tag, line, 1);
    *ppSpec = static_cast<Spec*>(mem);
    return zemStatusOk;
}

template <class Spec> ZemStatus release(Spec* pSpec, Tag tag) {
    if (pSpec == nullptr)
        return zemStatusNullPointer;
    const FixedRecord* r = fixed_record(pSpec);
    if (!has_tag(r, tag))
        return zemStatusContextMismatch;
    if (r->ownedByLibrary == 1)
        release_block(pSpec);
    return zemStatusOk;
}

} // namespace
} // namespace zem::sbr

using namespace zem;
using namespace zem::sbr;

ZEM_API ZemStatus zemsAnalysisFilterGetSize_SBRHQ_32s32sc(int32_t* pSize) {
    return size_of(pSize, 320);
}
ZEM_SHARED_EXPORT(zemsAnalysisFilterGetSize_SBRLP_32s, zemsAnalysisFilterGetSize_SBRHQ_32s32sc);
ZEM_API ZemStatus zemsSynthesisFilterGetSize_SBRHQ_32sc32s(int32_t* pSize) {
    return size_of(pSize, 1280);
}
ZEM_SHARED_EXPORT(zemsSynthesisFilterGetSize_SBRLP_32s, zemsSynthesisFilterGetSize_SBRHQ_32sc32s);
ZEM_API ZemStatus zemsSynthesisDownFilterGetSize_SBRHQ_32sc32s(int32_t* pSize) {
    return size_of(pSize, 640);
}
ZEM_SHARED_EXPORT(zemsSynthesisDownFilterGetSize_SBRLP_32s,
                  zemsSynthesisDownFilterGetSize_SBRHQ_32sc32s);

ZEM_API ZemStatus zemsAnalysisFilterInit_SBRHQ_32s32sc(uint8_t* pMem) {
    return init(pMem, Tag::SbrHqAnalysis, 320);
}
ZEM_API ZemStatus zemsAnalysisFilterInit_SBRLP_32s(uint8_t* pMem) {
    return init(pMem, Tag::SbrLpAnalysis, 320);
}
ZEM_API ZemStatus zemsSynthesisFilterInit_SBRHQ_32sc32s(uint8_t* pMem) {
    return init(pMem, Tag::SbrHqSynthesis, 1280);
}
ZEM_API ZemStatus zemsSynthesisFilterInit_SBRLP_32s(uint8_t* pMem) {
    return init(pMem, Tag::SbrLpSynthesis, 1280);
}
ZEM_API ZemStatus zemsSynthesisDownFilterInit_SBRHQ_32sc32s(uint8_t* pMem) {
    return init(pMem, Tag::SbrHqSynthesisDown, 640);
}
ZEM_API ZemStatus zemsSynthesisDownFilterInit_SBRLP_32s(uint8_t* pMem) {
    return init(pMem, Tag::SbrLpSynthesisDown, 640);
}

ZEM_API ZemStatus zemsAnalysisFilterInitAlloc_SBRHQ_32s32sc(ZemSbrAnalysisSpec_32s** ppSpec) {
    return init_alloc(ppSpec, Tag::SbrHqAnalysis, 320);
}
ZEM_API ZemStatus zemsAnalysisFilterInitAlloc_SBRLP_32s(ZemSbrAnalysisSpec_32s** ppSpec) {
    return init_alloc(ppSpec, Tag::SbrLpAnalysis, 320);
}
ZEM_API ZemStatus zemsSynthesisFilterInitAlloc_SBRHQ_32sc32s(ZemSbrSynthesisSpec_32s** ppSpec) {
    return init_alloc(ppSpec, Tag::SbrHqSynthesis, 1280);
}
ZEM_API ZemStatus zemsSynthesisFilterInitAlloc_SBRLP_32s(ZemSbrSynthesisSpec_32s** ppSpec) {
    return init_alloc(ppSpec, Tag::SbrLpSynthesis, 1280);
}
ZEM_API ZemStatus
zemsSynthesisDownFilterInitAlloc_SBRHQ_32sc32s(ZemSbrSynthesisDownSpec_32s** ppSpec) {
    return init_alloc(ppSpec, Tag::SbrHqSynthesisDown, 640);
}
ZEM_API ZemStatus zemsSynthesisDownFilterInitAlloc_SBRLP_32s(ZemSbrSynthesisDownSpec_32s** ppSpec) {
    return init_alloc(ppSpec, Tag::SbrLpSynthesisDown, 640);
}

ZEM_API ZemStatus zemsAnalysisFilterFree_SBRHQ_32s32sc(ZemSbrAnalysisSpec_32s* pSpec) {
    return release(pSpec, Tag::SbrHqAnalysis);
}
ZEM_API ZemStatus zemsAnalysisFilterFree_SBRLP_32s(ZemSbrAnalysisSpec_32s* pSpec) {
    return release(pSpec, Tag::SbrLpAnalysis);
}
ZEM_API ZemStatus zemsSynthesisFilterFree_SBRHQ_32sc32s(ZemSbrSynthesisSpec_32s* pSpec) {
    return release(pSpec, Tag::SbrHqSynthesis);
}
ZEM_API ZemStatus zemsSynthesisFilterFree_SBRLP_32s(ZemSbrSynthesisSpec_32s* pSpec) {
    return release(pSpec, Tag::SbrLpSynthesis);
}
ZEM_API ZemStatus zemsSynthesisDownFilterFree_SBRHQ_32sc32s(ZemSbrSynthesisDownSpec_32s* pSpec) {
    return release(pSpec, Tag::SbrHqSynthesisDown);
}
ZEM_API ZemStatus zemsSynthesisDownFilterFree_SBRLP_32s(ZemSbrSynthesisDownSpec_32s* pSpec) {
    return release(pSpec, Tag::SbrLpSynthesisDown);
}
