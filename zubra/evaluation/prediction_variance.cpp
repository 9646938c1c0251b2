#include "zubra/evaluation/prediction_variance.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "zubra/evaluation/region_sampler.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

// The model columns' part of (X'X)^-1.
Eigen::MatrixXd ModelInverse(const EvaluatedDesign& design,
                             const EvaluatedDesign::Dispersion& dispersion) {
  const int p = design.GetModelColumns();
  return dispersion.inverse.topLeftCorner(p, p);
}

// v = f' C f for every row f of `f`.
Eigen::VectorXd Variances(const Eigen::MatrixXd& f, const Eigen::MatrixXd& inverse) {
  return (f * inverse).cwiseProduct(f).rowwise().sum();
}

// True when run `row` of `coded` lies within -1..+1 in every process factor that is not
// qualitative (the axial runs of a circumscribed composite design lie outside the region).
bool InsideBox(const Factors& factors, const NCDataMatrix<float>& coded, int row) {
  constexpr double kTolerance = 1e-6;
  for (int f = 0; f < factors.GetCount(); ++f) {
    const Factors::Factor& factor = factors.GetFactor(f);
    if (factor.IsQualitative() || factor.IsMixture()) continue;
    if (std::fabs(static_cast<double>(coded(row, f))) > 1.0 + kTolerance) return false;
  }
  return true;
}

}  // namespace

double PredictionVariance::Results::Quantile(double fraction) const {
  if (sorted.empty()) return kUndefined;
  fraction = std::clamp(fraction, 0.0, 1.0);
  const double at = fraction * static_cast<double>(sorted.size() - 1);
  const auto below = static_cast<std::size_t>(std::floor(at));
  const std::size_t above = std::min(below + 1, sorted.size() - 1);
  const double share = at - static_cast<double>(below);
  return sorted[below] + share * (sorted[above] - sorted[below]);
}

std::vector<std::pair<double, double>> PredictionVariance::Results::FdsCurve(int points) const {
  std::vector<std::pair<double, double>> curve;
  if (sorted.empty()) return curve;
  points = std::max(points, 2);
  for (int i = 0; i < points; ++i) {
    const double fraction = static_cast<double>(i) / (points - 1);
    curve.emplace_back(fraction, Quantile(fraction));
  }
  return curve;
}

std::vector<double> PredictionVariance::At(const EvaluatedDesign& design,
                                           const NCDataMatrix<float>& coded) {
  if (coded.GetCols() != design.GetFactors().GetCount()) {
    throw Exception(ExceptionMessage::translate("The points have {} columns for {} factors.") %
                    coded.GetCols() % design.GetFactors().GetCount());
  }
  const EvaluatedDesign::Dispersion dispersion = design.ComputeDispersion();
  if (dispersion.singular) return {};
  const Eigen::VectorXd v = Variances(design.GetModel().Expand(design.GetFactors(), coded),
                                      ModelInverse(design, dispersion));
  return {v.data(), v.data() + v.size()};
}

PredictionVariance::Results PredictionVariance::Compute(const EvaluatedDesign& design,
                                                        const Options& options) {
  Results results;
  results.runs = design.GetRuns();
  results.model_columns = design.GetModelColumns();
  const EvaluatedDesign::Dispersion dispersion = design.ComputeDispersion();
  results.singular = dispersion.singular;
  if (dispersion.singular) return results;
  const Factors& factors = design.GetFactors();
  const DesignModel& model = design.GetModel();
  const Eigen::MatrixXd inverse = ModelInverse(design, dispersion);
  const auto n = static_cast<double>(results.runs);
  const auto p = static_cast<double>(results.model_columns);

  results.column_names = design.GetColumnNames();
  for (Eigen::Index j = 0; j < inverse.rows(); ++j) {
    results.standard_errors.push_back(std::sqrt(inverse(j, j)));
    results.relative_standard_errors.push_back(std::sqrt(n * inverse(j, j)));
  }
  results.a_efficiency = 100.0 * p / (n * inverse.trace());

  const NCDataMatrix<float> points =
      RegionSampler::Sample(factors, design.GetConstraints(), options.points, options.seed);
  const Eigen::VectorXd v = Variances(model.Expand(factors, points), inverse);
  results.sorted.assign(v.data(), v.data() + v.size());
  std::sort(results.sorted.begin(), results.sorted.end());
  results.mean = v.mean();
  results.minimum = results.sorted.front();
  results.maximum = results.sorted.back();
  const Eigen::VectorXd at_runs = Variances(model.Expand(factors, design.GetCoded()), inverse);
  for (int r = 0; r < design.GetRuns(); ++r) {
    if (InsideBox(factors, design.GetCoded(), r)) {
      results.maximum = std::max(results.maximum, at_runs(r));
    }
  }
  results.g_efficiency = 100.0 * p / (n * results.maximum);
  if (design.GetConstraints() == nullptr) {
    const Eigen::MatrixXd moments = model.Moments(factors);
    if (moments.size() > 0) results.exact_mean = (inverse * moments).trace();
  }
  return results;
}

}  // namespace zubra
