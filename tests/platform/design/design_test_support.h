// Helpers for the design tests: factor sets and checks computed straight from design
// matrices.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "zubra/platform/design/all_designs.h"
#include "zubra/platform/design/factors.h"
#include "zubra/platform/design/ncdoe_constraints.h"
#include "zubra/platform/matrix/nc_data_matrix.h"
#include "zubra/platform/util/exception.h"

namespace zubra::test_support {

// The factor set of `list`, failing the test when a factor is refused.
inline Factors Make(const std::vector<Factors::Factor>& list) {
  Factors factors;
  for (const auto& factor : list) EXPECT_TRUE(factors.Add(factor, nullptr)) << factor.name;
  return factors;
}

// k quantitative factors X1..Xk over 0..10.
inline Factors Quantitative(int k) {
  std::vector<Factors::Factor> list;
  for (int i = 1; i <= k; ++i) {
    list.push_back(Factors::Factor::Quantitative("X" + std::to_string(i), 0.0, 10.0));
  }
  return Make(list);
}

// q formulation factors M1..Mq over 0..total with the given total.
inline Factors Mixture(int q, double total = 1.0) {
  std::vector<Factors::Factor> list;
  for (int i = 1; i <= q; ++i) {
    list.push_back(Factors::Factor::Formulation("M" + std::to_string(i), 0.0, total, total));
  }
  return Make(list);
}

// The constraint on sum(coefficient * factor) over `pairs` (factor index, coefficient): points
// below `limit` are excluded when `less_than`, points above it otherwise.
inline NCDOE::Constraint MakeConstraint(bool less_than, double limit,
                                        const std::vector<std::pair<int, double>>& pairs) {
  NCDOE::Constraint constraint(less_than, limit);
  for (const auto& [index, coefficient] : pairs) constraint.AddPair(index, coefficient);
  return constraint;
}

// Fails unless `action` throws a zubra::Exception whose text is `message`.
template <typename Action>
void ExpectMessage(Action&& action, const std::string& message) {
  try {
    action();
    ADD_FAILURE() << "no exception";
  } catch (const Exception& e) {
    EXPECT_EQ(std::string(e.what()), message);
  }
}

// The sum over the runs (all, or those of `rows`) of the product of the columns in `cols`.
inline double ProductSum(const NCDataMatrix<float>& m, const std::vector<int>& cols,
                         const std::vector<int>* rows = nullptr) {
  double sum = 0.0;
  for (int r = 0; r < m.GetRows(); ++r) {
    if (rows != nullptr && std::find(rows->begin(), rows->end(), r) == rows->end()) continue;
    double product = 1.0;
    for (int c : cols) product *= static_cast<double>(m(r, c));
    sum += product;
  }
  return sum;
}

// The resolution of a two-level +-1 design read from the matrix: the size of the smallest
// set of columns whose product is constant, or `limit` + 1 when no set up to `limit`
// columns has one.
inline int MatrixResolution(const NCDataMatrix<float>& m, int limit) {
  int best = limit + 1;
  for (unsigned set = 1; set < (1U << m.GetCols()); ++set) {
    if (std::popcount(set) >= best) continue;
    std::vector<int> cols;
    for (int c = 0; c < m.GetCols(); ++c) {
      if ((set >> c) & 1U) cols.push_back(c);
    }
    if (std::fabs(ProductSum(m, cols)) == m.GetRows()) best = std::popcount(set);
  }
  return best;
}

// The rows of `design` in block `block`.
inline std::vector<int> RowsOfBlock(const NCDesign& design, int block) {
  std::vector<int> rows;
  for (int r = 0; r < design.GetRuns(); ++r) {
    if (design.GetBlocks()[static_cast<std::size_t>(r)] == block) rows.push_back(r);
  }
  return rows;
}

// Options for `builder` made from defaults with the objective and models given.
inline DesignOptions OptionsFor(const DesignBuilder& builder, const Factors& factors,
                                EObjective::Type objective, EModel::Type process,
                                EModel::Type mixture = EModel::kLinear) {
  DesignOptions base;
  base.SetObjective(objective);
  base.SetProcessModel(process);
  base.SetMixtureModel(mixture);
  base.SetCenterPoints(0);
  return builder.MakeOptions(factors, base);
}

// The builder of `type` and `name`, failing the test when it is missing.
inline const DesignBuilder& Builder(EDesign::Type type, const std::string& name = "") {
  const DesignBuilder* builder = AllDesigns::GetDesignBuilder(type, name);
  EXPECT_NE(builder, nullptr) << EDesign::GetString(type) << " " << name;
  return *builder;
}

}  // namespace zubra::test_support
