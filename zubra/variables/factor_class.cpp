#include "zubra/variables/factor_class.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

#include "zubra/platform/base/investigation_access.h"
#include "zubra/platform/matrix/stream_window.h"
#include "zubra/platform/util/configuration_section.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/kt_string.h"
#include "zubra/platform/util/variable_name_validator.h"
#include "zubra/variables/variable_utilities.h"
#include "zubra/variables/variables.h"

namespace zubra {
namespace {

constexpr std::size_t kMaxNameLength = 100;
constexpr std::size_t kMaxAbbreviationLength = 5;
constexpr std::size_t kMaxUnitLength = 25;
// The range precision is kept as a standard deviation: the precision covers 95% (1.96 sigma).
constexpr double kSigmasInPrecision = 1.96;

bool IsSet(double value) { return !IsUndefined(value); }

std::string Message(const char* text) { return ExceptionMessage::translate(text).str(); }

std::string NumberOrDashes(double value) { return IsSet(value) ? KtString::FormatG(value) : "--"; }

const ConfigurationSection* OwnChild(const std::string& name, const ConfigurationSection& section) {
  return section.IsIni() ? section.OpenChild(name) : section.OpenChild("Response");
}

}  // namespace

FactorClass::FactorClass(const std::string& name, const ConfigurationSection& section) {
  SetName(name);
  if (const ConfigurationSection* list = section.OpenChild(NameOf())) {
    int number = GetNumber();
    if (list->TryReadInt(name, number)) SetNumber(number);
  }
  if (const ConfigurationSection* own = OwnChild(name, section)) Load(*own);
}

// ---------------------------------------------------------------- validation

bool FactorClass::CheckValidName(std::string& name, std::string& message,
                                 const Variables& variables, const std::string& old_name) {
  message.clear();
  VariableUtilities::Trim(name);
  if (name.empty()) {
    message = Message("Please provide a factor name.");
    return false;
  }
  if (KtStdString::GraphemeCount(name) > kMaxNameLength) {
    message =
        ExceptionMessage::translate("The factor name is too long. The limit is {} characters.") %
        kMaxNameLength;
    return false;
  }
  if (Variables::IsReservedName(name)) {
    message =
        ExceptionMessage::translate("'{}' is a reserved name in ZUBRA. Please change the name.") %
        name;
    return false;
  }
  const ZubraVariableNameValidator validator;
  if (!validator.IsValid(name)) {
    message = ExceptionMessage::translate(
                  "A factor name may not contain the following characters:\n\n{}.") %
              validator.GetForbiddenCharacters();
    return false;
  }
  if (name.front() == '#') {
    message = Message("A factor name may not start with '#'");
    return false;
  }
  // Renaming a factor to its own name in another case is allowed.
  const bool same_name = !old_name.empty() && KtStdString::EqualsNoCase(old_name, name);
  if (!same_name && variables.IsFactor(name)) {
    message = Message("The factor name already exists. Please change to a unique name.");
    return false;
  }
  if (variables.IsResponse(name)) {
    message = Message(
        "The factor name already exists as a response name. Please change to a unique name.");
    return false;
  }
  return true;
}

bool FactorClass::CheckValidAbbrevation(std::string& abbreviation, std::string& message) {
  message.clear();
  VariableUtilities::Trim(abbreviation);
  if (abbreviation.empty()) {
    message = Message("Please provide an abbreviation for the factor.");
    return false;
  }
  if (KtStdString::GraphemeCount(abbreviation) > kMaxAbbreviationLength) {
    message =
        ExceptionMessage::translate("The abbreviation is too long. The limit is {} characters.") %
        kMaxAbbreviationLength;
    return false;
  }
  if (abbreviation.find_first_of("[]() ") != std::string::npos) {
    message =
        Message("Abbreviations may not contain the following characters:\n\n[ ] ( ) and SPACE.");
    return false;
  }
  return true;
}

bool FactorClass::CheckValidUnits(std::string& unit, std::string& message) {
  message.clear();
  VariableUtilities::Trim(unit);
  if (KtStdString::GraphemeCount(unit) > kMaxUnitLength) {
    message = ExceptionMessage::translate("The unit is too long. The limit is {} characters.") %
              kMaxUnitLength;
    return false;
  }
  return true;
}

// ---------------------------------------------------------------- virtual operations

bool FactorClass::HasSettingLabels(int setting) const {
  return IsQualitative() && GetSettingCount() > 1 && setting >= 1 && setting <= GetSettingCount();
}

std::string FactorClass::GetAbbr(int setting) const {
  std::string abbreviation = ResponseClass::GetAbbr(setting);
  if (!HasSettingLabels(setting)) return abbreviation;
  return abbreviation + "(" + GetSetting(setting) + ")";
}

std::string FactorClass::GetTransformedAbbr(int setting) const {
  std::string abbreviation = ResponseClass::GetAbbr(setting);
  if (Variables::IsBlockGen(abbreviation, false)) return abbreviation;
  return GetAbbr(setting) + (IsTransformed() ? "~" : "");
}

int FactorClass::GetExpandedCount() const {
  if (IsQualitative() && (GetUse() == CEUse::kControlled || GetUse() == CEUse::kUncontrolled)) {
    return GetSettingCount() - 1;
  }
  return 1;
}

CEVar::EVar FactorClass::IsA() const {
  switch (GetType()) {
    case CEType::kQuantitative:
    case CEType::kMultilevel:
    case CEType::kQualitative:
    case CEType::kTime:
      return CEVar::kProcessFactor;
    default:
      return CEVar::kMixtureFactor;
  }
}

bool FactorClass::IsDefined() const { return value_.IsDefined(); }

std::string FactorClass::NameOf() const { return "Factors"; }

void FactorClass::Show(StreamWindow& out) const {
  ResponseClass::Show(out);
  out << "Use             : " << CEUse::GetString(GetUse()) << "\n";
  out << "Type            : " << CEType::GetString(GetType()) << "\n";
  out << "Precision       : " << NumberOrDashes(GetFactorRangePrecision()) << "\n";
  out << "NOR             : " << NumberOrDashes(GetNOR()) << "\n";
  out << "Values          : ";
  const std::vector<std::string> values = value_.GetValueTexts();
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i > 0) out << (i + 1 == values.size() ? " and " : ", ");
    out << values[i];
  }
  out << "\n";
  if (hard_to_change_) out << "Hard to change  : yes\n";
}

