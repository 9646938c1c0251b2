#include "zubra/platform/design/design_statistics.h"

#include <Eigen/Cholesky>
#include <Eigen/Eigenvalues>
#include <Eigen/QR>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <map>
#include <utility>

#include "zubra/platform/base/undefined.h"
#include "zubra/platform/util/configuration_section.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

// Relative size below which a pivot of X counts as zero.
constexpr double kRankThreshold = 1e-9;

// The degrees of freedom of pure error: runs that agree in every coded value form a group.
int PureErrorDF(const NCDataMatrix<float>& coded) {
  std::map<std::vector<long long>, int> groups;
  for (int r = 0; r < coded.GetRows(); ++r) {
    std::vector<long long> key;
    key.reserve(static_cast<std::size_t>(coded.GetCols()));
    for (int c = 0; c < coded.GetCols(); ++c) {
      key.push_back(std::llround(static_cast<double>(coded(r, c)) * 1e6));
    }
    ++groups[key];
  }
  int df = 0;
  for (const auto& group : groups) df += group.second - 1;
  return df;
}

}  // namespace

DesignStatistics::Results DesignStatistics::Compute(const NCDataMatrix<float>& coded,
                                                    const Factors& factors,
                                                    const DesignModel& model) {
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
  section.WriteDouble("GEfficiency", g_efficiency_);
  section.WriteDouble("ConditionNumber", condition_);
  section.WriteInt("ResidualDF", residual_df_);
  section.WriteInt("PureErrorDF", pure_error_df_);
  for (int i = section.CountChildren("Term"); i >= 1; --i) section.RemoveChild("Term", i);
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
  section.ReadDouble("DEfficiency", read.d_efficiency_);
  section.ReadDouble("GEfficiency", read.g_efficiency_);
  section.ReadDouble("ConditionNumber", read.condition_);
  section.ReadInt("ResidualDF", read.residual_df_);
  section.ReadInt("PureErrorDF", read.pure_error_df_);
  if (section.CountChildren("Term") > 0) {
    read.names_.clear();
    read.vif_.clear();
    for (int i = 1; i <= section.CountChildren("Term"); ++i) {
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
