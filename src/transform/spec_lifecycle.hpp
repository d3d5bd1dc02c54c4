// The lifecycle pieces the transform specs share: the work buffer of one call, InitAlloc and Free
// of a spec that lives in one block (the FFTs), and GetBufSize and Free of an MDCT record.
// Each family keeps its own argument checks, in its documented order, in front of these.
#pragma once

#include <cstdint>

#include "core/state.hpp"
#include "transform/mdct.hpp"

namespace zem {

// The work buffer of one call: the caller's, or one of `bytes` allocated for the call when the
// caller gave none (none when bytes < 1), released at the end of the scope. get() is the buffer
// rounded up to 32 bytes, null when there is none; failed() tells that the allocation failed.
class WorkBuffer {
  public:
    WorkBuffer(uint8_t* caller, int64_t bytes) {
        if (caller == nullptr && bytes > 0) {
            owned_ = alloc_bytes(std::ptrdiff_t(bytes));
            failed_ = owned_ == nullptr;
            caller = static_cast<uint8_t*>(owned_);
        }
        work_ = caller == nullptr ? nullptr : align_up<32>(caller);
    }
    ~WorkBuffer() { release_block(owned_); }
    WorkBuffer(const WorkBuffer&) = delete;
    WorkBuffer& operator=(const WorkBuffer&) = delete;
    bool failed() const { return failed_; }
    uint8_t* get() const { return work_; }

  private:
    void* owned_ = nullptr;
    uint8_t* work_ = nullptr;
    bool failed_ = false;
};

// InitAlloc of a transform record that lives in one block: a block of sizeSpec bytes and, for
// the call only, init scratch of sizeInit bytes (none when 0); init(&record, block, scratch)
// builds the record, which then owns its block (Spec has the fields allocated and blockOffset).
template <typename Spec, typename Init>
ZemStatus alloc_spec_block(Spec** ppSpec, int32_t sizeSpec, int32_t sizeInit, Init init) {
    auto* mem = static_cast<uint8_t*>(alloc_bytes(sizeSpec));
    if (mem == nullptr)
        return zemStatusNoMemory;
    uint8_t* scratch = nullptr;
    if (sizeInit > 0) {
        scratch = static_cast<uint8_t*>(alloc_bytes(sizeInit));
        if (scratch == nullptr) {
            release_block(mem);
            return zemStatusNoMemory;
        }
    }
    Spec* spec = nullptr;
    const ZemStatus st = init(&spec, mem, scratch);
    release_block(scratch);
    if (st != zemStatusOk) {
        release_block(mem);
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
        release_block(reinterpret_cast<uint8_t*>(pSpec) - pSpec->blockOffset);
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
        release_block(r);
    }
    return zemStatusOk;
}

} // namespace zem
