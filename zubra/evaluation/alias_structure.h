// AliasStructure: what a regular two-level fractional factorial confounds, read from its
// generators.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "zubra/platform/design/generators.h"

namespace zubra {

// The alias structure of the design that `generators` describe (Generators: base factors
// A, B, ... forming a full factorial, each further factor the product of some of them, block
// words over the base factors).
//
// An effect is a word, a bit set over the design's factors (bit 0 is the first factor, letter
// A; GetLetter names them). The defining relation is the set of words equal to the identity
// I on every run: every product of the generating words F_j * (word of F_j). Two effects are
// aliased (their columns are equal in every run) when their product is a defining word; all
// generators are positive, so aliased columns are equal, never opposite. The word-length
// pattern (A[j] = defining words of j letters) and the resolution (the shortest length) are
// those of Generators. An effect is confounded with blocks when its product with some
// product of block words is I or a defining word.
//
// The aliases listed are those of at most GetMaxLength() letters (3 by default: main effects
// and two- and three-factor interactions), shortest first, then in the order of their words.
//
//   AliasStructure aliases(Generators(4, {0b0111, 0b1110}, {}));   // 2^(6-2): E=ABC, F=BCD
//   aliases.GetTexts(nullptr);   // "I = ABCE = BCDF = ADEF", "A = BCE = DEF", ...
class AliasStructure {
 public:
  using Word = std::uint32_t;
  static constexpr int kDefaultMaxLength = 3;
  // The defining relation is kept whole up to this many words; beyond it only the words that
  // can alias two effects of at most GetMaxLength() letters are kept.
  static constexpr int kMaxDefiningWords = 4095;

  struct Effect {
    Word word = 0;
    // The effects aliased with it, of at most GetMaxLength() letters.
    std::vector<Word> aliases;
    bool confounded_with_blocks = false;
  };

  // Throws Exception "There are no generators to read an alias structure from." when
  // `generators` is empty. `max_length` is clamped into 1..factor count.
  explicit AliasStructure(const Generators& generators, int max_length = kDefaultMaxLength);

  [[nodiscard]] int GetFactorCount() const { return factors_; }
  [[nodiscard]] int GetMaxLength() const { return max_length_; }
  [[nodiscard]] int GetResolution() const { return resolution_; }
  // A[j], j = 0..GetFactorCount().
  [[nodiscard]] const std::vector<int>& GetWordLengthPattern() const { return pattern_; }
  // The defining words, shortest first, then in the order of their words. Complete when
  // IsDefiningRelationComplete(); otherwise the words of at most GetMaxLength() + 2 letters.
  [[nodiscard]] const std::vector<Word>& GetDefiningRelation() const { return defining_; }
  [[nodiscard]] bool IsDefiningRelationComplete() const { return complete_; }
  // One per factor, in factor order.
  [[nodiscard]] const std::vector<Effect>& GetMainEffects() const { return main_; }
  // One per pair of factors: AB, AC, ..., BC, ...
  [[nodiscard]] const std::vector<Effect>& GetTwoFactorInteractions() const { return pairs_; }
  // The effects of at most GetMaxLength() letters confounded with blocks; empty without
  // block words.
  [[nodiscard]] const std::vector<Word>& GetBlockEffects() const { return block_effects_; }

  // The word's letters ("ABC"; "I" for the empty word), or with `names` (one per factor)
  // the names joined by "*".
  [[nodiscard]] std::string WordText(Word word, const std::vector<std::string>* names) const;
  // "A = BCE = DEF", followed by " = Blocks" when the effect is confounded with blocks.
  [[nodiscard]] std::string EffectText(const Effect& effect,
                                       const std::vector<std::string>* names) const;
  // The defining relation ("I = ABCE = ..."), then one line per main effect and one per
  // chain of two-factor interactions: an interaction named in an earlier line (as CE is in
  // "AB = CE") gets no line of its own.
  [[nodiscard]] std::vector<std::string> GetTexts(const std::vector<std::string>* names) const;

 private:
  int factors_ = 0;
  int max_length_ = kDefaultMaxLength;
  int resolution_ = 0;
  bool complete_ = true;
  std::vector<int> pattern_;
  std::vector<Word> defining_;
  std::vector<Effect> main_;
  std::vector<Effect> pairs_;
  std::vector<Word> block_effects_;
};

}  // namespace zubra
