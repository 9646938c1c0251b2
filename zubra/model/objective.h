// Objective: the investigation's design objective, its design options, the factor extract the
// design engine works on, and which objectives the factors allow.
#pragma once

#include <array>
#include <memory>
#include <vector>

#include "zubra/platform/design/design_options.h"
#include "zubra/platform/design/e_objective.h"
#include "zubra/region/design_factors.h"

namespace zubra {

class ConfigurationSection;
class DesignBuilder;
class StreamWindow;
class Variables;

// What the investigation sets out to do (screening, response surface, ...), with the design
// options that go with it and a snapshot of the factors as the design engine sees them.
//
// Ownership: the objective points to the variable set and never owns it (the set must outlive
// the objective); it shares the investigation's configuration section with the other parts of
// the investigation (the section may be null: then nothing is written by SetScoreImported and
// Init finds nothing to load); it owns its DesignFactors extract and its DesignOptions.
//
// Available objectives: for the current factors, maximum runs and catalogue, an objective is
// available when some design of the catalogue serves it (see InitDefaultSection). The flags
// are recomputed by Clear, InitDefaultSection, Init and UpdateFactors.
//
// Initiated: false after construction and Clear; true after a successful Init or
// ForceInitiated(true).
//
// Persistence: the child "DesignSpec" of the investigation's section holds the design options
// (DesignOptions::Save) and the booleans "IsScoreImported", "REDMUPSubModel" and
// "ImportedFromJson". Two older layouts are read by LoadOld: a child "Objective" with the keys
// "Objective" (the objective's text), "IsScoreImported", "REDMUPSubModel" and "MaxLegalRuns";
// and, older still, a child "Status" with "Objective" and "IsScoreImported" beside the key
// "Worksheet", which recorded whether the worksheet had been made; the worksheet keeps its own
// section now, so that key is passed over.
//
//   Objective objective(&variables, section);
//   objective.Init(false);                       // what the file holds, or the defaults
//   if (objective.IsObjectiveAvailable(EObjective::kRSM)) {
//     objective.SetObjective(EObjective::kRSM, true);
//   }
class Objective {
 public:
  // Stores the section and the variable set; the plate (REDMUP) flag is set when
  // `redmup_factors` is given, and the extract is then restricted to the factors with those
  // unique IDs. Then Clear().
  Objective(Variables* variables, std::shared_ptr<ConfigurationSection> section,
            const std::vector<unsigned long long>* redmup_factors = nullptr);
  // Copies the section, the flags, the variable set pointer, the design options and the
  // extract. The available-objective flags are copied when `other` is initiated and
  // recomputed otherwise.
  explicit Objective(const Objective* other);
  Objective(const Objective&) = delete;
  Objective& operator=(const Objective&) = delete;

  virtual ~Objective();

  // Not initiated; the design options back to their defaults; the available objectives
  // recomputed.
  virtual void Clear();
  // Writes the child "DesignSpec" of `section` (created when absent): the design options,
  // then "IsScoreImported", "REDMUPSubModel", "ImportedFromJson". Null does nothing.
  virtual void Save(ConfigurationSection* section);
  // Removes the child "DesignSpec" of `section` when it exists. Null does nothing.
  virtual void Remove(ConfigurationSection* section);
  // Reads the objective from the shared section (InitFrom with it).
  virtual bool Init(bool strict);
  // Called by SetObjective(type, true) after the objective changed, with the same arguments.
  // The objective itself does nothing here; the model specification picks the best design
  // for the new objective.
  virtual void ObjectiveHasChanged(EObjective::Type type, bool notify);

  // --- The factors. ---------------------------------------------------------------------

  [[nodiscard]] const DesignFactors& GetFactors() const { return factors_; }
  [[nodiscard]] Variables* GetVariables() const { return variables_; }
  // Rebuilds the extract from the variable set after factors were added, removed or changed,
  // and recomputes the available objectives.
  void UpdateFactors();

  // --- The objective and its options. -------------------------------------------------------

  [[nodiscard]] EObjective::Type GetObjective() const { return options_.GetObjective(); }
  // Does nothing when `type` equals the current objective (or is not a listed code).
  // Otherwise stores it and, with `notify`, calls ObjectiveHasChanged(type, notify).
  void SetObjective(EObjective::Type type, bool notify);
  [[nodiscard]] const DesignOptions& GetDesignOptions() const { return options_; }

