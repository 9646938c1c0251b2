// The marker for a number that is not set or cannot be known, and its test.
#pragma once

namespace zubra {

// Marker value for a number that has not been set or cannot be known, such as
// the low limit asked for a factor that does not exist. Stored forms use the
// same value, so it must stay exactly -99.0.
inline constexpr double kUndefined = -99.0;

// Returns true when `value` is the undefined marker. The marker is an exact
// constant, never the result of arithmetic, so the comparison is exact.
inline bool IsUndefined(double value) { return value == kUndefined; }

}  // namespace zubra
