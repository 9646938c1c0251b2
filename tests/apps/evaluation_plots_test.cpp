#include "apps/cli/evaluation_plots.h"

#include <gtest/gtest.h>

#include <string>

#include "zubra/platform/base/undefined.h"
#include "zubra/platform/util/exception.h"

namespace zubra::cli {
namespace {

bool IsPng(const std::string& bytes) { return bytes.rfind("\x89PNG\r\n\x1a\n", 0) == 0; }

// Every test hands the fonts back, as the tool does, so that no font cache outlives it.
class EvaluationPlots : public ::testing::Test {
 protected:
  void TearDown() override { ReleasePlotFonts(); }
};

TEST_F(EvaluationPlots, TermNamesAreEscapedInTheSvgAndAConstantColumnIsDrawnGrey) {
  AliasMatrix::Correlations map;
  map.names = {"A<B", "C&D", "\"E\""};
  map.matrix.resize(3, 3);
  map.matrix << 1, -0.5, kUndefined, -0.5, 1, kUndefined, kUndefined, kUndefined, kUndefined;
  const RenderedPlot plot = PlotCorrelationMap(map, 1);
  EXPECT_TRUE(IsPng(plot.png));
  for (const char* escaped : {">A&lt;B</text>", ">C&amp;D</text>", ">&quot;E&quot;</text>"}) {
    SCOPED_TRACE(escaped);
    EXPECT_NE(plot.svg.find(escaped), std::string::npos);
  }
  EXPECT_EQ(plot.svg.find("A<B"), std::string::npos);
  EXPECT_NE(plot.svg.find(">constant</text>"), std::string::npos);  // the grey cells' key
}

TEST_F(EvaluationPlots, WhatCannotBeDrawnThrowsInsteadOfWritingAnEmptyPlot) {
  EXPECT_THROW(PlotFdsCurve(PredictionVariance::Results{}), Exception);  // singular
  AliasMatrix::Correlations none;
  EXPECT_THROW(PlotCorrelationMap(none, 0), Exception);
  AliasMatrix::Correlations mismatched;
  mismatched.names = {"A", "B"};
  mismatched.matrix = Eigen::MatrixXd::Identity(3, 3);
  EXPECT_THROW(PlotCorrelationMap(mismatched, 0), Exception);
}

TEST_F(EvaluationPlots, TheCurveSpansTheLargestVarianceAndMarksTheMean) {
  PredictionVariance::Results variance;
  variance.singular = false;
  variance.sorted = {0.2, 0.3, 0.5, 1.7};
  variance.mean = 0.675;
  const RenderedPlot plot = PlotFdsCurve(variance);
  EXPECT_TRUE(IsPng(plot.png));
  // The axis reaches a round value at or above the largest variance.
  EXPECT_NE(plot.svg.find(">2</text>"), std::string::npos);
  EXPECT_NE(plot.svg.find(">mean 0.675</text>"), std::string::npos);
  EXPECT_NE(plot.svg.find("stroke-dasharray"), std::string::npos);
}

}  // namespace
}  // namespace zubra::cli
