#include "zubra/platform/util/kt_string.h"

#include <gtest/gtest.h>

#include <bit>
#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "zubra/platform/util/json.h"

namespace zubra {
namespace {

constexpr KtString::DecimalMark kPoint = KtString::DecimalMark::kPoint;
constexpr KtString::DecimalMark kComma = KtString::DecimalMark::kPointOrComma;

std::uint32_t Bits(float value) { return std::bit_cast<std::uint32_t>(value); }
std::uint64_t Bits(double value) { return std::bit_cast<std::uint64_t>(value); }

// Compares bit patterns, so that -0.0 and 0.0 differ.
template <typename Real>
bool SameBits(std::optional<Real> actual, std::optional<Real> expected) {
  if (actual.has_value() != expected.has_value()) return false;
  return !actual || Bits(*actual) == Bits(*expected);
}

// Each row is read by all three conversions; integer text that is not an int gives nullopt.
TEST(KtString, TextToNumberConversionsReadWholeFieldsOnly) {
  const std::nullopt_t kNo = std::nullopt;
  struct Row {
    const char* name;
    std::string text;
    KtString::DecimalMark mark;
    std::optional<double> as_double;
    std::optional<float> as_float;
    std::optional<int> as_int;
  };
  const std::vector<Row> rows = {
      {"blanks and sign around", " \t-7\r\n", kPoint, -7.0, -7.0F, -7},
      {"leading plus", "+3", kPoint, 3.0, 3.0F, 3},
      {"smallest int", "-2147483648", kPoint, -2147483648.0, -2147483648.0F, INT32_MIN},
      {"one past the largest int", "2147483648", kPoint, 2147483648.0, 2147483648.0F, kNo},
      {"exponent", "-2e3", kPoint, -2000.0, -2000.0F, kNo},
      {"negative zero", "-0", kPoint, -0.0, -0.0F, 0},
      {"comma refused by default", "1,5", kPoint, kNo, kNo, kNo},
      {"comma on request", "-1,25e2", kComma, -125.0, -125.0F, kNo},
      {"comma and point together", "1,5.0", kComma, kNo, kNo, kNo},
      // Just below the midpoint between 1 + 2^-23 and 1 + 2^-22: the nearest float is the
      // lower one, but a detour through double lands on the midpoint and rounds up.
      {"no double rounding", "1.0000001788139343261718749", kPoint, 1.000000178813934326171875,
       1.00000011920928955078125F, kNo},
      {"beyond float only", "1e39", kPoint, 1e39, kNo, kNo},
      {"trailing garbage", "1.5x", kPoint, kNo, kNo, kNo},
      {"blanks only", " \t ", kPoint, kNo, kNo, kNo},
      {"plus then minus", "+-1", kPoint, kNo, kNo, kNo},
      {"hexadecimal", "0x10", kPoint, kNo, kNo, kNo},
      {"infinity", "-Infinity", kPoint, kNo, kNo, kNo},
      {"overflow", "1e400", kPoint, kNo, kNo, kNo},
      {"underflow", "1e-400", kPoint, kNo, kNo, kNo},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_TRUE(SameBits(KtString::ToDouble(row.text, row.mark), row.as_double));
    EXPECT_TRUE(SameBits(KtString::ToFloat(row.text, row.mark), row.as_float));
    if (row.mark == kPoint) {
      EXPECT_EQ(KtString::ToInt(row.text), row.as_int);
    }
  }
}

TEST(KtString, FormatsInGeneralAndShortestForms) {
  struct Row {
    double value;
    std::string general;
  };
  const double kInfinity = std::numeric_limits<double>::infinity();
  const std::vector<Row> rows = {
      {0.1, "0.1"},       {123456.0, "123456"}, {1234567.0, "1.23457e+06"},
      {0.0001, "0.0001"}, {0.00001, "1e-05"},   {-2.0 / 3.0, "-0.666667"},
      {-0.0, "-0"},       {kInfinity, "inf"}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.general);
    EXPECT_EQ(KtString::FormatG(row.value), row.general);
  }

  for (const double value : {0.1, 1.0 / 3.0, -0.0, 1e21, std::numeric_limits<double>::max(),
                             std::numeric_limits<double>::denorm_min()}) {
    SCOPED_TRACE(value);
    const std::string text = KtString::FormatShortest(value);
    EXPECT_TRUE(SameBits(KtString::ToDouble(text), std::optional<double>(value))) << text;
  }
  for (const float value : {0.1F, 1.0F / 3.0F, std::numeric_limits<float>::denorm_min()}) {
    SCOPED_TRACE(value);
    const std::string text = KtString::FormatShortest(value);
    EXPECT_TRUE(SameBits(KtString::ToFloat(text), std::optional<float>(value))) << text;
  }
  EXPECT_EQ(KtString::FormatShortest(0.1F), "0.1");
  EXPECT_EQ(KtString::FormatShortest(1e21), "1e+21");
}

// Runs with a German locale, whose decimal separator is the comma, as the process locale.
class KtStringUnderGermanLocale : public ::testing::Test {
 protected:
  void SetUp() override {
    if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) {
      // The locale may simply not be generated yet on this machine.
      if (std::system("localedef -i de_DE -f UTF-8 de_DE.UTF-8 >/dev/null 2>&1") != 0 ||
          std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) {
        GTEST_SKIP() << "the de_DE.UTF-8 locale is not available";
      }
    }
    ASSERT_STREQ(std::localeconv()->decimal_point, ",");
  }
  void TearDown() override { std::setlocale(LC_ALL, "C"); }
};

