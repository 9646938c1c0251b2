// Investigation: one whole investigation (factors, responses, constraints, design set-up,
// options and worksheet), kept consistent through every edit, with its files and JSON form.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zubra/model/model_spec.h"
#include "zubra/model/zubra_options.h"
#include "zubra/platform/design/design_model.h"
#include "zubra/platform/design/nc_design.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/json.h"
#include "zubra/region/constraints_info.h"
#include "zubra/responses/response_manager.h"
#include "zubra/variables/variables.h"
#include "zubra/worksheet/worksheet_info.h"

namespace zubra {

class ConfigurationSection;
class StreamWindow;

// The exception of a document or file that cannot become an investigation: its message names
// the file (when there is one) and the part at fault, and GetProblems() lists every problem
// found, each a message of the system, so that a user sees them all at once.
class InvestigationError : public Exception {
 public:
  explicit InvestigationError(std::vector<std::string> problems, const std::string& origin = {});
  [[nodiscard]] const std::vector<std::string>& GetProblems() const { return problems_; }

 private:
  std::vector<std::string> problems_;
};

// An investigation: the variable set (factors, and the definitions of the responses), the
// response manager (the responses' working forms), the linear constraints, the model
// specification with its objective, the options and the worksheet.
//
// Ownership and consistency. The investigation owns every part; the parts point to each other
// (the model specification, constraints and worksheet to the variable set) and stay at their
// addresses for the investigation's life, so it cannot be copied. Edits that change the set
// of factors or responses go through the investigation, which keeps the other parts right:
// adding, inserting or deleting a factor updates the term list (ModelSpec::FactorInserted /
// FactorRemoved), the derived responses' formulas, the constraints' columns (coefficients
// follow their factor by name) and the worksheet's columns (cells follow their variable by
// name), and discards the generated design. A change of a factor's definition made through
// GetVariables() is announced with FactorChanged. Every factor and response passes the
// validators of its kind and the variable set's admission before it is held.
//
// Files and forms:
//   - XML (the current form, Save/Open of ".xml"): one configuration section tree holding
//     the investigation's "Name" and "Description", the child "Factors" ("MixtureTotal",
//     "UsePseudoComponents", one indexed child "Factor" per factor as FactorClass::Save writes
//     it), the responses (ResponseManager::Save), "Constraints" ("Count", and one key
//     "Constraint<i>" per constraint: "operator;limit;name=coefficient;..."), the model
//     specification ("DesignSpec" and "NewModelSpec"), "Options"
//     (ZubraOptions::SaveOptions) and "Worksheet" ("Text", the worksheet's tab-separated
//     form, and "RunOrderFloor");
//   - INI (older files, read only): the variable set's sections, the responses, the older
//     model specification layouts and "Options"; saved again as XML or JSON;
//   - JSON (".json", the exchange form): see docs/investigation-format.md.
// Saving writes a temporary file and renames it over the old one, so a failed save leaves the
// previous file as it was. Opening builds a new investigation and hands it over only when
// every part read; otherwise InvestigationError names the file and lists the problems.
//
//   std::unique_ptr<Investigation> study = Investigation::Open("screening.json");
//   study->GenerateDesign(nullptr, nullptr);
//   study->MakeWorksheet(12345);             // randomized run order, repeatable from the seed
//   study->Save("screening.xml");
class Investigation {
 public:
  enum class Format { kJson, kXml, kIni };

  // An empty investigation: no factors or responses, the default objective and options.
  Investigation();
  Investigation(const Investigation&) = delete;
  Investigation& operator=(const Investigation&) = delete;
  ~Investigation();

  // --- Files and forms. ---------------------------------------------------------------------

