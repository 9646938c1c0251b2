// Factors: the design space as the design engine sees it.
#pragma once

#include <string>
#include <vector>

#include "zubra/platform/base/ce_type.h"
#include "zubra/platform/base/ce_use.h"

namespace zubra {

// The factors a design is built for, in design order (index 0 is the first design column).
//
// Each factor has a kind (CEType), a use (CEUse) and the values the engine may give it:
//   - quantitative and time factors: a range low < high, in the factor's own (uncoded) units;
//     a general full factorial spreads `num_levels` equally spaced levels over it;
//   - multilevel factors: `levels`, at least two distinct numbers, kept ascending; low and
//     high are the extreme levels;
//   - qualitative factors: `settings`, at least two distinct names; a design holds the
//     1-based number of the setting;
//   - formulation and filler (mixture) factors: a range 0 <= low < high and the mixture total
//     that every mixture of the design sums to (the same for all mixture factors).
// A varied process factor may be hard to change: the D-optimal design then keeps its value
// constant within whole plots of runs (a split-plot design); other designs ignore the flag.
// Controlled factors (and those whose use is not set) are varied by the designs. Constant and
// uncontrolled factors keep a column in every design but are not varied: a constant factor
// stands at the middle of its range (low == high is allowed for it), an uncontrolled one is
// undefined (-99) in the uncoded matrix; both are 0 in the coded matrix.
//
//   Factors factors;
//   factors.Add(Factors::Factor::Quantitative("Temperature", 20.0, 80.0), nullptr);
//   factors.Add(Factors::Factor::Qualitative("Catalyst", {"A", "B", "C"}), nullptr);
class Factors {
 public:
  struct Factor {
    std::string name;
    CEType::EType type = CEType::kQuantitative;
    CEUse::EUse use = CEUse::kControlled;
    double low = -1.0;
    double high = 1.0;
    std::vector<double> levels;         // multilevel and time factors
    std::vector<std::string> settings;  // qualitative factors
    int num_levels = 0;                 // quantitative: levels of a general factorial; 0 = by model
    double mixture_total = 1.0;         // mixture factors
    bool hard_to_change = false;        // kept constant within whole plots (D-optimal)

    static Factor Quantitative(std::string name, double low, double high);
    static Factor Multilevel(std::string name, std::vector<double> levels);
    static Factor Qualitative(std::string name, std::vector<std::string> settings);
    static Factor Formulation(std::string name, double low, double high, double total = 1.0);
    static Factor Filler(std::string name, double low, double high, double total = 1.0);

    [[nodiscard]] bool IsMixture() const {
      return type == CEType::kFormulation || type == CEType::kFiller;
    }
    [[nodiscard]] bool IsQualitative() const { return type == CEType::kQualitative; }
    // True for the factors whose values the designs set (controlled, or use not set).
    [[nodiscard]] bool IsVaried() const {
      return use == CEUse::kControlled || use == CEUse::kNotSet;
    }
    // Number of distinct values a design may give the factor: the settings of a qualitative
    // factor, the levels of a multilevel or time factor with levels; 0 for a continuous one.
    [[nodiscard]] int GetDiscreteLevels() const;
  };

  // Checks `factor` against the rules above and the factors already held, and appends it.
  // On refusal returns false, fills `message` when given and changes nothing. Multilevel
  // levels are sorted ascending on the way in.
  bool Add(Factor factor, std::string* message);
  void Clear() { factors_.clear(); }

  [[nodiscard]] int GetCount() const { return static_cast<int>(factors_.size()); }
  // The factor at design index `index` (0-based, asserted in range).
  [[nodiscard]] const Factor& GetFactor(int index) const;
  [[nodiscard]] const std::vector<Factor>& GetAll() const { return factors_; }
  // The design index of the factor called `name` (exact match), or -1.
  [[nodiscard]] int GetIndex(const std::string& name) const;

  // True when at least one factor is a mixture factor.
  [[nodiscard]] bool IsMixture() const { return GetMixtureCount() > 0; }
  // True when there are factors and all of them are mixture factors.
  [[nodiscard]] bool IsMixtureOnly() const { return !factors_.empty() && GetProcessCount() == 0; }
  // True when there are both process and mixture factors.
  [[nodiscard]] bool IsProcessAndMixture() const {
    return GetProcessCount() > 0 && GetMixtureCount() > 0;
  }
  [[nodiscard]] int GetProcessCount() const;
  [[nodiscard]] int GetMixtureCount() const;
  [[nodiscard]] int GetQualitativeCount() const;
  [[nodiscard]] bool HasFiller() const;
  // The number of model columns the main effects take: settings - 1 for a qualitative factor,
  // 1 for any other.
  [[nodiscard]] int GetExpandedCount() const;
  // The total of the mixture factors; 0 when there are none.
  [[nodiscard]] double GetMixtureTotal() const;
  // The design indexes of the varied factors, ascending.
  [[nodiscard]] std::vector<int> GetVaried() const;
  // True when a varied factor is hard to change.
  [[nodiscard]] bool HasHardToChange() const;

 private:
  std::vector<Factor> factors_;
};

}  // namespace zubra
