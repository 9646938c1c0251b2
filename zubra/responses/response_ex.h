// The working form of a response: its definition plus the response type, the formula of a
// derived response and the numbers given to qualitative settings for such formulas.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zubra/platform/matrix/desirability.h"
#include "zubra/platform/matrix/tra_data.h"
#include "zubra/platform/util/json.h"
#include "zubra/responses/response_class.h"

namespace zubra {

class ConfigurationSection;
class StreamWindow;

// One response as the application works with it: a ResponseClass definition, the kind of
// response (measured, linked to another source, or derived from other variables by a
// formula), the formula, and per qualitative-factor slot the number given to each setting so
// that a formula can compute with qualitative factors.
//
// Ownership. A ResponseEx owns its definition until GetAndReleaseResponseClass() hands it to
// the caller (usually to put it in the variable set). From then on the ResponseEx still reads
// and writes the definition through its pointer, and the new owner must keep the definition
// alive for as long as the ResponseEx is used. SetResponseClass makes a definition the
// response's own again (a new one, or the released one handed back). The limit, weight, condition
// and desirability operations all act on the definition; the limit getters return the derived
// values (ResponseClass::GetMinLimit and the others), not the stored ones.
//
// Formulas refer to variables by number, written "v(3)". When a factor is inserted or
// deleted, UpdateDerivedAfterNewOrDelFactor renumbers the references so that they keep
// naming the same variables.
//
// -99 (kUndefined) means not set in every real value.
//
//   ResponseEx ratio;
//   ratio.GetResponseClass()->SetName("Ratio");
//   ratio.SetType(ResponseEx::kDerived);
//   ratio.SetFormula("v(1)/v(2)");
//   ratio.UpdateDerivedAfterNewOrDelFactor(2, true);  // a factor inserted at 2: "v(1)/v(3)"
class ResponseEx {
 public:
  // The kind of a response. Codes are stored and compared as plain integers.
  enum EResponseType : std::int32_t {
    kNotDefined = 0,  // no type; also what an unknown text reads as
    kRegular = 1,     // measured
    kLinked = 2,      // linked to another source
    kDerived = 3,     // computed from other variables by its formula
    kAll = 4,         // selector for counting or listing responses of every type
  };

  // The number of qualitative-factor slots that carry setting values (slots 0..48).
  static constexpr unsigned kQualitativeSlots = 49;

  // "Regular", "Linked", "Derived", "All"; "NotDefined" for every other code.
  static std::string GetStringFromType(EResponseType type);
  // The type whose text equals `text` exactly (case included); kNotDefined for any other.
  static EResponseType GetTypeFromString(std::string_view text);

  // A regular response with a new default definition, no formula and no setting values.
  ResponseEx();
  // A copy with its own new definition, equal to `other`'s (unique ID and number included).
  ResponseEx(const ResponseEx& other);
  // CopyFrom(other).
  ResponseEx& operator=(const ResponseEx& other);
  virtual ~ResponseEx();

  // Copies the type, the formula and the setting values, and assigns the definition's fields
  // (unique ID and number included) into this response's definition, owned or not.
  void CopyFrom(const ResponseEx& other);

  // --- Virtual operations. ----------------------------------------------------------------

