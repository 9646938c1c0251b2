#include "zubra/platform/matrix/desirability.h"

#include <array>
#include <cmath>

#include "zubra/platform/base/undefined.h"
#include "zubra/platform/util/configuration_section.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

// The one table of names per enumeration, indexed by code; each serves both directions.
constexpr std::array<std::string_view, Desirability::kOptimizeTypeCount> kObjectiveNames = {
    "none", "minimize", "maximize", "target", "predict", "exclude"};
constexpr std::array<std::string_view, Desirability::kDesirabilityTypeCount> kShapeNames = {
    "linear", "convex", "concave", "custom", "step"};

constexpr std::string_view kObjectiveKey = "Objective";
constexpr std::string_view kTypeKey = "DesirabilityType";
constexpr std::string_view kLowExponentKey = "DesirabilityLowExponent";
constexpr std::string_view kHighExponentKey = "DesirabilityHighExponent";

char LowerAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (LowerAscii(a[i]) != LowerAscii(b[i])) return false;
  }
  return true;
}

template <std::size_t N>
std::string NameOf(const std::array<std::string_view, N>& names, int code) {
  if (code < 0 || code >= static_cast<int>(N)) return {};
  return std::string(names[static_cast<std::size_t>(code)]);
}

// The code of `text` in `names`, or -1.
template <std::size_t N>
int CodeOf(const std::array<std::string_view, N>& names, std::string_view text) {
  for (std::size_t code = 0; code < N; ++code) {
    if (EqualsIgnoringCase(names[code], text)) return static_cast<int>(code);
  }
  return -1;
}

bool IsValidExponent(double exponent) { return std::isfinite(exponent) && exponent > 0.0; }

// Reads a positive exponent into `exponent` when `key` is present.
void ReadExponent(const ConfigurationSection& section, std::string_view key, double& exponent) {
  double value = 0.0;
  if (!section.ReadDouble(key, value)) return;
  if (!IsValidExponent(value)) {
    throw Exception(
        ExceptionMessage::translate("The value '{}' of the key '{}' is not a positive number.") %
        section.GetValue(key).value_or(std::string()) % key);
  }
  exponent = value;
}

// ((distance) / (span))^exponent for 0 <= distance <= span, span > 0.
double Shape(double distance, double span, double exponent) {
  return std::pow(distance / span, exponent);
}

double Minimize(double value, const Desirability::DesirabilityOptions& options, double min,
                double target, double max) {
  if (IsUndefined(max)) return kUndefined;
  if (options.type == Desirability::kStep) return value <= max ? 1.0 : 0.0;
  const double aim = IsUndefined(target) ? min : target;
  if (IsUndefined(aim) || !(aim < max)) return kUndefined;
  if (value <= aim) return 1.0;
  if (value >= max) return 0.0;
  return Shape(max - value, max - aim, options.high_exponent);
}

double Maximize(double value, const Desirability::DesirabilityOptions& options, double min,
                double target, double max) {
  if (IsUndefined(min)) return kUndefined;
  if (options.type == Desirability::kStep) return value >= min ? 1.0 : 0.0;
  const double aim = IsUndefined(target) ? max : target;
  if (IsUndefined(aim) || !(min < aim)) return kUndefined;
  if (value >= aim) return 1.0;
  if (value <= min) return 0.0;
  return Shape(value - min, aim - min, options.low_exponent);
}

double HitTarget(double value, const Desirability::DesirabilityOptions& options, double min,
                 double target, double max) {
  if (IsUndefined(min) || IsUndefined(max)) return kUndefined;
  if (options.type == Desirability::kStep) {
    if (!(min <= max)) return kUndefined;
    return value >= min && value <= max ? 1.0 : 0.0;
  }
  if (IsUndefined(target) || !(min < target && target < max)) return kUndefined;
  if (value <= min || value >= max) return 0.0;
  if (value <= target) return Shape(value - min, target - min, options.low_exponent);
  return Shape(max - value, max - target, options.high_exponent);
}

}  // namespace

void Desirability::DesirabilityOptions::Reset(DesirabilityType new_type) {
  switch (new_type) {
    case kConvex:
      low_exponent = high_exponent = 2.0;
      break;
    case kConcave:
      low_exponent = high_exponent = 0.5;
      break;
    case kLinear:
    case kCustom:
    case kStep:
      low_exponent = high_exponent = 1.0;
      break;
    default:
      new_type = kLinear;
      low_exponent = high_exponent = 1.0;
      break;
  }
  type = new_type;
}

void Desirability::DesirabilityOptions::Read(const ConfigurationSection& section) {
  // Read into a copy so that a throw leaves the options as they were.
  DesirabilityOptions read = *this;
  std::string text;
  if (section.ReadString(kObjectiveKey, text)) read.objective = ToType(text);
  if (section.ReadString(kTypeKey, text)) read.type = ToDesirabilityType(text);
  ReadExponent(section, kLowExponentKey, read.low_exponent);
  ReadExponent(section, kHighExponentKey, read.high_exponent);
  *this = read;
}

void Desirability::DesirabilityOptions::Write(ConfigurationSection& section) const {
  section.WriteString(kObjectiveKey, ToString(objective));
  section.WriteString(kTypeKey, ToDesirabilityString(type));
  section.WriteDouble(kLowExponentKey, low_exponent);
  section.WriteDouble(kHighExponentKey, high_exponent);
}

std::string Desirability::ToString(OptimizeType type) { return NameOf(kObjectiveNames, type); }

Desirability::OptimizeType Desirability::ToType(std::string_view text) {
  const int code = CodeOf(kObjectiveNames, text);
  return code < 0 ? kNone : static_cast<OptimizeType>(code);
}

std::string Desirability::ToDesirabilityString(DesirabilityType type) {
  return NameOf(kShapeNames, type);
}

Desirability::DesirabilityType Desirability::ToDesirabilityType(std::string_view text) {
  const int code = CodeOf(kShapeNames, text);
  return code < 0 ? kLinear : static_cast<DesirabilityType>(code);
}

double Desirability::Evaluate(double value, const DesirabilityOptions& options, double min,
                              double target, double max) {
  if (IsUndefined(value) || !std::isfinite(value)) return kUndefined;
  if (options.type != kStep &&
      !(IsValidExponent(options.low_exponent) && IsValidExponent(options.high_exponent))) {
    return kUndefined;
  }
  switch (options.objective) {
    case kMinimize:
      return Minimize(value, options, min, target, max);
    case kMaximize:
      return Maximize(value, options, min, target, max);
    case kTarget:
      return HitTarget(value, options, min, target, max);
    default:
      return kUndefined;
  }
}

double Desirability::Overall(std::span<const double> values, std::span<const double> weights) {
  if (values.size() != weights.size()) return kUndefined;
  double weight_sum = 0.0;
  double log_sum = 0.0;
  bool has_zero = false;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const double weight = weights[i];
    if (!(weight > 0.0)) continue;
    const double d = values[i];
    if (IsUndefined(d) || !(d >= 0.0 && d <= 1.0)) return kUndefined;
    weight_sum += weight;
    if (d == 0.0) {
      has_zero = true;
    } else {
      log_sum += weight * std::log(d);
    }
  }
  if (!(weight_sum > 0.0) || !std::isfinite(weight_sum)) return kUndefined;
  if (has_zero) return 0.0;
  return std::exp(log_sum / weight_sum);
}

}  // namespace zubra
