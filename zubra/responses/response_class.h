// The definition of one measured variable (a response), and the base of every factor:
// names, unit, transform, precision, scalings, optimization limits and power settings.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "zubra/platform/base/ce_prec.h"
#include "zubra/platform/base/ce_var.h"
#include "zubra/platform/base/sca_types.h"
#include "zubra/platform/base/undefined.h"
#include "zubra/platform/matrix/desirability.h"
#include "zubra/platform/util/json.h"
#include "zubra/region/transform.h"

namespace zubra {

class ConfigurationSection;
class StreamWindow;

// One response of an investigation, and the base class of FactorClass.
//
// Every real field is -99 (kUndefined) until set. The number is the variable's identity in
// its set: ordering and equality compare the number only, so two responses with equal
// numbers are equal whatever their names. Copies carry the unique ID and the number.
// IsA() tells a response (0) from a process factor (2) and a mixture factor (3); Show,
// Save and Load take the factor paths when IsA() is not 0.
//
// The optimization limits come in two forms: the stored ones (GetLimits()) and the ones
// shown to the user (GetMinLimit(), GetMaxLimit(), GetTargetLimit()), which fall back on
// defaults derived from the predicted range when the stored limit is not set.
class ResponseClass {
 public:
  // The optimization condition, weight and limits of a response.
  class Limits {
   public:
    enum Condition : std::int32_t { kRequired = 0, kDesired = 1, kObserved = 2 };

    // "Required", "Desired", and "Observed" for every other code.
    static std::string ToString(Condition condition);
    // ASCII case-free: "Required" -> kRequired, "Desired" -> kDesired, anything else
    // (the empty text included) -> kObserved.
    static Condition FromString(std::string_view text);
    static json_value ToJson(Condition condition);

    [[nodiscard]] Condition GetCondition() const { return condition_; }
    void SetCondition(Condition condition) { condition_ = condition; }
    [[nodiscard]] double GetWeight() const { return weight_; }
    void SetWeight(double weight) { weight_ = weight; }
    [[nodiscard]] double GetMinLimit() const { return min_; }
    void SetMinLimit(double value) { min_ = value; }
    [[nodiscard]] double GetMaxLimit() const { return max_; }
    void SetMaxLimit(double value) { max_ = value; }
    [[nodiscard]] double GetTargetLimit() const { return target_; }
    void SetTargetLimit(double value) { target_ = value; }

    // Reads "Condition", "Weight", "MinLimit", "MaxLimit", "TargetLimit"; false, reading
    // nothing, when "Condition" is absent. Other absent keys leave their field unchanged.
    bool Read(const ConfigurationSection& section);
    // Writes "Condition"; the four other keys are removed when weight is 1 and no limit is
    // set, and all written otherwise.
    void Write(ConfigurationSection& section) const;

   private:
    Condition condition_ = kRequired;
    double weight_ = 1.0;
    double min_ = kUndefined;
    double max_ = kUndefined;
    double target_ = kUndefined;
  };

  // The power-analysis settings of a response.
  class Power {
   public:
    static constexpr double kDefaultTargetPower = 80.0;  // percent
    static constexpr double kDefaultSignificance = 0.95;

    // The stored target power; with `with_default`, 80 when it is not set.
    [[nodiscard]] double GetTargetPower(bool with_default) const;
    // The stored significance (test level); with `with_default`, 0.95 when it is not set.
    [[nodiscard]] double GetSignificance(bool with_default) const;
    [[nodiscard]] double GetStandardDeviation() const { return standard_deviation_; }
    [[nodiscard]] double GetSignalDetection() const { return detected_signal_; }
    void SetTargetPower(double value) { target_power_ = value; }
    void SetSignificance(double value) { significance_ = value; }
    void SetStandardDeviation(double value) { standard_deviation_ = value; }
    void SetSignalDetection(double value) { detected_signal_ = value; }

    // "TargetPower", "Significance", "StandardDeviation", "DetectedSignal": each present key
    // is read; always true.
    bool Read(const ConfigurationSection& section);
    // Removes the four keys when no field is set, writes all four otherwise.
    void Write(ConfigurationSection& section) const;
    // {"estimatedNoiseLevel", "signalToDetect", "significanceTestLevel", "desiredPower"},
    // the last two with their defaults.
    [[nodiscard]] json_value ToJson() const;
    // Reads each member that is present and a number; false when `value` is not an object.
    bool FromJson(const json_value& value);

