#include "zubra/platform/util/key_value_list.h"

#include <algorithm>

#include "zubra/platform/util/exception.h"

namespace zubra {

void KeyValueList::CheckNoNul(std::string_view text) {
  if (text.find('\0') != std::string_view::npos) {
    throw Exception(
        ExceptionMessage::translate("Keys, values and section names cannot hold a NUL character."));
  }
}

bool KeyValueList::Has(std::string_view key) const {
  return std::any_of(entries_.begin(), entries_.end(),
                     [key](const Entry& entry) { return entry.first == key; });
}

std::optional<std::string> KeyValueList::Get(std::string_view key) const {
  for (const auto& [name, value] : entries_) {
    if (name == key) return value;
  }
  return std::nullopt;
}

void KeyValueList::Set(std::string_view key, std::string_view value) {
  CheckNoNul(key);
  CheckNoNul(value);
  for (auto& [name, text] : entries_) {
    if (name == key) {
      text = value;
      return;
    }
  }
  entries_.emplace_back(key, value);
}

bool KeyValueList::Remove(std::string_view key) {
  const auto it = std::find_if(entries_.begin(), entries_.end(),
                               [key](const Entry& entry) { return entry.first == key; });
  if (it == entries_.end()) return false;
  entries_.erase(it);
  return true;
}

std::vector<std::string> KeyValueList::Keys() const {
  std::vector<std::string> keys;
  keys.reserve(entries_.size());
  for (const Entry& entry : entries_) keys.push_back(entry.first);
  return keys;
}

}  // namespace zubra
