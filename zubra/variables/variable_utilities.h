// Small helpers over variables: the trimming that every name check applies, the nearest setting
// of a qualitative factor, list colours, the non-design-set filter and display names.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "zubra/platform/base/c_model_list.h"
#include "zubra/platform/base/ce_type.h"
#include "zubra/responses/response_ex.h"

namespace zubra {

class FactorClass;
class FVector;
class ResponseClass;
class Variables;
class ZubraOptions;

namespace VariableUtilities {

// Turns every tab and line feed into a space, then removes leading and trailing white space,
// in place.
void Trim(std::string& text);
// Trim on a copy.
[[nodiscard]] std::string TrimCopy(std::string_view text);

// Returns the 1-based setting of the qualitative `factor` whose row of the coding matrix lies
// nearest to `point`, and sets `closeness` to how near it is (100 for a match, less the
// farther away).
//
// `point` holds model-coded values, element j for column j of the coding matrix. Candidates
// are the settings included in the current analysis when the investigation-access service
// names more than one of them, otherwise every setting; the columns compared are the factor's
// included model codings, or all columns when there are none. The distance of a setting is
// accumulated over those columns in single precision as D <- D + sqrt(D + d * d), d the coding
// element minus the point's value; the first smallest distance wins. The normaliser M is the
// same sum with d * d = 4 over every column, and closeness is 100 when the smallest D is below
// 0.01, otherwise the integer part of (1 - D / M) * 100 computed in single precision (it can
// be negative for a point far outside the coding range).
//
// Returns 0 and sets closeness 0 when `factor` or `point` is null, the coding matrix has no
// rows, or `point` has fewer elements than a compared column needs.
[[nodiscard]] int GetClosestQualSetting(const FactorClass* factor, FVector* point, int& closeness);

// List colours, 32-bit 0x00RRGGBB values taken from ListOptions::Instance().
// Multilevel, qualitative and time factors: the process-factor colour; formulation: the
// formulation colour; filler: the filler colour; every other kind: the default factor colour.
[[nodiscard]] std::uint32_t GetFactorBackgroundColor(CEType::EType type);
// A filler factor's values: the filler value colour; else by use: uncontrolled or constant
// value colour; anything else, a null factor included, the default value colour.
[[nodiscard]] std::uint32_t GetFactorValueBackgroundColor(const FactorClass* factor);
// A derived response (computed by its formula): the derived-response colour; every other type
// the default response colour.
[[nodiscard]] std::uint32_t GetResponseBackgroundColor(ResponseEx::EResponseType type);
// The values of a derived response are computed, not entered, and get the derived-response
// value colour; the values of every other type the default response value colour.
[[nodiscard]] std::uint32_t GetResponseValueBackgroundColor(ResponseEx::EResponseType type);

// Picks the factors that do not belong to the design set, for std::find_if, std::count_if and
// the like over factor or variable lists:
//
//   auto n = std::count_if(factors.begin(), factors.end(), NonDesignSetFactors());
//
// A factor gives true when its design-set-factor flag is false. A variable given as a
// ResponseClass pointer gives true only when it is in fact a factor with the flag false.
// Responses and null pointers give false.
class NonDesignSetFactors {
 public:
  bool operator()(const FactorClass* factor) const;
  bool operator()(const ResponseClass* variable) const;
};

// --- Display names.
//
// The display helpers accept the text by which lists and model terms refer to variables:
//   - a variable name (any ASCII case, with or without one trailing "~") or an abbreviation;
//   - either followed by "(setting)" for one setting of a qualitative factor: "C(B)";
//   - factor references joined by "*" for an interaction or square term: "T*P", "T*T".
// A text that is none of these (a block generator, the constant, an unknown name, a null set)
// comes back unchanged, so the helpers are safe to apply to every entry of a list.

// Returns true when `term` names a setting of a qualitative factor ("C(B)" or "Cat(B)") and
// that setting is the first one the current analysis includes: the reference level, whose
// coefficient is derived from the others rather than estimated, so lists can mark it.
// False for every other text.
[[nodiscard]] bool IsFirstUsedTerm(const Variables* variables, std::string_view term);

// Returns `text` as a list shows it under the given presentations: factors (every part of an
// interaction) follow `factors`, a lone response follows `responses`.
//   abbreviation (also the not-set code): "T", "C(B)", "T*P";
//   name: "Temp", "Cat(B)", "Temp*Pressure";
//   name and abbreviation: the name form, a space and the abbreviation form in parentheses,
//   "Temp*Pressure (T*P)".
// With `transformed`, each transformed variable carries the mark "~" after its name or
// abbreviation ("Temp~ (T~)"); without it the plain names are shown.
[[nodiscard]] std::string GetVariableNameToDisplay(const Variables* variables,
                                                   CModelList::FactorPresentation factors,
                                                   CModelList::ResponsePresentation responses,
                                                   std::string_view text, bool transformed);
// The same with the presentations of the investigation's options. A null `options` means the
// default presentation, abbreviations for factors and responses. Until the options class is
// complete the options only refine that choice through the overload above, so any pointer
// currently gives the default presentation.
[[nodiscard]] std::string GetVariableNameToDisplay(const Variables* variables,
                                                   const ZubraOptions* options,
                                                   std::string_view text, bool transformed);

// Returns the full, unabbreviated form of `text` for titles and tooltips: the names with the
// "~" of transformed variables, and for a lone variable with a unit the unit in parentheses,
// "Temp~ (°C)", "Cat(B)", "Temp*Pressure".
[[nodiscard]] std::string GetVariableFullName(const Variables* variables, std::string_view text);

}  // namespace VariableUtilities
}  // namespace zubra
