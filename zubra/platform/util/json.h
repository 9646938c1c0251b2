// JSON values with ordered object members, a guarded parser and writer, and typed reads of
// object members that report bad documents as zubra::Exception.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "zubra/platform/util/exception.h"

namespace zubra {

// A JSON value. Object members keep the order in which they were inserted, so documents are
// written back with their keys in the order the writers chose.
using json_value = nlohmann::ordered_json;

// The deepest nesting of arrays and objects that ParseJson accepts and DumpJson writes. It
// keeps the recursive writer (and every recursive reader of ours) far from the stack limit.
inline constexpr int kMaxJsonDepth = 512;

// Parses the UTF-8 JSON document `text` (a UTF-8 byte-order mark at the start is skipped).
// Throws Exception when `text` is not exactly one valid JSON value: a syntax error (the message
// names line and column), invalid UTF-8 in a string, a NUL byte anywhere, a number beyond the
// double range, or nesting deeper than kMaxJsonDepth. Numbers are read independently of the
// process locale.
json_value ParseJson(std::string_view text);

// Writes `value` as JSON text: compact when `indent` is negative, otherwise pretty-printed
// with `indent` spaces a level. Strings holding invalid UTF-8 are written with each bad
// sequence replaced by U+FFFD instead of failing; non-finite numbers are written as null.
// Throws Exception when `value` is nested deeper than kMaxJsonDepth.
std::string DumpJson(const json_value& value, int indent = -1);

// True for a JSON integer, signed or unsigned; false for a floating-point number even when
// its value is whole (5.0).
bool IsInteger(const json_value& value);

// True for any JSON number: integer or floating-point.
bool IsNumber(const json_value& value);

// Returns the member `key` of `object`, or nullptr when `object` is not an object or has no
// such member. The pointer is valid as long as `object` is not changed.
const json_value* FindMember(const json_value& object, std::string_view key);

// Typed reads of a member that must be present. Each throws Exception(message) when `object`
// is not an object, the member `key` is missing, or it has the wrong kind:
//   GetMemberString  - a string;
//   GetMemberDouble  - any number (integers are converted);
//   GetMemberInteger - an integer that fits std::int64_t (5.0 is refused);
//   GetMemberBool    - true or false.
//
//   double c1 = GetMemberDouble(constants, "c1",
//       ExceptionMessage::translate("Parse error: constant 'c1' is required for the {1} "
//                                   "transform.") % type_name);
std::string GetMemberString(const json_value& object, std::string_view key,
                            const ExceptionMessage& message);
double GetMemberDouble(const json_value& object, std::string_view key,
                       const ExceptionMessage& message);
std::int64_t GetMemberInteger(const json_value& object, std::string_view key,
                              const ExceptionMessage& message);
bool GetMemberBool(const json_value& object, std::string_view key, const ExceptionMessage& message);

}  // namespace zubra
