#include "zubra/investigation/investigation.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <limits>
#include <string_view>
#include <utility>
#include <vector>

#include "zubra/platform/base/undefined.h"
#include "zubra/platform/design/all_designs.h"
#include "zubra/platform/design/d_optimal_options.h"
#include "zubra/platform/design/design_builder.h"
#include "zubra/platform/matrix/stream_window.h"
#include "zubra/platform/util/atomic_file.h"
#include "zubra/platform/util/configuration_section.h"
#include "zubra/platform/util/ini_file_section.h"
#include "zubra/platform/util/kt_string.h"
#include "zubra/platform/util/tinyxml2_section.h"
#include "zubra/region/design_factors.h"
#include "zubra/variables/factor_class.h"
#include "zubra/variables/factor_value.h"

namespace zubra {
namespace {

constexpr const char* kFormatName = "zubra-investigation";
constexpr int kFormatVersion = 1;

// True when `name` is, in any case, the name of a section the flat INI form writes for
// something other than a variable: there a variable's section of that name would be merged
// with it. The indexed ones ("Term3") are a base followed by digits.
bool NamesIniSection(std::string_view name) {
  static constexpr std::array<std::string_view, 20> kFixed = {
      "Factors",     "Responses",   "$VariableSet", "$ReferenceMixture", "Constraints",
      "Objective",   "DesignSpec",  "ModelSpec",    "NewModelSpec",      "Generators",
      "TermInfo",    "Model",       "DOptimal",     "FractionalFactorial", "Inclusions",
      "Options",     "Worksheet",   "Designs",      "Statistics",        "DesignSpecificOptions"};
  static constexpr std::array<std::string_view, 4> kIndexed = {"Term", "Design", "Factor",
                                                               "Response"};
  for (std::string_view fixed : kFixed) {
    if (KtStdString::EqualsNoCase(name, fixed)) return true;
  }
  for (std::string_view base : kIndexed) {
    if (name.size() > base.size() && KtStdString::EqualsNoCase(name.substr(0, base.size()), base) &&
        std::all_of(name.begin() + static_cast<std::ptrdiff_t>(base.size()), name.end(),
                    [](char c) { return c >= '0' && c <= '9'; })) {
      return true;
    }
  }
  return false;
}

// The text of `problems` as one message: the heading, then one problem a line.
std::string JoinProblems(const std::vector<std::string>& problems, const std::string& origin) {
  std::string text =
      origin.empty()
          ? ExceptionMessage::translate("The investigation is not sound:").str()
          : (ExceptionMessage::translate("Cannot open the investigation '{}':") % origin).str();
  for (const std::string& problem : problems) text += "\n  - " + problem;
  return text;
}

// The message of a refusal by the variable set.
std::string AdmissionMessage(Variables::Error code, const std::string& name) {
  switch (code) {
    case Variables::kNotDefined:
      return ExceptionMessage::translate("The variable '{}' is not completely defined.") % name;
    case Variables::kIllegalName:
      return ExceptionMessage::translate("The name '{}' is not a legal variable name.") % name;
    case Variables::kNameExists:
      return ExceptionMessage::translate("A variable named '{}' already exists.") % name;
    case Variables::kAbbrNotUnique:
      return ExceptionMessage::translate(
                 "The abbreviation of '{}' is already used by another "
                 "variable.") %
             name;
    case Variables::kInvalidSettings:
      return ExceptionMessage::translate("The settings of the factor '{}' are not valid.") % name;
    case Variables::kSecondFiller:
      return ExceptionMessage::translate(
                 "'{}' cannot be a filler: there can be only one filler "
                 "factor.") %
             name;
    default:
      return ExceptionMessage::translate("The variable '{}' cannot be added.") % name;
  }
}

std::string Lower(std::string_view text) { return KtStdString::ToLower(text); }

// Reads a whole JSON member of the expected kind, or records the problem.
const json_value* Member(const json_value& object, const char* key, json_value::value_t kind,
                         const std::string& where, std::vector<std::string>& problems) {
  const auto it = object.find(key);
  if (it == object.end()) return nullptr;
  const bool number_ok = (kind == json_value::value_t::number_float && it->is_number()) ||
                         (kind == json_value::value_t::number_integer && IsInteger(*it));
  if (it->type() != kind && !number_ok) {
    problems.push_back(ExceptionMessage::translate("{}: the member '{}' has the wrong type.") %
                       where % key);
    return nullptr;
  }
  return &*it;
}

// Records a problem for every member of `object` that is not one of `known`.
void CheckMembers(const json_value& object, std::initializer_list<const char*> known,
                  const std::string& where, std::vector<std::string>& problems) {
  for (const auto& item : object.items()) {
    const std::string& key = item.key();
    if (std::none_of(known.begin(), known.end(), [&key](const char* k) { return key == k; })) {
      problems.push_back(ExceptionMessage::translate("{}: unknown member '{}'.") % where % key);
    }
  }
}

// A number that fits an int, or nullopt.
std::optional<int> AsInt(const json_value& value) {
  if (!IsInteger(value)) return std::nullopt;
  const auto number = value.get<std::int64_t>();
  if (number < std::numeric_limits<int>::min() || number > std::numeric_limits<int>::max()) {
    return std::nullopt;
  }
  return static_cast<int>(number);
}

// The term written as abbreviations joined by "*" ("Constant" for the constant), as factor
// numbers; nullopt when a part names no factor or there are more than three.
std::optional<std::array<int, 3>> TermFromText(const Variables& variables, std::string_view text) {
  std::array<int, 3> numbers{0, 0, 0};
  if (KtStdString::EqualsNoCase(KtStdString::Trim(text), "Constant")) return numbers;
  std::size_t slot = 0;
  for (const std::string& part : KtStdString::Split(text, '*')) {
    const FactorClass* factor = variables.GetFactorFromAbbr(KtStdString::Trim(part));
    if (factor == nullptr) factor = variables.GetFactor(KtStdString::Trim(part));
    if (factor == nullptr || slot >= 3) return std::nullopt;
    numbers[slot++] = factor->GetNumber();
  }
  return numbers;
}

// The constraint table `table` with each empty limit cell given as -99. The table writes a
// constraint that has no limit yet with an empty limit cell, which the table reader refuses
// (it demands a number there) but reads as "no limit" when given -99; the investigation's
// own uses of the table (its JSON form, and carrying the constraints over an edit) must read
// back every constraint it holds.
json_value WithUndefinedLimits(const json_value& table) {
  json_value copy = table;
  const json_value* columns = FindMember(table, "columns");
  const auto data = copy.find("data");
  if (columns == nullptr || !columns->is_array() || data == copy.end() || !data->is_array()) {
    return copy;
  }
  // The last column named "Limit" is the limit column, as for the reader.
  std::optional<std::size_t> limit;
  for (std::size_t i = 0; i < columns->size(); ++i) {
    if ((*columns)[i] == "Limit") limit = i;
  }
  if (!limit) return copy;
  for (json_value& row : *data) {
    if (row.is_array() && *limit < row.size() && row[*limit] == "") row[*limit] = kUndefined;
  }
  return copy;
}

// For a factor given by its settings (qualitative, multilevel, time), the use that the JSON
// form of a factor gives it: uncontrolled for a design-set factor, else controlled for two or
// more settings, constant for one, uncontrolled for none. kNotSet for the other kinds, whose
// form holds the use itself.
CEUse::EUse SettingsUse(const FactorClass& factor) {
  const CEType::EType type = factor.GetType();
  if (type != CEType::kQualitative && type != CEType::kMultilevel && type != CEType::kTime) {
    return CEUse::kNotSet;
  }
  const int count = factor.GetSettingCount();
  if (factor.IsDesignSetFactor()) return CEUse::kUncontrolled;
  return count >= 2 ? CEUse::kControlled : count == 1 ? CEUse::kConstant : CEUse::kUncontrolled;
}

// The settings the JSON form of a factor given by its settings lists (the entries its reader
// takes: texts for a qualitative factor, numbers for the others); 0 for the other kinds. The
// factor keeps at most FactorValue::kMaxSettings of them.
std::size_t ListedSettings(const json_value& item, const FactorClass& factor) {
  const json_value* settings = FindMember(item, "settings");
  if (settings == nullptr || !settings->is_array() || SettingsUse(factor) == CEUse::kNotSet) {
    return 0;
  }
  const bool texts = factor.IsQualitative();
  return static_cast<std::size_t>(
      std::count_if(settings->begin(), settings->end(), [texts](const json_value& entry) {
        return texts ? entry.is_string() && !entry.get_ref<const std::string&>().empty()
                     : entry.is_number();
      }));
}

}  // namespace

InvestigationError::InvestigationError(std::vector<std::string> problems, const std::string& origin)
    : Exception(JoinProblems(problems, origin)), problems_(std::move(problems)) {}

// --- Construction. --------------------------------------------------------------------------

Investigation::Investigation() { Reset(); }

Investigation::~Investigation() = default;

void Investigation::Reset() {
  // The dependent parts first, so that none outlives what it points to.
  worksheet_.reset();
  model_.reset();
  constraints_.reset();
  responses_ = std::make_unique<ResponseManager>();
  variables_ = std::make_unique<Variables>();
  constraints_ = std::make_unique<ConstraintsInfo>(variables_.get());
  model_ = std::make_unique<ModelSpec>(variables_.get(), nullptr);
  model_->ForceInitiated(true);
  worksheet_ = std::make_unique<WorksheetInfo>(variables_.get(), responses_.get());
  options_ = ZubraOptions();
  options_.MakeSureOptionsAreAvailable(model_.get());
}

Investigation::Snapshot Investigation::TakeSnapshot() const {
  Snapshot snapshot;
  if (constraints_->NumConstraints() > 0) snapshot.constraints = constraints_->ToJson();
  if (worksheet_->GetExperimentCount() > 0) {
    snapshot.worksheet = worksheet_->ToJson();
    snapshot.worksheet["runOrderFloor"] = worksheet_->GetRunOrderFloor();
  }
  return snapshot;
}

void Investigation::RebindByName(const Snapshot& snapshot) {
  auto constraints = std::make_unique<ConstraintsInfo>(variables_.get());
  if (!snapshot.constraints.is_null()) {
    constraints->FromJson(WithUndefinedLimits(snapshot.constraints));
  }
  auto sheet = std::make_unique<WorksheetInfo>(variables_.get(), responses_.get());
  sheet->SetRunOrderFloor(worksheet_->GetRunOrderFloor());
  if (!snapshot.worksheet.is_null()) sheet->FromJson(snapshot.worksheet);
  constraints_ = std::move(constraints);
  worksheet_ = std::move(sheet);
}

// --- Edits. ----------------------------------------------------------------------------------

Variables::Error Investigation::AddFactor(std::unique_ptr<FactorClass> factor, int number,
                                          std::string* message) {
  std::string reason;
  if (factor == nullptr) {
    if (message != nullptr) *message = AdmissionMessage(Variables::kNoVariable, "");
    return Variables::kNoVariable;
  }
  std::string name = factor->GetName();
  std::string abbreviation = factor->GetAbbr();
  std::string unit = factor->GetUnits();
  if (!FactorClass::CheckValidName(name, reason, *variables_, "") ||
      !FactorClass::CheckValidAbbrevation(abbreviation, reason) ||
      !FactorClass::CheckValidUnits(unit, reason)) {
    if (message != nullptr) *message = std::move(reason);
    return Variables::kIllegalName;
  }
  factor->SetName(name);
  factor->SetAbbr(abbreviation);
  factor->SetUnits(unit);
  const Variables::Error code = variables_->IsLegal(factor.get());
  if (code != Variables::kOk) {
    if (message != nullptr) *message = AdmissionMessage(code, name);
    return code;
  }
  const Snapshot snapshot = TakeSnapshot();
  const int factors = variables_->GetFactorCount();
  const int slot = number >= 1 && number <= factors ? number : factors + 1;
  const int placed = variables_->Insert(slot, std::move(factor), false);
  const int inserted = variables_->GetVariable(placed)->GetNumber();
  responses_->UpdateDerivedAfterNewOrDelFactor(inserted, true);
  model_->FactorInserted(inserted);
  RebindByName(snapshot);
  options_.MakeSureOptionsAreAvailable(model_.get());
  return Variables::kOk;
}

bool Investigation::DeleteFactor(std::string_view name) {
  const FactorClass* factor = variables_->GetFactor(name);
  if (factor == nullptr) return false;
  const int number = factor->GetNumber();
  const Snapshot snapshot = TakeSnapshot();
  if (variables_->Delete(name) != Variables::kOk) return false;
  responses_->UpdateDerivedAfterNewOrDelFactor(number, false);
  model_->FactorRemoved(number);
  RebindByName(snapshot);
  options_.MakeSureOptionsAreAvailable(model_.get());
  return true;
}

bool Investigation::RenameFactor(std::string_view name, std::string new_name,
                                 std::string* message) {
  FactorClass* factor = variables_->GetFactor(name);
  if (factor == nullptr) {
    if (message != nullptr) {
      *message = ExceptionMessage::translate("There is no factor named '{}'.") % name;
    }
    return false;
  }
  const std::string old_name = factor->GetName();
  std::string reason;
  if (!FactorClass::CheckValidName(new_name, reason, *variables_, old_name)) {
    if (message != nullptr) *message = std::move(reason);
    return false;
  }
  Snapshot snapshot = TakeSnapshot();
  for (json_value* table : {&snapshot.constraints, &snapshot.worksheet}) {
    if (table->is_null()) continue;
    for (json_value& column : (*table)["columns"]) {
      if (column.is_string() && column.get<std::string>() == old_name) column = new_name;
    }
  }
  factor->SetName(new_name);
  variables_->Sort();  // refreshes the name lookups
  model_->FactorsChanged();
  RebindByName(snapshot);
  return true;
}

void Investigation::FactorChanged(std::string_view /*name*/) {
  const Snapshot snapshot = TakeSnapshot();
  model_->FactorsChanged();
  RebindByName(snapshot);
  options_.MakeSureOptionsAreAvailable(model_.get());
}

Variables::Error Investigation::AddResponse(std::unique_ptr<ResponseEx> response,
                                            std::string* message) {
  if (response == nullptr) {
    if (message != nullptr) *message = AdmissionMessage(Variables::kNoVariable, "");
    return Variables::kNoVariable;
  }
  const std::string name = response->GetResponseClass()->GetName();
  const Snapshot snapshot = TakeSnapshot();
  Variables::Error code = variables_->IsLegal(response->GetResponseClass());
  if (code == Variables::kOk && !responses_->Add(std::move(response))) {
    code = Variables::kNameExists;
  }
  if (code == Variables::kOk) code = responses_->MoveDefinitionTo(*variables_, name);
  if (code != Variables::kOk) {
    responses_->Delete(name);
    if (message != nullptr) *message = AdmissionMessage(code, name);
    return code;
  }
  RebindByName(snapshot);
  return Variables::kOk;
}

bool Investigation::DeleteResponse(std::string_view name) {
  if (responses_->GetResponse(name) == nullptr) return false;
  const std::string held(name);
  const Snapshot snapshot = TakeSnapshot();
  const int slot = variables_->GetSlot(held);
  // The working form goes first: it reads its definition, which the set owns.
  responses_->Delete(held);
  if (slot > 0) variables_->Delete(held);
  RebindByName(snapshot);
  return true;
}

// --- Checking and the main job. -----------------------------------------------------------------

std::vector<std::string> Investigation::Check() const {
  std::vector<std::string> problems = model_->GetFactors().GetProblems();
  for (int i = 1; i <= constraints_->NumConstraints(); ++i) {
    const ConstraintsInfo::Constraint* constraint = constraints_->GetConstraint(i);
    if (!constraints_->IsValid(constraint) ||
        constraint->GetExcludeType() == ConstraintsInfo::kNoOperator) {
      problems.push_back(ExceptionMessage::translate(
                             "Constraint {} is not complete: it needs an operator, a limit and "
                             "a coefficient, and may not mix process and mixture factors.") %
                         i);
    }
  }
  std::string message;
  if (!model_->IsLegal(model_->GetObjective(), message)) {
    problems.push_back(message);
  } else if (!model_->IsDesignValid(&message)) {
    problems.push_back(message);
  }
  return problems;
}

void Investigation::GenerateDesign(const bool* cancel, std::function<void(int, int)> progress) {
  model_->SetProgress(std::move(progress));
  try {
    model_->GenerateDesign(constraints_.get(), cancel);
  } catch (...) {
    model_->SetProgress(nullptr);
    throw;
  }
  model_->SetProgress(nullptr);
  options_.MakeSureOptionsAreAvailable(model_.get());
}

void Investigation::MakeWorksheet(std::optional<std::uint32_t> seed) {
  const std::shared_ptr<const NCDesign> design = model_->GetDesign();
  if (design == nullptr) {
    throw Exception(ExceptionMessage::translate("No design has been generated."));
  }
  auto sheet = std::make_unique<WorksheetInfo>(variables_.get(), responses_.get());
  sheet->CreateFromDesign(*design);
  const std::optional<std::uint32_t> chosen = seed.has_value() ? seed : seed_;
  if (design->GetBlockCount() > 1) {
    // Blocks are run one after the other (the design lists them in order): consecutive run
    // orders, shuffled within each block only.
    sheet->SetRunOrder(1, -1, -1, false, false);
    sheet->RandomizeBlockedRunorder(design->GetBlocks(), false, chosen);
  } else {
    sheet->SetRunOrder(1, -1, -1, true, false, chosen);
  }
  worksheet_ = std::move(sheet);
}

namespace {

// The terms of `model` as sorted factor-index lists, so that two models compare whatever
// their term order.
std::vector<std::vector<int>> SortedTerms(const DesignModel& model) {
  std::vector<std::vector<int>> terms;
  for (DesignModel::Term term : model.GetTerms()) {
    std::sort(term.begin(), term.end());
    terms.push_back(std::move(term));
  }
  std::sort(terms.begin(), terms.end());
  return terms;
}

}  // namespace

void Investigation::AugmentDesign(std::shared_ptr<NCDesign> grown, const DesignModel* model,
                                  std::optional<std::uint32_t> seed) {
  const std::shared_ptr<const NCDesign> design = model_->GetDesign();
  if (design == nullptr) {
    throw Exception(ExceptionMessage::translate("No design has been generated."));
  }
  const int runs = design->GetRuns();
  bool sheet_fits = worksheet_->GetExperimentCount() == runs;
  for (int exp_no = 1; sheet_fits && exp_no <= runs; ++exp_no) {
    sheet_fits = worksheet_->GetPosition(exp_no) > 0;
  }
  if (!sheet_fits) {
    throw Exception(
        ExceptionMessage::translate("The worksheet is not the one made from the "
                                    "design: make it from the design first."));
  }
  const NCDataMatrix<float>& old_runs = design->GetUncoded();
  bool begins_with_design = grown != nullptr &&
                            grown->GetFactorNames() == design->GetFactorNames() &&
                            grown->GetRuns() >= runs;
  for (int r = 0; begins_with_design && r < runs; ++r) {
    for (int c = 0; c < old_runs.GetCols(); ++c) {
      if (grown->GetUncoded()(r, c) != old_runs(r, c)) begins_with_design = false;
    }
  }
  if (!begins_with_design) {
    throw Exception(
        ExceptionMessage::translate("The grown design does not begin with the runs "
                                    "of the design."));
  }
  const DesignFactors& extract = model_->GetFactors();
  std::optional<TermInfo> terms;
  if (model != nullptr) {
    if (!model->IsValidFor(extract.GetFactors())) {
      throw Exception(
          ExceptionMessage::translate("The model names a factor the design does not "
                                      "have."));
    }
    const std::unique_ptr<DesignModel> present = extract.ToNCDOEModel(model_->GetTermInfo());
    if (present == nullptr || SortedTerms(*present) != SortedTerms(*model)) {
      terms.emplace("Model");
      for (const DesignModel::Term& term : model->GetTerms()) {
        int numbers[4] = {0, 0, 0, 0};
        for (std::size_t j = 0; j < term.size() && j < 3; ++j) {
          numbers[j + 1] = extract.GetFactorNumber(term[j]);
        }
        terms->AddItm(0, ModelSpec::MakeTermString(variables_.get(), numbers), numbers[1],
                      numbers[2], numbers[3]);
      }
      terms->SortItm();
    }
  }

  // The new worksheet: the old experiments as they are, then one per added run.
  auto sheet = std::make_unique<WorksheetInfo>(variables_.get(), responses_.get());
  sheet->CreateFromDesign(*grown);
  sheet->SetRunOrderFloor(worksheet_->GetRunOrderFloor());
  int last_order = 0;
  for (int exp_no = 1; exp_no <= runs; ++exp_no) {
    const Experiment& old = *worksheet_->GetExperiment(worksheet_->GetPosition(exp_no));
    *sheet->GetExperiment(exp_no) = old;
    last_order = std::max(last_order, old.RunOrder());
  }
  const int total = grown->GetRuns();
  if (total > runs) {
    sheet->SetRunOrder(runs + 1, total, last_order + 1, false, false);
    // Only run orders above the floor move: the old experiments keep theirs.
    sheet->SetRunOrderFloor(std::max(last_order, worksheet_->GetRunOrderFloor()));
    const std::optional<std::uint32_t> chosen = seed.has_value() ? seed : seed_;
    if (grown->GetBlockCount() > 1) {
      sheet->RandomizeBlockedRunorder(grown->GetBlocks(), false, chosen);
    } else {
      sheet->RandomizeRunOrder(runs + 1, total, false, chosen);
    }
    sheet->SetRunOrderFloor(worksheet_->GetRunOrderFloor());
  }

  // Every check has passed: from here on nothing throws.
  if (terms) model_->SetTermInfo(*terms);
  model_->AddDesign(std::move(grown));
  worksheet_ = std::move(sheet);
}

int Investigation::GetBlock(int position) const {
  const std::shared_ptr<const NCDesign> design = model_->GetDesign();
  const Experiment* experiment = worksheet_->GetExperiment(position);
  if (design == nullptr || experiment == nullptr ||
      worksheet_->GetExperimentCount() != design->GetRuns()) {
    return 0;
  }
  const int run = experiment->ExpNo();
  return run >= 1 && run <= design->GetRuns()
             ? design->GetBlocks()[static_cast<std::size_t>(run - 1)]
             : 0;
}

void Investigation::Show(StreamWindow& out) const {
  if (!name_.empty()) out << "Investigation   : " << name_ << "\n";
  if (!description_.empty()) out << "Description     : " << description_ << "\n";
  out << "\n== Factors ==\n";
  for (const FactorClass* factor : variables_->GetAllFactors()) {
    out << "\n";
    factor->Show(out);
  }
  out << "\n== Responses ==\n";
  for (const ResponseEx* response : responses_->GetResponses()) {
    out << "\n";
    response->Show(out);
  }
  out << "\n== Model specification ==\n\n";
  model_->Show(out);
}

// --- The configuration-section forms.
// --------------------------------------------------------------

void Investigation::ToSection(ConfigurationSection& root) const {
  if (root.IsIni()) {
    // The flat form's sections share one name space; checked before anything is written.
    std::vector<std::string> names = responses_->GetNames();
    for (int slot = 1; slot <= variables_->GetVariableCount(); ++slot) {
      if (const ResponseClass* variable = variables_->GetVariable(slot)) {
        names.push_back(variable->GetName());
      }
    }
    for (const std::string& name : names) {
      if (NamesIniSection(name)) {
        throw Exception(ExceptionMessage::translate(
                            "The INI form cannot hold the variable '{}': its sections share one "
                            "name space, and one of its own sections bears that name. Rename the "
                            "variable, or save in the XML or JSON form.") %
                        name);
      }
    }
  }
  root.WriteString("Format", kFormatName);
  root.WriteInt("Version", kFormatVersion);
  root.WriteString("Name", name_);
  root.WriteString("Description", description_);
  if (seed_) root.WriteString("Seed", std::to_string(*seed_));
  if (auto* ini = dynamic_cast<IniFileSection*>(&root)) {
    // The older form: the variable set's own sections, then the working forms of the
    // responses over them.
    variables_->WriteIniFile(*ini);
  } else {
    root.RemoveChild("Factors");
    ConfigurationSection& factors = root.CreateChild("Factors");
    factors.WriteDouble("MixtureTotal", variables_->GetMixtureTotal());
    factors.WriteBool("UsePseudoComponents", variables_->GetUsePseudoComponents());
    int index = 0;
    for (const FactorClass* factor : variables_->GetAllFactors()) {
      factor->Save(factors.CreateChild("Factor", ++index));
    }
  }
  responses_->Save(root);
  // One key per constraint, "operator;limit;name=coefficient;...": names hold neither "=" nor
  // ";" (the name validator refuses both), and the form suits the flat INI files too.
  root.RemoveChild("Constraints");
  ConfigurationSection& constraints = root.CreateChild("Constraints");
  constraints.WriteInt("Count", constraints_->NumConstraints());
  for (int i = 1; i <= constraints_->NumConstraints(); ++i) {
    const ConstraintsInfo::Constraint* constraint = constraints_->GetConstraint(i);
    std::string text = constraint->GetExcludeType() == ConstraintsInfo::kLess      ? "<"
                       : constraint->GetExcludeType() == ConstraintsInfo::kGreater ? ">"
                                                                                   : "";
    text += ';';
    if (!IsUndefined(constraint->GetLimit()))
      text += KtString::FormatShortest(constraint->GetLimit());
    for (int v = 1; v <= constraints_->NumValues(); ++v) {
      if (!constraint->HasValue(v)) continue;
      text += ';' + constraints_->ValueName(v) + '=' +
              KtString::FormatShortest(constraint->GetValue(v));
    }
    constraints.WriteString("Constraint" + std::to_string(i), text);
  }
  if (root.IsIni()) {
    model_->SaveOld(&root);
  } else {
    model_->Save(&root);
  }
  root.RemoveChild("Options");
  options_.SaveOptions(root.CreateChild("Options"));
  root.RemoveChild("Worksheet");
  ConfigurationSection& sheet = root.CreateChild("Worksheet");
  sheet.WriteInt("RunOrderFloor", worksheet_->GetRunOrderFloor());
  const std::string text = worksheet_->GetExperimentCount() > 0 ? worksheet_->ToText() : "";
  if (!root.IsIni()) {
    sheet.WriteString("Text", text);
  } else {
    // INI values hold one line each.
    const std::vector<std::string> lines = KtStdString::Split(text, '\n');
    int count = 0;
    for (const std::string& line : lines) {
      if (!line.empty()) sheet.WriteString("Line" + std::to_string(++count), line);
    }
    sheet.WriteInt("Lines", count);
  }
}

std::unique_ptr<Investigation> Investigation::FromSection(const ConfigurationSection& root) {
  auto study = std::make_unique<Investigation>();
  Investigation& s = *study;
  std::vector<std::string> problems;
  const auto fail = [&](const char* part, const std::exception& error) {
    problems.push_back(ExceptionMessage::translate("{}: {}") % part % error.what());
  };
  s.name_ = root.GetString("Name");
  s.description_ = root.GetString("Description");
  if (std::string seed; root.ReadString("Seed", seed)) {
    const std::optional<double> value = KtString::ToDouble(seed);
    if (value && *value >= 0 && *value <= 4294967295.0 &&
        *value == static_cast<std::uint32_t>(*value)) {
      s.seed_ = static_cast<std::uint32_t>(*value);
    } else {
      problems.push_back(ExceptionMessage::translate("The seed '{}' is not a whole number from 0 "
                                                     "to 4294967295.") %
                         seed);
    }
  }

  // Factors and the response definitions.
  try {
    if (const auto* ini = dynamic_cast<const IniFileSection*>(&root)) {
      s.variables_->ReadIniFile(*ini);
      // The responses come again with their working forms below.
      for (const ResponseClass* response : s.variables_->GetAllResponses()) {
        s.variables_->Detach(response->GetName());
      }
      // The set reads old files leniently; its factors are admitted again as the other forms
      // admit theirs, so that every investigation that opens can be saved and opened again.
      std::vector<std::unique_ptr<ResponseClass>> factors;
      while (s.variables_->GetFactorCount() > 0) factors.push_back(s.variables_->Detach(1));
      int index = 0;
      for (std::unique_ptr<ResponseClass>& variable : factors) {
        ++index;
        const std::string name = variable->GetName();
        std::unique_ptr<FactorClass> factor(dynamic_cast<FactorClass*>(variable.release()));
        std::string message;
        if (s.AddFactor(std::move(factor), 0, &message) != Variables::kOk) {
          problems.push_back(ExceptionMessage::translate("Factors, factor {} ('{}'): {}") % index %
                             name % message);
        }
      }
    } else if (const ConfigurationSection* factors = root.OpenChild("Factors")) {
      double total = 1.0;
      if (factors->TryReadDouble("MixtureTotal", total)) s.variables_->SetMixtureTotal(total);
      bool pseudo = false;
      if (factors->TryReadBool("UsePseudoComponents", pseudo)) {
        s.variables_->SetUsePseudoComponents(pseudo);
      }
      for (int index : factors->GetChildIndexes("Factor")) {
        auto factor = std::make_unique<FactorClass>();
        factor->Load(*factors->OpenChild("Factor", index));
        const std::string name = factor->GetName();
        std::string message;
        if (s.AddFactor(std::move(factor), 0, &message) != Variables::kOk) {
          problems.push_back(ExceptionMessage::translate("Factors, factor {} ('{}'): {}") % index %
                             name % message);
        }
      }
    }
  } catch (const std::exception& error) {
    fail("Factors", error);
  }
  try {
    const Snapshot snapshot = s.TakeSnapshot();
    s.responses_->Load(root);
    for (const std::string& name : s.responses_->GetNames()) {
      const Variables::Error code = s.responses_->MoveDefinitionTo(*s.variables_, name);
      if (code != Variables::kOk) {
        problems.push_back(ExceptionMessage::translate("Responses, response '{}': {}") % name %
                           AdmissionMessage(code, name));
        s.responses_->Delete(name);
      }
    }
    s.RebindByName(snapshot);
  } catch (const std::exception& error) {
    fail("Responses", error);
  }

  // The set-up, the constraints, the options and the worksheet, now that the factors are in.
  s.model_->UpdateFactors();
  s.model_->InitFrom(&root, false);
  if (const ConfigurationSection* constraints = root.OpenChild("Constraints")) {
    int count = 0;
    constraints->TryReadInt("Count", count);
    count = std::clamp(count, 0, static_cast<int>(constraints->GetKeys().size()));
    for (int i = 1; i <= count; ++i) {
      const std::string key = "Constraint" + std::to_string(i);
      const std::vector<std::string> parts = KtStdString::Split(constraints->GetString(key), ';');
      const auto refuse = [&](const std::string& what) {
        problems.push_back(ExceptionMessage::translate("Constraints, constraint {}: {}") % i %
                           what);
      };
      if (parts.size() < 2) {
        refuse(ExceptionMessage::translate("the stored text does not read."));
        continue;
      }
      ConstraintsInfo::Constraint* constraint =
          s.constraints_->AddConstraint(parts[0] == "<"   ? ConstraintsInfo::kLess
                                        : parts[0] == ">" ? ConstraintsInfo::kGreater
                                                          : ConstraintsInfo::kNoOperator);
      if (!parts[1].empty()) {
        const std::optional<double> limit = KtString::ToDouble(parts[1]);
        if (!limit || !constraint->SetLimit(*limit)) {
          refuse(ExceptionMessage::translate("the limit '{}' is not a number.") % parts[1]);
        }
      }
      for (std::size_t p = 2; p < parts.size(); ++p) {
        const std::size_t equals = parts[p].rfind('=');
        const std::string name = parts[p].substr(0, equals);
        const int column = equals == std::string::npos ? -1 : s.constraints_->GetIndex(name);
        const std::optional<double> value =
            column >= 1 ? KtString::ToDouble(parts[p].substr(equals + 1)) : std::nullopt;
        if (!value || !constraint->SetValue(column, *value)) {
          refuse(ExceptionMessage::translate("the coefficient '{}' does not read.") % parts[p]);
        }
      }
    }
  }
  const ConfigurationSection* options = root.OpenChild("Options");
  if (options != nullptr) s.options_.LoadOptions(*options);
  s.options_.MakeSureOptionsAreAvailable(s.model_.get());
  if (const ConfigurationSection* sheet = root.OpenChild("Worksheet")) {
    int floor = 0;
    if (sheet->TryReadInt("RunOrderFloor", floor)) s.worksheet_->SetRunOrderFloor(floor);
    std::string text = sheet->GetString("Text");
    int lines = 0;
    sheet->TryReadInt("Lines", lines);
    lines = std::clamp(lines, 0, static_cast<int>(sheet->GetKeys().size()));
    for (int i = 1; i <= lines; ++i) text += sheet->GetString("Line" + std::to_string(i)) + "\n";
    std::string message;
    if (!text.empty() && !s.worksheet_->FromText(text, &message)) {
      problems.push_back(ExceptionMessage::translate("Worksheet: {}") % message);
    }
  }
  if (!problems.empty()) throw InvestigationError(std::move(problems));
  return study;
}

// --- The JSON form.
// --------------------------------------------------------------------------------

json_value Investigation::DesignToJson() const {
  const ModelSpec& spec = *model_;
  json_value design = json_value::object();
  design["objective"] = EObjective::GetString(spec.GetObjective());
  // "None" says that the set-up holds no design, also where its objective would choose one
  // (a stored set-up that had none); the settings below are then its own.
  design["type"] = EDesign::GetString(spec.GetDesignType());
  if (spec.GetDesignType() != EDesign::kNone) design["name"] = spec.GetDesignName();
  // A stored design the set-up cannot carry reads back as it stands, not chosen anew.
  if (spec.GetDesignType() != EDesign::kNone && !spec.IsDesignChoosable()) {
    design["unusable"] = true;
  }
  if (spec.GetProcessModel() != EModel::kNone) {
    design["model"] = EModel::GetString(spec.GetProcessModel());
  }
  if (spec.GetMixtureModel() != EModel::kNone) {
    design["mixtureModel"] = EModel::GetString(spec.GetMixtureModel());
  }
  if (spec.IsPMInteraction()) design["processMixtureInteraction"] = true;
  design["runs"] = spec.GetRuns();
  const auto blocks = static_cast<int>(spec.GetBlocks());
  design["centerPoints"] = spec.GetCenterPoints() / std::max(1, blocks);
  design["replicates"] = spec.GetReplicates();
  if (spec.GetReplicatedRuns() > 0) design["replicatedRuns"] = spec.GetReplicatedRuns();
  design["blocks"] = blocks;
  if (spec.GetBlocksInteractions()) design["blockInteractions"] = true;
  if (spec.GetDesignOptions().HasStarDistance()) {
    design["starDistance"] = spec.GetStarDistance();
  }
  if (spec.GetLayers() != 1) design["layers"] = spec.GetLayers();
  if (spec.GetMaxLegalRuns() != DesignOptions::kDefaultMaxRuns) {
    design["maxRuns"] = spec.GetMaxLegalRuns();
  }
  if (const DOptimalOptions* optimal = spec.GetOptimalOptions()) {
    if (optimal->GetWholePlots() != 0) design["wholePlots"] = optimal->GetWholePlots();
    if (optimal->GetVarianceRatio() != 1.0) design["varianceRatio"] = optimal->GetVarianceRatio();
  }
  if (spec.IsTermListEdited()) {
    json_value terms = json_value::array();
    for (int i = 1; i <= spec.GetTermInfo().GetNItm(); ++i) {
      const std::array<int, 3> f = spec.GetTermInfo().GetTerm(i)->GetFactors();
      terms.push_back(ModelSpec::MakeTermString(variables_.get(), f[0], f[1], f[2]));
    }
    design["terms"] = std::move(terms);
  }
  const NCDataMatrix<float>& inclusions = spec.GetInclusions();
  if (inclusions.GetRows() > 0) {
    const Factors& factors = spec.GetFactors().GetFactors();
    json_value rows = json_value::array();
    for (int r = 0; r < inclusions.GetRows(); ++r) {
      json_value row = json_value::object();
      for (int c = 0; c < factors.GetCount(); ++c) {
        const Factors::Factor& factor = factors.GetFactor(c);
        const float value = inclusions(r, c);
        // The setting number is taken only when it is one: a missing value (-99) or a number
        // past the settings has no size_t form.
        if (factor.IsQualitative() && value >= 1.0F &&
            value < static_cast<float>(factor.settings.size()) + 1.0F) {
          row[factor.name] = factor.settings[static_cast<std::size_t>(value) - 1];
        } else {
          row[factor.name] = value;
        }
      }
      rows.push_back(std::move(row));
    }
    design["inclusions"] = std::move(rows);
  }
  if (seed_) design["seed"] = *seed_;
  return design;
}

void Investigation::DesignFromJson(const json_value& design, std::vector<std::string>& problems) {
  const std::string where = "design";
  CheckMembers(design, {"objective",      "type",          "name",
                        "model",          "mixtureModel",  "processMixtureInteraction",
                        "runs",           "centerPoints",  "replicates",
                        "replicatedRuns", "blocks",        "blockInteractions",
                        "starDistance",   "layers",        "maxRuns",
                        "wholePlots",     "varianceRatio", "terms",
                        "inclusions",     "seed",          "unusable"},
               where, problems);
  using Kind = json_value::value_t;
  ModelSpec& spec = *model_;
  const auto text = [&](const char* key) {
    const json_value* value = Member(design, key, Kind::string, where, problems);
    return value != nullptr ? std::optional<std::string>(value->get<std::string>()) : std::nullopt;
  };
  const auto integer = [&](const char* key) -> std::optional<int> {
    const json_value* value = Member(design, key, Kind::number_integer, where, problems);
    if (value == nullptr) return std::nullopt;
    const std::optional<int> number = AsInt(*value);
    if (!number) {
      problems.push_back(ExceptionMessage::translate("{}: '{}' is out of range.") % where % key);
    }
    return number;
  };
  const auto model_of = [&](const char* key) -> std::optional<EModel::Type> {
    const std::optional<std::string> name = text(key);
    if (!name) return std::nullopt;
    const EModel::Type model = EModel::GetType(*name);
    if (model == EModel::kNone) {
      problems.push_back(ExceptionMessage::translate("{}: '{}' is not a model type.") % where %
                         *name);
      return std::nullopt;
    }
    return model;
  };

  if (const std::optional<std::string> name = text("objective")) {
    const EObjective::Type objective = EObjective::GetType(*name);
    if (objective == EObjective::kNone) {
      problems.push_back(ExceptionMessage::translate("{}: '{}' is not an objective.") % where %
                         *name);
    } else {
      spec.SetObjective(objective, true);
    }
  }
  const std::optional<EModel::Type> model = model_of("model");
  const std::optional<EModel::Type> mixture_model = model_of("mixtureModel");
  if (const json_value* value =
          Member(design, "processMixtureInteraction", Kind::boolean, where, problems)) {
    spec.SetPMInteraction(value->get<bool>());
  }
  // A maximum of runs above the current one is taken first, so that the design is chosen
  // under it; a lower one comes after the design (below).
  const std::optional<int> most = integer("maxRuns");
  if (most && *most < 1) {
    problems.push_back(ExceptionMessage::translate("{}: the most runs must be at least 1.") %
                       where);
  } else if (most && *most > spec.GetMaxLegalRuns()) {
    spec.RestoreMaxRuns(*most);
  }
  const std::optional<std::string> type_text = text("type");
  const std::optional<std::string> name = text("name");
  // No design: the set-up says so ("None", which the writer gives for a set-up without one),
  // or its objective and factors leave none to serve it. Its runs, centre points, blocks and
  // models are then kept as given, with no builder to ask, and taken together below.
  const bool names_no_design =
      type_text.has_value() &&
      KtStdString::EqualsNoCase(*type_text, EDesign::GetString(EDesign::kNone));
  if (names_no_design && name.has_value() && !name->empty()) {
    problems.push_back(ExceptionMessage::translate("{}: the design '{}' has no type.") % where %
                       *name);
  }
  const bool no_design = names_no_design || (!type_text.has_value() && !name.has_value() &&
                                             spec.GetDesignType() == EDesign::kNone);
  // "unusable": a stored set-up holds a design its factors, objective or models cannot carry
  // (the writer says so); it is taken as it stands, as the section loaders take it, and
  // IsLegal and Check() tell why it cannot be used.
  const json_value* unusable_member = Member(design, "unusable", Kind::boolean, where, problems);
  const bool unusable = !no_design && unusable_member != nullptr && unusable_member->get<bool>();
  if (!no_design && (type_text.has_value() || name.has_value())) {
    EDesign::Type type = type_text ? EDesign::GetType(*type_text) : spec.GetDesignType();
    if (type == EDesign::kNone && name.has_value()) {
      // The design named by its builder's name alone ("CCF", "D-Optimal").
      for (const DesignBuilder* builder : AllDesigns::ClassicAndREDMUPDesigns()) {
        if (KtStdString::EqualsNoCase(builder->GetName(), *name)) type = builder->GetType();
      }
    }
    const bool process = spec.GetFactors().GetFactors().GetProcessCount() > 0;
    if (unusable) {
      if (!spec.RestoreUnusableDesign(type, name.value_or(""), spec.GetDesignOptions())) {
        problems.push_back(ExceptionMessage::translate("{}: the design '{}' cannot be used: {}") %
                           where % type_text.value_or(name.value_or("")) %
                           ExceptionMessage::translate("There is no design available."));
      }
    } else if (!spec.ChangeCurrentDesign(
            type, name.value_or(""), spec.GetObjective(),
            process ? model.value_or(spec.GetProcessModel()) : EModel::kNone,
            mixture_model.value_or(process ? spec.GetMixtureModel()
                                           : model.value_or(spec.GetMixtureModel())),
            false)) {
      std::string why = ExceptionMessage::translate("There is no design available.");
      if (const DesignBuilder* builder = AllDesigns::GetDesignBuilder(type, name.value_or(""))) {
        const DesignOptions options =
            builder->MakeOptions(spec.GetFactors().GetFactors(), spec.GetDesignOptions());
        if (builder->IsValid(spec.GetFactors().GetFactors(), options, &why)) {
          why = ExceptionMessage::translate("it does not serve the objective with this model.");
        }
      }
      problems.push_back(ExceptionMessage::translate("{}: the design '{}' cannot be used: {}") %
                         where % type_text.value_or(name.value_or("")) % why);
    }
  } else if (!no_design && !unusable) {
    if (model && *model != spec.GetProcessModel() && !spec.ChangeProcessModel(*model)) {
      problems.push_back(ExceptionMessage::translate("{}: no design can carry the model '{}'.") %
                         where % EModel::GetString(*model));
    }
    // A mixture model without mixture factors is left out, as choosing a design leaves it.
    if (mixture_model && spec.GetFactors().GetFactors().IsMixture() &&
        *mixture_model != spec.GetMixtureModel() && !spec.ChangeMixtureModel(*mixture_model)) {
      problems.push_back(ExceptionMessage::translate("{}: no design can carry the mixture model "
                                                     "'{}'.") %
                         where % EModel::GetString(*mixture_model));
    }
  }

  if (const std::optional<int> layers = integer("layers"); layers && !spec.SetLayers(*layers)) {
    problems.push_back(ExceptionMessage::translate("{}: the design cannot have {} layers.") %
                       where % *layers);
  }
  {
    const std::optional<int> plots = integer("wholePlots");
    const json_value* ratio = Member(design, "varianceRatio", Kind::number_float, where, problems);
    if ((plots || ratio != nullptr) &&
        !spec.SetWholePlots(plots.value_or(0), ratio != nullptr ? ratio->get<double>() : 1.0)) {
      problems.push_back(
          ExceptionMessage::translate("{}: whole plots (0 to {}) and a variance ratio (0 to {}) "
                                      "belong to optimal designs.") %
          where % DOptimalOptions::kMaxWholePlots % DOptimalOptions::kMaxRatio);
    }
  }
  const std::optional<int> runs = integer("runs");
  const std::optional<int> blocks = integer("blocks");
  const std::optional<int> centers = integer("centerPoints");
  if (no_design || unusable) {
    DesignOptions kept = spec.GetDesignOptions();
    if (model) kept.SetProcessModel(*model);
    if (mixture_model) kept.SetMixtureModel(*mixture_model);
    if (runs && !kept.SetRuns(*runs)) {
      problems.push_back(ExceptionMessage::translate("{}: the runs may not be negative.") % where);
    }
    if (blocks && (*blocks < 1 || !kept.SetBlocks(static_cast<unsigned>(*blocks)))) {
      problems.push_back(ExceptionMessage::translate("{}: there must be at least one block.") %
                         where);
    }
    if (centers) {
      const std::int64_t total =
          static_cast<std::int64_t>(*centers) * static_cast<std::int64_t>(kept.GetBlocks());
      if (total < 0 || total > std::numeric_limits<int>::max() ||
          !kept.SetCenterPoints(static_cast<int>(total))) {
        problems.push_back(ExceptionMessage::translate("{}: the design cannot have {} centre "
                                                       "points in each block.") %
                           where % *centers);
      }
    }
    if (unusable) {
      spec.RestoreUnusableDesign(spec.GetDesignType(), spec.GetDesignName(), kept);
    } else {
      spec.RestoreWithoutDesign(kept);
    }
  } else {
    if (runs && *runs > 0) {
      spec.SetRuns(*runs, false);  // the design's own check below names what is wrong
    }
    if (blocks && *blocks != 1) {
      if (*blocks < 1 || !spec.SetBlocks(static_cast<std::size_t>(*blocks))) {
        std::string offered;
        for (std::size_t count : spec.GetAvalibleBlocks()) {
          offered += (offered.empty() ? "" : ", ") + std::to_string(count);
        }
        problems.push_back(ExceptionMessage::translate("{}: the design cannot be divided into {} "
                                                       "blocks; it offers {}.") %
                           where % *blocks % offered);
      }
    }
    // A count the set-up already holds is taken as it is, as the design was chosen with it.
    const bool held = centers && static_cast<std::int64_t>(*centers) *
                                         static_cast<std::int64_t>(spec.GetBlocks()) ==
                                     spec.GetCenterPoints();
    if (centers && !held && !spec.SetCenterPoints(*centers)) {
      problems.push_back(ExceptionMessage::translate("{}: the design cannot have {} centre "
                                                     "points in each block.") %
                         where % *centers);
    }
  }
  if (const std::optional<int> replicates = integer("replicates");
      replicates && !spec.SetReplicates(*replicates)) {
    problems.push_back(ExceptionMessage::translate("{}: the replicates may not be negative.") %
                       where);
  }
  if (const std::optional<int> repeated = integer("replicatedRuns")) {
    spec.SetReplicatedRuns(*repeated);
  }
  if (const json_value* value =
          Member(design, "blockInteractions", Kind::boolean, where, problems)) {
    spec.SetBlocksInteractions(value->get<bool>());
  }
  if (const json_value* value =
          Member(design, "starDistance", Kind::number_float, where, problems)) {
    std::string message;
    if (!spec.SetStarDistance(value->get<float>(), &message)) {
      problems.push_back(where + ": " + message);
    }
  }
  // A lower maximum comes after the design, as a stored set-up holds it: a design chosen
  // under a larger maximum stays chosen, and Check() tells when it no longer fits.
  if (most && *most >= 1 && *most < spec.GetMaxLegalRuns()) spec.SetMaxRuns(*most);
  if (const json_value* terms = Member(design, "terms", Kind::array, where, problems)) {
    TermInfo list("Model");
    for (const json_value& term : *terms) {
      const std::optional<std::array<int, 3>> numbers =
          term.is_string() ? TermFromText(*variables_, term.get<std::string>()) : std::nullopt;
      if (!numbers) {
        problems.push_back(ExceptionMessage::translate("{}: the term {} names no factor of the "
                                                       "investigation.") %
                           where % term.dump());
        continue;
      }
      list.AddItm(0, "", (*numbers)[0], (*numbers)[1], (*numbers)[2]);
    }
    // In the order given, which is the order the form writes and the stored sections keep.
    spec.SetTermInfo(list);
  }
  if (const json_value* rows = Member(design, "inclusions", Kind::array, where, problems)) {
    const Factors& factors = spec.GetFactors().GetFactors();
    NCDataMatrix<float> inclusions(static_cast<int>(rows->size()), factors.GetCount());
    int r = 0;
    for (const json_value& row : *rows) {
      for (int c = 0; c < factors.GetCount(); ++c) {
        const Factors::Factor& factor = factors.GetFactor(c);
        const json_value* cell = row.is_object() ? FindMember(row, factor.name) : nullptr;
        float value = kUndefined;
        if (cell != nullptr && factor.IsQualitative() && cell->is_string()) {
          const auto it =
              std::find(factor.settings.begin(), factor.settings.end(), cell->get<std::string>());
          if (it != factor.settings.end()) {
            value = static_cast<float>(it - factor.settings.begin() + 1);
          }
        } else if (cell != nullptr && cell->is_number() && !factor.IsQualitative()) {
          value = cell->get<float>();
        }
        if (IsUndefined(value) && factor.IsVaried()) {
          problems.push_back(ExceptionMessage::translate("{}: forced run {} has no usable value "
                                                         "for '{}'.") %
                             where % (r + 1) % factor.name);
        }
        inclusions(r, c) = value;
      }
      ++r;
    }
    spec.SetInclusions(inclusions);
  }
  if (const json_value* value = Member(design, "seed", Kind::number_integer, where, problems)) {
    if (value->is_number_unsigned() && value->get<std::uint64_t>() <= 4294967295ULL) {
      seed_ = static_cast<std::uint32_t>(value->get<std::uint64_t>());
    } else {
      problems.push_back(ExceptionMessage::translate("{}: the seed must be a whole number from 0 "
                                                     "to 4294967295.") %
                         where);
    }
  }
}

json_value Investigation::ToJson() const {
  json_value json = json_value::object();
  json["format"] = kFormatName;
  json["version"] = kFormatVersion;
  json["name"] = name_;
  if (!description_.empty()) json["description"] = description_;
  if (variables_->IsAnyMixture() && variables_->GetMixtureTotal() != 1.0) {
    json["mixtureTotal"] = variables_->GetMixtureTotal();
  }
  json_value factors = json_value::array();
  for (const FactorClass* factor : variables_->GetAllFactors()) {
    json_value item = factor->ToJson();
    // The factor's own form gives a factor with settings the use its settings imply; another
    // use (an uncontrolled qualitative factor, say) is written beside it.
    if (const CEUse::EUse implied = SettingsUse(*factor);
        implied != CEUse::kNotSet && factor->GetUse() != implied) {
      item["use"] = Lower(CEUse::GetString(factor->GetUse()));
    }
    factors.push_back(std::move(item));
  }
  json["factors"] = std::move(factors);
  json_value responses = json_value::array();
  for (const ResponseEx* response : responses_->GetResponses()) {
    responses.push_back(response->ToJson());
  }
  json["responses"] = std::move(responses);
  if (constraints_->NumConstraints() > 0) json["constraints"] = constraints_->ToJson();
  json["design"] = DesignToJson();
  json["options"] = options_.ToJson();
  if (worksheet_->GetExperimentCount() > 0) json["worksheet"] = worksheet_->ToJson();
  return json;
}

std::unique_ptr<Investigation> Investigation::FromJson(const json_value& json) {
  std::vector<std::string> problems;
  if (!json.is_object()) {
    throw InvestigationError(
        {ExceptionMessage::translate("The document is not a JSON object.").str()});
  }
  CheckMembers(json,
               {"format", "version", "name", "description", "mixtureTotal", "factors", "responses",
                "constraints", "design", "options", "worksheet"},
               "investigation", problems);
  using Kind = json_value::value_t;
  if (const json_value* format = Member(json, "format", Kind::string, "investigation", problems);
      format != nullptr && format->get<std::string>() != kFormatName) {
    problems.push_back(ExceptionMessage::translate("The document's format is '{}', not '{}'.") %
                       format->get<std::string>() % kFormatName);
  }
  if (const json_value* version =
          Member(json, "version", Kind::number_integer, "investigation", problems);
      version != nullptr && AsInt(*version).value_or(0) > kFormatVersion) {
    problems.push_back(ExceptionMessage::translate("The document is of version {}; this "
                                                   "version of Zubra reads up to {}.") %
                       version->dump() % kFormatVersion);
  }
  auto study = std::make_unique<Investigation>();
  Investigation& s = *study;
  if (const json_value* name = Member(json, "name", Kind::string, "investigation", problems)) {
    s.name_ = name->get<std::string>();
  }
  if (const json_value* text =
          Member(json, "description", Kind::string, "investigation", problems)) {
    s.description_ = text->get<std::string>();
  }
  if (const json_value* total =
          Member(json, "mixtureTotal", Kind::number_float, "investigation", problems);
      total != nullptr && !s.variables_->SetMixtureTotal(total->get<double>())) {
    problems.push_back(
        ExceptionMessage::translate("The mixture total must be a positive number.").str());
  }
  if (const json_value* factors = Member(json, "factors", Kind::array, "investigation", problems)) {
    int index = 0;
    for (const json_value& item : *factors) {
      ++index;
      auto factor = std::make_unique<FactorClass>();
      try {
        if (!item.is_object() || !factor->Load(item)) {
          problems.push_back(ExceptionMessage::translate("factor {}: it needs a \"name\".") %
                             index);
          continue;
        }
        if (const std::size_t listed = ListedSettings(item, *factor);
            listed > static_cast<std::size_t>(FactorValue::kMaxSettings)) {
          problems.push_back(ExceptionMessage::translate("factor {} ('{}'): it lists {} settings; "
                                                         "a factor holds at most {}.") %
                             index % factor->GetName() % listed % FactorValue::kMaxSettings);
          continue;
        }
        if (const json_value* use = FindMember(item, "use")) {
          const CEUse::EUse read =
              use->is_string() ? CEUse::GetEnum(use->get<std::string>()) : CEUse::kNotSet;
          if (read == CEUse::kNotSet || SettingsUse(*factor) == CEUse::kNotSet) {
            problems.push_back(ExceptionMessage::translate("factor {}: the use {} does not "
                                                           "apply.") %
                               index % use->dump());
            continue;
          }
          factor->SetSettings(factor->GetSettings(), factor->GetType(), read);
        }
      } catch (const Exception& error) {
        problems.push_back(ExceptionMessage::translate("factor {}: {}") % index % error.what());
        continue;
      }
      const std::string name = factor->GetName();
      std::string message;
      if (s.AddFactor(std::move(factor), 0, &message) != Variables::kOk) {
        problems.push_back(ExceptionMessage::translate("factor {} ('{}'): {}") % index % name %
                           message);
      }
    }
  }
  if (const json_value* responses =
          Member(json, "responses", Kind::array, "investigation", problems)) {
    int index = 0;
    for (const json_value& item : *responses) {
      ++index;
      auto response = std::make_unique<ResponseEx>();
      if (!item.is_object() || !response->Load(item)) {
        problems.push_back(ExceptionMessage::translate("response {}: it needs a \"name\".") %
                           index);
        continue;
      }
      const std::string name = response->GetResponseClass()->GetName();
      std::string message;
      if (s.AddResponse(std::move(response), &message) != Variables::kOk) {
        problems.push_back(ExceptionMessage::translate("response {} ('{}'): {}") % index % name %
                           message);
      }
    }
  }
  if (const json_value* constraints =
          Member(json, "constraints", Kind::object, "investigation", problems)) {
    try {
      s.constraints_->FromJson(WithUndefinedLimits(*constraints));
    } catch (const Exception& error) {
      problems.push_back(ExceptionMessage::translate("constraints: {}") % error.what());
    }
  }
  if (const json_value* design = Member(json, "design", Kind::object, "investigation", problems)) {
    s.DesignFromJson(*design, problems);
  }
  if (const json_value* options =
          Member(json, "options", Kind::object, "investigation", problems)) {
    try {
      s.options_.FromJson(*options);
    } catch (const Exception& error) {
      problems.push_back(ExceptionMessage::translate("options: {}") % error.what());
    }
  }
  s.options_.MakeSureOptionsAreAvailable(s.model_.get());
  if (const json_value* sheet =
          Member(json, "worksheet", Kind::object, "investigation", problems)) {
    try {
      s.worksheet_->FromJson(*sheet);
    } catch (const Exception& error) {
      problems.push_back(ExceptionMessage::translate("worksheet: {}") % error.what());
    }
  }
  if (!problems.empty()) throw InvestigationError(std::move(problems));
  return study;
}

// --- Files.
// ----------------------------------------------------------------------------------------

std::optional<Investigation::Format> Investigation::FormatOf(std::string_view path) {
  const std::size_t dot = path.rfind('.');
  const std::size_t slash = path.find_last_of("/\\");
  if (dot == std::string_view::npos || (slash != std::string_view::npos && dot < slash)) {
    return std::nullopt;
  }
  const std::string extension = Lower(path.substr(dot + 1));
  if (extension == "json") return Format::kJson;
  if (extension == "xml") return Format::kXml;
  if (extension == "ini") return Format::kIni;
  return std::nullopt;
}

std::unique_ptr<Investigation> Investigation::Open(const std::string& path) {
  std::optional<std::string> text;
  try {
    text = ReadFileIfExists(path);
  } catch (const Exception& error) {
    throw InvestigationError({error.Message()}, path);
  }
  if (!text) {
    throw InvestigationError(
        {(ExceptionMessage::translate("The file '{}' does not exist.") % path).str()}, path);
  }
  const std::size_t first = text->find_first_not_of(" \t\r\n\xEF\xBB\xBF");
  if (first == std::string::npos) {
    throw InvestigationError(
        {(ExceptionMessage::translate("The file '{}' is empty.") % path).str()}, path);
  }
  std::optional<Format> format = FormatOf(path);
  if (!format) {
    format = (*text)[first] == '{'   ? Format::kJson
             : (*text)[first] == '<' ? Format::kXml
                                     : Format::kIni;
  }
  try {
    switch (*format) {
      case Format::kJson:
        return FromJson(ParseJson(*text));
      case Format::kXml:
        return FromSection(*TinyXML2Section::LoadString(*text));
      case Format::kIni:
        return FromSection(*IniFileSection::LoadString(*text));
    }
  } catch (const InvestigationError& error) {
    throw InvestigationError(error.GetProblems(), path);
  } catch (const Exception& error) {
    throw InvestigationError({error.Message()}, path);
  }
  return nullptr;
}

void Investigation::Save(const std::string& path) const {
  const std::optional<Format> format = FormatOf(path);
  std::string content;
  if (format == Format::kJson) {
    content = DumpJson(ToJson(), 2) + "\n";
  } else if (format == Format::kIni) {
    IniFileSection root;
    ToSection(root);
    content = root.ToString();
  } else {
    TinyXML2Section root;
    ToSection(root);
    content = root.ToString();
  }
  try {
    WriteFileAtomically(path, content);
  } catch (const Exception& error) {
    throw Exception(ExceptionMessage::translate("Cannot save the investigation '{}': {}") % path %
                    error.Message());
  }
}

}  // namespace zubra
