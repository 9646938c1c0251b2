// ModelSpec: the investigation's design set-up: the chosen design family and its settings, the
// model types and term list, and the generated (or custom) designs with their statistics.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "zubra/model/objective.h"
#include "zubra/model/term_info.h"
#include "zubra/platform/design/design_statistics.h"
#include "zubra/platform/design/e_design.h"
#include "zubra/platform/design/e_model.h"
#include "zubra/platform/design/generators.h"
#include "zubra/platform/design/nc_design.h"
#include "zubra/platform/design/split_plot_options.h"
#include "zubra/platform/matrix/nc_data_matrix.h"

namespace zubra {

class ConfigurationSection;
class ConstraintsInfo;
namespace NCDOE {
class Constraints;
}  // namespace NCDOE
class DesignBuilder;
class DOptimalOptions;
class StreamWindow;
class Variables;

// The design set-up of an investigation, on top of its Objective (which holds the objective,
// the design options and the factor extract).
//
// Design. The current design is a design type with a design name; together they select the
// builder of the engine's catalogue (AllDesigns::GetDesignBuilder) that answers every question
// whether a setting is legal. The settings live in the objective's design options: runs (0
// for the builder's default), total centre points over all blocks, blocks, replicates,
// replicated runs, star distance, the process and mixture model types, and the options of the
// design family (process-mixture, layered, optimal or plate options: the kind that goes with
// the design type is created by ChangeCurrentDesign).
//
// Terms. One term list (TermInfo, named "Model") holds the model the investigation is judged
// by: its terms name factors by their factor numbers (1-based, in the variable set's factor
// order), process, mixture and crossed terms together. Choosing a model type (SetProcessModel,
// SetMixtureModel, SetPMInteraction and the Change* forms) rebuilds it as the default model
// of the factors (see MakeDefaultModel); AddTerm, DeleteTerm and SetTermInfo edit it freely,
// and the optimal designs are then built for the edited list.
//
// Designs. The set-up keeps a list of generated designs (GenerateDesign and AddDesign append,
// numbered from 1) of which one is selected; the selected design is "the" design: its matrix,
// statistics (for the term list's model) and type. A custom design matrix set by the user
// replaces the list by one design of its own. Every accepted change that alters the design
// (type, runs, centre points, blocks, block interactions, replicates, models, terms, star
// distance, layers, generators, factors) discards every design and the statistics, so
// GenerateDesign must run again.
//
// Ownership: the set-up points to the variable set (not owned; see Objective). Designs are
// shared with the caller (std::shared_ptr); GetDesignStatistics returns a pointer owned by
// the set-up, valid until the next change that discards the design.
//
// Persistence (Save/Load): the child "NewModelSpec" of the investigation's section holds
// "Design" (the design type's text), "DesignName", "DesignData", the objective's keys (the
// design options as DesignOptions::Save writes them, "IsScoreImported", "REDMUPSubModel",
// "ImportedFromJson"), "BlockInteractions", "UseAdjustments", "PMInteraction", the term list
// as a "TermInfo" child, a "Statistics" child when there are statistics, and a "Designs" child
// with the designs (see SaveDesigns in the source). Save also writes the objective's own
// "DesignSpec" child, so an objective alone can read the file. Older files are read by
// LoadOld (the child "ModelSpec") and LoadReallyOld (the model keys of the oldest INI files).
//
//   ModelSpec spec(&variables, section);
//   spec.Init(false);                                    // what the file holds, or defaults
//   spec.ChangeCurrentDesign(EDesign::kCentralComposite, "CCF", EObjective::kRSM,
//                            EModel::kQuadratic, true);
//   std::string why;
//   if (spec.IsLegal(spec.GetObjective(), why)) spec.GenerateDesign(&constraints, nullptr);
class ModelSpec : public Objective {
 public:
  // The most factors a response-surface design may have.
  static constexpr int kMaxRSMFactors = 32;

  // A set-up over `variables` with the default objective, design options and model; call
  // Init to read the shared section. `redmup_factors` restricts the factors as for Objective.
  ModelSpec(Variables* variables, std::shared_ptr<ConfigurationSection> section,
            const std::vector<unsigned long long>* redmup_factors = nullptr);
  // A copy of `other`: objective, design, settings, terms, designs (shared) and statistics.
  explicit ModelSpec(const ModelSpec* other);
  ~ModelSpec() override;

