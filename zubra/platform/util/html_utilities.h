// Escaping of free text for stored forms: HTML character entities and URI percent-encoding.
#pragma once

#include <string>
#include <string_view>

#include "zubra/platform/util/exception.h"

namespace zubra {

// Reversible encodings that let any user text (names, abbreviations, units, settings) be
// stored in configuration files whose syntax reserves some characters.
//
// The current form is HTML escaping; the percent-encoding is the older form, still read from
// old files. Both decoders throw URIDecodeException on text that no encoder could have
// produced, so a reader can tell a damaged file from a good one; nothing else throws.
//
//   std::string stored = HtmlUtilities::EscapeToHtml(name);  // "R&D" -> "R&amp;D"
//   std::string back = HtmlUtilities::Unescape(stored);      // "R&D"
class HtmlUtilities {
 public:
  // Thrown by Unescape and URIDecode when their input is malformed; what() says why and where
  // (positions count bytes from 1).
  class URIDecodeException : public Exception {
   public:
    explicit URIDecodeException(const ExceptionMessage& message) : Exception(message) {}
  };

  HtmlUtilities() = delete;

  // Returns `text` with '&', '<', '>', '"' and '\'' replaced by "&amp;", "&lt;", "&gt;",
  // "&quot;" and "&apos;", and each control character (U+0001-U+001F, U+007F-U+009F, which
  // includes TAB, CR and LF) by a decimal entity such as "&#9;". Everything else, other UTF-8
  // and even invalid bytes, is copied. NUL bytes are copied too: no entity can stand for them.
  // Unescape(EscapeToHtml(s)) == s for every s.
  static std::string EscapeToHtml(std::string_view text);

  // Returns `text` with the entities "&amp;", "&lt;", "&gt;", "&quot;", "&apos;", "&#N;" and
  // "&#xH;" (or "&#XH;") replaced by their characters, written as UTF-8. Throws
  // URIDecodeException for a '&' that does not start one of these entities, an unknown name,
  // a missing ';', and a numeric entity for NUL, a surrogate or a value above U+10FFFF.
  // Text without '&' comes back unchanged.
  static std::string Unescape(std::string_view text);

  // Returns `text` with each "%XY" (two hexadecimal digits, either case) replaced by the byte
  // 0xXY; '+' stays '+'. Throws URIDecodeException when a '%' is not followed by two
  // hexadecimal digits. The result is not checked for valid UTF-8.
  static std::string URIDecode(std::string_view text);

  // Returns `text` with every byte other than the unreserved characters A-Z a-z 0-9 '-' '.'
  // '_' '~' written as "%XY" with upper-case digits. URIDecode(URIEncode(s)) == s.
  static std::string URIEncode(std::string_view text);
};

}  // namespace zubra
