#include "zubra/platform/util/variable_name_validator.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace zubra {
namespace {

TEST(ZubraVariableNameValidator, AcceptsOrdinaryNamesAndRefusesUnsafeCharacters) {
  const ZubraVariableNameValidator validator;
  // Markup characters are fine (files escape them), and so are letters of any script, emoji
  // and the no-break space, which is no control character.
  for (const std::string name :
       {"pH_value Conc. A", "pH-value Temperature (C) a*b/c+d", "R&D <budget> O'Brien",
        "#runs 100% a:b|c\\d!?@", "Temp\xC3\xA9 \xCE\x98\xCE\xB5 \xE6\xB8\xA9",
        "\xF0\x9F\x91\x8D\xF0\x9F\x8F\xBD", "a\xC2\xA0"}) {
    EXPECT_TRUE(validator.IsValid(name)) << name;
  }
  // Internal names, the transformed mark, control characters (C0, DEL, C1, line separator)
  // and text that is not UTF-8 (an invalid byte, an overlong slash).
  for (const std::string& name :
       std::vector<std::string>{"$BlockV", "Temp~", "a\tb", "a\nb", std::string("a\0b", 3), "a\x7F",
                                "a\xC2\x85", "a\xE2\x80\xA8", "Temp\xFF", "a\xC0\xAF"}) {
    EXPECT_FALSE(validator.IsValid(name)) << testing::PrintToString(name);
  }
}

TEST(ZubraVariableNameValidator, ListsExactlyThePrintableCharactersItRefuses) {
  const ZubraVariableNameValidator validator;
  const std::string shown = validator.GetForbiddenCharacters();
  EXPECT_EQ(shown, "[ ] = ; \" $ ~ TAB and other control characters");
  const std::string printable_part = shown.substr(0, shown.find("TAB"));
  for (char c = '!'; c <= '~'; ++c) {
    const bool listed = printable_part.find(std::string(1, c) + " ") != std::string::npos;
    EXPECT_EQ(validator.IsValid(std::string("x") + c + "y"), !listed) << c;
  }
}

}  // namespace
}  // namespace zubra
