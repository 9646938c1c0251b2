#include "zubra/region/design_factors.h"

#include <algorithm>

#include "zubra/model/term_info.h"
#include "zubra/platform/matrix/stream_window.h"
#include "zubra/platform/util/kt_string.h"
#include "zubra/variables/factor_class.h"
#include "zubra/variables/variables.h"

namespace zubra {
namespace {

// The engine's form of one factor.
Factors::Factor ToEngine(const FactorClass& factor, double mixture_total) {
  const std::string& name = factor.GetName();
  Factors::Factor out;
  switch (factor.GetType()) {
    case CEType::kQualitative:
      out = Factors::Factor::Qualitative(name, factor.GetSettings());
      break;
    case CEType::kMultilevel:
    case CEType::kTime: {
      std::vector<double> levels;
      for (const std::string& setting : factor.GetSettings()) {
        levels.push_back(KtString::ToDouble(KtStdString::Trim(setting)).value_or(kUndefined));
      }
      out = Factors::Factor::Multilevel(name, std::move(levels));
      out.type = factor.GetType();
      break;
    }
    case CEType::kFormulation:
      out = Factors::Factor::Formulation(name, factor.GetLow(true), factor.GetHigh(true),
                                         mixture_total);
      break;
    case CEType::kFiller:
      out = Factors::Factor::Filler(
          name, std::max(0.0, factor.GetLow(true)),
          factor.GetHigh(true) == kUndefined ? mixture_total : factor.GetHigh(true), mixture_total);
      break;
    default:
      out = Factors::Factor::Quantitative(name, factor.GetLow(true), factor.GetHigh(true));
      break;
  }
  out.use = factor.GetUse();
  out.hard_to_change = factor.IsHardToChange();
  if (factor.IsConstant() && !factor.IsQualitative()) {
    out.low = out.high = factor.GetConst(true);
  }
  return out;
}

}  // namespace

DesignFactors::DesignFactors(const Variables& variables) { Update(variables); }

void DesignFactors::Update(const Variables& variables) {
  Factors factors;
  std::vector<std::uint32_t> ids;
  std::vector<int> numbers;
  std::vector<std::string> problems;
  for (const FactorClass* factor : variables.GetAllFactors()) {
    if (factor->IsDesignSetFactor()) continue;
    if (!redmup_ids_.empty() && std::find(redmup_ids_.begin(), redmup_ids_.end(),
                                          factor->GetUniqueID()) == redmup_ids_.end()) {
      continue;
    }
    std::string message;
    if (factors.Add(ToEngine(*factor, variables.GetMixtureTotal()), &message)) {
      ids.push_back(factor->GetUniqueID());
      numbers.push_back(factor->GetNumber());
    } else {
      problems.push_back(std::move(message));
    }
  }
  factors_ = std::move(factors);
  unique_ids_ = std::move(ids);
  numbers_ = std::move(numbers);
  problems_ = std::move(problems);
}

void DesignFactors::SetREDMUPUsedFactors(const std::vector<unsigned long long>& unique_ids) {
  redmup_ids_ = unique_ids;
}

int DesignFactors::GetDesignIndex(const FactorClass* factor) const {
  if (factor == nullptr) return -1;
  const auto it = std::find(unique_ids_.begin(), unique_ids_.end(), factor->GetUniqueID());
  if (it == unique_ids_.end()) return -1;
  // The unique ID may be shared by an unrelated factor of another set; the name confirms it.
  const int index = static_cast<int>(it - unique_ids_.begin());
  return factors_.GetFactor(index).name == factor->GetName() ? index : -1;
}

int DesignFactors::GetFactorNumber(int index) const {
  return index >= 0 && index < static_cast<int>(numbers_.size())
             ? numbers_[static_cast<std::size_t>(index)]
             : 0;
}

int DesignFactors::GetDesignIndexOfNumber(int number) const {
  if (number <= 0) return -1;
  const auto it = std::find(numbers_.begin(), numbers_.end(), number);
  return it == numbers_.end() ? -1 : static_cast<int>(it - numbers_.begin());
}

std::unique_ptr<DesignModel> DesignFactors::ToNCDOEModel(const TermInfo& terms) const {
  std::vector<DesignModel::Term> model;
  for (int i = 1; i <= terms.GetNItm(); ++i) {
    const TermData* held = terms.GetTerm(i);
    if (held == nullptr) continue;
    DesignModel::Term term;
    bool estimable = true;
    for (int number : held->GetFactors()) {
      if (number == 0) continue;
      const int index = GetDesignIndexOfNumber(number);
      estimable = estimable && index >= 0 && factors_.GetFactor(index).IsVaried();
      term.push_back(index);
    }
    if (estimable) model.push_back(std::move(term));
  }
  return std::make_unique<DesignModel>(std::move(model));
}

void DesignFactors::Show(StreamWindow& out) const {
  for (const Factors::Factor& factor : factors_.GetAll()) {
    out << factor.name << " : " << CEType::GetString(factor.type) << ", "
        << CEUse::GetString(factor.use);
    if (factor.IsQualitative()) {
      for (std::size_t i = 0; i < factor.settings.size(); ++i) {
        out << (i == 0 ? " (" : ", ") << factor.settings[i];
      }
      out << ")";
    } else if (!factor.levels.empty()) {
      for (std::size_t i = 0; i < factor.levels.size(); ++i) {
        out << (i == 0 ? " (" : ", ") << factor.levels[i];
      }
      out << ")";
    } else {
      out << " [" << factor.low << ", " << factor.high << "]";
    }
    if (factor.hard_to_change) out << ", hard to change";
    out << "\n";
  }
}

}  // namespace zubra
