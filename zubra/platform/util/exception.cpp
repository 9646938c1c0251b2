#include "zubra/platform/util/exception.h"

#include <fmt/format.h>

#include <boost/format.hpp>
#include <cctype>
#include <mutex>
#include <utility>

namespace zubra {
namespace {

struct TranslatorSlot {
  std::mutex mutex;
  ExceptionMessage::Translator translator;
};

TranslatorSlot& Slot() {
  static TranslatorSlot slot;
  return slot;
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// True when the text holds a "%N%" placeholder (N one or more digits).
bool HasNumberedPercent(std::string_view text) {
  for (std::size_t i = 0; i + 2 < text.size(); ++i) {
    if (text[i] != '%' || !IsDigit(text[i + 1])) continue;
    std::size_t j = i + 1;
    while (j < text.size() && IsDigit(text[j])) ++j;
    if (j < text.size() && text[j] == '%') return true;
  }
  return false;
}

// Fills "{}" (next argument) and "{N}" (argument N, 1-based); anything else is copied.
std::string FillBraces(std::string_view text, const std::vector<std::string>& arguments) {
  std::string out;
  out.reserve(text.size());
  std::size_t next = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '{') {
      std::size_t j = i + 1;
      while (j < text.size() && IsDigit(text[j])) ++j;
      if (j < text.size() && text[j] == '}') {
        std::size_t index = 0;
        bool numbered = j > i + 1;
        if (numbered) {
          // At most a few digits are meaningful; a huge number simply has no argument.
          std::string_view digits = text.substr(i + 1, j - i - 1);
          index = digits.size() > 6 ? 0 : std::stoul(std::string(digits));
        } else {
          index = ++next;
        }
        if (index >= 1 && index <= arguments.size()) {
          out += arguments[index - 1];
          i = j;
          continue;
        }
      }
    }
    out += text[i];
  }
  return out;
}

std::string FillPercent(const std::string& text, const std::vector<std::string>& arguments) {
  try {
    boost::format format(text);
    format.exceptions(boost::io::all_error_bits ^
                      (boost::io::too_many_args_bit | boost::io::too_few_args_bit));
    for (const std::string& argument : arguments) format % argument;
    // Placeholders without an argument keep their written form.
    for (int k = static_cast<int>(arguments.size()) + 1; k <= format.expected_args(); ++k) {
      format % fmt::format("%{}%", k);
    }
    return format.str();
  } catch (const boost::io::format_error&) {
    // Not a valid Boost.Format text (a translator may produce one): replace "%N%" by hand.
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (text[i] == '%' && i + 1 < text.size() && IsDigit(text[i + 1])) {
        std::size_t j = i + 1;
        while (j < text.size() && IsDigit(text[j])) ++j;
        if (j < text.size() && text[j] == '%' && j - i - 1 <= 6) {
          std::size_t index = std::stoul(text.substr(i + 1, j - i - 1));
          if (index >= 1 && index <= arguments.size()) {
            out += arguments[index - 1];
            i = j;
            continue;
          }
        }
      }
      out += text[i];
    }
    return out;
  }
}

}  // namespace

ExceptionMessage ExceptionMessage::translate(std::string_view text) {
  Translator translator;
  {
    std::lock_guard lock(Slot().mutex);
    translator = Slot().translator;
  }
  return ExceptionMessage(translator ? translator(text) : std::string(text));
}

void ExceptionMessage::SetTranslator(Translator translator) {
  std::lock_guard lock(Slot().mutex);
  Slot().translator = std::move(translator);
}

ExceptionMessage& ExceptionMessage::operator%(std::string_view argument) & {
  arguments_.emplace_back(argument);
  return *this;
}
ExceptionMessage&& ExceptionMessage::operator%(std::string_view argument) && {
  return std::move(*this % argument);
}
ExceptionMessage& ExceptionMessage::operator%(const char* argument) & {
  return *this % std::string_view(argument == nullptr ? "" : argument);
}
ExceptionMessage&& ExceptionMessage::operator%(const char* argument) && {
  return std::move(*this % argument);
}
ExceptionMessage& ExceptionMessage::operator%(const std::string& argument) & {
  return *this % std::string_view(argument);
}
ExceptionMessage&& ExceptionMessage::operator%(const std::string& argument) && {
  return std::move(*this % argument);
}
ExceptionMessage& ExceptionMessage::operator%(bool argument) & {
  return *this % std::string_view(argument ? "true" : "false");
}
ExceptionMessage&& ExceptionMessage::operator%(bool argument) && {
  return std::move(*this % argument);
}
ExceptionMessage& ExceptionMessage::operator%(char argument) & {
  return *this % std::string_view(&argument, 1);
}
ExceptionMessage&& ExceptionMessage::operator%(char argument) && {
  return std::move(*this % argument);
}

ExceptionMessage& ExceptionMessage::AddInteger(std::int64_t value) {
  arguments_.push_back(fmt::format("{}", value));
  return *this;
}

ExceptionMessage& ExceptionMessage::AddDouble(double value) {
  arguments_.push_back(fmt::format("{:g}", value));
  return *this;
}

std::string ExceptionMessage::str() const {
  if (arguments_.empty()) return text_;
  if (HasNumberedPercent(text_)) return FillPercent(text_, arguments_);
  return FillBraces(text_, arguments_);
}

}  // namespace zubra
