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

TEST(StreamWindow, NumbersMatchADefaultFormattedOstream) {
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
  own << std::string("b\t");
  EXPECT_EQ(own.str(), "b\t");
}

TEST(StreamWindow, NumbersIgnoreTheGlobalLocale) {
  std::locale german;
  try {
    german = std::locale("de_DE.UTF-8");
  } catch (const std::runtime_error&) {
    GTEST_SKIP() << "no German locale installed";
  }
  const std::locale previous = std::locale::global(german);
  StreamWindow out;
  out << 1.5 << ' ' << 1234567 << ' ' << 1234.5;
  std::locale::global(previous);
  EXPECT_EQ(out.str(), "1.5 1234567 1234.5");
}

}  // namespace
}  // namespace zubra
