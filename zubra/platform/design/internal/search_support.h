// What the optimal-design searches share: random starts on several threads, the caller's
// cancellation flag, and the information matrix's inverse and determinant.
#pragma once

#include <Eigen/Cholesky>
#include <Eigen/Core>
#include <atomic>
#include <functional>
#include <vector>

namespace zubra::internal {

// What an optimal design optimises: det(X'X) (D), or the average prediction variance
// trace((X'X)^-1 W) over the region, W being the moments of the model columns (I; with W the
// identity on the model's parameters this is the A criterion, the average variance of the
// estimates).
enum class OptimalityCriterion { kD, kI };

// The threads a search of `starts` independent starts and about `operations` multiply-adds
// in all should take when `threads` are allowed (0: one per hardware thread): no more than
// the starts, and one for every kOperationsPerThread, so that a small search does not pay
// for threads it cannot use. At least 1. The result of a search never depends on it.
inline constexpr double kOperationsPerThread = 4e6;
int ThreadsFor(int threads, int starts, double operations);

// Runs start(0) .. start(starts - 1) on `threads` threads (0: one per hardware thread; never
// more than the starts), the calling thread being one of them. Each start receives its number
// and a flag that turns true when another start has failed, which it should treat like a
// cancellation; a start keeps its own result (for instance in a vector indexed by its
// number), so the outcome does not depend on the threads. `progress` (may be empty) is called
// after each finished start with (finished, starts), serialized. The first exception a start
// throws is rethrown here once every thread has ended.
void RunStarts(int starts, int threads,
               const std::function<void(int start, const std::atomic<bool>& stop)>& start,
               const std::function<void(int, int)>& progress);

// One start of a race (see RunRace).
class RaceStart {
 public:
  virtual ~RaceStart() = default;
  // Runs `rounds` more rounds of the start's search, the first call beginning it, and returns
  // the value reached: larger is better, minus infinity for a design that supports no model.
  // May throw; treats `stop` (given to RunRace) like a cancellation.
  virtual double Advance(int rounds) = 0;
};

// Races `starts` independent starts over `rounds` rounds and returns the number of the
// winner. Every start advances by the first stage's share of the rounds; then the better half
// of the field (rounded up; among equal values the lower numbers) advances by the next share,
// and so on until one start is left, which takes the last share. The field halves after each
// stage, so a start that falls behind stops early: the winner has run all `rounds` rounds,
// at 7/12 of the work of running four starts to the end. Stages have 1 + ceil(log2(starts))
// shares, as equal as they go (the first ones one round more). The starts are numbered
// 0..starts-1 in `field`, which the caller makes; each stage runs on up to `threads`
// threads (RunStarts), and the outcome does not depend on them. `stop` is set when a start
// throws, so that the others stop too; the exception is rethrown. `progress` (may be empty)
// is called after every start's stage with (finished, all stages of all starts), serialized.
int RunRace(const std::vector<RaceStart*>& field, int rounds, int threads, std::atomic<bool>& stop,
            const std::function<void(int, int)>& progress);

// True when `flag` is given and set; the flag may be set by another thread meanwhile.
bool IsFlagSet(const bool* flag);

// True when the Cholesky factorisation of an information matrix succeeded and its pivots
// show it well enough conditioned (smallest above 1e-6 of the largest) to be trusted.
bool WellConditioned(const Eigen::LLT<Eigen::MatrixXd>& llt);

// log det(m) of a symmetric information matrix; minus infinity when it is not well
// conditioned.
double LogDetOrMinusInfinity(const Eigen::MatrixXd& m);

// The inverse of a symmetric information matrix. While `m` is singular or nearly so a tiny
// ridge (1e-7 of its largest diagonal entry, at least 1e-7) keeps it invertible, so that a
// search can start from a design that does not yet support the model; `regular` (when given)
// tells whether the inverse is exact.
Eigen::MatrixXd RidgedInverse(Eigen::MatrixXd m, bool* regular = nullptr);

}  // namespace zubra::internal