  // The largest number of runs a design may have in all.
  [[nodiscard]] int GetMaxLegalRuns() const { return options_.GetMaxRuns(); }
  // Lowers the maximum: false (nothing changed) when `runs` is above the current maximum or
  // below 1; otherwise stores it and returns true. Raising the maximum is only possible by
  // Clear (the defaults), by loading or by RestoreMaxRuns.
  bool SetMaxRuns(int runs);
  // Sets the maximum as a stored set-up holds it, also above the current one (a file or JSON
  // form being read): false (nothing changed) below 1.
  bool RestoreMaxRuns(int runs);

  // The number of layers of a layered design's options; 1 for every other design.
  [[nodiscard]] int GetLayers() const;

  // --- Flags. -------------------------------------------------------------------------------

  [[nodiscard]] bool IsScoreImported() const { return score_imported_; }
  // Stores the flag; with `write`, also writes "IsScoreImported" into the child "DesignSpec"
  // of the shared section at once (creating the child when needed).
  void SetScoreImported(bool value, bool write);
  [[nodiscard]] bool IsREDMUPSubModel() const { return redmup_; }
  [[nodiscard]] bool IsImportedFromJson() const { return imported_from_json_; }
  void SetImportedFromJson(bool value) { imported_from_json_ = value; }
  [[nodiscard]] bool IsInitiated() const { return initiated_; }
  void ForceInitiated(bool value) { initiated_ = value; }

  // --- Available objectives and the best design. ---------------------------------------------

  // Whether some design of the catalogue serves `type` with the current factors; false for
  // codes outside 1..5.
  [[nodiscard]] bool IsObjectiveAvailable(EObjective::Type type) const;
  // Recomputes the available objectives for `variables` (the objective's own set when null;
  // the extract is rebuilt from `variables` when given):
  //   1. every flag false;
  //   2. screening: some design is valid for it with the linear model, or else with the
  //      interaction model;
  //   3. RSM: valid with the quadratic model;
  //   4. process-mixture: only when there are mixture factors but not only mixture factors,
  //      then valid with the linear model;
  //   5. robustness and optimization: the same as screening.
  void InitDefaultSection(Variables* variables);

  // The design of the catalogue that suits the factors best, or null when none accepts them:
  // each design, in catalogue order, is asked with its own options (DesignBuilder::MakeOptions
  // of the current objective, models and maximum runs, at its default number of runs) whether
  // it is admissible for the factors, the score-imported flag and the plate flag; of those that
  // are, the one with the smallest rank wins, the earlier one on a tie. The builder belongs to
  // the catalogue (valid for the life of the process).
  [[nodiscard]] const DesignBuilder* GetUserDesign() const;

  // --- Persistence. -------------------------------------------------------------------------

  // False when `section` (or its child "DesignSpec") is absent. Otherwise reads the design
  // options and the three flags from "DesignSpec" (a key that is absent, or a value that
  // does not read, leaves its field as it is) and returns true.
  bool Load(const ConfigurationSection* section);
  // The older layouts (see the class comment). The objective becomes kNone first; true when
  // the "Objective" child exists, or when the "Status" child names an objective.
  bool LoadOld(const ConfigurationSection* section);
  // Writes the older layout's child "Objective" (see the class comment), for files of the
  // older INI form. Null does nothing.
  void SaveOld(ConfigurationSection* section) const;
  // Reads the objective from `section` (may be null): not initiated, InitDefaultSection, then
  // Load; when that finds nothing, LoadOld; when that finds nothing either and `strict` is
  // set, returns false (still not initiated). Otherwise initiated, an objective of kNone
  // becomes screening, and true. Never throws for a garbled section: a part that cannot be
  // read keeps its value.
  bool InitObjectiveFrom(const ConfigurationSection* section, bool strict);

  // Writes the factor extract, a line break, then "Current Objective : " and the objective's
  // name and a line break.
  void Show(StreamWindow& out) const;

 protected:
  // The design options, for the model specification that extends the objective.
  [[nodiscard]] DesignOptions& MutableDesignOptions() { return options_; }
  [[nodiscard]] const std::shared_ptr<ConfigurationSection>& GetSection() const { return section_; }
  // Reads the design options from `section` as far as they are sound: keys and children that
  // do not read are skipped, each keeping its value.
  void LoadDesignOptions(const ConfigurationSection& section);

 private:
  void RecomputeAvailable();

  std::shared_ptr<ConfigurationSection> section_;
  bool redmup_ = false;
  std::array<bool, 6> available_{};
  bool score_imported_ = false;
  bool imported_from_json_ = false;
  Variables* variables_ = nullptr;
  DesignOptions options_;
  DesignFactors factors_;
  bool initiated_ = false;
};

}  // namespace zubra
