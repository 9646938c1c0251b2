// The design types of the design engine, with their text forms.
#pragma once

#include <string>
#include <string_view>

#include "zubra/platform/base/enum_table.h"

namespace zubra {

// The family of a design. The codes are stored in files and tested by value; a family may
// have several members told apart by their design name (the three central composite forms
// share kCentralComposite).
class EDesign {
 public:
  enum Type : int {
    kNone = 0,
    kFullFactorial = 1,         // two-level full factorial
    kGeneralFullFactorial = 2,  // every combination of the factors' levels or settings
    kRechtschaffner = 3,        // saturated three-level design for the quadratic model
    kRechtschaffnerResV = 4,    // saturated two-level design for the interaction model
    kFracFactResIII = 8,        // two-level fractional factorials of resolution III, IV, V
    kFracFactResIV = 9,
    kFracFactResV = 10,
    kPlackettBurman = 11,
    kCentralComposite = 13,  // circumscribed, face-centred or inscribed, by name
    kBoxBehnken = 14,
    kSimplexLattice = 20,  // mixture designs
    kSimplexCentroid = 21,
    kAxial = 22,
    kExtremeVertices = 23,
    kDOptimal = 26,
    kOnion = 27,  // layered designs
    kStability = 30,
    kStabilityFactorial = 31,  // stability over a factorial in the process factors
    kProcessMixture = 33,      // process and mixture factors together
    kIOptimal = 37,
    kAOptimal = 38,
    kREDMUP = 40,               // plate designs
    kDefinitiveScreening = 45,  // three-level screening designs from conference matrices
  };

  // Returns the text of `type` ("FullFactorial", ...); "" for an unlisted code.
  static std::string GetString(Type type) { return std::string(kTexts.ValueOf(type, "")); }

  // Returns the design type whose text equals `text` in any ASCII case; kNone for any other.
  static Type GetType(std::string_view text) { return kTexts.CodeOf(text, kNone); }

  // True for the designs of stability studies, which are generated on their own path.
  static bool IsStabilityDesign(Type type) {
    return type == kStability || type == kStabilityFactorial;
  }

  static constexpr auto kTexts = MakeEnumTable<Type>({
      {kNone, "None"},
      {kFullFactorial, "FullFactorial"},
      {kGeneralFullFactorial, "GeneralFullFactorial"},
      {kRechtschaffner, "Rechtschaffner"},
      {kRechtschaffnerResV, "RechtschaffnerResV"},
      {kFracFactResIII, "FracFactResIII"},
      {kFracFactResIV, "FracFactResIV"},
      {kFracFactResV, "FracFactResV"},
      {kPlackettBurman, "PlackettBurman"},
      {kCentralComposite, "CentralComposite"},
      {kBoxBehnken, "BoxBehnken"},
      {kSimplexLattice, "SimplexLattice"},
      {kSimplexCentroid, "SimplexCentroid"},
      {kAxial, "Axial"},
      {kExtremeVertices, "ExtremeVertices"},
      {kDOptimal, "DOptimal"},
      {kOnion, "Onion"},
      {kStability, "Stability"},
      {kStabilityFactorial, "StabilityFactorial"},
      {kProcessMixture, "ProcessMixture"},
      {kIOptimal, "IOptimal"},
      {kAOptimal, "AOptimal"},
      {kREDMUP, "REDMUP"},
      {kDefinitiveScreening, "DefinitiveScreening"},
  });
};
static_assert(EDesign::kTexts.IsOneToOne());

}  // namespace zubra
