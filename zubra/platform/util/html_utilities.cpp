#include "zubra/platform/util/html_utilities.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace zubra {
namespace {

struct NamedEntity {
  std::string_view name;  // Between '&' and ';'.
  char character;
};

// The one table that serves both directions of the named entities.
constexpr std::array<NamedEntity, 5> kNamedEntities = {{
    {"amp", '&'},
    {"lt", '<'},
    {"gt", '>'},
    {"quot", '"'},
    {"apos", '\''},
}};

constexpr char32_t kMaxCodePoint = 0x10FFFF;

bool IsDecimalDigit(char c) { return c >= '0' && c <= '9'; }

// The value of a hexadecimal digit, or -1.
int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool IsAsciiAlphanumeric(char c) {
  return IsDecimalDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

void AppendDecimalEntity(std::string& out, unsigned value) {
  out += "&#";
  out += std::to_string(value);
  out += ';';
}

void AppendUtf8(std::string& out, char32_t code_point) {
  const auto byte = [](std::uint32_t bits) { return static_cast<char>(bits); };
  const auto value = static_cast<std::uint32_t>(code_point);
  if (value < 0x80U) {
    out += byte(value);
  } else if (value < 0x800U) {
    out += byte(0xC0U | (value >> 6U));
    out += byte(0x80U | (value & 0x3FU));
  } else if (value < 0x10000U) {
    out += byte(0xE0U | (value >> 12U));
    out += byte(0x80U | ((value >> 6U) & 0x3FU));
    out += byte(0x80U | (value & 0x3FU));
  } else {
    out += byte(0xF0U | (value >> 18U));
    out += byte(0x80U | ((value >> 12U) & 0x3FU));
    out += byte(0x80U | ((value >> 6U) & 0x3FU));
    out += byte(0x80U | (value & 0x3FU));
  }
}

[[noreturn]] void ThrowMalformedEntity(std::size_t ampersand) {
  throw HtmlUtilities::URIDecodeException(
      ExceptionMessage::translate("Malformed character entity at position {}.") % (ampersand + 1));
}

// Decodes the numeric entity whose digits start at `digits` ("&#" or "&#x" already read) and
// appends its character. Returns the position after the ';'.
std::size_t DecodeNumericEntity(std::string_view text, std::size_t ampersand, std::size_t digits,
                                bool hexadecimal, std::string& out) {
  const unsigned base = hexadecimal ? 16U : 10U;
  char32_t value = 0;
  bool too_large = false;
  std::size_t position = digits;
  while (position < text.size()) {
    const int digit = hexadecimal ? HexValue(text[position])
                                  : (IsDecimalDigit(text[position]) ? text[position] - '0' : -1);
    if (digit < 0) break;
    // Stop growing once past the Unicode range, so any number of digits cannot overflow.
    if (!too_large) {
      value = value * base + static_cast<char32_t>(digit);
      too_large = value > kMaxCodePoint;
    }
    ++position;
  }
  if (position == digits || position >= text.size() || text[position] != ';') {
    ThrowMalformedEntity(ampersand);
  }
  const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
  if (too_large || surrogate || value == 0) {
    throw HtmlUtilities::URIDecodeException(
        ExceptionMessage::translate("The character entity '{}' at position {} does not stand "
                                    "for an allowed character.") %
        text.substr(ampersand, position + 1 - ampersand) % (ampersand + 1));
  }
  AppendUtf8(out, value);
  return position + 1;
}

// Decodes the entity that starts with the '&' at `ampersand` and appends its character.
// Returns the position after the entity.
std::size_t DecodeEntity(std::string_view text, std::size_t ampersand, std::string& out) {
  std::size_t position = ampersand + 1;
  if (position < text.size() && text[position] == '#') {
    ++position;
    const bool hexadecimal =
        position < text.size() && (text[position] == 'x' || text[position] == 'X');
    if (hexadecimal) ++position;
    return DecodeNumericEntity(text, ampersand, position, hexadecimal, out);
  }
  const std::size_t name_start = position;
  while (position < text.size() && IsAsciiAlphanumeric(text[position])) ++position;
  if (position == name_start || position >= text.size() || text[position] != ';') {
    ThrowMalformedEntity(ampersand);
  }
  const std::string_view name = text.substr(name_start, position - name_start);
  for (const NamedEntity& entity : kNamedEntities) {
    if (entity.name == name) {
      out += entity.character;
      return position + 1;
    }
  }
  throw HtmlUtilities::URIDecodeException(
      ExceptionMessage::translate("Unknown character entity '{}' at position {}.") %
      text.substr(ampersand, position + 1 - ampersand) % (ampersand + 1));
}

}  // namespace

std::string HtmlUtilities::EscapeToHtml(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const auto byte = static_cast<unsigned char>(c);
    bool named = false;
    for (const NamedEntity& entity : kNamedEntities) {
      if (entity.character == c) {
        out += '&';
        out += entity.name;
        out += ';';
        named = true;
        break;
      }
    }
    if (named) continue;
    if ((byte >= 0x01U && byte < 0x20U) || byte == 0x7FU) {
      AppendDecimalEntity(out, byte);
    } else if (byte == 0xC2U && i + 1 < text.size() &&
               static_cast<unsigned char>(text[i + 1]) >= 0x80U &&
               static_cast<unsigned char>(text[i + 1]) <= 0x9FU) {
      // U+0080-U+009F, the C1 control characters, are encoded as C2 80 - C2 9F.
      AppendDecimalEntity(out, static_cast<unsigned char>(text[i + 1]));
      ++i;
    } else {
      out += c;
    }
  }
  return out;
}

std::string HtmlUtilities::Unescape(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  std::size_t position = 0;
  while (position < text.size()) {
    const std::size_t ampersand = text.find('&', position);
    if (ampersand == std::string_view::npos) {
      out.append(text.substr(position));
      break;
    }
    out.append(text.substr(position, ampersand - position));
    position = DecodeEntity(text, ampersand, out);
  }
  return out;
}

std::string HtmlUtilities::URIDecode(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      out += text[i];
      continue;
    }
    const int high = i + 1 < text.size() ? HexValue(text[i + 1]) : -1;
    const int low = i + 2 < text.size() ? HexValue(text[i + 2]) : -1;
    if (high < 0 || low < 0) {
      throw URIDecodeException(
          ExceptionMessage::translate("Invalid percent-encoding at position {}: '%' must be "
                                      "followed by two hexadecimal digits.") %
          (i + 1));
    }
    out += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return out;
}

std::string HtmlUtilities::URIEncode(std::string_view text) {
  constexpr std::string_view kHexDigits = "0123456789ABCDEF";
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    if (IsAsciiAlphanumeric(c) || c == '-' || c == '.' || c == '_' || c == '~') {
      out += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      out += '%';
      out += kHexDigits[byte >> 4U];
      out += kHexDigits[byte & 0x0FU];
    }
  }
  return out;
}

}  // namespace zubra
