#include "zubra/platform/util/html_utilities.h"

#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <string>
#include <vector>

namespace zubra {
namespace {

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

template <typename Function>
std::optional<std::string> DecodeError(Function function) {
  try {
    function();
  } catch (const HtmlUtilities::URIDecodeException& error) {
    return error.Message();
  }
  return std::nullopt;
}

TEST(HtmlUtilities, EscapesMarkupAndControlCharactersAndUnescapesBack) {
  struct Row {
    const char* name;
    std::string text;
    std::string escaped;
  };
  const std::vector<Row> rows = {
      {"markup and quotes", "<a href=\"x\">'R&D'",
       "&lt;a href=&quot;x&quot;&gt;&apos;R&amp;D&apos;"},
      {"tab and line break", "a\tb\r\nc", "a&#9;b&#13;&#10;c"},
      {"other C0 controls and DEL", "\x01\x1F\x7F", "&#1;&#31;&#127;"},
      {"C1 control", "x\xC2\x85", "x&#133;"},
      {"no-break space is no control", "\xC2\xA0", "\xC2\xA0"},
      {"other UTF-8 and invalid bytes", "\xE2\x82\xAC\xF0\x9F\x98\x80\xFF\xC2",
       "\xE2\x82\xAC\xF0\x9F\x98\x80\xFF\xC2"},
      {"NUL has no entity", std::string("a\0b", 3), std::string("a\0b", 3)},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(HtmlUtilities::EscapeToHtml(row.text), row.escaped);
    EXPECT_EQ(HtmlUtilities::Unescape(row.escaped), row.text);
  }
  EXPECT_EQ(HtmlUtilities::Unescape("&#x41;&#X42;&#0067;&#x20AC;&#128512;&#x10FFFF;"),
            "ABC\xE2\x82\xAC\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF");

  for (const std::string& text : SampleTexts()) {
    SCOPED_TRACE(testing::PrintToString(text));
    const std::string escaped = HtmlUtilities::EscapeToHtml(text);
    EXPECT_EQ(escaped.find_first_of("<>\"'\t\r\n"), std::string::npos);
    EXPECT_EQ(HtmlUtilities::Unescape(escaped), text);
  }
}

TEST(HtmlUtilities, UnescapeRefusesMalformedAndUnknownEntities) {
  const std::string kNotAllowed = ";' at position 1 does not stand for an allowed character.";
  struct Row {
    const char* name;
    std::string text;
    std::string message;
  };
  const std::vector<Row> rows = {
      {"bare ampersand", "a & b", "Malformed character entity at position 3."},
      {"missing semicolon", "&amp", "Malformed character entity at position 1."},
      {"letter in decimal", "&#12a;", "Malformed character entity at position 1."},
      {"names are case-sensitive", "&AMP;", "Unknown character entity '&AMP;' at position 1."},
      {"NUL", "&#0;", "The character entity '&#0" + kNotAllowed},
      {"above U+10FFFF", "&#x110000;", "The character entity '&#x110000" + kNotAllowed},
      {"huge number", "&#99999999999999999999;",
       "The character entity '&#99999999999999999999" + kNotAllowed},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(DecodeError([&] { HtmlUtilities::Unescape(row.text); }), row.message);
  }
}

TEST(HtmlUtilities, URIDecodeUndoesURIEncodeAndRefusesBrokenEscapes) {
  EXPECT_EQ(HtmlUtilities::URIEncode("AZaz09-._~ +/%\xE2\x82\xAC"),
            "AZaz09-._~%20%2B%2F%25%E2%82%AC");
  EXPECT_EQ(HtmlUtilities::URIDecode("a+b%4a%4A%2541"), "a+bJJ%41");
  for (const std::string& text : SampleTexts()) {
    SCOPED_TRACE(testing::PrintToString(text));
    EXPECT_EQ(HtmlUtilities::URIDecode(HtmlUtilities::URIEncode(text)), text);
  }
  struct Row {
    std::string text;
    int position;
  };
  const std::vector<Row> rows = {{"%", 1}, {"ab%2", 3}, {"%G0", 1}, {"x%4g", 2}, {"%%41", 1}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(DecodeError([&] { HtmlUtilities::URIDecode(row.text); }),
              "Invalid percent-encoding at position " + std::to_string(row.position) +
                  ": '%' must be followed by two hexadecimal digits.");
  }
}

}  // namespace
}  // namespace zubra
