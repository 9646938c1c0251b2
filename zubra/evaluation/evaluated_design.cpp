#include "zubra/evaluation/evaluated_design.h"

#include <Eigen/Cholesky>
#include <Eigen/QR>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <utility>

#include "zubra/model/model_spec.h"
#include "zubra/platform/design/nc_design.h"
#include "zubra/platform/util/exception.h"
#include "zubra/region/constraints_info.h"

namespace zubra {
namespace {

// Relative size below which a pivot of X counts as zero (as in the design statistics).
constexpr double kRankThreshold = 1e-9;

}  // namespace

EvaluatedDesign::EvaluatedDesign(Factors factors, DesignModel model, NCDataMatrix<float> coded,
                                 std::vector<int> blocks,
                                 std::optional<NCDOE::Constraints> constraints)
    : factors_(std::move(factors)),
      model_(std::move(model)),
      coded_(std::move(coded)),
      blocks_(std::move(blocks)),
      constraints_(std::move(constraints)) {
  if (!model_.IsValidFor(factors_)) {
    throw Exception(
        ExceptionMessage::translate("The model names a factor that the design does "
                                    "not have."));
  }
  model_columns_ = model_.GetColumnCount(factors_);
  if (model_columns_ == 0) {
    throw Exception(ExceptionMessage::translate("The model has no terms to evaluate."));
  }
  if (coded_.GetCols() != factors_.GetCount()) {
    throw Exception(ExceptionMessage::translate("The design has {} columns for {} factors.") %
                    coded_.GetCols() % factors_.GetCount());
  }
  for (int r = 0; r < coded_.GetRows(); ++r) {
    for (int c = 0; c < coded_.GetCols(); ++c) {
      if (!std::isfinite(coded_(r, c))) {
        throw Exception(ExceptionMessage::translate("Run {} of the design holds a value that is "
                                                    "not a number.") %
                        (r + 1));
      }
    }
  }
  if (blocks_.empty()) blocks_.assign(static_cast<std::size_t>(coded_.GetRows()), 1);
  if (static_cast<int>(blocks_.size()) != coded_.GetRows()) {
    throw Exception(ExceptionMessage::translate("The design has {} runs but {} block numbers.") %
                    coded_.GetRows() % blocks_.size());
  }
  for (std::size_t r = 0; r < blocks_.size(); ++r) {
    if (blocks_[r] < 1) {
      throw Exception(ExceptionMessage::translate("The block of run {} is {}; blocks are "
                                                  "numbered from 1.") %
                      (r + 1) % blocks_[r]);
    }
  }
  block_numbers_ = blocks_;
  std::sort(block_numbers_.begin(), block_numbers_.end());
  block_numbers_.erase(std::unique(block_numbers_.begin(), block_numbers_.end()),
                       block_numbers_.end());
  if (block_numbers_.empty()) block_numbers_.push_back(1);
}

EvaluatedDesign EvaluatedDesign::FromDesign(const NCDesign& design, const Factors& factors,
                                            const DesignModel& model,
                                            const NCDOE::Constraints* constraints) {
  std::optional<NCDOE::Constraints> own;
  if (constraints != nullptr && constraints->GetCount() > 0) own = *constraints;
  return {factors, model, design.GetCoded(), design.GetBlocks(), std::move(own)};
}

EvaluatedDesign EvaluatedDesign::FromModelSpec(const ModelSpec& spec,
                                               const ConstraintsInfo* constraints) {
  const std::shared_ptr<const NCDesign> design = spec.GetDesign();
  if (design == nullptr) {
    throw Exception(ExceptionMessage::translate("There is no design to evaluate."));
  }
  const DesignFactors& extract = spec.GetFactors();
  const std::unique_ptr<DesignModel> model = extract.ToNCDOEModel(spec.GetTermInfo());
  std::unique_ptr<NCDOE::Constraints> converted;
  if (constraints != nullptr && constraints->NumConstraints() > 0) {
    converted = constraints->ToNCConstraint(extract);
  }
  return FromDesign(*design, extract.GetFactors(), *model, converted.get());
}

int EvaluatedDesign::GetConstantColumn() const {
  int column = 0;
  for (const DesignModel::Term& term : model_.GetTerms()) {
    if (term.empty()) return column;
    column += DesignModel({term}).GetColumnCount(factors_);
  }
  return -1;
}

std::vector<std::string> EvaluatedDesign::GetColumnNames() const {
  return model_.GetColumnNames(factors_);
}

std::string EvaluatedDesign::TermName(const DesignModel::Term& term) const {
  if (term.empty()) return "Constant";
  std::string name;
  for (const int index : term) {
    if (!name.empty()) name += "*";
    name += factors_.GetFactor(index).name;
  }
  return name;
}

Eigen::MatrixXd EvaluatedDesign::ModelMatrix() const {
  const int blocks = GetBlockColumns();
  Eigen::MatrixXd x(coded_.GetRows(), model_columns_ + blocks);
  x.leftCols(model_columns_) = model_.Expand(factors_, coded_);
  if (blocks > 0) {
    x.rightCols(blocks).setZero();
    for (int r = 0; r < coded_.GetRows(); ++r) {
      const auto at = std::lower_bound(block_numbers_.begin(), block_numbers_.end(),
                                       blocks_[static_cast<std::size_t>(r)]);
      const auto position = static_cast<int>(at - block_numbers_.begin());
      if (position == blocks) {
        x.row(r).tail(blocks).setConstant(-1.0);
      } else {
        x(r, model_columns_ + position) = 1.0;
      }
    }
  }
  return x;
}

EvaluatedDesign::Dispersion EvaluatedDesign::ComputeDispersion() const {
  Dispersion dispersion;
  const Eigen::MatrixXd x = ModelMatrix();
  const auto columns = static_cast<int>(x.cols());
  int rank = 0;
  if (x.rows() > 0) {
    Eigen::ColPivHouseholderQR<Eigen::MatrixXd> qr(x);
    qr.setThreshold(kRankThreshold);
    rank = static_cast<int>(qr.rank());
  }
  dispersion.residual_df = GetRuns() - rank;
  dispersion.singular = rank < columns;
  if (dispersion.singular) return dispersion;
  const Eigen::LLT<Eigen::MatrixXd> llt(x.transpose() * x);
  dispersion.inverse = llt.solve(Eigen::MatrixXd::Identity(columns, columns));
  return dispersion;
}

EvaluatedDesign EvaluatedDesign::Replicated(int copies) const {
  copies = std::max(copies, 1);
  const int runs = GetRuns();
  const long long total = static_cast<long long>(runs) * copies;
  if (total > kMaxReplicatedRuns) {
    throw Exception(ExceptionMessage::translate("{} copies of a design of {} runs are too many.") %
                    copies % runs);
  }
  NCDataMatrix<float> coded(static_cast<int>(total), coded_.GetCols());
  std::vector<int> blocks;
  blocks.reserve(static_cast<std::size_t>(total));
  for (int k = 0; k < copies; ++k) {
    for (int r = 0; r < runs; ++r) {
      std::copy_n(coded_.GetRowData(r), coded_.GetCols(), coded.GetRowData(k * runs + r));
      blocks.push_back(blocks_[static_cast<std::size_t>(r)]);
    }
  }
  return {factors_, model_, std::move(coded), std::move(blocks), constraints_};
}

}  // namespace zubra
