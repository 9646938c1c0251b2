// The transform of a variable: which re-expression applies before modelling, its display
// text and parser, and its stored forms.
#pragma once

#include <string>

#include "zubra/platform/base/undefined.h"
#include "zubra/platform/matrix/tra_data.h"
#include "zubra/platform/util/json.h"

namespace zubra {

class ConfigurationSection;

// A transform type and three constants. c3 is the exponent of the power transform and is
// used by no other type. -99 marks a constant that is not set; the unset record is
// {none, -99, -99, -99}. A plain copyable value.
//
// Display texts (x the variable's letter): linear c1*x+c2, log 10Log(c1*x+c2), negative log
// -10Log(c1-c2*x), logit 10Log((x-c1)/(c2-x)), exponential Exp(c1*x+c2), power
// (c1*x+c2)^c3). The trailing parenthesis of the power form is part of the text.
class Transform {
 public:
  // Texts longer than this are refused by GetTransform(text) before any pattern runs: no
  // display text comes near it, and the pattern engine must never see unbounded input.
  static constexpr std::size_t kMaxTextLength = 256;

  Transform() = default;
  Transform(TraData::ETraType type, double c1, double c2, double c3)
      : type_(type), c1_(c1), c2_(c2), c3_(c3) {}
  // Reads the configuration form: the child named `name` of an INI section, the child
  // "Tran" of any other section. A missing child gives the unset record; a missing or
  // garbled constant in "TransConst" takes its default (c1 = 0, c2 = 0, c3 = 1).
  Transform(const std::string& name, const ConfigurationSection& section);

  void SetTransform(TraData::ETraType type, double c1, double c2, double c3);
  [[nodiscard]] TraData::ETraType GetTransform() const { return type_; }
  [[nodiscard]] double GetC1() const { return c1_; }
  [[nodiscard]] double GetC2() const { return c2_; }
  [[nodiscard]] double GetC3() const { return c3_; }
  void GetConst(double& c1, double& c2, double& c3) const;
  [[nodiscard]] bool IsTransformed() const { return type_ != TraData::kNone; }

  // The forward value of x; x itself for no transform. -99 when x is outside the domain.
  [[nodiscard]] double GetTransform(double x) const;
  // The back value of y; y itself for no transform. -99 when y is outside the range.
  [[nodiscard]] double GetBackTransform(double y) const;

  // Equal types, c1 and c2, and c3 as well for the power type; exact comparisons.
  bool operator==(const Transform& other) const;

  // The display text with `variable` as the letter; empty for no transform.
  [[nodiscard]] std::string GetTransformString(char variable) const;

  // Parses a display text (any letter case, decimal point or comma) back into a record.
  // A text without transform or number gives the unset record; a number that does not
  // convert gives the unset record too. Throws Exception "Incorrect transform format." when
  // the text names a transform whose constants cannot be read, or is longer than
  // kMaxTextLength.
  static Transform GetTransform(const std::string& text);

  // Writes "Transform" (the type's name) and, for a transform, "TransConst" ("c1,c2,c3")
  // into the child chosen as by the reading constructor. Returns 0.
  int WriteToFile(const std::string& name, ConfigurationSection& section) const;

  // JSON form: {"type": name with a lower-case first letter, "constants": {"c1", "c2"[, "c3"]}}.
  // A non-object gives the unset record. Throws Exception with the system's message for a
  // missing "type", a missing or non-numeric constant, or a power exponent outside [-2, 2].
  static Transform FromJson(const json_value& value);
  [[nodiscard]] json_value ToJson() const;

 private:
  TraData::ETraType type_ = TraData::kNone;
  double c1_ = kUndefined;
  double c2_ = kUndefined;
  double c3_ = kUndefined;
};

}  // namespace zubra
