#include "zubra/variables/factor_value.h"

#include <algorithm>
#include <optional>
#include <set>
#include <utility>

#include "zubra/platform/util/configuration_section.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/html_utilities.h"
#include "zubra/platform/util/kt_string.h"

namespace zubra {
namespace {

bool IsNumericKind(CEType::EType type) {
  return type == CEType::kMultilevel || type == CEType::kTime;
}

double NumberOr(std::string_view text, double fallback) {
  return KtString::ToDouble(KtStdString::Trim(text)).value_or(fallback);
}

// A setting's text for the comma-separated stored form: HTML-escaped, with commas as
// character references so that splitting at commas gives the entries back.
std::string EncodeSetting(std::string_view setting, bool& encoded) {
  std::string text = HtmlUtilities::EscapeToHtml(setting);
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    if (c == ',') {
      out += "&#44;";
    } else {
      out += c;
    }
  }
  if (out != setting) encoded = true;
  return out;
}

}  // namespace

FactorValue::FactorValue() { RebuildCoding(); }

FactorValue::FactorValue(const FactorValue& other)
    : type_(other.type_),
      use_(other.use_),
      form_(other.form_),
      constant_(other.constant_),
      high_(other.high_),
      adjust_from_high_(other.adjust_from_high_),
      low_(other.low_),
      adjust_from_low_(other.adjust_from_low_),
      setting_count_(other.setting_count_),
      settings_(other.settings_),
      coding_(other.coding_ ? std::make_unique<XFMatrix>(*other.coding_) : nullptr),
      std_dev_precision_(other.std_dev_precision_),
      nor_(other.nor_) {}

FactorValue& FactorValue::operator=(const FactorValue& other) {
  if (this != &other) {
    FactorValue copy(other);
    *this = std::move(copy);
  }
  return *this;
}

void FactorValue::ResetFields() {
  type_ = CEType::kNone;
  use_ = CEUse::kNotSet;
  form_ = kNoForm;
  constant_ = high_ = adjust_from_high_ = low_ = adjust_from_low_ = kUndefined;
  setting_count_ = 0;
  settings_.fill(std::string());
}

void FactorValue::RebuildCoding() {
  if (type_ != CEType::kQualitative) {
    coding_ = std::make_unique<XFMatrix>("Coding", 1, 1, 1.0F);
    return;
  }
  const int n = setting_count_;
  coding_ = std::make_unique<XFMatrix>("Coding", n, std::max(1, n - 1), 0.0F);
  for (int r = 1; r <= n; ++r) {
    coding_->SetRowName(r, settings_[static_cast<std::size_t>(r - 1)]);
    for (int c = 1; c <= coding_->GetCols(); ++c) {
      if (r == 1) {
        (*coding_)(r, c) = -1.0F;  // the first setting is the reference level
      } else if (c == r - 1) {
        (*coding_)(r, c) = 1.0F;
      }
    }
  }
}

int FactorValue::SetValue(CEType::EType type, CEUse::EUse use) {
  ResetFields();
  if (type == CEType::kNone || use == CEUse::kNotSet) {
    RebuildCoding();
    return 1;
  }
  type_ = type;
  use_ = use;
  RebuildCoding();
  return 0;
}

void FactorValue::SetValue(double value, CEType::EType type) {
  ResetFields();
  type_ = type;
  use_ = CEUse::kConstant;
  form_ = kSingle;
  constant_ = value;
  RebuildCoding();
}

void FactorValue::SetValue(double low, double high, CEType::EType type, bool controlled) {
  ResetFields();
  type_ = type;
  use_ = controlled ? CEUse::kControlled : CEUse::kUncontrolled;
  form_ = kRange;
  low_ = low;
  high_ = high;
  RebuildCoding();
}

