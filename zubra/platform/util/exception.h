// Exceptions with translatable messages, and the message builder that fills their
// placeholders.
#pragma once

#include <concepts>
#include <cstdint>
#include <exception>
#include <functional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace zubra {

// A message text looked up in the installed translation catalogue, with its placeholders
// filled by operator% in order of the calls.
//
// Two placeholder styles are understood, and each message keeps its own:
//   - "{}" positional: the n-th "{}" takes the n-th argument; "{1}", "{2}" take argument 1, 2;
//   - "%1%", "%2%" numbered (Boost.Format); "%%" is a literal percent sign there.
// A placeholder without an argument stays as it is written; extra arguments are ignored.
// Arguments are turned into text when they are given: strings as they are, integers in
// decimal, floating-point numbers in the "%g" form, booleans as "true"/"false". No
// conversion depends on the process locale.
//
//   throw Exception(ExceptionMessage::translate("Parse error: constant 'c1' is required for "
//                                               "the {1} transform.") % name);
class ExceptionMessage {
 public:
  // The catalogue hook: maps an original (English) text to the text shown to the user.
  using Translator = std::function<std::string(std::string_view)>;

  // Looks `text` up in the installed catalogue (identity when none is installed).
  static ExceptionMessage translate(std::string_view text);

  // Installs a catalogue for the whole process; an empty function restores the identity.
  static void SetTranslator(Translator translator);

  ExceptionMessage& operator%(std::string_view argument) &;
  ExceptionMessage&& operator%(std::string_view argument) &&;
  ExceptionMessage& operator%(const char* argument) &;
  ExceptionMessage&& operator%(const char* argument) &&;
  ExceptionMessage& operator%(const std::string& argument) &;
  ExceptionMessage&& operator%(const std::string& argument) &&;
  ExceptionMessage& operator%(bool argument) &;
  ExceptionMessage&& operator%(bool argument) &&;
  ExceptionMessage& operator%(char argument) &;
  ExceptionMessage&& operator%(char argument) &&;
  template <std::integral T>
  requires(!std::same_as<T, bool> && !std::same_as<T, char>) ExceptionMessage& operator%(
      T argument) & {
    return AddInteger(static_cast<std::int64_t>(argument));
  }
  template <std::integral T>
  requires(!std::same_as<T, bool> && !std::same_as<T, char>) ExceptionMessage && operator%(
      T argument) && {
    return std::move(AddInteger(static_cast<std::int64_t>(argument)));
  }
  template <std::floating_point T>
  ExceptionMessage& operator%(T argument) & {
    return AddDouble(static_cast<double>(argument));
  }
  template <std::floating_point T>
  ExceptionMessage&& operator%(T argument) && {
    return std::move(AddDouble(static_cast<double>(argument)));
  }

  // The translated text with every placeholder that has an argument filled in.
  [[nodiscard]] std::string str() const;
  operator std::string() const { return str(); }  // NOLINT(google-explicit-constructor)

 private:
  explicit ExceptionMessage(std::string text) : text_(std::move(text)) {}
  ExceptionMessage& AddInteger(std::int64_t value);
  ExceptionMessage& AddDouble(double value);

  std::string text_;
  std::vector<std::string> arguments_;
};

// The exception thrown by every reader of a stored form and by every operation whose
// documentation says it throws. what() is the translated UTF-8 message.
class Exception : public std::exception {
 public:
  explicit Exception(std::string message) : message_(std::move(message)) {}
  explicit Exception(const ExceptionMessage& message) : message_(message.str()) {}

  [[nodiscard]] const char* what() const noexcept override { return message_.c_str(); }
  [[nodiscard]] const std::string& Message() const noexcept { return message_; }

 private:
  std::string message_;
};

// Thrown by long-running work (design generation, large reads) when the caller cancels it.
class CancelException : public Exception {
 public:
  CancelException() : Exception(ExceptionMessage::translate("The operation was cancelled.")) {}
};

}  // namespace zubra
