// What the optimal-design searches share: random starts on several threads, the caller's
// cancellation flag, and the information matrix's inverse and determinant.
#pragma once

#include <Eigen/Cholesky>
#include <Eigen/Core>
#include <atomic>
#include <functional>

namespace zubra::internal {

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
