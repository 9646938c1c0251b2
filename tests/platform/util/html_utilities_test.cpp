#include "zubra/platform/util/html_utilities.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "tests/platform/util/section_test_support.h"

namespace zubra {
namespace {

using DecodeError = HtmlUtilities::URIDecodeException;
using test_support::ErrorOf;

// Every single byte, then random mixtures of entity-like text and of arbitrary bytes, from a
// fixed seed so that every run checks the same texts.
std::vector<std::string> SampleTexts() {
  std::vector<std::string> texts;
  for (int byte = 0; byte < 256; ++byte) texts.emplace_back(1, static_cast<char>(byte));
  std::mt19937 generator(20240611);
  const std::string alphabet = "&#;x<>\"'aZ09%+\t\n\x7F\xC2\x80\x9F\xE2\x82\xAC\xFF";
  for (int i = 0; i < 500; ++i) {
    std::string text;
    for (int k = 0; k < 12; ++k) {
      const auto random = generator();
      text += i % 2 == 0 ? alphabet[random % alphabet.size()] : static_cast<char>(random);
    }
    texts.push_back(text);
  }
  return texts;
}

TEST(HtmlUtilities, EscapesMarkupAndControlCharactersAndUnescapesBack) {
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"<a href=\"x\">'R&D'", "&lt;a href=&quot;x&quot;&gt;&apos;R&amp;D&apos;"},
      {"a\tb\r\nc\x01\x1F\x7F", "a&#9;b&#13;&#10;c&#1;&#31;&#127;"},
      {"x\xC2\x85\xC2\xA0", "x&#133;\xC2\xA0"},  // C1 control; no-break space is none
      {"\xE2\x82\xAC\xF0\x9F\x98\x80\xFF\xC2", "\xE2\x82\xAC\xF0\x9F\x98\x80\xFF\xC2"},
      {std::string("a\0b", 3), std::string("a\0b", 3)}};  // NUL has no entity
  for (const auto& [text, escaped] : rows) {
    EXPECT_EQ(HtmlUtilities::EscapeToHtml(text), escaped);
    EXPECT_EQ(HtmlUtilities::Unescape(escaped), text);
  }
  EXPECT_EQ(HtmlUtilities::Unescape("&#x41;&#X42;&#0067;&#x20AC;&#128512;&#x10FFFF;"),
            "ABC\xE2\x82\xAC\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF");
  for (const std::string& text : SampleTexts()) {
    const std::string escaped = HtmlUtilities::EscapeToHtml(text);
    EXPECT_EQ(escaped.find_first_of("<>\"'\t\r\n"), std::string::npos);
    EXPECT_EQ(HtmlUtilities::Unescape(escaped), text) << testing::PrintToString(text);
  }
}

TEST(HtmlUtilities, UnescapeRefusesMalformedAndUnknownEntities) {
  const std::string kNotAllowed = ";' at position 1 does not stand for an allowed character.";
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"a & b", "Malformed character entity at position 3."},
      {"&amp", "Malformed character entity at position 1."},
      {"&#12a;", "Malformed character entity at position 1."},
      {"&AMP;", "Unknown character entity '&AMP;' at position 1."},
      {"&#0;", "The character entity '&#0" + kNotAllowed},
      {"&#x110000;", "The character entity '&#x110000" + kNotAllowed},
      {"&#99999999999999999999;", "The character entity '&#99999999999999999999" + kNotAllowed}};
  for (const auto& [text, message] : rows) {
    EXPECT_EQ(ErrorOf<DecodeError>([&text = text] { HtmlUtilities::Unescape(text); }), message)
        << text;
  }
}

TEST(HtmlUtilities, URIDecodeUndoesURIEncodeAndRefusesBrokenEscapes) {
  EXPECT_EQ(HtmlUtilities::URIEncode("AZaz09-._~ +/%\xE2\x82\xAC"),
            "AZaz09-._~%20%2B%2F%25%E2%82%AC");
  EXPECT_EQ(HtmlUtilities::URIDecode("a+b%4a%4A%2541"), "a+bJJ%41");
  for (const std::string& text : SampleTexts()) {
    EXPECT_EQ(HtmlUtilities::URIDecode(HtmlUtilities::URIEncode(text)), text)
        << testing::PrintToString(text);
  }
  const std::vector<std::pair<std::string, int>> rows = {
      {"%", 1}, {"ab%2", 3}, {"%G0", 1}, {"x%4g", 2}, {"%%41", 1}};
  for (const auto& [text, position] : rows) {
    EXPECT_EQ(ErrorOf<DecodeError>([&text = text] { HtmlUtilities::URIDecode(text); }),
              "Invalid percent-encoding at position " + std::to_string(position) +
                  ": '%' must be followed by two hexadecimal digits.")
        << text;
  }
}

}  // namespace
}  // namespace zubra