   private:
    double target_power_ = kUndefined;
    double significance_ = kUndefined;
    double standard_deviation_ = kUndefined;
    double detected_signal_ = kUndefined;
  };

  // A response with every default and a fresh unique ID.
  ResponseClass();
  // Reads the response called `name`: its number from the integer key `name` of the child
  // "Responses", then everything else from its own child (named `name` in an INI section,
  // "Response" otherwise). Absent keys keep their defaults.
  ResponseClass(const std::string& name, const ConfigurationSection& section);
  ResponseClass(const ResponseClass&) = default;
  ResponseClass& operator=(const ResponseClass&) = default;
  ResponseClass(ResponseClass&&) = default;
  ResponseClass& operator=(ResponseClass&&) = default;
  virtual ~ResponseClass() = default;

  // --- Virtual operations (FactorClass overrides them) ---
  // A copy of the abbreviation; the expanded-column index is used by factors only.
  [[nodiscard]] virtual std::string GetAbbr(int setting = 0) const;
  // The abbreviation followed by "~" when transformed (block-generator names excepted).
  [[nodiscard]] virtual std::string GetTransformedAbbr(int setting = 0) const;
  // The number of model columns: 1 for a response.
  [[nodiscard]] virtual int GetExpandedCount() const;
  [[nodiscard]] virtual CEVar::EVar IsA() const;
  // Name and abbreviation both non-empty.
  [[nodiscard]] virtual bool IsDefined() const;
  // The collection section under which variables of this class are listed: "Responses".
  [[nodiscard]] virtual std::string NameOf() const;
  // Writes the text dump.
  virtual void Show(StreamWindow& out) const;
  // Writes the number under "Responses" and the definition into its own child. Returns 0.
  virtual int WriteToFile(ConfigurationSection& section) const;
  virtual void Save(ConfigurationSection& section) const;
  // Always true; absent keys leave fields unchanged. Throws what the section or the URI
  // decoding of the older keys throws.
  virtual bool Load(const ConfigurationSection& section);

  // --- Names ---
  [[nodiscard]] const std::string& GetName() const { return name_; }
  // Assigns the text with one trailing "~" removed (the tilde marks transformed names).
  void SetName(std::string_view name);
  void SetAbbr(std::string_view abbreviation);
  // The text that SetName and SetAbbr turn into `text`: `text` with one "~" more when it ends
  // with one. The JSON forms write names and abbreviations this way, so that a stored text
  // ending in "~" reads back as it was.
  [[nodiscard]] static std::string ForSetter(std::string_view text);
  [[nodiscard]] const std::string& GetUnits() const { return unit_; }
  void SetUnits(std::string_view unit) { unit_ = unit; }
  // The name followed by "~" when transformed (block-generator abbreviations excepted).
  [[nodiscard]] std::string GetTransformedName() const;

  // --- Transform, precision, scaling ---
  [[nodiscard]] const Transform& GetTransform() const { return transform_; }
  void SetTransform(const Transform& transform) { transform_ = transform; }
  [[nodiscard]] bool IsTransformed() const { return transform_.IsTransformed(); }
  [[nodiscard]] CEPrec::EPrec GetPrecision() const { return precision_; }
  void SetPrecision(CEPrec::EPrec precision) { precision_ = precision; }
  [[nodiscard]] ScaTypes::EScaType GetScaling() const { return scaling_; }
  void SetScaling(ScaTypes::EScaType scaling) { scaling_ = scaling; }
  [[nodiscard]] ScaTypes::EScaType GetPLSScaling() const { return pls_scaling_; }
  void SetPLSScaling(ScaTypes::EScaType scaling) { pls_scaling_ = scaling; }
  [[nodiscard]] double GetScaleModifier() const { return scale_modifier_; }
  void SetScaleModifier(double modifier) { scale_modifier_ = modifier; }

  // Formats `value` by the precision code ("%g", "%.0f" .. "%.4f"; empty text for an unknown
  // code) into one buffer shared by every response and returns it. The text stays valid
  // until the next call from anywhere: copy it before calling again. Not thread-safe.
  [[nodiscard]] const char* ToPrecisionString(double value) const;

