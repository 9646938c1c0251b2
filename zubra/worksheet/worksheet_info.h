// The worksheet of an investigation: its experiments, their run order and randomization, the
// worksheet's file and JSON forms and its factor matrix.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zubra/platform/matrix/f_matrix.h"
#include "zubra/platform/util/json.h"
#include "zubra/worksheet/experiment.h"

namespace zubra {

class NCDesign;
class ResponseManager;
class Variables;

// The experiments of one investigation as an ordered list (position 1 first), with an index
// from experiment number to position and a run-order floor.
//
// Ownership. The worksheet owns its experiments. It reads the variable set (and the response
// manager, when given) without owning them; both must outlive it. The set fixes the cells of
// every experiment: factor i in cell i, response k in cell F + k.
//
// Numbers and names. Experiment numbers are unique within the worksheet. New experiments get
// the number one above the largest present and the name "N" followed by the number; when
// experiments are renumbered, a name of that default form follows the new number and any
// other name is kept.
//
// Run order. 0 means "none given yet". Randomization moves only the run orders of eligible
// experiments: included, without any response value yet, and with a run order above the
// run-order floor (0 by default: every given run order may move). Shuffles use our own
// MT19937 and our own uniform draw, so that a seed gives the same permutation on every
// platform. The seed is the one the caller passes; without one it is 1974 while
// GlobalOptions' fixed-seed switch is on, and a fresh random seed otherwise. The seed of the
// last randomization stays readable (GetLastSeed), so that a tool can print it and the same
// run order can be made again from that number.
//
// Whole plots. The runs of a split-plot design belong to whole plots (NCDesign::GetWholePlots):
// they share the settings of the hard-to-change factors and are run one after the other.
// Each experiment keeps the number of its whole plot (0: none). While any eligible
// experiment has one, randomization keeps the whole plots together: the whole plots are run
// in a random order and the runs of each in a random order within it (an experiment without
// a whole plot counts as a plot of its own), and no block randomization follows. The stored
// forms carry the numbers only when some experiment has one.
//
// Centre points. An experiment is a centre point when every controlled quantitative,
// multilevel or time factor (at least one) holds the centre of its range; qualitative and
// mixture factors are not judged.
//
//   WorksheetInfo sheet(&variables, &responses);
//   sheet.CreateFromDesign(design);              // one experiment per run
//   sheet.SetRunOrder(1, -1, -1, true, false);   // run orders 1..n, shuffled
//   std::uint32_t seed = *sheet.GetLastSeed();    // print it with the worksheet; later,
//   copy.RandomizeRunOrder(1, -1, false, seed);   // the same order on an equal worksheet
class WorksheetInfo {
 public:
  // The standard 32-bit Mersenne Twister (MT19937). Ours, so that no standard library can
  // change the sequence.
  class MersenneTwister {
   public:
    explicit MersenneTwister(std::uint32_t seed);
    // The next 32-bit output.
    std::uint32_t operator()();
    // A uniform draw from 0..k-1: no output is used when k <= 1 (the answer is 0); otherwise
    // an output r is accepted when r / k < (2^32 - 1) / k or (2^32 - 1) % k == k - 1, and
    // r % k is returned; rejected outputs are drawn again.
    std::uint32_t Uniform(std::uint32_t k);

   private:
    static constexpr int kSize = 624;
    std::array<std::uint32_t, kSize> state_{};
    int index_ = kSize;
  };

  // The seed of every randomization while the fixed-seed switch is on.
  static constexpr std::uint32_t kSeedForValidation = 1974;

  explicit WorksheetInfo(const Variables* variables = nullptr,
                         const ResponseManager* responses = nullptr);
  WorksheetInfo(const WorksheetInfo& other);
  WorksheetInfo& operator=(const WorksheetInfo& other);
  WorksheetInfo(WorksheetInfo&&) noexcept = default;
  WorksheetInfo& operator=(WorksheetInfo&&) noexcept = default;
  ~WorksheetInfo() = default;

