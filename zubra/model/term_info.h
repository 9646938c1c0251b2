// Model terms: one term of a regression model in factor space (TermData) and the named,
// ordered term list a model holds (TermInfo), with its matrix expansion and stored form.
#pragma once

#include <array>
#include <memory>
#include <string>
#include <utility>

#include "zubra/platform/matrix/f_matrix.h"
#include "zubra/platform/matrix/itm_data.h"
#include "zubra/platform/matrix/itm_info.h"

namespace zubra {

class ConfigurationSection;

// One model term: the constant, a factor's linear effect, a square, a two-factor interaction,
// a cube or another third-order product, named by three factor numbers.
//
// Each number is the 1-based number of a factor in the investigation's factor list, 0 for an
// empty slot. A term in normal form has its non-zero numbers first, ascending: A*A is
// (1, 1, 0), A*A*B is (1, 1, 2), A*B*C is (1, 2, 3), the constant (0, 0, 0). The item
// number (GetNum) is the term's column in the expanded model; the name is whatever its
// creator gave it (usually the factors' abbreviations joined by "*", "Constant" for the
// constant) and is never recomputed.
//
// A TermData stores the numbers as it is given them; TermInfo normalises them (Normalize)
// before it stores a term.
class TermData final : public ItmData {
 public:
  // The kinds of term, in the order they take in a sorted model.
  enum class Kind {
    kConstant = 0,     // V1 = 0
    kLinear = 1,       // V1 != 0, V2 = 0
    kSquare = 2,       // V1 = V2, V3 = 0
    kInteraction = 3,  // V1 != V2, both non-zero, V3 = 0
    kCube = 4,         // V1 = V2 = V3 != 0
    kThirdOrder = 5,   // any other term with V3 != 0
  };

  TermData() = default;
  TermData(int num, std::string name, int f1, int f2, int f3)
      : ItmData(num, std::move(name)), v1_(f1), v2_(f2), v3_(f3) {}
  TermData(const TermData&) = default;
  TermData& operator=(const TermData&) = default;
  TermData(TermData&&) = default;
  TermData& operator=(TermData&&) = default;
  ~TermData() override = default;

  // Canonical order of a model's terms: by Kind, then V1, V2, V3 ascending. Against an item
  // that is not a term, the item-number order of the base class.
  bool operator<(const ItmData& other) const override;
  // Same three factor numbers; the item number and the name are not compared. False against
  // an item that is not a term.
  bool operator==(const ItmData& other) const override;
  // True only when every slot differs: V1 != V1', V2 != V2' and V3 != V3'. This is
  // deliberately not the negation of operator==: terms that share any one slot value, such as
  // (1, 2, 0) and (1, 3, 0), are neither equal nor unequal. True against an item that is not
  // a term.
  bool operator!=(const ItmData& other) const override;
  [[nodiscard]] std::unique_ptr<ItmData> Clone() const override;
  // The same comparisons between two terms. They spare a term-to-term comparison the C++20
  // ambiguity between the base-class operator and its reversed form.
  bool operator<(const TermData& other) const { return *this < static_cast<const ItmData&>(other); }
  bool operator==(const TermData& other) const {
    return *this == static_cast<const ItmData&>(other);
  }
  bool operator!=(const TermData& other) const {
    return *this != static_cast<const ItmData&>(other);
  }

  [[nodiscard]] int GetV1() const { return v1_; }
  [[nodiscard]] int GetV2() const { return v2_; }
  [[nodiscard]] int GetV3() const { return v3_; }
  // The three factor numbers in slot order.
  [[nodiscard]] std::array<int, 3> GetFactors() const { return {v1_, v2_, v3_}; }
  // Stores the three numbers as they are given (no normalisation).
  void SetFactors(int f1, int f2, int f3);

  // The kind of the term by its numbers as stored, checked in the order of Kind: a term
  // (1, 0, 2), which normal form never gives, counts as linear.
  [[nodiscard]] Kind GetKind() const;

