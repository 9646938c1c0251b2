// The stability designs, checked from the generated matrices: crossing, shared start, legal
// values, model rank, fraction resolution; and the refusals.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "design_test_support.h"
#include "zubra/platform/design/design_statistics.h"
#include "zubra/platform/design/internal/stability_builders.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

using internal::StabilityBuilder;
using internal::StabilityBuilderBase;
using internal::StabilityFactorialBuilder;
using Factor = Factors::Factor;

Factor Time(std::vector<double> points, std::string name = "Time") {
  Factor factor;
  factor.name = std::move(name);
  factor.type = CEType::kTime;
  factor.levels = std::move(points);
  return factor;
}

Factor Storage(int settings = 3) {
  std::vector<std::string> names;
  for (int s = 1; s <= settings; ++s) names.push_back("C" + std::to_string(s));
  return Factor::Qualitative("Storage", names);
}

Factor Quantitative(const std::string& name) { return Factor::Quantitative(name, 0.0, 10.0); }

const DesignBuilder& BuilderOf(bool factorial) {
  static const StabilityBuilder kConditions;
  static const StabilityFactorialBuilder kMaterials;
  return factorial ? static_cast<const DesignBuilder&>(kMaterials) : kConditions;
}

// True when `value` is an uncoded value the factor may take in a stability design.
bool IsLegal(const Factor& factor, float value) {
  if (factor.use == CEUse::kConstant) return value == (factor.low + factor.high) / 2;
  if (factor.IsQualitative()) {
    return value == std::floor(value) && value >= 1.0F &&
           value <= static_cast<float>(factor.settings.size());
  }
  std::vector<double> allowed = factor.levels;
  if (allowed.empty()) allowed = {factor.low, factor.high};
  return std::any_of(allowed.begin(), allowed.end(),
                     [value](double level) { return value == static_cast<float>(level); });
}

TEST(StabilityBuilder, CrossesEveryCombinationWithEveryTimePoint) {
  struct Row {
    std::string name;
    bool factorial;
    std::vector<Factor> factors;  // time last
    EModel::Type model;
    int runs;
    int start_runs;  // runs at the first time point
    int columns;     // of the model
    int resolution;  // least resolution of the materials at one time point; 0: not checked
  };
  Factor fixed = Quantitative("Fill");
  fixed.use = CEUse::kConstant;
  const Factor pack = Factor::Qualitative("Pack", {"Blister", "Bottle"});
  const Factor humidity = Factor::Multilevel("Humidity", {60.0, 65.0, 75.0});
  const Factor months = Time({0, 1, 3, 6, 12});
  const Factor a = Quantitative("A"), b = Quantitative("B"), c = Quantitative("C");
  const Factor d = Quantitative("D"), e = Quantitative("E");
  // clang-format off
  const std::vector<Row> rows = {
      {"3 conditions, 5 time points", false, {Storage(), months}, EModel::kLinear, 13, 1, 6, 0},
      {"a constant factor", false, {Storage(), fixed, months}, EModel::kInteraction, 13, 1, 6, 0},
      {"2 time points share no start", false, {Storage(), Time({0, 12})}, EModel::kLinear, 6, 3, 6, 0},
      {"a first time after 0", false, {Storage(), Time({1, 3, 6})}, EModel::kLinear, 9, 3, 6, 0},
      {"continuous and multilevel", false, {a, humidity, Time({0, 3, 6})}, EModel::kInteraction, 13, 1, 7, 0},
      {"time alone", false, {Time({0, 3, 6, 9})}, EModel::kQuadratic, 4, 1, 3, 0},
      {"curved degradation", false, {Storage(2), Time({0, 6, 12})}, EModel::kQuadratic, 5, 1, 5, 0},
      {"3 materials, resolution IV", true, {a, pack, b, Time({0, 6})}, EModel::kLinear, 16, 8, 8, 4},
      {"4 materials, resolution IV", true, {a, b, c, d, Time({0, 6, 12})}, EModel::kLinear, 24, 8, 10, 4},
      {"5 materials, resolution V", true, {a, b, c, d, e, Time({0, 6})}, EModel::kInteraction, 32, 16, 22, 5},
      {"1 material", true, {a, Time({0, 6})}, EModel::kLinear, 4, 2, 4, 0},
      {"materials and conditions", true, {a, pack, Storage(), Time({0, 3, 6, 12})}, EModel::kLinear, 40, 4, 10, 0},
  };
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const Factors factors = test_support::Make(row.factors);
    const DesignBuilder& builder = BuilderOf(row.factorial);
    const DesignOptions options =
        test_support::OptionsFor(builder, factors, EObjective::kOptimization, row.model);
    std::string why;
    ASSERT_TRUE(builder.IsValid(factors, options, &why)) << why;
    EXPECT_EQ(builder.GetCandidateRuns(factors, options), std::vector<int>{row.runs});
    const auto design = builder.Generate(factors, options);
    ASSERT_EQ(design->GetRuns(), row.runs);

    const int time = factors.GetCount() - 1;
    const Factor& clock = factors.GetFactor(time);
    const NCDataMatrix<float>& coded = design->GetCoded();
    std::map<std::vector<float>, std::map<float, int>> seen;  // other factors -> time -> runs
    for (int r = 0; r < row.runs; ++r) {
      std::vector<float> others;
      for (int f = 0; f < factors.GetCount(); ++f) {
        EXPECT_TRUE(IsLegal(factors.GetFactor(f), design->GetUncoded()(r, f))) << r << "," << f;
        if (f != time) others.push_back(design->GetUncoded()(r, f));
      }
      const float t = design->GetUncoded()(r, time);
      EXPECT_GE(t, design->GetUncoded()(std::max(r - 1, 0), time)) << "runs in time order";
      EXPECT_NEAR(coded(r, time), (2 * t - clock.low - clock.high) / (clock.high - clock.low),
                  1e-6);
      ++seen[others][t];
    }
    int at_start = 0;
    for (const auto& [others, counts] : seen) {
      for (const auto& [t, count] : counts) EXPECT_EQ(count, 1) << "repeated at time " << t;
      const bool started = counts.contains(static_cast<float>(clock.levels.front()));
      at_start += started ? 1 : 0;
      EXPECT_EQ(counts.size() + (started ? 0 : 1), clock.levels.size()) << "only the start "
                                                                           "is shared";
    }
    EXPECT_EQ(at_start, row.start_runs);

    const DesignModel model = StabilityBuilderBase::Model(factors, row.model);
    EXPECT_EQ(model.GetColumnCount(factors), row.columns);
    EXPECT_FALSE(DesignStatistics::Compute(coded, factors, model).IsSingular());
    if (row.resolution == 0) continue;
    std::vector<int> last;  // the runs of the last time point
    for (int r = 0; r < row.runs; ++r) {
      if (coded(r, time) == 1.0F) last.push_back(r);
    }
    NCDataMatrix<float> slice(static_cast<int>(last.size()), time);
    for (int i = 0; i < slice.GetRows(); ++i) {
      for (int f = 0; f < time; ++f) {
        const float value = coded(last[static_cast<std::size_t>(i)], f);
        // Settings 1 and 2 of a two-setting factor are the fraction's -1 and +1.
        slice(i, f) = factors.GetFactor(f).IsQualitative() ? 2.0F * value - 3.0F : value;
      }
    }
    EXPECT_GE(test_support::MatrixResolution(slice, row.resolution), row.resolution);
  }
}

