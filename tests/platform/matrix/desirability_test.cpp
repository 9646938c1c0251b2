#include "zubra/platform/matrix/desirability.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "zubra/platform/base/undefined.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/tinyxml2_section.h"

namespace zubra {
namespace {

using D = Desirability;
using Options = D::DesirabilityOptions;
constexpr double kU = kUndefined;

Options Make(D::OptimizeType objective, D::DesirabilityType type, double low = 1.0,
             double high = 1.0) {
  return Options{objective, type, low, high};
}

TEST(Desirability, ResetSetsThePresetExponentsAndKeepsTheObjective) {
  for (const Options& expected :
       {Make(D::kTarget, D::kConvex, 2, 2), Make(D::kTarget, D::kConcave, 0.5, 0.5),
        Make(D::kTarget, D::kStep), Make(D::kTarget, D::kLinear)}) {
    Options options = Make(D::kTarget, D::kCustom, 0.3, 7.0);
    // An unknown code resets to linear.
    options.Reset(expected.type == D::kLinear ? static_cast<D::DesirabilityType>(9)
                                              : expected.type);
    EXPECT_EQ(options, expected) << D::ToDesirabilityString(expected.type);
  }
}

TEST(Desirability, EvaluateGivesHandComputedValues) {
  struct Row {
    const char* name;
    Options options;
    double value, min, target, max, expected;
  };
  const Options minimize = Make(D::kMinimize, D::kLinear);
  const Options maximize = Make(D::kMaximize, D::kLinear);
  const Options two_sided = Make(D::kTarget, D::kCustom, 2.0, 0.5);
  const std::vector<Row> rows = {
      {"minimize, halfway", minimize, 6, kU, 2, 10, 0.5},
      {"minimize, better than the target", minimize, -5, kU, 2, 10, 1},
      {"minimize, beyond the limit", minimize, 12, kU, 2, 10, 0},
      {"minimize aims at the minimum without a target", minimize, 6, 2, kU, 10, 0.5},
      {"minimize, high exponent", Make(D::kMinimize, D::kCustom, 1, 3), 6, kU, 2, 10, 0.125},
      {"maximize, low exponent", Make(D::kMaximize, D::kCustom, 2, 1), 1, 0, 4, kU, 0.0625},
      {"maximize aims at the maximum without a target", maximize, 1, 0, kU, 4, 0.25},
      {"target, rising side", two_sided, 2, 0, 4, 10, 0.25},
      {"target, falling side", two_sided, 7.5, 0, 4, 10, 0.64549722436790281},
      {"target, at the maximum", two_sided, 10, 0, 4, 10, 0},
      {"step minimize, at the limit", Make(D::kMinimize, D::kStep), 10, kU, kU, 10, 1},
      {"step target, outside", Make(D::kTarget, D::kStep, 0, -1), 11, 0, kU, 10, 0},
      {"undefined value", minimize, kU, kU, 2, 10, kU},
      {"predicted only", Make(D::kPredict, D::kLinear), 6, 0, 2, 10, kU},
      {"minimize without a maximum", minimize, 6, kU, 2, kU, kU},
      {"minimize with the target at the limit", minimize, 6, kU, 10, 10, kU},
      {"maximize without a minimum", maximize, 1, kU, 4, 10, kU},
      {"target equal to the maximum", two_sided, 2, 0, 10, 10, kU},
      {"step target with crossed limits", Make(D::kTarget, D::kStep), 5, 10, kU, 0, kU},
      {"zero exponent", Make(D::kMinimize, D::kCustom, 1, 0), 6, kU, 2, 10, kU},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_DOUBLE_EQ(D::Evaluate(row.value, row.options, row.min, row.target, row.max),
                     row.expected);
  }
}

TEST(Desirability, OverallIsTheWeightedGeometricMean) {
  struct Row {
    const char* name;
    std::vector<double> values, weights;
    double expected;
  };
  const std::vector<Row> rows = {
      {"equal weights", {0.25, 1}, {1, 1}, 0.5},
      {"unequal weights", {0.5, 0.125}, {2, 1}, 0.31498026247371826},
      {"one zero makes the whole zero", {0, 0.9}, {1, 1}, 0},
      {"undefined with zero weight takes no part", {kU, 0.9}, {0, 1}, 0.9},
      {"undefined taking part", {kU, 0.9}, {1, 1}, kU},
      {"desirability above one", {1.5}, {1}, kU},
      {"no positive weight", {0.5}, {-1}, kU},
      {"sizes differ", {0.5, 0.5}, {1}, kU},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_DOUBLE_EQ(D::Overall(row.values, row.weights), row.expected);
  }
}

TEST(DesirabilityOptions, ReadRestoresWhatWriteStoredAndRefusesBadExponentsUnchanged) {
  const Options written = Make(D::kMaximize, D::kCustom, 0.3, 2.75);
  TinyXML2Section section;
  written.Write(section);
  EXPECT_EQ(section.GetString("Objective"), "maximize");
  Options read;
  read.Read(section);
  EXPECT_EQ(read, written);
  section.RemoveKey("Objective");  // an absent key leaves its field unchanged
  section.WriteString("DesirabilityHighExponent", "0.25");
  read.Read(section);
  EXPECT_EQ(read, Make(D::kMaximize, D::kCustom, 0.3, 0.25));
  const std::string key = "of the key 'DesirabilityLowExponent' is not a ";
  for (const auto& [value, message] : std::vector<std::pair<std::string, std::string>>{
           {"-1.5", "The value '-1.5' " + key + "positive number."},
           {"abc", "The value 'abc' " + key + "valid number."}}) {
    section.WriteString("Objective", "minimize");
    section.WriteString("DesirabilityLowExponent", value);
    EXPECT_THAT([&] { read.Read(section); },
                testing::ThrowsMessage<Exception>(testing::StrEq(message)));
    EXPECT_EQ(read, Make(D::kMaximize, D::kCustom, 0.3, 0.25));
  }
}

}  // namespace
}  // namespace zubra
