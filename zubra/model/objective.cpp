#include "zubra/model/objective.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <utility>

#include "zubra/platform/design/all_designs.h"
#include "zubra/platform/design/design_builder.h"
#include "zubra/platform/design/e_model.h"
#include "zubra/platform/design/generators.h"
#include "zubra/platform/design/onion_options.h"
#include "zubra/platform/matrix/stream_window.h"
#include "zubra/platform/util/configuration_section.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/kt_string.h"
#include "zubra/variables/variables.h"

namespace zubra {
namespace {

constexpr const char* kSectionName = "DesignSpec";

// Reads `key` as a count and hands it to `setter` (which refuses what is out of range);
// garbled text is passed over.
template <typename Setter>
void TryCount(const ConfigurationSection& section, const char* key, Setter setter) {
  int value = 0;
  if (section.TryReadInt(key, value)) setter(value);
}

// The model named `text` (any ASCII case), or nullopt for a text that names none.
std::optional<EModel::Type> ModelFromText(const std::string& text) {
  const EModel::Type model = EModel::GetType(text);
  if (model == EModel::kNone && !KtStdString::EqualsNoCase(text, "None")) return std::nullopt;
  return model;
}

// The design options of `section` read field by field, for a section where the whole read
// failed: every key and child that reads is taken, the others keep their values.
void LoadOptionsLeniently(const ConfigurationSection& section, DesignOptions& options) {
  std::string text;
  if (section.ReadString("Objective", text)) {
    const EObjective::Type objective = EObjective::GetType(text);
    if (objective != EObjective::kNone) options.SetObjective(objective);
  }
  TryCount(section, "Runs", [&](int v) { options.SetRuns(v); });
  TryCount(section, "Centerpoints", [&](int v) { options.SetCenterPoints(v); });
  TryCount(section, "Blocks", [&](int v) {
    if (v >= 1) options.SetBlocks(static_cast<unsigned>(v));
  });
  TryCount(section, "Replicates", [&](int v) { options.SetReplicates(v); });
  TryCount(section, "ReplicatedRuns", [&](int v) { options.SetReplicatedRuns(v); });
  TryCount(section, "MaxLegalRuns", [&](int v) { options.SetMaxRuns(v); });
  double distance = 0.0;
  if (section.TryReadDouble("StarDistance", distance)) {
    options.SetStarDistance(static_cast<float>(distance));
  }
  if (section.ReadString("ProcessModel", text)) {
    if (const auto model = ModelFromText(text)) options.SetProcessModel(*model);
  }
  if (section.ReadString("MixtureModel", text)) {
    if (const auto model = ModelFromText(text)) options.SetMixtureModel(*model);
  }
  if (const ConfigurationSection* child = section.OpenChild("Generators")) {
    Generators generators = options.GetGenerators();
    try {
      generators.Load(*child);
      options.SetGenerators(std::move(generators));
    } catch (const Exception&) {
      // Garbled generators: the design keeps the ones it had (the table's when none).
    }
  }
  if (const ConfigurationSection* child = section.OpenChild("DesignSpecificOptions")) {
    const std::string kind_text = child->GetString("Kind");
    if (kind_text.empty()) {
      options.SetDesignSpecificOptions(nullptr);
    } else if (const auto kind = DesignSpecificOptions::GetKindFromText(kind_text)) {
      std::unique_ptr<DesignSpecificOptions> specific = DesignSpecificOptions::Create(*kind);
      try {
        specific->Load(*child);
      } catch (const Exception&) {
        specific = DesignSpecificOptions::Create(*kind);  // the kind's defaults
      }
      options.SetDesignSpecificOptions(std::move(specific));
    }
  }
}

}  // namespace

Objective::Objective(Variables* variables, std::shared_ptr<ConfigurationSection> section,
                     const std::vector<unsigned long long>* redmup_factors)
    : section_(std::move(section)), redmup_(redmup_factors != nullptr), variables_(variables) {
  if (redmup_factors != nullptr) factors_.SetREDMUPUsedFactors(*redmup_factors);
  if (variables_ != nullptr) factors_.Update(*variables_);
  Clear();
}

Objective::Objective(const Objective* other)
    : section_(other->section_),
      redmup_(other->redmup_),
      available_(other->available_),
      score_imported_(other->score_imported_),
      imported_from_json_(other->imported_from_json_),
      variables_(other->variables_),
      options_(other->options_),
      factors_(other->factors_),
      initiated_(other->initiated_) {
  // The flags of an objective that was never read may be stale: they are worked out anew.
  if (!other->initiated_) RecomputeAvailable();
}

Objective::~Objective() = default;

void Objective::Clear() {
  initiated_ = false;
  options_ = DesignOptions();
  RecomputeAvailable();
}

void Objective::Save(ConfigurationSection* section) {
  if (section == nullptr) return;
  ConfigurationSection& spec = section->CreateChild(kSectionName);
  options_.Save(spec);
  spec.WriteBool("IsScoreImported", score_imported_);
  spec.WriteBool("REDMUPSubModel", redmup_);
  spec.WriteBool("ImportedFromJson", imported_from_json_);
}

void Objective::Remove(ConfigurationSection* section) {
  if (section != nullptr) section->RemoveChild(kSectionName);
}

bool Objective::Init(bool strict) { return InitObjectiveFrom(section_.get(), strict); }

bool Objective::InitObjectiveFrom(const ConfigurationSection* section, bool strict) {
  initiated_ = false;
  InitDefaultSection(nullptr);
  if (!Load(section) && !LoadOld(section) && strict) return false;
  initiated_ = true;
  if (options_.GetObjective() == EObjective::kNone) options_.SetObjective(EObjective::kScreening);
  RecomputeAvailable();  // the loaded maximum of runs may differ from the default
  return true;
}

void Objective::ObjectiveHasChanged(EObjective::Type /*type*/, bool /*notify*/) {}

void Objective::UpdateFactors() {
  if (variables_ != nullptr) factors_.Update(*variables_);
  RecomputeAvailable();
}

void Objective::SetObjective(EObjective::Type type, bool notify) {
  if (type == options_.GetObjective() || !options_.SetObjective(type)) return;
  if (notify) ObjectiveHasChanged(type, notify);
}

bool Objective::SetMaxRuns(int runs) {
  if (runs > options_.GetMaxRuns() || !options_.SetMaxRuns(runs)) return false;
  RecomputeAvailable();
  return true;
}

bool Objective::RestoreMaxRuns(int runs) {
  if (!options_.SetMaxRuns(runs)) return false;
  RecomputeAvailable();
  return true;
}

int Objective::GetLayers() const {
  const auto* onion = dynamic_cast<const OnionOptions*>(options_.GetDesignSpecificOptions());
  return onion != nullptr ? onion->GetNLayers() : 1;
}

void Objective::SetScoreImported(bool value, bool write) {
  score_imported_ = value;
  if (write && section_ != nullptr) {
    section_->CreateChild(kSectionName).WriteBool("IsScoreImported", value);
  }
}

bool Objective::IsObjectiveAvailable(EObjective::Type type) const {
  return type >= EObjective::kNone && type <= EObjective::kOptimization &&
         available_[static_cast<std::size_t>(type)];
}

void Objective::InitDefaultSection(Variables* variables) {
  if (variables != nullptr) {
    variables_ = variables;
    factors_.Update(*variables_);
  }
  RecomputeAvailable();
}

void Objective::RecomputeAvailable() {
  available_.fill(false);
  const Factors& factors = factors_.GetFactors();
  const int max_runs = options_.GetMaxRuns();
  const auto valid = [&](EObjective::Type objective, EModel::Type model) {
    return AllDesigns::IsAnyDesignValid(objective, model, max_runs, factors, redmup_);
  };
  const bool screening = valid(EObjective::kScreening, EModel::kLinear) ||
                         valid(EObjective::kScreening, EModel::kInteraction);
  available_[EObjective::kScreening] = screening;
  available_[EObjective::kRSM] = valid(EObjective::kRSM, EModel::kQuadratic);
  available_[EObjective::kProcessMixture] = factors.IsMixture() && !factors.IsMixtureOnly() &&
                                            valid(EObjective::kProcessMixture, EModel::kLinear);
  available_[EObjective::kRobustness] = screening;
  available_[EObjective::kOptimization] = screening;
}

const DesignBuilder* Objective::GetUserDesign() const {
  const Factors& factors = factors_.GetFactors();
  DesignOptions base;
  base.SetObjective(options_.GetObjective());
  base.SetMaxRuns(options_.GetMaxRuns());
  base.SetProcessModel(options_.GetProcessModel());
  base.SetMixtureModel(options_.GetMixtureModel());
  const AllDesigns::Catalogue& catalogue =
      redmup_ ? AllDesigns::ClassicAndREDMUPDesigns() : AllDesigns::ClassicDesigns();
  const DesignBuilder* best = nullptr;
  for (const DesignBuilder* builder : catalogue) {
    if (best != nullptr && builder->GetRank() >= best->GetRank()) continue;
    const DesignOptions options = builder->MakeOptions(factors, base);
    if (builder->IsAdmissible(factors, options, score_imported_, redmup_)) best = builder;
  }
  return best;
}

bool Objective::Load(const ConfigurationSection* section) {
  const ConfigurationSection* spec =
      section != nullptr ? section->OpenChild(kSectionName) : nullptr;
  if (spec == nullptr) return false;
  LoadDesignOptions(*spec);
  spec->TryReadBool("IsScoreImported", score_imported_);
  spec->TryReadBool("REDMUPSubModel", redmup_);
  spec->TryReadBool("ImportedFromJson", imported_from_json_);
  return true;
}

bool Objective::LoadOld(const ConfigurationSection* section) {
  options_.SetObjective(EObjective::kNone);
  if (section == nullptr) return false;
  std::string text;
  if (const ConfigurationSection* old = section->OpenChild("Objective")) {
    if (old->ReadString("Objective", text)) options_.SetObjective(EObjective::GetType(text));
    old->TryReadBool("IsScoreImported", score_imported_);
    old->TryReadBool("REDMUPSubModel", redmup_);
    int max_runs = 0;
    if (old->TryReadInt("MaxLegalRuns", max_runs)) options_.SetMaxRuns(max_runs);
    return true;
  }
  const ConfigurationSection* status = section->OpenChild("Status");
  if (status == nullptr) return false;
  if (status->ReadString("Objective", text)) options_.SetObjective(EObjective::GetType(text));
  status->TryReadBool("IsScoreImported", score_imported_);
  // "Worksheet" belonged to this layout's bookkeeping of the worksheet, which has its own
  // section now; its value is not used.
  return options_.GetObjective() != EObjective::kNone;
}

void Objective::SaveOld(ConfigurationSection* section) const {
  if (section == nullptr) return;
  ConfigurationSection& old = section->CreateChild("Objective");
  old.WriteString("Objective", EObjective::GetString(options_.GetObjective()));
  old.WriteBool("IsScoreImported", score_imported_);
  old.WriteBool("REDMUPSubModel", redmup_);
  old.WriteInt("MaxLegalRuns", options_.GetMaxRuns());
}

void Objective::Show(StreamWindow& out) const {
  factors_.Show(out);
  out << "\n"
      << "Current Objective : " << EObjective::GetString(options_.GetObjective()) << "\n";
}

void Objective::LoadDesignOptions(const ConfigurationSection& section) {
  const EObjective::Type held = options_.GetObjective();
  try {
    options_.Load(section);
  } catch (const Exception&) {
    LoadOptionsLeniently(section, options_);
  }
  // Every set-up has an objective: a stored one that names none ("None", garbled text) keeps
  // the one held, as the JSON form could not say it.
  if (options_.GetObjective() == EObjective::kNone) {
    options_.SetObjective(held != EObjective::kNone ? held : EObjective::kScreening);
  }
  // Centre points are set per block: a stored total that the blocks do not divide (edited by
  // hand, or from a damaged file) is rounded up to the next whole number per block, so that
  // no centre point is lost and every form of the set-up holds the same count.
  const std::int64_t blocks = std::max(1U, options_.GetBlocks());
  const std::int64_t centers = options_.GetCenterPoints();
  if (centers % blocks != 0) {
    const std::int64_t most = std::numeric_limits<int>::max() / blocks * blocks;
    options_.SetCenterPoints(static_cast<int>(std::min((centers / blocks + 1) * blocks, most)));
  }
}

}  // namespace zubra
