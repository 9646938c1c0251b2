// Linear constraints that cut regions out of the experimental region, with their JSON table and
// their tab-separated text file.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zubra/platform/base/enum_table.h"
#include "zubra/platform/base/undefined.h"
#include "zubra/platform/matrix/f_matrix.h"
#include "zubra/platform/matrix/f_vector.h"
#include "zubra/platform/util/json.h"

namespace zubra {

class DesignFactors;
namespace NCDOE {
class Constraints;
}  // namespace NCDOE

class FactorClass;
class Variables;

// The linear constraints of an investigation.
//
// Each constraint is a linear combination of factor values compared with a limit; the points
// on the stated side of it are excluded from the design: with "<" the points whose combination
// lies below the limit, with ">" those above it. A point exactly on the limit is never
// excluded. Values are untransformed (the units the user typed).
//
// Value names. The constraint factors are the factors of the variable set that
// Variables::IsConstraintFactor accepts (every controlled factor), in slot order; they are
// the "value names", numbered from 1 (ValueName(0) is the empty placeholder). A constraint
// stores one coefficient per value name (GetValue(i) for value index i). UpdateFactorNames
// re-reads the names from the set; existing constraints are not re-indexed, so call it only
// before constraints are made, or rebuild them after it.
//
// Arithmetic. Qualitative factors may carry a coefficient (it makes a constraint valid) but
// take no part in any sum: points, rows, the constraint matrix and the design engine's form
// all skip them, and so do value names whose factor is no longer in the set. A point is
// tested against every constraint with a limit, so a constraint left without a term compares
// the sum 0 with its limit; such a constraint has no row in the constraint matrix and no place
// in the design engine's form.
//
// -99 (kUndefined) marks a coefficient or a limit that is not given; a coefficient that is
// not given counts as 0 in every sum. Constraints are numbered from 1; the container owns
// them, and a pointer to one stays valid until that constraint is removed or the container
// is destroyed, assigned or read anew (FromJson, Read).
//
// The container points to the variable set and never owns it; the set must outlive it. A
// null set gives a container with no value names, whose constraints are never valid.
//
//   ConstraintsInfo info(&variables);          // value names, say, {"A", "B"}
//   ConstraintsInfo::Constraint* c = info.AddConstraint(ConstraintsInfo::kLess);
//   c->SetValue(info.GetIndex("A"), 1.0);
//   c->SetValue(info.GetIndex("B"), 2.0);
//   c->SetLimit(10.0);                         // excludes A + 2B < 10
//   bool out = info.IsConstrained(FVector{2.0F, 3.0F});   // true: 8 < 10
class ConstraintsInfo {
 public:
  // Which side of its limit a constraint excludes. The codes are stored as plain integers.
  enum ExcludeType : std::int32_t {
    kNoOperator = 0,  // a new constraint before its operator is set; it excludes nothing
    kLess = 1,        // "<": points whose combination is below the limit
    kGreater = 2,     // ">": points whose combination is above the limit
  };

  // The operator texts of the stored forms. Reading maps "<" and ">" to their codes and any
  // other text to kNoOperator; writing gives "<" for kLess and ">" for every other code.
  static constexpr auto kOperatorTexts = MakeEnumTable<ExcludeType>({
      {kLess, "<"},
      {kGreater, ">"},
  });

  // One constraint: an exclude type, a limit and one coefficient per value name.
  class Constraint {
   public:
    // A constraint with `value_count` coefficients (a negative count counts as 0), all -99,
    // limit -99 and no operator.
    explicit Constraint(int value_count);

    [[nodiscard]] ExcludeType GetExcludeType() const { return exclude_type_; }
    // Refuses (false, unchanged) a code other than 0, 1, 2.
    bool SetExcludeType(ExcludeType type);

    // The right-hand side; -99 when not given.
    [[nodiscard]] double GetLimit() const { return limit_; }
    // Refuses (false, unchanged) a NaN or an infinity; -99 clears the limit.
    bool SetLimit(double limit);

    [[nodiscard]] int GetNumberOfValues() const { return static_cast<int>(values_.size()); }
    // The coefficient of value index i (1-based); -99 when not given or i is outside
    // 1..GetNumberOfValues().
    [[nodiscard]] double GetValue(int i) const;
    // Sets the coefficient of value index i; -99 clears it. Refuses (false, unchanged) an
    // index outside 1..GetNumberOfValues() and a NaN or an infinity.
    bool SetValue(int i, double value);
    // True when value index i has a coefficient (not -99).
    [[nodiscard]] bool HasValue(int i) const { return !IsUndefined(GetValue(i)); }

    bool operator==(const Constraint&) const = default;

