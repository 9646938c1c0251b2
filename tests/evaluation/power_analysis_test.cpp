// Power of the term tests and the runs that reach a target power. Reference figures come from
// numerical integration of the noncentral t and F densities outside this library.
#include "zubra/evaluation/power_analysis.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/evaluation/evaluation_test_support.h"
#include "tests/model/model_test_support.h"
#include "zubra/model/model_spec.h"
#include "zubra/model/zubra_options.h"
#include "zubra/platform/design/d_optimal_options.h"
#include "zubra/platform/design/nc_design.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

using test_support::ExpectMessage;
using test_support::FullFactorialModel;
using test_support::Quantitative;
using test_support::TwoLevel;

PowerSettings Settings(double signal, double noise = 1.0, double target = 0.8) {
  PowerSettings settings;
  settings.signal = signal;
  settings.noise = noise;
  settings.target = target;
  return settings;
}

TEST(PowerAnalysis, TwoLevelFactorialsMatchTheNoncentralTFigures) {
  // A signal of one noise standard deviation is a coefficient of 1/2 in -1..+1 coding; with
  // 16 runs its standard error is 1/4, so delta = 2 whatever the design below.
  const DesignModel full = FullFactorialModel(3);
  struct Row {
    std::string name;
    EvaluatedDesign design;
    double signal;
    double noise;
    int terms;
    int df;
    double expected;
  };
  const std::vector<Row> rows = {
      {"2^3, 2 replicates, every interaction", TwoLevel(Generators(3, {}, {}), 2, &full), 1, 1, 7,
       8, 0.421051938048},
      {"2^3, 2 replicates, main effects", TwoLevel(Generators(3, {}, {}), 2), 1, 1, 3, 12,
       0.452193700935},
      {"only the ratio of signal to noise counts", TwoLevel(Generators(3, {}, {}), 2), 3, 3, 3, 12,
       0.452193700935},
      {"2^(7-3), main effects", TwoLevel(*Generators::FromTable(4, 7, 16, 0), 1), 1, 1, 7, 8,
       0.421051938048},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const PowerAnalysis::Results power =
        PowerAnalysis::Compute(row.design, Settings(row.signal, row.noise));
    ASSERT_TRUE(power.testable);
    EXPECT_EQ(power.residual_df, row.df);
    ASSERT_EQ(static_cast<int>(power.terms.size()), row.terms);
    for (const PowerAnalysis::TermPower& term : power.terms) {
      SCOPED_TRACE(term.name);
      EXPECT_NEAR(term.noncentrality, 2.0, 1e-12);
      EXPECT_NEAR(term.power, row.expected, 1e-9);
    }
    EXPECT_NEAR(power.LowestPower(), row.expected, 1e-9);
  }
}

TEST(PowerAnalysis, BlocksAreFittedAndCostADegreeOfFreedom) {
  const EvaluatedDesign once = TwoLevel(Generators(3, {}, {}), 2);
  std::vector<int> blocks(16, 1);
  for (std::size_t r = 8; r < 16; ++r) blocks[r] = 2;
  const EvaluatedDesign blocked(once.GetFactors(), once.GetModel(), once.GetCoded(), blocks);
  const PowerAnalysis::Results power = PowerAnalysis::Compute(blocked, Settings(1.0));
  EXPECT_EQ(power.residual_df, 11);
  for (const PowerAnalysis::TermPower& term : power.terms) {
    EXPECT_NEAR(term.power, 0.446466157845, 1e-9);
  }
}

