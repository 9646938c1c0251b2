// RunStarts: independent random starts of a search, shared among threads.
#pragma once

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

}  // namespace zubra::internal
