#include "zubra/platform/util/variable_name_validator.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace zubra {
namespace {

TEST(ZubraVariableNameValidator, AcceptsOrdinaryNamesAndRefusesUnsafeCharacters) {
  struct Row {
    const char* name;
    std::string text;
    bool valid;
  };
  const std::vector<Row> rows = {
      {"plain", "Temperature", true},
      {"underscore and point", "pH_value Conc. A", true},
      {"hyphen and parentheses", "pH-value Temperature (C) a*b/c+d", true},
      {"markup characters are escaped in files", "R&D <budget> O'Brien", true},
      {"other punctuation", "#runs 100% a:b|c\\d!?@", true},
      {"accented, Greek and CJK letters", "Temp\xC3\xA9 \xCE\x98\xCE\xB5 \xE6\xB8\xA9", true},
      {"emoji", "\xF0\x9F\x91\x8D\xF0\x9F\x8F\xBD", true},
      {"no-break space is no control character", "a\xC2\xA0", true},
      {"internal name", "$BlockV", false},
      {"transformed mark", "Temp~", false},
      {"tab", "a\tb", false},
      {"line feed", "a\nb", false},
      {"NUL", std::string("a\0b", 3), false},
      {"DEL", "a\x7F", false},
      {"C1 control", "a\xC2\x85", false},
      {"line separator", "a\xE2\x80\xA8", false},
      {"invalid byte", "Temp\xFF", false},
      {"overlong slash", "a\xC0\xAF", false},
  };
  const ZubraVariableNameValidator validator;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(validator.IsValid(row.text), row.valid);
  }
}

TEST(ZubraVariableNameValidator, ListsExactlyThePrintableCharactersItRefuses) {
  const ZubraVariableNameValidator validator;
  const std::string shown = validator.GetForbiddenCharacters();
  EXPECT_EQ("A factor name may not contain the following characters:\n\n" + shown + ".",
            "A factor name may not contain the following characters:\n\n"
            "[ ] = ; \" $ ~ TAB and other control characters.");
  const std::string printable_part = shown.substr(0, shown.find("TAB"));
  for (char c = '!'; c <= '~'; ++c) {
    SCOPED_TRACE(std::string(1, c));
    const bool listed = printable_part.find(std::string(1, c) + " ") != std::string::npos;
    EXPECT_EQ(validator.IsValid(std::string("x") + c + "y"), !listed);
  }
}

}  // namespace
}  // namespace zubra