TEST(PowerAnalysis, AQualitativeFactorIsTestedAtItsLeastFavourablePairOfSettings) {
  // One factor of three settings run 2, 4 and 6 times. Moving two settings +-signal/2 apart
  // gives the one-way noncentrality sum n_i (mu_i - weighted mean)^2: 17/12 for the two rare
  // settings, 20/12 and 29/12 for the other pairs.
  Factors factors;
  ASSERT_TRUE(factors.Add(Factors::Factor::Qualitative("Q", {"a", "b", "c"}), nullptr));
  NCDataMatrix<float> coded(12, 1);
  for (int r = 0; r < 12; ++r) coded(r, 0) = r < 2 ? 1.0F : (r < 6 ? 2.0F : 3.0F);
  const EvaluatedDesign design(factors, DesignModel({{}, {0}}), coded);
  const PowerAnalysis::Results power = PowerAnalysis::Compute(design, Settings(1.0));
  ASSERT_EQ(power.terms.size(), 1U);
  EXPECT_EQ(power.terms[0].columns, 2);
  EXPECT_NEAR(power.terms[0].noncentrality, 17.0 / 12.0, 1e-12);
  EXPECT_EQ(power.residual_df, 9);

  // Balanced, 4 runs each: lambda = 4 (1/4 + 1/4) = 2 for every pair.
  for (int r = 0; r < 12; ++r) coded(r, 0) = static_cast<float>(r % 3 + 1);
  const PowerAnalysis::Results balanced =
      PowerAnalysis::Compute(EvaluatedDesign(factors, DesignModel({{}, {0}}), coded), Settings(1));
  EXPECT_NEAR(balanced.terms[0].noncentrality, 2.0, 1e-12);
  EXPECT_NEAR(balanced.terms[0].power, 0.173282415671, 1e-9);
}

TEST(PowerAnalysis, TheSignalIsTheTermsSwingOverTheRegion) {
  // The coefficient of each term is the signal over the range of its column.
  Factors factors = Quantitative(2);
  ASSERT_TRUE(factors.Add(Factors::Factor::Qualitative("Q", {"a", "b", "c"}), nullptr));
  ASSERT_TRUE(factors.Add(Factors::Factor::Formulation("M1", 0.0, 1.0), nullptr));
  ASSERT_TRUE(factors.Add(Factors::Factor::Formulation("M2", 0.0, 1.0), nullptr));
  ASSERT_TRUE(factors.Add(Factors::Factor::Formulation("M3", 0.0, 1.0), nullptr));
  const std::vector<DesignModel::Term> terms = {{0},    {0, 1},    {0, 0}, {2},
                                                {0, 2}, {3},       {3, 4}, {3, 4, 5},
                                                {0, 3}, {0, 0, 3}, {2, 3}, {3, 3, 4}};
  const std::vector<double> spans = {2, 2, 1, 2, 2, 1, 0.25, 1.0 / 27, 2, 1, 2, 4.0 / 27};
  // The coefficients do not depend on the runs: one will do.
  const NCDataMatrix<float> coded(1, factors.GetCount(), 1.0F);
  const PowerAnalysis::Results power =
      PowerAnalysis::Compute(EvaluatedDesign(factors, DesignModel(terms), coded), Settings(6.0));
  ASSERT_EQ(power.terms.size(), terms.size());
  for (std::size_t i = 0; i < terms.size(); ++i) {
    SCOPED_TRACE(power.terms[i].name);
    EXPECT_NEAR(power.terms[i].coefficient, 6.0 / spans[i], 1e-12);
  }
}

TEST(PowerAnalysis, ASaturatedOrSingularDesignCannotTestAnything) {
  const DesignModel full = FullFactorialModel(3);
  const DesignModel interactions =
      DesignModel::Make(Quantitative(4), EModel::kInteraction, EModel::kNone);
  struct Row {
    std::string name;
    EvaluatedDesign design;
  };
  const std::vector<Row> rows = {
      {"saturated", TwoLevel(Generators(3, {}, {}), 1, &full)},
      {"singular: AB = CD in 2^(4-1)", TwoLevel(Generators(3, {7}, {}), 1, &interactions)},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const PowerAnalysis::Results power = PowerAnalysis::Compute(row.design, Settings(1.0));
    EXPECT_FALSE(power.testable);
    EXPECT_EQ(power.LowestPower(), kUndefined);
    EXPECT_FALSE(power.ReachesTarget(0.5));
    for (const PowerAnalysis::TermPower& term : power.terms) EXPECT_EQ(term.power, kUndefined);
  }
  // Replicating cures a saturated design, not a singular one.
  EXPECT_TRUE(PowerAnalysis::RunsByReplicating(rows[0].design, Settings(4.0)).reached);
  EXPECT_FALSE(PowerAnalysis::RunsByReplicating(rows[1].design, Settings(4.0)).reached);
}