int FactorClass::WriteToFile(ConfigurationSection& section) const {
  return ResponseClass::WriteToFile(section);
}

void FactorClass::Save(ConfigurationSection& section) const {
  ResponseClass::Save(section);
  value_.WriteToFile(GetName(), section);
  ConfigurationSection& child =
      section.IsIni() ? section.CreateChild(GetName()) : section.CreateChild("Factor");
  child.WriteBool("DesignSetFactor", design_set_factor_);
  if (hard_to_change_) {
    child.WriteBool("HardToChange", true);
  } else {
    child.RemoveKey("HardToChange");
  }
}

bool FactorClass::Load(const ConfigurationSection& section) {
  ResponseClass::Load(section);
  FactorValue value = value_;
  if (value.Read(GetName(), section)) value_ = std::move(value);
  const ConfigurationSection* child =
      section.IsIni() ? section.OpenChild(GetName()) : section.OpenChild("Factor");
  bool hard = false;
  if (child != nullptr) {
    child->TryReadBool("DesignSetFactor", design_set_factor_);
    child->TryReadBool("HardToChange", hard);
  }
  hard_to_change_ = hard;
  return true;
}

// ---------------------------------------------------------------- values

double FactorClass::GetLow(bool untransformed) const {
  double value = value_.GetLow();
  const InvestigationAccess* data = InvestigationAccess::Instance();
  if (GetUse() == CEUse::kUncontrolled && data != nullptr) value = data->GetMin(GetName());
  return untransformed ? value : GetTransform().GetTransform(value);
}

double FactorClass::GetHigh(bool untransformed) const {
  double value = value_.GetHigh();
  const InvestigationAccess* data = InvestigationAccess::Instance();
  if (GetUse() == CEUse::kUncontrolled && data != nullptr) value = data->GetMax(GetName());
  return untransformed ? value : GetTransform().GetTransform(value);
}

double FactorClass::GetConst(bool untransformed) const {
  const double value = value_.GetConst();
  return untransformed ? value : GetTransform().GetTransform(value);
}

