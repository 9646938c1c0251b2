// Text helpers: locale-independent number conversion (KtString) and byte-string operations
// such as case-free comparison, splitting, UTF-8 checks and grapheme counting (KtStdString).
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zubra {

// Conversions between numbers and their text forms.
//
// The text-to-number conversions never look at the process locale: "1.5" is one and a half
// under every locale, and "1,5" is read only when the caller asks for the decimal comma. They
// accept a field only when all of it is a number: ASCII blanks (space, TAB, CR, LF, VT, FF)
// around the number are ignored, one leading '+' or '-' is allowed, and anything else left
// over (trailing text, a second sign, a thousands separator) makes the conversion fail. Empty
// text, "nan", "inf" and values beyond the range of the target type (also those too small to
// be told from zero) fail as well. Failure is reported by an empty optional; nothing throws.
//
//   std::optional<float> value = KtString::ToFloat(field, KtString::DecimalMark::kPointOrComma);
//   if (!value) return false;  // not a number
//
// KtString groups number conversions; the string operations live in KtStdString below. The
// two names are kept apart so that every operation has exactly one home.
class KtString {
 public:
  // Which character the text-to-number conversions accept as the decimal separator.
  enum class DecimalMark {
    kPoint,         // "1.5" only; "1,5" is not a number.
    kPointOrComma,  // "1.5" and "1,5" are both one and a half; "1,5.0" is not a number.
  };

  KtString() = delete;

  // Returns the single-precision number nearest to `text` (converted directly, not through
  // double, so there is no double rounding), or nullopt when `text` is not a number.
  static std::optional<float> ToFloat(std::string_view text,
                                      DecimalMark mark = DecimalMark::kPoint);

  // Returns the double nearest to `text`, or nullopt when `text` is not a number.
  static std::optional<double> ToDouble(std::string_view text,
                                        DecimalMark mark = DecimalMark::kPoint);

  // Returns the decimal integer in `text` ("42", " -7 ", "+3"), or nullopt when `text` is not
  // an integer of the int range. "5.0" and "1e3" are not integers.
  static std::optional<int> ToInt(std::string_view text);

  // Formats `value` as printf's "%g" does in the "C" locale (six significant digits, trailing
  // zeros removed, exponent form for very large and small values): 0.1 -> "0.1",
  // 1234567 -> "1.23457e+06". Not-a-number gives "nan" (or "-nan"), infinities "inf" and "-inf".
  static std::string FormatG(double value);

  // Formats `value` with the fewest digits that read back (ToDouble / ToFloat) to exactly the
  // same value: 0.1 -> "0.1", 1e21 -> "1e+21". The float overload is shortest for float, so
  // 0.1F gives "0.1" rather than "0.10000000149011612". Use this for stored forms.
  static std::string FormatShortest(double value);
  static std::string FormatShortest(float value);
};

// Operations on UTF-8 byte strings.
//
// Case-free comparison, lower-casing by ToLower and trimming act on ASCII only, so they are
// cheap and give the same result under every locale; ToLowerUnicode and GraphemeCount use the
// Unicode tables. Invalid UTF-8 never makes an operation fail or crash: the byte-level
// operations pass such bytes through, and the Unicode-aware ones treat each maximal ill-formed
// subsequence as one U+FFFD replacement character.
class KtStdString {
 public:
  KtStdString() = delete;

  // Compares `a` and `b` with ASCII letters folded to lower case, byte by byte (as unsigned
  // values): negative when `a` sorts first, 0 when they are equal, positive otherwise. A
  // proper prefix sorts first. Non-ASCII bytes are compared as they are.
  static int CompareNoCase(std::string_view a, std::string_view b);

  // True when `a` and `b` are equal with ASCII letters folded ("Temp" equals "TEMP").
  static bool EqualsNoCase(std::string_view a, std::string_view b);

  // Returns `text` with the ASCII letters A-Z lowered; every other byte unchanged.
  static std::string ToLower(std::string_view text);

  // Returns `text` with its first byte lowered when it is an ASCII letter A-Z ("Log" -> "log"),
  // the form in which JSON documents write type names.
  static std::string LowerFirst(std::string_view text);

  // Returns `text` lowered by the Unicode rules of the root locale ("ÄÖÜ" -> "äöü",
  // "ΣΑΣ" -> "σας"). Invalid UTF-8 comes back repaired as by RepairUtf8.
  static std::string ToLowerUnicode(std::string_view text);

  // Returns `text` without leading and trailing ASCII blanks (space, TAB, CR, LF, VT, FF).
  static std::string Trim(std::string_view text);

  // Splits `text` at every `separator`, keeping empty fields: "a,,b" gives {"a", "", "b"},
  // "a," gives {"a", ""} and "" gives {""}. There is always one more field than separators.
  static std::vector<std::string> Split(std::string_view text, char separator);

  // Returns the number of user-perceived characters (extended grapheme clusters) of the
  // UTF-8 `text`: "e" followed by a combining accent, an emoji with a skin-tone modifier, a
  // flag, a family joined by zero-width joiners and CR LF each count as one.
  static std::size_t GraphemeCount(std::string_view text);

  // True when `text` is well-formed UTF-8: no overlong forms, no surrogates (U+D800-U+DFFF),
  // nothing above U+10FFFF, no truncated sequence. The empty text is valid.
  static bool IsValidUtf8(std::string_view text);

  // Returns `text` with each maximal ill-formed subsequence replaced by U+FFFD, the usual
  // substitution of the Unicode standard; well-formed text comes back unchanged.
  static std::string RepairUtf8(std::string_view text);

  // Decodes the UTF-8 sequence that starts at byte `position` of `text` and moves `position`
  // past it. Returns the code point, or nullopt for an ill-formed sequence, in which case
  // `position` moves past its maximal ill-formed subsequence (at least one byte). `position`
  // must be below text.size().
  static std::optional<char32_t> DecodeUtf8(std::string_view text, std::size_t& position);
};

}  // namespace zubra
