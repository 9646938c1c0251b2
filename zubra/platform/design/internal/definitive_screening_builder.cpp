#include "zubra/platform/design/internal/definitive_screening_builder.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

#include "zubra/platform/util/exception.h"

namespace zubra::internal {
namespace {

// The field of p^d elements as polynomials of degree below d over the integers modulo the
// prime p, element u standing for the polynomial whose coefficients are the base-p digits of
// u. `reduction` gives x^d as a polynomial of lower degree (the field's irreducible
// polynomial); it is empty for d = 1.
class SmallField {
 public:
  SmallField(int p, int d, std::vector<int> reduction)
      : p_(p), d_(d), reduction_(std::move(reduction)) {}

  [[nodiscard]] int Size() const {
    int size = 1;
    for (int i = 0; i < d_; ++i) size *= p_;
    return size;
  }

  [[nodiscard]] int Subtract(int u, int v) const {
    std::vector<int> a = Digits(u);
    const std::vector<int> b = Digits(v);
    for (std::size_t i = 0; i < a.size(); ++i) a[i] -= b[i];
    return FromDigits(a);
  }

  [[nodiscard]] int Multiply(int u, int v) const {
    const std::vector<int> a = Digits(u);
    const std::vector<int> b = Digits(v);
    std::vector<int> product(static_cast<std::size_t>(2 * d_ - 1), 0);
    for (std::size_t i = 0; i < a.size(); ++i) {
      for (std::size_t j = 0; j < b.size(); ++j) product[i + j] += a[i] * b[j];
    }
    // Replace x^k (k >= d) by x^(k - d) times the reduction, from the top degree down.
    for (auto k = product.size(); k-- > static_cast<std::size_t>(d_);) {
      const int top = product[k] % p_;
      product[k] = 0;
      for (std::size_t i = 0; i < reduction_.size(); ++i) {
        product[k - static_cast<std::size_t>(d_) + i] += top * reduction_[i];
      }
    }
    product.resize(static_cast<std::size_t>(d_));
    return FromDigits(product);
  }

 private:
  [[nodiscard]] std::vector<int> Digits(int u) const {
    std::vector<int> digits(static_cast<std::size_t>(d_));
    for (int& digit : digits) {
      digit = u % p_;
      u /= p_;
    }
    return digits;
  }

  [[nodiscard]] int FromDigits(const std::vector<int>& digits) const {
    int u = 0;
    for (auto i = digits.size(); i-- > 0;) u = u * p_ + ((digits[i] % p_) + p_) % p_;
    return u;
  }

  int p_;
  int d_;
  std::vector<int> reduction_;
};

// The fields of the Paley construction, by their size q (the conference matrix has order
// q + 1).
struct FieldRow {
  int q;
  int p;
  int d;
  std::vector<int> reduction;
};

const std::vector<FieldRow>& Fields() {
  static const std::vector<FieldRow> kFields =
      {
          {3, 3, 1, {}},         {5, 5, 1, {}},
          {7, 7, 1, {}},         {9, 3, 2, {2, 0}},  // x^2 = 2: x^2 + 1 has no root modulo 3
          {11, 11, 1, {}},       {13, 13, 1, {}},
          {17, 17, 1, {}},       {19, 19, 1, {}},
          {23, 23, 1, {}},       {25, 5, 2, {2, 0}},  // x^2 = 2: 2 is not a square modulo 5
          {27, 3, 3, {1, 1, 0}},  // x^3 = x + 1: x^3 - x - 1 has no root modulo 3
          {29, 29, 1, {}},       {31, 31, 1, {}},
      };
  return kFields;
}

// The Paley conference matrix of order q + 1 over `field`: row and column 0 stand apart,
// C(0, j) = 1 and C(i, 0) = 1 (q = 1 mod 4) or -1 (q = 3 mod 4); the others hold the
// quadratic character of the difference of the elements: C(i, j) = chi(e_j - e_i), with
// chi(0) = 0, +1 for a non-zero square and -1 otherwise.
NCDataMatrix<float> Paley(const SmallField& field) {
  const int q = field.Size();
  std::vector<int> character(static_cast<std::size_t>(q), -1);
  character[0] = 0;
  for (int v = 1; v < q; ++v) character[static_cast<std::size_t>(field.Multiply(v, v))] = 1;
  const float first_column = q % 4 == 1 ? 1.0F : -1.0F;
  NCDataMatrix<float> c(q + 1, q + 1, 0.0F);
  for (int j = 1; j <= q; ++j) {
    c(0, j) = 1.0F;
    c(j, 0) = first_column;
  }
  for (int i = 0; i < q; ++i) {
    for (int j = 0; j < q; ++j) {
      c(i + 1, j + 1) =
          static_cast<float>(character[static_cast<std::size_t>(field.Subtract(j, i))]);
    }
  }
  return c;
}

// The antisymmetric conference matrix of order 2n from the antisymmetric `s` of order n:
// [[S, S + I], [S - I, -S]].
NCDataMatrix<float> Doubled(const NCDataMatrix<float>& s) {
  const int n = s.GetRows();
  NCDataMatrix<float> c(2 * n, 2 * n);
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) {
      const float identity = i == j ? 1.0F : 0.0F;
      c(i, j) = s(i, j);
      c(i, j + n) = s(i, j) + identity;
      c(i + n, j) = s(i, j) - identity;
      c(i + n, j + n) = -s(i, j);
    }
  }
  return c;
}

}  // namespace

bool DefinitiveScreeningBuilder::SupportsObjective(EObjective::Type objective) const {
  return objective == EObjective::kScreening;
}

