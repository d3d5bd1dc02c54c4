// The lifecycle pieces the transform specs share: the work buffer of one call, InitAlloc and Free
// of a spec that lives in one block (the FFTs), and GetBufSize and Free of an MDCT record.
// Each family keeps its own argument checks, in its documented order, in front of these.
#pragma once

#include <cstdint>

#include "core/state.hpp"
#include "transform/mdct.hpp"

namespace zem {

// Runs body(work) with the caller's work buffer, or with one of `bytes` allocated for the call
// when the caller gave none (none when bytes < 1), rounded up to 32 bytes; null when there is
// no buffer at all.
template <typename Body> ZemStatus with_work_buffer(uint8_t* caller, int64_t bytes, Body body) {
    void* owned = nullptr;
    if (caller == nullptr && bytes > 0) {
        owned = zemAllocBytes(std::ptrdiff_t(bytes));
        if (owned == nullptr)
            return zemStatusNoMemory;
        caller = static_cast<uint8_t*>(owned);
    }
    body(caller == nullptr ? nullptr : align_up<32>(caller));
    zemRelease(owned);
    return zemStatusOk;
}

// InitAlloc of a spec that lives in one block: a block of sizeSpec bytes and, for the call only,
// init scratch of sizeInit bytes (none when 0); init(&spec, block, scratch) builds the spec,
// which then owns its block (Spec has the fields allocated and blockOffset).
template <typename Spec, typename Init>
ZemStatus alloc_spec_block(Spec** ppSpec, int32_t sizeSpec, int32_t sizeInit, Init init) {
    auto* mem = static_cast<uint8_t*>(zemAllocBytes(sizeSpec));
    if (mem == nullptr)
        return zemStatusNoMemory;
    uint8_t* scratch = nullptr;
    if (sizeInit > 0) {
        scratch = static_cast<uint8_t*>(zemAllocBytes(sizeInit));
        if (scratch == nullptr) {
            zemRelease(mem);
            return zemStatusNoMemory;
        }
    }
    Spec* spec = nullptr;
    const ZemStatus st = init(&spec, mem, scratch);
    zemRelease(scratch);
    if (st != zemStatusOk) {
        zemRelease(mem);
        return st;
    }
    spec->allocated = 1;
    spec->blockOffset = int32_t(reinterpret_cast<uint8_t*>(spec) - mem);
    *ppSpec = spec;
    return zemStatusOk;
}

// Free of such a spec: the tag must match and is cleared (a second Free is refused); a block
// from InitAlloc is released from its start.
template <typename Spec> ZemStatus free_spec_block(Spec* pSpec, int32_t tag) {
    if (pSpec == nullptr)
        return zemStatusNullPointer;
    if (pSpec->tag != tag)
        return zemStatusContextMismatch;
    pSpec->tag = 0;
    if (pSpec->allocated == 1)
        zemRelease(reinterpret_cast<uint8_t*>(pSpec) - pSpec->blockOffset);
    return zemStatusOk;
}

// GetBufSize of an MDCT record: the work bytes stored in it.
inline ZemStatus mdct_work_size(const void* pSpec, int32_t* pSize, Tag tag) {
    if (pSpec == nullptr || pSize == nullptr)
        return zemStatusNullPointer;
    if (!has_tag(pSpec, tag))
        return zemStatusContextMismatch;
    *pSize = static_cast<const MdctRecord*>(pSpec)->workSize;
    return zemStatusOk;
}

// Free of an MDCT record: the tag must match and is cleared; a record from InitAlloc gives
// release_owned its MdctOwned pointers and is released itself.
template <typename ReleaseOwned>
ZemStatus free_mdct_record(void* pSpec, Tag tag, ReleaseOwned release_owned) {
    if (pSpec == nullptr)
        return zemStatusNullPointer;
    auto* r = static_cast<MdctRecord*>(pSpec);
    if (!has_tag(r, tag))
        return zemStatusContextMismatch;
    r->tag = 0;
    if (r->allocated != 0) {
        release_owned(*reinterpret_cast<MdctOwned*>(r + 1));
        zemRelease(r);
    }
    return zemStatusOk;
}

} // namespace zem