   private:
    ExcludeType exclude_type_ = kNoOperator;
    double limit_ = kUndefined;
    std::vector<double> values_;
  };

  // Binds the container to `variables` (not owned, may be null) and reads the value names.
  explicit ConstraintsInfo(const Variables* variables);
  // Copies are deep: every constraint is copied; the variable set is shared.
  ConstraintsInfo(const ConstraintsInfo& other);
  ConstraintsInfo& operator=(const ConstraintsInfo& other);
  ConstraintsInfo(ConstraintsInfo&& other) noexcept = default;
  ConstraintsInfo& operator=(ConstraintsInfo&& other) noexcept = default;
  ~ConstraintsInfo();

  [[nodiscard]] const Variables* GetVariables() const { return variables_; }

  // Rebuilds the value names from the variable set: the names of the factors that
  // Variables::IsConstraintFactor accepts, in slot order. Constraints are left as they are.
  void UpdateFactorNames();

  [[nodiscard]] int NumConstraints() const { return static_cast<int>(constraints_.size()); }
  [[nodiscard]] int NumValues() const { return static_cast<int>(value_names_.size()); }
  // The name of value index i (1..NumValues()); the empty text for any other i, 0 included.
  [[nodiscard]] const std::string& ValueName(int i) const;
  // The 1-based position of the value name `name` (ASCII case and one trailing "~" ignored, as
  // the variable set looks names up); -1 when it is not a value name, or is empty.
  [[nodiscard]] int GetIndex(std::string_view name) const;

  // Constraint i (1..NumConstraints()); null for any other i, 0 included.
  [[nodiscard]] Constraint* GetConstraint(int i);
  [[nodiscard]] const Constraint* GetConstraint(int i) const;

  // Appends a constraint with NumValues() coefficients, all -99, limit -99 and `type`, and
  // returns it (the container keeps it).
  Constraint* AddConstraint(ExcludeType type);
  // Deletes constraint `index`; the later ones move down by one. False (nothing done) for an
  // index outside 1..NumConstraints().
  bool RemoveConstraint(int index);
  // Deletes the constraint held at `constraint`; false (nothing done) when it is not held here.
  bool RemoveConstraint(const Constraint* constraint);
  void RemoveAllConstraints();

  // True when `factor_name` is a value name and some constraint has a coefficient for it.
  [[nodiscard]] bool HasConstraints(std::string_view factor_name) const;
  // True when some constraint has a coefficient for some value name.
  [[nodiscard]] bool HasAnyConstrains() const;

  // True when every constraint is valid (so also when there are none).
  [[nodiscard]] bool IsValid() const;
  // True when `constraint` has a limit, at least one coefficient, and does not mix mixture
  // factors (formulation, filler) with process factors. A qualitative factor's coefficient
  // counts as a coefficient but belongs to neither side, and so does the coefficient of a
  // value name whose factor is no longer in the set. False for null and when there are no
  // value names.
  [[nodiscard]] bool IsValid(const Constraint* constraint) const;

  // True when the point `x` lies in the excluded region of some constraint. `x` holds one
  // untransformed value per value name, value index i at x(i); values beyond x's size count
  // as 0. Constraints without a limit, without an operator, or without a coefficient on a
  // non-qualitative factor exclude nothing; the comparisons are strict, so a point exactly on
  // a limit stays.
  [[nodiscard]] bool IsConstrained(const FVector& x) const;
  // True when the worksheet-style `row` lies in the excluded region. The row holds the factors
  // of `variables` in slot order, one column each, or, with `expanded`, as many columns as the
  // factor occupies in the expanded matrix (FactorClass::GetExpandedCount; a factor's value is
  // read from its first column). Each constraint factor's value is taken in turn; with
  // `transformed` the values of transformed factors are carried back to the original scale
  // first. The row must hold every column of the walk. False at once when there are no
  // constraints or `row` is null.
  [[nodiscard]] bool IsConstrained(const float* row, const Variables& variables, bool transformed,
                                   bool expanded) const;

  // The constraints as a matrix, or null when no constraint has a coefficient on a
  // non-qualitative constraint factor. One row per such constraint, in order; one column per
  // non-qualitative value name (in value order), then one for the limit. Every row is
  // oriented alike: sum(row[j] * x[j]) + row[last] is positive on the side a point x may lie
  // and negative on the excluded side (a point on the limit gives 0 and stays). So "<" rows
  // hold the coefficients and -limit, ">" rows (and rows without an operator) the negated
  // coefficients and +limit. A coefficient of -99 gives 0; a limit of -99 is written
  // as it is. The caller owns the matrix.
  [[nodiscard]] std::unique_ptr<FMatrix> CreateConstraintMatrix() const;

