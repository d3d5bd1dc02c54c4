#include "zemac/core.h"

namespace {
constexpr ZemLibVersion libVersion = {
    7, 0, 205, 1017, {'q', '5', 0, 0}, "zemacq5-7.0.dll", "7.0 build 205.68", "Jul 20 2011",
};
} // namespace

ZEM_API const ZemLibVersion* zemacGetLibVersion(void) { return &libVersion; }
