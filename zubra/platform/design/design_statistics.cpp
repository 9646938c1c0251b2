#include "zubra/platform/design/design_statistics.h"

#include <Eigen/Cholesky>
#include <Eigen/Eigenvalues>
#include <Eigen/QR>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "zubra/platform/base/undefined.h"
#include "zubra/platform/design/candidate_set.h"
#include "zubra/platform/design/internal/approximate_design.h"
#include "zubra/platform/design/ncdoe_constraints.h"
#include "zubra/platform/util/configuration_section.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

// Relative size below which a pivot of X counts as zero.
constexpr double kRankThreshold = 1e-9;

// Runs that agree in every coded value to 1e-6 have the same key.
std::vector<long long> RunKey(const NCDataMatrix<float>& coded, int row) {
  std::vector<long long> key;
  key.reserve(static_cast<std::size_t>(coded.GetCols()));
  for (int c = 0; c < coded.GetCols(); ++c) {
    key.push_back(std::llround(static_cast<double>(coded(row, c)) * 1e6));
  }
  return key;
}

// The degrees of freedom of pure error: runs that agree in every coded value form a group.
int PureErrorDF(const NCDataMatrix<float>& coded) {
  std::map<std::vector<long long>, int> groups;
  for (int r = 0; r < coded.GetRows(); ++r) ++groups[RunKey(coded, r)];
  int df = 0;
  for (const auto& group : groups) df += group.second - 1;
  return df;
}

// True when the D-efficiency of a design over `factors` under `constraints` is measured
// against the optimum of its candidate runs: the design varies a mixture factor, or
// constraints cut its region.
bool NeedsCandidateReference(const Factors& factors, const NCDOE::Constraints* constraints) {
  if (constraints != nullptr && constraints->GetCount() > 0) return true;
  return std::any_of(factors.GetAll().begin(), factors.GetAll().end(),
                     [](const Factors::Factor& f) { return f.IsMixture() && f.IsVaried(); });
}

// (1/p) log det M* of the D-optimal weighting of the candidate runs of `factors` and the runs
// of `coded`, bounded from above; nothing when the candidates cannot be built, are too many,
// or cannot support the model.
std::optional<double> CandidateOptimum(const NCDataMatrix<float>& coded, const Factors& factors,
                                       const DesignModel& model,
                                       const NCDOE::Constraints* constraints) {
  const int columns = model.GetColumnCount(factors);
  const auto most_points =
      static_cast<std::size_t>(DesignStatistics::kMaxReferenceEntries / std::max(1, columns));
  std::optional<CandidateSet> candidates;
  try {
    candidates =
        CandidateSet::Make(factors, DesignStatistics::kReferenceLevels, constraints, most_points);
  } catch (const Exception&) {
    return std::nullopt;
  }
  // The design's own runs join the candidates, so that the design itself is one of the
  // weightings searched and never scores above 100.
  const NCDataMatrix<float>& points = candidates->GetCoded();
  std::set<std::vector<long long>> known;
  for (int r = 0; r < points.GetRows(); ++r) known.insert(RunKey(points, r));
  std::vector<int> extra;
  for (int r = 0; r < coded.GetRows(); ++r) {
    if (known.insert(RunKey(coded, r)).second) extra.push_back(r);
  }
  const Eigen::Index rows =
      static_cast<Eigen::Index>(points.GetRows()) + static_cast<Eigen::Index>(extra.size());
  if (static_cast<double>(rows) * columns > DesignStatistics::kMaxReferenceEntries) {
    return std::nullopt;
  }
  Eigen::MatrixXd f(rows, columns);
  f.topRows(points.GetRows()) = model.Expand(factors, points);
  if (!extra.empty()) {
    NCDataMatrix<float> own(static_cast<int>(extra.size()), coded.GetCols());
    for (std::size_t i = 0; i < extra.size(); ++i) {
      for (int c = 0; c < coded.GetCols(); ++c) own(static_cast<int>(i), c) = coded(extra[i], c);
    }
    f.bottomRows(static_cast<Eigen::Index>(extra.size())) = model.Expand(factors, own);
  }
  const std::optional<internal::ApproximateDOptimum> optimum =
      internal::ApproximateDOptimum::Find(f);
  if (!optimum ||
      optimum->log_det_bound - optimum->log_det_reached > DesignStatistics::kMaxReferenceGap) {
    return std::nullopt;
  }
  return optimum->log_det_bound;
}

}  // namespace

