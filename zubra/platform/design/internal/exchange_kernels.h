// The inner loops of the point exchange: sweeps over the candidates' model rows in single
// precision, vectorised, with the instruction set chosen when the library is loaded.
#pragma once

#include <Eigen/Core>
#include <cstddef>
#include <new>
#include <vector>

namespace zubra::internal {

// Memory aligned for the widest vector loads the sweeps make.
template <typename T>
struct PanelAllocator {
  using value_type = T;
  static constexpr std::align_val_t kAlignment{64};
  PanelAllocator() = default;
  template <typename U>
  explicit PanelAllocator(const PanelAllocator<U>& /*other*/) {}
  T* allocate(std::size_t n) { return static_cast<T*>(::operator new(n * sizeof(T), kAlignment)); }
  void deallocate(T* p, std::size_t /*n*/) { ::operator delete(p, kAlignment); }
  bool operator==(const PanelAllocator& /*other*/) const { return true; }
};

using PanelVector = std::vector<float, PanelAllocator<float>>;

// Candidate model rows in single precision, in panels of kRows rows: the value of row
// q * kRows + l, column k is at Data()[(q * Columns() + k) * kRows + l]. A sweep reads one
// column of a panel as one vector, so that kRows candidates are scored at once without
// horizontal sums. The rows after the last candidate (up to a whole panel) are zero.
class CandidatePanels {
 public:
  static constexpr int kRows = 8;

  CandidatePanels() = default;
  explicit CandidatePanels(const Eigen::MatrixXd& rows);

  [[nodiscard]] int Rows() const { return rows_; }
  [[nodiscard]] int Columns() const { return columns_; }
  [[nodiscard]] int Panels() const { return (rows_ + kRows - 1) / kRows; }
  // Rows rounded up to whole panels: the length of the per-candidate vectors of a sweep.
  [[nodiscard]] int PaddedRows() const { return Panels() * kRows; }
  [[nodiscard]] const float* Data() const { return data_.data(); }

 private:
  int rows_ = 0;
  int columns_ = 0;
  PanelVector data_;
};

// One sweep over all candidates x (rows of the panels), in two optional parts done in one
// pass over the panels:
//   - update: after a change of the design, the candidates' variances d(x) = x'M^-1 x fall by
//     gg * g^2 + gs * g * s + ss * s^2, with g = x'b and s = x'a_old; s is read from `s` for
//     the panels [s_first, s_last) (a previous sweep stored it there) and computed from
//     a_old elsewhere;
//   - score: for the candidate rows [first, last), the value is coef * (1 + d(x)) + (x'a)^2
//     (kRatio: the factor by which det(M) grows when the candidate replaces the design row
//     whose M^-1 f is a and coef is 1 minus that row's variance; x'a is stored into `s` for
//     the panels touched) or d(x) itself (kVariance); the largest value and the first row
//     that reaches it are returned.
// Vectors a, a_old and b have Columns() entries; d and s have PaddedRows().
struct Sweep {
  enum class Score { kNone, kRatio, kVariance };

  const CandidatePanels* panels = nullptr;
  float* d = nullptr;
  float* s = nullptr;

  const float* b = nullptr;  // null: no update
  const float* a_old = nullptr;
  int s_first = 0;
  int s_last = 0;
  float gg = 0.0F;
  float gs = 0.0F;
  float ss = 0.0F;

  Score score = Score::kNone;
  const float* a = nullptr;
  float coef = 0.0F;
  int first = 0;
  int last = 0;
};

struct SweepBest {
  int row = -1;  // -1 when nothing was scored
  float value = 0.0F;
};

// Runs the sweep with the widest instruction set the processor offers.
SweepBest RunSweep(const Sweep& sweep);

// d(x) = |T x|^2 for every candidate row x, T being lower triangular (Columns() x Columns(),
// row-major): with T = L^-1 for M = L L' this is x'M^-1 x. `d` has PaddedRows() entries.
void ComputeVariances(const CandidatePanels& panels, const float* t, float* d);

// The name of the instruction set the sweeps use ("avx2" or "generic"), for benchmarks.
const char* SweepInstructionSet();

// Makes the sweeps use the generic code even where a wider instruction set is offered, or
// lets them choose again; returns the previous setting. For tests that compare the two; not
// to be called while a search runs.
bool UseGenericSweeps(bool generic);

}  // namespace zubra::internal
