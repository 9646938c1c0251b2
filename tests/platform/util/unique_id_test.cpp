#include "zubra/platform/util/unique_id.h"

#include <gtest/gtest.h>

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
  constexpr int kPerThread = 2500;
  std::vector<std::vector<std::uint32_t>> made(4);
  std::vector<std::thread> threads;
  for (auto& ids : made) {
    threads.emplace_back([&ids] {
      for (int i = 0; i < kPerThread; ++i) ids.push_back(GetNearUniqueID());
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::unordered_set<std::uint32_t> seen = {0};
  for (const auto& ids : made) {
    for (const std::uint32_t id : ids) EXPECT_TRUE(seen.insert(id).second) << id;
  }
  for (unsigned bit = 0; bit < 32; ++bit) {
    int set = 0;
    for (const std::uint32_t id : made[0]) set += static_cast<int>((id >> bit) & 1U);
    EXPECT_GT(set, kPerThread * 35 / 100) << bit;
    EXPECT_LT(set, kPerThread * 65 / 100) << bit;
  }
}

}  // namespace
}  // namespace zubra