  // --- Identity ---
  [[nodiscard]] int GetNumber() const { return number_; }
  void SetNumber(int number) { number_ = number; }
  [[nodiscard]] std::uint32_t GetUniqueID() const { return unique_id_; }
  void SetUniqueID(std::uint32_t id) { unique_id_ = id; }
  // Replaces the unique ID with a fresh one.
  void NewUniqueID();
  bool operator<(const ResponseClass& other) const { return number_ < other.number_; }
  bool operator==(const ResponseClass& other) const { return number_ == other.number_; }

  // --- Limits and objective ---
  [[nodiscard]] const Limits& GetLimits() const { return limits_; }
  void SetLimits(const Limits& limits) { limits_ = limits; }
  [[nodiscard]] Limits::Condition GetCondition() const { return limits_.GetCondition(); }
  // Stores the condition. "Observed" forces the objective 4 (predict); otherwise an
  // objective of 0, 4 or 5 is replaced by GetDefaultObjective of the limits.
  void SetCondition(Limits::Condition condition);
  [[nodiscard]] double GetWeight() const { return limits_.GetWeight(); }
  void SetWeight(double weight) { limits_.SetWeight(weight); }
  // The stored limits (kUndefined when not set).
  void SetMinLimit(double value) { limits_.SetMinLimit(value); }
  void SetMaxLimit(double value) { limits_.SetMaxLimit(value); }
  void SetTargetLimit(double value) { limits_.SetTargetLimit(value); }
  // The limits shown: the stored one, or the derived default when it is not set.
  [[nodiscard]] double GetMinLimit() const;
  [[nodiscard]] double GetMaxLimit() const;
  [[nodiscard]] double GetTargetLimit() const;
  // True when the stored limit is not set and the shown one is a derived value.
  [[nodiscard]] bool GetAutoMinLimit() const;
  [[nodiscard]] bool GetAutoMaxLimit() const;
  [[nodiscard]] bool GetAutoTargetLimit() const;
  [[nodiscard]] double GetPredictedMinLimit() const { return predicted_min_; }
  [[nodiscard]] double GetPredictedMaxLimit() const { return predicted_max_; }
  void SetPredictedMinLimit(double value) { predicted_min_ = value; }
  void SetPredictedMaxLimit(double value) { predicted_max_ = value; }
  [[nodiscard]] const Desirability::DesirabilityOptions& GetDesirability() const {
    return desirability_;
  }
  void SetDesirability(const Desirability::DesirabilityOptions& options) {
    desirability_ = options;
  }
  [[nodiscard]] Desirability::OptimizeType GetObjective() const { return desirability_.objective; }
  void SetObjective(Desirability::OptimizeType objective) { desirability_.objective = objective; }

  // --- Power ---
  [[nodiscard]] const Power& GetPower() const { return power_; }
  void SetPower(const Power& power) { power_ = power; }

  // The default limits and target; pure functions of their arguments (see the .cpp for the
  // rules). pMax is not used by the minimum rule, pMin not by the maximum rule, and the
  // condition not by the target rule.
  static double CalculateDefaultMinLimit(double min, double max, double target, double p_min,
                                         double p_max, Desirability::OptimizeType objective,
                                         Limits::Condition condition);
  static double CalculateDefaultMaxLimit(double min, double max, double target, double p_min,
                                         double p_max, Desirability::OptimizeType objective,
                                         Limits::Condition condition);
  static double CalculateDefaultTarget(double min, double max, double p_min, double p_max,
                                       Desirability::OptimizeType objective,
                                       Limits::Condition condition);
  // The objective that suits the limits: "Observed" 4; nothing set 3 (Desired) or 2
  // (Required); only a maximum 1; only a minimum 2; only a target 3; both limits 3 with a
  // target and 0 without.
  static Desirability::OptimizeType GetDefaultObjective(const Limits& limits);

 private:
  Transform transform_;
  CEPrec::EPrec precision_ = CEPrec::kNotSet;
  ScaTypes::EScaType scaling_ = ScaTypes::kMlrDefault;
  ScaTypes::EScaType pls_scaling_ = ScaTypes::kPlsDefault;
  double scale_modifier_ = kUndefined;
  int number_ = -1;
  std::string name_;
  std::string abbreviation_;
  std::string unit_;
  Desirability::DesirabilityOptions desirability_;
  Limits limits_;
  Power power_;
  double predicted_min_ = kUndefined;
  double predicted_max_ = kUndefined;
  std::uint32_t unique_id_ = 0;
};

}  // namespace zubra