  // --- Objective hooks. -----------------------------------------------------------------------

  // Also drops the designs and puts back the default design choice and model.
  void Clear() override;
  // Writes "DesignSpec" (Objective::Save) and "NewModelSpec" into `section`. Null does nothing.
  void Save(ConfigurationSection* section) override;
  // Removes "DesignSpec", "ModelSpec" and "NewModelSpec" from `section`.
  void Remove(ConfigurationSection* section) override;
  // InitFrom the shared section.
  bool Init(bool strict) override;
  // The objective (InitObjectiveFrom), then the set-up from `section`: Load, else LoadOld,
  // else LoadReallyOld; when none of them finds anything, the best design for the objective
  // with its default model. Returns what InitObjectiveFrom returned.
  bool InitFrom(const ConfigurationSection* section, bool strict);
  // Picks the default models of `type` (SetDefaultModelsForObjective) and the best design of
  // the catalogue for them, and rebuilds the term list.
  void ObjectiveHasChanged(EObjective::Type type, bool notify) override;

  // --- The current design. --------------------------------------------------------------------

  [[nodiscard]] EDesign::Type GetDesignType() const { return design_type_; }
  [[nodiscard]] const std::string& GetDesignName() const { return design_name_; }
  // The builder of the current design type and name, or null when there is none (no design
  // chosen, or a type the catalogue does not know). It belongs to the catalogue.
  [[nodiscard]] const DesignBuilder* GetDesignBuilder() const;

  // Makes `type` (with the builder named `name`) the current design, for `objective` and
  // `model` (the process model when there are process factors, the mixture model when there
  // are mixture factors). With `keep_settings`, every setting that stays legal for the new
  // design is kept and the others are clamped: runs that the design does not offer become its
  // default, blocks it does not offer become 1, centre points at least its minimum (none when
  // it allows none), replicated runs at most the runs. Without it the design's own defaults
  // are taken. The design options get the family's own options (kept when already of that
  // kind). Returns false, changing nothing, when the catalogue has no such design or the
  // design does not accept the factors with these settings; true otherwise (the designs are
  // discarded and the term list rebuilt when the model changed).
  bool ChangeCurrentDesign(EDesign::Type type, const std::string& name, EObjective::Type objective,
                           EModel::Type model, bool keep_settings);
  // The same with both model types given (each stored only when the factors have its kind).
  bool ChangeCurrentDesign(EDesign::Type type, const std::string& name, EObjective::Type objective,
                           EModel::Type process_model, EModel::Type mixture_model,
                           bool keep_settings);
  // Stores the objective and the model types (the process model when there are process
  // factors, the mixture model when there are mixture factors) with no check and no
  // discarding.
  void ChangeSettingsWithoutSynch(EObjective::Type objective, EModel::Type model);
  // Sets `objective` without notification and the default models for it, keeping the current
  // design (the design wizard picks the design next). Rebuilds the term list.
  void SetObjectiveForDesignWizard(EObjective::Type objective);
  // When a builder exists, lowers the runs to the largest the builder offers for the factors.
  void AssureMaxRuns();
  // Leaves the set-up without a design and gives it back the settings a set-up without one
  // still holds: the runs, the total centre points, the blocks and both model types of
  // `settings`, taken as they are, since there is no builder to judge them (the setters below
  // refuse them for that reason). A set-up keeps these when its objective or factors leave no
  // design to serve it, and its stored forms hold them; a reader of such a form uses this to
  // give them back, as Load does from the stored design options. The objective, the most runs,
  // the other settings and the family's options of `settings` are not taken. The designs are
  // discarded; the term list is rebuilt when a design was dropped or a model changed.
  void RestoreWithoutDesign(const DesignOptions& settings);
  // The same for a set-up that holds the design of `type` and `name` although its factors,
  // objective or models cannot carry it (a stored set-up edited or damaged since; IsLegal
  // says why): the design is made current without the builder's check, with the settings
  // RestoreWithoutDesign takes. False, nothing changed, when the catalogue has no such design.
  bool RestoreUnusableDesign(EDesign::Type type, const std::string& name,
                             const DesignOptions& settings);
  // True when the current design could be chosen again as it is chosen anew
  // (ChangeCurrentDesign with the objective and models held, from the family's default
  // settings); false without a design, and for a stored design the set-up cannot carry.
  [[nodiscard]] bool IsDesignChoosable() const;

