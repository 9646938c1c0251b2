#include "zubra/platform/matrix/tra_data.h"

#include <array>
#include <cmath>

#include "zubra/platform/base/undefined.h"

namespace zubra {
namespace {

// The one table of type names, indexed by code; it serves both directions.
constexpr std::array<std::string_view, TraData::kTypeCount> kNames = {
    "None", "Linear", "Log", "NegLog", "Logit", "Exp", "Power"};

// Maps every non-finite result (overflow, 0/0, a NaN from a bad input) to the undefined value.
double Checked(double value) { return std::isfinite(value) ? value : kUndefined; }

bool IsOddInteger(double value) {
  return std::trunc(value) == value && std::fabs(std::fmod(value, 2.0)) == 1.0;
}

// The real c-th root of y, so that Root(base^c, c) == base: negative y is accepted for an odd
// integer exponent only.
double Root(double y, double c) {
  if (y < 0.0) return IsOddInteger(c) ? -std::pow(-y, 1.0 / c) : kUndefined;
  return std::pow(y, 1.0 / c);
}

double Forward(double x, TraData::ETraType type, double c1, double c2, double c3) {
  switch (type) {
    case TraData::kNone:
      return x;
    case TraData::kLinear:
      return c1 * x + c2;
    case TraData::kLog: {
      const double argument = c1 * x + c2;
      return argument > 0.0 ? std::log10(argument) : kUndefined;
    }
    case TraData::kNegLog: {
      const double argument = c1 - c2 * x;
      return argument > 0.0 ? -std::log10(argument) : kUndefined;
    }
    case TraData::kLogit: {
      const double denominator = c2 - x;
      if (denominator == 0.0) return kUndefined;
      const double ratio = (x - c1) / denominator;
      return ratio > 0.0 ? std::log10(ratio) : kUndefined;
    }
    case TraData::kExp:
      return std::exp(c1 * x + c2);
    case TraData::kPower: {
      const double base = c1 * x + c2;
      // std::pow gives a NaN for a negative base with a fractional exponent; say so plainly.
      if (base < 0.0 && std::trunc(c3) != c3) return kUndefined;
      return std::pow(base, c3);
    }
  }
  return kUndefined;
}

double Backward(double y, TraData::ETraType type, double c1, double c2, double c3) {
  switch (type) {
    case TraData::kNone:
      return y;
    case TraData::kLinear:
      return c1 != 0.0 ? (y - c2) / c1 : kUndefined;
    case TraData::kLog:
      return c1 != 0.0 ? (std::pow(10.0, y) - c2) / c1 : kUndefined;
    case TraData::kNegLog:
      return c2 != 0.0 ? (c1 - std::pow(10.0, -y)) / c2 : kUndefined;
    case TraData::kLogit: {
      // With c1 = c2 the forward ratio is -1 everywhere, so no y comes from a valid x.
      if (c1 == c2) return kUndefined;
      const double ratio = std::pow(10.0, y);
      if (ratio == 0.0 || !std::isfinite(ratio)) return kUndefined;
      return (c1 + ratio * c2) / (1.0 + ratio);
    }
    case TraData::kExp:
      return c1 != 0.0 && y > 0.0 ? (std::log(y) - c2) / c1 : kUndefined;
    case TraData::kPower: {
      if (c1 == 0.0 || c3 == 0.0) return kUndefined;
      const double root = Root(y, c3);
      return IsUndefined(root) ? kUndefined : (root - c2) / c1;
    }
  }
  return kUndefined;
}

}  // namespace

std::string TraData::GetString(ETraType type) {
  if (type < 0 || type >= kTypeCount) return {};
  return std::string(kNames[static_cast<std::size_t>(type)]);
}

TraData::ETraType TraData::GetETraType(std::string_view text) {
  if (text.empty()) return kNone;
  for (std::size_t code = 0; code < kNames.size(); ++code) {
    const std::string_view name = kNames[code];
    const bool lowered_first = text.size() == name.size() &&
                               text.front() == name.front() - 'A' + 'a' &&
                               text.substr(1) == name.substr(1);
    if (text == name || lowered_first) return static_cast<ETraType>(code);
  }
  return kNone;
}

double TraData::Tra(double x, ETraType type, double c1, double c2, double c3) {
  if (IsUndefined(x)) return kUndefined;
  return Checked(Forward(x, type, c1, c2, c3));
}

double TraData::BackTra(double y, ETraType type, double c1, double c2, double c3) {
  if (IsUndefined(y)) return kUndefined;
  return Checked(Backward(y, type, c1, c2, c3));
}

}  // namespace zubra
