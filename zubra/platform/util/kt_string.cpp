#include "zubra/platform/util/kt_string.h"

#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <array>
#include <cassert>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <memory>
#include <system_error>

namespace zubra {
namespace {

constexpr std::string_view kAsciiBlanks = " \t\r\n\v\f";
constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";  // U+FFFD

std::string_view TrimView(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kAsciiBlanks);
  if (first == std::string_view::npos) return {};
  const std::size_t last = text.find_last_not_of(kAsciiBlanks);
  return text.substr(first, last - first + 1);
}

char LowerAscii(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

// Strips the blanks and one leading '+' (std::from_chars accepts only '-'). Returns false when
// nothing that could be a number is left.
bool PrepareNumberText(std::string_view& text) {
  text = TrimView(text);
  if (!text.empty() && text.front() == '+') {
    text.remove_prefix(1);
    if (!text.empty() && (text.front() == '+' || text.front() == '-')) return false;
  }
  return !text.empty();
}

template <typename Real>
std::optional<Real> ParseReal(std::string_view text, KtString::DecimalMark mark) {
  if (!PrepareNumberText(text)) return std::nullopt;
  std::string with_point;
  if (mark == KtString::DecimalMark::kPointOrComma && text.find(',') != std::string_view::npos) {
    // Every comma becomes a point; a second separator then fails as trailing text.
    with_point.assign(text);
    for (char& c : with_point) {
      if (c == ',') c = '.';
    }
    text = with_point;
  }
  Real value{};
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value, std::chars_format::general);
  if (error != std::errc() || stop != end || !std::isfinite(value)) return std::nullopt;
  return value;
}

template <typename Number>
std::string ToCharsString(Number value) {
  std::array<char, 64> buffer{};
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
  return std::string(buffer.data(), result.ptr);
}

// True when the byte can follow the lead byte of a multi-byte sequence.
bool IsContinuation(unsigned char byte) { return (byte & 0xC0U) == 0x80U; }

icu::UnicodeString ToUnicode(std::string_view text) {
  // fromUTF8 substitutes U+FFFD for each maximal ill-formed subsequence.
  return icu::UnicodeString::fromUTF8(
      icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
}

// Counts code points: the fallback when the break iterator cannot be created.
std::size_t CodePointCount(std::string_view text) {
  std::size_t count = 0;
  for (std::size_t position = 0; position < text.size(); ++count) {
    KtStdString::DecodeUtf8(text, position);
  }
  return count;
}

}  // namespace

std::optional<float> KtString::ToFloat(std::string_view text, DecimalMark mark) {
  return ParseReal<float>(text, mark);
}

std::optional<double> KtString::ToDouble(std::string_view text, DecimalMark mark) {
  return ParseReal<double>(text, mark);
}

std::optional<int> KtString::ToInt(std::string_view text) {
  if (!PrepareNumberText(text)) return std::nullopt;
  int value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value, 10);
  if (error != std::errc() || stop != end) return std::nullopt;
  return value;
}

std::string KtString::FormatG(double value) {
  // std::to_chars with the general format and a precision is defined as printf's "%.*g" in
  // the "C" locale.
  std::array<char, 64> buffer{};
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                    std::chars_format::general, 6);
  return std::string(buffer.data(), result.ptr);
}

std::string KtString::FormatShortest(double value) { return ToCharsString(value); }

std::string KtString::FormatShortest(float value) { return ToCharsString(value); }

int KtStdString::CompareNoCase(std::string_view a, std::string_view b) {
  const std::size_t common = a.size() < b.size() ? a.size() : b.size();
  for (std::size_t i = 0; i < common; ++i) {
    const auto left = static_cast<unsigned char>(LowerAscii(a[i]));
    const auto right = static_cast<unsigned char>(LowerAscii(b[i]));
    if (left != right) return left < right ? -1 : 1;
  }
  if (a.size() == b.size()) return 0;
  return a.size() < b.size() ? -1 : 1;
}

bool KtStdString::EqualsNoCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && CompareNoCase(a, b) == 0;
}

std::string KtStdString::ToLower(std::string_view text) {
  std::string lowered(text);
  for (char& c : lowered) c = LowerAscii(c);
  return lowered;
}

std::string KtStdString::LowerFirst(std::string_view text) {
  std::string lowered(text);
  if (!lowered.empty()) lowered[0] = LowerAscii(lowered[0]);
  return lowered;
}

