// Constant tables of the SBR decoder.
#pragma once

namespace zemdec {

// The 640-coefficient QMF prototype c; the 32-band analysis bank takes every second one.
extern const float kSbrQmfWindow[640];
// The noise floor's complex sequence V, walked cyclically.
extern const float kSbrNoiseTable[512][2];

} // namespace zemdec