  // The 1-based indices, ascending, of the rows of `m` that lie in the excluded region of some
  // constraint; each row is a point as for IsConstrained(const FVector&) (one column per value
  // name). Null for a null matrix. The caller owns the vector.
  [[nodiscard]] std::unique_ptr<std::vector<int>> GetConstraintRows(const FMatrix* m) const;

  // The constraints in the design engine's form: for each constraint a less-than flag (exclude
  // type "<"), its limit, and a (design index, coefficient) pair for every non-qualitative
  // factor with a coefficient that takes part in `factors`. Constraints left without a pair
  // are left out; null when there are no constraints or none yields a pair. The caller owns
  // the result.
  [[nodiscard]] std::unique_ptr<NCDOE::Constraints> ToNCConstraint(
      const DesignFactors& factors) const;

  // JSON table:
  //   {"columns": [value names..., "Operator", "Limit"],
  //    "data": [[coefficient or "", ..., "<" or ">", limit or ""], ...]}
  // A coefficient or limit of -99 is written as the empty string; a constraint without an
  // operator is written with ">".
  [[nodiscard]] json_value ToJson() const;
  // Replaces the constraints by those of the table. Columns are matched by name: "Operator"
  // and "Limit" exactly (the last column so named counts), every other through GetIndex;
  // columns that name no value are ignored. In each row a number sets a coefficient and
  // anything else leaves it -99; the operator cell "<" or ">" sets the exclude type, anything
  // else leaves none.
  // Throws Exception "Parse error. Constraint operator and/or limits columns missing." when
  // `json` has no "columns" array with both names (the constraints are then unchanged), and
  // "Parse error. Constraint limit value should be a number." for a row whose limit cell is
  // missing or not a number: the constraints of the rows before it stay, the failing row and
  // those after it are not added.
  void FromJson(const json_value& json);

  // Writes the constraints to the tab-separated text file at `path`, lines ended by a line
  // feed:
  //   Inc/Excl<TAB>A<TAB>B<TAB><TAB>Limits
  //   Excl<TAB>1<TAB>2<TAB><<TAB>10
  // one name per value, then an operator column with an empty header cell and the limit
  // column; a coefficient or limit of -99 is an empty cell; numbers take the shortest text
  // that reads back exactly, with a decimal point. The file is replaced atomically: on any
  // failure the old file stays as it was and false is returned. Also false, with nothing
  // written, for a null path or when a value name holds a tab or a line break.
  bool Write(const char* path) const;
  // Replaces the constraints by those of the tab-separated text file at `path`.
  // The header is the first line, blank or not (a blank one names neither column below, so
  // such a file is refused); its cells are trimmed and compared
  // without regard to ASCII case with "Operator" (the operator column) and with "Limits" or
  // "Limit" (the limit column; when a name repeats, the last column counts); every other cell
  // goes through GetIndex, and columns that name no value are ignored. Each further line that
  // is not blank becomes one constraint: "<" or ">" in the operator cell sets the exclude
  // type (anything else leaves none); an empty or missing cell leaves its coefficient or
  // limit -99; extra cells are ignored. Numbers are read independently of the locale, with a
  // decimal point or a decimal comma ("2,5"). A UTF-8 byte-order mark is skipped, and LF,
  // CRLF and CR line ends are all accepted.
  // Returns false and changes nothing when the file cannot be read, has no header, lacks the
  // operator or the limit column, or holds a coefficient or limit cell that is not a number
  // (a constraint silently read without one of its terms would exclude the wrong region).
  // The header that Write emits has no "Operator" cell: such a file is read back only after
  // the operator column is named.
  bool Read(const char* path);

 private:
  // A non-qualitative constraint factor still present in the set, with its value index.
  struct ArithmeticFactor {
    int value_index;
    const FactorClass* factor;
  };

  // The value names whose factor is in the set and is not qualitative, in value order: the
  // terms that take part in sums (and, later, in the design engine's form).
  [[nodiscard]] std::vector<ArithmeticFactor> ArithmeticFactors() const;
  // True when the point of `size` values at `x` (x[0] is value index 1) is excluded by some
  // constraint, summing over `terms` only.
  [[nodiscard]] bool Excludes(const float* x, int size,
                              const std::vector<ArithmeticFactor>& terms) const;

  // Constraint i and value name i sit at position i - 1; position 0 of the numbering is a
  // placeholder that is not stored, so a moved-from container is simply empty.
  const Variables* variables_;
  std::vector<std::unique_ptr<Constraint>> constraints_;
  std::vector<std::string> value_names_;
};

static_assert(ConstraintsInfo::kOperatorTexts.IsOneToOne());

}  // namespace zubra
