// The colours in which lists show factors, values and responses.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace zubra {

// Process-wide list-display options: the background colour of each kind of list entry. One
// object per process, reached through Instance(); Reset() restores the default colours
// (tests call it so that no state leaks).
//
// A colour is a 32-bit RGB value 0x00RRGGBB: red in bits 16..23, green in 8..15, blue in
// 0..7; the top byte is always 0. The defaults are pale tints that keep black text readable.
//
//   ListOptions::Instance().SetColor(ListOptions::Entry::kFillerFactor, 0xFFEECC);
//   std::uint32_t c = ListOptions::Instance().GetColor(ListOptions::Entry::kFillerFactor);
class ListOptions {
 public:
  enum class Entry : int {
    kProcessFactor,         // multilevel, qualitative and time factors
    kFormulationFactor,     // formulation (mixture) factors
    kFillerFactor,          // filler factors
    kDefaultFactor,         // every other factor kind
    kFillerValue,           // the values of a filler factor
    kUncontrolledValue,     // the values of an uncontrolled factor
    kConstantValue,         // the values of a constant factor
    kDefaultValue,          // every other factor value
    kDerivedResponse,       // responses computed from other variables by a formula
    kDefaultResponse,       // every other response
    kDerivedResponseValue,  // the values of a derived response
    kDefaultResponseValue,  // every other response value
  };

  static constexpr std::size_t kEntryCount = 12;

  // Every entry, in declaration order.
  static constexpr std::array<Entry, kEntryCount> kAllEntries = {
      Entry::kProcessFactor,   Entry::kFormulationFactor,    Entry::kFillerFactor,
      Entry::kDefaultFactor,   Entry::kFillerValue,          Entry::kUncontrolledValue,
      Entry::kConstantValue,   Entry::kDefaultValue,         Entry::kDerivedResponse,
      Entry::kDefaultResponse, Entry::kDerivedResponseValue, Entry::kDefaultResponseValue,
  };

  // The largest valid colour, white.
  static constexpr std::uint32_t kMaxColor = 0xFFFFFF;

  // Returns the one object of the process.
  static ListOptions& Instance();

  ListOptions(const ListOptions&) = delete;
  ListOptions& operator=(const ListOptions&) = delete;

  // Returns the default colour of `entry`; white for a value outside kAllEntries.
  static std::uint32_t GetDefaultColor(Entry entry);

  // Returns the current colour of `entry`; white for a value outside kAllEntries.
  [[nodiscard]] std::uint32_t GetColor(Entry entry) const;

  // Stores `color` for `entry` and returns true; returns false and keeps the old colour when
  // `color` has bits above kMaxColor or `entry` is not one of kAllEntries.
  bool SetColor(Entry entry, std::uint32_t color);

  // Puts every entry back to its default colour.
  void Reset();

 private:
  ListOptions();

  std::array<std::uint32_t, kEntryCount> colors_{};
};

}  // namespace zubra