  // --- Settings. -------------------------------------------------------------------------------

  // The runs of the design proper (0: the builder's default).
  [[nodiscard]] int GetRuns() const { return GetDesignOptions().GetRuns(); }
  // False when there is no builder. With `check`, false (nothing stored) when the builder
  // refuses the options with `runs` runs for the factors. Otherwise stores `runs`.
  bool SetRuns(int runs, bool check);
  // The total centre points over all blocks.
  [[nodiscard]] int GetCenterPoints() const { return GetDesignOptions().GetCenterPoints(); }
  // `per_block` centre points in each block: false when there is no builder, or when
  // per_block x blocks is below the builder's minimum (nothing changes); otherwise the total
  // is stored.
  bool SetCenterPoints(int per_block);
  [[nodiscard]] std::size_t GetBlocks(bool /*unused*/ = false) const {
    return GetDesignOptions().GetBlocks();
  }
  // False unless `blocks` is in GetAvalibleBlocks(); true at once when it is the current
  // count. Otherwise the count is stored and the centre points are set again at the old
  // number per block; the result is that of SetCenterPoints (on false the new block count
  // stays: the caller then sets centre points the new blocks accept).
  bool SetBlocks(std::size_t blocks);
  // The block counts offered for the current design, always beginning with 1 (see the source
  // for the table per design type). For D-optimal designs the counts are also those that the
  // builder can generate for the current runs.
  [[nodiscard]] std::vector<std::size_t> GetAvalibleBlocks() const;
  [[nodiscard]] bool GetBlocksInteractions() const { return block_interactions_; }
  // Always true; a change is stored and, with two or more blocks, discards the designs.
  bool SetBlocksInteractions(bool value);
  // True when a design of `design` type in `blocks` blocks can carry block interactions for
  // model `model`: only type 14, with model 2 for 2..20 blocks, with model 3 for 4, 7, 9, 10,
  // 12, 13, 14, 15, 16, 18, 19 or 20 blocks.
  static bool IsBlockInteractonPossible(int blocks, EDesign::Type design, int model);
  [[nodiscard]] int GetReplicates() const { return GetDesignOptions().GetReplicates(); }
  // False for a negative count; otherwise stores it.
  bool SetReplicates(int replicates);
  [[nodiscard]] int GetReplicatedRuns() const { return GetDesignOptions().GetReplicatedRuns(); }
  // Stores the count without a check against the design (a negative count is not stored).
  void SetReplicatedRuns(int runs);
  [[nodiscard]] float GetStarDistance() const { return GetDesignOptions().GetStarDistance(); }
  // True for 0 < distance <= 5. Otherwise false, and `message` (when given) receives "The star
  // distance must be a number between 0 and 5.".
  static bool ValidateStarDistance(float distance, std::string* message);
  // Validates as above and stores an accepted distance.
  bool SetStarDistance(float distance, std::string* message);
  // Only when the design options hold layered-design options: the layered builder sets
  // `layers` layers; false otherwise or when it refuses.
  bool SetLayers(int layers);
  // The optimal-design options of the selected design (D-, I- or A-optimal), or nullptr when
  // it has none. Owned by the model specification; valid until the design or its options
  // change.
  [[nodiscard]] const DOptimalOptions* GetOptimalOptions() const;
  // Only when the design options hold optimal-design options: stores the number of whole plots
  // of a split-plot design (0: the builder chooses) and the ratio of the whole-plot variance
  // to the run variance it is optimised for. False, nothing changed, otherwise or when a value
  // is out of range (DOptimalOptions::SetWholePlots, SetVarianceRatio).
  bool SetWholePlots(int whole_plots, double variance_ratio);
  [[nodiscard]] bool GetUseAdjustments() const { return use_adjustments_; }
  void SetUseAdjustments(bool value) { use_adjustments_ = value; }

  // --- Model types. -----------------------------------------------------------------------------

