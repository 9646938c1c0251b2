// The model of one response as the worksheet sees it: its terms, fit method and the
// experiments left out of its fit.
#pragma once

#include <array>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zubra/platform/base/c_fit_method.h"
#include "zubra/platform/base/ce_var.h"

namespace zubra {

class Variables;

// The model fitted to one response: the response's name, its model terms, the regression
// method, and the experiment numbers the user left out of this model (while keeping them in
// the worksheet).
//
// Terms are triples of 1-based factor numbers (numbers within the variable set's factor
// block), 0 for an empty slot: {2, 0, 0} is the main effect of factor 2, {1, 2, 0} the
// interaction of factors 1 and 2, {1, 1, 0} the square of factor 1. The constant term is not
// listed.
//
// The model reads the variable set it was given (not owned; it must outlive the model) to tell
// factor cells from response cells when the worksheet checks an experiment for missing values.
//
// Factors of the class given to SetExcludedFactorClass (none by default) never make an
// experiment incomplete for this model even when they are in a term: a run whose value of
// such a factor is missing is still fitted. This lets, for instance, mixture amounts that
// follow from the other components be left blank.
//
//   ResponseModel model("Yield");
//   model.AddTerm({1, 0, 0});
//   model.AddTerm({1, 2, 0});
//   model.SetExcluded(4, true);   // experiment 4 is left out of this model
class ResponseModel {
 public:
  using Term = std::array<int, 3>;

  ResponseModel() = default;
  explicit ResponseModel(std::string response_name, const Variables* variables = nullptr)
      : response_name_(std::move(response_name)), variables_(variables) {}

  // The variable set the worksheet cells refer to; null when none was given.
  [[nodiscard]] const Variables* GetVariables() const { return variables_; }
  void SetVariables(const Variables* variables) { variables_ = variables; }

  [[nodiscard]] const std::string& GetResponseName() const { return response_name_; }
  void SetResponseName(std::string name) { response_name_ = std::move(name); }

  [[nodiscard]] CFitMethod::FitMethod GetFitMethod() const { return fit_method_; }
  void SetFitMethod(CFitMethod::FitMethod method) { fit_method_ = method; }

  // --- Terms.
  [[nodiscard]] const std::vector<Term>& GetTerms() const { return terms_; }
  // Appends `term` with its slots sorted ascending (zeros last). Refuses (false, nothing
  // changed) a term with a negative number, an all-zero term and one already present.
  bool AddTerm(Term term);
  // Removes the term (slots in any order); false when absent.
  bool RemoveTerm(Term term);
  void ClearTerms() { terms_.clear(); }
  // True when a term names the factor numbered `factor_number` (1-based); false for 0 and
  // negative numbers.
  [[nodiscard]] bool IsInModel(int factor_number) const;

  // --- Experiments left out.
  // True when the experiment numbered `exp_no` is left out of this model.
  [[nodiscard]] bool IsExcluded(int exp_no) const { return excluded_.contains(exp_no); }
  void SetExcluded(int exp_no, bool excluded);
  [[nodiscard]] const std::set<int>& GetExcludedExperiments() const { return excluded_; }
  void ClearExcluded() { excluded_.clear(); }

  // --- Factor class whose missing values are tolerated (see the class comment).
  // kResponse (the default) means none: responses are never factors of a term.
  [[nodiscard]] CEVar::EVar GetExcludedFactorClass() const { return excluded_class_; }
  void SetExcludedFactorClass(CEVar::EVar kind) { excluded_class_ = kind; }

 private:
  static Term Normalized(Term term);

  std::string response_name_;
  const Variables* variables_ = nullptr;
  CFitMethod::FitMethod fit_method_ = CFitMethod::kMLR;
  std::vector<Term> terms_;
  std::set<int> excluded_;
  CEVar::EVar excluded_class_ = CEVar::kResponse;
};

}  // namespace zubra
