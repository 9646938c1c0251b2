// One experiment of the worksheet: a row of cells with its number, name, run order and
// inclusion state, in text and JSON row forms.
#pragma once

#include <cstdint>
#include <istream>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "zubra/platform/base/c_fit_method.h"
#include "zubra/platform/util/json.h"
#include "zubra/worksheet/run.h"

namespace zubra {

class ResponseManager;
class ResponseModel;
class Variables;

// A worksheet row with the identity of one experiment. The cells follow the variable set:
// factor i (1..F) in cell i, response k (1..R) in cell F + k.
//
// An experiment is named either by expName or, when useMolName is set, by its molecule name.
// A new experiment is in (included), has run order 0 (none given yet) and empty names.
//
// Text row: the fixed fields, then the cells, separated by one character (TAB in files):
//   expNo, [combinationID when not empty], molName or expName, runOrder, In|Out, cells...
// JSON row: an array of the fixed columns (in the order of a column list) and then the cells.
// The two readers judge the "InOut" field differently on purpose: the text reader accepts
// "In" and "Out" in any case, the JSON reader counts as in only texts that start with "In".
class Experiment : public Run {
 public:
  enum InOutType : std::int32_t { kOut = 0, kIn = 1 };

  // The fixed columns that can precede the cells of a row.
  enum WorksheetColumns : int {
    kExpNo = 0,
    kCombinationID = 1,
    kExpName = 2,
    kMoleculeNames = 3,
    kRunOrder = 4,
    kInOut = 5,
  };

  Experiment(int exp_no, int num_values, bool use_mol_name);

  [[nodiscard]] int ExpNo() const { return exp_no_; }
  void SetExpNo(int exp_no) { exp_no_ = exp_no; }
  [[nodiscard]] const std::string& ExpName() const { return exp_name_; }
  void SetExpName(std::string_view name) { exp_name_ = name; }
  // 0 means no run order given yet.
  [[nodiscard]] int RunOrder() const { return run_order_; }
  void SetRunOrder(int run_order) { run_order_ = run_order; }
  [[nodiscard]] bool IsExcluded() const { return in_out_ == kOut; }
  [[nodiscard]] InOutType GetInOut() const { return in_out_; }
  void SetExcluded(InOutType in_out) { in_out_ = in_out; }
  [[nodiscard]] const std::string& GetCombinationID() const { return combination_id_; }
  void SetCombinationID(std::string_view id) { combination_id_ = id; }
  [[nodiscard]] const std::string& MolName() const { return mol_name_; }
  void SetMolName(std::string_view name) { mol_name_ = name; }
  [[nodiscard]] bool UseMolName() const { return use_mol_name_; }
  void SetUseMolName(bool use) { use_mol_name_ = use; }
  // The name shown for the experiment: the molecule name when useMolName is set, else expName.
  [[nodiscard]] const std::string& DisplayName() const {
    return use_mol_name_ ? mol_name_ : exp_name_;
  }

  // Makes the row hold one cell per factor and, when `responses` is given, one per response
  // of the manager, and sets them missing: the empty text for a qualitative factor, -99 for
  // every other factor and for the responses. Without a manager the cells after the factors
  // are kept as they are. A null `variables` changes nothing.
  void InitEmptyExperiment(const Variables* variables, const ResponseManager* responses);

  // Reads one line: the fixed fields in the order of `columns`, one token each, up to and
  // including the "InOut" column (later columns are not fixed fields), then the cells as
  // Run::Read does. "ExpNo" and "RunOrder" must be integers; "InOut" sets in for "In" and
  // out for "Out" in any case and leaves the state alone for any other text; "Molecule
  // Names" sets useMolName. Returns false (experiment unchanged) at the end of the stream
  // or for a bad integer.
  virtual bool Read(std::istream& in, char separator, const std::vector<WorksheetColumns>& columns);
  bool Read(std::istream& in, char separator) override;
  // Reads the fixed fields as Read does, from a line already split at the separator, and
  // returns the index of the first cell token (at most tokens.size()); the cells are not
  // touched. Nullopt, with the experiment unchanged, for a bad integer.
  std::optional<std::size_t> ReadFixedFields(const std::vector<std::string>& tokens,
                                             const std::vector<WorksheetColumns>& columns);
  // Writes the text row described in the class comment. No line end is written.
  void Write(std::ostream& out, char separator) const override;

  // Reads a JSON row (an array): the fixed columns in the order of `columns`, then the cells,
  // element j after the fixed ones going to cell value_index[j] + 1 (skipped when the index is
  // negative, beyond the row, or when there is no j-th index). "ExpNo" must be a JSON integer
  // and "RunOrder" any number (a floating value is truncated); "InOut" is in exactly when the
  // text starts with "In". A string element makes a text cell, a number a number cell, any
  // other value leaves the cell as it is. Throws Exception for a row that is not an array or
  // holds too few elements, and with the messages "Parse error: experiment number must be an
  // int." and "Parse error: Run order must be an int."; the experiment is unchanged then.
  void FromJson(const json_value& row, const std::vector<WorksheetColumns>& columns,
                const std::vector<int>& value_index);
  // Writes the row in the column order of GetJsonColumns(UseMolName()) followed by every
  // cell: a number (null when missing), a string, or null for an empty cell.
  [[nodiscard]] json_value ToJson() const;
  // The fixed columns ToJson writes: ExpNo, Combination ID, ExpName or Molecule Names,
  // RunOrder, InOut.
  static std::vector<WorksheetColumns> GetJsonColumns(bool use_mol_name);

  // True when the experiment takes no part in fitting `model` for the named `responses`:
  // it is out; or the model leaves its number out; or, when `fit_method` is PLS or more than
  // one response is named, HasAllMissingInBlock; otherwise HasAnyMissing. A null model
  // judges the out state only.
  [[nodiscard]] bool IsExcludedFromModel(const ResponseModel* model,
                                         const std::set<std::string>& responses,
                                         CFitMethod::FitMethod fit_method) const;
  // True when a factor cell lacks a value while the factor is in the model (and is not of
  // the model's tolerated factor class), or when a response named in `responses` (any case)
  // lacks a value. The model's variable set tells factor from response cells; without a
  // model or a set the answer is false.
  [[nodiscard]] bool HasAnyMissing(const ResponseModel* model,
                                   const std::set<std::string>& responses) const;
  // True when a model factor lacks a value (as in HasAnyMissing), or when every response
  // named in `responses` that the variable set holds lacks a value: a block of responses
  // fitted together loses a run only when the run measured none of them.
  [[nodiscard]] bool HasAllMissingInBlock(const ResponseModel* model,
                                          const std::set<std::string>& responses) const;

 private:
  [[nodiscard]] bool HasMissingModelFactor(const ResponseModel& model,
                                           const Variables& variables) const;

  int exp_no_ = 0;
  std::string exp_name_;
  int run_order_ = 0;
  InOutType in_out_ = kIn;
  std::string combination_id_;
  std::string mol_name_;
  bool use_mol_name_ = false;
};

}  // namespace zubra
