// The ordered key/value store that both configuration-section backends keep.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zubra {

// Keys and their text values in the order they were first set. Keys are compared exactly.
// Set throws Exception for a key or value holding a NUL character, which no stored form keeps.
class KeyValueList {
 public:
  using Entry = std::pair<std::string, std::string>;

  [[nodiscard]] bool Has(std::string_view key) const;
  [[nodiscard]] std::optional<std::string> Get(std::string_view key) const;
  // Replaces the value of an existing key in its place, or appends the key.
  void Set(std::string_view key, std::string_view value);
  bool Remove(std::string_view key);
  [[nodiscard]] std::vector<std::string> Keys() const;

  [[nodiscard]] const std::vector<Entry>& Entries() const { return entries_; }
  std::vector<Entry>& Entries() { return entries_; }

  // Throws Exception when `text` holds a NUL character.
  static void CheckNoNul(std::string_view text);

 private:
  std::vector<Entry> entries_;
};

}  // namespace zubra
