#include "zubra/platform/util/configuration_section.h"

#include <charconv>
#include <string>
#include <system_error>

#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/kt_string.h"

namespace zubra {
namespace {

// The three kinds of typed value, named as the conversion message shows them.
enum class ValueKind { kWholeNumber, kNumber, kBoolean };

std::string KindText(ValueKind kind) {
  switch (kind) {
    case ValueKind::kWholeNumber:
      return ExceptionMessage::translate("whole number").str();
    case ValueKind::kNumber:
      return ExceptionMessage::translate("number").str();
    case ValueKind::kBoolean:
      return ExceptionMessage::translate("boolean").str();
  }
  return {};
}

[[noreturn]] void ThrowNotValid(std::string_view text, std::string_view key, ValueKind kind) {
  throw Exception(
      ExceptionMessage::translate("The value '%1%' of the key '%2%' is not a valid %3%.") % text %
      key % KindText(kind));
}

// Converts the whole of `text` with std::from_chars (no sign '+', no spaces, no partial read,
// nothing out of range); false otherwise.
template <typename T>
bool ParseWhole(std::string_view text, T& value) {
  if (text.empty()) return false;
  T parsed{};
  const char* const end = text.data() + text.size();
  const auto [ptr, ec] = std::from_chars(text.data(), end, parsed);
  if (ec != std::errc() || ptr != end) return false;
  value = parsed;
  return true;
}

bool EqualsAsciiNoCase(std::string_view text, std::string_view lower) {
  if (text.size() != lower.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (c != lower[i]) return false;
  }
  return true;
}

bool ParseBool(std::string_view text, bool& value) {
  if (text == "1" || EqualsAsciiNoCase(text, "true") || EqualsAsciiNoCase(text, "yes")) {
    value = true;
    return true;
  }
  if (text == "0" || EqualsAsciiNoCase(text, "false") || EqualsAsciiNoCase(text, "no")) {
    value = false;
    return true;
  }
  return false;
}

template <typename T>
std::string ToChars(T value) {
  // 32 characters hold every int, unsigned and the longest shortest-form double
  // ("-2.2250738585072014e-308" has 24).
  char buffer[32];
  const auto [ptr, ec] = std::to_chars(buffer, buffer + sizeof(buffer), value);
  if (ec != std::errc()) return {};
  return std::string(buffer, ptr);
}

// Reads `key` through `parse`; shared by the typed reads.
// A lenient read answers false for a garbled value instead of throwing.
template <typename T, typename Parse>
bool ReadTyped(const ConfigurationSection& section, std::string_view key, T& value, ValueKind kind,
               Parse parse, bool lenient = false) {
  const std::optional<std::string> text = section.GetValue(key);
  if (!text) return false;
  T parsed{};
  if (!parse(*text, parsed)) {
    if (lenient) return false;
    ThrowNotValid(*text, key, kind);
  }
  value = parsed;
  return true;
}

}  // namespace

bool ConfigurationSection::ReadString(std::string_view key, std::string& value) const {
  std::optional<std::string> text = GetValue(key);
  if (!text) return false;
  // The objects hold UTF-8 text, as the JSON form must: bytes that are not UTF-8 (an older
  // file in another encoding, a damaged one) are read as U+FFFD. The section keeps them.
  value = KtStdString::IsValidUtf8(*text) ? std::move(*text) : KtStdString::RepairUtf8(*text);
  return true;
}

bool ConfigurationSection::ReadInt(std::string_view key, int& value) const {
  return ReadTyped(*this, key, value, ValueKind::kWholeNumber, ParseWhole<int>);
}

bool ConfigurationSection::ReadUnsigned(std::string_view key, unsigned& value) const {
  return ReadTyped(*this, key, value, ValueKind::kWholeNumber, ParseWhole<unsigned>);
}

bool ConfigurationSection::ReadDouble(std::string_view key, double& value) const {
  return ReadTyped(*this, key, value, ValueKind::kNumber, ParseWhole<double>);
}

bool ConfigurationSection::ReadBool(std::string_view key, bool& value) const {
  return ReadTyped(*this, key, value, ValueKind::kBoolean, ParseBool);
}

bool ConfigurationSection::TryReadInt(std::string_view key, int& value) const {
  return ReadTyped(*this, key, value, ValueKind::kWholeNumber, ParseWhole<int>, true);
}

bool ConfigurationSection::TryReadDouble(std::string_view key, double& value) const {
  return ReadTyped(*this, key, value, ValueKind::kNumber, ParseWhole<double>, true);
}

bool ConfigurationSection::TryReadBool(std::string_view key, bool& value) const {
  return ReadTyped(*this, key, value, ValueKind::kBoolean, ParseBool, true);
}

std::string ConfigurationSection::GetString(std::string_view key, std::string_view fallback) const {
  std::string value(fallback);
  ReadString(key, value);
  return value;
}

int ConfigurationSection::GetInt(std::string_view key, int fallback) const {
  ReadInt(key, fallback);
  return fallback;
}

double ConfigurationSection::GetDouble(std::string_view key, double fallback) const {
  ReadDouble(key, fallback);
  return fallback;
}

bool ConfigurationSection::GetBool(std::string_view key, bool fallback) const {
  ReadBool(key, fallback);
  return fallback;
}

void ConfigurationSection::WriteInt(std::string_view key, int value) {
  SetValue(key, ToChars(value));
}

void ConfigurationSection::WriteUnsigned(std::string_view key, unsigned value) {
  SetValue(key, ToChars(value));
}

void ConfigurationSection::WriteDouble(std::string_view key, double value) {
  SetValue(key, ToChars(value));
}

void ConfigurationSection::WriteBool(std::string_view key, bool value) {
  SetValue(key, value ? "true" : "false");
}

void ConfigurationSection::CheckChildIndex(std::string_view name, int index) {
  if (index < 1) {
    throw Exception(
        ExceptionMessage::translate("The index {} of the section '{}' is not a positive number.") %
        index % name);
  }
  if (index > kMaxChildIndex) {
    throw Exception(ExceptionMessage::translate(
                        "The index {} of the section '{}' is above the largest index {}.") %
                    index % name % kMaxChildIndex);
  }
}

}  // namespace zubra
