// Alias structures of regular fractions against the published tables and textbook alias
// chains, and the alias matrix and correlation map of any design.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <string>
#include <vector>

#include "tests/evaluation/evaluation_test_support.h"
#include "zubra/evaluation/alias_matrix.h"
#include "zubra/evaluation/alias_structure.h"
#include "zubra/platform/base/undefined.h"
#include "zubra/platform/design/nc_design.h"

namespace zubra {
namespace {

using test_support::ExpectMessage;
using test_support::OptionsFor;
using test_support::Quantitative;
using test_support::TwoLevel;

TEST(AliasStructure, TableDesignsHaveThePublishedWordLengthPatterns) {
  struct Row {
    int factors, runs;
    std::vector<int> pattern;  // A3, A4, ... up to the last non-zero
    int resolution;
  };
  const std::vector<Row> rows = {
      {5, 8, {2, 1}, 3},
      {6, 8, {4, 3}, 3},
      {7, 8, {7, 7, 0, 0, 1}, 3},
      {5, 16, {0, 0, 1}, 5},
      {6, 16, {0, 3}, 4},
      {7, 16, {0, 7}, 4},
      {8, 16, {0, 14, 0, 0, 0, 1}, 4},
      {6, 32, {0, 0, 0, 1}, 6},
      {7, 32, {0, 1, 2}, 4},
      {8, 32, {0, 3, 4}, 4},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::to_string(row.factors) + " factors in " + std::to_string(row.runs));
    const AliasStructure aliases(*Generators::FromTable(3, row.factors, row.runs, 0));
    std::vector<int> expected(static_cast<std::size_t>(row.factors + 1), 0);
    std::copy(row.pattern.begin(), row.pattern.end(), expected.begin() + 3);
    EXPECT_EQ(aliases.GetWordLengthPattern(), expected);
    EXPECT_EQ(aliases.GetResolution(), row.resolution);
    // The defining relation itself has that pattern.
    ASSERT_TRUE(aliases.IsDefiningRelationComplete());
    std::vector<int> counted(expected.size(), 0);
    for (const AliasStructure::Word w : aliases.GetDefiningRelation()) {
      ++counted[static_cast<std::size_t>(std::popcount(w))];
    }
    EXPECT_EQ(counted, expected);
  }
}

TEST(AliasStructure, GivesTheTextbookAliasChains) {
  // 2^(7-4): D = AB, E = AC, F = BC, G = ABC, aliases of up to two letters.
  const std::string relation =
      "I = ABD = ACE = BCF = DEF = CDG = BEG = AFG = BCDE = ACDF = ABEF = ABCG = ADEG = BDFG = "
      "CEFG = ABCDEFG";
  const std::vector<std::string> chains = {
      relation,           "A = BD = CE = FG", "B = AD = CF = EG", "C = AE = BF = DG",
      "D = AB = EF = CG", "E = AC = DF = BG", "F = BC = DE = AG", "G = CD = BE = AF"};
  const std::vector<std::string> texts =
      AliasStructure(Generators(3, {3, 5, 6, 7}, {}), 2).GetTexts(nullptr);
  ASSERT_GE(texts.size(), chains.size());
  EXPECT_EQ(std::vector<std::string>(texts.begin(), texts.begin() + 8), chains);
  // 2^(6-2), E = ABC, F = BCD: names instead of letters, and aliases up to three letters.
  const std::vector<std::string> names = {"T", "P", "C", "S", "R", "V"};
  const AliasStructure six(Generators(4, {7, 14}, {}));
  EXPECT_EQ(six.EffectText(six.GetMainEffects()[0], &names), "T = P*C*R = S*R*V");
  // AB's other aliases, ACDF and BDEF, have four letters.
  EXPECT_EQ(six.EffectText(six.GetTwoFactorInteractions()[0], &names), "T*P = C*R");
  // The listing names each chain of interactions once: AB = CE, but no line CE = AB.
  const std::vector<std::string> listed = six.GetTexts(nullptr);
  EXPECT_EQ(std::count(listed.begin(), listed.end(), "AB = CE"), 1);
  EXPECT_EQ(std::count(listed.begin(), listed.end(), "CE = AB"), 0);
  EXPECT_EQ(std::count(listed.begin(), listed.end(), "AD = EF"), 1);
  EXPECT_EQ(std::count(listed.begin(), listed.end(), "EF = AD"), 0);
  // 15 interactions in 7 two-member chains (AB = CE, AC = BE, AD = EF, AE = BC = DF,
  // AF = DE, BD = CF, BF = CD) and no unaliased one.
  EXPECT_EQ(listed.size(), 1U + 6U + 7U);
}

TEST(AliasStructure, NamesTheEffectsConfoundedWithBlocks) {
  struct Row {
    std::string name;
    Generators generators;
    std::vector<std::string> block_effects;
    std::vector<std::string> flagged;  // main effects and two-factor interactions
  };
  const std::vector<Row> rows = {
      {"2^3 in 2 blocks by ABC", Generators(3, {}, {7}), {"ABC"}, {}},
      {"2^3 in 4 blocks by AB and AC",
       Generators(3, {}, {3, 5}),
       {"AB", "AC", "BC"},
       {"AB = Blocks", "AC = Blocks", "BC = Blocks"}},
      {"2^(4-1), D = ABC, in 2 blocks by AB",
       Generators(3, {7}, {3}),
       {"AB", "CD"},
       {"AB = CD = Blocks", "CD = AB = Blocks"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const AliasStructure aliases(row.generators);
    std::vector<std::string> effects;
    for (const AliasStructure::Word w : aliases.GetBlockEffects()) {
      effects.push_back(aliases.WordText(w, nullptr));
    }
    EXPECT_EQ(effects, row.block_effects);
    std::vector<std::string> flagged;
    for (const auto* list : {&aliases.GetMainEffects(), &aliases.GetTwoFactorInteractions()}) {
      for (const AliasStructure::Effect& effect : *list) {
        if (!effect.confounded_with_blocks) continue;
        flagged.push_back(aliases.EffectText(effect, nullptr));
      }
    }
    EXPECT_EQ(flagged, row.flagged);
  }
}

TEST(AliasStructure, RefusesADesignWithoutGenerators) {
  ExpectMessage([] { AliasStructure aliases{Generators()}; },
                "There are no generators to read an alias structure from.");
}

TEST(AliasMatrix, AgreesWithTheAliasChainsOfRegularFractions) {
  // Main effects against every two-factor interaction: 1 exactly where the chain lists the
  // interaction as an alias of the main effect, 0 elsewhere.
  for (const auto& [factors, runs] : std::vector<std::pair<int, int>>{{7, 8}, {6, 16}, {5, 8}}) {
    SCOPED_TRACE(std::to_string(factors) + " factors in " + std::to_string(runs));
    const Generators generators = *Generators::FromTable(3, factors, runs, 0);
    const AliasStructure chains(generators, 2);
    const AliasMatrix::Results aliases = AliasMatrix::Compute(TwoLevel(generators, 1), nullptr);
    ASSERT_FALSE(aliases.singular);
    ASSERT_EQ(aliases.matrix.rows(), factors + 1);
    ASSERT_EQ(aliases.matrix.cols(), factors * (factors - 1) / 2);
    EXPECT_LT(aliases.matrix.row(0).cwiseAbs().maxCoeff(), 1e-12);  // the constant
    for (int f = 0; f < factors; ++f) {
      const AliasStructure::Effect& main = chains.GetMainEffects()[static_cast<std::size_t>(f)];
      int column = 0;
      for (int a = 0; a < factors; ++a) {
        for (int b = a + 1; b < factors; ++b, ++column) {
          const AliasStructure::Word pair = (1U << a) | (1U << b);
          const bool listed =
              std::find(main.aliases.begin(), main.aliases.end(), pair) != main.aliases.end();
          EXPECT_NEAR(aliases.matrix(f + 1, column), listed ? 1.0 : 0.0, 1e-12)
              << aliases.model_names[static_cast<std::size_t>(f) + 1] << " / "
              << aliases.potential_names[static_cast<std::size_t>(column)];
        }
      }
    }
  }
}

TEST(AliasMatrix, PlackettBurmanInTwelveRunsAliasesPartiallyByAThird) {
  const Factors factors = Quantitative(11);
  const DesignBuilder& builder = test_support::Builder(EDesign::kPlackettBurman);
  const auto made = builder.Generate(
      factors, OptionsFor(builder, factors, EObjective::kScreening, EModel::kLinear));
  ASSERT_EQ(made->GetRuns(), 12);
  const EvaluatedDesign design = EvaluatedDesign::FromDesign(
      *made, factors, DesignModel::Make(factors, EModel::kLinear, EModel::kNone));
  const AliasMatrix::Results aliases = AliasMatrix::Compute(design, nullptr);
  ASSERT_EQ(aliases.matrix.cols(), 55);
  const DesignModel pairs = AliasMatrix::TwoFactorInteractionsNotIn(design);
  for (int f = 0; f < 11; ++f) {
    for (int j = 0; j < 55; ++j) {
      const DesignModel::Term& pair = pairs.GetTerms()[static_cast<std::size_t>(j)];
      const bool own = pair[0] == f || pair[1] == f;
      EXPECT_NEAR(std::fabs(aliases.matrix(f + 1, j)), own ? 0.0 : 1.0 / 3.0, 1e-12);
    }
  }
}

TEST(AliasMatrix, TheCorrelationMapShowsConfoundedAndOrthogonalColumns) {
  // 2^(3-1) with C = AB: C and A*B are the same column; A, B, C are orthogonal.
  const EvaluatedDesign design = TwoLevel(Generators(2, {3}, {}), 1);
  const AliasMatrix::Correlations map = AliasMatrix::CorrelationMap(design, nullptr);
  ASSERT_EQ(map.names, (std::vector<std::string>{"X1", "X2", "X3", "X1*X2", "X1*X3", "X2*X3"}));
  Eigen::MatrixXd expected = Eigen::MatrixXd::Identity(6, 6);
  for (const auto& [a, b] : std::vector<std::pair<int, int>>{{0, 5}, {1, 4}, {2, 3}}) {
    expected(a, b) = 1.0;
    expected(b, a) = 1.0;
  }
  EXPECT_TRUE(map.matrix.isApprox(expected, 1e-12)) << map.matrix;

  // A factor the design never moves has no correlation at all.
  NCDataMatrix<float> flat = design.GetCoded();
  for (int r = 0; r < flat.GetRows(); ++r) flat(r, 2) = 0.0F;
  const EvaluatedDesign still(design.GetFactors(), design.GetModel(), flat);
  const DesignModel none;
  const AliasMatrix::Correlations own = AliasMatrix::CorrelationMap(still, &none);
  ASSERT_EQ(own.names.size(), 3U);
  EXPECT_EQ(own.matrix(2, 2), kUndefined);
  EXPECT_EQ(own.matrix(0, 2), kUndefined);
  EXPECT_DOUBLE_EQ(own.matrix(0, 0), 1.0);
  // The alias matrix of a singular design is empty.
  EXPECT_TRUE(AliasMatrix::Compute(still, nullptr).singular);
  EXPECT_EQ(AliasMatrix::Compute(still, nullptr).matrix.size(), 0);
}

}  // namespace
}  // namespace zubra
