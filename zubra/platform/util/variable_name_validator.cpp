#include "zubra/platform/util/variable_name_validator.h"

#include "zubra/platform/util/kt_string.h"

namespace zubra {
namespace {

// The forbidden printable characters, in the order they are shown. The same text serves the
// test and the display.
constexpr std::string_view kForbiddenPrintable = "[]=;\"$~";

// How the forbidden control characters are named after the printable ones.
constexpr std::string_view kControlCharactersText = "TAB and other control characters";

bool IsForbiddenCodePoint(char32_t code_point) {
  if (code_point < 0x20 || (code_point >= 0x7F && code_point <= 0x9F)) return true;
  if (code_point == 0x2028 || code_point == 0x2029) return true;
  return code_point < 0x80 &&
         kForbiddenPrintable.find(static_cast<char>(code_point)) != std::string_view::npos;
}

}  // namespace

bool ZubraVariableNameValidator::IsValid(std::string_view text) const {
  std::size_t position = 0;
  while (position < text.size()) {
    const std::optional<char32_t> code_point = KtStdString::DecodeUtf8(text, position);
    if (!code_point || IsForbiddenCodePoint(*code_point)) return false;
  }
  return true;
}

std::string ZubraVariableNameValidator::GetForbiddenCharacters() const {
  std::string shown;
  for (const char c : kForbiddenPrintable) {
    shown += c;
    shown += ' ';
  }
  shown += kControlCharactersText;
  return shown;
}

}  // namespace zubra
