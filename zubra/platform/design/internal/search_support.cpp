#include "zubra/platform/design/internal/search_support.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <mutex>
#include <thread>
#include <vector>

namespace zubra::internal {

void RunStarts(int starts, int threads,
               const std::function<void(int start, const std::atomic<bool>& stop)>& start,
               const std::function<void(int, int)>& progress) {
  if (starts <= 0) return;
  if (threads <= 0) threads = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
  threads = std::clamp(threads, 1, starts);
  std::atomic<int> next{0};
  std::atomic<bool> stop{false};
  std::mutex mutex;  // guards failure, finished and the progress callback
  std::exception_ptr failure;
  int finished = 0;
  const auto work = [&] {
    try {
      for (int number = next++; number < starts && !stop; number = next++) {
        start(number, stop);
        const std::lock_guard<std::mutex> lock(mutex);
        ++finished;
        if (progress) progress(finished, starts);
      }
    } catch (...) {
      const std::lock_guard<std::mutex> lock(mutex);
      // A start that stopped because another failed is not the cause: the first one stays.
      if (!failure) failure = std::current_exception();
      stop = true;
    }
  };
  {
    std::vector<std::jthread> workers;
    workers.reserve(static_cast<std::size_t>(threads - 1));
    for (int t = 1; t < threads; ++t) workers.emplace_back(work);
    work();
  }
  if (failure) std::rethrow_exception(failure);
}

bool IsFlagSet(const bool* flag) {
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): the caller's flag is not const.
  return flag != nullptr && std::atomic_ref<bool>(*const_cast<bool*>(flag)).load();
}

bool WellConditioned(const Eigen::LLT<Eigen::MatrixXd>& llt) {
  if (llt.info() != Eigen::Success) return false;
  const Eigen::VectorXd pivots = llt.matrixLLT().diagonal();
  return pivots.minCoeff() > 1e-6 * pivots.maxCoeff();
}

double LogDetOrMinusInfinity(const Eigen::MatrixXd& m) {
  const Eigen::LLT<Eigen::MatrixXd> llt(m);
  if (!WellConditioned(llt)) return -std::numeric_limits<double>::infinity();
  return 2.0 * llt.matrixLLT().diagonal().array().log().sum();
}

Eigen::MatrixXd RidgedInverse(Eigen::MatrixXd m, bool* regular) {
  constexpr double kRidge = 1e-7;
  Eigen::LLT<Eigen::MatrixXd> llt(m);
  const bool exact = WellConditioned(llt);
  if (!exact) {
    m.diagonal().array() += kRidge * std::max(1.0, m.diagonal().maxCoeff());
    llt.compute(m);
  }
  if (regular != nullptr) *regular = exact;
  return llt.solve(Eigen::MatrixXd::Identity(m.rows(), m.cols()));
}

}  // namespace zubra::internal
