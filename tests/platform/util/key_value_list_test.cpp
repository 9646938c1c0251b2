#include "zubra/platform/util/key_value_list.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace zubra {
namespace {

// Random edits checked after each step against a plain list searched in order. Phases that
// mostly add and phases that mostly remove take the list past the length at which it starts
// to keep an index and back below it many times.
TEST(KeyValueList, EditsAgreeWithAPlainListAcrossTheIndexedLength) {
  constexpr int kKeySpace = 3 * static_cast<int>(KeyValueList::kIndexFrom);
  std::mt19937 random(20260511);
  std::uniform_int_distribution<int> pick_key(0, kKeySpace - 1);
  std::uniform_int_distribution<int> pick_action(0, 9);
  KeyValueList list;
  std::vector<KeyValueList::Entry> expected;
  const auto find = [&expected](const std::string& key) {
    return std::find_if(expected.begin(), expected.end(),
                        [&key](const auto& entry) { return entry.first == key; });
  };
  int crossings = 0;
  for (int step = 0; step < 10000; ++step) {
    const bool indexed_before = expected.size() > KeyValueList::kIndexFrom;
    // Keys that share a prefix or differ only in case must stay apart.
    const int k = pick_key(random);
    const std::string key = (k % 2 == 0 ? "Key" : "key") + std::to_string(k / 2);
    const bool growing = step / 500 % 2 == 0;
    const bool remove = pick_action(random) < (growing ? 2 : 8);
    if (remove) {
      const auto it = find(key);
      ASSERT_EQ(list.Remove(key), it != expected.end()) << step;
      if (it != expected.end()) expected.erase(it);
    } else {
      const std::string value = "v" + std::to_string(step);
      list.Set(key, value);
      if (const auto it = find(key); it != expected.end()) {
        it->second = value;
      } else {
        expected.emplace_back(key, value);
      }
    }
    ASSERT_EQ(list.Entries(), expected) << step;
    if (indexed_before != (expected.size() > KeyValueList::kIndexFrom)) ++crossings;
    const int probe = pick_key(random);
    const std::string probe_key = (probe % 2 == 0 ? "Key" : "key") + std::to_string(probe / 2);
    const auto it = find(probe_key);
    ASSERT_EQ(list.Get(probe_key),
              it == expected.end() ? std::nullopt : std::optional<std::string>(it->second))
        << step;
    ASSERT_EQ(list.Has(probe_key), it != expected.end()) << step;
  }
  EXPECT_GE(crossings, 10);
}

}  // namespace
}  // namespace zubra
