// The factor extract for design generation: the factors of an investigation as the design
// engine sees them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "zubra/platform/design/design_model.h"
#include "zubra/platform/design/factors.h"

namespace zubra {

class FactorClass;
class StreamWindow;
class TermInfo;
class Variables;

// The factors that take part in design generation, in the variable set's factor order,
// converted into the engine's Factors. A factor takes part when it is not a design-set factor
// and the engine accepts its definition; the others have no design index. Ranges are given in
// the units the user typed (untransformed). Mixture factors carry the set's mixture total.
//
// The extract is a snapshot: it is rebuilt with Update when factors change. Factors are
// recognised by their unique ID, so renaming a factor does not lose its design index.
//
//   DesignFactors extract(variables);
//   const int column = extract.GetDesignIndex(variables.GetFactor("Temp"));  // 0-based or -1
class DesignFactors {
 public:
  DesignFactors() = default;
  explicit DesignFactors(const Variables& variables);

  // Rebuilds the extract from the variable set.
  void Update(const Variables& variables);

  // Restricts the extract to the factors with these unique IDs (the factors used by a plate
  // design); an empty list lifts the restriction. Takes effect at the next Update.
  void SetREDMUPUsedFactors(const std::vector<unsigned long long>& unique_ids);

  // The engine's view of the factors.
  [[nodiscard]] const Factors& GetFactors() const { return factors_; }
  [[nodiscard]] int GetCount() const { return factors_.GetCount(); }

  // The 0-based column of `factor` in designs generated for this extract; -1 for a factor that
  // takes no part (design-set factors, factors the engine refused, factors of another set).
  [[nodiscard]] int GetDesignIndex(const FactorClass* factor) const;

  // The factor number (1-based, in the variable set's factor order, as model terms name
  // factors) of the factor at design index `index`; 0 outside 0..GetCount()-1.
  [[nodiscard]] int GetFactorNumber(int index) const;
  // The design index of the factor numbered `number`; -1 when it takes no part.
  [[nodiscard]] int GetDesignIndexOfNumber(int number) const;

  // The term list `terms` (factor numbers) as the engine's model over this extract: each term
  // becomes the list of its factors' design indexes, the constant the empty term. A term that
  // names a factor the designs do not vary (a constant or uncontrolled factor, a design-set
  // factor, a number that is no factor) is left out, since no design can estimate it. The
  // caller owns the result.
  [[nodiscard]] std::unique_ptr<DesignModel> ToNCDOEModel(const TermInfo& terms) const;

  // Why factors were left out: one message per factor the engine refused.
  [[nodiscard]] const std::vector<std::string>& GetProblems() const { return problems_; }

  // Writes one line per factor: name, kind, use and range or settings.
  void Show(StreamWindow& out) const;

 private:
  Factors factors_;
  std::vector<std::uint32_t> unique_ids_;  // of the factors in factors_, in order
  std::vector<int> numbers_;               // their factor numbers, in order
  std::vector<unsigned long long> redmup_ids_;
  std::vector<std::string> problems_;
};

}  // namespace zubra