  [[nodiscard]] EModel::Type GetProcessModel() const {
    return GetDesignOptions().GetProcessModel();
  }
  [[nodiscard]] EModel::Type GetMixtureModel() const {
    return GetDesignOptions().GetMixtureModel();
  }
  // Mixture factors only: the process model becomes kNone, true. Design type 26: `model` is
  // stored, true. Otherwise the builder is asked whether the options with `model` are valid:
  // if so a changed model is stored, true; if not (or there is no builder), false. A stored
  // change discards the designs and rebuilds the term list.
  bool SetProcessModel(EModel::Type model);
  // True at once when `model` is the current one. Without mixture factors the process-mixture
  // flag is cleared. Then as SetProcessModel, for the mixture model.
  bool SetMixtureModel(EModel::Type model);
  // The crossing flag of the process-mixture options when the design has them; otherwise the
  // builder's answer for the factors and options, or, for the optimal designs, the set-up's
  // own flag (which chooses the crossed default model); false when there is no builder.
  [[nodiscard]] bool IsPMInteraction() const;
  // Always true; a change is stored (in the process-mixture options when the design has them,
  // else in the set-up's own flag), discards the designs and rebuilds the term list.
  bool SetPMInteraction(bool value);
  // The user-facing forms: like the setters, but when the current design cannot carry the
  // model the best design of the catalogue that can is chosen instead; false (nothing
  // changed) when no design can.
  bool ChangeProcessModel(EModel::Type model);
  bool ChangeMixtureModel(EModel::Type model);
  bool ChangePMInteraction(bool value);

  // Whether the process (mixture) model `model` is offered under `objective` with the current
  // factors, maximum runs and catalogue (the tables in the source).
  [[nodiscard]] bool IsProcessModelAvailable(EObjective::Type objective, EModel::Type model) const;
  [[nodiscard]] bool IsMixtureModelAvailable(EObjective::Type objective, EModel::Type model) const;
  // The number of terms of model `model` in `factors` factors: linear k + 1, interaction
  // k(k-1)/2 + k + 1, quadratic k(k-1)/2 + 2k + 1; -1 for any other model.
  static int GetDefaultNoModelTerms(EModel::Type model, int factors);
  // The models a new objective starts with: screening and robustness linear (process and
  // mixture), RSM and optimization quadratic (process and mixture), process-mixture linear
  // process and quadratic mixture models. Models of a kind the factors lack are kNone.
  void SetDefaultModelsForObjective(EObjective::Type objective);

  // --- Terms.
  // --------------------------------------------------------------------------------------

  [[nodiscard]] const TermInfo& GetTermInfo() const { return terms_; }
  // True when the term list was edited (it differs from the default model of the factors).
  [[nodiscard]] bool IsTermListEdited() const { return terms_edited_; }
  // Replaces the term list: false (nothing changed) when a term names a number that is not a
  // factor of the set. Names are rebuilt from the factors; the designs are discarded.
  bool SetTermInfo(const TermInfo& terms);
  // Adds a term given as a 1-based array (element 0 unused, elements 1..3 factor numbers):
  // 0 when added, 6009 when present, 1 when it names a number that is not a factor. The name
  // is MakeTermString's.
  int AddTerm(const int* term);
  // Removes the term (any order of its numbers): 0, or 1 when it is not in the list.
  int DeleteTerm(const int* term);
  // Rebuilds the term list as the default model of the factors for the model types: for
  // process factors linear, interaction or quadratic (no squares of qualitative factors); for
  // mixture factors the canonical mixture models without constant (linear, quadratic, special
  // cubic, full cubic); with both kinds the mixture terms, then the process terms, crossed with
  // each component when IsPMInteraction(); for the stability designs their own model.
  void MakeDefaultModel();
  // The terms whose power the analysis reports: every term of the list but the constant,
  // numbered by their model columns (SetTermIndexOrder).
  [[nodiscard]] TermInfo GetPowerTerms() const;
  // Numbers the terms by their first column in the expanded model: the constant 1, and each
  // term after it by the columns the ones before take (a qualitative factor of L settings
  // takes L - 1 columns, a product of qualitative factors the product of theirs).
  void SetTermIndexOrder();

