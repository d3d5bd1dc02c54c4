// The forwarding layer. Every export is an extern "C" definition whose declaration in the
// public header carries ZEM_API; the linker version script made from exports.inc keeps
// exactly the listed names visible. Where one implementation serves two export names, the
// second name is an alias of the first, defined in the same source file.
#pragma once

#define ZEM_SHARED_EXPORT(second, first)                                                           \
    extern "C" ZEM_API decltype(first) second __attribute__((alias(#first)))
