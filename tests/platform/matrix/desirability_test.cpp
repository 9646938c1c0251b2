#include "zubra/platform/matrix/desirability.h"

#include <gtest/gtest.h>

#include <string>
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

TEST(Desirability, EveryObjectiveAndShapeNameReadsBack) {
  for (int code = 0; code < D::kOptimizeTypeCount; ++code) {
    const auto type = static_cast<D::OptimizeType>(code);
    EXPECT_EQ(D::ToType(D::ToString(type)), type) << code;
  }
  for (int code = 0; code < D::kDesirabilityTypeCount; ++code) {
    const auto type = static_cast<D::DesirabilityType>(code);
    EXPECT_EQ(D::ToDesirabilityType(D::ToDesirabilityString(type)), type) << code;
  }
  EXPECT_EQ(D::ToType("MaXimize"), D::kMaximize);
  EXPECT_EQ(D::ToType("maximise"), D::kNone);
  EXPECT_EQ(D::ToDesirabilityType("convex "), D::kLinear);
  EXPECT_EQ(D::ToString(static_cast<D::OptimizeType>(6)), "");
}

TEST(Desirability, ResetSetsThePresetExponentsAndKeepsTheObjective) {
  struct Row {
    D::DesirabilityType reset_to;
    Options expected;
  };
  const std::vector<Row> rows = {
      {D::kConvex, Make(D::kTarget, D::kConvex, 2, 2)},
      {D::kConcave, Make(D::kTarget, D::kConcave, 0.5, 0.5)},
      {D::kCustom, Make(D::kTarget, D::kCustom, 1, 1)},
      {static_cast<D::DesirabilityType>(9), Make(D::kTarget, D::kLinear, 1, 1)},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(D::ToDesirabilityString(row.expected.type));
    Options options = Make(D::kTarget, D::kCustom, 0.3, 7.0);
    options.Reset(row.reset_to);
    EXPECT_EQ(options, row.expected);
  }
}

TEST(Desirability, EvaluateGivesHandComputedValues) {
  struct Row {
    const char* name;
    Options options;
    double value, min, target, max;
    double expected;
  };
  const Options minimize = Make(D::kMinimize, D::kLinear);
  const Options maximize = Make(D::kMaximize, D::kLinear);
  const Options two_sided = Make(D::kTarget, D::kCustom, 2.0, 0.5);
  const std::vector<Row> rows = {
      {"minimize, halfway", minimize, 6, kU, 2, 10, 0.5},
      {"minimize, better than the target", minimize, -5, kU, 2, 10, 1},
      {"minimize, beyond the limit", minimize, 12, kU, 2, 10, 0},
      {"minimize aims at the minimum without a target", minimize, 6, 2, kU, 10, 0.5},
      {"minimize uses the high exponent", Make(D::kMinimize, D::kCustom, 1, 3), 6, kU, 2, 10,
       0.125},
      {"minimize, concave", Make(D::kMinimize, D::kConcave, 0.5, 0.5), 6, kU, 2, 10,
       0.70710678118654752},
      {"maximize uses the low exponent", Make(D::kMaximize, D::kCustom, 2, 1), 1, 0, 4, kU, 0.0625},
      {"maximize, below the limit", maximize, -1, 0, 4, kU, 0},
      {"maximize aims at the maximum without a target", maximize, 1, 0, kU, 4, 0.25},
      {"target, rising side", two_sided, 2, 0, 4, 10, 0.25},
      {"target, falling side", two_sided, 7.5, 0, 4, 10, 0.64549722436790281},
      {"target, on target", two_sided, 4, 0, 4, 10, 1},
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
    std::vector<double> values;
    std::vector<double> weights;
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

TEST(DesirabilityOptions, WriteThenReadRestoresEveryFieldAndAbsentKeysChangeNothing) {
  const Options written = Make(D::kMaximize, D::kCustom, 0.3, 2.75);
  TinyXML2Section section;
  written.Write(section);
  EXPECT_EQ(section.GetString("Objective"), "maximize");
  Options read;
  read.Read(section);
  EXPECT_EQ(read, written);

  TinyXML2Section partial;
  partial.WriteString("DesirabilityHighExponent", "0.25");
  read.Read(partial);
  EXPECT_EQ(read, Make(D::kMaximize, D::kCustom, 0.3, 0.25));
}

TEST(DesirabilityOptions, BadExponentThrowsAndLeavesTheOptionsUnchanged) {
  struct Row {
    const char* value;
    std::string message;
  };
  const std::vector<Row> rows = {
      {"-1.5", "The value '-1.5' of the key 'DesirabilityLowExponent' is not a positive number."},
      {"abc", "The value 'abc' of the key 'DesirabilityLowExponent' is not a valid number."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.value);
    TinyXML2Section section;
    section.WriteString("Objective", "minimize");
    section.WriteString("DesirabilityLowExponent", row.value);
    Options options = Make(D::kTarget, D::kCustom, 2, 2);
    try {
      options.Read(section);
      ADD_FAILURE() << "no exception";
    } catch (const Exception& e) {
      EXPECT_EQ(e.Message(), row.message);
    }
    EXPECT_EQ(options, Make(D::kTarget, D::kCustom, 2, 2));
  }
}

}  // namespace
}  // namespace zubra
