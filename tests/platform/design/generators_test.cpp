#include "zubra/platform/design/generators.h"

#include <gtest/gtest.h>

#include <bit>
#include <functional>
#include <string>
#include <vector>

#include "design_test_support.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/tinyxml2_section.h"

namespace zubra {
namespace {

using test_support::MatrixResolution;
using test_support::ProductSum;

int Log2(int n) { return std::countr_zero(static_cast<unsigned>(n)); }

// Every table design (factors, runs), found through the level-3 queries, which admit all.
std::vector<std::pair<int, int>> TableDesigns() {
  std::vector<std::pair<int, int>> designs;
  for (int k = 2; k <= 15; ++k) {
    for (int n : Generators::GetTableRuns(3, k)) designs.emplace_back(k, n);
  }
  return designs;
}

// The number of k-factor effects (sets of `order` factors) whose column lies in the group
// spanned by `block_words`, for the factor columns `columns`.
int EffectsInBlockGroup(const std::vector<int>& columns, const std::vector<int>& block_words,
                        int order) {
  std::vector<int> group;
  for (unsigned s = 1; s < (1U << block_words.size()); ++s) {
    int word = 0;
    for (std::size_t j = 0; j < block_words.size(); ++j) {
      if ((s >> j) & 1U) word ^= block_words[j];
    }
    group.push_back(word);
  }
  int count = 0;
  const int k = static_cast<int>(columns.size());
  for (unsigned subset = 1; subset < (1U << k); ++subset) {
    if (std::popcount(subset) != order) continue;
    int column = 0;
    for (int f = 0; f < k; ++f) {
      if ((subset >> f) & 1U) column ^= columns[static_cast<std::size_t>(f)];
    }
    if (std::find(group.begin(), group.end(), column) != group.end()) ++count;
  }
  return count;
}

TEST(Generators, TableHoldsThePublishedMinimumAberrationDesigns) {
  // The largest k with a resolution V design in n runs and the smallest n for resolution IV
  // (n >= 2k), as published; each level offers every size from its smallest (0: none) up to
  // 128 runs or the full factorial.
  struct Limit {
    int level, factors, smallest;
  };
  const std::vector<Limit> limits = {{5, 5, 16}, {5, 6, 32}, {5, 8, 64}, {5, 11, 128},
                                     {5, 12, 0}, {4, 8, 16}, {4, 9, 32}, {4, 15, 32},
                                     {3, 3, 4},  {3, 7, 8},  {3, 15, 16}};
  for (const Limit& limit : limits) {
    std::vector<int> runs;
    for (int n = limit.smallest; n > 0 && n <= std::min(128, 1 << limit.factors); n *= 2) {
      runs.push_back(n);
    }
    EXPECT_EQ(Generators::GetTableRuns(limit.level, limit.factors), runs)
        << "level " << limit.level << ", " << limit.factors << " factors";
  }
  struct Row {
    int factors, runs;
    std::string texts;
  };
  const std::vector<Row> rows = {{4, 8, "D = ABC"},
                                 {7, 8, "D = AB, E = AC, F = BC, G = ABC"},
                                 {6, 16, "E = ABC, F = BCD"},
                                 {8, 16, "E = BCD, F = ACD, G = ABC, H = ABD"},
                                 {7, 32, "F = ABCD, G = ABDE"},
                                 {8, 32, "F = ABC, G = ABD, H = BCDE"},
                                 {9, 128, "H = ACDFG, J = BCEFG"},
                                 {10, 128, "H = ABCG, J = BCDE, K = ACDF"}};
  for (const Row& row : rows) {
    const auto design = Generators::FromTable(3, row.factors, row.runs, 0);
    ASSERT_TRUE(design.has_value()) << row.factors << " factors in " << row.runs;
    std::string texts;
    for (const std::string& text : design->GetTexts()) texts += (texts.empty() ? "" : ", ") + text;
    EXPECT_EQ(texts, row.texts);
  }
}

TEST(Generators, EveryTableDesignHasTheResolutionItsQueriesClaim) {
  for (const auto& [k, n] : TableDesigns()) {
    SCOPED_TRACE(std::to_string(k) + " factors in " + std::to_string(n) + " runs");
    const Generators design = Generators::FromTable(3, k, n, 0).value();
    ASSERT_EQ(design.GetFactorCount(), k);
    ASSERT_EQ(design.GetRuns(), n);
    const int resolution = design.GetResolution();
    // The matrix itself shows the same resolution (checked up to 5-factor products; a full
    // factorial has no constant product at all).
    EXPECT_EQ(MatrixResolution(design.MakeDesign(), 5),
              design.GetFactorWords().empty() ? 6 : std::min(resolution, 6));
    // A full factorial serves every level.
    const bool full = n == 1 << k;
    EXPECT_EQ(Generators::GetGen3(0, k, n, 0), 3);
    EXPECT_EQ(Generators::GetGen4(0, k, n, 0), full || resolution >= 4 ? 4 : 0);
    EXPECT_EQ(Generators::GetGen5(0, k, n, 0), full || resolution >= 5 ? 5 : 0);
    // The generator queries give the words in order, then 0.
    const int p = k - Log2(n);
    for (int j = 1; j <= p; ++j) {
      EXPECT_EQ(Generators::GetGen3(j, k, n, 0),
                design.GetFactorWords()[static_cast<std::size_t>(j - 1)]);
    }
    EXPECT_EQ(Generators::GetGen3(p + 1, k, n, 0), 0);
  }
}

TEST(Generators, TableBlockingsKeepTheEffectsTheirLevelNeedsClear) {
  struct Level {
    std::string name;
    std::function<int(int, int, int, int)> query;
    int clear_order;  // effects of this order and below stay clear of blocks
    int resolution;   // designs the level admits
  };
  const std::vector<Level> levels = {
      {"level 4", Generators::GetGen4, 1, 4},
      {"level 5", Generators::GetGen5, 2, 5},
  };
  int blockings = 0;
  for (const Level& level : levels) {
    for (const auto& [k, n] : TableDesigns()) {
      const Generators design = Generators::FromTable(3, k, n, 0).value();
      if (design.GetResolution() < level.resolution && n != 1 << k) continue;
      for (int i = 1; i <= 3; ++i) {
        SCOPED_TRACE(level.name + ", " + std::to_string(k) + " factors in " + std::to_string(n) +
                     " runs, " + std::to_string(1 << i) + " blocks");
        std::vector<int> words;
        for (int j = 1; j <= i; ++j) words.push_back(level.query(-j, k, n, i));
        if (std::count(words.begin(), words.end(), 0) == i) continue;
        ASSERT_EQ(std::count(words.begin(), words.end(), 0), 0) << "a blocking is incomplete";
        const Generators blocked(Log2(n), design.GetFactorWords(), words);  // independent
        for (int order = 1; order <= level.clear_order; ++order) {
          EXPECT_EQ(EffectsInBlockGroup(design.GetColumns(), words, order), 0) << order;
        }
        ++blockings;
      }
    }
  }
  EXPECT_GT(blockings, 60);
}

TEST(Generators, CompositeBlockingsMatchTheClassicalCompositeDesigns) {
  // Blocks of the factorial part of second-order composite designs: 3 factors (8 runs) and 4
  // factors (16) in 2 blocks only, 5 factors (32) in 2 or 4, the half fraction of 5 (16)
  // not at all, of 6 (32) in 2, of 7 (64) in 2, 4 or 8.
  struct Row {
    int factors, runs;
    std::vector<bool> blocks;  // 2, 4, 8 blocks possible
  };
  const std::vector<Row> rows = {{2, 4, {false, false, false}},  {3, 8, {true, false, false}},
                                 {4, 16, {true, false, false}},  {5, 32, {true, true, false}},
                                 {5, 16, {false, false, false}}, {6, 32, {true, false, false}},
                                 {7, 64, {true, true, true}}};
  for (const Row& row : rows) {
    for (int i = 1; i <= 3; ++i) {
      EXPECT_EQ(Generators::FromTable(5, row.factors, row.runs, i).has_value(),
                row.blocks[static_cast<std::size_t>(i - 1)])
          << row.factors << " factors in " << row.runs << " runs, " << (1 << i) << " blocks";
    }
  }
}

TEST(Generators, FullFactorialBlockingsKeepMainEffectsClear) {
  for (int k = 2; k <= 5; ++k) {
    std::vector<int> columns;
    for (int b = 0; b < k; ++b) columns.push_back(1 << b);
    for (int i = 1; i <= 3 && i < k; ++i) {
      SCOPED_TRACE(std::to_string(k) + " factors, " + std::to_string(1 << i) + " blocks");
      std::vector<int> table;
      for (int j = 1; j <= i; ++j) table.push_back(Generators::GetGenFullFactorial(-j, 1 << k, i));
      if (table[0] == 0) continue;
      ASSERT_EQ(std::count(table.begin(), table.end(), 0), 0);
      EXPECT_EQ(EffectsInBlockGroup(columns, table, 1), 0);
    }
  }
  EXPECT_EQ(Generators::GetGenFullFactorial(-1, 8, 1), 0b111);  // ABC
  EXPECT_EQ(Generators::GetGenFullFactorial(-1, 256, 1), 0);    // beyond the table
  EXPECT_EQ(Generators::GetGenFullFactorial(1, 8, 1), 0);
  EXPECT_EQ(Generators::GetGenFullFactorial(-1, 12, 1), 0);
}

TEST(Generators, DesignColumnsAreOrthogonalAndBlocksBalanced) {
  const Generators design(4, {0b0111, 0b1110}, {0b0110, 0b1011});
  const NCDataMatrix<float> runs = design.MakeDesign();
  ASSERT_EQ(runs.GetRows(), 16);
  for (int a = 0; a < 6; ++a) {
    EXPECT_EQ(ProductSum(runs, {a}), 0.0) << a;
    for (int b = a + 1; b < 6; ++b) EXPECT_EQ(ProductSum(runs, {a, b}), 0.0) << a << b;
  }
  // E = ABC and F = BCD hold run by run.
  EXPECT_EQ(ProductSum(runs, {0, 1, 2, 4}), 16.0);
  EXPECT_EQ(ProductSum(runs, {1, 2, 3, 5}), 16.0);
  const std::vector<int> blocks = design.MakeBlocks();
  for (int b = 1; b <= 4; ++b) {
    std::vector<int> rows;
    for (int r = 0; r < 16; ++r) {
      if (blocks[static_cast<std::size_t>(r)] == b) rows.push_back(r);
    }
    ASSERT_EQ(rows.size(), 4U) << b;
    // Main effects are balanced within each block: blocks are orthogonal to them.
    for (int c = 0; c < 6; ++c) EXPECT_EQ(ProductSum(runs, {c}, &rows), 0.0) << b << c;
  }
  EXPECT_EQ(design.GetTexts(),
            (std::vector<std::string>{"E = ABC", "F = BCD", "$B1 = BC", "$B2 = ABD"}));
}

TEST(Generators, ConstructorRefusesMalformedGenerators) {
  struct Row {
    std::string name;
    int base;
    std::vector<int> words, blocks;
    std::string message;
  };
  const std::string prefix = "The generators are not valid: ";
  const std::vector<Row> rows = {
      {"no base", 0, {}, {}, "the number of base factors is out of range."},
      {"base too large", 16, {}, {}, "the number of base factors is out of range."},
      {"word beyond base", 3, {8}, {}, "a word names a factor that is not a base factor."},
      {"one letter", 3, {4}, {}, "a word has fewer than two letters."},
      {"repeated word", 3, {3, 3}, {}, "two factors have the same word."},
      {"dependent blocks", 3, {}, {3, 5, 6}, "the block generators are not independent."},
      {"four block words", 4, {}, {1, 2, 4, 8}, "there are more than three block generators."},
      {"zero block word", 3, {}, {0}, "a block word names a factor that is not a base factor."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    try {
      const Generators refused(row.base, row.words, row.blocks);
      ADD_FAILURE() << "accepted";
    } catch (const Exception& e) {
      EXPECT_EQ(e.Message(), prefix + row.message);
    }
  }
}

TEST(Generators, SaveThenLoadRestoresTheGeneratorsAndRefusesMalformedText) {
  const Generators saved(5, {0b01111, 0b11011}, {0b10101});
  TinyXML2Section stored;
  saved.Save(stored);
  EXPECT_EQ(stored.GetString("Generators"), "ABCD,ABDE");
  EXPECT_EQ(stored.GetString("BlockGenerators"), "ACE");
  Generators restored;
  restored.Load(stored);
  EXPECT_EQ(restored, saved);
  EXPECT_EQ(restored.GetResolution(), 4);
  struct Row {
    std::string name, key, value, message;
  };
  const std::vector<Row> rows = {
      {"unknown letter", "Generators", "ABZ",
       "The generators 'ABZ' of the key 'Generators' are not valid."},
      {"empty word", "Generators", "AB,,CD",
       "The generators 'AB,,CD' of the key 'Generators' are not valid."},
      {"repeated letter", "BlockGenerators", "AAB",
       "The generators 'AAB' of the key 'BlockGenerators' are not valid."},
      {"word beyond base", "Generators", "ABCDE",
       "The generators are not valid: a word names a factor that is not a base factor."},
      {"base not a number", "BaseFactors", "four",
       "The value 'four' of the key 'BaseFactors' is not a valid whole number."},
  };
  const Generators original(4, {0b0111}, {});
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    TinyXML2Section section;
    original.Save(section);
    section.SetValue(row.key, row.value);
    Generators loaded = original;
    try {
      loaded.Load(section);
      ADD_FAILURE() << "accepted";
    } catch (const Exception& e) {
      EXPECT_EQ(e.Message(), row.message);
    }
    EXPECT_EQ(loaded, original);
  }
}

}  // namespace
}  // namespace zubra
