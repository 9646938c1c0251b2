#include "zubra/region/transform.h"

#include <fmt/printf.h>

#include <array>
#include <boost/format.hpp>
#include <initializer_list>
#include <optional>
#include <regex>
#include <string_view>
#include <utility>

#include "zubra/platform/util/configuration_section.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/kt_string.h"

namespace zubra {
namespace {

// A number as the writer prints it: optional sign, digits, an optional decimal point or
// comma with further digits, and an optional exponent ("%g" writes 1e-05 for small values).
// Written so that a run of digits can be matched in one way only: the pattern engine
// backtracks, and an ambiguous split of long digit runs made its time grow with a power of
// the text's length.
constexpr const char* kNum = R"(([+-]?\d+(?:[,.]\d*)?(?:e[+-]?\d+)?))";
constexpr const char* kVar = "[xy]";
constexpr const char* kSign = "([+-])";

const char* const kIncorrectFormat = "Incorrect transform format.";

[[noreturn]] void ThrowIncorrectFormat() {
  throw Exception(ExceptionMessage::translate(kIncorrectFormat));
}

// Fills a pattern template; a template may use only the first of the two fragments.
std::string Fill(const char* pattern, const std::string& a, const std::string& b) {
  boost::format format(pattern);
  format.exceptions(boost::io::all_error_bits ^ boost::io::too_many_args_bit);
  return boost::str(format % a % b);
}

// The compiled patterns: built once, used for every parse.
struct Patterns {
  // c1*x+c2 shapes, fullest first.
  std::regex num_mul_var_num;
  std::regex var_num;
  std::regex num_mul_var;
  std::regex num;
  std::regex var;
  // c1-c2*x shapes.
  std::regex num_sign_num_mul_var;
  std::regex sign_num_mul_var;
  std::regex num_sign_var;
  std::regex sign_var;
  // (x-c1)/(c2-x) shapes.
  std::regex logit_full;
  std::regex logit_no_c1;
  std::regex logit_no_c2;
  std::regex logit_none;
  // The exponent of the power form.
  std::regex exponent;

