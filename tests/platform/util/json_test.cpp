#include "zubra/platform/util/json.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "zubra/platform/util/kt_string.h"

namespace zubra {
namespace {

std::string ReadFile(const std::filesystem::path& path) {
  std::string text(std::filesystem::file_size(path), '\0');
  std::ifstream(path, std::ios::binary)
      .read(text.data(), static_cast<std::streamsize>(text.size()));
  return text;
}

// Returns the message of the Exception that `function` throws, or nullopt when it succeeds.
template <typename Function>
std::optional<std::string> ThrownMessage(Function function) {
  try {
    function();
  } catch (const Exception& error) {
    return error.Message();
  }
  return std::nullopt;
}

// `depth` copies of `open`, then `core`, then `depth` copies of `close`.
std::string Nested(int depth, std::string_view open, std::string_view core,
                   std::string_view close) {
  std::string text;
  for (int i = 0; i < depth; ++i) text += open;
  text += core;
  for (int i = 0; i < depth; ++i) text += close;
  return text;
}

json_value NestedArrays(int depth) {
  json_value value = json_value::array();
  for (int i = 1; i < depth; ++i) {
    json_value outer = json_value::array();
    outer.push_back(std::move(value));
    value = std::move(outer);
  }
  return value;
}

// y_ files must parse (and survive a write and re-read unchanged), n_ files must be refused
// with an Exception, i_ files may go either way but must not crash.
TEST(ParseJson, HandlesEveryFileOfTheConformanceSuite) {
  const std::filesystem::path folder =
      std::filesystem::path(ZUBRA_SHARED_TESTDATA_DIR) / "json-test-suite" / "test_parsing";
  ASSERT_TRUE(std::filesystem::is_directory(folder)) << folder;
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    SCOPED_TRACE(name);
    const std::string text = ReadFile(entry.path());
    ++files;
    switch (name.front()) {
      case 'y': {
        json_value value;
        ASSERT_NO_THROW(value = ParseJson(text));
        EXPECT_EQ(ParseJson(DumpJson(value)), value);
        EXPECT_EQ(ParseJson(DumpJson(value, 2)), value);
        break;
      }
      case 'n':
        EXPECT_THROW(ParseJson(text), Exception);
        break;
      default:
        try {
          const json_value value = ParseJson(text);
          EXPECT_TRUE(KtStdString::IsValidUtf8(DumpJson(value)));
        } catch (const Exception& error) {
          EXPECT_TRUE(KtStdString::IsValidUtf8(error.Message()));
        }
        break;
    }
  }
  EXPECT_GT(files, 300);
}

TEST(ParseJson, RefusesBadTextWithAMessageNamingThePlace) {
  struct Row {
    const char* name;
    std::string text;
    std::string message_start;  // The message must begin with this.
  };
  const std::vector<Row> rows = {
      {"NUL inside a string", std::string("{\"a\":\n  \"x\0y\"}", 14),
       "Invalid JSON text: NUL character at line 2, column 5."},
      {"syntax error on line 3", "{\n\"a\": 1,\n\"b\" 2}",
       "Invalid JSON text: parse error at line 3, column 5:"},
      {"invalid UTF-8 in a string", "[\"a\xFF\"]",
       "Invalid JSON text: parse error at line 1, column 4:"},
      {"number beyond double", "[1e400]", "Invalid JSON text: number overflow parsing '1e400'"},
      {"too deep", Nested(kMaxJsonDepth + 1, "[", "", "]"),
       "Invalid JSON text: nested deeper than 512 levels."},
      {"too deep in objects", Nested(kMaxJsonDepth + 1, "{\"k\":", "1", "}"),
       "Invalid JSON text: nested deeper than 512 levels."},
      {"very deep and unclosed", std::string(100000, '['),
       "Invalid JSON text: nested deeper than 512 levels."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const std::optional<std::string> message = ThrownMessage([&] { ParseJson(row.text); });
    ASSERT_TRUE(message.has_value());
    EXPECT_EQ(message->substr(0, row.message_start.size()), row.message_start) << *message;
    EXPECT_TRUE(KtStdString::IsValidUtf8(*message));
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

TEST(DumpJson, ReplacesInvalidUtf8InsteadOfThrowing) {
  struct Row {
    const char* name;
    std::string text;
    std::string written;
  };
  const std::vector<Row> rows = {
      {"stray byte", "a\xFF", "\"a\xEF\xBF\xBD\""},
      {"truncated sequence at the end", "x\xE2\x82", "\"x\xEF\xBF\xBD\""},
      {"valid text is kept", "\xE2\x82\xAC\t\"", "\"\xE2\x82\xAC\\t\\\"\""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    json_value value = json_value::object();
    value[row.text] = row.text;  // Both a key and a string value.
    std::string written;
    ASSERT_NO_THROW(written = DumpJson(value));
    EXPECT_EQ(written, "{" + row.written + ":" + row.written + "}");
    EXPECT_NO_THROW(ParseJson(written));
  }
}

TEST(DumpJson, RefusesValuesNestedBeyondTheLimit) {
  EXPECT_EQ(DumpJson(NestedArrays(kMaxJsonDepth)), Nested(kMaxJsonDepth, "[", "", "]"));
  const std::optional<std::string> message =
      ThrownMessage([] { DumpJson(NestedArrays(kMaxJsonDepth + 1)); });
  EXPECT_EQ(message, "The JSON value is nested deeper than 512 levels and cannot be written.");
  EXPECT_THROW(DumpJson(NestedArrays(100000)), Exception);
}

TEST(JsonMembers, TypedReadsReturnTheValueOrThrowTheGivenMessage) {
  const json_value object = ParseJson(
      R"({"name": "Temp", "int": -7, "float": 2.5, "whole": 3.0, "huge": 18446744073709551615,
          "flag": false})");
  const auto message = [] { return ExceptionMessage::translate("Missing '{}'.") % "x"; };
  using Read = std::function<json_value(const char*)>;
  const Read string = [&](const char* key) { return GetMemberString(object, key, message()); };
  const Read real = [&](const char* key) { return GetMemberDouble(object, key, message()); };
  const Read integer = [&](const char* key) { return GetMemberInteger(object, key, message()); };
  const Read boolean = [&](const char* key) { return GetMemberBool(object, key, message()); };
  struct Row {
    const char* name;
    const Read& read;
    const char* key;
    std::optional<json_value> expected;  // nullopt: must throw the message.
  };
  const std::vector<Row> rows = {
      {"string", string, "name", "Temp"},
      {"missing (keys are case-sensitive)", string, "Name", std::nullopt},
      {"double from float", real, "float", 2.5},
      {"double from integer", real, "int", -7.0},
      {"integer", integer, "int", -7},
      {"integer from whole float", integer, "whole", std::nullopt},
      {"integer beyond int64", integer, "huge", std::nullopt},
      {"bool", boolean, "flag", false},
      {"bool from integer", boolean, "int", std::nullopt},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    if (row.expected) {
      EXPECT_EQ(row.read(row.key), *row.expected);
    } else {
      EXPECT_EQ(ThrownMessage([&] { row.read(row.key); }), "Missing 'x'.");
    }
  }
  EXPECT_EQ(ThrownMessage([&] { GetMemberBool(json_value::array({1}), "0", message()); }),
            "Missing 'x'.");
  EXPECT_EQ(FindMember(object, "flag"), &object.at("flag"));
  EXPECT_EQ(FindMember(object, "FLAG"), nullptr);
}

}  // namespace
}  // namespace zubra