TEST(StabilityBuilder, SharesTheStartInTheFirstStorageCondition) {
  const Factors factors = test_support::Make({Storage(), Time({0, 1, 3, 6, 12})});
  const auto design = BuilderOf(false).Generate(
      factors,
      test_support::OptionsFor(BuilderOf(false), factors, EObjective::kScreening, EModel::kLinear));
  const std::vector<float> storage = {1, 1, 2, 3, 1, 2, 3, 1, 2, 3, 1, 2, 3};
  const std::vector<float> time = {0, 1, 1, 1, 3, 3, 3, 6, 6, 6, 12, 12, 12};
  ASSERT_EQ(design->GetRuns(), 13);
  for (int r = 0; r < 13; ++r) {
    EXPECT_EQ(design->GetUncoded()(r, 0), storage[static_cast<std::size_t>(r)]) << r;
    EXPECT_EQ(design->GetUncoded()(r, 1), time[static_cast<std::size_t>(r)]) << r;
  }
}

TEST(StabilityBuilder, RefusesUnsuitableSetUps) {
  struct Row {
    std::string name;
    bool factorial;
    std::vector<Factor> factors;
    std::string message;
    std::function<void(DesignOptions&)> change = nullptr;
  };
  Factor open_time = Quantitative("Time");
  open_time.type = CEType::kTime;
  std::vector<Factor> sixteen;
  for (int i = 1; i <= 16; ++i) sixteen.push_back(Quantitative("X" + std::to_string(i)));
  sixteen.push_back(Time({0, 6}));
  const std::vector<Factor> plain = {Storage(), Time({0, 6})};
  const std::vector<Row> rows = {
      {"no time factor", false, {Storage()}, "The design 'Stability' needs a time factor."},
      {"two time factors",
       false,
       {Time({0, 1}), Time({0, 2}, "Age")},
       "The design 'Stability' takes one time factor, but 'Time' and 'Age' are both time "
       "factors."},
      {"time without points",
       false,
       {Storage(), open_time},
       "The time factor 'Time' needs its time points as levels."},
      {"a mixture factor",
       true,
       {Factor::Formulation("M", 0.0, 1.0), Time({0, 6})},
       "The design 'StabilityFactorial' is for process factors only."},
      {"no material", true, plain,
       "The design 'StabilityFactorial' needs at least one process factor with two levels."},
      {"16 materials", true, sixteen,
       "The design 'StabilityFactorial' takes at most 15 process factors with two levels."},
      {"a cubic model", false, plain,
       "The design 'Stability' does not support the model 'SpecialCubic'.",
       [](DesignOptions& options) { options.SetProcessModel(EModel::kSpecialCubic); }},
      {"quadratic over two points", false, plain,
       "The quadratic model needs at least three time points of the factor 'Time'.",
       [](DesignOptions& options) { options.SetProcessModel(EModel::kQuadratic); }},
      {"another run count", false, plain, "The design 'Stability' cannot have 7 runs.",
       [](DesignOptions& options) { options.SetRuns(7); }},
      {"centre points", false, plain,
       "The design 'Stability' cannot have centre points for these factors.",
       [](DesignOptions& options) { options.SetCenterPoints(1); }},
      {"process-mixture objective", false, plain,
       "The design 'Stability' does not serve the objective 'ProcessMixture'.",
       [](DesignOptions& options) { options.SetObjective(EObjective::kProcessMixture); }},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Factors factors;
    for (const Factor& factor : row.factors) ASSERT_TRUE(factors.Add(factor, nullptr));
    DesignOptions options;
    options.SetCenterPoints(0);
    if (row.change) row.change(options);
    std::string why;
    EXPECT_FALSE(BuilderOf(row.factorial).IsValid(factors, options, &why));
    EXPECT_EQ(why, row.message);
    try {
      (void)BuilderOf(row.factorial).Generate(factors, options);
      ADD_FAILURE() << "generated";
    } catch (const Exception& error) {
      EXPECT_EQ(error.Message(), row.message);
    }
  }
}

}  // namespace
}  // namespace zubra
