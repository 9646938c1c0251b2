#include "zubra/platform/util/json.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "tests/platform/util/section_test_support.h"
#include "zubra/platform/util/kt_string.h"

namespace zubra {
namespace {

using test_support::ErrorOf;

// `depth` copies of `open`, then `core`, then `depth` copies of `close`.
std::string Nested(int depth, std::string_view open, std::string_view core,
                   std::string_view close) {
  std::string text;
  for (int i = 0; i < depth; ++i) text += open;
  text += core;
  for (int i = 0; i < depth; ++i) text += close;
  return text;
}

// Arrays nested `depth` deep, built without the depth limit of ParseJson.
json_value NestedArrays(int depth) { return json_value::parse(Nested(depth, "[", "", "]")); }

// y_ files must parse (and survive a write and re-read unchanged), n_ files must be refused
// with an Exception, i_ files may go either way but must not crash.
TEST(ParseJson, HandlesEveryFileOfTheConformanceSuite) {
  const std::filesystem::path folder =
      std::filesystem::path(ZUBRA_SHARED_TESTDATA_DIR) / "json-test-suite" / "test_parsing";
  if (!std::filesystem::is_directory(folder)) {
    GTEST_SKIP() << "The JSON conformance files are missing: there is no folder " << folder
                 << " (the shared test data, kept beside the source tree).";
  }
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    SCOPED_TRACE(name);
    const std::string text = test_support::ReadBytes(entry.path());
    ++files;
    if (name.front() == 'y') {
      json_value value;
      ASSERT_NO_THROW(value = ParseJson(text));
      EXPECT_EQ(ParseJson(DumpJson(value)), value);
      EXPECT_EQ(ParseJson(DumpJson(value, 2)), value);
    } else if (name.front() == 'n') {
      EXPECT_THROW(ParseJson(text), Exception);
    } else {
      std::string written;
      const std::string error = ErrorOf([&] { written = DumpJson(ParseJson(text)); });
      EXPECT_TRUE(KtStdString::IsValidUtf8(written) && KtStdString::IsValidUtf8(error));
    }
  }
  EXPECT_GT(files, 300);
}

TEST(ParseJson, RefusesBadTextWithAMessageNamingThePlace) {
  const std::string kTooDeep = "Invalid JSON text: nested deeper than 512 levels.";
  // Each text with the start of its message.
  const std::vector<std::pair<std::string, std::string>> rows = {
      {std::string("{\"a\":\n  \"x\0y\"}", 14),
       "Invalid JSON text: NUL character at line 2, column 5."},
      {"{\n\"a\": 1,\n\"b\" 2}", "Invalid JSON text: parse error at line 3, column 5:"},
      {"[\"a\xFF\"]", "Invalid JSON text: parse error at line 1, column 4:"},
      {"[1e400]", "Invalid JSON text: number overflow parsing '1e400'"},
      {Nested(kMaxJsonDepth + 1, "[", "", "]"), kTooDeep},
      {Nested(kMaxJsonDepth + 1, "{\"k\":", "1", "}"), kTooDeep},
      {std::string(100000, '['), kTooDeep}};
  for (const auto& [text, start] : rows) {
    SCOPED_TRACE(text.substr(0, 20));
    const std::string message = ErrorOf([&text = text] { ParseJson(text); });
    EXPECT_EQ(message.substr(0, start.size()), start) << message;
    EXPECT_TRUE(KtStdString::IsValidUtf8(message));
  }
}

TEST(ParseJson, AcceptsTheDeepestAllowedNestingAndKeepsMemberOrder) {
  EXPECT_NO_THROW(ParseJson(Nested(kMaxJsonDepth, "[", "", "]")));
  EXPECT_NO_THROW(ParseJson(Nested(kMaxJsonDepth, "{\"k\":", "1", "}")));
  const json_value value =
      ParseJson(" {\"zeta\": 1, \"alpha\": [true, null, -2.5e-3, \"\\u00e9\"]}");
  EXPECT_EQ(DumpJson(value), "{\"zeta\":1,\"alpha\":[true,null,-0.0025,\"\xC3\xA9\"]}");
  EXPECT_EQ(DumpJson(value, 1),
            "{\n \"zeta\": 1,\n \"alpha\": [\n  true,\n  null,\n  -0.0025,\n  \"\xC3\xA9\"\n ]\n}");
}

TEST(DumpJson, ReplacesInvalidUtf8AndRefusesValuesNestedBeyondTheLimit) {
  // Each text is written as a key and as a string value.
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"a\xFF", "\"a\xEF\xBF\xBD\""},
      {"x\xE2\x82", "\"x\xEF\xBF\xBD\""},
      {"\xE2\x82\xAC\t\"", "\"\xE2\x82\xAC\\t\\\"\""}};
  for (const auto& [text, written] : rows) {
    json_value value = json_value::object();
    value[text] = text;
    EXPECT_EQ(ErrorOf([&, &written = written] {
                EXPECT_EQ(DumpJson(value), "{" + written + ":" + written + "}");
              }),
              "(no exception)");
  }
  EXPECT_EQ(DumpJson(NestedArrays(kMaxJsonDepth)), Nested(kMaxJsonDepth, "[", "", "]"));
  EXPECT_EQ(ErrorOf([] { DumpJson(NestedArrays(kMaxJsonDepth + 1)); }),
            "The JSON value is nested deeper than 512 levels and cannot be written.");
  EXPECT_THROW(DumpJson(NestedArrays(100000)), Exception);
}

TEST(JsonMembers, TypedReadsReturnTheValueOrThrowTheGivenMessage) {
  const json_value object = ParseJson(
      R"({"name": "Temp", "int": -7, "float": 2.5, "whole": 3.0, "huge": 18446744073709551615,
          "flag": false})");
  const ExceptionMessage message = ExceptionMessage::translate("Missing '{}'.") % "x";
  EXPECT_EQ(GetMemberString(object, "name", message), "Temp");
  EXPECT_EQ(GetMemberDouble(object, "float", message), 2.5);
  EXPECT_EQ(GetMemberDouble(object, "int", message), -7.0);
  EXPECT_EQ(GetMemberInteger(object, "int", message), -7);
  EXPECT_FALSE(GetMemberBool(object, "flag", message));
  const std::vector<std::function<void()>> refused = {
      [&] { GetMemberString(object, "Name", message); },  // keys are case-sensitive
      [&] { GetMemberInteger(object, "whole", message); },
      [&] { GetMemberInteger(object, "huge", message); },
      [&] { GetMemberBool(object, "int", message); },
      [&] { GetMemberBool(json_value::array({1}), "0", message); }};
  for (std::size_t i = 0; i < refused.size(); ++i) {
    EXPECT_EQ(ErrorOf(refused[i]), "Missing 'x'.") << i;
  }
  EXPECT_EQ(FindMember(object, "flag"), &object.at("flag"));
  EXPECT_EQ(FindMember(object, "FLAG"), nullptr);
}

}  // namespace
}  // namespace zubra
