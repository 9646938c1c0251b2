#include "zubra/platform/design/internal/plackett_burman_builder.h"

#include <array>
#include <bit>
#include <cstddef>
#include <string_view>

namespace zubra::internal {
namespace {

// Generating rows: row i of the design is the row shifted right by i places.
constexpr std::string_view kRow12 = "++-+++---+-";
constexpr std::string_view kRow20 = "++--++++-+-+----++-";
constexpr std::string_view kRow24 = "+++++-+-++--++--+-+----";
constexpr std::string_view kRow36 = "-+-+++---+++++-+++--+----+-+-++--+-";
constexpr std::string_view kRow44 = "++--+-+--+++-+++++---+-+++-----+---++-+-++-";
constexpr std::string_view kRow48 = "+++++-++++--+-+-+++--+--++-++---+-+-++----+----";

NCDataMatrix<float> Cyclic(std::string_view row) {
  const int n = static_cast<int>(row.size());
  NCDataMatrix<float> design(n + 1, n, -1.0F);
  for (int r = 0; r < n; ++r) {
    for (int c = 0; c < n; ++c) {
      design(r, c) = row[static_cast<std::size_t>((c - r + n) % n)] == '+' ? 1.0F : -1.0F;
    }
  }
  return design;
}

// The design of `order` runs (a power of two) from the Sylvester matrix S(r, c) =
// (-1)^popcount(r & c): its first column of ones is dropped, and run r takes the negated row
// order - 1 - r, so that the row of ones becomes the final run of minus signs.
NCDataMatrix<float> Sylvester(int order) {
  NCDataMatrix<float> design(order, order - 1);
  for (int r = 0; r < order; ++r) {
    const auto row = static_cast<unsigned>(order - 1 - r);
    for (int c = 1; c < order; ++c) {
      const bool even = std::popcount(row & static_cast<unsigned>(c)) % 2 == 0;
      design(r, c - 1) = even ? -1.0F : 1.0F;
    }
  }
  return design;
}

// The field of 27 elements as polynomials d0 + d1 x + d2 x^2 over GF(3) modulo the
// irreducible x^3 - x - 1, element u standing for the digits of u in base 3.
std::array<int, 3> Digits27(int u) { return {u % 3, (u / 3) % 3, (u / 9) % 3}; }

int FromDigits27(const std::array<int, 3>& d) {
  return ((d[0] % 3 + 3) % 3) + 3 * ((d[1] % 3 + 3) % 3) + 9 * ((d[2] % 3 + 3) % 3);
}

int Subtract27(int u, int v) {
  const std::array<int, 3> a = Digits27(u);
  const std::array<int, 3> b = Digits27(v);
  return FromDigits27({a[0] - b[0], a[1] - b[1], a[2] - b[2]});
}

int Multiply27(int u, int v) {
  const std::array<int, 3> a = Digits27(u);
  const std::array<int, 3> b = Digits27(v);
  std::array<int, 5> product{};
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j) product[i + j] += a[i] * b[j];
  }
  // x^3 = x + 1 and x^4 = x^2 + x.
  return FromDigits27(
      {product[0] + product[3], product[1] + product[3] + product[4], product[2] + product[4]});
}

// The 28-run design from the quadratic character of GF(27): run r, column c is + when c - r
// is 0 or a non-zero square, and the last run is all minus.
NCDataMatrix<float> Paley28() {
  std::array<bool, 27> square{};
  for (int v = 1; v < 27; ++v) square[static_cast<std::size_t>(Multiply27(v, v))] = true;
  NCDataMatrix<float> design(28, 27, -1.0F);
  for (int r = 0; r < 27; ++r) {
    for (int c = 0; c < 27; ++c) {
      const int difference = Subtract27(c, r);
      design(r, c) = difference == 0 || square[static_cast<std::size_t>(difference)] ? 1.0F : -1.0F;
    }
  }
  return design;
}

// The design of 2N runs from one of N runs: the N-run design with a column of ones in front
// is the Hadamard matrix H, and [[H, H], [H, -H]] is the Hadamard matrix of order 2N.
NCDataMatrix<float> Doubled(const NCDataMatrix<float>& half) {
  const int n = half.GetRows();
  const auto h = [&](int r, int c) { return c == 0 ? 1.0F : half(r, c - 1); };
  NCDataMatrix<float> design(2 * n, 2 * n - 1);
  for (int r = 0; r < 2 * n; ++r) {
    for (int c = 1; c < 2 * n; ++c) {
      const float value = h(r % n, c % n);
      design(r, c - 1) = (r >= n && c >= n) ? -value : value;
    }
  }
  return design;
}

}  // namespace

NCDataMatrix<float> PlackettBurmanBuilder::MakeMatrix(int runs) {
  switch (runs) {
    case 8:
    case 16:
    case 32:
      return Sylvester(runs);
    case 12:
      return Cyclic(kRow12);
    case 20:
      return Cyclic(kRow20);
    case 24:
      return Cyclic(kRow24);
    case 28:
      return Paley28();
    case 36:
      return Cyclic(kRow36);
    case 40:
      return Doubled(Cyclic(kRow20));
    case 44:
      return Cyclic(kRow44);
    case 48:
      return Cyclic(kRow48);
    default:
      return {};
  }
}

std::vector<int> PlackettBurmanBuilder::CandidateRuns(const Factors& factors,
                                                      const DesignOptions& /*options*/) const {
  std::vector<int> runs;
  for (int n = 8; n <= kMaxRuns; n += 4) {
    if (n >= factors.GetCount() + 1) runs.push_back(n);
  }
  return runs;
}

std::vector<unsigned> PlackettBurmanBuilder::BlockCounts(const Factors& factors,
                                                         const DesignOptions& /*options*/,
                                                         int runs) const {
  if (factors.GetCount() < runs - 1) return {1, 2};
  return {1};
}

DesignBuilder::Core PlackettBurmanBuilder::BuildCore(const Factors& factors,
                                                     const DesignOptions& /*options*/, int runs,
                                                     unsigned blocks,
                                                     const bool* /*cancel*/) const {
  const NCDataMatrix<float> full = MakeMatrix(runs);
  const int k = factors.GetCount();
  Core core;
  core.coded = NCDataMatrix<float>(runs, k);
  for (int r = 0; r < runs; ++r) {
    for (int c = 0; c < k; ++c) core.coded(r, c) = full(r, c);
    if (blocks == 2) core.blocks.push_back(full(r, k) > 0.0F ? 1 : 2);
  }
  core.two_level = true;
  return core;
}

}  // namespace zubra::internal
