#include "zubra/platform/matrix/stream_window.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <ostream>
#include <system_error>

namespace zubra {
namespace {

constexpr int kMaxPrecision = 100;

}  // namespace

StreamWindow::StreamWindow() = default;

StreamWindow::StreamWindow(std::ostream& out) : out_(&out) {}

int StreamWindow::SetPrecision(int digits) {
  const int previous = precision_;
  precision_ = digits < 0 ? kDefaultPrecision : std::min(digits, kMaxPrecision);
  return previous;
}

StreamWindow& StreamWindow::Write(std::string_view text) {
  if (out_ != nullptr) {
    out_->write(text.data(), static_cast<std::streamsize>(text.size()));
  } else {
    buffer_.append(text);
  }
  return *this;
}

StreamWindow& StreamWindow::Write(double value) {
  // The general form has at most `precision` significant digits, a sign, a point, up to
  // four leading zeros and an exponent of at most five characters.
  std::array<char, kMaxPrecision + 32> text{};
  const auto result = std::to_chars(text.data(), text.data() + text.size(), value,
                                    std::chars_format::general, precision_);
  if (result.ec != std::errc()) return Write(std::string_view("?"));
  return Write(std::string_view(text.data(), static_cast<std::size_t>(result.ptr - text.data())));
}

StreamWindow& StreamWindow::WriteInteger(std::int64_t value) {
  std::array<char, 24> text{};
  const auto result = std::to_chars(text.data(), text.data() + text.size(), value);
  return Write(std::string_view(text.data(), static_cast<std::size_t>(result.ptr - text.data())));
}

StreamWindow& StreamWindow::WriteUnsigned(std::uint64_t value) {
  std::array<char, 24> text{};
  const auto result = std::to_chars(text.data(), text.data() + text.size(), value);
  return Write(std::string_view(text.data(), static_cast<std::size_t>(result.ptr - text.data())));
}

std::string StreamWindow::str() const { return buffer_; }

void StreamWindow::Clear() { buffer_.clear(); }

}  // namespace zubra