int FactorValue::SetValue(const char* text, CEType::EType type, CEUse::EUse use) {
  std::vector<std::string> entries;
  for (const std::string& piece : KtStdString::Split(text == nullptr ? "" : text, ',')) {
    std::string trimmed = KtStdString::Trim(piece);
    if (!trimmed.empty()) entries.push_back(std::move(trimmed));
  }
  if (entries.empty()) return 1;
  const bool listed = type == CEType::kQualitative || IsNumericKind(type);
  if (listed) {
    SetSettings(entries, type, use);
    return 0;
  }
  const std::optional<double> first = KtString::ToDouble(entries.front());
  const std::optional<double> last = KtString::ToDouble(entries.back());
  if (!first || !last) return 1;
  if (entries.size() == 1 || use == CEUse::kConstant) {
    SetValue(*first, type);
  } else {
    SetValue(*first, *last, type, use != CEUse::kUncontrolled);
  }
  return 0;
}

void FactorValue::SetSettings(const std::vector<std::string>& settings, CEType::EType type,
                              CEUse::EUse use) {
  ResetFields();
  type_ = type == CEType::kNone ? CEType::kQualitative : type;
  use_ = use == CEUse::kNotSet ? CEUse::kControlled : use;
  form_ = kSettings;
  for (const std::string& setting : settings) {
    if (setting_count_ == kMaxSettings) break;
    if (setting.empty()) continue;
    settings_[static_cast<std::size_t>(setting_count_++)] = setting;
  }
  if (setting_count_ == 1) {
    use_ = CEUse::kConstant;
    constant_ = NumberOr(settings_[0], kUndefined);
  }
  if (IsNumericKind(type_) && setting_count_ > 0) {
    low_ = NumberOr(settings_[0], kUndefined);
    high_ = NumberOr(settings_[static_cast<std::size_t>(setting_count_ - 1)], kUndefined);
  }
  RebuildCoding();
}

void FactorValue::ClearValues() {
  ResetFields();
  std_dev_precision_ = kUndefined;
  nor_ = kUndefined;
  RebuildCoding();
}

std::string FactorValue::GetSetting(int i) const {
  if (i < 1 || i > setting_count_) return {};
  return settings_[static_cast<std::size_t>(i - 1)];
}

std::vector<std::string> FactorValue::GetSettings() const {
  return {settings_.begin(), settings_.begin() + setting_count_};
}

int FactorValue::GetSettingIndex(std::string_view text) const {
  for (int i = 0; i < setting_count_; ++i) {
    if (settings_[static_cast<std::size_t>(i)] == text) return i + 1;
  }
  return 0;
}

bool FactorValue::LegalSetting(std::string_view text) const { return GetSettingIndex(text) != 0; }

bool FactorValue::ValidSettings() const {
  if (form_ != kSettings) return true;
  std::set<std::string, std::less<>> seen;
  for (const std::string& setting : GetSettings()) {
    if (setting.empty() || !seen.insert(setting).second) return false;
    if (IsNumericKind(type_) && !KtString::ToDouble(KtStdString::Trim(setting))) return false;
  }
  return true;
}

bool FactorValue::IsDefined() const {
  if (type_ == CEType::kNone || use_ == CEUse::kNotSet) return false;
  if (use_ == CEUse::kUncontrolled || type_ == CEType::kFiller) return true;
  switch (form_) {
    case kSingle:
      return !IsUndefined(constant_);
    case kRange:
      return !IsUndefined(low_) && !IsUndefined(high_) && low_ <= high_;
    case kSettings:
      return setting_count_ > 0;
    default:
      return false;
  }
}

std::vector<std::string> FactorValue::GetValueTexts() const {
  switch (form_) {
    case kSingle:
      return {KtString::FormatG(constant_)};
    case kRange:
      return {KtString::FormatG(low_), KtString::FormatG(high_)};
    case kSettings:
      return GetSettings();
    default:
      return {};
  }
}

