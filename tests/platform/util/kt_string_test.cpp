#include "zubra/platform/util/kt_string.h"

#include <gtest/gtest.h>

#include <bit>
#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "zubra/platform/util/json.h"

namespace zubra {
namespace {

constexpr KtString::DecimalMark kPoint = KtString::DecimalMark::kPoint;
constexpr KtString::DecimalMark kComma = KtString::DecimalMark::kPointOrComma;

// The bit pattern of a number read, so that -0.0 and 0.0 differ; nullopt stays nullopt.
template <typename Real>
auto Bits(std::optional<Real> value) {
  using Word = std::conditional_t<sizeof(Real) == 4, std::uint32_t, std::uint64_t>;
  return value ? std::optional<Word>(std::bit_cast<Word>(*value)) : std::nullopt;
}

// Each row is read by all three conversions; integer text that is not an int gives nullopt.
TEST(KtString, TextToNumberConversionsReadWholeFieldsOnly) {
  const std::nullopt_t kNo = std::nullopt;
  struct Row {
    std::string text;
    std::optional<double> as_double;
    std::optional<float> as_float;
    std::optional<int> as_int;
    KtString::DecimalMark mark = kPoint;
  };
  const std::vector<Row> rows = {
      {" \t-7\r\n", -7.0, -7.0F, -7},
      {"+3", 3.0, 3.0F, 3},
      {"-2147483648", -2147483648.0, -2147483648.0F, INT32_MIN},
      {"2147483648", 2147483648.0, 2147483648.0F, kNo},
      {"-2e3", -2000.0, -2000.0F, kNo},
      {"-0", -0.0, -0.0F, 0},
      {"-1,25e2", -125.0, -125.0F, kNo, kComma},
      {"1,5.0", kNo, kNo, kNo, kComma},
      // Just below the midpoint between 1 + 2^-23 and 1 + 2^-22: the nearest float is the
      // lower one, but a detour through double lands on the midpoint and rounds up.
      {"1.0000001788139343261718749", 1.000000178813934326171875, 1.00000011920928955078125F, kNo},
      {"1e39", 1e39, kNo, kNo}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(Bits(KtString::ToDouble(row.text, row.mark)), Bits(row.as_double));
    EXPECT_EQ(Bits(KtString::ToFloat(row.text, row.mark)), Bits(row.as_float));
    if (row.mark != kPoint) continue;  // integers take no decimal mark
    EXPECT_EQ(KtString::ToInt(row.text), row.as_int);
  }
  for (const char* text : {"1,5", "1.5x", " \t ", "+-1", "0x10", "-Infinity", "1e400", "1e-400"}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(KtString::ToDouble(text), std::nullopt);
    EXPECT_EQ(KtString::ToFloat(text), std::nullopt);
    EXPECT_EQ(KtString::ToInt(text), std::nullopt);
  }
}

TEST(KtString, FormatsInGeneralAndShortestForms) {
  const double kInfinity = std::numeric_limits<double>::infinity();
  const std::vector<std::pair<double, std::string>> general = {
      {0.1, "0.1"},       {123456.0, "123456"}, {1234567.0, "1.23457e+06"},
      {0.0001, "0.0001"}, {0.00001, "1e-05"},   {-2.0 / 3.0, "-0.666667"},
      {-0.0, "-0"},       {kInfinity, "inf"}};
  for (const auto& [value, text] : general) EXPECT_EQ(KtString::FormatG(value), text);

  using D = std::numeric_limits<double>;
  for (const double value : {0.1, 1.0 / 3.0, -0.0, 1e21, D::max(), D::denorm_min()}) {
    const std::string text = KtString::FormatShortest(value);
    EXPECT_EQ(Bits(KtString::ToDouble(text)), Bits(std::optional(value))) << text;
  }
  for (const float value : {0.1F, 1.0F / 3.0F, std::numeric_limits<float>::denorm_min()}) {
    const std::string text = KtString::FormatShortest(value);
    EXPECT_EQ(Bits(KtString::ToFloat(text)), Bits(std::optional(value))) << text;
  }
  EXPECT_EQ(KtString::FormatShortest(0.1F), "0.1");
  EXPECT_EQ(KtString::FormatShortest(1e21), "1e+21");
}

// Runs with the process locale set to German, whose decimal separator is the comma.
TEST(KtString, ConversionsIgnoreTheProcessLocale) {
  struct RestoreLocale {
    ~RestoreLocale() { std::setlocale(LC_ALL, "C"); }
  } restore;
  if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr &&
      (std::system("localedef -i de_DE -f UTF-8 de_DE.UTF-8 >/dev/null 2>&1") != 0 ||
       std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr)) {
    GTEST_SKIP() << "the de_DE.UTF-8 locale is not available";
  }
  EXPECT_STREQ(std::localeconv()->decimal_point, ",");
  EXPECT_EQ(KtString::ToDouble("1.5"), 1.5);
  EXPECT_EQ(KtString::ToDouble("1,5"), std::nullopt);
  EXPECT_EQ(KtString::ToFloat("0,25", kComma), 0.25F);
  EXPECT_EQ(KtString::FormatG(1234.5), "1234.5");
  EXPECT_EQ(KtString::FormatShortest(2.5F), "2.5");
  EXPECT_EQ(ParseJson("[1.5]").at(0).get<double>(), 1.5);
  EXPECT_EQ(DumpJson(json_value::array({1.5, -0.125})), "[1.5,-0.125]");
}

TEST(KtStdString, CompareNoCaseFoldsAsciiOnly) {
  // '_' sorts before 'a' but after 'A', so the row ("_", "A") tells folding to lower case from
  // folding to upper case; bytes compare as unsigned values; non-ASCII letters are not folded.
  const std::vector<std::tuple<std::string, std::string, int>> rows = {
      {"Temp", "TEMP", 0},         {"", "", 0},    {"a", "B", -1},
      {"abc", "ABCD", -1},         {"_", "A", -1}, {"\xC3\xA4", "z", 1},
      {"\xC3\x84", "\xC3\xA4", -1}};
  for (const auto& [a, b, sign] : rows) {
    SCOPED_TRACE(a + " vs " + b);
    const int result = KtStdString::CompareNoCase(a, b);
    EXPECT_EQ((result > 0) - (result < 0), sign);
    EXPECT_EQ(KtStdString::EqualsNoCase(a, b), sign == 0);
  }
}

TEST(KtStdString, LowersTrimsAndSplits) {
  EXPECT_EQ(KtStdString::ToLower("\xC3\x84Temp 1-X"), "\xC3\x84temp 1-x");
  // Invalid bytes become U+FFFD; a capital sigma at the end of a word becomes the final sigma.
  EXPECT_EQ(KtStdString::ToLowerUnicode("\xFF\xC3\x84 \xCE\xA3\xCE\x91\xCE\xA3 B"),
            "\xEF\xBF\xBD\xC3\xA4 \xCF\x83\xCE\xB1\xCF\x82 b");
  EXPECT_EQ(KtStdString::Trim(" \t\r\n\v\fa b\f\v\n\r\t "), "a b");
  using Fields = std::vector<std::string>;
  EXPECT_EQ(KtStdString::Split("", ','), Fields{""});
  EXPECT_EQ(KtStdString::Split("a,,b", ','), (Fields{"a", "", "b"}));
  EXPECT_EQ(KtStdString::Split("a,b\t\t", '\t'), (Fields{"a,b", "", ""}));
}

TEST(KtStdString, GraphemeCountCountsUserPerceivedCharacters) {
  std::string hundred_e_acute;
  for (int i = 0; i < 100; ++i) hundred_e_acute += "\xC3\xA9";
  const std::vector<std::pair<std::string, std::size_t>> rows = {
      {"a\r\nb\r\n", 4},
      {hundred_e_acute, 100},
      {"ae\xCC\x81\xCC\xA3", 2},                // combining accents
      {"\xF0\x9F\x91\x8D\xF0\x9F\x8F\xBD", 1},  // emoji with skin tone
      {"\xF0\x9F\x87\xA9\xF0\x9F\x87\xAA\xF0\x9F\x87\xAB\xF0\x9F\x87\xB7", 2},          // two flags
      {"\xF0\x9F\x91\xA8\xE2\x80\x8D\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x91\xA7", 1},  // ZWJ
      {"ab\xFF\xFE", 4},  // each invalid byte is one replacement character
      {"\xE2\x82", 1}};   // and so is a truncated sequence
  for (const auto& [text, expected] : rows) {
    EXPECT_EQ(KtStdString::GraphemeCount(text), expected) << testing::PrintToString(text);
  }
}

TEST(KtStdString, ValidatesDecodesAndRepairsUtf8) {
  const std::string kFffd = "\xEF\xBF\xBD";
  const std::vector<std::pair<std::string, std::string>> rows = {
      // text, repaired text
      {std::string("a\0b", 3), std::string("a\0b", 3)},  // NUL is a character
      {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
      {"\xED\xA0\x80", kFffd + kFffd + kFffd},              // surrogate
      {"\xF4\x90\x80\x80", kFffd + kFffd + kFffd + kFffd},  // above U+10FFFF
      {"a\x80z", "a" + kFffd + "z"},                        // lone continuation byte
      {"x\xE2\x82", "x" + kFffd},                           // truncated at the end
      {"\xF0\x9F\x98\xC3\xA9", kFffd + "\xC3\xA9"}};        // truncated before a valid one
  for (const auto& [text, repaired] : rows) {
    SCOPED_TRACE(testing::PrintToString(text));
    EXPECT_EQ(KtStdString::IsValidUtf8(text), repaired == text);
    EXPECT_EQ(KtStdString::RepairUtf8(text), repaired);
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