DesignStatistics::Results DesignStatistics::Compute(const NCDataMatrix<float>& coded,
                                                    const Factors& factors,
                                                    const DesignModel& model,
                                                    const NCDOE::Constraints* constraints) {
  Results results;
  const Eigen::MatrixXd x = model.Expand(factors, coded);
  const int n = static_cast<int>(x.rows());
  const int p = static_cast<int>(x.cols());
  results.runs_ = n;
  results.columns_ = p;
  std::vector<std::string> names = model.GetColumnNames(factors);
  std::vector<int> vif_columns;
  for (int j = 0; j < p; ++j) {
    if (names[static_cast<std::size_t>(j)] == "Constant") continue;
    vif_columns.push_back(j);
    results.names_.push_back(names[static_cast<std::size_t>(j)]);
  }
  results.vif_.assign(vif_columns.size(), kUndefined);
  results.pure_error_df_ = PureErrorDF(coded);

  int rank = 0;
  if (n > 0 && p > 0) {
    Eigen::ColPivHouseholderQR<Eigen::MatrixXd> qr(x);
    qr.setThreshold(kRankThreshold);
    rank = static_cast<int>(qr.rank());
  }
  results.residual_df_ = n - rank;
  results.singular_ = p == 0 || rank < p;
  if (results.singular_) return results;

  const Eigen::MatrixXd information = x.transpose() * x;
  const Eigen::LLT<Eigen::MatrixXd> llt(information);
  const Eigen::MatrixXd inverse = llt.solve(Eigen::MatrixXd::Identity(p, p));
  double log_det = 0.0;
  for (int j = 0; j < p; ++j) log_det += 2.0 * std::log(llt.matrixL()(j, j));
  results.log_det_ = log_det;
  results.d_efficiency_ = 100.0 * std::exp(log_det / p) / n;
  if (NeedsCandidateReference(factors, constraints)) {
    if (const std::optional<double> optimum =
            CandidateOptimum(coded, factors, model, constraints)) {
      // The design is one of the weightings searched; only rounding could take it above 100.
      const double per_run = log_det / p - std::log(static_cast<double>(n));
      results.d_efficiency_ = std::min(100.0, 100.0 * std::exp(per_run - *optimum));
      results.reference_ = Reference::kCandidateOptimum;
    }
  }
  // The prediction variance at each run is the diagonal of X (X'X)^-1 X'.
  const double most = (x * inverse).cwiseProduct(x).rowwise().sum().maxCoeff();
  results.g_efficiency_ = 100.0 * p / (n * most);
  // The singular values of X are the square roots of the eigenvalues of X'X (ascending).
  const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> eigen(information, Eigen::EigenvaluesOnly);
  const Eigen::VectorXd& values = eigen.eigenvalues();
  results.condition_ = std::sqrt(values(p - 1) / values(0));
  const bool centred = model.HasConstant();
  for (std::size_t i = 0; i < vif_columns.size(); ++i) {
    const int j = vif_columns[i];
    const double mean = centred ? x.col(j).mean() : 0.0;
    const double spread = (x.col(j).array() - mean).square().sum();
    results.vif_[i] = inverse(j, j) * spread;
  }
  return results;
}

void DesignStatistics::Results::Save(ConfigurationSection& section) const {
  section.WriteInt("Runs", runs_);
  section.WriteInt("ModelColumns", columns_);
  section.WriteBool("Singular", singular_);
  section.WriteDouble("LogDet", log_det_);
  section.WriteDouble("DEfficiency", d_efficiency_);
  if (reference_ == Reference::kCodedScale) {
    section.RemoveKey("DEfficiencyReference");
  } else {
    section.WriteString("DEfficiencyReference", kReferenceTexts.ValueOf(reference_, ""));
  }
  section.WriteDouble("GEfficiency", g_efficiency_);
  section.WriteDouble("ConditionNumber", condition_);
  section.WriteInt("ResidualDF", residual_df_);
  section.WriteInt("PureErrorDF", pure_error_df_);
  for (const int i : section.GetChildIndexes("Term")) section.RemoveChild("Term", i);
  for (std::size_t i = 0; i < vif_.size(); ++i) {
    ConfigurationSection& term = section.CreateChild("Term", static_cast<int>(i) + 1);
    term.WriteString("Name", names_[i]);
    term.WriteDouble("VIF", vif_[i]);
  }
}

void DesignStatistics::Results::Load(const ConfigurationSection& section) {
  Results read = *this;
  section.ReadInt("Runs", read.runs_);
  section.ReadInt("ModelColumns", read.columns_);
  section.ReadBool("Singular", read.singular_);
  section.ReadDouble("LogDet", read.log_det_);
  if (section.ReadDouble("DEfficiency", read.d_efficiency_)) {
    read.reference_ = Reference::kCodedScale;
  }
  std::string reference;
  if (section.ReadString("DEfficiencyReference", reference)) {
    // A text without a row gives back whichever fallback is passed.
    read.reference_ = kReferenceTexts.CodeOf(reference, Reference::kCodedScale);
    if (read.reference_ != kReferenceTexts.CodeOf(reference, Reference::kCandidateOptimum)) {
      throw Exception(ExceptionMessage::translate("The value '%1%' of the key '%2%' is not a "
                                                  "valid name.") %
                      reference % "DEfficiencyReference");
    }
  }
  section.ReadDouble("GEfficiency", read.g_efficiency_);
  section.ReadDouble("ConditionNumber", read.condition_);
  section.ReadInt("ResidualDF", read.residual_df_);
  section.ReadInt("PureErrorDF", read.pure_error_df_);
  if (const std::vector<int> indexes = section.GetChildIndexes("Term"); !indexes.empty()) {
    read.names_.clear();
    read.vif_.clear();
    for (const int i : indexes) {
      const ConfigurationSection* term = section.OpenChild("Term", i);
      if (term == nullptr) continue;
      read.names_.push_back(term->GetString("Name"));
      read.vif_.push_back(term->GetDouble("VIF", kUndefined));
    }
  }
  const bool finite =
      std::isfinite(read.log_det_) && std::isfinite(read.d_efficiency_) &&
      std::isfinite(read.g_efficiency_) && std::isfinite(read.condition_) &&
      std::all_of(read.vif_.begin(), read.vif_.end(), [](double v) { return std::isfinite(v); });
  if (!finite || read.runs_ < 0 || read.columns_ < 0 || read.residual_df_ < 0 ||
      read.residual_df_ > read.runs_ || read.pure_error_df_ < 0 ||
      read.pure_error_df_ > read.residual_df_) {
    throw Exception(
        ExceptionMessage::translate("The stored design statistics are not "
                                    "consistent."));
  }
  *this = std::move(read);
}

}  // namespace zubra