  // Shuffles `values` forward: for i = 1..n-1, j = generator.Uniform(i + 1) and values i
  // and j are swapped. Fewer than two values draw nothing.
  static void Shuffle(std::vector<int>& values, MersenneTwister& generator);
  // The seed of a randomization that is given none: kSeedForValidation while GlobalOptions'
  // fixed-seed switch is on, otherwise a fresh one from the platform's random source.
  static std::uint32_t NewSeed();

  // The default name of a fixed column ("ExpNo", "Combination ID", "ExpName", "Molecule
  // Names", "RunOrder", "InOut"); "" for any other value.
  static std::string GetDefaultColumnName(Experiment::WorksheetColumns column);
  // The column whose default name is `name` (ASCII case ignored); false when none is.
  static bool GetColumnFromName(std::string_view name, Experiment::WorksheetColumns* column);

  // --- Experiments. ------------------------------------------------------------------------

  [[nodiscard]] int GetExperimentCount() const { return static_cast<int>(experiments_.size()); }
  // The experiment at `position` (1-based); null outside 1..GetExperimentCount().
  [[nodiscard]] Experiment* GetExperiment(int position);
  [[nodiscard]] const Experiment* GetExperiment(int position) const;
  // The position of the experiment numbered `exp_no`; 0 when there is none.
  [[nodiscard]] int GetPosition(int exp_no) const;
  [[nodiscard]] Experiment* GetExperimentByNumber(int exp_no);
  // Appends a new empty experiment (InitEmptyExperiment) with the next number and its
  // default name, and returns it.
  Experiment* AddExperiment();
  // Inserts `experiment` before `position` (GetExperimentCount() + 1, or -1, appends).
  // Refuses (false, handing nothing back) a null experiment, a number below 1 or already
  // present, and a position outside 1..count + 1 (other than -1). Appending costs
  // O(log n); inserting before the end renumbers the positions after it, O(n).
  bool InsertExperiment(std::unique_ptr<Experiment> experiment, int position = -1);
  // Removes the experiment at `position`; false when there is none.
  bool RemoveExperiment(int position);
  // Removes every experiment; the run-order floor stays.
  void Clear();
  // Numbers the experiments 1..n by position; default names ("N<old>") follow.
  void RenumberExperiments();

  // --- Cells. ------------------------------------------------------------------------------

  // Sets cell `cell` (1-based) of the experiment at `position` from user text, as
  // Run::SetUnformattedValue does. False when the position or cell does not exist.
  // The cell of a qualitative factor holds text in every form, as its settings are names
  // ("01" is not 1): a text is kept as it is, and a number is kept as its shortest text
  // (a missing number as the empty text). The stored forms read such cells the same way.
  bool SetValue(int position, int cell, std::string_view text);
  bool SetValue(int position, int cell, double value);
  // The same with the cell named by its variable (any case, one trailing "~" ignored); false
  // also for an unknown name.
  bool SetValue(int position, std::string_view variable, std::string_view text);
  bool SetValue(int position, std::string_view variable, double value);
  // The cell index of `variable` (its slot in the variable set); 0 when unknown.
  [[nodiscard]] int GetCellIndex(std::string_view variable) const;
  // The cell as text (Run::GetStringValue) and as a number; "" and kUndefined for a missing
  // position, cell or name.
  [[nodiscard]] std::string GetStringValue(int position, std::string_view variable) const;
  [[nodiscard]] double GetFloatValue(int position, std::string_view variable) const;
  // True when any response cell of the experiment at `position` holds a value.
  [[nodiscard]] bool RunHasResponseValue(int position) const;

  // --- Run order. --------------------------------------------------------------------------

  [[nodiscard]] int GetRunOrderFloor() const { return run_order_floor_; }
  void SetRunOrderFloor(int floor) { run_order_floor_ = floor; }

