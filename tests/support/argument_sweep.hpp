// Argument-check sweep: calls an export with each required pointer null and with each listed
// out-of-range scalar, and requires the documented status with nothing written. All memory the
// call may touch (stream, cursor, records, buffers) lives in one Arena that is compared byte by
// byte before and after; the arena is heap-allocated to its exact size, so a write past it
// reaches the sanitizers.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "zemac.h"

namespace zemtest {

// One rejected call: argument `arg` set to `value` (a pointer argument to the address `value`),
// or the arena changed by `mutate` (arg < 0), and the status it must return.
template <class Arena> struct Reject {
    const char* what;
    int arg;
    int64_t value;
    ZemStatus want;
    void (*mutate)(Arena&) = nullptr;
};

template <class Arena> class Sweep {
  public:
    // badBitOffset: the family's status for a cursor bit offset outside 0..7.
    Sweep(Arena& a, ZemStatus badBitOffset)
        : a_(a), pristine_(std::make_unique<Arena>()), badBitOffset_(badBitOffset) {
        std::memcpy(pristine_.get(), &a_, sizeof(Arena));
    }

    // Runs the valid call (it must return `valid`, unless that is kNoValidCall), then every
    // required pointer null (bit i of `optional` exempts argument i), a null byte pointer behind
    // the cursor and its bit offsets 8 and -1, and `rejects`.
    static constexpr ZemStatus kNoValidCall = 1;
    template <class R, class... P, class... A>
    void operator()(const char* name, R (*fn)(P...), std::tuple<A...> args,
                    const std::vector<Reject<Arena>>& rejects, ZemStatus valid = zemStatusOk,
                    uint32_t optional = 0) {
        using Args = std::tuple<P...>;
        Args base = args;
        constexpr auto idx = std::index_sequence_for<P...>{};
        if (valid != kNoValidCall)
            call(name, "valid call", fn, base, valid, nullptr, false);
        null_each(name, fn, base, optional, idx);
        for (const Reject<Arena>& r : rejects) {
            Args t = base;
            if (r.arg >= 0)
                set_scalar(t, r.arg, r.value, idx);
            call(name, r.what, fn, t, r.want, r.mutate, true);
        }
    }

  private:
    template <class Fn, class Args>
    void call(const char* name, const char* what, Fn fn, Args& t, ZemStatus want,
              void (*mutate)(Arena&), bool writesNothing) {
        std::memcpy(&a_, pristine_.get(), sizeof(Arena));
        if (mutate != nullptr)
            mutate(a_);
        auto before = std::make_unique<Arena>();
        std::memcpy(before.get(), &a_, sizeof(Arena));
        EXPECT_EQ(std::apply(fn, t), want) << name << ": " << what;
        if (writesNothing) {
            EXPECT_EQ(std::memcmp(&a_, before.get(), sizeof(Arena)), 0)
                << name << ": " << what << " wrote to memory";
        }
    }

    template <class Fn, class Args, std::size_t... I>
    void null_each(const char* name, Fn fn, const Args& base, uint32_t optional,
                   std::index_sequence<I...>) {
        (null_one<I>(name, fn, base, optional), ...);
    }

    template <std::size_t I, class Fn, class Args>
    void null_one(const char* name, Fn fn, const Args& base, uint32_t optional) {
        using T = std::tuple_element_t<I, Args>;
        if constexpr (std::is_pointer_v<T>) {
            if (optional >> I & 1)
                return;
            Args t = base;
            std::get<I>(t) = nullptr;
            call(name, kNullNames[I], fn, t, zemStatusNullPointer, nullptr, true);
            if constexpr (std::is_same_v<T, uint8_t**>) {
                // The byte pointer behind the cursor and the bit offset after it, changed in the
                // arena after the reset.
                cursorSlot_ = offset(std::get<I>(base));
                call(name, "null byte pointer", fn, base, zemStatusNullPointer, &null_cursor,
                     true);
                if constexpr (I + 1 < std::tuple_size_v<Args>)
                    if constexpr (std::is_same_v<std::tuple_element_t<I + 1, Args>, int32_t*>) {
                        bitPosSlot_ = offset(std::get<I + 1>(base));
                        call(name, "bit offset 8", fn, base, badBitOffset_, &bit_pos<8>, true);
                        call(name, "bit offset -1", fn, base, badBitOffset_, &bit_pos<-1>, true);
                    }
            }
        }
    }

    std::ptrdiff_t offset(const void* p) const {
        return static_cast<const uint8_t*>(p) - reinterpret_cast<const uint8_t*>(&a_);
    }
    template <int32_t V> static void bit_pos(Arena& a) {
        const int32_t v = V;
        std::memcpy(reinterpret_cast<uint8_t*>(&a) + bitPosSlot_, &v, sizeof v);
    }
    static void null_cursor(Arena& a) {
        uint8_t* null = nullptr;
        std::memcpy(reinterpret_cast<uint8_t*>(&a) + cursorSlot_, &null, sizeof null);
    }

    template <class Args, std::size_t... I>
    static void set_scalar(Args& t, int arg, int64_t value, std::index_sequence<I...>) {
        (
            [&] {
                using T = std::tuple_element_t<I, Args>;
                if (int(I) != arg)
                    return;
                if constexpr (std::is_integral_v<T>)
                    std::get<I>(t) = T(value);
                else if constexpr (std::is_pointer_v<T>)
                    std::get<I>(t) = reinterpret_cast<T>(static_cast<intptr_t>(value));
            }(),
            ...);
    }

    static constexpr const char* kNullNames[] = {
        "argument 0 null", "argument 1 null", "argument 2 null",  "argument 3 null",
        "argument 4 null", "argument 5 null", "argument 6 null",  "argument 7 null",
        "argument 8 null", "argument 9 null", "argument 10 null", "argument 11 null",
        "argument 12 null"};
    static inline std::ptrdiff_t cursorSlot_ = 0, bitPosSlot_ = 0;

    Arena& a_;
    std::unique_ptr<Arena> pristine_;
    ZemStatus badBitOffset_;
};

} // namespace zemtest