double FactorClass::GetPointFromNormalized(double normalized, bool back_transform, double low,
                                           double high) const {
  const CEType::EType type = GetType();
  if (!IsSet(normalized) || (type != CEType::kQuantitative && type != CEType::kMultilevel &&
                             type != CEType::kFormulation && type != CEType::kTime)) {
    return kUndefined;
  }
  if (!IsSet(low)) low = GetLow(true);
  if (!IsSet(high)) high = GetHigh(true);
  low = GetTransform().GetTransform(low);
  high = GetTransform().GetTransform(high);
  if (!IsSet(low) || !IsSet(high)) return kUndefined;
  const double point = ((high - low) * normalized + (high + low)) / 2.0;
  return back_transform ? GetTransform().GetBackTransform(point) : point;
}

double FactorClass::GetNormalizedFromPoint(double point, bool transform) const {
  const double low = GetLow(false);
  const double high = GetHigh(false);
  const double half = (high - low) / 2.0;
  if (transform) point = GetTransform().GetTransform(point);
  // An unknown point or range, or an empty range, has no normalized position.
  if (!IsSet(point) || !IsSet(low) || !IsSet(high) || half == 0.0) return kUndefined;
  return (point - (half + low)) / half;
}

double FactorClass::GetCenterpoint(bool back_transform, double low, double high) const {
  const bool bounds_given = IsSet(low) && IsSet(high);
  const auto data_centre = [&]() {
    const InvestigationAccess* data = InvestigationAccess::Instance();
    if (data == nullptr) return kUndefined;
    const double centre = data->GetCenter(GetName());
    return back_transform && IsSet(centre) ? GetTransform().GetBackTransform(centre) : centre;
  };
  switch (GetType()) {
    case CEType::kQuantitative:
    case CEType::kFormulation:
      if (GetUse() == CEUse::kControlled || bounds_given) {
        return GetPointFromNormalized(0.0, back_transform, low, high);
      }
      return GetUse() == CEUse::kUncontrolled ? data_centre() : kUndefined;
    case CEType::kMultilevel:
    case CEType::kTime: {
      if (bounds_given) return GetPointFromNormalized(0.0, back_transform, low, high);
      if (GetUse() == CEUse::kControlled) {
        const int n = GetSettingCount();
        const int middle = n % 2 == 0 ? n / 2 : n / 2 + 1;
        return KtString::ToDouble(KtStdString::Trim(GetSetting(middle))).value_or(kUndefined);
      }
      return GetUse() == CEUse::kUncontrolled ? data_centre() : kUndefined;
    }
    default:
      return kUndefined;
  }
}

double FactorClass::GetAdjustFromLow() const {
  return IsSet(value_.GetAdjustFromLow()) ? value_.GetAdjustFromLow() : value_.GetLow();
}

double FactorClass::GetAdjustFromHigh() const {
  return IsSet(value_.GetAdjustFromHigh()) ? value_.GetAdjustFromHigh() : value_.GetHigh();
}

void FactorClass::ResetAdjustFrom() {
  value_.SetAdjustFromLow(kUndefined);
  value_.SetAdjustFromHigh(kUndefined);
}

void FactorClass::SetOldRanges() {
  if (IsSet(value_.GetAdjustFromLow())) {
    value_.SetLow(value_.GetAdjustFromLow());
    value_.SetAdjustFromLow(kUndefined);
  }
  if (IsSet(value_.GetAdjustFromHigh())) {
    value_.SetHigh(value_.GetAdjustFromHigh());
    value_.SetAdjustFromHigh(kUndefined);
  }
}

bool FactorClass::IsAdjusted() const {
  return IsSet(value_.GetAdjustFromLow()) || IsSet(value_.GetAdjustFromHigh());
}

void FactorClass::AdjustRange(double low, double high) {
  if (low != value_.GetLow() && !IsSet(value_.GetAdjustFromLow())) {
    value_.SetAdjustFromLow(value_.GetLow());
  }
  if (high != value_.GetHigh() && !IsSet(value_.GetAdjustFromHigh())) {
    value_.SetAdjustFromHigh(value_.GetHigh());
  }
  value_.SetLow(low);
  value_.SetHigh(high);
}

// ---------------------------------------------------------------- precision

double FactorClass::GetFactorRangePrecision() const {
  const double sd = value_.GetStdDevPrecision();
  return IsSet(sd) ? sd * kSigmasInPrecision : sd;
}

void FactorClass::SetFactorRangePrecision(double precision) {
  value_.SetStdDevPrecision(IsSet(precision) ? precision / kSigmasInPrecision : precision);
}

double FactorClass::GetFactorStdDevPrecision() const { return value_.GetStdDevPrecision(); }

void FactorClass::SetFactorStdDevPrecision(double value) { value_.SetStdDevPrecision(value); }