void FactorValue::WriteToFile(const std::string& name, ConfigurationSection& section) const {
  ConfigurationSection& child =
      section.IsIni() ? section.CreateChild(name) : section.CreateChild("Values");
  child.WriteString("Type", CEType::GetString(type_));
  child.WriteString("Use", CEUse::GetString(use_));

  std::vector<std::string> entries;
  bool encoded = false;
  if (form_ == kSettings) {
    for (const std::string& setting : GetSettings())
      entries.push_back(EncodeSetting(setting, encoded));
  } else if (form_ == kSingle) {
    entries.push_back(KtString::FormatShortest(constant_));
  } else if (form_ == kRange) {
    entries.push_back(KtString::FormatShortest(low_));
    entries.push_back(KtString::FormatShortest(high_));
  }
  std::string text;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (i > 0) text += ',';
    text += entries[i];
  }
  child.WriteString("Settings", text);
  if (encoded) {
    section.WriteBool("SettingsIsEncoded", true);
  } else {
    section.RemoveKey("SettingsIsEncoded");
  }
  child.RemoveKey("SettingsU");
  child.WriteDouble("FSensitivity", std_dev_precision_);
  child.WriteDouble("NormalOperatingRange", nor_);
  // Where an adjusted range came from, only while it is adjusted.
  for (const auto& [key, value] : {std::pair{"AdjustFromLow", adjust_from_low_},
                                   std::pair{"AdjustFromHigh", adjust_from_high_}}) {
    if (IsUndefined(value)) {
      child.RemoveKey(key);
    } else {
      child.WriteDouble(key, value);
    }
  }
}

bool FactorValue::Read(const std::string& name, const ConfigurationSection& section) {
  const ConfigurationSection* child =
      section.IsIni() ? section.OpenChild(name) : section.OpenChild("Values");
  if (child == nullptr) return false;

  CEType::EType type = type_;
  CEUse::EUse use = use_;
  if (const auto text = child->GetValue("Type")) type = CEType::GetEnum(*text);
  if (const auto text = child->GetValue("Use")) use = CEUse::GetEnum(*text);

  // The entries of the settings text, decoded; nullopt when the factor stores none.
  std::optional<std::vector<std::string>> entries;
  if (const auto text = child->GetValue("SettingsU")) {
    try {
      entries = KtStdString::Split(HtmlUtilities::URIDecode(*text), ',');
    } catch (const HtmlUtilities::URIDecodeException&) {
      // A garbled older key keeps the settings as they were.
    }
  } else if (const auto settings_text = child->GetValue("Settings")) {
    bool encoded = false;
    if (const auto flag = section.GetValue("SettingsIsEncoded")) {
      encoded = KtStdString::EqualsNoCase(KtStdString::Trim(*flag), "true") ||
                KtStdString::Trim(*flag) == "1";
    }
    std::vector<std::string> pieces = KtStdString::Split(*settings_text, ',');
    bool good = true;
    if (encoded) {
      for (std::string& piece : pieces) {
        try {
          piece = HtmlUtilities::Unescape(piece);
        } catch (const HtmlUtilities::URIDecodeException&) {
          good = false;
        }
      }
    }
    if (good) entries = std::move(pieces);
  }

  if (entries) {
    std::vector<std::string> values;
    for (std::string& entry : *entries) {
      // Setting names are UTF-8 text, as ConfigurationSection::ReadString gives it.
      if (!KtStdString::IsValidUtf8(entry)) entry = KtStdString::RepairUtf8(entry);
      if (!entry.empty()) values.push_back(std::move(entry));
    }
    const bool listed = type == CEType::kQualitative || IsNumericKind(type);
    if (listed) {
      SetSettings(values, type, use);
    } else if (type == CEType::kFiller || values.empty()) {
      SetValue(type, use);
    } else if (use == CEUse::kConstant || values.size() == 1) {
      SetValue(NumberOr(values.front(), kUndefined), type);
    } else {
      SetValue(NumberOr(values.front(), kUndefined), NumberOr(values.back(), kUndefined), type,
               use != CEUse::kUncontrolled);
    }
  } else if (type != type_ || use != use_) {
    SetValue(type, use);
  }
  child->TryReadDouble("FSensitivity", std_dev_precision_);
  child->TryReadDouble("NormalOperatingRange", nor_);
  child->TryReadDouble("AdjustFromLow", adjust_from_low_);
  child->TryReadDouble("AdjustFromHigh", adjust_from_high_);
  return true;
}

}  // namespace zubra