  // Counts the term's factors (1-based array): type codes 4 and 5 count as mixture, the
  // others as process; writes the counts where the pointers are given; true when both are
  // non-zero. Numbers that name no factor are not counted.
  bool IsMixtureProcessTerm(const int* term, int* process_count, int* mixture_count) const;
  // False when the first number is 0; otherwise true when every non-zero number names a
  // formulation factor (type code 4; a filler makes it false).
  [[nodiscard]] bool IsPureMixtureTerm(const int* term) const;
  // Sorts the numbers of a 1-based term array ascending, zeros behind the non-zero ones.
  static void SortTerm(int* term);
  // The term's name: "Constant" for a term of zeros, otherwise the transformed abbreviations
  // of the factors, in slot order, joined by "*" (a square repeats the abbreviation). A number
  // that names no factor gives "?" in its place.
  static std::string MakeTermString(const Variables* variables, const int* term);
  static std::string MakeTermString(const Variables* variables, int f1, int f2, int f3);
  // The term `abbreviations` ("A*B", a transformed "T~*P") with every abbreviation replaced
  // by its factor's full name; parts that name no factor are kept as they are.
  [[nodiscard]] std::string AbbrevToFullName(const std::string& abbreviations) const;

  // --- Legality. -------------------------------------------------------------------------------

  // Whether the set-up can give a design under `objective`; on false `message` says why:
  //   1. with plate (split-plot) options the two side set-ups are tested instead: under the
  //      process-mixture objective the pair passes when one side passes under screening and
  //      the other under RSM (either way round); under another objective both must pass
  //      under it; the message of the last failing test is kept;
  //   2. RSM with more than kMaxRSMFactors design factors: "Only %1% factors are allowed for
  //      RSM designs" (32); an objective outside 1..3: "Unknown objective";
  //   3. a design type other than 33: the objective must be available ("There is no design
  //      available.");
  //   4. type 33: the process-mixture objective needs both process and formulation factors
  //      ("Split objective is only available when there are both process and formulation
  //      factors"); any other objective passes.
  bool IsLegal(EObjective::Type objective, std::string& message) const;
  // Whether the current design accepts the current settings for the factors (with the options
  // a generation would use); on false `message` (when given) receives the design's reason, or
  // "There is no design available." when no design is chosen.
  bool IsDesignValid(std::string* message) const;

  // --- Designs. --------------------------------------------------------------------------------

