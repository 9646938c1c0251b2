// Desirability: response objectives, desirability function shapes and their options, and the
// desirability functions that turn predicted responses into one overall score.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace zubra {

class ConfigurationSection;

// The objectives a response can have in an optimization, and the Derringer-Suich
// desirability functions that score a response value against its limits.
//
// A one-sided desirability rises from 0 at the limit to 1 at the target:
//   minimize: d = 1 for y <= T, ((U - y) / (U - T))^t for T < y < U, 0 for y >= U;
//   maximize: d = 0 for y <= L, ((y - L) / (T - L))^s for L < y < T, 1 for y >= T;
// a two-sided one (target) is 0 outside (L, U), ((y - L) / (T - L))^s up to the target and
// ((U - y) / (U - T))^t beyond it. L, T, U are the minimum, target and maximum limits, s the
// low exponent and t the high exponent of the options. An exponent above 1 makes the score
// rise slowly near the limit (demanding), below 1 quickly (lenient).
//
// Several responses combine into the weighted geometric mean
//   D = (d1^w1 * d2^w2 * ... )^(1 / (w1 + w2 + ...)).
class Desirability {
 public:
  // What an optimization does with a response. Codes are stored as plain integers.
  enum OptimizeType : std::int32_t {
    kNone = 0,      // no objective chosen yet
    kMinimize = 1,  // smaller is better, up to the maximum limit
    kMaximize = 2,  // larger is better, down from the minimum limit
    kTarget = 3,    // a target between a minimum and a maximum limit
    kPredict = 4,   // observed only: predicted, never optimized
    kExclude = 5,   // left out of the optimization
  };
  static constexpr int kOptimizeTypeCount = 6;

  // The shape of the desirability function. Linear, convex and concave are presets of the
  // two exponents; custom keeps exponents chosen by the user; step scores 1 on the acceptable
  // side of the limits and 0 beyond them, ignoring target and exponents.
  enum DesirabilityType : std::int32_t {
    kLinear = 0,   // exponents 1
    kConvex = 1,   // exponents 2
    kConcave = 2,  // exponents 0.5
    kCustom = 3,   // exponents as set
    kStep = 4,     // no exponents
  };
  static constexpr int kDesirabilityTypeCount = 5;

  // How one response takes part in an optimization: its objective, then the shape of its
  // desirability function.
  struct DesirabilityOptions {
    // The response's objective. Default: kNone.
    OptimizeType objective = kNone;
    // The shape the exponents come from. Default: kLinear.
    DesirabilityType type = kLinear;
    // s: shape of the rise from the minimum limit to the target. Must be > 0. Default: 1.
    double low_exponent = 1.0;
    // t: shape of the fall from the target to the maximum limit. Must be > 0. Default: 1.
    double high_exponent = 1.0;

    // Sets the type and the exponents of that type's preset (1 for custom and step); the
    // objective is kept. An unknown code resets to kLinear.
    void Reset(DesirabilityType new_type);

    // Reads the keys "Objective", "DesirabilityType" (texts of ToString and
    // ToDesirabilityString), "DesirabilityLowExponent" and "DesirabilityHighExponent" from
    // `section`; an absent key leaves its field unchanged, an unknown text gives kNone or
    // kLinear. Throws Exception when an exponent is not a number or not positive; the options
    // are then left unchanged.
    void Read(const ConfigurationSection& section);
    // Writes the four keys read by Read into `section`.
    void Write(ConfigurationSection& section) const;

    bool operator==(const DesirabilityOptions& other) const = default;
  };

  Desirability() = delete;

  // Names of the objectives: "none", "minimize", "maximize", "target", "predict", "exclude";
  // empty for an unknown code.
  static std::string ToString(OptimizeType type);
  // The objective named `text` (ASCII letters compared without regard to case); kNone for an
  // unknown text.
  static OptimizeType ToType(std::string_view text);
  // Names of the shapes: "linear", "convex", "concave", "custom", "step"; empty for an
  // unknown code.
  static std::string ToDesirabilityString(DesirabilityType type);
  // The shape named `text` (without regard to case); kLinear for an unknown text.
  static DesirabilityType ToDesirabilityType(std::string_view text);

  // The desirability (0 to 1) of the response value `value` under `options` and the limits
  // `min`, `target`, `max` (each -99 when undefined). A one-sided objective without a target
  // aims at the opposite limit (minimize at `min`, maximize at `max`). Returns -99 when the
  // value is undefined, the objective is not minimize, maximize or target, a limit the
  // objective needs is undefined, the limits are out of order (L < T < U is required;
  // L <= U for a step), or an exponent is not positive.
  static double Evaluate(double value, const DesirabilityOptions& options, double min,
                         double target, double max);

  // The weighted geometric mean of the desirabilities `values` with `weights`. Entries whose
  // weight is not positive take no part; a taking part desirability of 0 makes the result 0.
  // Returns -99 when the sizes differ, no entry takes part, or a taking part desirability is
  // undefined or outside [0, 1].
  static double Overall(std::span<const double> values, std::span<const double> weights);
};

}  // namespace zubra