double FactorClass::CalculateFactorRangePrecision(double low, double high) {
  if (low == high || !IsSet(low) || !IsSet(high)) return kUndefined;
  return std::fabs(high - low) / 40.0;
}

bool FactorClass::DoesAnyHaveDistribution(const std::vector<const FactorClass*>& factors) {
  for (const FactorClass* factor : factors) {
    if (factor == nullptr) continue;
    const double precision = factor->GetFactorRangePrecision();
    if (IsSet(precision) && precision != 0.0) return true;
  }
  return false;
}

double FactorClass::GetNOR() const { return value_.GetNOR(); }

void FactorClass::SetNOR(double value) { value_.SetNOR(value); }

// ---------------------------------------------------------------- settings

std::string FactorClass::GetSetting(int i) const { return value_.GetSetting(i); }
std::vector<std::string> FactorClass::GetSettings() const { return value_.GetSettings(); }
int FactorClass::GetSettingCount() const { return value_.GetSettingCount(); }
int FactorClass::GetSettingIndex(std::string_view text) const {
  return value_.GetSettingIndex(text);
}
bool FactorClass::LegalSetting(std::string_view text) const { return value_.LegalSetting(text); }
bool FactorClass::ValidSettings() const { return value_.ValidSettings(); }

bool FactorClass::EqualSettings(const FactorClass* other) const {
  return other != nullptr && GetSettings() == other->GetSettings();
}

std::vector<std::string> FactorClass::GetIncludedSettings() const {
  const InvestigationAccess* data = InvestigationAccess::Instance();
  std::vector<std::string> included;
  if (data != nullptr) {
    for (const std::string& setting : data->GetIncludedSettings(GetName())) {
      if (LegalSetting(setting)) included.push_back(setting);
    }
  }
  return included.empty() ? GetSettings() : included;
}

std::vector<int> FactorClass::GetIncludedModelCodings() const {
  const std::vector<std::string> included = GetIncludedSettings();
  std::vector<int> columns;
  if (!IsQualitative() || static_cast<int>(included.size()) == GetSettingCount()) return columns;
  // Column j of the coding stands for setting j + 1 (setting 1 is the reference level).
  for (const std::string& setting : included) {
    const int index = GetSettingIndex(setting);
    if (index >= 2) columns.push_back(index - 1);
  }
  std::sort(columns.begin(), columns.end());
  return columns;
}

const XFMatrix* FactorClass::GetCodingMatrix() const { return value_.GetCodingMatrix(); }

XFMatrix FactorClass::GetModelCodingMatrix() const {
  const XFMatrix& coding = *value_.GetCodingMatrix();
  const std::vector<std::string> included = GetIncludedSettings();
  if (!IsQualitative() || static_cast<int>(included.size()) == GetSettingCount()) return coding;
  XFMatrix model(coding.GetName(), static_cast<int>(included.size()), coding.GetCols());
  int row = 0;
  for (int r = 1; r <= coding.GetRows(); ++r) {
    if (std::find(included.begin(), included.end(), GetSetting(r)) == included.end()) continue;
    ++row;
    model.SetRowName(row, GetSetting(r));
    for (int c = 1; c <= coding.GetCols(); ++c) model(row, c) = coding(r, c);
  }
  return model;
}

// ---------------------------------------------------------------- setters

int FactorClass::SetValue(CEType::EType type, CEUse::EUse use) {
  return value_.SetValue(type, use);
}
void FactorClass::SetValue(double value, CEType::EType type) { value_.SetValue(value, type); }
void FactorClass::SetValue(double low, double high, CEType::EType type, bool controlled) {
  value_.SetValue(low, high, type, controlled);
}
int FactorClass::SetValue(const char* text, CEType::EType type, CEUse::EUse use) {
  return value_.SetValue(text, type, use);
}
void FactorClass::SetSettings(const std::vector<std::string>& settings, CEType::EType type,
                              CEUse::EUse use) {
  value_.SetSettings(settings, type, use);
}
void FactorClass::ClearValues() { value_.ClearValues(); }

void FactorClass::CopyValues(const FactorClass* other) {
  if (other == nullptr || other == this) return;
  SetPrecision(other->GetPrecision());
  SetScaling(other->GetScaling());
  SetPLSScaling(other->GetPLSScaling());
  SetScaleModifier(other->GetScaleModifier());
  SetName(other->GetName());
  SetAbbr(other->ResponseClass::GetAbbr());
  SetUnits(other->GetUnits());
  SetTransform(other->GetTransform());
  value_ = other->value_;
  hard_to_change_ = other->hard_to_change_;
}

