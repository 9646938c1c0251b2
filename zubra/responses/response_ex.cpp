#include "zubra/responses/response_ex.h"

#include <charconv>
#include <climits>
#include <cmath>
#include <cstddef>
#include <optional>
#include <utility>

#include "zubra/platform/base/enum_table.h"
#include "zubra/platform/base/undefined.h"
#include "zubra/platform/matrix/stream_window.h"
#include "zubra/platform/util/configuration_section.h"
#include "zubra/platform/util/kt_string.h"

namespace zubra {
namespace {

using Condition = ResponseClass::Limits::Condition;

bool IsSet(double value) { return !IsUndefined(value); }

constexpr auto kTypeTexts = MakeEnumTable<ResponseEx::EResponseType>({
    {ResponseEx::kNotDefined, "NotDefined"},
    {ResponseEx::kRegular, "Regular"},
    {ResponseEx::kLinked, "Linked"},
    {ResponseEx::kDerived, "Derived"},
    {ResponseEx::kAll, "All"},
});
static_assert(kTypeTexts.IsOneToOne());

constexpr const char* kTypeKey = "Type";
constexpr const char* kFormulaKey = "Formula";
constexpr const char* kSettingsKey = "QualitativeSettings";

// One "v(n)" reference of a formula: where its number text starts and ends, and the number.
struct Reference {
  std::size_t begin;  // first character after "v("
  std::size_t end;    // one past the last digit
  int number;
};

bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// Reads the number after "v(" at `begin` as atoi does: blanks, one sign, digits. Nullopt when
// there are no digits or the number does not fit an int.
std::optional<Reference> ReadReference(std::string_view formula, std::size_t begin) {
  std::size_t position = begin;
  while (position < formula.size() && IsBlank(formula[position])) ++position;
  const std::size_t sign = position;
  if (position < formula.size() && (formula[position] == '+' || formula[position] == '-')) {
    ++position;
  }
  const std::size_t digits = position;
  while (position < formula.size() && formula[position] >= '0' && formula[position] <= '9') {
    ++position;
  }
  if (position == digits) return std::nullopt;
  long long value = 0;
  // from_chars takes no '+'; the sign is applied by hand.
  const auto [end, error] =
      std::from_chars(formula.data() + digits, formula.data() + position, value);
  if (error != std::errc() || end != formula.data() + position) return std::nullopt;
  if (formula[sign] == '-') value = -value;
  if (value < INT_MIN || value > INT_MAX) return std::nullopt;
  return Reference{begin, position, static_cast<int>(value)};
}

// Every reference of `formula`, in order.
std::vector<Reference> FindReferences(std::string_view formula) {
  std::vector<Reference> references;
  for (std::size_t i = 0; i + 1 < formula.size(); ++i) {
    if (formula[i] != 'v' || formula[i + 1] != '(') continue;
    if (const std::optional<Reference> reference = ReadReference(formula, i + 2)) {
      references.push_back(*reference);
      i = reference->end - 1;
    }
  }
  return references;
}

// "--" for an undefined value, the value itself otherwise.
void WriteNumberOrDashes(StreamWindow& out, double value) {
  if (IsSet(value)) {
    out << value;
  } else {
    out << "--";
  }
}

// Sets the desirability shape: presets bring their own exponents, custom and step keep the
// ones the user chose.
void ApplyDesirabilityType(Desirability::DesirabilityOptions& options,
                           Desirability::DesirabilityType type) {
  options.type = type;
  if (type != Desirability::kCustom && type != Desirability::kStep) options.Reset(type);
}

bool AllFinite(const std::vector<float>& values) {
  for (const float value : values) {
    if (!std::isfinite(value)) return false;
  }
  return true;
}

}  // namespace

// ---------------------------------------------------------------- type texts

std::string ResponseEx::GetStringFromType(EResponseType type) {
  return std::string(kTypeTexts.ValueOf(type, "NotDefined"));
}

ResponseEx::EResponseType ResponseEx::GetTypeFromString(std::string_view text) {
  // Exact comparison: the table's own lookup ignores case, stored type texts do not.
  for (const auto& entry : kTypeTexts.Entries()) {
    if (entry.value == text) return entry.code;
  }
  return kNotDefined;
}

// ---------------------------------------------------------------- construction

ResponseEx::ResponseEx() : owned_(std::make_unique<ResponseClass>()), definition_(owned_.get()) {}

ResponseEx::ResponseEx(const ResponseEx& other)
    : type_(other.type_),
      owned_(std::make_unique<ResponseClass>(*other.definition_)),
      definition_(owned_.get()),
      formula_(other.formula_),
      setting_values_(other.setting_values_) {}

ResponseEx& ResponseEx::operator=(const ResponseEx& other) {
  if (this != &other) CopyFrom(other);
  return *this;
}

ResponseEx::~ResponseEx() = default;

void ResponseEx::CopyFrom(const ResponseEx& other) {
  if (this == &other) return;
  type_ = other.type_;
  *definition_ = *other.definition_;
  formula_ = other.formula_;
  setting_values_ = other.setting_values_;
}

ResponseClass* ResponseEx::GetAndReleaseResponseClass() {
  if (owned_ != nullptr) return owned_.release();
  return definition_;
}

bool ResponseEx::SetResponseClass(std::unique_ptr<ResponseClass> definition) {
  if (definition == nullptr || definition->IsA() != CEVar::kResponse) return false;
  owned_ = std::move(definition);
  definition_ = owned_.get();
  return true;
}

// ---------------------------------------------------------------- limits and desirability

bool ResponseEx::CheckLimits() const {
  if (GetCondition() != ResponseClass::Limits::kRequired) return true;
  const Desirability::OptimizeType objective = GetCriterion();
  const bool min = IsSet(GetMinLimit());
  const bool max = IsSet(GetMaxLimit());
  if (!min && !max && (objective == Desirability::kTarget || objective == Desirability::kExclude)) {
    return false;
  }
  if (!max && objective == Desirability::kMinimize) return false;
  if (!min && objective == Desirability::kMaximize) return false;
  if (IsSet(GetTargetLimit())) return true;
  return objective != Desirability::kTarget;
}

Condition ResponseEx::GetCondition() const { return definition_->GetCondition(); }

void ResponseEx::SetCondition(Condition condition) { definition_->SetCondition(condition); }

bool ResponseEx::HasValidSettingsForDesirability() const {
  const Desirability::OptimizeType objective = GetCriterion();
  if (GetCondition() == ResponseClass::Limits::kObserved ||
      objective >= Desirability::kOptimizeTypeCount) {
    return false;
  }
  switch (objective) {
    case Desirability::kMinimize:
      return IsSet(GetMaxLimit());
    case Desirability::kMaximize:
      return IsSet(GetMinLimit());
    case Desirability::kTarget: {
      const double min = GetMinLimit();
      const double target = GetTargetLimit();
      const double max = GetMaxLimit();
      return IsSet(min) && IsSet(target) && IsSet(max) && min < target && target < max;
    }
    default:
      return false;
  }
}

void ResponseEx::SetDesirability(const Desirability::DesirabilityOptions& options) {
  definition_->SetDesirability(options);
}

const Desirability::DesirabilityOptions& ResponseEx::GetDesirability() const {
  return definition_->GetDesirability();
}

double ResponseEx::GetWeight() const { return definition_->GetWeight(); }

void ResponseEx::SetWeight(double weight) { definition_->SetWeight(weight); }

Desirability::OptimizeType ResponseEx::GetCriterion() const {
  return definition_->GetDesirability().objective;
}

Desirability::DesirabilityType ResponseEx::GetDesirabilityType() const {
  return definition_->GetDesirability().type;
}

void ResponseEx::SetCriterion(Desirability::OptimizeType objective) {
  definition_->SetObjective(objective);
}

void ResponseEx::SetDesirabilityType(Desirability::DesirabilityType type) {
  Desirability::DesirabilityOptions options = definition_->GetDesirability();
  ApplyDesirabilityType(options, type);
  definition_->SetDesirability(options);
}

double ResponseEx::GetMinLimit() const { return definition_->GetMinLimit(); }
bool ResponseEx::GetAutoMinLimit() const { return definition_->GetAutoMinLimit(); }
double ResponseEx::GetPredictedMinLimit() const { return definition_->GetPredictedMinLimit(); }
double ResponseEx::GetMaxLimit() const { return definition_->GetMaxLimit(); }
bool ResponseEx::GetAutoMaxLimit() const { return definition_->GetAutoMaxLimit(); }
double ResponseEx::GetPredictedMaxLimit() const { return definition_->GetPredictedMaxLimit(); }
double ResponseEx::GetTargetLimit() const { return definition_->GetTargetLimit(); }
bool ResponseEx::GetAutoTargetLimit() const { return definition_->GetAutoTargetLimit(); }
void ResponseEx::SetMinLimit(double value) { definition_->SetMinLimit(value); }
void ResponseEx::SetPredictedMinLimit(double value) { definition_->SetPredictedMinLimit(value); }
void ResponseEx::SetMaxLimit(double value) { definition_->SetMaxLimit(value); }
void ResponseEx::SetPredictedMaxLimit(double value) { definition_->SetPredictedMaxLimit(value); }
void ResponseEx::SetTargetLimit(double value) { definition_->SetTargetLimit(value); }

// ---------------------------------------------------------------- text dump

void ResponseEx::Show(StreamWindow& out) const {
  const ResponseClass& d = *definition_;
  out << "Name            : " << d.GetName() << "\n";
  out << "Abbreviation    : " << d.GetAbbr() << "\n";
  out << "Unit            : " << (d.GetUnits().empty() ? std::string("--") : d.GetUnits()) << "\n";
  if (type_ == kDerived) {
    out << "Formula         : " << formula_ << "\n";
    bool header = false;
    for (unsigned slot = 0; slot < kQualitativeSlots; ++slot) {
      const std::vector<float>& values = setting_values_[slot];
      if (values.empty()) continue;
      if (!header) out << "Numerical Settings for Qualitative Settings:\n";
      header = true;
      out << "Qualitative Factor #" << slot + 1 << ": ";
      for (std::size_t i = 0; i < values.size(); ++i) {
        if (i > 0) out << ", ";
        out << values[i];
      }
      out << "\n";
    }
  }
  out << "Condition       : " << ResponseClass::Limits::ToString(GetCondition()) << "\n";
  out << "Objective       : " << Desirability::ToString(GetCriterion()) << "\n";
  const auto limit = [&d](double value) {
    // ToPrecisionString returns a shared buffer: copy it at once.
    return IsSet(value) ? std::string(d.ToPrecisionString(value)) : std::string("--");
  };
  out << "Min value       : " << limit(GetMinLimit()) << "\n";
  out << "Target value    : " << limit(GetTargetLimit()) << "\n";
  out << "Max value       : " << limit(GetMaxLimit()) << "\n";
  const ResponseClass::Power& power = d.GetPower();
  out << "Estimated noise level : ";
  WriteNumberOrDashes(out, power.GetStandardDeviation());
  out << "\nSignal to detect : ";
  WriteNumberOrDashes(out, power.GetSignalDetection());
  out << "\nSignificance test level : " << power.GetSignificance(true) << "\n";
  out << "Desired power   : " << power.GetTargetPower(true) << "\n";
}

// ---------------------------------------------------------------- transform by type

bool ResponseEx::SetTransform(TraData::ETraType type, double c1, double c2, double c3) {
  if (type_ != kRegular) return false;
  definition_->SetTransform(Transform(type, c1, c2, c3));
  return true;
}

TraData::ETraType ResponseEx::GetTransform() const {
  return type_ == kRegular ? definition_->GetTransform().GetTransform() : TraData::kNone;
}

bool ResponseEx::IsTransformed() const { return type_ == kRegular && definition_->IsTransformed(); }

void ResponseEx::GetTransConst(double& c1, double& c2, double& c3) const {
  if (type_ == kRegular) {
    definition_->GetTransform().GetConst(c1, c2, c3);
  } else {
    c1 = c2 = c3 = kUndefined;
  }
}

double ResponseEx::GetTransform(double x) const {
  if ((type_ != kRegular && type_ != kLinked) || !definition_->IsTransformed()) return x;
  return definition_->GetTransform().GetTransform(x);
}

double ResponseEx::GetBackTransform(double y) const {
  // Only a regular response goes back; a linked one stays on the transformed scale.
  if (type_ != kRegular || !definition_->IsTransformed()) return y;
  return definition_->GetTransform().GetBackTransform(y);
}

// ---------------------------------------------------------------- response range

double ResponseEx::GetResponseRange() const {
  const double deviation = definition_->GetPower().GetStandardDeviation();
  return IsSet(deviation) ? 2.0 * deviation : kUndefined;
}

void ResponseEx::SetResponseRange(double range) {
  ResponseClass::Power power = definition_->GetPower();
  power.SetStandardDeviation(IsSet(range) ? range / 2.0 : kUndefined);
  definition_->SetPower(power);
}

// ---------------------------------------------------------------- qualitative setting values

const std::vector<float>* ResponseEx::GetQualitativeSettingValues(unsigned index) const {
  return index < kQualitativeSlots ? &setting_values_[index] : nullptr;
}

bool ResponseEx::SetQualitativeSettingValues(unsigned index, std::vector<float> values) {
  // Non-finite values would not survive the stored form.
  if (index >= kQualitativeSlots || !AllFinite(values)) return false;
  setting_values_[index] = std::move(values);
  return true;
}

// ---------------------------------------------------------------- formula references

bool ResponseEx::IsItIncludedInFormula(int index) const {
  if (type_ != kDerived) return false;
  for (const Reference& reference : FindReferences(formula_)) {
    if (reference.number == index) return true;
  }
  return false;
}

std::vector<int> ResponseEx::GetVariablesInFormula() const {
  std::vector<int> numbers;
  for (const Reference& reference : FindReferences(formula_)) numbers.push_back(reference.number);
  return numbers;
}

void ResponseEx::UpdateDerivedAfterNewOrDelFactor(int index, bool added) {
  const std::vector<Reference> references = FindReferences(formula_);
  if (references.empty()) return;
  std::string rewritten;
  rewritten.reserve(formula_.size() + references.size());
  std::size_t copied = 0;
  for (const Reference& reference : references) {
    if (reference.number < index) continue;
    long long number = reference.number;
    if (added) {
      ++number;
    } else {
      number = reference.number == index ? 0 : number - 1;
    }
    rewritten.append(formula_, copied, reference.begin - copied);
    rewritten += std::to_string(number);
    copied = reference.end;
  }
  rewritten.append(formula_, copied, std::string::npos);
  formula_ = std::move(rewritten);
}

// ---------------------------------------------------------------- limit tests

bool ResponseEx::WithinAllLimits(double value, bool transformed) const {
  if (GetCondition() == ResponseClass::Limits::kObserved) return true;
  if (IsUndefined(value)) return false;
  const double min = GetMinLimit();
  const double max = GetMaxLimit();
  if (!transformed && type_ == kRegular && definition_->IsTransformed()) {
    value = definition_->GetTransform().GetTransform(value);
    if (IsUndefined(value)) return false;
  }
  return (!IsSet(min) || min <= value) && (!IsSet(max) || value <= max);
}

bool ResponseEx::WithinMustLimits(double value, bool transformed) const {
  if (GetCondition() != ResponseClass::Limits::kRequired) return true;
  return WithinAllLimits(value, transformed);
}

// ---------------------------------------------------------------- configuration form

namespace {

using SettingSlots = std::array<std::vector<float>, ResponseEx::kQualitativeSlots>;

std::string FormatSettingValues(const SettingSlots& slots) {
  std::string text;
  for (std::size_t slot = 0; slot < slots.size(); ++slot) {
    if (slots[slot].empty()) continue;
    if (!text.empty()) text += ';';
    text += std::to_string(slot);
    text += ':';
    for (std::size_t i = 0; i < slots[slot].size(); ++i) {
      if (i > 0) text += ',';
      text += KtString::FormatShortest(slots[slot][i]);
    }
  }
  return text;
}

// Parses the text written by FormatSettingValues. Nullopt when any part does not parse, a
// slot is outside 0..48 or given twice.
std::optional<SettingSlots> ParseSettingValues(std::string_view text) {
  SettingSlots slots;
  if (KtStdString::Trim(text).empty()) return slots;
  std::array<bool, ResponseEx::kQualitativeSlots> seen{};
  for (const std::string& entry : KtStdString::Split(text, ';')) {
    const std::size_t colon = entry.find(':');
    if (colon == std::string::npos) return std::nullopt;
    const std::optional<int> slot = KtString::ToInt(std::string_view(entry).substr(0, colon));
    if (!slot || *slot < 0 || *slot >= static_cast<int>(slots.size()) || seen[*slot]) {
      return std::nullopt;
    }
    seen[*slot] = true;
    for (const std::string& field : KtStdString::Split(entry.substr(colon + 1), ',')) {
      const std::optional<float> value = KtString::ToFloat(field);
      if (!value) return std::nullopt;
      slots[*slot].push_back(*value);
    }
  }
  return slots;
}

}  // namespace

void ResponseEx::Save(ConfigurationSection& section) const {
  definition_->Save(section);
  section.WriteString(kTypeKey, GetStringFromType(type_));
  section.WriteString(kFormulaKey, formula_);
  section.WriteString(kSettingsKey, FormatSettingValues(setting_values_));
}

bool ResponseEx::Load(const ConfigurationSection& section) {
  // Everything is read into copies first, so that a throw leaves this response as it was.
  ResponseClass definition(*definition_);
  definition.Load(section);
  EResponseType type = type_;
  std::string formula = formula_;
  SettingValues values = setting_values_;
  std::string text;
  if (section.ReadString(kTypeKey, text)) type = GetTypeFromString(text);
  section.ReadString(kFormulaKey, formula);
  if (section.ReadString(kSettingsKey, text)) {
    if (auto parsed = ParseSettingValues(text)) values = std::move(*parsed);
  }
  *definition_ = std::move(definition);
  type_ = type;
  formula_ = std::move(formula);
  setting_values_ = std::move(values);
  return true;
}

// ---------------------------------------------------------------- JSON form

json_value ResponseEx::ToJson() const {
  const ResponseClass& d = *definition_;
  json_value out = json_value::object();
  out["name"] = ResponseClass::ForSetter(d.GetName());
  out["abbreviation"] = ResponseClass::ForSetter(d.GetAbbr());
  out["unit"] = d.GetUnits();
  if (type_ == kDerived) {
    out["type"] = "derived";
    out["formula"] = formula_;
    return out;
  }
  out["type"] = "regular";
  out["power"] = d.GetPower().ToJson();
  out["transform"] = d.GetTransform().ToJson();
  json_value scaling = json_value::object();
  // The automatic marker is a working state that JSON forms do not carry.
  if (d.GetScaling() != ScaTypes::kAutomatic) scaling["type"] = ScaTypes::ToJson(d.GetScaling());
  scaling["autoScaleModifier"] = d.GetScaleModifier();
  out["scaling"] = std::move(scaling);

  const ResponseClass::Limits& limits = d.GetLimits();
  json_value objective = json_value::object();
  objective["type"] = Desirability::ToString(d.GetDesirability().objective);
  objective["min"] = limits.GetMinLimit();
  objective["target"] = limits.GetTargetLimit();
  objective["max"] = limits.GetMaxLimit();
  json_value settings = json_value::object();
  settings["condition"] = ResponseClass::Limits::ToJson(limits.GetCondition());
  settings["objective"] = std::move(objective);
  settings["desirability"] = {
      {"type", Desirability::ToDesirabilityString(d.GetDesirability().type)}};
  settings["weight"] = limits.GetWeight();
  out["optimizationSettings"] = std::move(settings);
  return out;
}

namespace {

const json_value* FindString(const json_value& object, std::string_view key) {
  const json_value* member = FindMember(object, key);
  return member != nullptr && member->is_string() ? member : nullptr;
}

const json_value* FindNumber(const json_value& object, std::string_view key) {
  const json_value* member = FindMember(object, key);
  return member != nullptr && member->is_number() ? member : nullptr;
}

const json_value* FindObject(const json_value& object, std::string_view key) {
  const json_value* member = FindMember(object, key);
  return member != nullptr && member->is_object() ? member : nullptr;
}

}  // namespace

bool ResponseEx::Load(const json_value& json) {
  const json_value* name = FindString(json, "name");
  if (name == nullptr) return false;

  // Read into copies, committed at the end: a malformed document never half-changes us.
  ResponseClass d(*definition_);
  EResponseType type = type_;
  std::string formula = formula_;

  d.SetName(name->get<std::string>());
  if (const json_value* abbreviation = FindString(json, "abbreviation")) {
    d.SetAbbr(abbreviation->get<std::string>());
  }
  if (const json_value* unit = FindString(json, "unit")) d.SetUnits(unit->get<std::string>());
  if (const json_value* type_text = FindString(json, "type")) {
    const auto& text = type_text->get_ref<const std::string&>();
    if (text == "derived") {
      type = kDerived;
      if (const json_value* formula_text = FindString(json, "formula")) {
        formula = formula_text->get<std::string>();
      }
    } else if (text == "regular" && type != kLinked) {
      type = kRegular;
    }
  }

  if (const json_value* power = FindObject(json, "power")) {
    ResponseClass::Power read = d.GetPower();
    read.FromJson(*power);
    d.SetPower(read);
  }
  if (const json_value* transform = FindObject(json, "transform")) {
    try {
      d.SetTransform(Transform::FromJson(*transform));
    } catch (const Exception&) {
      // A transform the reader refuses is skipped like any other malformed member.
    }
  }
  if (const json_value* scaling = FindObject(json, "scaling")) {
    if (const json_value* scaling_type = FindString(*scaling, "type")) {
      d.SetScaling(ScaTypes::GetScaType(scaling_type->get<std::string>()));
    }
    if (const json_value* modifier = FindNumber(*scaling, "autoScaleModifier")) {
      d.SetScaleModifier(modifier->get<double>());
    }
  }

  if (const json_value* settings = FindObject(json, "optimizationSettings")) {
    ResponseClass::Limits limits = d.GetLimits();
    Desirability::DesirabilityOptions options = d.GetDesirability();
    if (const json_value* condition = FindString(*settings, "condition")) {
      // Stored as it is: the objective is read next and must not be recomputed here.
      limits.SetCondition(ResponseClass::Limits::FromString(condition->get<std::string>()));
    }
    if (const json_value* objective = FindObject(*settings, "objective")) {
      if (const json_value* objective_type = FindString(*objective, "type")) {
        options.objective = Desirability::ToType(objective_type->get<std::string>());
      }
      if (const json_value* min = FindNumber(*objective, "min")) {
        limits.SetMinLimit(min->get<double>());
      }
      if (const json_value* target = FindNumber(*objective, "target")) {
        limits.SetTargetLimit(target->get<double>());
      }
      if (const json_value* max = FindNumber(*objective, "max")) {
        limits.SetMaxLimit(max->get<double>());
      }
    }
    if (const json_value* desirability = FindObject(*settings, "desirability")) {
      if (const json_value* shape = FindString(*desirability, "type")) {
        ApplyDesirabilityType(options, Desirability::ToDesirabilityType(shape->get<std::string>()));
      }
    }
    if (const json_value* weight = FindNumber(*settings, "weight")) {
      limits.SetWeight(weight->get<double>());
    }
    d.SetLimits(limits);
    d.SetDesirability(options);
  }

  *definition_ = std::move(d);
  type_ = type;
  formula_ = std::move(formula);
  return true;
}

}  // namespace zubra