  // The form of `path` by its extension (".json", ".xml", ".ini", any ASCII case); nullopt for
  // any other extension.
  static std::optional<Format> FormatOf(std::string_view path);
  // Reads the investigation at `path` in the form its extension names (a file of another
  // extension is recognised by its first character: "{" JSON, "<" XML, anything else INI).
  // Throws InvestigationError naming the file for a missing, unreadable, empty or truncated
  // file, text that is not of its form, and parts that are not sound.
  static std::unique_ptr<Investigation> Open(const std::string& path);
  // Writes the investigation to `path` as JSON (".json"), in the older INI form (".ini", which
  // holds no generated design) or as XML (any other extension). Atomic; throws Exception
  // naming the file when it cannot be written, the old file then as it was.
  void Save(const std::string& path) const;

  // The JSON exchange form, and the investigation it describes. FromJson throws
  // InvestigationError listing every problem (each with the part it is in) for a document
  // that is not sound.
  [[nodiscard]] json_value ToJson() const;
  static std::unique_ptr<Investigation> FromJson(const json_value& json);
  // The configuration-section forms (XML, or the older INI form to read).
  void ToSection(ConfigurationSection& root) const;
  static std::unique_ptr<Investigation> FromSection(const ConfigurationSection& root);

  // --- The parts. ---------------------------------------------------------------------------

  [[nodiscard]] const std::string& GetName() const { return name_; }
  void SetName(std::string name) { name_ = std::move(name); }
  [[nodiscard]] const std::string& GetDescription() const { return description_; }
  void SetDescription(std::string description) { description_ = std::move(description); }

  [[nodiscard]] Variables& GetVariables() { return *variables_; }
  [[nodiscard]] const Variables& GetVariables() const { return *variables_; }
  [[nodiscard]] ResponseManager& GetResponses() { return *responses_; }
  [[nodiscard]] const ResponseManager& GetResponses() const { return *responses_; }
  [[nodiscard]] ConstraintsInfo& GetConstraints() { return *constraints_; }
  [[nodiscard]] const ConstraintsInfo& GetConstraints() const { return *constraints_; }
  [[nodiscard]] ModelSpec& GetModelSpec() { return *model_; }
  [[nodiscard]] const ModelSpec& GetModelSpec() const { return *model_; }
  [[nodiscard]] ZubraOptions& GetOptions() { return options_; }
  [[nodiscard]] const ZubraOptions& GetOptions() const { return options_; }
  [[nodiscard]] WorksheetInfo& GetWorksheet() { return *worksheet_; }
  [[nodiscard]] const WorksheetInfo& GetWorksheet() const { return *worksheet_; }

  // --- Edits. --------------------------------------------------------------------------------

  // Adds `factor` as factor `number` (1-based; 0 or one past the last appends). The name,
  // abbreviation and unit pass FactorClass's validators (trimmed in place) and the set's
  // admission; on refusal `message` receives the reason, `factor` is destroyed and nothing
  // changes. Returns the set's code (kIllegalName for a validator's refusal).
  Variables::Error AddFactor(std::unique_ptr<FactorClass> factor, int number = 0,
                             std::string* message = nullptr);
  // Deletes the factor `name` and everything that names it: its terms, its constraint
  // coefficients, its worksheet column; formulas are renumbered. False when there is none.
  bool DeleteFactor(std::string_view name);
  // Renames the factor `name` to `new_name` after FactorClass::CheckValidName; constraints,
  // worksheet columns and term names follow. False with `message` filled when refused.
  bool RenameFactor(std::string_view name, std::string new_name, std::string* message = nullptr);
  // Announces that the factor `name` was changed through its pointer (kind, use, range,
  // settings, abbreviation; a new name goes through RenameFactor): the extract, the default
  // model, the constraints' columns and the worksheet are brought up to date and the design
  // is discarded.
  void FactorChanged(std::string_view name);
  // Adds `response` (its definition moves into the variable set). The name must pass the
  // name validator and the set's admission; on refusal `message` is filled, nothing changes.
  Variables::Error AddResponse(std::unique_ptr<ResponseEx> response,
                               std::string* message = nullptr);
  // Deletes the response `name` and its worksheet column. False when there is none.
  bool DeleteResponse(std::string_view name);

  // --- Checking and the main job. -------------------------------------------------------------

