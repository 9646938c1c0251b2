#include "zubra/platform/util/exception.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace zubra {
namespace {

TEST(ExceptionMessage, FillsBothPlaceholderStyles) {
  struct Row {
    const char* name;
    std::string actual;
    std::string expected;
  };
  const std::vector<Row> rows = {
      {"positional braces",
       ExceptionMessage::translate("The factor name is too long. The limit is {} characters.") %
           100,
       "The factor name is too long. The limit is 100 characters."},
      {"two positional braces in order", ExceptionMessage::translate("{} and {}") % "a" % "b",
       "a and b"},
      {"numbered brace", ExceptionMessage::translate("the {1} transform") % "Log",
       "the Log transform"},
      {"numbered brace repeated", ExceptionMessage::translate("{2}{1}{2}") % "a" % "b", "bab"},
      {"boost numbered out of order",
       ExceptionMessage::translate("Expected '%2%' but found '%3%' in column %4% of '%1%'.") %
           "f.txt" % "Temp" % "Tmp" % 3,
       "Expected 'Temp' but found 'Tmp' in column 3 of 'f.txt'."},
      {"boost literal percent", ExceptionMessage::translate("%1% is 50%%") % "x", "x is 50%"},
      {"double uses %g", ExceptionMessage::translate("sum (%1%)") % 1.25, "sum (1.25)"},
      {"float widened", ExceptionMessage::translate("{}") % 0.5F, "0.5"},
      {"large double", ExceptionMessage::translate("{}") % 1234567.0, "1.23457e+06"},
      {"negative integer", ExceptionMessage::translate("{}") % -42L, "-42"},
      {"char", ExceptionMessage::translate("'{}'") % 'x', "'x'"},
      {"missing brace argument stays", ExceptionMessage::translate("{} {}") % "a", "a {}"},
      {"missing percent argument stays", ExceptionMessage::translate("%1% %2%") % "a", "a %2%"},
      {"extra argument ignored", ExceptionMessage::translate("only {}") % "a" % "b", "only a"},
      {"unbalanced brace copied", ExceptionMessage::translate("{x} {") % "a", "{x} {"},
      {"percent text that boost rejects", ExceptionMessage::translate("%1% %y") % "a", "a %y"},
      {"no arguments keeps text", ExceptionMessage::translate("Incorrect transform format."),
       "Incorrect transform format."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.actual, row.expected);
  }
}

TEST(ExceptionMessage, InstalledTranslatorIsUsedAndCanBeRemoved) {
  ExceptionMessage::SetTranslator([](std::string_view text) {
    return text == "Illegal power value." ? std::string("Valeur de puissance illégale.")
                                          : std::string(text);
  });
  EXPECT_EQ(ExceptionMessage::translate("Illegal power value.").str(),
            "Valeur de puissance illégale.");
  ExceptionMessage::SetTranslator({});
  EXPECT_EQ(ExceptionMessage::translate("Illegal power value.").str(), "Illegal power value.");
}

TEST(Exception, WhatIsTheFilledMessageAndCancelIsAnException) {
  try {
    throw Exception(ExceptionMessage::translate("Parse error: constant 'c1' is required for the "
                                                "{1} transform.") %
                    "Linear");
  } catch (const std::exception& e) {
    EXPECT_STREQ(e.what(), "Parse error: constant 'c1' is required for the Linear transform.");
  }
  EXPECT_THROW(throw CancelException(), Exception);
}

}  // namespace
}  // namespace zubra