  Patterns() {
    const std::string n = kNum;
    const std::string v = kVar;
    const std::string s = kSign;
    const auto make = [](const std::string& text) {
      return std::regex(text, std::regex::ECMAScript | std::regex::optimize);
    };
    num_mul_var_num = make(n + R"(\*)" + v + n);
    var_num = make(v + n);
    num_mul_var = make(n + R"(\*)" + v);
    num = make(n);
    var = make(v);
    num_sign_num_mul_var = make(n + s + n + R"(\*)" + v);
    sign_num_mul_var = make(s + n + R"(\*)" + v);
    num_sign_var = make(n + s + v);
    sign_var = make(s + v);
    logit_full = make(Fill(R"(\(%1%%2%\)/\(%2%\-%1%\))", v, n));
    logit_no_c1 = make(Fill(R"(%1%/\(%2%\-%1%\))", v, n));
    logit_no_c2 = make(Fill(R"(\(%1%%2%\)/\-%1%)", v, n));
    logit_none = make(Fill(R"(%1%/\-%1%)", v, n));
    exponent = make(R"(\)\^)" + n);
  }
};

const Patterns& GetPatterns() {
  static const Patterns kPatterns;
  return kPatterns;
}

// Converts a captured number as single precision (accepting a decimal comma) and widens it.
std::optional<double> ToNumber(const std::string& text) {
  const std::optional<float> value = KtString::ToFloat(text, KtString::DecimalMark::kPointOrComma);
  if (!value) return std::nullopt;
  return static_cast<double>(*value);
}

// Constants read from a display text, and how the reading went.
struct Constants {
  double c1 = 0.0;
  double c2 = 0.0;
};

enum class Match { kFound, kNoShape, kBadNumber };

using Pair = std::pair<std::optional<double>, std::optional<double>>;

// One shape a writer text can take: its pattern and how c1 and c2 are read from a match.
struct Shape {
  const std::regex* pattern;
  Pair (*read)(const std::smatch&);
};

std::optional<double> Number(const std::smatch& m, int group) { return ToNumber(m[group]); }

std::optional<double> Negated(std::optional<double> value) {
  if (value) *value = -*value;
  return value;
}

// The negative log prints -c2, so a "+" in front of the x term means a negative c2.
std::optional<double> SignedC2(const std::smatch& m, int sign_group, std::optional<double> value) {
  return m[sign_group] == "+" ? Negated(value) : value;
}

// Tries the shapes in order; the first that is found decides.
Match MatchShapes(const std::string& text, std::initializer_list<Shape> shapes, Constants& out) {
  std::smatch m;
  for (const Shape& shape : shapes) {
    if (!std::regex_search(text, m, *shape.pattern)) continue;
    const auto [c1, c2] = shape.read(m);
    if (!c1 || !c2) return Match::kBadNumber;
    out = {*c1, *c2};
    return Match::kFound;
  }
  return Match::kNoShape;
}

// c1*x+c2, from the fullest shape to the sparest.
Match MatchLinear(const std::string& text, Constants& out) {
  const Patterns& p = GetPatterns();
  return MatchShapes(text,
                     {{&p.num_mul_var_num,
                       [](const std::smatch& m) {
                         return Pair{Number(m, 1), Number(m, 2)};
                       }},
                      {&p.var_num,
                       [](const std::smatch& m) {
                         return Pair{1.0, Number(m, 1)};
                       }},
                      {&p.num_mul_var,
                       [](const std::smatch& m) {
                         return Pair{Number(m, 1), 0.0};
                       }},
                      {&p.num,
                       [](const std::smatch& m) {
                         return Pair{0.0, Number(m, 1)};
                       }},
                      {&p.var,
                       [](const std::smatch&) {
                         return Pair{1.0, 0.0};
                       }}},
                     out);
}

// c1-c2*x.
Match MatchNegativeLog(const std::string& text, Constants& out) {
  const Patterns& p = GetPatterns();
  return MatchShapes(text,
                     {{&p.num_sign_num_mul_var,
                       [](const std::smatch& m) {
                         return Pair{Number(m, 1), SignedC2(m, 2, Number(m, 3))};
                       }},
                      {&p.sign_num_mul_var,
                       [](const std::smatch& m) {
                         return Pair{0.0, SignedC2(m, 1, Number(m, 2))};
                       }},
                      {&p.num_sign_var,
                       [](const std::smatch& m) {
                         return Pair{Number(m, 1), SignedC2(m, 2, 1.0)};
                       }},
                      {&p.sign_var,
                       [](const std::smatch& m) {
                         return Pair{0.0, SignedC2(m, 1, 1.0)};
                       }},
                      {&p.num,
                       [](const std::smatch& m) {
                         return Pair{Number(m, 1), 0.0};
                       }}},
                     out);
}

// (x-c1)/(c2-x); the writer prints -c1 after the letter.
Match MatchLogit(const std::string& text, Constants& out) {
  const Patterns& p = GetPatterns();
  return MatchShapes(text,
                     {{&p.logit_full,
                       [](const std::smatch& m) {
                         return Pair{Negated(Number(m, 1)), Number(m, 2)};
                       }},
                      {&p.logit_no_c1,
                       [](const std::smatch& m) {
                         return Pair{0.0, Number(m, 1)};
                       }},
                      {&p.logit_no_c2,
                       [](const std::smatch& m) {
                         return Pair{Negated(Number(m, 1)), 0.0};
                       }},
                      {&p.logit_none,
                       [](const std::smatch&) {
                         return Pair{0.0, 0.0};
                       }}},
                     out);
}

TraData::ETraType DetectType(const std::string& text) {
  if (text.find("-10log") != std::string::npos) return TraData::kNegLog;
  if (text.find("10log") != std::string::npos) {
    return text.find('/') != std::string::npos ? TraData::kLogit : TraData::kLog;
  }
  if (text.find("exp") != std::string::npos) return TraData::kExp;
  if (text.find('^') != std::string::npos) return TraData::kPower;
  if (text.find_first_of("+-xy") != std::string::npos) return TraData::kLinear;
  if (std::regex_search(text, GetPatterns().num)) return TraData::kLinear;
  return TraData::kNone;
}

std::string G(double value) { return fmt::sprintf("%g", value); }

// c1*x+c2 as the writer prints it.
std::string LinearInner(double c1, double c2, char variable) {
  if (c1 == 0.0 && c2 == 0.0) return "0.0";
  std::string text;
  if (c1 == 1.0) {
    text += variable;
  } else if (c1 != 0.0) {
    text += fmt::sprintf("%g*%c", c1, variable);
  }
  if (c2 != 0.0) text += fmt::sprintf("%+g", c2);
  return text;
}

// c1-c2*x as the writer prints it.
std::string NegativeLogInner(double c1, double c2, char variable) {
  if (c1 == 0.0 && c2 == 0.0) return "0.0";
  std::string text;
  if (c1 != 0.0) text += G(c1);
  if (c2 == 1.0) {
    text += fmt::sprintf("-%c", variable);
  } else if (c2 != 0.0) {
    text += fmt::sprintf("%+g*%c", -c2, variable);
  }
  return text;
}

// (x-c1)/(c2-x) as the writer prints it.
std::string LogitInner(double c1, double c2, char variable) {
  if (c1 == 0.0 && c2 == 0.0) return fmt::sprintf("%c/-%c", variable, variable);
  if (c1 == 0.0) return fmt::sprintf("%c/(%g-%c)", variable, c2, variable);
  if (c2 == 0.0) return fmt::sprintf("(%c%+g)/-%c", variable, -c1, variable);
  return fmt::sprintf("(%c%+g)/(%g-%c)", variable, -c1, c2, variable);
}

const ConfigurationSection* ReadChild(const std::string& name,
                                      const ConfigurationSection& section) {
  return section.IsIni() ? section.OpenChild(name) : section.OpenChild("Tran");
}

}  // namespace

Transform::Transform(const std::string& name, const ConfigurationSection& section) {
  const ConfigurationSection* child = ReadChild(name, section);
  if (child == nullptr) return;
  std::string text;
  if (child->ReadString("Transform", text)) type_ = TraData::GetETraType(text);
  if (child->ReadString("TransConst", text)) {
    std::array<double, 3> constants = {0.0, 0.0, 1.0};
    const std::vector<std::string> pieces = KtStdString::Split(text, ',');
    for (std::size_t i = 0; i < pieces.size() && i < constants.size(); ++i) {
      // A garbled piece keeps its default, as a missing one does.
      if (const auto value = KtString::ToDouble(KtStdString::Trim(pieces[i])))
        constants[i] = *value;
    }
    c1_ = constants[0];
    c2_ = constants[1];
    c3_ = constants[2];
  }
}

void Transform::SetTransform(TraData::ETraType type, double c1, double c2, double c3) {
  type_ = type;
  c1_ = c1;
  c2_ = c2;
  c3_ = c3;
}

void Transform::GetConst(double& c1, double& c2, double& c3) const {
  c1 = c1_;
  c2 = c2_;
  c3 = c3_;
}

double Transform::GetTransform(double x) const {
  return type_ == TraData::kNone ? x : TraData::Tra(x, type_, c1_, c2_, c3_);
}

double Transform::GetBackTransform(double y) const {
  return type_ == TraData::kNone ? y : TraData::BackTra(y, type_, c1_, c2_, c3_);
}

bool Transform::operator==(const Transform& other) const {
  if (type_ != other.type_ || c1_ != other.c1_ || c2_ != other.c2_) return false;
  return type_ != TraData::kPower || c3_ == other.c3_;
}

std::string Transform::GetTransformString(char variable) const {
  switch (type_) {
    case TraData::kLinear:
      return LinearInner(c1_, c2_, variable);
    case TraData::kLog:
      return boost::str(boost::format("10Log(%1%)") % LinearInner(c1_, c2_, variable));
    case TraData::kNegLog:
      return boost::str(boost::format("-10Log(%1%)") % NegativeLogInner(c1_, c2_, variable));
    case TraData::kLogit:
      return boost::str(boost::format("10Log(%1%)") % LogitInner(c1_, c2_, variable));
    case TraData::kExp:
      return boost::str(boost::format("Exp(%1%)") % LinearInner(c1_, c2_, variable));
    case TraData::kPower:
      return fmt::sprintf("(%s)^%g)", LinearInner(c1_, c2_, variable), c3_);
    default:
      return {};
  }
}

Transform Transform::GetTransform(const std::string& text) {
  if (text.size() > kMaxTextLength) ThrowIncorrectFormat();
  std::string lower = KtStdString::ToLower(text);
  const TraData::ETraType type = DetectType(lower);
  if (type == TraData::kNone) return {};

  if (const std::size_t open = lower.find('('); open != std::string::npos) lower.erase(0, open);

  double c3 = 1.0;
  std::string base = lower;
  if (type == TraData::kPower) {
    // The exponent follows ")^"; the constants of the base are read before it only, so a
    // number of the exponent is never taken for one of the base.
    const std::size_t caret = lower.find(")^");
    if (caret == std::string::npos) ThrowIncorrectFormat();
    std::smatch m;
    const std::string tail = lower.substr(caret);
    if (!std::regex_search(tail, m, GetPatterns().exponent)) ThrowIncorrectFormat();
    const std::optional<double> exponent = ToNumber(m[1]);
    if (!exponent) return {};
    c3 = *exponent;
    base = lower.substr(0, caret + 1);
  }

  Constants constants;
  Match match = Match::kNoShape;
  switch (type) {
    case TraData::kNegLog:
      match = MatchNegativeLog(base, constants);
      break;
    case TraData::kLogit:
      match = MatchLogit(base, constants);
      break;
    default:
      match = MatchLinear(base, constants);
      break;
  }
  if (match == Match::kNoShape) ThrowIncorrectFormat();
  if (match == Match::kBadNumber) return {};
  return {type, constants.c1, constants.c2, c3};
}

int Transform::WriteToFile(const std::string& name, ConfigurationSection& section) const {
  ConfigurationSection& child =
      section.IsIni() ? section.CreateChild(name) : section.CreateChild("Tran");
  child.WriteString("Transform", TraData::GetString(type_));
  if (type_ != TraData::kNone) {
    child.WriteString("TransConst", KtString::FormatShortest(c1_) + "," +
                                        KtString::FormatShortest(c2_) + "," +
                                        KtString::FormatShortest(c3_));
  }
  return 0;
}

Transform Transform::FromJson(const json_value& value) {
  if (!value.is_object()) return {};
  const json_value* type_text = FindMember(value, "type");
  if (type_text == nullptr) {
    throw Exception(ExceptionMessage::translate("Parse error: missing key 'type' in transform."));
  }
  // A "type" that is not a string names no transform, like an unknown name.
  const TraData::ETraType type =
      type_text->is_string() ? TraData::GetETraType(type_text->get<std::string>()) : TraData::kNone;
  if (type == TraData::kNone) return {};

  // A missing or malformed "constants" member reads as an empty one: the constant messages
  // below then say what is missing.
  static const json_value kEmpty = json_value::object();
  const json_value* constants = FindMember(value, "constants");
  const json_value& members = constants != nullptr && constants->is_object() ? *constants : kEmpty;

  double c3 = kUndefined;
  if (type == TraData::kPower) {
    c3 = GetMemberDouble(
        members, "c3",
        ExceptionMessage::translate("Parse error: constant 'c3' is required for Power transform."));
    if (!(c3 >= -2.0 && c3 <= 2.0)) {
      throw Exception(
          ExceptionMessage::translate("Invalid value: constant 'c3' must be within [-2..2]."));
    }
  }
  const std::string name = TraData::GetString(type);
  const double c1 = GetMemberDouble(
      members, "c1",
      ExceptionMessage::translate("Parse error: constant 'c1' is required for the {1} transform.") %
          name);
  const double c2 = GetMemberDouble(
      members, "c2",
      ExceptionMessage::translate("Parse error: constant 'c2' is required for the {1} transform.") %
          name);
  return {type, c1, c2, c3};
}

json_value Transform::ToJson() const {
  json_value out = json_value::object();
  out["type"] = KtStdString::LowerFirst(TraData::GetString(type_));
  if (type_ == TraData::kNone) return out;
  json_value constants = json_value::object();
  constants["c1"] = c1_;
  constants["c2"] = c2_;
  if (type_ == TraData::kPower) constants["c3"] = c3_;
  out["constants"] = std::move(constants);
  return out;
}

}  // namespace zubra
