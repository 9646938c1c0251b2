#include "zubra/platform/util/json.h"

#include <cstddef>
#include <limits>
#include <utility>
#include <vector>

#include "zubra/platform/util/kt_string.h"

namespace zubra {
namespace {

// Turns a library message "[json.exception.parse_error.101] parse error at line 1, column 2:
// ..." into its readable part. The part may quote input bytes, so it is made valid UTF-8.
std::string DescribeLibraryError(const nlohmann::json::exception& error) {
  std::string_view text = error.what();
  if (!text.empty() && text.front() == '[') {
    const std::size_t close = text.find("] ");
    if (close != std::string_view::npos) text.remove_prefix(close + 2);
  }
  return KtStdString::RepairUtf8(text);
}

// The 1-based line and column (in bytes) of byte `offset` of `text`.
std::pair<std::size_t, std::size_t> LineAndColumn(std::string_view text, std::size_t offset) {
  std::size_t line = 1;
  std::size_t line_start = 0;
  for (std::size_t i = 0; i < offset; ++i) {
    if (text[i] == '\n') {
      ++line;
      line_start = i + 1;
    }
  }
  return {line, offset - line_start + 1};
}

// Throws when `value` holds arrays or objects nested deeper than kMaxJsonDepth. Iterative, so
// that a value of any depth can be checked without deep recursion.
void CheckDepth(const json_value& value) {
  std::vector<std::pair<const json_value*, int>> pending{{&value, 0}};
  while (!pending.empty()) {
    const auto [current, depth] = pending.back();
    pending.pop_back();
    if (!current->is_structured()) continue;
    if (depth + 1 > kMaxJsonDepth) {
      throw Exception(ExceptionMessage::translate(
                          "The JSON value is nested deeper than {} levels and cannot be written.") %
                      kMaxJsonDepth);
    }
    for (const json_value& child : *current) pending.emplace_back(&child, depth + 1);
  }
}

const json_value& RequireMember(const json_value& object, std::string_view key,
                                const ExceptionMessage& message) {
  const json_value* member = FindMember(object, key);
  if (member == nullptr) throw Exception(message);
  return *member;
}

}  // namespace

json_value ParseJson(std::string_view text) {
  if (const std::size_t nul = text.find('\0'); nul != std::string_view::npos) {
    const auto [line, column] = LineAndColumn(text, nul);
    throw Exception(
        ExceptionMessage::translate("Invalid JSON text: NUL character at line {}, column {}.") %
        line % column);
  }
  // The parser itself keeps its nesting on the heap; the limit protects the code that later
  // walks the value recursively.
  const json_value::parser_callback_t limit_depth = [](int depth, json_value::parse_event_t event,
                                                       json_value& /*parsed*/) {
    if ((event == json_value::parse_event_t::object_start ||
         event == json_value::parse_event_t::array_start) &&
        depth >= kMaxJsonDepth) {
      throw Exception(
          ExceptionMessage::translate("Invalid JSON text: nested deeper than {} levels.") %
          kMaxJsonDepth);
    }
    return true;
  };
  try {
    return json_value::parse(text.begin(), text.end(), limit_depth);
  } catch (const nlohmann::json::exception& error) {
    throw Exception(ExceptionMessage::translate("Invalid JSON text: {}") %
                    DescribeLibraryError(error));
  }
}

std::string DumpJson(const json_value& value, int indent) {
  CheckDepth(value);
  try {
    return value.dump(indent, ' ', false, json_value::error_handler_t::replace);
  } catch (const nlohmann::json::exception& error) {
    throw Exception(ExceptionMessage::translate("The JSON value cannot be written: {}") %
                    DescribeLibraryError(error));
  }
}

bool IsInteger(const json_value& value) { return value.is_number_integer(); }

bool IsNumber(const json_value& value) { return value.is_number(); }

const json_value* FindMember(const json_value& object, std::string_view key) {
  if (!object.is_object()) return nullptr;
  const auto found = object.find(key);
  return found == object.end() ? nullptr : &*found;
}

std::string GetMemberString(const json_value& object, std::string_view key,
                            const ExceptionMessage& message) {
  const json_value& member = RequireMember(object, key, message);
  if (!member.is_string()) throw Exception(message);
  return member.get<std::string>();
}

double GetMemberDouble(const json_value& object, std::string_view key,
                       const ExceptionMessage& message) {
  const json_value& member = RequireMember(object, key, message);
  if (!member.is_number()) throw Exception(message);
  return member.get<double>();
}

std::int64_t GetMemberInteger(const json_value& object, std::string_view key,
                              const ExceptionMessage& message) {
  const json_value& member = RequireMember(object, key, message);
  if (member.is_number_unsigned()) {
    const auto value = member.get<std::uint64_t>();
    if (value > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
      throw Exception(message);
    }
    return static_cast<std::int64_t>(value);
  }
  if (!member.is_number_integer()) throw Exception(message);
  return member.get<std::int64_t>();
}

bool GetMemberBool(const json_value& object, std::string_view key,
                   const ExceptionMessage& message) {
  const json_value& member = RequireMember(object, key, message);
  if (!member.is_boolean()) throw Exception(message);
  return member.get<bool>();
}

}  // namespace zubra