// ---------------------------------------------------------------- predicates

bool FactorClass::IsDesignFactor() const {
  if (GetName() == "$Block") return false;
  const bool controlled = GetUse() == CEUse::kControlled;
  switch (GetType()) {
    case CEType::kQuantitative:
    case CEType::kFormulation:
      return controlled;
    case CEType::kQualitative:
      return GetSettingCount() >= 2 && controlled;
    case CEType::kMultilevel:
      return GetSettingCount() >= 2;
    default:
      return false;
  }
}

bool FactorClass::SupportsScaling() const {
  const CEType::EType type = GetType();
  return (type < CEType::kQualitative || type > CEType::kTime) && !IsConstant();
}

bool FactorClass::SupportsTransform() const { return SupportsScaling(); }

std::string FactorClass::GetNameWithSetting(int setting) const {
  if (!HasSettingLabels(setting)) return GetName();
  return GetName() + "(" + GetSetting(setting) + ")";
}

// ---------------------------------------------------------------- model expansion

void FactorClass::SetExpandedSettings(float* row, const char* setting_text, int& position,
                                      const Variables* variables, bool keep_block) const {
  const std::string text = setting_text == nullptr ? std::string() : std::string(setting_text);
  if (!IsQualitative()) {
    const double value = KtString::ToDouble(KtStdString::Trim(text)).value_or(kUndefined);
    SetExpandedSettings(row, value, position, variables);
    return;
  }
  const XFMatrix& coding = *value_.GetCodingMatrix();
  const int index = GetSettingIndex(text);
  for (int j = 1; j <= coding.GetCols(); ++j) {
    auto entry = static_cast<float>(kUndefined);
    if (GetName() == "$BlockV" && !keep_block) {
      entry = 0.0F;
    } else if (index > 0) {
      entry = coding(index, j);
    }
    row[position++] = entry;
  }
}

void FactorClass::SetExpandedSettings(float* row, double value, int& position,
                                      const Variables* variables) const {
  if (variables != nullptr && variables->GetUsePseudoComponents() &&
      GetType() == CEType::kFormulation && GetUse() == CEUse::kControlled && IsSet(value)) {
    value = variables->GetPseudoComponent(this, value);
  }
  row[position++] = static_cast<float>(value);
}

// ---------------------------------------------------------------- JSON

json_value FactorClass::ToJson() const {
  json_value out = json_value::object();
  out["name"] = ForSetter(GetName());
  out["abbreviation"] = ForSetter(ResponseClass::GetAbbr());
  if (!GetUnits().empty()) out["unit"] = GetUnits();
  if (design_set_factor_) out["isDesignSetFactor"] = true;
  if (hard_to_change_) out["isHardToChange"] = true;
  out["type"] = KtStdString::LowerFirst(CEType::GetString(GetType()));

  json_value settings = json_value::array();
  if (IsQualitative()) {
    for (const std::string& setting : GetSettings()) settings.push_back(setting);
  } else if (GetType() == CEType::kMultilevel || GetType() == CEType::kTime) {
    for (const std::string& setting : GetSettings()) {
      settings.push_back(KtString::ToDouble(KtStdString::Trim(setting)).value_or(kUndefined));
    }
  } else if (GetUse() == CEUse::kConstant) {
    settings.push_back(GetConst(true));
  } else if (GetUse() != CEUse::kUncontrolled) {
    settings.push_back(value_.GetLow());
    settings.push_back(value_.GetHigh());
  }
  out["settings"] = std::move(settings);

  if (IsTransformed()) out["transform"] = GetTransform().ToJson();
  if (SupportsScaling() && GetScaling() != ScaTypes::kAutomatic) {
    out["scaling"] = {{"type", ScaTypes::ToJson(GetScaling())}};
  }
  json_value precision = json_value::object();
  if (GetPrecision() != CEPrec::kNotSet) {
    if (const auto decimals = KtString::ToInt(CEPrec::GetString(GetPrecision()))) {
      precision["numDecimals"] = *decimals;
    }
  }
  if (IsSet(GetFactorRangePrecision())) precision["factorPrecision"] = GetFactorRangePrecision();
  if (IsSet(GetNOR())) precision["normalOperatingRange"] = GetNOR();
  if (!precision.empty()) out["precision"] = std::move(precision);
  return out;
}

