// Generators: the defining words of two-level fractional factorial designs and of their
// blocking, and the built-in tables of minimum-aberration designs.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "zubra/platform/matrix/nc_data_matrix.h"

namespace zubra {

class ConfigurationSection;

// The generators of one two-level design of 2^base runs in base + p factors.
//
// The first `base` factors form a full factorial (A, B, C, ...); each of the p further
// factors is the product of some base factors, its generator word, and each of up to three
// block generators is such a product too: the design's runs fall into 2^b blocks by the signs
// of the b block words. A word is a bit set over the base factors: bit 0 is A, bit 1 is B,
// so 0b0111 is ABC. Factors are lettered A..Z without I.
//
// An empty object (no base factors) stands for "no generators".
//
//   Generators half(4, {0b1111}, {});        // 2^(5-1): E = ABCD
//   half.GetResolution();                     // 5
//   NCDataMatrix<float> runs = half.MakeDesign();  // 16 x 5, +-1, standard order
//
// The table functions answer for the built-in minimum-aberration designs of up to 15 factors
// in 4 to 128 runs (2^q runs, q = 2..7). For a table design (factors, runs):
//   - GetGen3, GetGen4, GetGen5 serve the designs whose resolution is at least III, IV, V
//     (a full factorial, runs == 2^factors, qualifies for every level);
//   - index 0 gives the level (3, 4 or 5) when the table has the design, else 0;
//   - index j = 1..p gives the word of the j-th generated factor (0 outside 1..p);
//   - index -j gives the j-th of `blocks` block generators (1 <= j <= blocks <= 3) of the
//     design in 2^blocks blocks, or 0 when the table has no such blocking: no block effect
//     may be confounded with a main effect, and for GetGen5 not with a two-factor
//     interaction either; among the admissible blockings the table holds the one that
//     confounds the fewest two-factor, then three-factor, ... effects with blocks.
//   - GetGenFullFactorial(index, runs, blocks) does the same for the full factorial in `runs`
//     runs (index 0 gives 1 when the table has it); its blockings keep main effects clear.
// Any other argument gives 0.
class Generators {
 public:
  static constexpr int kMaxBlockGenerators = 3;
  static constexpr int kMaxBaseFactors = 15;
  static constexpr int kMaxFactors = 25;

  static int GetGenFullFactorial(int index, int runs, int blocks);
  static int GetGen3(int index, int factors, int runs, int blocks);
  static int GetGen4(int index, int factors, int runs, int blocks);
  static int GetGen5(int index, int factors, int runs, int blocks);

  // The table design of `factors` in `runs` runs at `level` (3, 4 or 5; 0 for the full
  // factorial table, where runs must be 2^factors) with `blocks` block generators, or nullopt
  // when the table has no such design or blocking.
  static std::optional<Generators> FromTable(int level, int factors, int runs, int blocks);
  // The run counts of the table designs of `factors` at `level` (as above), ascending.
  static std::vector<int> GetTableRuns(int level, int factors);

  Generators() = default;
  // Throws Exception when base is outside 1..kMaxBaseFactors, a word is 0 or not below
  // 2^base, a factor word names fewer than two base factors or repeats another, the factors
  // exceed kMaxFactors, there are more than kMaxBlockGenerators block words, or the block
  // words are not independent (some product of them is the identity).
  Generators(int base, std::vector<int> factor_words, std::vector<int> block_words);

  [[nodiscard]] bool IsEmpty() const { return base_ == 0; }
  [[nodiscard]] int GetBaseFactors() const { return base_; }
  [[nodiscard]] int GetFactorCount() const {
    return base_ + static_cast<int>(factor_words_.size());
  }
  [[nodiscard]] int GetRuns() const { return IsEmpty() ? 0 : 1 << base_; }
  [[nodiscard]] int GetBlockCount() const { return 1 << block_words_.size(); }
  [[nodiscard]] const std::vector<int>& GetFactorWords() const { return factor_words_; }
  [[nodiscard]] const std::vector<int>& GetBlockWords() const { return block_words_; }
  // The same design without its blocking.
  [[nodiscard]] Generators WithoutBlocks() const;

  // The column of every factor as a word over the base factors (1, 2, 4, ... for the base).
  [[nodiscard]] std::vector<int> GetColumns() const;
  // A[j] = the number of defining words of length j, j = 0..GetFactorCount().
  [[nodiscard]] std::vector<int> GetWordLengthPattern() const;
  // The length of the shortest defining word; GetFactorCount() + 1 for a full factorial; 0
  // when empty.
  [[nodiscard]] int GetResolution() const;

  // The 2^base runs in standard order (base factor b is +1 in run r when bit b of r is set),
  // one +-1 column per factor.
  [[nodiscard]] NCDataMatrix<float> MakeDesign() const;
  // The 1-based block of each run of MakeDesign(); all 1 without block words.
  [[nodiscard]] std::vector<int> MakeBlocks() const;

  // "E = ABCD" per generated factor, then "$B1 = ABC" per block word.
  [[nodiscard]] std::vector<std::string> GetTexts() const;
  // The letter of factor `index` (0-based): "A", "B", ..., "Z" without "I".
  static std::string GetLetter(int index);

  // Writes "BaseFactors", "Generators" and "BlockGenerators" (words as letters, separated
  // by commas).
  void Save(ConfigurationSection& section) const;
  // Reads what Save wrote. Keys absent: unchanged. Throws Exception when a key is present but
  // malformed or the generators it describes are refused as by the constructor; the object
  // is left unchanged then.
  void Load(const ConfigurationSection& section);

  [[nodiscard]] bool operator==(const Generators& other) const = default;

 private:
  int base_ = 0;
  std::vector<int> factor_words_;
  std::vector<int> block_words_;
};

}  // namespace zubra
