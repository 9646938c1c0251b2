#include "zubra/platform/design/generators.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include "zubra/platform/util/configuration_section.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

constexpr std::string_view kLetters = "ABCDEFGHJKLMNOPQRSTUVWXYZ";

// One minimum-aberration design of the built-in table. Words are bit sets over the base
// factors (bit 0 = A). The generated factors come in the order of `words`; `main_clear[b-1]`
// holds the b block words of the blocking into 2^b blocks that keeps main effects clear of
// blocks, `interaction_clear[b-1]` the one that also keeps two-factor interactions clear
// (all zero where no such blocking exists).
struct TableDesign {
  int factors;
  int runs;
  std::uint8_t words[11];                // NOLINT(modernize-avoid-c-arrays): table data
  std::uint8_t main_clear[3][3];         // NOLINT(modernize-avoid-c-arrays)
  std::uint8_t interaction_clear[3][3];  // NOLINT(modernize-avoid-c-arrays)
};

// The fractions are the minimum-aberration designs of the literature (the classical
// generators where they are known: 2^(7-4) D = AB, E = AC, F = BC, G = ABC; 2^(8-4) E = BCD,
// F = ACD, G = ABC, H = ABD; ...); the others and the blockings come from an exhaustive
// search under the same criteria. The tests recompute resolution, word-length pattern,
// local optimality and block confounding of every row.
// clang-format off
constexpr TableDesign kTable[] = {
    {2, 4, {}, {{3, 0, 0}, {0, 0, 0}, {0, 0, 0}}, {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {3, 4, {3}, {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}, {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {3, 8, {}, {{7, 0, 0}, {3, 5, 0}, {0, 0, 0}}, {{7, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {4, 8, {7}, {{3, 0, 0}, {3, 5, 0}, {0, 0, 0}}, {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {5, 8, {3, 5}, {{6, 0, 0}, {0, 0, 0}, {0, 0, 0}}, {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {6, 8, {3, 5, 6}, {{7, 0, 0}, {0, 0, 0}, {0, 0, 0}}, {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {7, 8, {3, 5, 6, 7}, {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}, {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {4, 16, {}, {{15, 0, 0}, {3, 13, 0}, {3, 5, 9}}, {{15, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {5, 16, {15}, {{3, 0, 0}, {3, 5, 0}, {0, 0, 0}}, {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {6, 16, {7, 14}, {{11, 0, 0}, {6, 11, 0}, {3, 5, 9}}, {{11, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {7, 16, {7, 14, 13}, {{11, 0, 0}, {3, 5, 0}, {3, 5, 9}}, {{11, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {8, 16, {14, 13, 7, 11}, {{3, 0, 0}, {3, 5, 0}, {3, 5, 9}}, {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {9, 16, {7, 14, 13, 11, 15}, {{3, 0, 0}, {3, 5, 0}, {0, 0, 0}}, {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {10, 16, {7, 14, 13, 11, 15, 3}, {{5, 0, 0}, {5, 9, 0}, {0, 0, 0}}, {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {11, 16, {7, 14, 13, 11, 15, 3, 5}, {{9, 0, 0}, {6, 10, 0}, {0, 0, 0}}, {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {12, 16, {7, 14, 13, 11, 15, 3, 5, 9}, {{6, 0, 0}, {6, 10, 0}, {0, 0, 0}}, {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {13, 16, {7, 14, 13, 11, 15, 3, 5, 9, 6}, {{10, 0, 0}, {0, 0, 0}, {0, 0, 0}}, {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {14, 16, {7, 14, 13, 11, 15, 3, 5, 9, 6, 10}, {{12, 0, 0}, {0, 0, 0}, {0, 0, 0}}, {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {15, 16, {7, 14, 13, 11, 15, 3, 5, 9, 6, 10, 12}, {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}, {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {5, 32, {}, {{31, 0, 0}, {7, 25, 0}, {3, 12, 21}}, {{31, 0, 0}, {7, 25, 0}, {0, 0, 0}}},
    {6, 32, {31}, {{7, 0, 0}, {3, 13, 0}, {3, 12, 21}}, {{7, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {7, 32, {15, 27}, {{21, 0, 0}, {3, 21, 0}, {3, 9, 20}}, {{21, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {8, 32, {7, 11, 30}, {{19, 0, 0}, {14, 19, 0}, {3, 13, 17}}, {{19, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {9, 32, {30, 29, 27, 23}, {{15, 0, 0}, {3, 12, 0}, {3, 5, 9}}, {{15, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {10, 32, {15, 23, 27, 29, 30}, {{3, 0, 0}, {3, 5, 0}, {3, 5, 25}}, {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {11, 32, {7, 14, 21, 26, 28, 31}, {{11, 0, 0}, {5, 19, 0}, {3, 5, 9}}, {{11, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {12, 32, {7, 11, 19, 22, 26, 28, 31}, {{13, 0, 0}, {3, 13, 0}, {3, 5, 9}}, {{13, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {13, 32, {7, 11, 21, 22, 25, 26, 28, 31}, {{13, 0, 0}, {3, 13, 0}, {3, 5, 9}}, {{13, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {14, 32, {7, 13, 14, 19, 21, 25, 26, 28, 31}, {{11, 0, 0}, {11, 22, 0}, {3, 5, 9}}, {{11, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {15, 32, {7, 11, 13, 14, 19, 21, 22, 25, 28, 31}, {{26, 0, 0}, {3, 5, 0}, {3, 5, 9}}, {{26, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {6, 64, {}, {{63, 0, 0}, {15, 51, 0}, {7, 25, 42}}, {{63, 0, 0}, {15, 51, 0}, {7, 25, 42}}},
    {7, 64, {63}, {{7, 0, 0}, {7, 25, 0}, {7, 25, 42}}, {{7, 0, 0}, {7, 25, 0}, {7, 25, 42}}},
    {8, 64, {15, 51}, {{21, 0, 0}, {21, 42, 0}, {3, 20, 41}}, {{21, 0, 0}, {21, 42, 0}, {0, 0, 0}}},
    {9, 64, {15, 44, 59}, {{29, 0, 0}, {21, 39, 0}, {3, 28, 41}}, {{29, 0, 0}, {21, 39, 0}, {0, 0, 0}}},
    {10, 64, {15, 23, 35, 57}, {{28, 0, 0}, {27, 37, 0}, {9, 18, 37}}, {{28, 0, 0}, {27, 37, 0}, {0, 0, 0}}},
    {11, 64, {14, 27, 43, 54, 61}, {{7, 0, 0}, {13, 17, 0}, {13, 17, 34}}, {{7, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {12, 64, {15, 23, 29, 37, 59, 62}, {{26, 0, 0}, {3, 25, 0}, {3, 25, 40}}, {{26, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {13, 64, {7, 14, 29, 41, 44, 50, 63}, {{35, 0, 0}, {20, 35, 0}, {3, 17, 37}}, {{35, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {14, 64, {15, 25, 30, 35, 37, 46, 52, 56}, {{19, 0, 0}, {3, 49, 0}, {5, 19, 41}}, {{19, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {15, 64, {14, 22, 27, 29, 35, 38, 47, 55, 60}, {{7, 0, 0}, {7, 34, 0}, {3, 9, 48}}, {{7, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
    {7, 128, {}, {{127, 0, 0}, {15, 115, 0}, {15, 51, 85}}, {{127, 0, 0}, {15, 115, 0}, {15, 51, 85}}},
    {8, 128, {127}, {{15, 0, 0}, {15, 51, 0}, {15, 51, 85}}, {{15, 0, 0}, {15, 51, 0}, {15, 51, 85}}},
    {9, 128, {109, 118}, {{15, 0, 0}, {15, 51, 0}, {7, 56, 91}}, {{15, 0, 0}, {15, 51, 0}, {7, 56, 91}}},
    {10, 128, {71, 30, 45}, {{113, 0, 0}, {11, 112, 0}, {15, 52, 82}}, {{113, 0, 0}, {11, 112, 0}, {15, 52, 82}}},
    {11, 128, {71, 30, 45, 127}, {{116, 0, 0}, {11, 113, 0}, {15, 53, 83}}, {{116, 0, 0}, {11, 113, 0}, {15, 53, 83}}},
    {12, 128, {88, 95, 101, 110, 115}, {{13, 0, 0}, {13, 19, 0}, {13, 19, 39}}, {{13, 0, 0}, {13, 19, 0}, {13, 19, 39}}},
    {13, 128, {15, 62, 76, 90, 101, 121}, {{19, 0, 0}, {19, 39, 0}, {5, 50, 81}}, {{19, 0, 0}, {19, 39, 0}, {0, 0, 0}}},
    {14, 128, {15, 37, 54, 60, 90, 107, 113}, {{67, 0, 0}, {21, 67, 0}, {21, 46, 67}}, {{67, 0, 0}, {21, 67, 0}, {21, 46, 67}}},
    {15, 128, {44, 47, 49, 79, 83, 88, 101, 122}, {{59, 0, 0}, {27, 70, 0}, {13, 22, 102}}, {{59, 0, 0}, {27, 70, 0}, {13, 22, 102}}},
};
// clang-format on

const TableDesign* FindTable(int factors, int runs) {
  for (const TableDesign& design : kTable) {
    if (design.factors == factors && design.runs == runs) return &design;
  }
  return nullptr;
}

int Log2(int runs) { return std::countr_zero(static_cast<unsigned>(runs)); }

// The resolution of a table design, computed once per row; a full factorial counts as any
// resolution.
int Resolution(const TableDesign& design) {
  static const std::vector<int> kResolutions = [] {
    std::vector<int> all;
    for (const TableDesign& row : kTable) {
      const int p = row.factors - Log2(row.runs);
      all.push_back(p == 0
                        ? 99
                        : Generators(Log2(row.runs), std::vector<int>(row.words, row.words + p), {})
                              .GetResolution());
    }
    return all;
  }();
  return kResolutions[static_cast<std::size_t>(&design - kTable)];
}

// The table answer for level `level` (0: the full factorial table).
int Lookup(int level, int index, int factors, int runs, int blocks) {
  const TableDesign* design = FindTable(factors, runs);
  if (design == nullptr || (level == 0 && runs != 1 << factors)) return 0;
  if (level > 0 && Resolution(*design) < level) return 0;
  const int p = factors - Log2(runs);
  if (index == 0) return level == 0 ? 1 : level;
  if (index > 0) return index <= p ? design->words[static_cast<std::size_t>(index - 1)] : 0;
  if (blocks < 1 || blocks > Generators::kMaxBlockGenerators || -index > blocks) return 0;
  const std::uint8_t(*blocking)[3] =  // NOLINT(modernize-avoid-c-arrays)
      level == 5 ? design->interaction_clear : design->main_clear;
  return blocking[blocks - 1][-index - 1];
}

std::string WordText(int word) {
  std::string text;
  for (int b = 0; b < Generators::kMaxBaseFactors; ++b) {
    if ((word >> b) & 1) text += kLetters[static_cast<std::size_t>(b)];
  }
  return text;
}

std::string JoinWords(const std::vector<int>& words) {
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i > 0) text += ',';
    text += WordText(words[i]);
  }
  return text;
}

// Parses a comma-separated list of words in base-factor letters ("ABC,BCD"); "" is no word.
std::vector<int> ParseWords(const std::string& text, std::string_view key) {
  std::vector<int> words;
  if (text.empty()) return words;
  int word = 0;
  bool empty = true;
  const auto fail = [&]() {
    return Exception(ExceptionMessage::translate("The generators '{}' of the key '{}' are not "
                                                 "valid.") %
                     text % key);
  };
  for (char c : text + ",") {
    if (c == ',') {
      if (empty) throw fail();
      words.push_back(word);
      word = 0;
      empty = true;
      continue;
    }
    const std::size_t letter = kLetters.find(c);
    if (letter == std::string_view::npos || letter >= Generators::kMaxBaseFactors ||
        ((word >> letter) & 1) != 0) {
      throw fail();
    }
    word |= 1 << letter;
    empty = false;
  }
  return words;
}

}  // namespace

int Generators::GetGenFullFactorial(int index, int runs, int blocks) {
  if (index > 0 || runs < 4 || !std::has_single_bit(static_cast<unsigned>(runs))) return 0;
  return Lookup(0, index, Log2(runs), runs, blocks);
}

int Generators::GetGen3(int index, int factors, int runs, int blocks) {
  return Lookup(3, index, factors, runs, blocks);
}

int Generators::GetGen4(int index, int factors, int runs, int blocks) {
  return Lookup(4, index, factors, runs, blocks);
}

int Generators::GetGen5(int index, int factors, int runs, int blocks) {
  return Lookup(5, index, factors, runs, blocks);
}

std::optional<Generators> Generators::FromTable(int level, int factors, int runs, int blocks) {
  if (level != 0 && (level < 3 || level > 5)) return std::nullopt;
  if (blocks < 0 || blocks > kMaxBlockGenerators) return std::nullopt;
  if (Lookup(level, 0, factors, runs, 0) == 0) return std::nullopt;
  std::vector<int> words;
  for (int j = 1; j <= factors - Log2(runs); ++j)
    words.push_back(Lookup(level, j, factors, runs, 0));
  std::vector<int> block_words;
  for (int j = 1; j <= blocks; ++j) {
    const int word = Lookup(level, -j, factors, runs, blocks);
    if (word == 0) return std::nullopt;
    block_words.push_back(word);
  }
  return Generators(Log2(runs), std::move(words), std::move(block_words));
}

std::vector<int> Generators::GetTableRuns(int level, int factors) {
  std::vector<int> runs;
  for (int n = 4; n <= 128; n *= 2) {
    if (Lookup(level, 0, factors, n, 0) != 0) runs.push_back(n);
  }
  return runs;
}

Generators::Generators(int base, std::vector<int> factor_words, std::vector<int> block_words)
    : base_(base), factor_words_(std::move(factor_words)), block_words_(std::move(block_words)) {
  const auto refuse = [](std::string_view what) {
    throw Exception(ExceptionMessage::translate("The generators are not valid: {}.") % what);
  };
  if (base_ < 1 || base_ > kMaxBaseFactors) refuse("the number of base factors is out of range");
  if (GetFactorCount() > kMaxFactors) refuse("too many factors");
  const int limit = 1 << base_;
  for (std::size_t i = 0; i < factor_words_.size(); ++i) {
    const int word = factor_words_[i];
    if (word <= 0 || word >= limit) refuse("a word names a factor that is not a base factor");
    if (std::popcount(static_cast<unsigned>(word)) < 2) refuse("a word has fewer than two letters");
    if (std::find(factor_words_.begin(), factor_words_.begin() + static_cast<std::ptrdiff_t>(i),
                  word) != factor_words_.begin() + static_cast<std::ptrdiff_t>(i)) {
      refuse("two factors have the same word");
    }
  }
  if (block_words_.size() > static_cast<std::size_t>(kMaxBlockGenerators)) {
    refuse("there are more than three block generators");
  }
  for (int word : block_words_) {
    if (word <= 0 || word >= limit) refuse("a block word names a factor that is not a base factor");
  }
  for (unsigned subset = 1; subset < (1U << block_words_.size()); ++subset) {
    int product = 0;
    for (std::size_t j = 0; j < block_words_.size(); ++j) {
      if ((subset >> j) & 1U) product ^= block_words_[j];
    }
    if (product == 0) refuse("the block generators are not independent");
  }
}

Generators Generators::WithoutBlocks() const {
  if (IsEmpty()) return {};
  return {base_, factor_words_, {}};
}

std::vector<int> Generators::GetColumns() const {
  std::vector<int> columns;
  columns.reserve(static_cast<std::size_t>(base_) + factor_words_.size());
  for (int b = 0; b < base_; ++b) columns.push_back(1 << b);
  columns.insert(columns.end(), factor_words_.begin(), factor_words_.end());
  return columns;
}

std::vector<int> Generators::GetWordLengthPattern() const {
  const int p = static_cast<int>(factor_words_.size());
  std::vector<int> pattern(static_cast<std::size_t>(GetFactorCount() + 1), 0);
  // Walk the products of the generating words in Gray-code order.
  unsigned base_part = 0;
  unsigned added_part = 0;
  for (unsigned s = 1; s < (1U << p); ++s) {
    const int flip = std::countr_zero(s);
    base_part ^= static_cast<unsigned>(factor_words_[static_cast<std::size_t>(flip)]);
    added_part ^= 1U << flip;
    ++pattern[static_cast<std::size_t>(std::popcount(base_part)) +
              static_cast<std::size_t>(std::popcount(added_part))];
  }
  return pattern;
}

int Generators::GetResolution() const {
  if (IsEmpty()) return 0;
  const std::vector<int> pattern = GetWordLengthPattern();
  for (std::size_t length = 1; length < pattern.size(); ++length) {
    if (pattern[length] > 0) return static_cast<int>(length);
  }
  return GetFactorCount() + 1;
}

NCDataMatrix<float> Generators::MakeDesign() const {
  const std::vector<int> columns = GetColumns();
  NCDataMatrix<float> design(GetRuns(), GetFactorCount());
  for (int r = 0; r < GetRuns(); ++r) {
    for (std::size_t c = 0; c < columns.size(); ++c) {
      // The product of the base factors in the word is -1 when an odd number are at -1.
      const int low = std::popcount(static_cast<unsigned>(columns[c] & ~r));
      design(r, static_cast<int>(c)) = low % 2 == 0 ? 1.0F : -1.0F;
    }
  }
  return design;
}

std::vector<int> Generators::MakeBlocks() const {
  std::vector<int> blocks(static_cast<std::size_t>(GetRuns()), 1);
  for (int r = 0; r < GetRuns(); ++r) {
    for (std::size_t j = 0; j < block_words_.size(); ++j) {
      if (std::popcount(static_cast<unsigned>(block_words_[j] & ~r)) % 2 == 1) {
        blocks[static_cast<std::size_t>(r)] += 1 << j;
      }
    }
  }
  return blocks;
}

std::vector<std::string> Generators::GetTexts() const {
  std::vector<std::string> texts;
  for (std::size_t j = 0; j < factor_words_.size(); ++j) {
    texts.push_back(GetLetter(base_ + static_cast<int>(j)) + " = " + WordText(factor_words_[j]));
  }
  for (std::size_t j = 0; j < block_words_.size(); ++j) {
    texts.push_back("$B" + std::to_string(j + 1) + " = " + WordText(block_words_[j]));
  }
  return texts;
}

std::string Generators::GetLetter(int index) {
  if (index < 0 || index >= static_cast<int>(kLetters.size())) return {};
  return std::string(1, kLetters[static_cast<std::size_t>(index)]);
}

void Generators::Save(ConfigurationSection& section) const {
  section.WriteInt("BaseFactors", base_);
  section.WriteString("Generators", JoinWords(factor_words_));
  section.WriteString("BlockGenerators", JoinWords(block_words_));
}

void Generators::Load(const ConfigurationSection& section) {
  int base = base_;
  section.ReadInt("BaseFactors", base);
  std::string text;
  std::vector<int> words = factor_words_;
  if (section.ReadString("Generators", text)) words = ParseWords(text, "Generators");
  std::vector<int> blocks = block_words_;
  if (section.ReadString("BlockGenerators", text)) blocks = ParseWords(text, "BlockGenerators");
  if (base == 0 && words.empty() && blocks.empty()) {
    *this = Generators();
    return;
  }
  *this = Generators(base, std::move(words), std::move(blocks));
}

}  // namespace zubra
