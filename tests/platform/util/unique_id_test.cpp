#include "zubra/platform/util/unique_id.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <thread>
#include <unordered_set>
#include <vector>

namespace zubra {
namespace {

// Ids drawn from several threads at once must all differ and never be 0. A plain counter or
// a poorly mixed generator leaves the high bits of consecutive ids nearly constant, while
// well-mixed ids set every bit about half of the time.
TEST(GetNearUniqueID, IdsAreDistinctNonZeroAndWellMixedAcrossThreads) {
  constexpr int kThreads = 4;
  constexpr int kPerThread = 2500;
  std::vector<std::vector<std::uint32_t>> made(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&made, t] {
      for (int i = 0; i < kPerThread; ++i) made[t].push_back(GetNearUniqueID());
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::unordered_set<std::uint32_t> seen;
  std::array<int, 32> set_counts{};
  for (const std::uint32_t id : made[0]) {
    for (unsigned bit = 0; bit < 32; ++bit) set_counts[bit] += static_cast<int>((id >> bit) & 1U);
  }
  for (const auto& ids : made) {
    for (const std::uint32_t id : ids) {
      EXPECT_NE(id, 0U);
      EXPECT_TRUE(seen.insert(id).second) << id;
    }
  }
  for (unsigned bit = 0; bit < 32; ++bit) {
    SCOPED_TRACE(bit);
    EXPECT_GT(set_counts[bit], kPerThread * 35 / 100);
    EXPECT_LT(set_counts[bit], kPerThread * 65 / 100);
  }
}

}  // namespace
}  // namespace zubra
