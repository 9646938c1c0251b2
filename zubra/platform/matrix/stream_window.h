// StreamWindow: the text sink that text dumps (factor, response, model descriptions) write to.
#pragma once

#include <concepts>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>

namespace zubra {

// Collects text and numbers, either into a std::ostream given by the caller or into a
// buffer of its own (str()).
//
// Floating-point numbers are written like a default-formatted ostream with the current
// precision (the "%.<precision>g" form: 0.3333 at precision 4, 1.23457e+06 at 6), always
// with a '.' decimal point whatever the process locale; integers in plain decimal. The
// precision starts at 6 and stays until changed, like an ostream's.
//
//   StreamWindow out;
//   out.SetPrecision(4);
//   out << "C1 = " << 1.0 / 3.0 << '\n';   // "C1 = 0.3333\n"
class StreamWindow {
 public:
  static constexpr int kDefaultPrecision = 6;

  // Writes into an internal buffer, read back with str().
  StreamWindow();
  // Writes into `out`, which must outlive the window; str() stays empty.
  explicit StreamWindow(std::ostream& out);
  StreamWindow(const StreamWindow&) = delete;
  StreamWindow& operator=(const StreamWindow&) = delete;
  ~StreamWindow() = default;

  // Number of significant digits of floating-point numbers.
  [[nodiscard]] int GetPrecision() const { return precision_; }
  // Sets the precision and returns the previous one. A negative value restores the default
  // 6; values above 100 are treated as 100. A precision of 0 writes one significant digit,
  // as printf's "%.0g" does.
  int SetPrecision(int digits);

  StreamWindow& Write(std::string_view text);
  StreamWindow& Write(char c) { return Write(std::string_view(&c, 1)); }
  // A null pointer writes nothing.
  StreamWindow& Write(const char* text) {
    return text == nullptr ? *this : Write(std::string_view(text));
  }
  StreamWindow& Write(double value);
  StreamWindow& Write(float value) { return Write(static_cast<double>(value)); }
  template <std::integral T>
  requires(!std::same_as<T, bool> && !std::same_as<T, char>) StreamWindow& Write(T value) {
    if constexpr (std::is_signed_v<T>) {
      return WriteInteger(static_cast<std::int64_t>(value));
    } else {
      return WriteUnsigned(static_cast<std::uint64_t>(value));
    }
  }
  // Booleans have no agreed text form in dumps; write the wanted text instead.
  StreamWindow& Write(bool) = delete;

  template <typename T>
  StreamWindow& operator<<(const T& value) {
    return Write(value);
  }

  // Everything written since construction or the last Clear() when the window owns its
  // buffer; empty when it writes into a caller's stream.
  [[nodiscard]] std::string str() const;
  // Empties the internal buffer (no effect on a caller's stream).
  void Clear();

 private:
  StreamWindow& WriteInteger(std::int64_t value);
  StreamWindow& WriteUnsigned(std::uint64_t value);

  std::string buffer_;
  std::ostream* out_ = nullptr;  // null when writing into buffer_
  int precision_ = kDefaultPrecision;
};

}  // namespace zubra