  // Puts three factor numbers into normal form, in place:
  //   1. if f1 > f2 and f2 != 0, swap f1 and f2;
  //   2. if f2 > f3 and f3 != 0, move f2 to the third slot and f3 to the second; then, if f1
  //      is greater than the new f2, swap the first two.
  // A zero is never moved forward, so (0, 2, 1) becomes (0, 1, 2): callers give the non-zero
  // numbers first. Any non-zero numbers given first come out ascending.
  static void Normalize(int& f1, int& f2, int& f3);

 private:
  int v1_ = 0;
  int v2_ = 0;
  int v3_ = 0;
};

// The named, ordered list of a model's terms, numbered from 1.
//
// The list owns its terms. Terms are stored in normal form (TermData::Normalize) and each
// three-number combination at most once; the order is the order of addition until SortItm
// (inherited) puts them in canonical order.
//
// Two fields come on top of the item list:
//   - status: the result of the last DelItm; 0 after construction and copying;
//   - modified: set by every change to the terms (a successful AddItm, DelItm, SetOrder, a
//     term read by Load, and SetTermName, UpdateFactorAdded, UpdateFactorRemoved when they
//     change something), cleared only by ClearIsModified and by construction, copying and
//     moving. The inherited DelAll empties the list without touching it.
// The owner (model specification, response model) reads the flag to know that its model
// changed since it last saved or fitted.
//
// Copies are deep and come out unmodified with status 0; a move gives the same result as a
// copy and leaves the source empty, without a name.
//
// Only terms belong in the list. Items added through the base class that are not TermData
// are not terms to any of the operations here: GetTerm returns null for them, the
// predicates and GetVNum pass them over, Save does not write them and ExpM leaves their
// column at -99.
//
//   TermInfo terms("Process");
//   terms.AddItm(0, "A", 1, 0, 0);
//   terms.AddItm(0, "A*B", 2, 1, 0);     // stored as (1, 2, 0)
//   terms.AddItm(0, "B*A", 1, 2, 0);     // 6009: already present
//   terms.SortItm();
//   terms.SetOrder(1);                   // column numbers 1, 2
class TermInfo : public ItmInfo {
 public:
  // The return code of AddItm for a term that is already in the list.
  static constexpr int kDuplicateTerm = 6009;

  // An empty list with an empty name.
  TermInfo() = default;
  // An empty list with this name (null counts as empty).
  explicit TermInfo(const char* name);
  explicit TermInfo(std::string name) : ItmInfo(std::move(name)) {}
  TermInfo(const TermInfo& other);
  // A copy of `*other`; an empty list with an empty name when `other` is null.
  explicit TermInfo(const TermInfo* other);
  TermInfo(TermInfo&& other) noexcept;
  TermInfo& operator=(const TermInfo& other);
  TermInfo& operator=(TermInfo&& other) noexcept;
  ~TermInfo() override = default;

  // Same number of terms and term i equal to term i (TermData::operator==) for every i. The
  // list names are not compared.
  bool operator==(const TermInfo& other) const;
  bool operator!=(const TermInfo& other) const { return !(*this == other); }

  // Normalises the numbers and appends a term. Returns kDuplicateTerm (6009) when a term with
  // the same three numbers is present, 1 when the term cannot be allocated, each leaving the
  // list and the flags unchanged; otherwise sets modified and returns 0.
  int AddItm(int num, const std::string& name, int f1, int f2, int f3);

  // Removes item i (1-based). Returns 0, or 1 when there is no item i. The result is kept as
  // the status, and modified is set in both cases.
  int DelItm(int i);

  using ItmInfo::GetItm;
  // Copies out term i's item number, name and factor numbers and returns 0; returns 1 and
  // leaves the outputs unchanged when there is no term i.
  int GetItm(int i, int& num, std::string& name, int& f1, int& f2, int& f3) const;

  // Term i (1-based), or null when there is no term i. Valid until that term is removed.
  [[nodiscard]] const TermData* GetTerm(int i) const;

