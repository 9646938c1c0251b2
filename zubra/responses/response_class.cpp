#include "zubra/responses/response_class.h"

#include <fmt/printf.h>

#include <cmath>
#include <limits>

#include "zubra/platform/matrix/stream_window.h"
#include "zubra/platform/util/configuration_section.h"
#include "zubra/platform/util/html_utilities.h"
#include "zubra/platform/util/kt_string.h"
#include "zubra/platform/util/unique_id.h"
#include "zubra/variables/variables.h"

namespace zubra {
namespace {

bool IsSet(double value) { return !IsUndefined(value); }

std::string WithoutTrailingTilde(std::string_view text) {
  if (!text.empty() && text.back() == '~') text.remove_suffix(1);
  return std::string(text);
}

// Writes a free-text value HTML-escaped. When escaping changes the text, the key holds the
// escaped text and "<key>IsEncoded" is true; otherwise the plain text and no flag key.
void WriteEscaped(ConfigurationSection& section, const std::string& key, std::string_view value) {
  const std::string escaped = HtmlUtilities::EscapeToHtml(value);
  const std::string flag = key + "IsEncoded";
  if (escaped == value) {
    section.WriteString(key, value);
    section.RemoveKey(flag);
  } else {
    section.WriteString(key, escaped);
    section.WriteBool(flag, true);
  }
}

// Reads a value written by WriteEscaped into `value`. An absent key is no failure; false
// only when the flagged text does not unescape (then `value` is unchanged).
bool ReadEscaped(const ConfigurationSection& section, const std::string& key, std::string& value) {
  std::string text;
  if (!section.ReadString(key, text)) return true;
  bool encoded = false;
  section.TryReadBool(key + "IsEncoded", encoded);
  if (encoded) {
    try {
      text = HtmlUtilities::Unescape(text);
    } catch (const HtmlUtilities::URIDecodeException&) {
      return false;
    }
  }
  value = std::move(text);
  return true;
}

// Reads an unsigned decimal number from the front of `text`; parsing stops at the first
// non-digit, an empty or non-numeric text gives 0, and values beyond 32 bits saturate.
std::uint32_t LeadingUnsigned(std::string_view text) {
  std::uint64_t value = 0;
  for (char c : text) {
    if (c < '0' || c > '9') break;
    value = value * 10 + static_cast<std::uint64_t>(c - '0');
    if (value > std::numeric_limits<std::uint32_t>::max()) {
      return std::numeric_limits<std::uint32_t>::max();
    }
  }
  return static_cast<std::uint32_t>(value);
}

const ConfigurationSection* OwnChild(const std::string& name, const ConfigurationSection& section) {
  return section.IsIni() ? section.OpenChild(name) : section.OpenChild("Response");
}

}  // namespace

// ---------------------------------------------------------------- Limits

std::string ResponseClass::Limits::ToString(Condition condition) {
  switch (condition) {
    case kRequired:
      return "Required";
    case kDesired:
      return "Desired";
    default:
      return "Observed";
  }
}

ResponseClass::Limits::Condition ResponseClass::Limits::FromString(std::string_view text) {
  if (KtStdString::EqualsNoCase(text, "Required")) return kRequired;
  if (KtStdString::EqualsNoCase(text, "Desired")) return kDesired;
  return kObserved;
}

json_value ResponseClass::Limits::ToJson(Condition condition) { return ToString(condition); }

bool ResponseClass::Limits::Read(const ConfigurationSection& section) {
  int condition = kRequired;
  if (!section.HasKey("Condition")) return false;
  section.TryReadInt("Condition", condition);
  condition_ = static_cast<Condition>(condition);
  section.TryReadDouble("Weight", weight_);
  section.TryReadDouble("MinLimit", min_);
  section.TryReadDouble("MaxLimit", max_);
  section.TryReadDouble("TargetLimit", target_);
  return true;
}

void ResponseClass::Limits::Write(ConfigurationSection& section) const {
  section.WriteInt("Condition", condition_);
  if (weight_ == 1.0 && !IsSet(min_) && !IsSet(max_) && !IsSet(target_)) {
    for (const char* key : {"Weight", "MinLimit", "MaxLimit", "TargetLimit"}) {
      section.RemoveKey(key);
    }
    return;
  }
  section.WriteDouble("Weight", weight_);
  section.WriteDouble("MinLimit", min_);
  section.WriteDouble("MaxLimit", max_);
  section.WriteDouble("TargetLimit", target_);
}

// ---------------------------------------------------------------- Power

double ResponseClass::Power::GetTargetPower(bool with_default) const {
  return with_default && !IsSet(target_power_) ? kDefaultTargetPower : target_power_;
}

double ResponseClass::Power::GetSignificance(bool with_default) const {
  return with_default && !IsSet(significance_) ? kDefaultSignificance : significance_;
}

bool ResponseClass::Power::Read(const ConfigurationSection& section) {
  section.TryReadDouble("TargetPower", target_power_);
  section.TryReadDouble("Significance", significance_);
  section.TryReadDouble("StandardDeviation", standard_deviation_);
  section.TryReadDouble("DetectedSignal", detected_signal_);
  return true;
}

void ResponseClass::Power::Write(ConfigurationSection& section) const {
  if (!IsSet(target_power_) && !IsSet(significance_) && !IsSet(standard_deviation_) &&
      !IsSet(detected_signal_)) {
    for (const char* key : {"TargetPower", "Significance", "StandardDeviation", "DetectedSignal"}) {
      section.RemoveKey(key);
    }
    return;
  }
  section.WriteDouble("TargetPower", target_power_);
  section.WriteDouble("Significance", significance_);
  section.WriteDouble("StandardDeviation", standard_deviation_);
  section.WriteDouble("DetectedSignal", detected_signal_);
}

json_value ResponseClass::Power::ToJson() const {
  json_value out = json_value::object();
  out["estimatedNoiseLevel"] = standard_deviation_;
  out["signalToDetect"] = detected_signal_;
  out["significanceTestLevel"] = GetSignificance(true);
  out["desiredPower"] = GetTargetPower(true);
  return out;
}

bool ResponseClass::Power::FromJson(const json_value& value) {
  if (!value.is_object()) return false;
  const auto read = [&value](const char* key, double& field) {
    const auto it = value.find(key);
    if (it != value.end() && it->is_number()) field = it->get<double>();
  };
  read("estimatedNoiseLevel", standard_deviation_);
  read("signalToDetect", detected_signal_);
  read("significanceTestLevel", significance_);
  read("desiredPower", target_power_);
  return true;
}

// ---------------------------------------------------------------- ResponseClass

ResponseClass::ResponseClass() : unique_id_(GetNearUniqueID()) {}

ResponseClass::ResponseClass(const std::string& name, const ConfigurationSection& section)
    : ResponseClass() {
  name_ = name;
  if (const ConfigurationSection* list = section.OpenChild("Responses")) {
    list->TryReadInt(name, number_);
  }
  if (const ConfigurationSection* own = OwnChild(name, section)) Load(*own);
}

std::string ResponseClass::GetAbbr(int /*setting*/) const { return abbreviation_; }

std::string ResponseClass::GetTransformedAbbr(int /*setting*/) const {
  if (IsTransformed() && !Variables::IsBlockGen(abbreviation_, false)) return abbreviation_ + "~";
  return abbreviation_;
}

int ResponseClass::GetExpandedCount() const { return 1; }

CEVar::EVar ResponseClass::IsA() const { return CEVar::kResponse; }

bool ResponseClass::IsDefined() const { return !name_.empty() && !abbreviation_.empty(); }

std::string ResponseClass::NameOf() const { return "Responses"; }

void ResponseClass::SetName(std::string_view name) { name_ = WithoutTrailingTilde(name); }

void ResponseClass::SetAbbr(std::string_view abbreviation) {
  abbreviation_ = WithoutTrailingTilde(abbreviation);
}

std::string ResponseClass::ForSetter(std::string_view text) {
  std::string out(text);
  if (!out.empty() && out.back() == '~') out += '~';
  return out;
}

std::string ResponseClass::GetTransformedName() const {
  if (IsTransformed() && !Variables::IsBlockGen(abbreviation_, false)) return name_ + "~";
  return name_;
}

void ResponseClass::NewUniqueID() { unique_id_ = GetNearUniqueID(); }

const char* ResponseClass::ToPrecisionString(double value) const {
  // One buffer for every response: callers copy the text before the next call.
  static std::string buffer;
  const std::string_view format = CEPrec::GetFormat(precision_);
  buffer = format.empty() ? std::string() : fmt::sprintf(std::string(format), value);
  return buffer.c_str();
}

// ---------------------------------------------------------------- limits and objective

double ResponseClass::CalculateDefaultMinLimit(double min, double max, double target, double p_min,
                                               double /*p_max*/,
                                               Desirability::OptimizeType objective,
                                               Limits::Condition condition) {
  if (condition != Limits::kDesired) return min;
  if (IsSet(min) || (objective != Desirability::kMaximize && objective != Desirability::kTarget) ||
      !IsSet(p_min)) {
    return min;
  }
  if (IsSet(target) && p_min > target) return target - 0.1 * (p_min - target);
  if (!(p_min > max) || !IsSet(max)) return p_min;
  // The extra share keeps the derived limit strictly below the given maximum.
  return max - 0.1 * (p_min - max) - 0.0001 * (p_min - max);
}

double ResponseClass::CalculateDefaultMaxLimit(double min, double max, double target,
                                               double /*p_min*/, double p_max,
                                               Desirability::OptimizeType objective,
                                               Limits::Condition condition) {
  if (condition != Limits::kDesired) return max;
  if (IsSet(max) || (objective != Desirability::kMinimize && objective != Desirability::kTarget) ||
      !IsSet(p_max)) {
    return max;
  }
  if (IsSet(target) && target > p_max) return target + 0.1 * (target - p_max);
  if (!IsSet(min) || !(min > p_max)) return p_max;
  // The extra share keeps the derived limit strictly above the given minimum.
  return min + 0.1 * (min - p_max) + 0.0001 * (min - p_max);
}

double ResponseClass::CalculateDefaultTarget(double min, double max, double p_min, double p_max,
                                             Desirability::OptimizeType objective,
                                             Limits::Condition /*condition*/) {
  double step = 0.0;
  if (IsSet(min) && IsSet(max)) {
    step = 0.1 * std::fabs(max - min);
  } else if (IsSet(max) && IsSet(p_min)) {
    step = 0.1 * std::fabs(max - p_min);
  } else if (IsSet(p_max) && IsSet(min)) {
    step = 0.1 * std::fabs(p_max - min);
  } else if (IsSet(p_max) && IsSet(p_min)) {
    step = 0.1 * std::fabs(p_max - p_min);
  } else {
    step = IsSet(min) ? 0.1 * std::fabs(min) : IsSet(max) ? 0.1 * std::fabs(max) : 0.1;
    if (step == 0.0) step = 0.01;
  }

  double target = kUndefined;
  if (objective == Desirability::kMinimize) {
    target = IsSet(min) ? min + step : p_min;
  } else if (objective == Desirability::kMaximize) {
    target = IsSet(max) ? max - step : p_max;
  } else {
    return kUndefined;
  }
  if (!IsSet(target)) return target;
  if (IsSet(min) && target < min) return min + step;
  if (IsSet(max) && target > max) return max - step;
  return target;
}

Desirability::OptimizeType ResponseClass::GetDefaultObjective(const Limits& limits) {
  if (limits.GetCondition() == Limits::kObserved) return Desirability::kPredict;
  const bool min = IsSet(limits.GetMinLimit());
  const bool max = IsSet(limits.GetMaxLimit());
  const bool target = IsSet(limits.GetTargetLimit());
  if (!min && !max && !target) {
    return limits.GetCondition() == Limits::kDesired ? Desirability::kTarget
                                                     : Desirability::kMaximize;
  }
  if (!min && max) return Desirability::kMinimize;
  if (min && !max) return Desirability::kMaximize;
  if (!min && !max) return Desirability::kTarget;  // only the target
  return target ? Desirability::kTarget : Desirability::kNone;
}

void ResponseClass::SetCondition(Limits::Condition condition) {
  limits_.SetCondition(condition);
  if (condition == Limits::kObserved) {
    desirability_.objective = Desirability::kPredict;
    return;
  }
  const Desirability::OptimizeType objective = desirability_.objective;
  if (objective == Desirability::kNone || objective == Desirability::kPredict ||
      objective == Desirability::kExclude) {
    desirability_.objective = GetDefaultObjective(limits_);
  }
}

double ResponseClass::GetMinLimit() const {
  const double min = limits_.GetMinLimit();
  if (IsSet(min) || limits_.GetCondition() != Limits::kDesired) return min;
  return CalculateDefaultMinLimit(min, limits_.GetMaxLimit(), limits_.GetTargetLimit(),
                                  predicted_min_, predicted_max_, desirability_.objective,
                                  limits_.GetCondition());
}

double ResponseClass::GetMaxLimit() const {
  const double max = limits_.GetMaxLimit();
  if (IsSet(max) || limits_.GetCondition() != Limits::kDesired) return max;
  return CalculateDefaultMaxLimit(limits_.GetMinLimit(), max, limits_.GetTargetLimit(),
                                  predicted_min_, predicted_max_, desirability_.objective,
                                  limits_.GetCondition());
}

double ResponseClass::GetTargetLimit() const {
  const double target = limits_.GetTargetLimit();
  if (IsSet(target)) return target;
  return CalculateDefaultTarget(GetMinLimit(), GetMaxLimit(), predicted_min_, predicted_max_,
                                desirability_.objective, limits_.GetCondition());
}

bool ResponseClass::GetAutoMinLimit() const {
  return !IsSet(limits_.GetMinLimit()) && IsSet(GetMinLimit());
}

bool ResponseClass::GetAutoMaxLimit() const {
  return !IsSet(limits_.GetMaxLimit()) && IsSet(GetMaxLimit());
}

bool ResponseClass::GetAutoTargetLimit() const {
  return !IsSet(limits_.GetTargetLimit()) && IsSet(GetTargetLimit());
}

// ---------------------------------------------------------------- stored forms

void ResponseClass::Save(ConfigurationSection& section) const {
  WriteEscaped(section, "Name", name_);
  WriteEscaped(section, "Abbreviation", abbreviation_);
  WriteEscaped(section, "Units", unit_);
  section.WriteString("Precision", CEPrec::GetString(precision_));
  section.WriteString("Scaling", ScaTypes::GetString(scaling_));
  section.WriteString("PLSScaling", ScaTypes::GetString(pls_scaling_));
  section.WriteDouble("ScaleModifier", scale_modifier_);
  if (IsA() == CEVar::kResponse) {
    desirability_.Write(section);
    limits_.Write(section);
    power_.Write(section);
    section.WriteDouble("PredictedMinLimit", predicted_min_);
    section.WriteDouble("PredictedMaxLimit", predicted_max_);
  }
  transform_.WriteToFile(name_, section);
  section.WriteString("UniqueID", fmt::sprintf("%u", unique_id_));
}

bool ResponseClass::Load(const ConfigurationSection& section) {
  if (section.HasKey("NameU")) {
    std::string text;
    if (section.ReadString("NameU", text)) name_ = HtmlUtilities::URIDecode(text);
    if (section.ReadString("AbbreviationU", text)) abbreviation_ = HtmlUtilities::URIDecode(text);
    if (section.ReadString("UnitsU", text)) unit_ = HtmlUtilities::URIDecode(text);
  }
  ReadEscaped(section, "Name", name_);
  if (!ReadEscaped(section, "Abbreviation", abbreviation_)) {
    section.ReadString("Abbr", abbreviation_);
  }
  ReadEscaped(section, "Units", unit_);

  std::string text;
  if (section.ReadString("Precision", text)) precision_ = CEPrec::GetEnum(text);
  if (section.ReadString("Scaling", text)) scaling_ = ScaTypes::GetScaType(text);
  if (section.ReadString("PLSScaling", text)) pls_scaling_ = ScaTypes::GetScaType(text);
  if (!section.TryReadDouble("ScaleModifier", scale_modifier_)) {
    section.TryReadDouble("AutoScaleModifier", scale_modifier_);
  }

  if (IsA() == CEVar::kResponse) {
    desirability_.Read(section);
    if (!limits_.Read(section)) {
      // Older files keep the limits without a condition.
      double value = kUndefined;
      if (section.TryReadDouble("MinLimit", value)) limits_.SetMinLimit(value);
      if (section.TryReadDouble("MaxLimit", value)) limits_.SetMaxLimit(value);
      if (section.TryReadDouble("TargetLimit", value)) limits_.SetTargetLimit(value);
    }
    power_.Read(section);
    section.TryReadDouble("PredictedMinLimit", predicted_min_);
    section.TryReadDouble("PredictedMaxLimit", predicted_max_);
    // For a response a present "AutoScaleModifier" wins over "ScaleModifier".
    section.TryReadDouble("AutoScaleModifier", scale_modifier_);
  }

  transform_ = Transform(name_, section);
  if (section.ReadString("UniqueID", text)) unique_id_ = LeadingUnsigned(text);
  return true;
}

int ResponseClass::WriteToFile(ConfigurationSection& section) const {
  section.CreateChild(NameOf()).WriteInt(name_, number_);
  ConfigurationSection& own =
      section.IsIni() ? section.CreateChild(name_) : section.CreateChild("Response");
  Save(own);
  return 0;
}

void ResponseClass::Show(StreamWindow& out) const {
  const bool factor = IsA() != CEVar::kResponse;
  out << (factor ? "Factor name     : " : "Response name   : ") << name_ << "\n";
  out << (factor ? "Factor abbr     : " : "Response abbr   : ") << abbreviation_ << "\n";
  out << "Unit            : " << (unit_.empty() ? std::string("--") : unit_) << "\n";

  const int old_precision = out.SetPrecision(4);
  out << "Transform       : " << TraData::GetString(transform_.GetTransform());
  if (IsSet(transform_.GetC1())) out << " C1 = " << transform_.GetC1();
  if (IsSet(transform_.GetC2())) out << ", C2 = " << transform_.GetC2();
  if (IsSet(transform_.GetC3())) out << ", C3 = " << transform_.GetC3();
  out.SetPrecision(old_precision);
  const std::string formula = transform_.GetTransformString('Y');
  if (IsTransformed() && !formula.empty()) out << ", Transform string: " << formula << "\n";
  out << "\n";

  out << "No. of decimals : " << CEPrec::GetString(precision_) << "\n";
  out << "MLR Scaling     : " << ScaTypes::GetStringEx(scaling_) << "\n";
  out << "PLS Scaling     : " << ScaTypes::GetStringEx(pls_scaling_) << "\n";
  if (IsSet(scale_modifier_)) out << "PLS Modifier    : " << scale_modifier_ << "\n";
}

}  // namespace zubra