TEST(PowerAnalysis, AScreeningStudyWithTooLittlePowerGetsTheCopiesThatReachTheTarget) {
  // 2^3 for main effects: k copies give delta = sqrt(2k) with 8k - 4 df; the powers are
  // 0.195, 0.452, 0.645, 0.779 and 0.868 for k = 1..5.
  const EvaluatedDesign design = TwoLevel(Generators(3, {}, {}), 1);
  ASSERT_NEAR(PowerAnalysis::Compute(design, Settings(1.0)).LowestPower(), 0.19523194023, 1e-9);
  const PowerAnalysis::RunsToTarget answer = PowerAnalysis::RunsByReplicating(design, Settings(1));
  EXPECT_TRUE(answer.reached);
  EXPECT_EQ(answer.copies, 5);
  EXPECT_EQ(answer.runs, 40);
  EXPECT_NEAR(answer.lowest_power, 0.867984282595, 1e-9);
  EXPECT_EQ(answer.design, nullptr);

  const PowerAnalysis::RunsToTarget capped =
      PowerAnalysis::RunsByReplicating(design, Settings(1.0), 39);
  EXPECT_FALSE(capped.reached);
  EXPECT_EQ(capped.copies, 4);
  EXPECT_NEAR(capped.lowest_power, 0.779444309386, 1e-9);

  const PowerAnalysis::RunsToTarget enough =
      PowerAnalysis::RunsByReplicating(design, Settings(1.0, 1.0, 0.15));
  EXPECT_TRUE(enough.reached);
  EXPECT_EQ(enough.copies, 1);
}

TEST(PowerAnalysis, TheSmallestOptimalDesignThatReachesTheTargetIsFound) {
  const Factors factors = Quantitative(5);
  const DesignModel model = DesignModel::Make(factors, EModel::kLinear, EModel::kNone);
  // 2^(5-2) leaves 2 residual degrees of freedom: far too few.
  const EvaluatedDesign design(factors, model, Generators::FromTable(3, 5, 8, 0)->MakeDesign());
  const PowerSettings settings = Settings(1.5);
  ASSERT_FALSE(PowerAnalysis::Compute(design, settings).ReachesTarget(0.8));

  const PowerAnalysis::RunsToTarget answer = PowerAnalysis::RunsByOptimalDesign(design, settings);
  ASSERT_TRUE(answer.reached);
  ASSERT_NE(answer.design, nullptr);
  EXPECT_EQ(answer.design->GetRuns(), answer.runs);
  const auto evaluate = [&](const NCDesign& made) {
    return PowerAnalysis::Compute(EvaluatedDesign::FromDesign(made, factors, model), settings);
  };
  EXPECT_GE(evaluate(*answer.design).LowestPower(), 0.8);
  EXPECT_NEAR(evaluate(*answer.design).LowestPower(), answer.lowest_power, 1e-12);
  // One run fewer misses the target.
  DesignOptions options;
  options.SetObjective(EObjective::kRSM);
  options.SetCenterPoints(0);
  auto specific = std::make_unique<DOptimalOptions>();
  specific->SetModel(model);
  options.SetDesignSpecificOptions(std::move(specific));
  ASSERT_TRUE(options.SetRuns(answer.runs - 1));
  const auto smaller = test_support::Builder(EDesign::kDOptimal).Generate(factors, options);
  EXPECT_LT(evaluate(*smaller).LowestPower(), 0.8);

  // A signal far too small for any design the builder offers.
  const PowerAnalysis::RunsToTarget hopeless =
      PowerAnalysis::RunsByOptimalDesign(design, Settings(0.1));
  EXPECT_FALSE(hopeless.reached);
  EXPECT_EQ(hopeless.runs, 2 * 6 + 10);
  EXPECT_LT(hopeless.lowest_power, 0.8);
}

