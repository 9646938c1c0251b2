#include "zubra/platform/design/internal/search_support.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <limits>
#include <mutex>
#include <thread>
#include <vector>

namespace zubra::internal {

int ThreadsFor(int threads, int starts, double operations) {
  if (threads <= 0) threads = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
  const double useful = std::max(1.0, std::floor(operations / kOperationsPerThread));
  return std::max(1, std::min({threads, starts, static_cast<int>(std::min(useful, 1e6))}));
}

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

int RunRace(const std::vector<RaceStart*>& field, int rounds, int threads, std::atomic<bool>& stop,
            const std::function<void(int, int)>& progress) {
  const auto starts = static_cast<int>(field.size());
  if (starts == 0) return -1;
  int stages = 1;
  for (int alive = starts; alive > 1; alive = (alive + 1) / 2) ++stages;
  int total = 0;
  for (int stage = 0, alive = starts; stage < stages; ++stage, alive = (alive + 1) / 2) {
    total += alive;
  }
  rounds = std::max(0, rounds);
  std::vector<int> alive(static_cast<std::size_t>(starts));
  for (int i = 0; i < starts; ++i) alive[static_cast<std::size_t>(i)] = i;
  std::vector<double> values(static_cast<std::size_t>(starts), 0.0);
  int finished = 0;
  for (int stage = 0; stage < stages; ++stage) {
    if (stage > 0) {
      std::stable_sort(alive.begin(), alive.end(), [&values](int a, int b) {
        return values[static_cast<std::size_t>(a)] > values[static_cast<std::size_t>(b)];
      });
      alive.resize((alive.size() + 1) / 2);
      std::sort(alive.begin(), alive.end());
    }
    const int share = rounds / stages + (stage < rounds % stages ? 1 : 0);
    std::function<void(int, int)> report;
    if (progress) {
      report = [&progress, done = finished, total](int count, int /*all*/) {
        progress(done + count, total);
      };
    }
    RunStarts(
        static_cast<int>(alive.size()), threads,
        [&](int i, const std::atomic<bool>& failed) {
          if (failed) stop = true;
          const int number = alive[static_cast<std::size_t>(i)];
          try {
            values[static_cast<std::size_t>(number)] =
                field[static_cast<std::size_t>(number)]->Advance(share);
          } catch (...) {
            stop = true;
            throw;
          }
        },
        report);
    finished += static_cast<int>(alive.size());
  }
  int winner = alive.front();
  for (int number : alive) {
    if (values[static_cast<std::size_t>(number)] > values[static_cast<std::size_t>(winner)]) {
      winner = number;
    }
  }
  return winner;
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