  // Every problem that keeps the investigation from giving a design, as the system's messages:
  // factors the design engine refuses, constraints without operator or limit, the
  // specification's legality for its objective, and the design's own refusal of its settings.
  // Empty when the investigation is sound.
  [[nodiscard]] std::vector<std::string> Check() const;
  // Generates the design (ModelSpec::GenerateDesign with the constraints); `progress` reports
  // the search of optimal designs. Throws what generation throws (CancelException when
  // `*cancel` becomes true), and then the investigation is as it was.
  void GenerateDesign(const bool* cancel, std::function<void(int, int)> progress);
  // Replaces the worksheet by one experiment per run of the generated design and gives the
  // runs consecutive run orders shuffled from `seed` (else the investigation's own seed, else a
  // fresh one; the seed used is GetWorksheet().GetLastSeed()). A design in blocks keeps its
  // blocks in order and is shuffled within each block. Throws Exception when no design is
  // generated.
  void MakeWorksheet(std::optional<std::uint32_t> seed);
  // Makes `grown` the selected design, where `grown` is the selected design followed by added
  // runs (as FoldOver, CompleteComposite and AugmentDOptimal of zubra/evaluation/augmentation.h
  // make it), and brings the rest of the investigation along:
  //   - `model` (design indexes of the factor extract; may be null) is the model the runs were
  //     added for: when it holds other terms than the term list, the term list becomes it (an
  //     edited list) and the older designs are dropped; otherwise they stay in the list;
  //   - the worksheet keeps the experiment of every old run as it stands (cells and results,
  //     name, run order, in or out) and gets one new experiment per added run, numbered on
  //     from the old ones, with consecutive run orders after the largest old one, shuffled
  //     from `seed` (else the investigation's seed, else a fresh one; the seed used is
  //     GetWorksheet().GetLastSeed()); in a design of several blocks they are shuffled within
  //     each block. The old experiments never move.
  // Throws Exception, with nothing changed, when no design is selected, when the worksheet is
  // not the one made from it (one experiment per run, numbered 1 to the runs), when `grown`
  // does not have the design's factors or does not begin with the design's runs (the same
  // uncoded values), or when `model` names a factor the extract does not have.
  void AugmentDesign(std::shared_ptr<NCDesign> grown, const DesignModel* model,
                     std::optional<std::uint32_t> seed);
  // The design block of the experiment at `position` when the worksheet is the one made from
  // the current design (one experiment per run, numbered by run); 0 otherwise.
  [[nodiscard]] int GetBlock(int position) const;
  // Writes the text dumps: "Investigation   : <name>" and "Description     : <text>" (each only
  // when not empty), then under the headings "== Factors ==", "== Responses ==" and "== Model
  // specification ==" each factor's and each response's dump and the model specification's.
  void Show(StreamWindow& out) const;
  // The seed named by the JSON form's "design"/"seed" (or the XML form's "Seed"), if any.
  [[nodiscard]] std::optional<std::uint32_t> GetSeed() const { return seed_; }
  void SetSeed(std::optional<std::uint32_t> seed) { seed_ = seed; }

 private:
  // What the constraints and the worksheet hold, by variable name.
  struct Snapshot {
    json_value constraints;
    json_value worksheet;
  };

  // Builds the parts over a fresh variable set.
  void Reset();
  // Takes the constraints and the worksheet by name before the variables change, and gives
  // them back to the present variables after it (values of variables that are gone are
  // dropped; new variables start empty).
  [[nodiscard]] Snapshot TakeSnapshot() const;
  void RebindByName(const Snapshot& snapshot);
  [[nodiscard]] json_value DesignToJson() const;
  void DesignFromJson(const json_value& design, std::vector<std::string>& problems);

  std::string name_;
  std::string description_;
  std::unique_ptr<Variables> variables_;
  std::unique_ptr<ResponseManager> responses_;
  std::unique_ptr<ConstraintsInfo> constraints_;
  std::unique_ptr<ModelSpec> model_;
  ZubraOptions options_;
  std::unique_ptr<WorksheetInfo> worksheet_;
  std::optional<std::uint32_t> seed_;
};

}  // namespace zubra
