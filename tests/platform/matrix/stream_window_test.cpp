#include "zubra/platform/matrix/stream_window.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <locale>
#include <sstream>
#include <stdexcept>
#include <string>

namespace zubra {
namespace {

// Runs under a German global locale when one is installed, so that a decimal comma or digit
// grouping would show.
TEST(StreamWindow, NumbersMatchAClassicDefaultFormattedOstreamWhateverTheGlobalLocale) {
  std::locale previous;
  try {
    previous = std::locale::global(std::locale("de_DE.UTF-8"));
  } catch (const std::runtime_error&) {
  }
  for (int precision : {0, 1, 4, 6, 10, 17}) {
    for (double value : {0.0, 1.0 / 3.0, -2.0 / 3.0, 1234567.0, 0.0001, 0.00001, 1e300, -1e-300,
                         -42.5, 123456.0, 99.99, 1e16}) {
      std::ostringstream expected;
      expected.imbue(std::locale::classic());
      expected.precision(precision);
      expected << value;
      StreamWindow out;
      out.SetPrecision(precision);
      out << value;
      EXPECT_EQ(out.str(), expected.str()) << "precision " << precision;
    }
  }
  StreamWindow out;
  out << 1234567 << ' ' << 1234.5;
  std::locale::global(previous);
  EXPECT_EQ(out.str(), "1234567 1234.5");
}

TEST(StreamWindow, WritesTextAndIntegersAsTheyAreIntoTheCallersStream) {
  std::ostringstream target;
  StreamWindow out(target);
  EXPECT_EQ(out.SetPrecision(4), StreamWindow::kDefaultPrecision);
  out << "C1 = " << 1.0 / 3.0 << ", C2 = " << 2.0F / 3.0F << '\n';
  EXPECT_EQ(out.SetPrecision(-1), 4);
  out << 1.0 / 3.0 << ' ' << std::numeric_limits<std::int64_t>::min() << ' '
      << std::numeric_limits<std::uint64_t>::max() << static_cast<const char*>(nullptr);
  EXPECT_EQ(target.str(),
            "C1 = 0.3333, C2 = 0.6667\n0.333333 -9223372036854775808 18446744073709551615");
  EXPECT_EQ(out.str(), "");
  StreamWindow own;
  own << "a" << 1;
  own.Clear();
  EXPECT_EQ((own << std::string("b\t")).str(), "b\t");
}

}  // namespace
}  // namespace zubra