  // True when the limits can be used: always for a response that is not "Required"; false
  // when both limits are undefined and the objective is target (3) or exclude (5), when the
  // maximum is undefined and the objective is minimize (1), when the minimum is undefined and
  // the objective is maximize (2); otherwise true when the target is defined or the
  // objective is not target. Judged on the derived limits.
  [[nodiscard]] virtual bool CheckLimits() const;
  [[nodiscard]] virtual ResponseClass::Limits::Condition GetCondition() const;
  // ResponseClass::SetCondition: "Observed" forces the objective 4, and an objective of 0, 4
  // or 5 is recomputed for the other conditions.
  virtual void SetCondition(ResponseClass::Limits::Condition condition);
  // True when a desirability function can be built: never for "Observed" or an objective
  // code of 6 or more; minimize needs a defined maximum, maximize a defined minimum, target
  // all three limits with minimum < target < maximum; every other objective gives false.
  [[nodiscard]] virtual bool HasValidSettingsForDesirability() const;
  virtual void SetDesirability(const Desirability::DesirabilityOptions& options);
  [[nodiscard]] virtual const Desirability::DesirabilityOptions& GetDesirability() const;
  [[nodiscard]] virtual double GetWeight() const;
  virtual void SetWeight(double weight);
  // The objective of the desirability options.
  [[nodiscard]] virtual Desirability::OptimizeType GetCriterion() const;
  [[nodiscard]] virtual Desirability::DesirabilityType GetDesirabilityType() const;
  // Replaces the objective only; type and exponents stay.
  virtual void SetCriterion(Desirability::OptimizeType objective);
  // Sets the shape; the exponents are reset to the shape's preset, except for custom (3) and
  // step (4), which keep the current exponents. The objective stays.
  virtual void SetDesirabilityType(Desirability::DesirabilityType type);
  // The derived limits of the definition; kUndefined when neither stored nor derivable.
  [[nodiscard]] virtual double GetMinLimit() const;
  [[nodiscard]] virtual bool GetAutoMinLimit() const;
  [[nodiscard]] virtual double GetPredictedMinLimit() const;
  [[nodiscard]] virtual double GetMaxLimit() const;
  [[nodiscard]] virtual bool GetAutoMaxLimit() const;
  [[nodiscard]] virtual double GetPredictedMaxLimit() const;
  [[nodiscard]] virtual double GetTargetLimit() const;
  [[nodiscard]] virtual bool GetAutoTargetLimit() const;
  // Store the limit (kUndefined clears it).
  virtual void SetMinLimit(double value);
  virtual void SetPredictedMinLimit(double value);
  virtual void SetMaxLimit(double value);
  virtual void SetPredictedMaxLimit(double value);
  virtual void SetTargetLimit(double value);
  // Writes the text dump: name, abbreviation and unit ("--" when empty); for a derived
  // response the formula and, when any slot has values, "Numerical Settings for Qualitative
  // Settings:" with one "Qualitative Factor #<slot + 1>: v1, v2, ..." line per non-empty
  // slot; then condition, objective, the derived minimum, target and maximum (formatted by
  // the response's precision, "--" when undefined) and the four power lines (stored noise
  // level and signal, "--" when undefined; significance and power with their defaults).
  virtual void Show(StreamWindow& out) const;

  // --- Type, definition, formula. ---------------------------------------------------------

  [[nodiscard]] EResponseType GetType() const { return type_; }
  void SetType(EResponseType type) { type_ = type; }

  // The definition, owned or not; never null.
  [[nodiscard]] ResponseClass* GetResponseClass() { return definition_; }
  [[nodiscard]] const ResponseClass* GetResponseClass() const { return definition_; }
  // True while the response owns its definition: until it is released, and again once
  // SetResponseClass has given it one.
  [[nodiscard]] bool OwnsResponseClass() const { return owned_ != nullptr; }
  // Releases the definition and returns it; never null. The first call, while the response
  // owns its definition, hands ownership to the caller, who must take it into a
  // std::unique_ptr at once (to pass it to Variables::Add, say). Every later call returns
  // the same pointer without ownership, which the caller must not delete; ask
  // OwnsResponseClass() first when it is not known which call this is. Either way the
  // response keeps pointing at the definition and using it (see Ownership).
  [[nodiscard]] ResponseClass* GetAndReleaseResponseClass();
  // Makes `definition` the response's own definition, destroying a previously owned one.
  // False, with nothing changed, for a null pointer or a factor (IsA() not 0).
  bool SetResponseClass(std::unique_ptr<ResponseClass> definition);

  [[nodiscard]] const std::string& GetFormula() const { return formula_; }
  void SetFormula(std::string formula) { formula_ = std::move(formula); }

  // --- Transform (by type). ----------------------------------------------------------------

  // Sets the definition's transform, for a regular response only; false (nothing changed)
  // for every other type.
  bool SetTransform(TraData::ETraType type, double c1, double c2, double c3);
  // The transform type of a regular response; kNone for every other type.
  [[nodiscard]] TraData::ETraType GetTransform() const;
  // True only for a regular response whose definition has a transform.
  [[nodiscard]] bool IsTransformed() const;
  // The constants of a regular response; all three kUndefined for every other type.
  void GetTransConst(double& c1, double& c2, double& c3) const;
  // `x` carried onto the transformed scale when the response is regular or linked and has a
  // transform; `x` itself otherwise. kUndefined for a value outside the transform's domain.
  [[nodiscard]] double GetTransform(double x) const;
  // `y` carried back onto the original scale when the response is regular and has a
  // transform; `y` itself otherwise (a linked response transforms but never back-transforms).
  [[nodiscard]] double GetBackTransform(double y) const;

  // --- Response range. ----------------------------------------------------------------------

