#include "zubra/platform/design/d_optimal_options.h"

#include <utility>
#include <vector>

#include "zubra/platform/util/configuration_section.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

bool SameInclusions(const NCDataMatrix<float>& a, const NCDataMatrix<float>& b) {
  if (a.GetRows() != b.GetRows() || a.GetCols() != b.GetCols()) return false;
  for (int r = 0; r < a.GetRows(); ++r) {
    for (int c = 0; c < a.GetCols(); ++c) {
      if (a(r, c) != b(r, c)) return false;
    }
  }
  return true;
}

}  // namespace

DOptimalOptions::DOptimalOptions(const DOptimalOptions& other)
    : DesignSpecificOptions(other),
      model_(other.model_),
      constraints_(other.constraints_ ? std::make_unique<NCDOE::Constraints>(*other.constraints_)
                                      : nullptr),
      inclusions_(other.inclusions_),
      progress_(other.progress_),
      candidate_levels_(other.candidate_levels_),
      whole_plots_(other.whole_plots_),
      variance_ratio_(other.variance_ratio_) {}

DOptimalOptions& DOptimalOptions::operator=(const DOptimalOptions& other) {
  if (this != &other) {
    DOptimalOptions copy(other);
    model_ = std::move(copy.model_);
    constraints_ = std::move(copy.constraints_);
    inclusions_ = std::move(copy.inclusions_);
    progress_ = std::move(copy.progress_);
    candidate_levels_ = copy.candidate_levels_;
    whole_plots_ = copy.whole_plots_;
    variance_ratio_ = copy.variance_ratio_;
  }
  return *this;
}

bool DOptimalOptions::SetCandidateLevels(int n) {
  if (n < 2 || n > kMaxCandidateLevels) return false;
  candidate_levels_ = n;
  return true;
}

bool DOptimalOptions::SetWholePlots(int n) {
  if (n < 0 || n > kMaxWholePlots) return false;
  whole_plots_ = n;
  return true;
}

bool DOptimalOptions::SetVarianceRatio(double ratio) {
  if (!(ratio >= 0.0 && ratio <= kMaxRatio)) return false;
  variance_ratio_ = ratio;
  return true;
}

std::unique_ptr<DesignSpecificOptions> DOptimalOptions::Clone() const {
  return std::make_unique<DOptimalOptions>(*this);
}

void DOptimalOptions::Save(ConfigurationSection& section) const {
  section.WriteInt("CandidateLevels", candidate_levels_);
  if (whole_plots_ != 0) {
    section.WriteInt("WholePlots", whole_plots_);
  } else {
    section.RemoveKey("WholePlots");
  }
  if (variance_ratio_ != 1.0) {
    section.WriteDouble("VarianceRatio", variance_ratio_);
  } else {
    section.RemoveKey("VarianceRatio");
  }
  section.RemoveChild("Model");
  ConfigurationSection& model = section.CreateChild("Model");
  int index = 0;
  for (const DesignModel::Term& term : model_.GetTerms()) {
    model.CreateChild("Term", ++index).WriteString("Factors", JoinInts(term));
  }
}

void DOptimalOptions::Load(const ConfigurationSection& section) {
  int levels = candidate_levels_;
  if (section.ReadInt("CandidateLevels", levels) && (levels < 2 || levels > kMaxCandidateLevels)) {
    throw Exception(ExceptionMessage::translate("The number of candidate levels {} is not "
                                                "valid.") %
                    levels);
  }
  int plots = whole_plots_;
  if (section.ReadInt("WholePlots", plots) && (plots < 0 || plots > kMaxWholePlots)) {
    throw Exception(ExceptionMessage::translate("The number of whole plots {} is not valid.") %
                    plots);
  }
  double ratio = variance_ratio_;
  if (section.ReadDouble("VarianceRatio", ratio) && !(ratio >= 0.0 && ratio <= kMaxRatio)) {
    throw Exception(ExceptionMessage::translate("The variance ratio {} is not valid.") % ratio);
  }
  DesignModel model = model_;
  if (const ConfigurationSection* stored = section.OpenChild("Model")) {
    std::vector<DesignModel::Term> terms;
    for (const int i : stored->GetChildIndexes("Term")) {
      const ConfigurationSection* term = stored->OpenChild("Term", i);
      if (term == nullptr) continue;
      const std::vector<int> factors = ParseInts(term->GetString("Factors"), "Factors");
      for (int index : factors) {
        if (index < 0) {
          throw Exception(ExceptionMessage::translate("The model term '{}' names no factor.") %
                          term->GetString("Factors"));
        }
      }
      terms.push_back(factors);
    }
    model = DesignModel(std::move(terms));
  }
  candidate_levels_ = levels;
  whole_plots_ = plots;
  variance_ratio_ = ratio;
  model_ = std::move(model);
}

bool DOptimalOptions::Equals(const DesignSpecificOptions& other) const {
  const auto* same = dynamic_cast<const DOptimalOptions*>(&other);
  if (same == nullptr || same->candidate_levels_ != candidate_levels_ ||
      same->whole_plots_ != whole_plots_ || same->variance_ratio_ != variance_ratio_ ||
      !(same->model_ == model_) || !SameInclusions(same->inclusions_, inclusions_)) {
    return false;
  }
  if ((same->constraints_ == nullptr) != (constraints_ == nullptr)) return false;
  return constraints_ == nullptr || *same->constraints_ == *constraints_;
}

}  // namespace zubra
