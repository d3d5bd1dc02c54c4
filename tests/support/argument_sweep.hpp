// Argument-check sweep: calls an export with each required pointer null and with each listed
// out-of-range scalar, and requires the documented status with nothing written. All memory the
// call may touch (stream, cursor, records, buffers) lives in one Arena that is compared byte by
// byte before and after; the arena is heap-allocated to its exact size, so a write past it
// reaches the sanitizers. Check order is part of the contract: every reject is also combined
// with a null pointer, with a bad cursor bit offset, and with each later reject of another status.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "zemac.h"

namespace zemtest {

// One rejected call: argument `arg` set to `value` (a pointer argument to the address `value`),
// or the arena changed by `mutate` (arg < 0), and the status it must return. Rejects are listed
// in the documented check order; `beforePointers` marks a check documented ahead of the pointers.
template <class Arena> struct Reject {
    const char* what;
    int arg;
    int64_t value;
    ZemStatus want;
    void (*mutate)(Arena&) = nullptr;
    bool beforePointers = false;
};

template <class Arena> class Sweep {
  public:
    using R = Reject<Arena>;
    static constexpr ZemStatus kNoValidCall = 1;

    // badBitOffset: the family's status for a cursor bit offset outside 0..7.
    Sweep(Arena& a, ZemStatus badBitOffset)
        : a_(a), pristine_(std::make_unique<Arena>()), badBitOffset_(badBitOffset) {
        std::memcpy(pristine_.get(), &a_, sizeof(Arena));
    }

    // Runs the valid call (it must return `valid`, unless that is kNoValidCall), then every
    // required pointer null (bit i of `optional` exempts argument i), a null byte pointer behind
    // the cursor and its bit offsets 8 and -1, and `rejects` alone and in the combinations above.
    template <class Ret, class... P, class... A>
    void operator()(const char* name, Ret (*fn)(P...), std::tuple<A...> args,
                    const std::vector<R>& rejects, ZemStatus valid = zemStatusOk,
                    uint32_t optional = 0) {
        using Args = std::tuple<P...>;
        constexpr auto idx = std::index_sequence_for<P...>{};
        Run<Args, Ret (*)(P...)> run{*this, name, fn, Args(args)};
        if (valid != kNoValidCall)
            run(valid, false, "valid call", {});
        const int firstPointer = locate_cursor(run.base, optional, idx);
        null_each(run, optional, idx);
        for (std::size_t i = 0; i < rejects.size(); ++i) {
            const R& r = rejects[i];
            run(r.want, true, r.what, {&r});
            if (r.want == zemStatusNullPointer || r.beforePointers)
                continue;
            const int k = r.arg == firstPointer ? second_pointer(run.base, r.arg, optional, idx)
                                                : firstPointer;
            if (k >= 0) {
                const R null{"and a null pointer", k, 0, zemStatusNullPointer};
                run(zemStatusNullPointer, true, r.what, {&r, &null});
            }
            if (bitPosSlot_ >= 0) {
                const R bad{"and bit offset 8", -1, 0, badBitOffset_, &bit_pos<8>};
                run(badBitOffset_, true, r.what, {&r, &bad});
            }
            for (std::size_t j = i + 1; j < rejects.size(); ++j) {
                const R& s = rejects[j];
                if (s.want != r.want && (s.arg != r.arg || s.arg < 0) &&
                    s.want != zemStatusNullPointer && !s.beforePointers)
                    run(r.want, true, r.what, {&r, &s});
            }
        }
    }

  private:
    template <class Args, class Fn> struct Run {
        Sweep& s;
        const char* name;
        Fn fn;
        Args base;
        // Calls fn with the rejects applied: arguments set, arena changed after its reset.
        void operator()(ZemStatus want, bool writesNothing, const char* what,
                        std::initializer_list<const R*> rs) {
            Args t = base;
            std::memcpy(&s.a_, s.pristine_.get(), sizeof(Arena));
            std::string label = what;
            for (const R* r : rs) {
                if (r->arg >= 0)
                    set_arg(t, r->arg, r->value,
                            std::make_index_sequence<std::tuple_size_v<Args>>{});
                if (r->mutate != nullptr)
                    r->mutate(s.a_);
                if (r != *rs.begin())
                    label += std::string(" + ") + r->what;
            }
            auto before = std::make_unique<Arena>();
            std::memcpy(before.get(), &s.a_, sizeof(Arena));
            EXPECT_EQ(std::apply(fn, t), want) << name << ": " << label;
            if (writesNothing) {
                EXPECT_EQ(std::memcmp(&s.a_, before.get(), sizeof(Arena)), 0)
                    << name << ": " << label << " wrote to memory";
            }
        }
    };

    template <class Run, std::size_t... I>
    void null_each(Run& run, uint32_t optional, std::index_sequence<I...>) {
        (
            [&] {
                using T = std::tuple_element_t<I, decltype(run.base)>;
                if constexpr (std::is_pointer_v<T>) {
                    if (optional >> I & 1)
                        return;
                    const R null{kNullNames[I], int(I), 0, zemStatusNullPointer};
                    run(zemStatusNullPointer, true, null.what, {&null});
                    if constexpr (std::is_same_v<T, uint8_t**>) {
                        const R inner{"null byte pointer", -1, 0, zemStatusNullPointer,
                                      &null_cursor};
                        run(zemStatusNullPointer, true, inner.what, {&inner});
                    }
                }
            }(),
            ...);
        if (bitPosSlot_ >= 0) {
            const R b8{"bit offset 8", -1, 0, badBitOffset_, &bit_pos<8>};
            const R bm{"bit offset -1", -1, 0, badBitOffset_, &bit_pos<-1>};
            run(badBitOffset_, true, b8.what, {&b8});
            run(badBitOffset_, true, bm.what, {&bm});
        }
    }

    // Finds the cursor (a uint8_t** followed by an int32_t*) and returns the first required
    // pointer argument, or -1.
    template <class Args, std::size_t... I>
    int locate_cursor(const Args& t, uint32_t optional, std::index_sequence<I...>) {
        cursorSlot_ = bitPosSlot_ = -1;
        int first = -1;
        (
            [&] {
                using T = std::tuple_element_t<I, Args>;
                if constexpr (std::is_pointer_v<T>)
                    if (first < 0 && !(optional >> I & 1))
                        first = int(I);
                if constexpr (std::is_same_v<T, uint8_t**>) {
                    cursorSlot_ = offset(std::get<I>(t));
                    if constexpr (I + 1 < sizeof...(I))
                        if constexpr (std::is_same_v<std::tuple_element_t<I + 1, Args>, int32_t*>)
                            bitPosSlot_ = offset(std::get<I + 1>(t));
                }
            }(),
            ...);
        return first;
    }

    template <class Args, std::size_t... I>
    static int second_pointer(const Args&, int skip, uint32_t optional, std::index_sequence<I...>) {
        int found = -1;
        (
            [&] {
                if constexpr (std::is_pointer_v<std::tuple_element_t<I, Args>>)
                    if (found < 0 && int(I) != skip && !(optional >> I & 1))
                        found = int(I);
            }(),
            ...);
        return found;
    }

    template <class Args, std::size_t... I>
    static void set_arg(Args& t, int arg, int64_t value, std::index_sequence<I...>) {
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

    std::ptrdiff_t offset(const void* p) const {
        return static_cast<const uint8_t*>(p) - reinterpret_cast<const uint8_t*>(&a_);
    }
    static void null_cursor(Arena& a) {
        uint8_t* null = nullptr;
        std::memcpy(reinterpret_cast<uint8_t*>(&a) + cursorSlot_, &null, sizeof null);
    }
    template <int32_t V> static void bit_pos(Arena& a) {
        const int32_t v = V;
        std::memcpy(reinterpret_cast<uint8_t*>(&a) + bitPosSlot_, &v, sizeof v);
    }

    static constexpr const char* kNullNames[] = {
        "argument 0 null", "argument 1 null", "argument 2 null",  "argument 3 null",
        "argument 4 null", "argument 5 null", "argument 6 null",  "argument 7 null",
        "argument 8 null", "argument 9 null", "argument 10 null", "argument 11 null",
        "argument 12 null"};
    // Where the cursor's byte pointer and bit offset sit in the arena (-1: no cursor).
    static inline std::ptrdiff_t cursorSlot_ = -1, bitPosSlot_ = -1;

    Arena& a_;
    std::unique_ptr<Arena> pristine_;
    ZemStatus badBitOffset_;
};

} // namespace zemtest