bool FactorClass::Load(const json_value& json) {
  const json_value* name = FindMember(json, "name");
  if (name == nullptr || !name->is_string()) return false;

  // Read into a copy so that an exception leaves this factor as it was.
  FactorClass read(*this);
  read.SetName(name->get<std::string>());
  if (const json_value* abbreviation = FindMember(json, "abbreviation");
      abbreviation != nullptr && abbreviation->is_string()) {
    read.SetAbbr(abbreviation->get<std::string>());
  }
  if (const json_value* unit = FindMember(json, "unit"); unit != nullptr && unit->is_string()) {
    read.SetUnits(unit->get<std::string>());
  }
  const json_value* type_text = FindMember(json, "type");
  const CEType::EType type = type_text != nullptr && type_text->is_string()
                                 ? CEType::GetEnum(type_text->get<std::string>())
                                 : CEType::kNone;
  if (type == CEType::kNone) {
    throw Exception(ExceptionMessage::translate("Parse error: illegal factor type."));
  }
  if (const json_value* flag = FindMember(json, "isDesignSetFactor");
      flag != nullptr && flag->is_boolean()) {
    read.design_set_factor_ = flag->get<bool>();
  }
  const json_value* hard = FindMember(json, "isHardToChange");
  read.hard_to_change_ = hard != nullptr && hard->is_boolean() && hard->get<bool>();

  // The settings entries: texts for a qualitative factor, numbers for every other kind.
  std::vector<std::string> texts;
  std::vector<double> numbers;
  if (const json_value* settings = FindMember(json, "settings");
      settings != nullptr && settings->is_array()) {
    for (const json_value& entry : *settings) {
      if (type == CEType::kQualitative && entry.is_string())
        texts.push_back(entry.get<std::string>());
      if (type != CEType::kQualitative && entry.is_number()) {
        numbers.push_back(entry.get<double>());
        texts.push_back(KtString::FormatShortest(entry.get<double>()));
      }
    }
  }
  const auto listed_use = [&](std::size_t count) {
    if (read.design_set_factor_) return CEUse::kUncontrolled;
    if (count >= 2) return CEUse::kControlled;
    return count == 1 ? CEUse::kConstant : CEUse::kUncontrolled;
  };
  switch (type) {
    case CEType::kQualitative:
    case CEType::kMultilevel:
    case CEType::kTime:
      read.SetSettings(texts, type, listed_use(texts.size()));
      break;
    case CEType::kFiller:
      read.SetValue(CEType::kFiller, CEUse::kControlled);
      break;
    default:
      if (numbers.empty()) {
        read.SetValue(type, CEUse::kUncontrolled);
      } else if (numbers.size() == 1) {
        read.SetValue(numbers.front(), type);
      } else {
        read.SetValue(numbers.front(), numbers.back(), type, true);
      }
      break;
  }

  read.SetTransform(Transform());
  if (const json_value* transform = FindMember(json, "transform")) {
    read.SetTransform(Transform::FromJson(*transform));
  }
  if (const json_value* scaling = FindMember(json, "scaling");
      scaling != nullptr && scaling->is_object()) {
    if (const json_value* scaling_type = FindMember(*scaling, "type");
        scaling_type != nullptr && scaling_type->is_string() &&
        read.GetScaling() != ScaTypes::kOrthogonal) {
      read.SetScaling(ScaTypes::GetScaType(scaling_type->get<std::string>()));
    }
  } else if (!read.SupportsScaling()) {
    read.SetScaling(ScaTypes::kOrthogonal);
  }

  if (const json_value* precision = FindMember(json, "precision");
      precision != nullptr && precision->is_object()) {
    if (const json_value* decimals = FindMember(*precision, "numDecimals");
        decimals != nullptr && IsInteger(*decimals)) {
      read.SetPrecision(CEPrec::GetEnum(std::to_string(decimals->get<std::int64_t>())));
    }
    if (const json_value* range = FindMember(*precision, "factorPrecision");
        range != nullptr && range->is_number()) {
      read.SetFactorRangePrecision(range->get<double>());
    }
    if (const json_value* nor = FindMember(*precision, "normalOperatingRange");
        nor != nullptr && nor->is_number()) {
      read.SetNOR(nor->get<double>());
    }
  }
  *this = std::move(read);
  return true;
}

}  // namespace zubra