  // Gives consecutive run orders from `start` (or from `first` when start is -1) to the
  // experiments at positions first..last that have none; those with one keep it and use up
  // no value. Then RandomizeRunOrder(first, last, flag, seed) when `randomize`. last = -1
  // means the last position; first < 1 does nothing; first > last only randomizes (when
  // asked).
  void SetRunOrder(int first, int last, int start, bool randomize, bool flag,
                   std::optional<std::uint32_t> seed = std::nullopt);
  // Shuffles the run orders among the eligible experiments at positions first..last (the set
  // of run orders is kept, only their assignment moves), then applies the first block
  // randomization that exists among "Design set", "$Layer" and "$BlockV", seeded alike. With
  // whole plots the run orders are dealt out plot by plot instead (see Whole plots above).
  // `seed` chooses the generator's seed; without it NewSeed() does (see Run order in the
  // class comment). The seed is recorded for GetLastSeed even when nothing moves (first < 1
  // excepted: that does nothing at all).
  void RandomizeRunOrder(int first, int last, bool flag,
                         std::optional<std::uint32_t> seed = std::nullopt);
  // Shuffles the run orders of the eligible experiments of the whole worksheet within the
  // groups of experiments that share a setting of the factor `factor_name` (a qualitative
  // factor by setting index, any other by the cell's value). Groups are visited in order of
  // their setting (or value) and share one generator, seeded by `seed` or NewSeed(); each
  // group is shuffled as RandomizeRunOrder shuffles. False, nothing changed and no seed
  // recorded, when no variable has that name. `flag` has no effect.
  bool RandomizeBlockedRunorder(const char* factor_name, bool flag,
                                std::optional<std::uint32_t> seed = std::nullopt);
  // The same within the groups given by number: `groups[p - 1]` is the group of the experiment
  // at position p (a design's blocks, say); groups are visited in ascending order. False,
  // nothing changed, when `groups` does not hold one number per experiment.
  bool RandomizeBlockedRunorder(const std::vector<int>& groups, bool flag,
                                std::optional<std::uint32_t> seed = std::nullopt);
  // The seed of the last randomization of this worksheet (RandomizeRunOrder, or
  // RandomizeBlockedRunorder called on its own); nullopt before the first one. Copies keep
  // it; the stored forms do not hold it, and reading one (FromText, FromJson) clears it.
  [[nodiscard]] std::optional<std::uint32_t> GetLastSeed() const { return last_seed_; }

  // True when any experiment is a centre point (see the class comment).
  [[nodiscard]] bool HasCenterPoint() const;
  // True when the experiment at `position` is a centre point.
  [[nodiscard]] bool IsCenterPoint(int position) const;
  // Spreads the centre points over the run order so that curvature and drift show: among
  // the eligible experiments, the c centre points take the run orders of ranks
  // round(k (n - 1) / (c - 1)), k = 0..c-1 (one alone takes the middle rank (n - 1) / 2),
  // of the n run orders sorted ascending, in their present order; the other experiments
  // take the remaining run orders in their present order. False, nothing changed, when there
  // is no eligible centre point or no other eligible experiment.
  bool SetRunOrderToDetectCurvature();

  // --- Making from a design. ---------------------------------------------------------------

  // Replaces the experiments by one per run of `design`, numbered 1..runs and named
  // "N<number>", in order, included and without run order. Each factor of the design
  // (found by name in the variable set) gets its uncoded value; a qualitative factor gets
  // the text of its setting. Factors the design does not name are missing. The run kinds
  // and whole plots are kept (GetRunKind, GetWholePlot). Throws Exception naming a design factor
  // the variable set lacks, with the worksheet unchanged.
  void CreateFromDesign(const NCDesign& design);
  // The kind of the run from which the experiment at `position` was made: "center",
  // "replicate", "axial", "design", or "" when it was not made from a design.
  [[nodiscard]] std::string GetRunKind(int position) const;
  // The whole plot of the experiment at `position`; 0 when it has none or there is no such
  // position.
  [[nodiscard]] int GetWholePlot(int position) const;
  // Puts the experiment at `position` into whole plot `plot` (0: none). False, nothing
  // changed, for a missing position or a negative plot.
  bool SetWholePlot(int position, int plot);
  // True when any experiment has a whole plot.
  [[nodiscard]] bool HasWholePlots() const;

  // --- Factor matrix. ----------------------------------------------------------------------

  // One row per experiment and the expanded columns of every factor
  // (Variables::GetExpandedFactorCount): uncoded, each factor's value (pseudo-components for
  // controlled formulation factors when the set uses them); coded, a numeric factor's value
  // normalized to -1..+1 over its transformed range. A qualitative factor takes the coding
  // row of its setting in both. Missing values are kUndefined.
  [[nodiscard]] FMatrix GetFactorMatrix(bool coded) const;