  // Twice the power standard deviation (the estimated noise level), kUndefined when unset.
  // The range and the noise level are one stored value.
  [[nodiscard]] double GetResponseRange() const;
  // Stores range / 2 as the power standard deviation; kUndefined clears it.
  void SetResponseRange(double range);

  // --- Qualitative setting values. ----------------------------------------------------------

  // The values of qualitative-factor slot `index` (0..48); null for any other index.
  [[nodiscard]] const std::vector<float>* GetQualitativeSettingValues(unsigned index) const;
  // Replaces the values of slot `index`; false (nothing changed) outside 0..48.
  bool SetQualitativeSettingValues(unsigned index, std::vector<float> values);

  // --- Formula references. --------------------------------------------------------------------
  // A reference is "v(" followed by a decimal number read as atoi reads it (leading blanks
  // and one sign allowed, then digits). A "v(" without digits, or with a number beyond the
  // int range, is no reference. Only a lower-case "v" counts.

  // True when the response is derived and its formula refers to `index`.
  [[nodiscard]] bool IsItIncludedInFormula(int index) const;
  // The numbers of every reference of the formula, in order of appearance (repeats kept).
  // Scans the formula whatever the type.
  [[nodiscard]] std::vector<int> GetVariablesInFormula() const;
  // Renumbers the formula's references after a factor was inserted (`added`) or deleted at
  // `index`: numbers below `index` stay; the others move up one on insertion and down one on
  // deletion. A reference to the deleted factor itself becomes "v(0)", which names no
  // variable, so that the broken formula shows rather than silently naming the next
  // variable. References that do not change keep their text byte for byte. Applies to the
  // formula whatever the type, so a formula kept through a change of type stays right.
  void UpdateDerivedAfterNewOrDelFactor(int index, bool added);

  // --- Limit tests. -----------------------------------------------------------------------------

  // True when `value` lies within the derived minimum and maximum (an undefined limit does
  // not bound). Always true for an "Observed" response; false for a kUndefined value. For a
  // regular response with a transform and `transformed` false, the value is first carried
  // onto the transformed scale, the scale of the limits; a value outside the transform's
  // domain is then not within the limits.
  [[nodiscard]] bool WithinAllLimits(double value, bool transformed) const;
  // True for every response that is not "Required"; otherwise WithinAllLimits.
  [[nodiscard]] bool WithinMustLimits(double value, bool transformed) const;

  // --- Stored forms.
  // ------------------------------------------------------------------------------

  // Writes the definition (ResponseClass::Save) and "Type", "Formula" and
  // "QualitativeSettings" into `section`. The last holds the non-empty slots as
  // "slot:v1,v2;slot:v1" (slot 0..48, values in their shortest exact form); empty when none.
  void Save(ConfigurationSection& section) const;
  // Reads what Save wrote; absent keys leave their fields unchanged, an unknown type text
  // gives kNotDefined, and a "QualitativeSettings" text that does not parse whole leaves the
  // setting values unchanged. Always true. Throws what ResponseClass::Load throws, and then
  // nothing is changed.
  bool Load(const ConfigurationSection& section);

  // The JSON exchange form: "name", "abbreviation", "unit", "type" ("derived" with
  // "formula", or "regular" for every other type) and, when not derived, "power",
  // "transform", "scaling" {"type", "autoScaleModifier"} and "optimizationSettings"
  // {"condition", "objective" {"type", "min", "target", "max"}, "desirability" {"type"},
  // "weight"}. The limits written are the stored ones (kUndefined when not set), so that a
  // derived default stays derived after a round trip. A name or abbreviation that ends in
  // "~" is written with one "~" more, as the reader drops one (ResponseClass::ForSetter).
  [[nodiscard]] json_value ToJson() const;
  // Reads the JSON form. False, with nothing changed, when `json` has no string "name".
  // Members that are absent or malformed (wrong kind, a transform the transform reader
  // refuses) are skipped and leave their fields unchanged. "type" "derived" makes the
  // response derived and reads "formula"; "regular" makes it regular, except that a linked
  // response stays linked (the form writes both kinds as "regular").
  bool Load(const json_value& json);

 private:
  using SettingValues = std::array<std::vector<float>, kQualitativeSlots>;

  EResponseType type_ = kRegular;
  std::unique_ptr<ResponseClass> owned_;
  ResponseClass* definition_ = nullptr;  // owned_.get() until released; never null
  std::string formula_;
  SettingValues setting_values_;
};

}  // namespace zubra
