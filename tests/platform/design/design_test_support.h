// Helpers for the design tests: factor sets and checks computed straight from design
// matrices.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "zubra/platform/design/all_designs.h"
#include "zubra/platform/design/factors.h"
#include "zubra/platform/matrix/nc_data_matrix.h"

namespace zubra::test_support {

// k quantitative factors X1..Xk over 0..10.
inline Factors Quantitative(int k) {
  Factors factors;
  for (int i = 1; i <= k; ++i) {
    EXPECT_TRUE(
        factors.Add(Factors::Factor::Quantitative("X" + std::to_string(i), 0.0, 10.0), nullptr));
  }
  return factors;
}

// q formulation factors M1..Mq over 0..total with the given total.
inline Factors Mixture(int q, double total = 1.0) {
  Factors factors;
  for (int i = 1; i <= q; ++i) {
    EXPECT_TRUE(factors.Add(
        Factors::Factor::Formulation("M" + std::to_string(i), 0.0, total, total), nullptr));
  }
  return factors;
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
  const int k = m.GetCols();
  for (int size = 1; size <= std::min(limit, k); ++size) {
    std::vector<int> pick(static_cast<std::size_t>(size));
    for (int i = 0; i < size; ++i) pick[static_cast<std::size_t>(i)] = i;
    while (true) {
      if (std::fabs(ProductSum(m, pick)) == m.GetRows()) return size;
      int i = size - 1;
      while (i >= 0 && pick[static_cast<std::size_t>(i)] == k - size + i) --i;
      if (i < 0) break;
      ++pick[static_cast<std::size_t>(i)];
      for (int j = i + 1; j < size; ++j) {
        pick[static_cast<std::size_t>(j)] = pick[static_cast<std::size_t>(j - 1)] + 1;
      }
    }
  }
  return limit + 1;
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