std::string KtStdString::ToLowerUnicode(std::string_view text) {
  icu::UnicodeString unicode = ToUnicode(text);
  unicode.toLower(icu::Locale::getRoot());
  std::string lowered;
  unicode.toUTF8String(lowered);
  return lowered;
}

std::string KtStdString::Trim(std::string_view text) { return std::string(TrimView(text)); }

std::vector<std::string> KtStdString::Split(std::string_view text, char separator) {
  std::vector<std::string> fields;
  std::size_t start = 0;
  while (true) {
    const std::size_t stop = text.find(separator, start);
    if (stop == std::string_view::npos) {
      fields.emplace_back(text.substr(start));
      return fields;
    }
    fields.emplace_back(text.substr(start, stop - start));
    start = stop + 1;
  }
}

std::size_t KtStdString::GraphemeCount(std::string_view text) {
  // Plain ASCII needs no tables: every byte is a cluster of its own except that CR LF is one.
  bool ascii = true;
  std::size_t crlf = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (static_cast<unsigned char>(text[i]) >= 0x80U) {
      ascii = false;
      break;
    }
    if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++crlf;
  }
  if (ascii) return text.size() - crlf;

  // Creating a break iterator is costly; each thread keeps one.
  thread_local std::unique_ptr<icu::BreakIterator> iterator = [] {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::BreakIterator> created(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    if (U_FAILURE(status)) created.reset();
    return created;
  }();
  if (!iterator) return CodePointCount(text);

  const icu::UnicodeString unicode = ToUnicode(text);
  iterator->setText(unicode);
  std::size_t count = 0;
  iterator->first();
  while (iterator->next() != icu::BreakIterator::DONE) ++count;
  // The iterator keeps a reference to its text; point it at a string that outlives it.
  static const icu::UnicodeString kNoText;
  iterator->setText(kNoText);
  return count;
}

bool KtStdString::IsValidUtf8(std::string_view text) {
  std::size_t position = 0;
  while (position < text.size()) {
    if (static_cast<unsigned char>(text[position]) < 0x80U) {
      ++position;
      continue;
    }
    if (!DecodeUtf8(text, position)) return false;
  }
  return true;
}

std::string KtStdString::RepairUtf8(std::string_view text) {
  std::string repaired;
  repaired.reserve(text.size());
  std::size_t position = 0;
  while (position < text.size()) {
    const std::size_t start = position;
    if (DecodeUtf8(text, position)) {
      repaired.append(text.substr(start, position - start));
    } else {
      repaired.append(kReplacementCharacter);
    }
  }
  return repaired;
}

std::optional<char32_t> KtStdString::DecodeUtf8(std::string_view text, std::size_t& position) {
  assert(position < text.size());
  const auto lead = static_cast<unsigned char>(text[position]);
  ++position;
  if (lead < 0x80U) return static_cast<char32_t>(lead);

  // The number of continuation bytes, the first code-point bits, and the range allowed for
  // the second byte, which is what excludes overlong forms, surrogates and values above
  // U+10FFFF.
  int trailing = 0;
  char32_t code_point = 0;
  unsigned char second_low = 0x80U;
  unsigned char second_high = 0xBFU;
  if (lead >= 0xC2U && lead <= 0xDFU) {
    trailing = 1;
    code_point = lead & 0x1FU;
  } else if (lead >= 0xE0U && lead <= 0xEFU) {
    trailing = 2;
    code_point = lead & 0x0FU;
    if (lead == 0xE0U) second_low = 0xA0U;
    if (lead == 0xEDU) second_high = 0x9FU;
  } else if (lead >= 0xF0U && lead <= 0xF4U) {
    trailing = 3;
    code_point = lead & 0x07U;
    if (lead == 0xF0U) second_low = 0x90U;
    if (lead == 0xF4U) second_high = 0x8FU;
  } else {
    return std::nullopt;  // A continuation byte, C0, C1 or F5-FF cannot start a sequence.
  }

  for (int k = 0; k < trailing; ++k) {
    if (position >= text.size()) return std::nullopt;
    const auto byte = static_cast<unsigned char>(text[position]);
    const bool allowed =
        k == 0 ? (byte >= second_low && byte <= second_high) : IsContinuation(byte);
    if (!allowed) return std::nullopt;  // The offending byte starts the next sequence.
    code_point = (code_point << 6U) | (byte & 0x3FU);
    ++position;
  }
  return code_point;
}

}  // namespace zubra