TEST_F(KtStringUnderGermanLocale, ConversionsIgnoreTheProcessLocale) {
  EXPECT_EQ(KtString::ToDouble("1.5"), 1.5);
  EXPECT_EQ(KtString::ToDouble("1,5"), std::nullopt);
  EXPECT_EQ(KtString::ToFloat("0,25", kComma), 0.25F);
  EXPECT_EQ(KtString::FormatG(1234.5), "1234.5");
  EXPECT_EQ(KtString::FormatShortest(2.5F), "2.5");
  EXPECT_EQ(ParseJson("[1.5]").at(0).get<double>(), 1.5);
  EXPECT_EQ(DumpJson(json_value::array({1.5, -0.125})), "[1.5,-0.125]");
}

TEST(KtStdString, CompareNoCaseFoldsAsciiOnly) {
  struct Row {
    std::string a;
    std::string b;
    int expected_sign;
  };
  // '_' sorts before 'a' but after 'A', so the row ("_", "A") tells folding to lower case from
  // folding to upper case; bytes compare as unsigned values; non-ASCII letters are not folded.
  const std::vector<Row> rows = {{"Temp", "TEMP", 0},         {"", "", 0},    {"a", "B", -1},
                                 {"abc", "ABCD", -1},         {"_", "A", -1}, {"\xC3\xA4", "z", 1},
                                 {"\xC3\x84", "\xC3\xA4", -1}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.a + " vs " + row.b);
    const int result = KtStdString::CompareNoCase(row.a, row.b);
    EXPECT_EQ((result > 0) - (result < 0), row.expected_sign);
    EXPECT_EQ(KtStdString::EqualsNoCase(row.a, row.b), row.expected_sign == 0);
  }
}

TEST(KtStdString, LowersTrimsAndSplits) {
  EXPECT_EQ(KtStdString::ToLower("\xC3\x84Temp 1-X"), "\xC3\x84temp 1-x");
  EXPECT_EQ(KtStdString::ToLowerUnicode("\xC3\x84\xC3\x96 AB"), "\xC3\xA4\xC3\xB6 ab");
  EXPECT_EQ(KtStdString::ToLowerUnicode("\xCE\xA3\xCE\x91\xCE\xA3"),  // Final sigma.
            "\xCF\x83\xCE\xB1\xCF\x82");
  EXPECT_EQ(KtStdString::ToLowerUnicode("A\xFF"), "a\xEF\xBF\xBD");
  EXPECT_EQ(KtStdString::Trim(" \t\r\n\v\fa b\f\v\n\r\t "), "a b");

  using Fields = std::vector<std::string>;
  EXPECT_EQ(KtStdString::Split("", ','), Fields{""});
  EXPECT_EQ(KtStdString::Split("a,,b", ','), (Fields{"a", "", "b"}));
  EXPECT_EQ(KtStdString::Split("a,b\t\t", '\t'), (Fields{"a,b", "", ""}));
}

TEST(KtStdString, GraphemeCountCountsUserPerceivedCharacters) {
  std::string hundred_e_acute;
  for (int i = 0; i < 100; ++i) hundred_e_acute += "\xC3\xA9";
  struct Row {
    const char* name;
    std::string text;
    std::size_t expected;
  };
  const std::vector<Row> rows = {
      {"ASCII with CR LF", "a\r\nb\r\n", 4},
      {"precomposed letters", hundred_e_acute, 100},
      {"combining accents", "ae\xCC\x81\xCC\xA3", 2},
      {"emoji with skin tone", "\xF0\x9F\x91\x8D\xF0\x9F\x8F\xBD", 1},
      {"two flags", "\xF0\x9F\x87\xA9\xF0\x9F\x87\xAA\xF0\x9F\x87\xAB\xF0\x9F\x87\xB7", 2},
      {"family joined by ZWJ",
       "\xF0\x9F\x91\xA8\xE2\x80\x8D\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x91\xA7", 1},
      {"invalid bytes count as replacements", "ab\xFF\xFE", 4},
      {"truncated sequence is one replacement", "\xE2\x82", 1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(KtStdString::GraphemeCount(row.text), row.expected);
  }
}

TEST(KtStdString, ValidatesAndRepairsUtf8) {
  const std::string kFffd = "\xEF\xBF\xBD";
  struct Row {
    const char* name;
    std::string text;
    std::string repaired;  // Equal to text when the text is valid.
  };
  const std::vector<Row> rows = {
      {"NUL is a character", std::string("a\0b", 3), std::string("a\0b", 3)},
      {"two to four bytes", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80",
       "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
      {"surrogate", "\xED\xA0\x80", kFffd + kFffd + kFffd},
      {"above U+10FFFF", "\xF4\x90\x80\x80", kFffd + kFffd + kFffd + kFffd},
      {"lone continuation", "a\x80z", "a" + kFffd + "z"},
      {"truncated at end", "x\xE2\x82", "x" + kFffd},
      {"truncated before a valid sequence", "\xF0\x9F\x98\xC3\xA9", kFffd + "\xC3\xA9"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(KtStdString::IsValidUtf8(row.text), row.repaired == row.text);
    EXPECT_EQ(KtStdString::RepairUtf8(row.text), row.repaired);
  }

  const std::string text = "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xFF";
  std::vector<std::optional<char32_t>> decoded;
  for (std::size_t position = 0; position < text.size();) {
    decoded.push_back(KtStdString::DecodeUtf8(text, position));
  }
  EXPECT_EQ(decoded, (std::vector<std::optional<char32_t>>{U'A', U'\u00E9', U'\u20AC',
                                                           U'\U0001F600', std::nullopt}));
}

}  // namespace
}  // namespace zubra
