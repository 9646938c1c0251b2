#include "zubra/evaluation/alias_matrix.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "zubra/platform/base/undefined.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

// Below this spread (sum of squares about the mean, per run) a column counts as constant.
constexpr double kConstantColumn = 1e-12;

DesignModel PotentialTerms(const EvaluatedDesign& design, const DesignModel* potential) {
  if (potential == nullptr) return AliasMatrix::TwoFactorInteractionsNotIn(design);
  if (!potential->IsValidFor(design.GetFactors())) {
    throw Exception(
        ExceptionMessage::translate("A potential term names a factor that the "
                                    "design does not have."));
  }
  return *potential;
}

}  // namespace

DesignModel AliasMatrix::TwoFactorInteractionsNotIn(const EvaluatedDesign& design) {
  const std::vector<DesignModel::Term>& held = design.GetModel().GetTerms();
  const std::vector<int> varied = design.GetFactors().GetVaried();
  std::vector<DesignModel::Term> terms;
  for (std::size_t a = 0; a < varied.size(); ++a) {
    for (std::size_t b = a + 1; b < varied.size(); ++b) {
      DesignModel::Term term{varied[a], varied[b]};
      if (std::find(held.begin(), held.end(), term) == held.end()) terms.push_back(term);
    }
  }
  return DesignModel(std::move(terms));
}

AliasMatrix::Results AliasMatrix::Compute(const EvaluatedDesign& design,
                                          const DesignModel* potential) {
  const DesignModel terms = PotentialTerms(design, potential);
  Results results;
  results.model_names = design.GetColumnNames();
  results.potential_names = terms.GetColumnNames(design.GetFactors());
  const EvaluatedDesign::Dispersion dispersion = design.ComputeDispersion();
  results.singular = dispersion.singular;
  if (dispersion.singular) return results;
  const Eigen::MatrixXd x1 = design.ModelMatrix();
  const Eigen::MatrixXd x2 = terms.Expand(design.GetFactors(), design.GetCoded());
  const Eigen::MatrixXd full = dispersion.inverse * (x1.transpose() * x2);
  results.matrix = full.topRows(design.GetModelColumns());
  return results;
}

AliasMatrix::Correlations AliasMatrix::CorrelationMap(const EvaluatedDesign& design,
                                                      const DesignModel* potential) {
  const DesignModel terms = PotentialTerms(design, potential);
  const Factors& factors = design.GetFactors();
  const std::vector<std::string> model_names = design.GetColumnNames();
  const Eigen::MatrixXd model = design.GetModel().Expand(factors, design.GetCoded());
  const Eigen::MatrixXd extra = terms.Expand(factors, design.GetCoded());
  std::vector<Eigen::Index> keep;
  Correlations map;
  const int constant = design.GetConstantColumn();
  for (std::size_t j = 0; j < model_names.size(); ++j) {
    if (static_cast<int>(j) == constant) continue;
    keep.push_back(static_cast<Eigen::Index>(j));
    map.names.push_back(model_names[j]);
  }
  const std::vector<std::string> extra_names = terms.GetColumnNames(factors);
  map.names.insert(map.names.end(), extra_names.begin(), extra_names.end());

  const Eigen::Index runs = model.rows();
  const auto columns = static_cast<Eigen::Index>(map.names.size());
  Eigen::MatrixXd centred(runs, columns);
  for (std::size_t i = 0; i < keep.size(); ++i) {
    centred.col(static_cast<Eigen::Index>(i)) = model.col(keep[i]);
  }
  centred.rightCols(extra.cols()) = extra;
  std::vector<bool> varies(static_cast<std::size_t>(columns), false);
  for (Eigen::Index j = 0; j < columns; ++j) {
    if (runs == 0) break;
    centred.col(j).array() -= centred.col(j).mean();
    const double spread = centred.col(j).squaredNorm();
    varies[static_cast<std::size_t>(j)] = spread > kConstantColumn * static_cast<double>(runs);
    if (varies[static_cast<std::size_t>(j)]) centred.col(j) /= std::sqrt(spread);
  }
  map.matrix = centred.transpose() * centred;
  for (Eigen::Index j = 0; j < columns; ++j) {
    if (!varies[static_cast<std::size_t>(j)]) {
      map.matrix.row(j).setConstant(kUndefined);
      map.matrix.col(j).setConstant(kUndefined);
    } else {
      map.matrix(j, j) = 1.0;
    }
  }
  for (Eigen::Index a = 0; a < columns; ++a) {
    for (Eigen::Index b = 0; b < columns; ++b) {
      if (!IsUndefined(map.matrix(a, b))) {
        map.matrix(a, b) = std::clamp(map.matrix(a, b), -1.0, 1.0);
      }
    }
  }
  return map;
}

}  // namespace zubra
