// The ordered key/value store that both configuration-section backends keep.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace zubra {

// Hashes std::string and std::string_view alike, so that maps keyed by std::string can be
// searched with a view without building a string.
struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const noexcept {
    return std::hash<std::string_view>{}(text);
  }
};

// Keys and their text values in the order they were first set. Keys are compared exactly.
// Set throws Exception for a key or value holding a NUL character, which no stored form keeps.
//
// Lookups take constant time on average whatever the number of keys: a list longer than
// kIndexFrom entries keeps an index by key beside the ordered entries (a shorter one is
// searched in order, which is faster for the handful of keys most sections hold). Remove
// takes time in proportion to the number of keys.
class KeyValueList {
 public:
  using Entry = std::pair<std::string, std::string>;

  // Lists longer than this keep an index by key.
  static constexpr std::size_t kIndexFrom = 32;

  [[nodiscard]] bool Has(std::string_view key) const;
  [[nodiscard]] std::optional<std::string> Get(std::string_view key) const;
  // Replaces the value of an existing key in its place, or appends the key.
  void Set(std::string_view key, std::string_view value);
  bool Remove(std::string_view key);
  [[nodiscard]] std::vector<std::string> Keys() const;

  [[nodiscard]] const std::vector<Entry>& Entries() const { return entries_; }

  // Throws Exception when `text` holds a NUL character.
  static void CheckNoNul(std::string_view text);

 private:
  static constexpr std::size_t kAbsent = static_cast<std::size_t>(-1);

  // The position of `key` in entries_, or kAbsent.
  [[nodiscard]] std::size_t Find(std::string_view key) const;

  std::vector<Entry> entries_;
  // Key -> position in entries_ for every entry while entries_ holds more than kIndexFrom
  // entries; empty otherwise.
  std::unordered_map<std::string, std::size_t, TextHash, std::equal_to<>> index_;
};

}  // namespace zubra
