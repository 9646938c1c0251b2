// The definition of one factor of an investigation: its names, kind, use, range or settings,
// transform, precision figures and model coding.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "zubra/platform/matrix/xf_matrix.h"
#include "zubra/platform/util/json.h"
#include "zubra/responses/response_class.h"
#include "zubra/variables/factor_value.h"

namespace zubra {

class ConfigurationSection;
class StreamWindow;
class Variables;

// A factor: a variable the experimenter sets or observes. It keeps the fields shared with
// responses in its ResponseClass base and its value in a FactorValue record.
//
// Kinds (CEType): quantitative, multilevel, qualitative, formulation, filler, time;
// formulation and filler are mixture factors (IsA() 3), the rest process factors (IsA() 2).
// Uses (CEUse): controlled, uncontrolled (its low, centre and high come from the data, asked of
// InvestigationAccess by name), constant. A factor may be marked hard to change: the D-optimal
// design then keeps it constant within whole plots of runs (a split-plot design). The mark is
// stored only when it is set, so the stored forms of other factors do not change.
//
// "Untransformed" arguments: true asks for a value in the units the user typed; false for the
// value passed through the factor's transform. -99 (kUndefined) marks a value that is not set
// or cannot be computed.
class FactorClass : public ResponseClass {
 public:
  FactorClass() = default;
  // Reads the factor called `name` from the investigation's section (see Load).
  FactorClass(const std::string& name, const ConfigurationSection& section);
  FactorClass(const FactorClass&) = default;
  FactorClass& operator=(const FactorClass&) = default;
  FactorClass(FactorClass&&) = default;
  FactorClass& operator=(FactorClass&&) = default;
  ~FactorClass() override = default;

  // --- Validation of user entries. Each trims the text in place (tabs and line feeds
  // become spaces, outer white space goes), clears `message`, and on failure fills it and
  // returns false. They never throw.
  // `old_name` is the factor's current name when it is being renamed, empty for a new one.
  static bool CheckValidName(std::string& name, std::string& message, const Variables& variables,
                             const std::string& old_name);
  static bool CheckValidAbbrevation(std::string& abbreviation, std::string& message);
  static bool CheckValidUnits(std::string& unit, std::string& message);

  // --- Virtual operations of the base.
  // The abbreviation, or "abbr(setting)" for setting s of a qualitative factor with more
  // than one setting.
  [[nodiscard]] std::string GetAbbr(int setting = 0) const override;
  [[nodiscard]] std::string GetTransformedAbbr(int setting = 0) const override;
  // Model columns: settings - 1 for a controlled or uncontrolled qualitative factor, else 1.
  [[nodiscard]] int GetExpandedCount() const override;
  [[nodiscard]] CEVar::EVar IsA() const override;
  [[nodiscard]] bool IsDefined() const override;
  // The collection section under which factors are listed: "Factors".
  [[nodiscard]] std::string NameOf() const override;
  void Show(StreamWindow& out) const override;
  int WriteToFile(ConfigurationSection& section) const override;
  void Save(ConfigurationSection& section) const override;
  bool Load(const ConfigurationSection& section) override;

  // --- Values.
  [[nodiscard]] double GetLow(bool untransformed) const;
  [[nodiscard]] double GetHigh(bool untransformed) const;
  [[nodiscard]] double GetConst(bool untransformed) const;
  // The centre of the range (see the .cpp for the rules by kind and use). A bound of -99
  // means "the factor's own".
  [[nodiscard]] double GetCenterpoint(bool back_transform, double low = kUndefined,
                                      double high = kUndefined) const;
  // The point at normalized position n (-1 low, +1 high) of the transformed range.
  [[nodiscard]] double GetPointFromNormalized(double normalized, bool back_transform,
                                              double low = kUndefined,
                                              double high = kUndefined) const;
  // The normalized position of point x in the transformed range.
  [[nodiscard]] double GetNormalizedFromPoint(double point, bool transform) const;
  [[nodiscard]] double GetAdjustFromLow() const;
  [[nodiscard]] double GetAdjustFromHigh() const;
  // Forgets where an adjusted range came from.
  void ResetAdjustFrom();
  // Puts each defined adjust-from end back into low or high, and forgets it.
  void SetOldRanges();
  [[nodiscard]] bool IsAdjusted() const;
  // Adjusts the range to [low, high], remembering the ends it came from the first time.
  void AdjustRange(double low, double high);

