// The worksheet's view of one response's model.
#include "zubra/responses/response_model.h"

#include <algorithm>

namespace zubra {

ResponseModel::Term ResponseModel::Normalized(Term term) {
  // Ascending with the empty slots (0) last.
  std::sort(term.begin(), term.end(), [](int a, int b) {
    if (a == 0 || b == 0) return b == 0 && a != 0;
    return a < b;
  });
  return term;
}

bool ResponseModel::AddTerm(Term term) {
  if (std::any_of(term.begin(), term.end(), [](int n) { return n < 0; })) return false;
  if (std::all_of(term.begin(), term.end(), [](int n) { return n == 0; })) return false;
  term = Normalized(term);
  if (std::find(terms_.begin(), terms_.end(), term) != terms_.end()) return false;
  terms_.push_back(term);
  return true;
}

bool ResponseModel::RemoveTerm(Term term) {
  const auto found = std::find(terms_.begin(), terms_.end(), Normalized(term));
  if (found == terms_.end()) return false;
  terms_.erase(found);
  return true;
}

bool ResponseModel::IsInModel(int factor_number) const {
  if (factor_number < 1) return false;
  return std::any_of(terms_.begin(), terms_.end(), [factor_number](const Term& term) {
    return std::find(term.begin(), term.end(), factor_number) != term.end();
  });
}

void ResponseModel::SetExcluded(int exp_no, bool excluded) {
  if (excluded) {
    excluded_.insert(exp_no);
  } else {
    excluded_.erase(exp_no);
  }
}

}  // namespace zubra