  // --- Stored forms. -----------------------------------------------------------------------

  // The tab-separated text: a header line with the fixed column names and the variable
  // names, then one line per experiment: "ExpNo", "Combination ID" (only when some
  // experiment has one), "ExpName" (or "Molecule Names" when some experiment is named by
  // its molecule), "WholePlot" (only when some experiment has one), "RunOrder", "InOut",
  // then the cells as Run::Write writes them, numbers in the C locale with 17 significant
  // digits, so that every number reads back exactly.
  [[nodiscard]] std::string ToText() const;
  // Reads ToText's form: the header names the fixed columns (in any order, up to "InOut")
  // and then the variables, matched by name; cells of unknown variables are skipped, and an
  // empty field leaves its cell missing as in a new experiment (the empty text for a
  // qualitative factor, -99 for any other variable). A cell's field is read up to a NUL byte
  // and without the carriage returns that end it.
  // Returns false with `message` (when given) filled, and nothing changed, for a missing
  // fixed "ExpNo" column, a row that does not read (a whole plot must be a whole number,
  // 0 or more), or a repeated experiment number.
  bool FromText(std::string_view text, std::string* message = nullptr);
  // Writes ToText() to `path` atomically; throws Exception when the file cannot be written.
  void WriteFile(const std::string& path) const;
  // Reads a file written by WriteFile; false (nothing changed) when it cannot be read or
  // FromText refuses it.
  bool ReadFile(const std::string& path, std::string* message = nullptr);

  // The JSON form: {"columns": [fixed column names..., variable names...], "valueIndex":
  // [cell index (0-based) of each variable column], "rows": [Experiment::ToJson...],
  // "runOrderFloor": n}, and "wholePlots": [one number per row] when some experiment has a
  // whole plot.
  [[nodiscard]] json_value ToJson() const;
  // Reads the JSON form; variable columns are matched by name ("valueIndex" is recomputed
  // against the present variable set, -1 for unknown names). Throws Exception (worksheet
  // unchanged) for a document without "columns" or "rows" arrays, an unknown fixed column,
  // a bad row, a repeated experiment number, or "wholePlots" that is not an array of one
  // whole number (0 or more) per row.
  void FromJson(const json_value& json);

 private:
  // A new experiment numbered `exp_no` with its default name and every cell missing.
  [[nodiscard]] std::unique_ptr<Experiment> NewExperiment(int exp_no) const;
  // Appends `experiment` with no run kind in O(log n). False, nothing changed, for a
  // number below 1 or one already present.
  bool Append(std::unique_ptr<Experiment> experiment);
  void Reindex();
  // For each cell, true when it belongs to a qualitative factor and so holds text.
  [[nodiscard]] std::vector<bool> TextCells() const;
  [[nodiscard]] int NextExpNo() const;
  [[nodiscard]] bool IsEligible(const Experiment& experiment, int position) const;
  // Shuffles the run orders among the positions of each group, one generator for all, seeded
  // by `seed` or NewSeed(), and records the seed.
  void ShuffleWithinGroups(const std::vector<std::vector<int>>& groups,
                           std::optional<std::uint32_t> seed);
  // Deals the run orders of the eligible experiments at positions first..last out whole
  // plot by whole plot (see Whole plots in the class comment).
  void RandomizeWholePlots(int first, int last, MersenneTwister& generator);
  [[nodiscard]] int ResponseBegin() const;
  [[nodiscard]] std::vector<std::string> CellNames() const;

  const Variables* variables_;
  const ResponseManager* responses_;
  std::vector<std::unique_ptr<Experiment>> experiments_;
  std::vector<std::string> run_kinds_;  // parallel to experiments_
  std::vector<int> whole_plots_;        // parallel to experiments_; 0: none
  std::map<int, int> position_of_;      // experiment number -> 1-based position
  int run_order_floor_ = 0;
  std::optional<std::uint32_t> last_seed_;
};

}  // namespace zubra
