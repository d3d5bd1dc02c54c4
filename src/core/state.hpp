// State blocks: alignment inside caller memory, tags, ownership, and the allocation and
// zero-fill wrappers through which all of the library's heap memory passes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zemac/core.h"

namespace zem {

// Tags of the state types (word 0 of the header unless the family says otherwise).
enum class Tag : uint32_t {
    SbrAnalysisRToC32fc = 0x434D4156,
    SbrAnalysisRToC32f = 0x434D4157,
    SbrAnalysisRToR = 0x434D4158,
    SbrSynthesisCToR32fc = 0x434D4159,
    SbrSynthesisCToR32f = 0x434D415A,
    SbrSynthesisRToR = 0x434D415B,
    SbrSynthesisDownCToR32fc = 0x434D415C,
    SbrSynthesisDownCToR32f = 0x434D415D,
    SbrSynthesisDownRToR = 0x434D415E,
    VlcEncSpec = 0x434D415F,
    VlcDecSpec = 0x434D4160,
    SbrHqAnalysis = 0x434D4161,
    SbrLpAnalysis = 0x434D4162,
    SbrHqSynthesis = 0x434D4163,
    SbrLpSynthesis = 0x434D4164,
    SbrHqSynthesisDown = 0x434D4165,
    SbrLpSynthesisDown = 0x434D4166,
    Mp3PqmfSynthesis = 0x434D4167,
    Mp3PqmfAnalysis = 0x434D4168,
    SbrEncAnalysis = 0x434D416A,
    DtsSynthesis = 0x434D416B,
    MdctFwd32f = 55,
    MdctInv32f = 56,
    MdctFwd16s = 57,
    FirBlock = 58,
    FdPredictor = 59,
};

// First address at or after p that is a multiple of Align (a power of two): p + ((-p) mod Align).
template <std::size_t Align, typename T> inline T* align_up(T* p) {
    static_assert((Align & (Align - 1)) == 0);
    const auto a = reinterpret_cast<std::uintptr_t>(p);
    return reinterpret_cast<T*>(a + ((0 - a) & (Align - 1)));
}

// Byte count rounded up to a multiple of Align.
template <std::size_t Align> constexpr std::size_t round_up(std::size_t n) {
    return (n + Align - 1) & ~(Align - 1);
}

// The same for the byte counts of transform specs, kept in 64 bits so that a count beyond 32
// bits is seen (and refused) alike on i686 and x86-64.
constexpr int64_t a32(int64_t n) { return (n + 31) & ~int64_t(31); }

// The smallest p with 2^p >= n: the order of a transform of n points, or of the power of two
// that holds them.
constexpr int32_t log2_ceil(int64_t n) {
    int32_t p = 0;
    while ((int64_t(1) << p) < n)
        ++p;
    return p;
}

inline bool is_aligned16(const void* p) { return (reinterpret_cast<std::uintptr_t>(p) & 15) == 0; }

// Word `index` (32-bit) of a state header.
inline uint32_t& state_word(void* header, std::size_t index) {
    return static_cast<uint32_t*>(header)[index];
}

inline bool has_tag(const void* header, Tag tag, std::size_t wordIndex = 0) {
    return static_cast<const uint32_t*>(header)[wordIndex] == uint32_t(tag);
}

// Allocation wrappers: a count below 1 returns null without asking the core library.
void* alloc_bytes(std::ptrdiff_t n);
void* alloc_words(std::ptrdiff_t n);
void release_block(void* p);

// Zero fill: null -> zemStatusNullPointer, n < 1 -> zemStatusBadSize.
ZemStatus zero_bytes(void* p, std::ptrdiff_t n);
ZemStatus zero_words(void* p, std::ptrdiff_t n);

} // namespace zem