TEST(PowerSettings, ComeFromTheResponseWithTheOptionsPowerAsTheFallbackTarget) {
  ResponseClass::Power power;
  ZubraOptions options;
  options.SetPower(0.7);
  std::string message;
  PowerSettings settings = PowerSettings::FromResponse(power, options);
  EXPECT_DOUBLE_EQ(settings.alpha, 1.0 - 0.95);
  EXPECT_DOUBLE_EQ(settings.target, 0.7);
  EXPECT_FALSE(settings.Validate(&message));
  EXPECT_EQ(message, "The estimated noise level must be a positive number.");
  ExpectMessage([&] { (void)PowerAnalysis::Compute(TwoLevel(Generators(2, {}, {}), 2), settings); },
                "The estimated noise level must be a positive number.");

  power.SetStandardDeviation(2.0);
  power.SetSignalDetection(3.0);
  power.SetSignificance(0.99);
  power.SetTargetPower(90.0);
  settings = PowerSettings::FromResponse(power, options);
  EXPECT_DOUBLE_EQ(settings.noise, 2.0);
  EXPECT_DOUBLE_EQ(settings.signal, 3.0);
  EXPECT_NEAR(settings.alpha, 0.01, 1e-15);
  EXPECT_DOUBLE_EQ(settings.target, 0.9);
  EXPECT_TRUE(settings.Validate(&message));

  settings.target = 1.0;
  EXPECT_FALSE(settings.Validate(&message));
  EXPECT_EQ(message, "The desired power must lie strictly between 0 and 100 %.");
}

TEST(EvaluatedDesign, RefusesInputThatDoesNotFitWithAMessage) {
  const Factors factors = Quantitative(2);
  const DesignModel linear = DesignModel::Make(factors, EModel::kLinear, EModel::kNone);
  const NCDataMatrix<float> runs = Generators(2, {}, {}).MakeDesign();
  NCDataMatrix<float> not_a_number = runs;
  not_a_number(2, 1) = NAN;
  struct Row {
    std::string name;
    DesignModel model;
    NCDataMatrix<float> coded;
    std::vector<int> blocks;
    std::string message;
  };
  const std::vector<Row> rows = {
      {"unknown factor",
       DesignModel({{}, {2}}),
       runs,
       {},
       "The model names a factor that the "
       "design does not have."},
      {"columns", linear, NCDataMatrix<float>(4, 3), {}, "The design has 3 columns for 2 factors."},
      {"block 0",
       linear,
       runs,
       {1, 1, 0, 1},
       "The block of run 3 is 0; blocks are numbered from "
       "1."},
      {"NaN", linear, not_a_number, {}, "Run 3 of the design holds a value that is not a number."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ExpectMessage([&] { EvaluatedDesign(factors, row.model, row.coded, row.blocks); }, row.message);
  }
  ExpectMessage([&] { (void)EvaluatedDesign(factors, linear, runs).Replicated(2'500'001); },
                "2500001 copies of a design of 4 runs are too many.");
}

TEST(EvaluatedDesign, TakesTheSelectedDesignAndTermsOfAModelSpecification) {
  Variables set = test_support::ProcessSet(3);
  ModelSpec spec(&set, test_support::NewSection());
  ExpectMessage([&] { (void)EvaluatedDesign::FromModelSpec(spec, nullptr); },
                "There is no design to evaluate.");
  ASSERT_TRUE(spec.ChangeCurrentDesign(EDesign::kCentralComposite, "CCF", EObjective::kRSM,
                                       EModel::kQuadratic, true));
  spec.GenerateDesign(nullptr, nullptr);
  const EvaluatedDesign design = EvaluatedDesign::FromModelSpec(spec, nullptr);
  EXPECT_EQ(design.GetRuns(), spec.GetDesign()->GetRuns());
  EXPECT_EQ(design.GetModelColumns(), 10);
  EXPECT_EQ(design.GetConstantColumn(), 0);
  EXPECT_EQ(design.ComputeDispersion().residual_df, spec.GetDesignStatistics()->GetResidualDF());
}

}  // namespace
}  // namespace zubra
