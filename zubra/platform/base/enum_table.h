// A constexpr two-way table between the codes of an enumeration and the texts or numbers that
// stand for them in stored forms, with the JSON conversions built on it.
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <string>
#include <string_view>

#include "zubra/platform/util/json.h"

namespace zubra {

// One row of an enumeration table: a code and the text (or number) that stands for it.
template <typename E, typename V = std::string_view>
struct EnumEntry {
  E code;
  V value;
};

// A fixed list of {code, value} rows that serves both directions of an enumeration's
// conversion. Texts match without regard to ASCII case ("quantitative" finds "Quantitative";
// other bytes, UTF-8 included, must be equal); numbers match within 1e-9, so a level read
// back from JSON text finds its row. Lookups walk the rows in order and the first match wins;
// IsOneToOne() lets each table prove at compile time that no code or value is listed twice.
//
//   static constexpr auto kTexts = MakeEnumTable<EUse>({{kNotSet, "NotSet"}, ...});
//   static_assert(kTexts.IsOneToOne());
//   kTexts.ValueOf(kControlled, "")  -> "Controlled"
//   kTexts.CodeOf("controlled", kNotSet)  -> kControlled
template <typename E, typename V, std::size_t N>
class EnumTable {
 public:
  using Entry = EnumEntry<E, V>;

  constexpr explicit EnumTable(const std::array<Entry, N>& entries) : entries_(entries) {}

  // Returns the value listed for `code`, or `fallback` when the code has no row.
  [[nodiscard]] constexpr V ValueOf(E code, V fallback) const {
    for (const Entry& entry : entries_) {
      if (entry.code == code) return entry.value;
    }
    return fallback;
  }

  // Returns the code of the first row whose value matches `value`, or `fallback`.
  [[nodiscard]] constexpr E CodeOf(const V& value, E fallback) const {
    for (const Entry& entry : entries_) {
      if (Matches(entry.value, value)) return entry.code;
    }
    return fallback;
  }

  // True when `code` has a row.
  [[nodiscard]] constexpr bool Contains(E code) const {
    for (const Entry& entry : entries_) {
      if (entry.code == code) return true;
    }
    return false;
  }

  // True when no two rows share a code and no two rows have matching values, so that every
  // code survives the trip to its value and back.
  [[nodiscard]] constexpr bool IsOneToOne() const {
    for (std::size_t i = 0; i < N; ++i) {
      for (std::size_t j = i + 1; j < N; ++j) {
        if (entries_[i].code == entries_[j].code) return false;
        if (Matches(entries_[i].value, entries_[j].value)) return false;
      }
    }
    return true;
  }

  [[nodiscard]] constexpr const std::array<Entry, N>& Entries() const { return entries_; }

  // Returns the text of `code` in lower camel case, the form JSON documents use: the leading
  // capital is lowered, or a leading acronym as a whole ("UnitVariance" -> "unitVariance",
  // "MLR" -> "mlr", "PLSScaling" -> "plsScaling", "R2Adj" -> "r2Adj"). An unlisted code
  // gives "".
  [[nodiscard]] std::string LowerCamelOf(E code) const requires std::same_as<V, std::string_view> {
    std::string text(ValueOf(code, ""));
    std::size_t capitals = 0;
    while (capitals < text.size() && IsUpper(text[capitals])) ++capitals;
    // In "PLSScaling" the last capital of the run starts the next word and stays.
    std::size_t lowered = capitals;
    if (capitals > 1 && capitals < text.size() && IsLower(text[capitals])) --lowered;
    for (std::size_t i = 0; i < lowered; ++i) text[i] = static_cast<char>(text[i] - 'A' + 'a');
    return text;
  }

 private:
  static constexpr bool IsUpper(char c) { return c >= 'A' && c <= 'Z'; }
  static constexpr bool IsLower(char c) { return c >= 'a' && c <= 'z'; }
  static constexpr char LowerAscii(char c) {
    return IsUpper(c) ? static_cast<char>(c - 'A' + 'a') : c;
  }

  static constexpr bool Matches(const V& a, const V& b) {
    if constexpr (std::same_as<V, std::string_view>) {
      if (a.size() != b.size()) return false;
      for (std::size_t i = 0; i < a.size(); ++i) {
        if (LowerAscii(a[i]) != LowerAscii(b[i])) return false;
      }
      return true;
    } else {
      // NaN compares false both ways and so matches nothing.
      constexpr V kTolerance = 1e-9;
      return a - b <= kTolerance && b - a <= kTolerance;
    }
  }

  std::array<Entry, N> entries_;
};

// Builds a table from a braced list of rows; E is named, the value type defaults to text.
template <typename E, typename V = std::string_view, std::size_t N>
constexpr EnumTable<E, V, N> MakeEnumTable(const EnumEntry<E, V> (&entries)[N]) {
  return EnumTable<E, V, N>(std::to_array(entries));
}

// Returns the JSON string form of `code`: its text in lower camel case ("" when unlisted).
template <typename E, std::size_t N>
json_value EnumTextToJson(const EnumTable<E, std::string_view, N>& table, E code) {
  return json_value(table.LowerCamelOf(code));
}

// Reads a code from its JSON string form (any ASCII case). A value that is not a string, or a
// text without a row, gives `fallback`.
template <typename E, std::size_t N>
E EnumTextFromJson(const EnumTable<E, std::string_view, N>& table, const json_value& value,
                   E fallback) {
  if (!value.is_string()) return fallback;
  return table.CodeOf(value.template get_ref<const std::string&>(), fallback);
}

// Returns the JSON number form of `code`, or null when the code has no row.
template <typename E, std::size_t N>
json_value EnumNumberToJson(const EnumTable<E, double, N>& table, E code) {
  if (!table.Contains(code)) return {};
  return json_value(table.ValueOf(code, 0.0));
}

// Reads a code from its JSON number form (integer or real). A value that is not a number, or
// a number without a row, gives `fallback`.
template <typename E, std::size_t N>
E EnumNumberFromJson(const EnumTable<E, double, N>& table, const json_value& value, E fallback) {
  if (!value.is_number()) return fallback;
  return table.CodeOf(value.template get<double>(), fallback);
}

}  // namespace zubra