  // Generates the design of the current type with the current settings and selects it.
  // Stability designs are generated on their own (no term list, no constraints). For the
  // optimal designs (26, 37) the optimal options receive the model of
  // the term list (ToNCDOEModel; the default model when the list is empty) and, when
  // `constraints` holds any, the constraints (ConstraintsInfo::ToNCConstraint). The generators
  // of a generated fractional factorial are stored in the options when they held none; a
  // design over formulation factors writes the simplex reference mixture to the variable set.
  // Does nothing when a design is already generated. Throws Exception with the builder's
  // message when the settings are not valid, when there is no builder, or when constraints
  // are given to a design that cannot honour them (only the optimal designs can), and
  // CancelException when `*cancel` becomes true; the set-up is then as it was.
  void GenerateDesign(const ConstraintsInfo* constraints, const bool* cancel);
  [[nodiscard]] bool IsDesignGenerated() const { return selected_ > 0; }
  // Appends `design` (a design of the current factors made elsewhere, e.g. by the design
  // wizard), selects it and computes its statistics. Null is ignored.
  void AddDesign(std::shared_ptr<NCDesign> design);
  // Removes design `index` (1-based); the selection moves to the last design left. False when
  // there is no such design.
  bool RemoveDesign(int index);
  // Drops every design and the statistics, and removes their stored copies ("Designs",
  // "Statistics") from the "NewModelSpec" child of `section`.
  void RemoveGeneratedDesigns(ConfigurationSection& section);
  [[nodiscard]] int GetDesignCount() const { return static_cast<int>(designs_.size()); }
  // Selects design `index` (1-based) and computes its statistics; false when absent.
  bool SelectDesign(int index);
  [[nodiscard]] int GetSelectedDesign() const { return selected_; }
  // The selected design, or null.
  [[nodiscard]] std::shared_ptr<const NCDesign> GetDesign() const;
  // Replaces the designs by `matrix`, a design set directly by the user: one row per run and
  // one column per factor of the extract, in the factors' own units (a qualitative factor as
  // its setting number); `design_data` is its text form, kept as it is. The design is coded
  // the way the engine codes designs and its statistics are computed. Returns false (nothing
  // changed) when the columns do not match the extract.
  bool SetCustomDesignMatrix(const NCDataMatrix<float>& matrix, const std::string& design_data);
  // The selected design's matrix, coded when `coded` is non-zero, else in the factors' own
  // units; `names` (when given) receives the factor names of its columns. Empty when there is
  // no design.
  [[nodiscard]] NCDataMatrix<float> GetDesignMatrix(int coded,
                                                    std::vector<std::string>* names) const;
  // True when the selected design was generated by the engine (its coded matrix is the
  // engine's own); false for a custom design or no design.
  [[nodiscard]] bool IsDesignMatrixCoded() const;
  // Replaces the statistics by a copy of `statistics` (null removes them).
  void SetDesignStatistics(const DesignStatistics::Results* statistics);
  // The statistics of the selected design for the term list's model, or null.
  [[nodiscard]] const DesignStatistics::Results* GetDesignStatistics() const {
    return statistics_.get();
  }
  [[nodiscard]] const std::string& GetDesignData() const { return design_data_; }
  // The runs an optimal design must contain (forced runs, such as runs already made): one row
  // per run and one column per factor of the extract, in the factors' own units, a
  // qualitative factor as its setting number. Stored with the set-up; a change discards the
  // designs. False (nothing changed) when the columns do not match the extract.
  bool SetInclusions(const NCDataMatrix<float>& inclusions);
  [[nodiscard]] const NCDataMatrix<float>& GetInclusions() const { return inclusions_; }
  // Called while an optimal design is searched, with (finished starts, starts); possibly from
  // a worker thread, never two calls at once. Not stored. May be empty.
  void SetProgress(std::function<void(int, int)> progress) { progress_ = std::move(progress); }
  // Makes the plate design (type 40) current with `options` (split-plot options), discarding
  // the designs.
  void SetREDMUPDesign(const DesignOptions& options);
  // Makes `design` (a stability design, type 30 or 31) the only design, with `options`.
  void SetStabilityDesign(std::shared_ptr<NCDesign> design, const DesignOptions& options);
  // Stores `generators` in the options, removes the stored generator section
  // "FractionalFactorial" of the shared section, discards the designs and reports
  // "Generators modified." to the message sink.
  void SetGenerators(const Generators& generators);
  // With plate options: copies the side models and runs from the plate options into the two
  // side set-ups (`to_sides`), or from the sides back into the plate options.
  void UpdateREDMUPModel(ModelSpec& horizontal, ModelSpec& vertical, bool to_sides);

  // --- Factor changes. ---------------------------------------------------------------------------

  // Each is called after the variable set changed; each rebuilds the extract, discards the
  // designs, drops the model of a kind of factor that is gone (and gives the objective's usual
  // model to a kind that arrived), keeps the design when it still accepts the factors (its
  // settings clamped as by ChangeCurrentDesign) or else takes the best design of the catalogue,
  // and then rebuilds the default model, or, when the terms were edited, keeps them with their
  // factor numbers brought up to date.
  //
  // Factor `number` was inserted (or appended): term numbers at or above it move up.
  void FactorInserted(int number);
  // Factor `number` was removed: terms naming it are deleted, later numbers move down.
  void FactorRemoved(int number);
  // A factor's definition changed (kind, use, range, settings, name).
  void FactorsChanged();

  // --- Persistence.
  // -------------------------------------------------------------------------------

