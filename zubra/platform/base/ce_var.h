// The classes of variable (response, process factor, mixture factor) and their texts.
#pragma once

#include <string>
#include <string_view>

#include "zubra/platform/base/enum_table.h"

namespace zubra {

// The class of a variable, the answer of its IsA(): it fixes the block of the variable set in
// which the variable lives (process factors, then mixture factors, then responses). A small
// value type that converts to and from its plain enum, so that `CEVar` can be used as a
// parameter type while comparisons and switches see the code:
//
//   CEVar kind = variable.IsA();
//   if (kind == CEVar::kMixtureFactor) ...
//
// Code 1 is not used.
class CEVar {
 public:
  enum EVar : int {
    kResponse = 0,
    kProcessFactor = 2,  // quantitative, multilevel, qualitative and time factors
    kMixtureFactor = 3,  // formulation and filler factors
  };

  constexpr CEVar(EVar value) : value_(value) {}      // NOLINT(google-explicit-constructor)
  constexpr operator EVar() const { return value_; }  // NOLINT(google-explicit-constructor)

  // Returns the text of `var` ("Response", "ProcessFactor", "MixtureFactor"); "" for an
  // unused code.
  static std::string GetString(EVar var) { return std::string(kTexts.ValueOf(var, "")); }

  // Returns the class whose text equals `text` in any ASCII case. Any other text gives code
  // 0, which is kResponse: callers that must tell an unknown text from "Response" compare
  // the text first.
  static EVar GetEnum(std::string_view text) { return kTexts.CodeOf(text, kResponse); }

  static constexpr auto kTexts = MakeEnumTable<EVar>({
      {kResponse, "Response"},
      {kProcessFactor, "ProcessFactor"},
      {kMixtureFactor, "MixtureFactor"},
  });

 private:
  EVar value_;
};
static_assert(CEVar::kTexts.IsOneToOne());

}  // namespace zubra