  // --- Precision figures.
  // The range precision: the stored standard deviation x 1.96 (-99 as it is).
  [[nodiscard]] double GetFactorRangePrecision() const;
  // Stores precision / 1.96 as the standard deviation (-99 as it is).
  void SetFactorRangePrecision(double precision);
  [[nodiscard]] double GetFactorStdDevPrecision() const;
  void SetFactorStdDevPrecision(double value);
  // |high - low| / 40, or -99 when low equals high or either is -99.
  static double CalculateFactorRangePrecision(double low, double high);
  // True when any factor's range precision is neither -99 nor 0.
  static bool DoesAnyHaveDistribution(const std::vector<const FactorClass*>& factors);
  [[nodiscard]] double GetNOR() const;
  void SetNOR(double value);

  // --- Settings.
  [[nodiscard]] std::string GetSetting(int i) const;
  [[nodiscard]] std::vector<std::string> GetSettings() const;
  [[nodiscard]] int GetSettingCount() const;
  [[nodiscard]] int GetSettingIndex(std::string_view text) const;
  [[nodiscard]] bool LegalSetting(std::string_view text) const;
  [[nodiscard]] bool ValidSettings() const;
  // True when both factors have the same settings in the same order.
  [[nodiscard]] bool EqualSettings(const FactorClass* other) const;
  // The settings the investigation includes (asked of InvestigationAccess); all settings when
  // the service is absent or answers nothing.
  [[nodiscard]] std::vector<std::string> GetIncludedSettings() const;
  // The columns of the model coding matrix that take part in the model (1-based); all
  // columns when every setting is included.
  [[nodiscard]] std::vector<int> GetIncludedModelCodings() const;
  [[nodiscard]] const XFMatrix* GetCodingMatrix() const;
  // The coding matrix restricted to the included settings' rows.
  [[nodiscard]] XFMatrix GetModelCodingMatrix() const;
  [[nodiscard]] const FactorValue& GetValue() const { return value_; }

  // --- Setters forwarding to the value record.
  int SetValue(CEType::EType type, CEUse::EUse use);
  void SetValue(double value, CEType::EType type);
  void SetValue(double low, double high, CEType::EType type, bool controlled);
  int SetValue(const char* text, CEType::EType type, CEUse::EUse use);
  void SetSettings(const std::vector<std::string>& settings, CEType::EType type, CEUse::EUse use);
  void ClearValues();
  // Copies the shared fields of the base (precision, scalings, scale modifier, name,
  // abbreviation, unit, transform), the value record and the hard-to-change mark; number and
  // unique ID stay.
  void CopyValues(const FactorClass* other);

  // --- Predicates.
  [[nodiscard]] CEType::EType GetType() const { return value_.GetType(); }
  [[nodiscard]] CEUse::EUse GetUse() const { return value_.GetUse(); }
  [[nodiscard]] bool IsQualitative() const { return GetType() == CEType::kQualitative; }
  [[nodiscard]] bool IsFiller() const { return GetType() == CEType::kFiller; }
  [[nodiscard]] bool IsMixture() const {
    return GetType() == CEType::kFormulation || GetType() == CEType::kFiller;
  }
  [[nodiscard]] bool IsConstant() const { return GetUse() == CEUse::kConstant; }
  [[nodiscard]] bool IsDesignFactor() const;
  [[nodiscard]] bool IsDesignSetFactor() const { return design_set_factor_; }
  void SetDesignSetFactor(bool value) { design_set_factor_ = value; }
  [[nodiscard]] bool IsHardToChange() const { return hard_to_change_; }
  void SetHardToChange(bool value) { hard_to_change_ = value; }
  [[nodiscard]] bool SupportsScaling() const;
  [[nodiscard]] bool SupportsTransform() const;

  // --- Labels.
  // The name, followed by "(setting)" under the condition of GetAbbr.
  [[nodiscard]] std::string GetNameWithSetting(int setting) const;

  // --- Model expansion: writes the factor's model values into `row` at `position` and
  // advances `position` by GetExpandedCount(). A numeric factor reads `setting_text` as a
  // number (-99 when it does not parse) and writes the pseudo-component value when the set
  // uses pseudo-components; a qualitative factor writes the coding row of that setting (-99s
  // for an unknown setting; 0s for "$BlockV" unless `keep_block`).
  void SetExpandedSettings(float* row, const char* setting_text, int& position,
                           const Variables* variables, bool keep_block) const;
  void SetExpandedSettings(float* row, double value, int& position,
                           const Variables* variables) const;

  // --- JSON form (see the .cpp). Load returns false, changing nothing more, when "name" is
  // not a string; it throws Exception("Parse error: illegal factor type.") for an unknown
  // "type".
  [[nodiscard]] json_value ToJson() const;
  bool Load(const json_value& json);

 private:
  [[nodiscard]] bool HasSettingLabels(int setting) const;

  FactorValue value_;
  bool design_set_factor_ = false;
  bool hard_to_change_ = false;
};

}  // namespace zubra
