// TraData: the transform types of variables, their names, and the forward and back formulas.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zubra {

// The numeric side of a variable's transform: one name per transform type, and the formula
// that carries a value onto the transformed scale (Tra) and back (BackTra). The Transform
// record of a variable stores the type and the constants c1, c2, c3 and calls these.
//
// The formulas, with x on the original scale and y on the transformed one:
//
//   type  name      y = Tra(x)                back: x = BackTra(y)
//   0     None      x                         y
//   1     Linear    c1*x + c2                 (y - c2) / c1
//   2     Log       log10(c1*x + c2)          (10^y - c2) / c1
//   3     NegLog    -log10(c1 - c2*x)         (c1 - 10^-y) / c2
//   4     Logit     log10((x - c1)/(c2 - x))  (c1 + 10^y * c2) / (1 + 10^y)
//   5     Exp       e^(c1*x + c2)             (ln(y) - c2) / c1
//   6     Power     (c1*x + c2)^c3            (y^(1/c3) - c2) / c1
//
// Each back formula inverts its forward formula wherever the forward one is one-to-one. A
// power with an even integer exponent folds negative bases onto positive results; its back
// formula returns the non-negative base. For an odd integer exponent negative values pass
// through both ways.
//
// Every value outside a formula's domain gives the undefined value -99 (kUndefined), never
// a NaN or an infinity: the log of a non-positive number, a zero divisor (c1 = 0 in a back
// formula that divides by c1, c2 = 0 for NegLog, c3 = 0 for Power, x = c2 for Logit), a
// fractional power of a negative number, a result that overflows, and an unknown type.
// An input equal to -99 (or a NaN) gives -99 as well.
class TraData {
 public:
  // Transform types; the codes are stored and passed around as plain integers.
  enum ETraType : std::int32_t {
    kNone = 0,
    kLinear = 1,
    kLog = 2,
    kNegLog = 3,
    kLogit = 4,
    kExp = 5,
    kPower = 6,
  };
  static constexpr int kTypeCount = 7;

  TraData() = delete;

  // The fixed name of a type ("None", "Linear", "Log", "NegLog", "Logit", "Exp", "Power");
  // empty for a code outside 0..6.
  static std::string GetString(ETraType type);
  // The type whose name is `text`, exactly or with its first letter in lower case ("negLog");
  // kNone for any other text.
  static ETraType GetETraType(std::string_view text);

  // x carried onto the transformed scale; kNone returns x as it is.
  static double Tra(double x, ETraType type, double c1, double c2, double c3);
  // y carried back onto the original scale; kNone returns y as it is.
  static double BackTra(double y, ETraType type, double c1, double c2, double c3);
};

}  // namespace zubra
