#include "zubra/platform/util/key_value_list.h"

#include "zubra/platform/util/exception.h"

namespace zubra {

void KeyValueList::CheckNoNul(std::string_view text) {
  if (text.find('\0') != std::string_view::npos) {
    throw Exception(
        ExceptionMessage::translate("Keys, values and section names cannot hold a NUL character."));
  }
}

std::size_t KeyValueList::Find(std::string_view key) const {
  if (!index_.empty()) {
    const auto it = index_.find(key);
    return it == index_.end() ? kAbsent : it->second;
  }
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    if (entries_[i].first == key) return i;
  }
  return kAbsent;
}

bool KeyValueList::Has(std::string_view key) const { return Find(key) != kAbsent; }

std::optional<std::string> KeyValueList::Get(std::string_view key) const {
  const std::size_t position = Find(key);
  if (position == kAbsent) return std::nullopt;
  return entries_[position].second;
}

void KeyValueList::Set(std::string_view key, std::string_view value) {
  CheckNoNul(key);
  CheckNoNul(value);
  if (const std::size_t position = Find(key); position != kAbsent) {
    entries_[position].second = value;
    return;
  }
  entries_.emplace_back(key, value);
  if (!index_.empty()) {
    index_.emplace(key, entries_.size() - 1);
  } else if (entries_.size() > kIndexFrom) {
    index_.reserve(entries_.size());
    for (std::size_t i = 0; i < entries_.size(); ++i) index_.emplace(entries_[i].first, i);
  }
}

bool KeyValueList::Remove(std::string_view key) {
  const std::size_t position = Find(key);
  if (position == kAbsent) return false;
  entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(position));
  if (entries_.size() <= kIndexFrom) {
    index_.clear();
  } else {
    index_.erase(index_.find(key));
    for (std::size_t i = position; i < entries_.size(); ++i) index_[entries_[i].first] = i;
  }
  return true;
}

std::vector<std::string> KeyValueList::Keys() const {
  std::vector<std::string> keys;
  keys.reserve(entries_.size());
  for (const Entry& entry : entries_) keys.push_back(entry.first);
  return keys;
}

}  // namespace zubra
