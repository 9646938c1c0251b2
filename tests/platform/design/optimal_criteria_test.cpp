// The optimal designs through their builders: the same design for a seed on any number of
// threads, the I and A criteria, and the split-plot designs of hard-to-change factors.
#include <gtest/gtest.h>

#include <Eigen/Cholesky>
#include <Eigen/Core>
#include <cmath>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "design_test_support.h"
#include "zubra/platform/design/d_optimal_options.h"
#include "zubra/platform/design/design_model.h"
#include "zubra/platform/design/internal/whole_plot_exchange.h"
#include "zubra/platform/design/onion_options.h"
#include "zubra/platform/design/split_plot_options.h"
#include "zubra/platform/util/configuration_section.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/tinyxml2_section.h"

namespace zubra {
namespace {

using test_support::Builder;
using test_support::Quantitative;

// Options for an optimal design of `runs` runs for the standard model of `order`.
DesignOptions Optimal(EModel::Type order, int runs, int levels = 3) {
  DesignOptions options;
  options.SetObjective(EObjective::kRSM);
  options.SetProcessModel(order);
  options.SetCenterPoints(0);
  options.SetRuns(runs);
  auto specific = std::make_unique<DOptimalOptions>();
  EXPECT_TRUE(specific->SetCandidateLevels(levels));
  options.SetDesignSpecificOptions(std::move(specific));
  return options;
}

DOptimalOptions& Specific(DesignOptions& options) {
  return dynamic_cast<DOptimalOptions&>(*options.GetDesignSpecificOptions());
}

// k quantitative factors, the first `hard` of them hard to change.
Factors WithHardToChange(int k, int hard) {
  std::vector<Factors::Factor> list;
  for (int i = 1; i <= k; ++i) {
    Factors::Factor factor = Factors::Factor::Quantitative("X" + std::to_string(i), 0.0, 10.0);
    factor.hard_to_change = i <= hard;
    list.push_back(factor);
  }
  return test_support::Make(list);
}

TEST(OptimalBuilders, GiveTheSameDesignForASeedOnOneTwoOrFourThreads) {
  struct Row {
    std::string name;
    EDesign::Type type;
    Factors factors;
    DesignOptions options;
  };
  std::vector<Row> rows;
  const Factors three = Quantitative(3);
  const Factors wide = Quantitative(14);  // beyond the candidate sets: coordinate exchange
  rows.push_back({"D, point exchange", EDesign::kDOptimal, three, Optimal(EModel::kQuadratic, 14)});
  rows.push_back({"D, blocks", EDesign::kDOptimal, three, Optimal(EModel::kQuadratic, 16)});
  rows.back().options.SetBlocks(2);
  rows.push_back(
      {"D, coordinate exchange", EDesign::kDOptimal, wide, Optimal(EModel::kLinear, 18)});
  for (const EDesign::Type type : {EDesign::kIOptimal, EDesign::kAOptimal}) {
    const std::string name = EDesign::GetString(type);
    rows.push_back({name + ", point exchange", type, three, Optimal(EModel::kQuadratic, 14)});
    rows.push_back({name + ", coordinate exchange", type, wide, Optimal(EModel::kLinear, 18)});
  }
  const Factors split = WithHardToChange(4, 2);
  rows.push_back({"split plot", EDesign::kDOptimal, split, Optimal(EModel::kInteraction, 12)});
  DesignOptions onion;
  onion.SetProcessModel(EModel::kQuadratic);
  onion.SetCenterPoints(0);
  onion.SetDesignSpecificOptions(std::make_unique<OnionOptions>());
  rows.push_back(
      {"layered", EDesign::kOnion, three, Builder(EDesign::kOnion).MakeOptions(three, onion)});
  DesignOptions plate;
  plate.SetCenterPoints(0);
  auto sides = std::make_unique<SplitPlotOptions>();
  sides->Horizontal() = {{0, 1}, EModel::kQuadratic, 7};
  sides->Vertical() = {{2}, EModel::kLinear, 0};
  plate.SetDesignSpecificOptions(std::move(sides));
  rows.push_back({"plate", EDesign::kREDMUP, three, plate});

  for (Row& row : rows) {
    SCOPED_TRACE(row.name);
    const DesignBuilder& builder = Builder(row.type);
    row.options.SetSearchSeed(17);
    std::string message;
    ASSERT_TRUE(builder.IsValid(row.factors, row.options, &message)) << message;
    std::unique_ptr<NCDesign> first;
    for (const int threads : {1, 2, 4}) {
      SCOPED_TRACE(threads);
      ASSERT_TRUE(row.options.SetThreads(threads));
      std::unique_ptr<NCDesign> design = builder.Generate(row.factors, row.options);
      if (first == nullptr) {
        first = std::move(design);
      } else {
        EXPECT_TRUE(*design == *first);
      }
    }
  }
}

// trace((X'X)^-1 W) of a design's runs for `model`.
double AverageVariance(const DesignModel& model, const Factors& factors, const NCDesign& design,
                       const Eigen::MatrixXd& w) {
  const Eigen::MatrixXd x = model.Expand(factors, design.GetCoded());
  return (x.transpose() * x).llt().solve(w).trace();
}

double LogDet(const DesignModel& model, const Factors& factors, const NCDesign& design) {
  const Eigen::MatrixXd x = model.Expand(factors, design.GetCoded());
  const Eigen::LLT<Eigen::MatrixXd> llt(x.transpose() * x);
  return 2.0 * llt.matrixLLT().diagonal().array().log().sum();
}

TEST(OptimalBuilders, IAndAOptimalDesignsBeatTheDOptimalDesignOnTheirOwnCriterion) {
  struct Row {
    std::string name;
    Factors factors;
    int runs;
    int levels;
  };
  // Nine levels of five factors make a grid the builders search by coordinate exchange. (With
  // 14 runs in three factors the D-optimal design is I- and A-optimal as well: no use here.)
  const std::vector<Row> rows = {{"point exchange", Quantitative(3), 16, 3},
                                 {"coordinate exchange", Quantitative(5), 24, 9}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const DesignOptions options = Optimal(EModel::kQuadratic, row.runs, row.levels);
    const DesignModel model = DesignModel::Make(row.factors, EModel::kQuadratic, EModel::kNone);
    const Eigen::MatrixXd moments = model.Moments(row.factors);
    const Eigen::MatrixXd identity = Eigen::MatrixXd::Identity(moments.rows(), moments.cols());
    std::map<EDesign::Type, std::unique_ptr<NCDesign>> designs;
    for (const EDesign::Type type : {EDesign::kDOptimal, EDesign::kIOptimal, EDesign::kAOptimal}) {
      designs[type] = Builder(type).Generate(row.factors, options);
      ASSERT_EQ(designs[type]->GetRuns(), row.runs);
      EXPECT_EQ(designs[type]->GetType(), type);
    }
    const NCDesign& d = *designs[EDesign::kDOptimal];
    const NCDesign& i = *designs[EDesign::kIOptimal];
    const NCDesign& a = *designs[EDesign::kAOptimal];
    EXPECT_LT(AverageVariance(model, row.factors, i, moments),
              0.99 * AverageVariance(model, row.factors, d, moments));
    EXPECT_LT(AverageVariance(model, row.factors, a, identity),
              0.99 * AverageVariance(model, row.factors, d, identity));
    EXPECT_GT(LogDet(model, row.factors, d), LogDet(model, row.factors, i));
    EXPECT_GT(LogDet(model, row.factors, d), LogDet(model, row.factors, a));
  }
}

TEST(SplitPlotDesign, KeepsHardToChangeFactorsInWholePlotsAndBeatsTheRandomizedDesign) {
  // Two hard-to-change and four easy factors, the quadratic model, 8 whole plots of 4 runs.
  const Factors factors = WithHardToChange(6, 2);
  DesignOptions options = Optimal(EModel::kQuadratic, 32);
  ASSERT_TRUE(Specific(options).SetWholePlots(8));
  const DesignBuilder& builder = Builder(EDesign::kDOptimal);
  std::string message;
  ASSERT_TRUE(builder.IsValid(factors, options, &message)) << message;
  const std::unique_ptr<NCDesign> split = builder.Generate(factors, options);
  ASSERT_EQ(split->GetRuns(), 32);
  const std::vector<int>& plots = split->GetWholePlots();
  ASSERT_EQ(plots.size(), 32U);
  std::map<int, std::set<std::vector<float>>> settings;  // per plot: its hard-to-change values
  for (int r = 0; r < 32; ++r) {
    // Plot after plot, four runs each.
    EXPECT_EQ(plots[static_cast<std::size_t>(r)], r / 4 + 1);
    settings[plots[static_cast<std::size_t>(r)]].insert(
        {split->GetCoded()(r, 0), split->GetCoded()(r, 1)});
  }
  for (const auto& [plot, values] : settings) EXPECT_EQ(values.size(), 1U) << "plot " << plot;

  // The completely randomized D-optimal design of the same factors: every run is a whole plot
  // of its own.
  const Factors easy = Quantitative(6);
  const std::unique_ptr<NCDesign> randomized =
      builder.Generate(easy, Optimal(EModel::kQuadratic, 32));
  EXPECT_TRUE(randomized->GetWholePlots().empty());
  std::vector<int> own(32);
  for (int r = 0; r < 32; ++r) own[static_cast<std::size_t>(r)] = r;
  const DesignModel model = DesignModel::Make(easy, EModel::kQuadratic, EModel::kNone);
  const auto split_log_det = [&](const NCDesign& design, const std::vector<int>& whole_plots) {
    const Eigen::MatrixXd m = internal::WholePlotExchange::Information(
        model.Expand(easy, design.GetCoded()), whole_plots, 1.0);
    const Eigen::LLT<Eigen::MatrixXd> llt(m);
    return 2.0 * llt.matrixLLT().diagonal().array().log().sum();
  };
  EXPECT_GT(split_log_det(*split, plots), split_log_det(*randomized, own) + 1.0);
}

TEST(SplitPlotDesign, RefusesWhatWholePlotsCannotHold) {
  const std::string prefix = "The design 'D-Optimal' ";
  struct Row {
    std::string name;
    Factors factors;
    int runs;
    int whole_plots;
    std::string message;
    int inclusions = 0;
    int replicates = 0;
  };
  Factors mixture = WithHardToChange(2, 1);
  ASSERT_TRUE(mixture.Add(Factors::Factor::Formulation("M1", 0.0, 1.0), nullptr));
  ASSERT_TRUE(mixture.Add(Factors::Factor::Formulation("M2", 0.0, 1.0), nullptr));
  // Interaction model in 4 factors (11 columns); 1, X1, X2, X1X2 take whole plots alone.
  const std::vector<Row> rows = {
      {"too few whole plots", WithHardToChange(4, 2), 12, 3,
       prefix + "of 12 runs needs from 4 to 12 whole plots, not 3."},
      {"more whole plots than runs", WithHardToChange(4, 2), 12, 13,
       prefix + "of 12 runs needs from 4 to 12 whole plots, not 13."},
      {"mixture factors", mixture, 8, 0, prefix + "cannot keep mixture factors in whole plots."},
      {"inclusions", WithHardToChange(4, 2), 12, 0,
       prefix + "in whole plots cannot hold inclusions.", 1},
      {"replicates", WithHardToChange(4, 2), 12, 0,
       prefix + "in whole plots cannot have replicates.", 0, 1},
      {"the smallest count", WithHardToChange(4, 2), 12, 4, ""},
  };
  const DesignBuilder& builder = Builder(EDesign::kDOptimal);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    DesignOptions options = Optimal(EModel::kInteraction, row.runs);
    if (row.factors.IsMixture()) options.SetMixtureModel(EModel::kLinear);
    ASSERT_TRUE(Specific(options).SetWholePlots(row.whole_plots));
    if (row.inclusions > 0) {
      Specific(options).SetInclusions(
          NCDataMatrix<float>(row.inclusions, row.factors.GetCount(), 5.0F));
    }
    options.SetReplicates(row.replicates);
    std::string message;
    EXPECT_EQ(builder.IsValid(row.factors, options, &message), row.message.empty());
    EXPECT_EQ(message, row.message);
  }
  // Neither blocks nor centre points are offered.
  const Factors factors = WithHardToChange(4, 2);
  EXPECT_EQ(builder.GetBlockCounts(factors, Optimal(EModel::kInteraction, 16)),
            std::vector<unsigned>{1});
  EXPECT_FALSE(builder.AllowsCenterPoints(factors));
  DesignOptions base;
  base.SetProcessModel(EModel::kInteraction);
  EXPECT_EQ(builder.MakeOptions(factors, base).GetCenterPoints(), 0);
  // The I-optimal design ignores the flag.
  EXPECT_TRUE(Builder(EDesign::kIOptimal)
                  .Generate(factors, Optimal(EModel::kInteraction, 12))
                  ->GetWholePlots()
                  .empty());
}

TEST(SplitPlotDesign, WholePlotsAreStoredWithTheDesignAndDamageIsRefused) {
  const Factors factors = WithHardToChange(3, 1);
  DesignOptions options = Optimal(EModel::kInteraction, 10);
  ASSERT_TRUE(Specific(options).SetVarianceRatio(4.0));
  const std::unique_ptr<NCDesign> design = Builder(EDesign::kDOptimal).Generate(factors, options);
  // The default: a quarter of the runs, at least one more than the whole-plot columns (1, X1).
  EXPECT_EQ(design->GetWholePlots(), (std::vector<int>{1, 1, 1, 1, 2, 2, 2, 3, 3, 3}));
  TinyXML2Section section;
  design->Save(section);
  EXPECT_EQ(section.GetString("WholePlots"), "1,1,1,1,2,2,2,3,3,3");
  EXPECT_TRUE(*NCDesign::Load(section) == *design);
  for (const char* damaged : {"1,1,1,1,2,2,2,3,3", "1,1,1,1,2,2,2,3,3,x", "0,1,1,1,2,2,2,3,3,3"}) {
    SCOPED_TRACE(damaged);
    section.WriteString("WholePlots", damaged);
    test_support::ExpectMessage([&] { (void)NCDesign::Load(section); },
                                "The stored design is damaged at the key 'WholePlots'.");
  }
  // A design without whole plots writes no key, and removes one written before.
  const Factors easy = Quantitative(3);
  Builder(EDesign::kDOptimal).Generate(easy, Optimal(EModel::kInteraction, 8))->Save(section);
  EXPECT_FALSE(section.GetValue("WholePlots").has_value());
}

}  // namespace
}  // namespace zubra