std::vector<int> DefinitiveScreeningBuilder::GetOrders() {
  std::vector<int> orders;
  for (const FieldRow& row : Fields()) orders.push_back(row.q + 1);
  orders.push_back(16);
  std::sort(orders.begin(), orders.end());
  return orders;
}

NCDataMatrix<float> DefinitiveScreeningBuilder::MakeConferenceMatrix(int order) {
  if (order == 16) return Doubled(MakeConferenceMatrix(8));
  for (const FieldRow& row : Fields()) {
    if (row.q + 1 == order) return Paley(SmallField(row.p, row.d, row.reduction));
  }
  return {};
}

bool DefinitiveScreeningBuilder::IsThreeLevel(const Factors::Factor& factor) {
  if (IsContinuous(factor)) return true;
  if (factor.IsQualitative() || factor.GetDiscreteLevels() != 3) return false;
  const std::vector<float> coded = DiscreteCodedLevels(factor);
  return std::fabs(coded[1]) <= 1e-6F;
}

int DefinitiveScreeningBuilder::CountTwoLevel(const Factors& factors) {
  return static_cast<int>(
      std::count_if(factors.GetAll().begin(), factors.GetAll().end(),
                    [](const Factors::Factor& factor) { return factor.GetDiscreteLevels() == 2; }));
}

bool DefinitiveScreeningBuilder::CheckFactors(const Factors& factors, std::string* message) const {
  if (!RefuseMixture(factors, message)) return false;
  for (const Factors::Factor& factor : factors.GetAll()) {
    if (!IsThreeLevel(factor) && factor.GetDiscreteLevels() != 2) {
      return Refuse(message, ExceptionMessage::translate("The factor '{}' has neither two levels "
                                                         "nor three equally spaced ones, which "
                                                         "the design '{}' needs.") %
                                 factor.name % GetName());
    }
  }
  if (factors.GetCount() < kMinFactors || factors.GetCount() > kMaxFactors) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' is for {} to {} "
                                                       "factors.") %
                               GetName() % kMinFactors % kMaxFactors);
  }
  if (CountTwoLevel(factors) == factors.GetCount()) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' needs a factor with "
                                                       "three levels.") %
                               GetName());
  }
  return true;
}

bool DefinitiveScreeningBuilder::CheckModel(const Factors& /*factors*/,
                                            const DesignOptions& options,
                                            std::string* message) const {
  if (options.GetProcessModel() != EModel::kLinear) {
    return RefuseModel(options.GetProcessModel(), message);
  }
  return true;
}

std::vector<int> DefinitiveScreeningBuilder::CandidateRuns(const Factors& factors,
                                                           const DesignOptions& /*options*/) const {
  const int two_level = CountTwoLevel(factors);
  std::vector<int> runs;
  for (int order : GetOrders()) {
    if (order < factors.GetCount() || (two_level >= 2 && order % 4 != 0)) continue;
    runs.push_back(2 * order + (two_level > 0 ? 2 : 1));
  }
  return runs;
}

std::vector<unsigned> DefinitiveScreeningBuilder::BlockCounts(const Factors& factors,
                                                              const DesignOptions& /*options*/,
                                                              int runs) const {
  const int order = (runs - (CountTwoLevel(factors) > 0 ? 2 : 1)) / 2;
  std::vector<unsigned> counts{1};
  for (int b = 2; b <= 8; ++b) {
    if (order % b == 0 && order / b >= 2) counts.push_back(static_cast<unsigned>(b));
  }
  return counts;
}

bool DefinitiveScreeningBuilder::CenterPointsAllowed(const Factors& factors) const {
  return CountTwoLevel(factors) == 0;
}

DesignBuilder::Core DefinitiveScreeningBuilder::BuildCore(const Factors& factors,
                                                          const DesignOptions& /*options*/,
                                                          int runs, unsigned blocks,
                                                          const bool* /*cancel*/) const {
  const int k = factors.GetCount();
  const bool has_two_level = CountTwoLevel(factors) > 0;
  const int order = (runs - (has_two_level ? 2 : 1)) / 2;
  const NCDataMatrix<float> c = MakeConferenceMatrix(order);
  std::vector<bool> two_level;
  for (const Factors::Factor& factor : factors.GetAll()) {
    two_level.push_back(factor.GetDiscreteLevels() == 2);
  }
  const int pairs_per_block = order / static_cast<int>(blocks);

  Core core;
  core.coded = NCDataMatrix<float>(runs, k, 0.0F);
  core.blocks.assign(static_cast<std::size_t>(runs), static_cast<int>(blocks));
  core.kinds.assign(static_cast<std::size_t>(runs), NCDesign::RunKind::kDesign);
  for (int i = 0; i < order; ++i) {
    for (int j = 0; j < k; ++j) {
      // A two-level factor takes +1 where C has its zero, and so -1 in the mirror run.
      const float value = i == j && two_level[static_cast<std::size_t>(j)] ? 1.0F : c(i, j);
      core.coded(i, j) = value;
      core.coded(order + i, j) = -value;
    }
    const int block = i / pairs_per_block + 1;
    const int mirror = order + i;
    core.blocks[static_cast<std::size_t>(i)] = block;
    core.blocks[static_cast<std::size_t>(mirror)] = block;
  }
  if (has_two_level) {
    for (int j = 0; j < k; ++j) {
      if (!two_level[static_cast<std::size_t>(j)]) continue;
      core.coded(2 * order, j) = 1.0F;
      core.coded(2 * order + 1, j) = -1.0F;
    }
  } else {
    core.kinds.back() = NCDesign::RunKind::kCenter;
  }
  core.two_level = true;
  return core;
}

}  // namespace zubra::internal
