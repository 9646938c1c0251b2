#include "zubra/platform/base/list_options.h"

namespace zubra {
namespace {

// Default colours, indexed by entry.
constexpr std::array<std::uint32_t, ListOptions::kEntryCount> kDefaultColors = {
    0xDDEBF7,  // process factor: pale blue
    0xE2EFDA,  // formulation factor: pale green
    0xFFF2CC,  // filler factor: pale yellow
    0xFFFFFF,  // other factors: white
    0xFFF8E1,  // filler value: lighter yellow
    0xEDEDED,  // uncontrolled value: light grey
    0xE4DFEC,  // constant value: pale lavender
    0xFFFFFF,  // other values: white
    0xFCE4D6,  // derived response: pale orange
    0xFFFFFF,  // other responses: white
    0xFDF0E8,  // derived response value: lighter orange
    0xFFFFFF,  // other response values: white
};

// Returns the array index of `entry`, or kEntryCount for a value outside the enumeration.
std::size_t IndexOf(ListOptions::Entry entry) {
  const auto index = static_cast<std::size_t>(entry);
  return index < ListOptions::kEntryCount ? index : ListOptions::kEntryCount;
}

}  // namespace

ListOptions::ListOptions() { Reset(); }

ListOptions& ListOptions::Instance() {
  static ListOptions options;
  return options;
}

std::uint32_t ListOptions::GetDefaultColor(Entry entry) {
  const std::size_t index = IndexOf(entry);
  return index < kEntryCount ? kDefaultColors[index] : kMaxColor;
}

std::uint32_t ListOptions::GetColor(Entry entry) const {
  const std::size_t index = IndexOf(entry);
  return index < kEntryCount ? colors_[index] : kMaxColor;
}

bool ListOptions::SetColor(Entry entry, std::uint32_t color) {
  const std::size_t index = IndexOf(entry);
  if (index >= kEntryCount || color > kMaxColor) return false;
  colors_[index] = color;
  return true;
}

void ListOptions::Reset() { colors_ = kDefaultColors; }

}  // namespace zubra
