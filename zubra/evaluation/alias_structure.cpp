#include "zubra/evaluation/alias_structure.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <set>
#include <unordered_set>

#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

using Word = AliasStructure::Word;

// Shortest first, then by the word's value.
bool Shorter(Word a, Word b) {
  const int la = std::popcount(a);
  const int lb = std::popcount(b);
  return la != lb ? la < lb : a < b;
}

// Calls `visit` with every product of the words in `generators` (2^n - 1 of them), walking
// them in Gray-code order.
template <typename Visit>
void ForEachProduct(const std::vector<Word>& generators, Visit&& visit) {
  Word product = 0;
  const auto n = static_cast<unsigned>(generators.size());
  for (unsigned long long s = 1; s < (1ULL << n); ++s) {
    product ^= generators[static_cast<std::size_t>(std::countr_zero(s))];
    visit(product);
  }
}

}  // namespace

AliasStructure::AliasStructure(const Generators& generators, int max_length) {
  if (generators.IsEmpty()) {
    throw Exception(
        ExceptionMessage::translate("There are no generators to read an alias "
                                    "structure from."));
  }
  factors_ = generators.GetFactorCount();
  max_length_ = std::clamp(max_length, 1, factors_);
  resolution_ = generators.GetResolution();
  pattern_ = generators.GetWordLengthPattern();

  const int base = generators.GetBaseFactors();
  std::vector<Word> words;
  for (std::size_t j = 0; j < generators.GetFactorWords().size(); ++j) {
    words.push_back(static_cast<Word>(generators.GetFactorWords()[j]) |
                    (Word{1} << (base + static_cast<int>(j))));
  }
  const unsigned long long count = (1ULL << words.size()) - 1;
  complete_ = count <= static_cast<unsigned long long>(kMaxDefiningWords);
  // An effect of at most two letters and an alias of at most max_length letters differ by a
  // word of at most max_length + 2 letters.
  const int useful = max_length_ + 2;
  std::vector<Word> short_words;
  ForEachProduct(words, [&](Word w) {
    if (complete_ || std::popcount(w) <= useful) defining_.push_back(w);
    if (std::popcount(w) <= useful) short_words.push_back(w);
  });
  std::sort(defining_.begin(), defining_.end(), Shorter);

  std::vector<Word> block_group;
  std::vector<Word> block_words;
  for (const int b : generators.GetBlockWords()) block_words.push_back(static_cast<Word>(b));
  ForEachProduct(block_words, [&](Word w) { block_group.push_back(w); });
  std::set<Word> confounded;
  const auto collect = [&](Word defining) {
    for (const Word b : block_group) {
      const Word effect = b ^ defining;
      if (effect != 0 && std::popcount(effect) <= max_length_) confounded.insert(effect);
    }
  };
  if (!block_group.empty()) {
    collect(0);
    ForEachProduct(words, collect);
  }
  block_effects_.assign(confounded.begin(), confounded.end());
  std::sort(block_effects_.begin(), block_effects_.end(), Shorter);

  const auto make = [&](Word word) {
    Effect effect;
    effect.word = word;
    for (const Word w : short_words) {
      const Word alias = word ^ w;
      if (std::popcount(alias) <= max_length_) effect.aliases.push_back(alias);
    }
    std::sort(effect.aliases.begin(), effect.aliases.end(), Shorter);
    effect.confounded_with_blocks = confounded.count(word) > 0;
    return effect;
  };
  for (int a = 0; a < factors_; ++a) main_.push_back(make(Word{1} << a));
  for (int a = 0; a < factors_; ++a) {
    for (int b = a + 1; b < factors_; ++b) pairs_.push_back(make((Word{1} << a) | (Word{1} << b)));
  }
}

std::string AliasStructure::WordText(Word word, const std::vector<std::string>* names) const {
  if (word == 0) return "I";
  std::string text;
  for (int f = 0; f < factors_; ++f) {
    if (((word >> f) & 1U) == 0) continue;
    if (names != nullptr && static_cast<int>(names->size()) == factors_) {
      if (!text.empty()) text += "*";
      text += (*names)[static_cast<std::size_t>(f)];
    } else {
      text += Generators::GetLetter(f);
    }
  }
  return text;
}

std::string AliasStructure::EffectText(const Effect& effect,
                                       const std::vector<std::string>* names) const {
  std::string text = WordText(effect.word, names);
  for (const Word alias : effect.aliases) text += " = " + WordText(alias, names);
  if (effect.confounded_with_blocks) text += " = Blocks";
  return text;
}

std::vector<std::string> AliasStructure::GetTexts(const std::vector<std::string>* names) const {
  std::vector<std::string> texts;
  std::string relation = "I";
  for (const Word w : defining_) relation += " = " + WordText(w, names);
  if (!complete_) relation += " = ...";
  texts.push_back(std::move(relation));
  // Each chain is listed once: a two-factor interaction already named in an earlier line
  // (AB = CE gives CE) would only repeat that line with its effects in another order.
  std::unordered_set<Word> named;
  const auto add = [&](const Effect& effect) {
    texts.push_back(EffectText(effect, names));
    named.insert(effect.word);
    named.insert(effect.aliases.begin(), effect.aliases.end());
  };
  for (const Effect& effect : main_) add(effect);
  for (const Effect& effect : pairs_) {
    if (!named.contains(effect.word)) add(effect);
  }
  return texts;
}

}  // namespace zubra