  // Term i's name; empty when there is no term i.
  [[nodiscard]] std::string GetTermNam(int i) const;
  // Renames term i (a null name counts as empty); nothing happens when there is no term i.
  void SetTermName(int i, const char* name);

  // The item number of the first term whose numbers are exactly f1, f2, f3 in that slot
  // order; with `any_order`, of the first term whose numbers are a permutation of them.
  // 0 when there is none. The numbers are not normalised first.
  [[nodiscard]] int GetVNum(int f1, int f2, int f3, bool any_order) const;

  // Numbers the terms first, first + 1, ... in list order. Sets modified, also for an empty
  // list. Returns 0.
  int SetOrder(int first);

  // Follows the insertion of a factor numbered k: every non-zero factor number >= k goes up
  // by 1 (a number already at the largest int stays).
  void UpdateFactorAdded(int k);
  // Follows the removal of factor k: every factor number > k goes down by 1. Terms naming k
  // itself are left as they are; the caller removes them first.
  void UpdateFactorRemoved(int k);

  // With `strict`, true when some term is a pure cube (A*A*A); otherwise when some term has
  // a non-zero V3 (any third-order term).
  [[nodiscard]] bool IsCubic(bool strict) const;
  // True when IsCubic(strict) is. Otherwise, with `strict`, when some term squares a factor
  // (V1 != 0 and V1 = V2, or V2 != 0 and V2 = V3); without, when some term has a non-zero V2
  // (any second-order term, interactions included).
  [[nodiscard]] bool IsQuadratic(bool strict) const;
  // True when some term is a two-factor interaction (V1, V2 non-zero and different, V3 = 0);
  // third-order products do not count.
  [[nodiscard]] bool HasInteraction() const;

  // Appends one column per term to a matrix of factor values (rows are observations,
  // columns the factors by factor number). Column c + i, for a matrix of c columns, receives
  // the values of term i: for each row the product, in slot order, of the row's values in
  // the columns its non-zero factor numbers name, so a square is value(V1) * value(V1) and a
  // linear term is the factor's own value; the constant is 1. The product is -99
  // (kUndefined) when any value it takes is -99 or any number names no column of the
  // matrix; a NaN is not missing and multiplies through.
  //
  // `m` keeps pointing to the same matrix, which is widened in place; the caller owns it
  // before and after the call. Returns 0; returns 1 and does nothing when `m` is null.
  int ExpM(FMatrix*& m) const;

  [[nodiscard]] int GetStatus() const { return status_; }
  [[nodiscard]] bool IsModified() const { return modified_; }
  void ClearIsModified() { modified_ = false; }

  // Replaces the child "TermInfo" of `parent` with this list: key "Name" (the list name) and,
  // for term i, an indexed child "Term" i with "Name", "Num" and those of "V1", "V2", "V3"
  // that are not 0. Any "Term" children under an existing "TermInfo" are removed first, so a
  // flat INI file keeps no stale terms of a longer list. Throws Exception, before anything
  // is changed, when a name holds a NUL character (no stored form carries one). Does nothing
  // for a null parent.
  void Save(ConfigurationSection* parent) const;

  // Reads the list from the child "TermInfo" of `parent`. Returns false, changing nothing,
  // when `parent` is null or has no such child. Otherwise empties the list, takes the name
  // from "Name" when present, and reads the "Term" children that exist in ascending order of
  // their numbers: "Name", "Num" and "V1", "V2", "V3" (absent ones are 0). The numbers are
  // normalised and the term is appended as by AddItm, so a duplicate is skipped silently.
  // Garbled input never throws: a "Num" that is not a whole number reads as 0, and a term
  // whose "V1", "V2" or "V3" is not a whole number or is negative is skipped. Returns true.
  bool Load(const ConfigurationSection* parent);

  // Removes the child "TermInfo" of `parent` and the "Term" children under it, if any.
  static void Remove(ConfigurationSection* parent);

 private:
  int status_ = 0;
  bool modified_ = false;
};

}  // namespace zubra
