// Designs the evaluation tests share: two-level fractions from their generators, a rotatable
// composite design, and models over them.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "tests/platform/design/design_test_support.h"
#include "zubra/evaluation/evaluated_design.h"
#include "zubra/platform/design/design_model.h"
#include "zubra/platform/design/generators.h"

namespace zubra::test_support {

// Every product of the first k factors: constant, main effects and all interactions.
inline DesignModel FullFactorialModel(int k) {
  std::vector<DesignModel::Term> terms;
  for (unsigned set = 0; set < (1U << k); ++set) {
    DesignModel::Term term;
    for (int f = 0; f < k; ++f) {
      if ((set >> f) & 1U) term.push_back(f);
    }
    terms.push_back(term);
  }
  return DesignModel(std::move(terms));
}

// `copies` copies of the design of `generators` for `model` (null: the linear model), in one
// block.
inline EvaluatedDesign TwoLevel(const Generators& generators, int copies,
                                const DesignModel* model = nullptr) {
  const Factors factors = Quantitative(generators.GetFactorCount());
  const DesignModel linear = DesignModel::Make(factors, EModel::kLinear, EModel::kNone);
  return EvaluatedDesign(factors, model != nullptr ? *model : linear, generators.MakeDesign())
      .Replicated(copies);
}

// The rotatable central composite design in two factors: 4 factorial runs, 4 axial runs at
// sqrt(2) and `centre` centre points, for the quadratic model.
inline EvaluatedDesign RotatableComposite(int centre) {
  const Factors factors = Quantitative(2);
  const float a = std::sqrt(2.0F);
  std::vector<std::vector<float>> runs = {{-1, -1}, {1, -1}, {-1, 1}, {1, 1},
                                          {-a, 0},  {a, 0},  {0, -a}, {0, a}};
  for (int c = 0; c < centre; ++c) runs.push_back({0, 0});
  NCDataMatrix<float> coded(static_cast<int>(runs.size()), 2);
  for (std::size_t r = 0; r < runs.size(); ++r) {
    coded(static_cast<int>(r), 0) = runs[r][0];
    coded(static_cast<int>(r), 1) = runs[r][1];
  }
  return {factors, DesignModel::Make(factors, EModel::kQuadratic, EModel::kNone), coded};
}

}  // namespace zubra::test_support