  // Reads "NewModelSpec" of `section`: false when absent. A part that does not read keeps its
  // value (the options as far as they are sound; a term naming a factor that does not exist
  // is dropped; an unknown design type leaves no design chosen, which IsLegal reports).
  bool Load(const ConfigurationSection* section);
  // Reads the older child "ModelSpec" (see the source for its keys); false when absent.
  bool LoadOld(const ConfigurationSection* section);
  // Writes the older layouts, for files of the older INI form: the objective's child
  // "Objective" and the child "ModelSpec" that LoadOld reads ("Design" names the design by its
  // type's text, or by its builder's name where a type has several; the design options' keys;
  // "DesignData", "BlockInteractions", "UseAdjustments", "isPMInteraction"; the family's own
  // options; the term list; the forced runs). Generated designs and statistics have no place
  // in that layout and are not written. Null does nothing.
  void SaveOld(ConfigurationSection* section) const;
  // Reads the model of the oldest INI files: the child "Model Settings" with "Current Model"
  // (the process model's text), "MixtureModel", "IsPMInteraction", "Constant" (whether the
  // model has its constant), "Model" (the terms as abbreviations joined by "*", separated by
  // commas), "FitMethod" and "Status" (the analysis' own, passed over). False when absent.
  bool LoadReallyOld(const ConfigurationSection* section);

  // Writes Objective::Show (the factors and the objective), then the design's name, the runs
  // of the design proper, centre points, replicates, blocks, model types and the terms, one
  // per line ("Design : CCF", "Terms : Constant, T, P, T*P").
  void Show(StreamWindow& out) const;

 private:
  // Drops every design, the statistics and the design data.
  void Discard();
  // The statistics of the selected design for the term list's model (none when the model does
  // not fit the factors).
  void ComputeStatistics();
  void RebuildTermNames();
  void SortTerms();
  // No design chosen, as a stored set-up says ("None"); the design family's options go.
  void KeepNoDesign();
  // The default term list of the factors for the current models and design.
  [[nodiscard]] TermInfo DefaultTerms() const;
  // Numbers `terms` by their first model column (see SetTermIndexOrder).
  void NumberByColumns(TermInfo& terms) const;
  // Puts `model` into `options` as ChangeCurrentDesign describes.
  void SetModelsIn(DesignOptions& options, EModel::Type model) const;
  // Makes `builder`'s design current with `options` (clamped or reset, see
  // ChangeCurrentDesign); false, changing nothing, when the builder refuses them.
  bool SwitchTo(const DesignBuilder* builder, DesignOptions options, bool keep_settings);
  // The options a newly chosen design of `builder` starts from: its defaults for the factors,
  // with the objective, the most runs, the models and the family settings of `options`.
  [[nodiscard]] DesignOptions FreshOptions(const DesignBuilder& builder,
                                           const DesignOptions& options) const;
  // Makes `builder`'s design (none when null) current with the settings RestoreWithoutDesign
  // describes.
  void RestoreDesign(const DesignBuilder* builder, const DesignOptions& settings);
  // Makes the best design of the catalogue current (linear models when the objective's usual
  // ones have none); no design when none accepts the factors.
  void ChooseBestDesign();
  bool StoreModel(bool process, EModel::Type model);
  bool ChangeModel(bool process, EModel::Type model);
  // The options a generation uses: the set-up's, with the optimal designs' model and
  // constraints put in.
  [[nodiscard]] DesignOptions GenerationOptions(const ConstraintsInfo* constraints) const;
  // The set-up of one side of a plate design, over that side's factors.
  [[nodiscard]] std::unique_ptr<ModelSpec> SideSpec(const SplitPlotOptions::Side& side) const;
  void SaveDesigns(ConfigurationSection& section) const;
  void LoadDesigns(const ConfigurationSection& section);
  void LoadTerms(const ConfigurationSection& section);
  void SaveInclusions(ConfigurationSection& section) const;
  void LoadInclusions(const ConfigurationSection& section);

  EDesign::Type design_type_ = EDesign::kNone;
  std::string design_name_;
  bool block_interactions_ = false;
  bool use_adjustments_ = false;
  bool pm_interaction_ = false;
  bool terms_edited_ = false;  // the term list differs from the default model
  std::string design_data_;
  std::vector<std::shared_ptr<NCDesign>> designs_;
  std::vector<bool> custom_;  // per design: set directly by the user
  int selected_ = 0;
  std::unique_ptr<DesignStatistics::Results> statistics_;
  TermInfo terms_;
  NCDataMatrix<float> inclusions_;
  std::function<void(int, int)> progress_;
  // The constraints the designs were generated under (in the engine's form), which the
  // statistics measure the D-efficiency against; none when the designs were not constrained.
  std::shared_ptr<const NCDOE::Constraints> design_constraints_;
};

}  // namespace zubra
