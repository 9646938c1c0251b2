// The value record of a factor: kind, use, range or settings, precision and model coding.
#pragma once

#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zubra/platform/base/ce_type.h"
#include "zubra/platform/base/ce_use.h"
#include "zubra/platform/base/undefined.h"
#include "zubra/platform/matrix/xf_matrix.h"

namespace zubra {

class ConfigurationSection;

// What a factor is set to: its kind and use, a constant, a low/high range or a list of at
// most 24 settings, the range precision (stored as a standard deviation) and the normal
// operating range. Every real field is kUndefined (-99) until set. The record owns the
// factor's coding matrix ("Coding"), rebuilt whenever the value is set: 1 x 1 holding 1 for
// every kind but qualitative; for a qualitative factor with n settings an n x max(1, n - 1)
// matrix whose first row is -1 everywhere (the first setting is the reference level) and
// whose row r holds 1 in column r - 1.
//
// Stored form (a child "Values" of an XML section, the factor's own section in the older INI
// form): "Type" and "Use" as their texts, "Settings" as one comma-separated text,
// "FSensitivity" (the standard-deviation precision), "NormalOperatingRange", and
// "AdjustFromLow"/"AdjustFromHigh" while a range is adjusted. The settings
// text holds, by kind: qualitative, the setting texts; multilevel and time, the numeric
// settings; quantitative and formulation, the constant for a constant factor and otherwise
// low and high for a range; filler, nothing. Setting texts are HTML-escaped when needed
// (a comma inside a setting becomes "&#44;"), and "SettingsIsEncoded" in the parent section
// says so. Reading is the exact inverse; the older "SettingsU" (URI-encoded) is read too.
class FactorValue {
 public:
  static constexpr int kMaxSettings = 24;

  // Value forms.
  enum Form : int { kNoForm = 0, kSingle = 1, kRange = 2, kSettings = 3 };

  FactorValue();
  FactorValue(const FactorValue& other);
  FactorValue& operator=(const FactorValue& other);
  FactorValue(FactorValue&&) noexcept = default;
  FactorValue& operator=(FactorValue&&) noexcept = default;
  ~FactorValue() = default;

  [[nodiscard]] CEType::EType GetType() const { return type_; }
  [[nodiscard]] CEUse::EUse GetUse() const { return use_; }
  [[nodiscard]] Form GetForm() const { return form_; }
  [[nodiscard]] double GetConst() const { return constant_; }
  [[nodiscard]] double GetLow() const { return low_; }
  [[nodiscard]] double GetHigh() const { return high_; }
  [[nodiscard]] double GetAdjustFromLow() const { return adjust_from_low_; }
  [[nodiscard]] double GetAdjustFromHigh() const { return adjust_from_high_; }
  void SetAdjustFromLow(double value) { adjust_from_low_ = value; }
  void SetAdjustFromHigh(double value) { adjust_from_high_ = value; }
  // Replaces the low or high end alone (the form is left as it is).
  void SetLow(double value) { low_ = value; }
  void SetHigh(double value) { high_ = value; }

  // Resets the record, then stores type and use with no value (an uncontrolled or filler
  // factor, or one whose range comes later). Returns 1, leaving the record reset, when the
  // type or use is 0; otherwise 0. Like every setter of the value, it keeps the precision
  // figures (standard-deviation precision and normal operating range).
  int SetValue(CEType::EType type, CEUse::EUse use);
  // A constant factor with this value.
  void SetValue(double value, CEType::EType type);
  // A controlled range (or, with `controlled` false, an uncontrolled one) from low to high.
  void SetValue(double low, double high, CEType::EType type, bool controlled);
  // Reads a value from text: a number gives a constant, "low,high" a range, a list a settings
  // list. Returns 0, or 1 (changing nothing) when the text holds nothing usable.
  int SetValue(const char* text, CEType::EType type, CEUse::EUse use);
  // A settings list: at most the first 24 non-empty entries. Type 0 becomes qualitative and
  // use 0 controlled; a single setting makes the factor constant at that number; multilevel
  // and time factors take their low and high from the first and last settings.
  void SetSettings(const std::vector<std::string>& settings, CEType::EType type, CEUse::EUse use);
  // Back to the freshly constructed state.
  void ClearValues();

  // Setting i (1-based); empty outside 1..count.
  [[nodiscard]] std::string GetSetting(int i) const;
  [[nodiscard]] std::vector<std::string> GetSettings() const;
  [[nodiscard]] int GetSettingCount() const { return setting_count_; }
  // The 1-based index of the setting equal to `text` (exact comparison), 0 when absent.
  [[nodiscard]] int GetSettingIndex(std::string_view text) const;
  // True when `text` is one of the settings.
  [[nodiscard]] bool LegalSetting(std::string_view text) const;
  // True when the settings are unique and non-empty, and numeric for multilevel and time
  // factors; a record without a settings list has valid settings.
  [[nodiscard]] bool ValidSettings() const;

  [[nodiscard]] const XFMatrix* GetCodingMatrix() const { return coding_.get(); }

  [[nodiscard]] double GetStdDevPrecision() const { return std_dev_precision_; }
  void SetStdDevPrecision(double value) { std_dev_precision_ = value; }
  [[nodiscard]] double GetNOR() const { return nor_; }
  void SetNOR(double value) { nor_ = value; }

  // Whether the record describes a usable factor (see FactorClass::IsDefined).
  [[nodiscard]] bool IsDefined() const;

  // The values as display texts: the constant, low and high, or the settings.
  [[nodiscard]] std::vector<std::string> GetValueTexts() const;

  // Writes the stored form into the child chosen as described above.
  void WriteToFile(const std::string& name, ConfigurationSection& section) const;
  // Reads the stored form of factor `name`. Absent or garbled keys leave the field as it was;
  // nothing is thrown for bad data. Returns false when the child section is absent.
  bool Read(const std::string& name, const ConfigurationSection& section);

 private:
  void RebuildCoding();
  void ResetFields();

  CEType::EType type_ = CEType::kNone;
  CEUse::EUse use_ = CEUse::kNotSet;
  Form form_ = kNoForm;
  double constant_ = kUndefined;
  double high_ = kUndefined;
  double adjust_from_high_ = kUndefined;
  double low_ = kUndefined;
  double adjust_from_low_ = kUndefined;
  int setting_count_ = 0;
  std::array<std::string, kMaxSettings> settings_;
  std::unique_ptr<XFMatrix> coding_;
  double std_dev_precision_ = kUndefined;
  double nor_ = kUndefined;
};

}  // namespace zubra
