#include "zubra/platform/design/design_statistics.h"

#include <gtest/gtest.h>

#include <Eigen/Cholesky>
#include <Eigen/Core>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "design_test_support.h"
#include "tests/platform/util/test_data_support.h"
#include "zubra/platform/design/all_designs.h"
#include "zubra/platform/design/d_optimal_options.h"
#include "zubra/platform/design/ncdoe_constraints.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/ini_file_section.h"
#include "zubra/platform/util/tinyxml2_section.h"

namespace zubra {
namespace {

using test_support::Builder;
using test_support::MakeConstraint;
using test_support::Mixture;
using test_support::OptionsFor;
using test_support::Quantitative;
using Reference = DesignStatistics::Reference;

NCDataMatrix<float> Matrix(const std::vector<std::vector<float>>& rows) {
  NCDataMatrix<float> m(static_cast<int>(rows.size()), static_cast<int>(rows.front().size()));
  for (std::size_t r = 0; r < rows.size(); ++r) {
    for (std::size_t c = 0; c < rows[r].size(); ++c) {
      m(static_cast<int>(r), static_cast<int>(c)) = rows[r][c];
    }
  }
  return m;
}

TEST(DesignStatistics, KnownDesignsGiveTheirKnownValues) {
  struct Row {
    std::string name;
    EDesign::Type type;
    int factors;
    EModel::Type model;
    int centers;
    double d_efficiency, g_efficiency, condition;
    int residual, pure_error;
  };
  const std::vector<Row> rows = {
      // 2^3 for the interaction model: X'X = 8 I.
      {"2^3 interaction", EDesign::kFullFactorial, 3, EModel::kInteraction, 0, 100, 100, 1, 1, 0},
      // Saturated: 7 factors in 8 runs, linear.
      {"PB 8 saturated", EDesign::kPlackettBurman, 7, EModel::kLinear, 0, 100, 100, 1, 0, 0},
      // 2^2 with 3 centre points, linear: det = 7 * 4 * 4.
      {"2^2 + 3 centres", EDesign::kFullFactorial, 2, EModel::kLinear, 3,
       100.0 * std::cbrt(7.0 * 16.0) / 7.0, 100.0 * 3.0 / (7.0 * (1.0 / 7 + 2.0 / 4)),
       std::sqrt(7.0 / 4.0), 4, 2},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const Factors factors = Quantitative(row.factors);
    const DesignBuilder& builder = Builder(row.type);
    DesignOptions options = OptionsFor(builder, factors, EObjective::kScreening, row.model);
    options.SetCenterPoints(row.centers);
    const auto design = builder.Generate(factors, options);
    const DesignModel model = DesignModel::Make(factors, row.model, EModel::kNone);
    const auto stats = DesignStatistics::Compute(design->GetCoded(), factors, model);
    ASSERT_FALSE(stats.IsSingular());
    EXPECT_NEAR(stats.GetDEfficiency(), row.d_efficiency, 1e-9);
    EXPECT_NEAR(stats.GetGEfficiency(), row.g_efficiency, 1e-9);
    EXPECT_NEAR(stats.GetConditionNumber(), row.condition, 1e-9);
    EXPECT_EQ(stats.GetResidualDF(), row.residual);
    EXPECT_EQ(stats.GetPureErrorDF(), row.pure_error);
    EXPECT_EQ(stats.GetLackOfFitDF(), row.residual - row.pure_error);
    EXPECT_EQ(stats.IsSaturated(), row.residual == 0);
    EXPECT_NEAR(stats.GetLogDet(),
                std::log(design->GetRuns()) * model.GetColumnCount(factors) -
                    (row.centers > 0 ? 2 * std::log(7.0 / 4.0) : 0.0),
                1e-9);
    ASSERT_EQ(stats.GetVIF().size(), static_cast<std::size_t>(model.GetColumnCount(factors) - 1));
    for (double vif : stats.GetVIF()) EXPECT_NEAR(vif, 1.0, 1e-9);
  }
}

// (1/p) log det(X'X / N) of the model matrix x.
double LogDetPerRun(const Eigen::MatrixXd& x) {
  const Eigen::MatrixXd information = x.transpose() * x / static_cast<double>(x.rows());
  return 2.0 * Eigen::LLT<Eigen::MatrixXd>(information).matrixLLT().diagonal().array().log().sum() /
         static_cast<double>(x.cols());
}

TEST(DesignStatistics, MixtureDesignsAreMeasuredAgainstTheOptimalWeightingOfTheSimplex) {
  // For the quadratic mixture model the {3,2} lattice with equal weights is D-optimal over
  // the whole simplex, so every design is measured against it.
  const Factors factors = Mixture(3);
  const DesignModel model = DesignModel::Make(factors, EModel::kNone, EModel::kQuadratic);
  const std::vector<std::vector<float>> lattice = {{1, 0, 0},     {0, 1, 0},     {0, 0, 1},
                                                   {.5F, .5F, 0}, {.5F, 0, .5F}, {0, .5F, .5F}};
  const double optimum = LogDetPerRun(model.Expand(factors, Matrix(lattice)));
  struct Row {
    std::string name;
    std::vector<std::vector<float>> runs;
  };
  std::vector<std::vector<float>> twice = lattice;
  twice.insert(twice.end(), lattice.begin(), lattice.end());
  std::vector<std::vector<float>> with_centroid = lattice;
  with_centroid.push_back({1.0F / 3, 1.0F / 3, 1.0F / 3});
  std::vector<std::vector<float>> moved_inside = lattice;
  moved_inside[3] = {.4F, .4F, .2F};
  const std::vector<Row> rows = {
      {"the lattice", lattice},
      {"the lattice twice", twice},
      {"the lattice and its centroid", with_centroid},
      {"an edge centre moved inside", moved_inside},
      {"vertices and interior points",
       {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {.6F, .2F, .2F}, {.2F, .6F, .2F}, {.2F, .2F, .6F}}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const NCDataMatrix<float> coded = Matrix(row.runs);
    const auto stats = DesignStatistics::Compute(coded, factors, model);
    ASSERT_FALSE(stats.IsSingular());
    EXPECT_EQ(stats.GetDEfficiencyReference(), Reference::kCandidateOptimum);
    const double expected = 100.0 * std::exp(LogDetPerRun(model.Expand(factors, coded)) - optimum);
    // Never above the truth, and within the search's tolerance of it.
    EXPECT_LE(stats.GetDEfficiency(), expected + 1e-9);
    EXPECT_GE(stats.GetDEfficiency(), expected * 0.999);
  }
}

TEST(DesignStatistics, ConstrainedDesignsScoreHighOnlyWhenTheyUseTheirRegionWell) {
  // A constrained mixture region: bounds on all four components and A + B <= 0.8.
  const Factors mixture = test_support::Make(
      {Factors::Factor::Formulation("A", 0.1, 0.7), Factors::Factor::Formulation("B", 0.1, 0.6),
       Factors::Factor::Formulation("C", 0.05, 0.5), Factors::Factor::Formulation("D", 0.0, 0.3)});
  NCDOE::Constraints mixture_cut;
  mixture_cut.Add(MakeConstraint(false, 0.8, {{0, 1.0}, {1, 1.0}}));
  // A square cut by X1 + X2 <= 15.
  const Factors process = Quantitative(2);
  NCDOE::Constraints corner_cut;
  corner_cut.Add(MakeConstraint(false, 15.0, {{0, 1.0}, {1, 1.0}}));
  struct Row {
    std::string name;
    const Factors* factors;
    const NCDOE::Constraints* constraints;
    EModel::Type process, mixture;
    int runs;
  };
  const std::vector<Row> rows = {
      {"mixture, quadratic", &mixture, &mixture_cut, EModel::kNone, EModel::kQuadratic, 16},
      {"mixture, special cubic", &mixture, &mixture_cut, EModel::kNone, EModel::kSpecialCubic, 20},
      {"process, quadratic", &process, &corner_cut, EModel::kQuadratic, EModel::kLinear, 10},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const Factors& factors = *row.factors;
    const DesignBuilder& builder = Builder(EDesign::kDOptimal);
    DesignOptions options =
        OptionsFor(builder, factors, EObjective::kOptimization, row.process, row.mixture);
    auto specific = std::make_unique<DOptimalOptions>();
    specific->SetConstraints(std::make_unique<NCDOE::Constraints>(*row.constraints));
    options.SetDesignSpecificOptions(std::move(specific));
    ASSERT_TRUE(options.SetRuns(row.runs));
    const auto design = builder.Generate(factors, options);
    const DesignModel model = DesignModel::Make(factors, row.process, row.mixture);
    const auto good =
        DesignStatistics::Compute(design->GetCoded(), factors, model, row.constraints);
    EXPECT_EQ(good.GetDEfficiencyReference(), Reference::kCandidateOptimum);
    EXPECT_GT(good.GetDEfficiency(), 95.0);
    EXPECT_LE(good.GetDEfficiency(), 100.0);
    // A third of the runs moved to the first run's place: a poorer use of the same region.
    NCDataMatrix<float> poor = design->GetCoded();
    for (int r = 1; r <= row.runs / 3; ++r) {
      for (int c = 0; c < poor.GetCols(); ++c) poor(r, c) = poor(0, c);
    }
    const auto worse = DesignStatistics::Compute(poor, factors, model, row.constraints);
    ASSERT_FALSE(worse.IsSingular());
    EXPECT_LT(worse.GetDEfficiency(), good.GetDEfficiency() - 10.0);
  }
  // Without its constraints a process design is measured on the coded scale, as before.
  const DesignModel quadratic = DesignModel::Make(process, EModel::kQuadratic, EModel::kNone);
  const NCDataMatrix<float> square =
      Matrix({{-1, -1}, {1, -1}, {-1, 1}, {1, 1}, {0, 0}, {-1, 0}, {1, 0}, {0, -1}, {0, 1}});
  const auto plain = DesignStatistics::Compute(square, process, quadratic);
  EXPECT_EQ(plain.GetDEfficiencyReference(), Reference::kCodedScale);
  EXPECT_NEAR(plain.GetDEfficiency(), 100.0 * std::exp(plain.GetLogDet() / 6.0) / 9.0, 1e-9);
}

TEST(DesignStatistics, CorrelatedColumnsRaiseTheirVIF) {
  // x2 = x1 on three of four runs: correlation 0.5, so both VIFs are 1 / (1 - 0.25).
  Factors factors = Quantitative(2);
  const auto stats =
      DesignStatistics::Compute(Matrix({{-1, -1}, {1, 1}, {-1, 1}, {1, 1}}), factors,
                                DesignModel::Make(factors, EModel::kLinear, EModel::kNone));
  ASSERT_FALSE(stats.IsSingular());
  EXPECT_EQ(stats.GetTermNames(), (std::vector<std::string>{"X1", "X2"}));
  // Columns centred: x1 (-1, 1, -1, 1), x2 (-1.5, .5, .5, .5) / ...; r^2 = 1/3.
  EXPECT_NEAR(stats.GetVIF()[0], 1.5, 1e-9);
  EXPECT_NEAR(stats.GetVIF()[1], 1.5, 1e-9);
  EXPECT_GT(stats.GetConditionNumber(), 1.0);
  EXPECT_LT(stats.GetDEfficiency(), 100.0);
}

TEST(DesignStatistics, SingularDesignsAreReportedAsSuchNeverAsNaN) {
  struct Row {
    std::string name;
    NCDataMatrix<float> coded;
    EModel::Type model;
    int residual;
  };
  const std::vector<Row> rows = {
      {"fewer runs than terms", Matrix({{-1, -1}, {1, 1}}), EModel::kLinear, 0},
      {"aliased columns", Matrix({{-1, -1}, {1, 1}, {-1, -1}, {1, 1}}), EModel::kLinear, 2},
      {"two levels, quadratic", Matrix({{-1, -1}, {1, -1}, {-1, 1}, {1, 1}, {1, 1}}),
       EModel::kQuadratic, 1},
  };
  const Factors factors = Quantitative(2);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const auto stats = DesignStatistics::Compute(
        row.coded, factors, DesignModel::Make(factors, row.model, EModel::kNone));
    EXPECT_TRUE(stats.IsSingular());
    EXPECT_FALSE(stats.IsSaturated());
    for (double v : {stats.GetGEfficiency(), stats.GetConditionNumber()}) {
      EXPECT_FALSE(std::isnan(v));
    }
    EXPECT_EQ(stats.GetDEfficiency(), 0.0);
    EXPECT_EQ(stats.GetLogDet(), -99.0);
    EXPECT_EQ(stats.GetResidualDF(), row.residual);
    for (double vif : stats.GetVIF()) EXPECT_EQ(vif, -99.0);
  }
}

TEST(DesignStatistics, QualitativeFactorsExpandIntoEffectCodedColumns) {
  Factors factors;
  ASSERT_TRUE(factors.Add(Factors::Factor::Qualitative("Tool", {"a", "b", "c"}), nullptr));
  ASSERT_TRUE(factors.Add(Factors::Factor::Quantitative("T", 0, 1), nullptr));
  const DesignBuilder& builder = Builder(EDesign::kGeneralFullFactorial);
  const auto design = builder.Generate(
      factors, OptionsFor(builder, factors, EObjective::kScreening, EModel::kInteraction));
  const DesignModel model = DesignModel::Make(factors, EModel::kInteraction, EModel::kNone);
  EXPECT_EQ(
      model.GetColumnNames(factors),
      (std::vector<std::string>{"Constant", "Tool(a)", "Tool(b)", "T", "Tool(a)*T", "Tool(b)*T"}));
  const auto stats = DesignStatistics::Compute(design->GetCoded(), factors, model);
  EXPECT_TRUE(stats.IsSaturated());
}

TEST(DesignStatistics, SaveThenLoadRestoresEveryValue) {
  const Factors factors = Quantitative(3);
  const DesignBuilder& builder = Builder(EDesign::kCentralComposite, "CCF");
  const auto design =
      builder.Generate(factors, OptionsFor(builder, factors, EObjective::kRSM, EModel::kQuadratic));
  const auto saved = DesignStatistics::Compute(
      design->GetCoded(), factors, DesignModel::Make(factors, EModel::kQuadratic, EModel::kNone));
  TinyXML2Section section;
  saved.Save(section);
  saved.Save(section);  // a second save replaces the terms, it does not add to them
  DesignStatistics::Results loaded;
  loaded.Load(section);
  EXPECT_EQ(loaded, saved);
  EXPECT_EQ(loaded.GetVIF().size(), 9U);
  EXPECT_FALSE(section.HasKey("DEfficiencyReference"));

  // A mixture design's reference is stored with it, and a later save on the coded scale
  // removes it.
  const Factors three = Mixture(3);
  const DesignModel model = DesignModel::Make(three, EModel::kNone, EModel::kQuadratic);
  const auto mixture = DesignStatistics::Compute(
      Matrix({{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {.5F, .5F, 0}, {.5F, 0, .5F}, {0, .5F, .5F}}), three,
      model);
  ASSERT_EQ(mixture.GetDEfficiencyReference(), Reference::kCandidateOptimum);
  TinyXML2Section mixture_section;
  mixture.Save(mixture_section);
  EXPECT_EQ(mixture_section.GetString("DEfficiencyReference"), "CandidateOptimum");
  loaded.Load(mixture_section);
  EXPECT_EQ(loaded, mixture);
  saved.Save(mixture_section);
  EXPECT_FALSE(mixture_section.HasKey("DEfficiencyReference"));
  // Files written before the reference was stored hold coded-scale efficiencies.
  mixture.Save(mixture_section);
  mixture_section.RemoveKey("DEfficiencyReference");
  loaded = mixture;
  loaded.Load(mixture_section);
  EXPECT_EQ(loaded.GetDEfficiencyReference(), Reference::kCodedScale);
}

TEST(DesignStatistics, LoadRefusesInconsistentValuesAndKeepsTheObject) {
  struct Row {
    std::string name, key, value, message;
  };
  const std::string inconsistent = "The stored design statistics are not consistent.";
  const std::vector<Row> rows = {
      {"negative runs", "Runs", "-1", inconsistent},
      {"pure error above residual", "PureErrorDF", "9", inconsistent},
      {"not finite", "LogDet", "inf", inconsistent},
      {"not a number", "DEfficiency", "high",
       "The value 'high' of the key 'DEfficiency' is not a valid number."},
      {"unknown reference", "DEfficiencyReference", "Cube",
       "The value 'Cube' of the key 'DEfficiencyReference' is not a valid name."},
  };
  const Factors factors = Quantitative(2);
  const auto original = DesignStatistics::Compute(
      Matrix({{-1, -1}, {1, -1}, {-1, 1}, {1, 1}, {0, 0}, {0, 0}}), factors,
      DesignModel::Make(factors, EModel::kLinear, EModel::kNone));
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    TinyXML2Section section;
    original.Save(section);
    section.SetValue(row.key, row.value);
    DesignStatistics::Results loaded = original;
    try {
      loaded.Load(section);
      ADD_FAILURE() << "accepted";
    } catch (const Exception& e) {
      EXPECT_EQ(e.Message(), row.message);
    }
    EXPECT_EQ(loaded, original);
  }
}

// The stored terms are read in the order of their indexes, and removed before a save, whatever
// their indexes. An INI section numbered far above the largest index is no term, and is
// answered at once (the XML reader refuses such a document, see TinyXML2Section).
TEST(DesignStatistics, LoadReadsTheStoredTermsInIndexOrderAndIgnoresAbsurdIniIndexes) {
  for (const char* file : {"vif_term_2000000000.ini", "vif_term_2147483647.ini"}) {
    SCOPED_TRACE(file);
    DesignStatistics::Results loaded;
    loaded.Load(*test_support::LoadTestSection(std::string("indexes/") + file));
    EXPECT_EQ(loaded.GetRuns(), 4);
    EXPECT_TRUE(loaded.GetVIF().empty());
  }
  const Factors factors = Quantitative(2);
  const auto saved =
      DesignStatistics::Compute(Matrix({{-1, -1}, {1, -1}, {-1, 1}, {1, 1}, {0, 0}}), factors,
                                DesignModel::Make(factors, EModel::kLinear, EModel::kNone));
  ASSERT_EQ(saved.GetVIF().size(), 2U);
  for (const bool ini : {false, true}) {
    SCOPED_TRACE(ini ? "ini" : "xml");
    const std::unique_ptr<ConfigurationSection> root =
        ini ? std::unique_ptr<ConfigurationSection>(std::make_unique<IniFileSection>())
            : std::make_unique<TinyXML2Section>();
    ConfigurationSection& section = root->CreateChild("Statistics");
    section.CreateChild("Term", ConfigurationSection::kMaxChildIndex).SetValue("Name", "Last");
    section.CreateChild("Term", 5).SetValue("Name", "First");
    DesignStatistics::Results loaded;
    loaded.Load(section);
    EXPECT_EQ(loaded.GetTermNames(), (std::vector<std::string>{"First", "Last"}));
    saved.Save(section);  // the stored terms give way to the saved ones
    EXPECT_EQ(section.GetChildIndexes("Term"), (std::vector<int>{1, 2}));
    loaded.Load(section);
    EXPECT_EQ(loaded, saved);
  }
}

}  // namespace
}  // namespace zubra
