#include "zubra/model/model_spec.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <optional>
#include <utility>

#include "zubra/platform/design/all_designs.h"
#include "zubra/platform/design/d_optimal_options.h"
#include "zubra/platform/design/design_builder.h"
#include "zubra/platform/design/internal/stability_builders.h"
#include "zubra/platform/design/ncdoe_constraints.h"
#include "zubra/platform/design/onion_options.h"
#include "zubra/platform/design/process_mixture_options.h"
#include "zubra/platform/design/split_plot_options.h"
#include "zubra/platform/matrix/stream_window.h"
#include "zubra/platform/util/configuration_section.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/kt_string.h"
#include "zubra/platform/util/message_sink.h"
#include "zubra/region/constraints_info.h"
#include "zubra/variables/factor_class.h"
#include "zubra/variables/variables.h"

namespace zubra {
namespace {

constexpr const char* kSectionName = "NewModelSpec";
constexpr const char* kOldSectionName = "ModelSpec";
constexpr const char* kTermListName = "Model";

using Kind = DesignSpecificOptions::Kind;

// True for the stored text of "no design chosen" (what Save writes for a set-up without one),
// as against a design the catalogue does not know.
bool NamesNoDesign(std::string_view text) {
  return KtStdString::EqualsNoCase(KtStdString::Trim(text), EDesign::GetString(EDesign::kNone));
}

// The kind of design-specific options a design type carries, if any.
std::optional<Kind> KindFor(EDesign::Type type) {
  switch (type) {
    case EDesign::kDOptimal:
    case EDesign::kIOptimal:
    case EDesign::kAOptimal:
      return Kind::kDOptimal;
    case EDesign::kOnion:
      return Kind::kOnion;
    case EDesign::kProcessMixture:
      return Kind::kProcessMixture;
    case EDesign::kREDMUP:
      return Kind::kSplitPlot;
    default:
      return std::nullopt;
  }
}

// The three factor numbers of term i of `terms` (zeros for an item that is not a term).
std::array<int, 3> FactorsOf(const TermInfo& terms, int i) {
  const TermData* term = terms.GetTerm(i);
  return term != nullptr ? term->GetFactors() : std::array<int, 3>{0, 0, 0};
}

bool IsOptimal(EDesign::Type type) {
  return type == EDesign::kDOptimal || type == EDesign::kIOptimal || type == EDesign::kAOptimal;
}

bool IsFractional(EDesign::Type type) {
  return type == EDesign::kFracFactResIII || type == EDesign::kFracFactResIV ||
         type == EDesign::kFracFactResV;
}

// Gives `options` the design-specific options of `type`'s kind (kept when already of that kind,
// removed for a type without them); the process-mixture flag goes into new process-mixture
// options.
void ApplyKind(DesignOptions& options, EDesign::Type type, bool pm_interaction) {
  const std::optional<Kind> kind = KindFor(type);
  const DesignSpecificOptions* held = options.GetDesignSpecificOptions();
  if (!kind) {
    options.SetDesignSpecificOptions(nullptr);
    return;
  }
  if (held != nullptr && held->GetKind() == *kind) return;
  std::unique_ptr<DesignSpecificOptions> fresh = DesignSpecificOptions::Create(*kind);
  if (auto* pm = dynamic_cast<ProcessMixtureOptions*>(fresh.get())) {
    pm->SetPMInteraction(pm_interaction);
  }
  options.SetDesignSpecificOptions(std::move(fresh));
}

bool Contains(const auto& list, const auto& value) {
  return std::find(std::begin(list), std::end(list), value) != std::end(list);
}

// p = min(3, floor(log2(runs / 4))) of the block table; 0 when below 1.
int BlockGeneratorLimit(int runs) {
  if (runs < 8) return 0;
  return std::min(3, static_cast<int>(std::floor(std::log2(runs / 4.0))));
}

// The design type an older file names in its "Design" key: the type's own text, the name of a
// builder of the catalogue, or one of the older design names.
EDesign::Type TypeFromOldText(const std::string& text, EModel::Type process_model) {
  if (const EDesign::Type type = EDesign::GetType(text); type != EDesign::kNone) return type;
  if (KtStdString::EqualsNoCase(text, "FractionalFactorial")) {
    return process_model == EModel::kInteraction ? EDesign::kFracFactResV : EDesign::kFracFactResIV;
  }
  if (KtStdString::EqualsNoCase(text, "DOptimal")) return EDesign::kDOptimal;
  if (KtStdString::EqualsNoCase(text, "Rechtschaffner Res V")) return EDesign::kRechtschaffnerResV;
  if (KtStdString::EqualsNoCase(text, "Rechtschaffner")) return EDesign::kRechtschaffner;
  for (const DesignBuilder* builder : AllDesigns::ClassicAndREDMUPDesigns()) {
    if (KtStdString::EqualsNoCase(builder->GetName(), text)) return builder->GetType();
  }
  return EDesign::kNone;
}

// The name of the first builder of `type` in the catalogue; empty when there is none.
std::string BuilderName(EDesign::Type type, const std::string& name) {
  const DesignBuilder* builder = AllDesigns::GetDesignBuilder(type, name);
  return builder != nullptr ? builder->GetName() : std::string();
}

}  // namespace

// --- Construction and the objective's hooks. ----------------------------------------------------

ModelSpec::ModelSpec(Variables* variables, std::shared_ptr<ConfigurationSection> section,
                     const std::vector<unsigned long long>* redmup_factors)
    : Objective(variables, std::move(section), redmup_factors), terms_(kTermListName) {
  SetDefaultModelsForObjective(GetObjective());
  ChooseBestDesign();
  MakeDefaultModel();
}

ModelSpec::ModelSpec(const ModelSpec* other)
    : Objective(other),
      design_type_(other->design_type_),
      design_name_(other->design_name_),
      block_interactions_(other->block_interactions_),
      use_adjustments_(other->use_adjustments_),
      pm_interaction_(other->pm_interaction_),
      terms_edited_(other->terms_edited_),
      design_data_(other->design_data_),
      designs_(other->designs_),
      custom_(other->custom_),
      selected_(other->selected_),
      terms_(other->terms_),
      inclusions_(other->inclusions_),
      progress_(other->progress_),
      design_constraints_(other->design_constraints_) {
  if (other->statistics_) {
    statistics_ = std::make_unique<DesignStatistics::Results>(*other->statistics_);
  }
}

ModelSpec::~ModelSpec() = default;

void ModelSpec::Clear() {
  Objective::Clear();
  design_type_ = EDesign::kNone;
  design_name_.clear();
  block_interactions_ = false;
  use_adjustments_ = false;
  pm_interaction_ = false;
  Discard();
  SetDefaultModelsForObjective(GetObjective());
  ChooseBestDesign();
  MakeDefaultModel();
}

void ModelSpec::Save(ConfigurationSection* section) {
  if (section == nullptr) return;
  Objective::Save(section);
  section->RemoveChild(kSectionName);
  ConfigurationSection& spec = section->CreateChild(kSectionName);
  spec.WriteString("Design", EDesign::GetString(design_type_));
  spec.WriteString("DesignName", design_name_);
  spec.WriteString("DesignData", design_data_);
  GetDesignOptions().Save(spec);
  spec.WriteBool("IsScoreImported", IsScoreImported());
  spec.WriteBool("REDMUPSubModel", IsREDMUPSubModel());
  spec.WriteBool("ImportedFromJson", IsImportedFromJson());
  spec.WriteBool("BlockInteractions", block_interactions_);
  spec.WriteBool("UseAdjustments", use_adjustments_);
  spec.WriteBool("PMInteraction", pm_interaction_);
  terms_.Save(&spec);
  if (statistics_) statistics_->Save(spec.CreateChild("Statistics"));
  if (!designs_.empty()) SaveDesigns(spec.CreateChild("Designs"));
  if (inclusions_.GetRows() > 0) SaveInclusions(spec.CreateChild("Inclusions"));
}

void ModelSpec::Remove(ConfigurationSection* section) {
  if (section == nullptr) return;
  Objective::Remove(section);
  section->RemoveChild(kOldSectionName);
  section->RemoveChild(kSectionName);
}

bool ModelSpec::Init(bool strict) { return InitFrom(GetSection().get(), strict); }

bool ModelSpec::InitFrom(const ConfigurationSection* section, bool strict) {
  if (!InitObjectiveFrom(section, strict)) return false;
  if (!Load(section) && !LoadOld(section) && !LoadReallyOld(section)) {
    SetDefaultModelsForObjective(GetObjective());
    ChooseBestDesign();
    MakeDefaultModel();
  }
  return true;
}

void ModelSpec::ObjectiveHasChanged(EObjective::Type type, bool /*notify*/) {
  SetDefaultModelsForObjective(type);
  ChooseBestDesign();
  MakeDefaultModel();
}

// --- The current design. ----------------------------------------------------------------------

const DesignBuilder* ModelSpec::GetDesignBuilder() const {
  if (design_type_ == EDesign::kNone) return nullptr;
  return AllDesigns::GetDesignBuilder(design_type_, design_name_);
}

bool ModelSpec::ChangeCurrentDesign(EDesign::Type type, const std::string& name,
                                    EObjective::Type objective, EModel::Type model,
                                    bool keep_settings) {
  DesignOptions options = GetDesignOptions();
  SetModelsIn(options, model);
  return ChangeCurrentDesign(type, name, objective, options.GetProcessModel(),
                             options.GetMixtureModel(), keep_settings);
}

bool ModelSpec::ChangeCurrentDesign(EDesign::Type type, const std::string& name,
                                    EObjective::Type objective, EModel::Type process_model,
                                    EModel::Type mixture_model, bool keep_settings) {
  const DesignBuilder* builder = AllDesigns::GetDesignBuilder(type, name);
  if (builder == nullptr) return false;
  DesignOptions options = GetDesignOptions();
  if (!options.SetObjective(objective)) return false;
  const Factors& factors = GetFactors().GetFactors();
  if (!options.SetProcessModel(factors.GetProcessCount() > 0 ? process_model : EModel::kNone) ||
      !options.SetMixtureModel(factors.IsMixture() ? mixture_model : EModel::kNone)) {
    return false;
  }
  const bool model_changed = options.GetProcessModel() != GetProcessModel() ||
                             options.GetMixtureModel() != GetMixtureModel();
  const bool stability_changed =
      EDesign::IsStabilityDesign(type) != EDesign::IsStabilityDesign(design_type_);
  if (!SwitchTo(builder, std::move(options), keep_settings)) return false;
  if (model_changed || stability_changed) MakeDefaultModel();
  return true;
}

void ModelSpec::ChangeSettingsWithoutSynch(EObjective::Type objective, EModel::Type model) {
  DesignOptions& options = MutableDesignOptions();
  options.SetObjective(objective);
  SetModelsIn(options, model);
}

void ModelSpec::SetObjectiveForDesignWizard(EObjective::Type objective) {
  SetObjective(objective, false);
  SetDefaultModelsForObjective(objective);
  MakeDefaultModel();
}

void ModelSpec::AssureMaxRuns() {
  if (const DesignBuilder* builder = GetDesignBuilder()) {
    const int before = GetRuns();
    MutableDesignOptions().AssureMaxRuns(*builder, GetFactors().GetFactors());
    if (GetRuns() != before) Discard();
  }
}

void ModelSpec::SetModelsIn(DesignOptions& options, EModel::Type model) const {
  const Factors& factors = GetFactors().GetFactors();
  if (factors.GetProcessCount() > 0) {
    options.SetProcessModel(model);
  } else {
    options.SetProcessModel(EModel::kNone);
    if (factors.IsMixture()) options.SetMixtureModel(model);
  }
  if (!factors.IsMixture()) options.SetMixtureModel(EModel::kNone);
}

DesignOptions ModelSpec::FreshOptions(const DesignBuilder& builder,
                                      const DesignOptions& options) const {
  DesignOptions fresh;
  fresh.SetObjective(options.GetObjective());
  fresh.SetMaxRuns(options.GetMaxRuns());
  fresh.SetProcessModel(options.GetProcessModel());
  fresh.SetMixtureModel(options.GetMixtureModel());
  if (const DesignSpecificOptions* specific = options.GetDesignSpecificOptions()) {
    fresh.SetDesignSpecificOptions(specific->Clone());
  }
  return builder.MakeOptions(GetFactors().GetFactors(), fresh);
}

bool ModelSpec::IsDesignChoosable() const {
  const DesignBuilder* builder = GetDesignBuilder();
  if (builder == nullptr) return false;
  // The options a reader starts from: the family's defaults, the objective and models held,
  // and no lower maximum of runs than the usual one (a lower one comes after the design).
  DesignOptions base;
  base.SetObjective(GetObjective());
  base.SetMaxRuns(std::max(GetMaxLegalRuns(), DesignOptions::kDefaultMaxRuns));
  base.SetProcessModel(GetProcessModel());
  base.SetMixtureModel(GetMixtureModel());
  ApplyKind(base, builder->GetType(), pm_interaction_);
  return builder->IsValid(GetFactors().GetFactors(), FreshOptions(*builder, base));
}

bool ModelSpec::SwitchTo(const DesignBuilder* builder, DesignOptions options, bool keep_settings) {
  const Factors& factors = GetFactors().GetFactors();
  const EDesign::Type type = builder->GetType();
  const bool same_design = type == design_type_ && builder->GetName() == design_name_;
  ApplyKind(options, type, pm_interaction_);
  if (!same_design) options.SetGenerators(Generators());
  if (keep_settings) {
    const std::vector<int> candidates = builder->GetCandidateRuns(factors, options);
    if (options.GetRuns() == 0 || !Contains(candidates, options.GetRuns())) {
      options.SetRuns(candidates.empty() ? 0 : candidates.front());
    }
    if (!Contains(builder->GetBlockCounts(factors, options, options.GetRuns()),
                  options.GetBlocks())) {
      options.SetBlocks(1);
    }
    if (!builder->AllowsCenterPoints(factors)) {
      options.SetCenterPoints(0);
    } else {
      options.SetCenterPoints(
          std::max(options.GetCenterPoints(), builder->GetMinCenterPoints(factors, options)));
    }
    options.SetReplicatedRuns(std::min(options.GetReplicatedRuns(), options.GetRuns()));
  } else {
    options = FreshOptions(*builder, options);
  }
  if (!builder->IsValid(factors, options)) return false;
  design_type_ = type;
  design_name_ = builder->GetName();
  MutableDesignOptions() = std::move(options);
  Discard();
  return true;
}

void ModelSpec::KeepNoDesign() {
  design_type_ = EDesign::kNone;
  design_name_.clear();
  ApplyKind(MutableDesignOptions(), EDesign::kNone, pm_interaction_);
}

void ModelSpec::RestoreWithoutDesign(const DesignOptions& settings) {
  RestoreDesign(nullptr, settings);
}

bool ModelSpec::RestoreUnusableDesign(EDesign::Type type, const std::string& name,
                                      const DesignOptions& settings) {
  const DesignBuilder* builder = AllDesigns::GetDesignBuilder(type, name);
  if (builder == nullptr) return false;
  RestoreDesign(builder, settings);
  return true;
}

void ModelSpec::RestoreDesign(const DesignBuilder* builder, const DesignOptions& settings) {
  const EDesign::Type type = builder != nullptr ? builder->GetType() : EDesign::kNone;
  const std::string name = builder != nullptr ? builder->GetName() : std::string();
  const bool rebuild = design_type_ != type || design_name_ != name ||
                       settings.GetProcessModel() != GetProcessModel() ||
                       settings.GetMixtureModel() != GetMixtureModel();
  if (builder == nullptr) {
    KeepNoDesign();
  } else {
    design_type_ = type;
    design_name_ = name;
    ApplyKind(MutableDesignOptions(), type, pm_interaction_);
  }
  DesignOptions& options = MutableDesignOptions();
  options.SetRuns(settings.GetRuns());
  options.SetCenterPoints(settings.GetCenterPoints());
  options.SetBlocks(settings.GetBlocks());
  options.SetProcessModel(settings.GetProcessModel());
  options.SetMixtureModel(settings.GetMixtureModel());
  if (rebuild) {
    MakeDefaultModel();
  } else {
    Discard();
  }
}

void ModelSpec::ChooseBestDesign() {
  const DesignBuilder* best = GetUserDesign();
  if (best == nullptr &&
      (GetProcessModel() > EModel::kLinear || GetMixtureModel() > EModel::kLinear)) {
    // No design carries the objective's usual model: fall back to the linear models.
    DesignOptions& options = MutableDesignOptions();
    const Factors& factors = GetFactors().GetFactors();
    options.SetProcessModel(factors.GetProcessCount() > 0 ? EModel::kLinear : EModel::kNone);
    options.SetMixtureModel(factors.IsMixture() ? EModel::kLinear : EModel::kNone);
    best = GetUserDesign();
  }
  if (best == nullptr || !SwitchTo(best, GetDesignOptions(), false)) {
    design_type_ = EDesign::kNone;
    design_name_.clear();
    ApplyKind(MutableDesignOptions(), EDesign::kNone, pm_interaction_);
    Discard();
  }
}

// --- Settings. ----------------------------------------------------------------------------------

bool ModelSpec::SetRuns(int runs, bool check) {
  const DesignBuilder* builder = GetDesignBuilder();
  if (builder == nullptr) return false;
  DesignOptions options = GetDesignOptions();
  if (!options.SetRuns(runs)) return false;
  if (check && !builder->IsValid(GetFactors().GetFactors(), options)) return false;
  if (runs != GetRuns()) {
    MutableDesignOptions() = std::move(options);
    Discard();
  }
  return true;
}

bool ModelSpec::SetCenterPoints(int per_block) {
  const DesignBuilder* builder = GetDesignBuilder();
  if (builder == nullptr || per_block < 0) return false;
  const long long total = static_cast<long long>(per_block) * static_cast<long long>(GetBlocks());
  if (total > GetMaxLegalRuns() ||
      total < builder->GetMinCenterPoints(GetFactors().GetFactors(), GetDesignOptions())) {
    return false;
  }
  if (static_cast<int>(total) != GetCenterPoints()) {
    MutableDesignOptions().SetCenterPoints(static_cast<int>(total));
    Discard();
  }
  return true;
}

bool ModelSpec::SetBlocks(std::size_t blocks) {
  if (!Contains(GetAvalibleBlocks(), blocks)) return false;
  const std::size_t old_blocks = GetBlocks();
  if (blocks == old_blocks) return true;
  const int per_block = GetCenterPoints() / static_cast<int>(old_blocks);
  MutableDesignOptions().SetBlocks(static_cast<unsigned>(blocks));
  Discard();
  return SetCenterPoints(per_block);
}

std::vector<std::size_t> ModelSpec::GetAvalibleBlocks() const {
  std::vector<std::size_t> counts{1};
  const DesignBuilder* builder = GetDesignBuilder();
  if (builder == nullptr || IsREDMUPSubModel() || GetVariables() == nullptr) return counts;
  if (const auto* onion =
          dynamic_cast<const OnionOptions*>(GetDesignOptions().GetDesignSpecificOptions());
      design_type_ == EDesign::kOnion && onion != nullptr && onion->IsLayerSettingOn()) {
    return counts;
  }
  const int k = GetVariables()->GetDesignFactorCount();
  if (k >= 48) return counts;
  const Factors& factors = GetFactors().GetFactors();
  const int n = GetRuns() > 0 ? GetRuns() : builder->GetDefaultRuns(factors, GetDesignOptions());
  const int p = BlockGeneratorLimit(n);
  switch (design_type_) {
    case EDesign::kFullFactorial:
    case EDesign::kFracFactResIII:
    case EDesign::kFracFactResIV:
    case EDesign::kFracFactResV:
      for (int i = 1; i <= p; ++i) {
        int generator = 0;
        if (design_type_ == EDesign::kFullFactorial) {
          generator = Generators::GetGenFullFactorial(-i, n, i);
        } else if (design_type_ == EDesign::kFracFactResIII) {
          generator = Generators::GetGen3(-i, k, n, i);
        } else if (design_type_ == EDesign::kFracFactResIV) {
          generator = Generators::GetGen4(-i, k, n, i);
        } else {
          generator = Generators::GetGen5(-i, k, n, i);
        }
        if (generator != 0) counts.push_back(std::size_t{1} << i);
      }
      break;
    case EDesign::kPlackettBurman:
      if (k < n - 1) counts.push_back(2);
      break;
    case EDesign::kCentralComposite: {
      counts.push_back(2);
      const int m = n - 2 * k;
      for (int i = 1; i <= p; ++i) {
        if (Generators::GetGen5(0, k, m, i) == 5 && Generators::GetGen5(-i, k, m, i) != 0) {
          counts.push_back((std::size_t{1} << i) + 1);
        }
      }
      break;
    }
    case EDesign::kBoxBehnken:
      switch (k) {
        case 4:
          counts.push_back(3);
          break;
        case 5:
        case 6:
        case 7:
        case 10:
        case 12:
          counts.push_back(2);
          break;
        case 9:
          counts.push_back(5);
          counts.push_back(10);
          break;
        default:
          break;
      }
      break;
    case EDesign::kDefinitiveScreening:
      // Blocks of whole mirror pairs, as the builder offers them for the runs.
      for (unsigned b : builder->GetBlockCounts(factors, GetDesignOptions(), n)) {
        if (b > 1) counts.push_back(b);
      }
      break;
    case EDesign::kDOptimal: {
      const std::vector<int> runs = builder->GetCandidateRuns(factors, GetDesignOptions());
      if (runs.empty()) break;
      const int most =
          std::min({33 - GetVariables()->GetExpandedDesignFactorCount(), runs.back() / 2, 9});
      // The builder's own block counts for the current runs are the further test: they are
      // the counts it can generate (for process and mixture factors together, as for any).
      const std::vector<unsigned> generable = builder->GetBlockCounts(factors, GetDesignOptions());
      for (int b = 2; b <= most; ++b) {
        if (Contains(generable, static_cast<unsigned>(b))) {
          counts.push_back(static_cast<std::size_t>(b));
        }
      }
      break;
    }
    default:
      break;
  }
  return counts;
}

bool ModelSpec::SetBlocksInteractions(bool value) {
  if (value != block_interactions_) {
    block_interactions_ = value;
    if (GetBlocks() >= 2) Discard();
  }
  return true;
}

bool ModelSpec::IsBlockInteractonPossible(int blocks, EDesign::Type design, int model) {
  if (design != EDesign::kBoxBehnken) return false;
  if (model == EModel::kInteraction) return blocks >= 2 && blocks <= 20;
  if (model == EModel::kQuadratic) {
    static constexpr int kAllowed[] = {4, 7, 9, 10, 12, 13, 14, 15, 16, 18, 19, 20};
    return Contains(kAllowed, blocks);
  }
  return false;
}

bool ModelSpec::SetReplicates(int replicates) {
  if (replicates < 0) return false;
  if (replicates != GetReplicates()) {
    MutableDesignOptions().SetReplicates(replicates);
    Discard();
  }
  return true;
}

void ModelSpec::SetReplicatedRuns(int runs) {
  if (runs != GetReplicatedRuns() && MutableDesignOptions().SetReplicatedRuns(runs)) Discard();
}

bool ModelSpec::ValidateStarDistance(float distance, std::string* message) {
  if (distance > 0.0F && distance <= 5.0F) return true;
  if (message != nullptr) {
    *message = ExceptionMessage::translate("The star distance must be a number between 0 and 5.");
  }
  return false;
}

bool ModelSpec::SetStarDistance(float distance, std::string* message) {
  if (!ValidateStarDistance(distance, message)) return false;
  if (distance != GetStarDistance()) {
    MutableDesignOptions().SetStarDistance(distance);
    Discard();
  }
  return true;
}

bool ModelSpec::SetLayers(int layers) {
  if (dynamic_cast<const OnionOptions*>(GetDesignOptions().GetDesignSpecificOptions()) == nullptr) {
    return false;
  }
  const DesignBuilder* onion = AllDesigns::GetDesignBuilder(EDesign::kOnion, "");
  if (onion == nullptr ||
      !onion->SetLayers(MutableDesignOptions(), layers, GetFactors().GetFactors())) {
    return false;
  }
  Discard();
  return true;
}

const DOptimalOptions* ModelSpec::GetOptimalOptions() const {
  return dynamic_cast<const DOptimalOptions*>(GetDesignOptions().GetDesignSpecificOptions());
}

bool ModelSpec::SetWholePlots(int whole_plots, double variance_ratio) {
  const DOptimalOptions* current = GetOptimalOptions();
  if (current == nullptr) return false;
  DOptimalOptions changed(*current);
  if (!changed.SetWholePlots(whole_plots) || !changed.SetVarianceRatio(variance_ratio)) {
    return false;
  }
  if (changed.Equals(*current)) return true;
  MutableDesignOptions().SetDesignSpecificOptions(std::make_unique<DOptimalOptions>(changed));
  Discard();
  return true;
}

// --- Model types. -------------------------------------------------------------------------------

bool ModelSpec::SetProcessModel(EModel::Type model) {
  const Factors& factors = GetFactors().GetFactors();
  if (factors.IsMixtureOnly()) {
    if (GetProcessModel() != EModel::kNone) {
      MutableDesignOptions().SetProcessModel(EModel::kNone);
      Discard();
      MakeDefaultModel();
    }
    return true;
  }
  return StoreModel(true, model);
}

bool ModelSpec::SetMixtureModel(EModel::Type model) {
  if (model == GetMixtureModel()) return true;
  if (!GetFactors().GetFactors().IsMixture()) {
    pm_interaction_ = false;
    if (auto* pm = dynamic_cast<ProcessMixtureOptions*>(
            MutableDesignOptions().GetDesignSpecificOptions())) {
      pm->SetPMInteraction(false);
    }
  }
  return StoreModel(false, model);
}

bool ModelSpec::StoreModel(bool process, EModel::Type model) {
  DesignOptions options = GetDesignOptions();
  if (!(process ? options.SetProcessModel(model) : options.SetMixtureModel(model))) return false;
  if (design_type_ != EDesign::kDOptimal) {
    const DesignBuilder* builder = GetDesignBuilder();
    if (builder == nullptr || !builder->IsValid(GetFactors().GetFactors(), options)) return false;
  }
  if (model != (process ? GetProcessModel() : GetMixtureModel())) {
    MutableDesignOptions() = std::move(options);
    Discard();
    MakeDefaultModel();
  }
  return true;
}

bool ModelSpec::IsPMInteraction() const {
  if (const auto* pm = dynamic_cast<const ProcessMixtureOptions*>(
          GetDesignOptions().GetDesignSpecificOptions())) {
    return pm->IsPMInteraction();
  }
  const DesignBuilder* builder = GetDesignBuilder();
  if (builder == nullptr) return false;
  if (IsOptimal(design_type_)) return pm_interaction_;
  return builder->IsPMInteraction(GetFactors().GetFactors(), GetDesignOptions());
}

bool ModelSpec::SetPMInteraction(bool value) {
  if (value == IsPMInteraction() && value == pm_interaction_) return true;
  pm_interaction_ = value;
  if (auto* pm =
          dynamic_cast<ProcessMixtureOptions*>(MutableDesignOptions().GetDesignSpecificOptions())) {
    pm->SetPMInteraction(value);
  }
  Discard();
  MakeDefaultModel();
  return true;
}

bool ModelSpec::ChangeProcessModel(EModel::Type model) { return ChangeModel(true, model); }

bool ModelSpec::ChangeMixtureModel(EModel::Type model) { return ChangeModel(false, model); }

bool ModelSpec::ChangePMInteraction(bool value) { return SetPMInteraction(value); }

bool ModelSpec::ChangeModel(bool process, EModel::Type model) {
  if (process ? SetProcessModel(model) : SetMixtureModel(model)) return true;
  // The current design cannot carry the model: the best design that can takes its place.
  DesignOptions options = GetDesignOptions();
  if (!(process ? options.SetProcessModel(model) : options.SetMixtureModel(model))) return false;
  ModelSpec trial(this);
  trial.MutableDesignOptions() = options;
  const DesignBuilder* best = trial.GetUserDesign();
  if (best == nullptr || !SwitchTo(best, std::move(options), true)) return false;
  MakeDefaultModel();
  return true;
}

bool ModelSpec::IsProcessModelAvailable(EObjective::Type objective, EModel::Type model) const {
  const auto valid = [&](EObjective::Type o, EModel::Type m) {
    return AllDesigns::IsAnyDesignValid(o, m, GetMaxLegalRuns(), GetFactors().GetFactors(),
                                        IsREDMUPSubModel());
  };
  switch (objective) {
    case EObjective::kScreening:
    case EObjective::kRobustness:
    case EObjective::kOptimization:
      if (model == EModel::kLinear) return true;
      return (model == EModel::kInteraction || model == EModel::kQuadratic) &&
             valid(objective, model);
    case EObjective::kRSM:
      return model == EModel::kQuadratic && valid(EObjective::kRSM, EModel::kQuadratic);
    case EObjective::kProcessMixture:
      return (model == EModel::kLinear || model == EModel::kInteraction ||
              model == EModel::kQuadratic) &&
             valid(EObjective::kProcessMixture, model);
    default:
      return false;
  }
}

bool ModelSpec::IsMixtureModelAvailable(EObjective::Type objective, EModel::Type model) const {
  const auto valid = [&](EObjective::Type o, EModel::Type m) {
    return AllDesigns::IsAnyDesignValid(o, m, GetMaxLegalRuns(), GetFactors().GetFactors(),
                                        IsREDMUPSubModel());
  };
  const bool higher =
      model == EModel::kQuadratic || model == EModel::kSpecialCubic || model == EModel::kCubic;
  switch (objective) {
    case EObjective::kScreening:
    case EObjective::kRobustness:
      return model == EModel::kLinear;
    case EObjective::kRSM:
    case EObjective::kOptimization:
      return higher && valid(objective, model);
    case EObjective::kProcessMixture:
      return (model == EModel::kLinear || higher) && valid(EObjective::kProcessMixture, model);
    default:
      return false;
  }
}

int ModelSpec::GetDefaultNoModelTerms(EModel::Type model, int factors) {
  const int k = factors;
  switch (model) {
    case EModel::kLinear:
      return k + 1;
    case EModel::kInteraction:
      return k * (k - 1) / 2 + k + 1;
    case EModel::kQuadratic:
      return k * (k - 1) / 2 + 2 * k + 1;
    default:
      return -1;
  }
}

void ModelSpec::SetDefaultModelsForObjective(EObjective::Type objective) {
  const Factors& factors = GetFactors().GetFactors();
  const bool surface = objective == EObjective::kRSM || objective == EObjective::kOptimization;
  DesignOptions& options = MutableDesignOptions();
  options.SetProcessModel(factors.GetProcessCount() == 0 ? EModel::kNone
                          : surface                      ? EModel::kQuadratic
                                                         : EModel::kLinear);
  options.SetMixtureModel(!factors.IsMixture() ? EModel::kNone
                          : surface            ? EModel::kQuadratic
                                               : EModel::kLinear);
}

// --- Terms. -------------------------------------------------------------------------------------

bool ModelSpec::SetTermInfo(const TermInfo& terms) {
  const int factor_count = GetVariables() != nullptr ? GetVariables()->GetFactorCount() : 0;
  for (int i = 1; i <= terms.GetNItm(); ++i) {
    for (int number : FactorsOf(terms, i)) {
      if (number < 0 || number > factor_count) return false;
    }
  }
  terms_ = terms;
  terms_.SetINam(kTermListName);
  RebuildTermNames();
  SetTermIndexOrder();
  terms_edited_ = true;
  Discard();
  return true;
}

int ModelSpec::AddTerm(const int* term) {
  const int factor_count = GetVariables() != nullptr ? GetVariables()->GetFactorCount() : 0;
  for (int slot = 1; slot <= 3; ++slot) {
    if (term[slot] < 0 || term[slot] > factor_count) return 1;
  }
  const int result =
      terms_.AddItm(0, MakeTermString(GetVariables(), term), term[1], term[2], term[3]);
  if (result == 0) {
    SortTerms();
    terms_edited_ = true;
    Discard();
  }
  return result;
}

int ModelSpec::DeleteTerm(const int* term) {
  int wanted[4] = {0, term[1], term[2], term[3]};
  SortTerm(wanted);
  for (int i = 1; i <= terms_.GetNItm(); ++i) {
    const TermData* held = terms_.GetTerm(i);
    if (held != nullptr &&
        held->GetFactors() == std::array<int, 3>{wanted[1], wanted[2], wanted[3]}) {
      terms_.DelItm(i);
      SetTermIndexOrder();
      terms_edited_ = true;
      Discard();
      return 0;
    }
  }
  return 1;
}

void ModelSpec::SortTerms() {
  terms_.SortItm();
  SetTermIndexOrder();
}

void ModelSpec::MakeDefaultModel() {
  terms_ = DefaultTerms();
  terms_edited_ = false;
  Discard();
}

TermInfo ModelSpec::DefaultTerms() const {
  TermInfo terms(kTermListName);
  const Factors& factors = GetFactors().GetFactors();
  const EModel::Type process = factors.GetProcessCount() > 0 ? GetProcessModel() : EModel::kNone;
  const EModel::Type mixture = factors.IsMixture() ? GetMixtureModel() : EModel::kNone;
  DesignModel model;
  if (EDesign::IsStabilityDesign(design_type_)) {
    model = internal::StabilityBuilderBase::Model(factors, process);
  } else if (factors.IsProcessAndMixture() && IsPMInteraction()) {
    model = DesignModel::MakeCrossed(factors, process, mixture);
  } else {
    model = DesignModel::Make(factors, process, mixture);
  }
  for (const DesignModel::Term& term : model.GetTerms()) {
    int numbers[4] = {0, 0, 0, 0};
    for (std::size_t j = 0; j < term.size() && j < 3; ++j) {
      numbers[j + 1] = GetFactors().GetFactorNumber(term[j]);
    }
    terms.AddItm(0, MakeTermString(GetVariables(), numbers), numbers[1], numbers[2], numbers[3]);
  }
  terms.SortItm();
  NumberByColumns(terms);
  terms.ClearIsModified();
  return terms;
}

TermInfo ModelSpec::GetPowerTerms() const {
  TermInfo power(terms_);
  NumberByColumns(power);
  for (int i = power.GetNItm(); i >= 1; --i) {
    if (FactorsOf(power, i)[0] == 0) power.DelItm(i);
  }
  power.ClearIsModified();
  return power;
}

void ModelSpec::SetTermIndexOrder() { NumberByColumns(terms_); }

void ModelSpec::NumberByColumns(TermInfo& terms) const {
  int column = 1;
  for (int i = 1; i <= terms.GetNItm(); ++i) {
    terms.GetItm(i)->SetNum(column);
    int width = 1;
    for (int number : FactorsOf(terms, i)) {
      const FactorClass* factor = number > 0 && GetVariables() != nullptr
                                      ? GetVariables()->GetIndexFactor(number)
                                      : nullptr;
      if (factor != nullptr) width *= std::max(1, factor->GetExpandedCount());
    }
    column += width;
  }
}

void ModelSpec::RebuildTermNames() {
  for (int i = 1; i <= terms_.GetNItm(); ++i) {
    const std::array<int, 3> f = FactorsOf(terms_, i);
    terms_.SetTermName(i, MakeTermString(GetVariables(), f[0], f[1], f[2]).c_str());
  }
}

bool ModelSpec::IsMixtureProcessTerm(const int* term, int* process_count,
                                     int* mixture_count) const {
  int process = 0;
  int mixture = 0;
  for (int slot = 1; slot <= 3; ++slot) {
    const FactorClass* factor = term[slot] > 0 && GetVariables() != nullptr
                                    ? GetVariables()->GetIndexFactor(term[slot])
                                    : nullptr;
    if (factor == nullptr) continue;
    if (factor->GetType() == CEType::kFormulation || factor->GetType() == CEType::kFiller) {
      ++mixture;
    } else {
      ++process;
    }
  }
  if (process_count != nullptr) *process_count = process;
  if (mixture_count != nullptr) *mixture_count = mixture;
  return process > 0 && mixture > 0;
}

bool ModelSpec::IsPureMixtureTerm(const int* term) const {
  if (term[1] == 0 || GetVariables() == nullptr) return false;
  for (int slot = 1; slot <= 3; ++slot) {
    if (term[slot] == 0) continue;
    const FactorClass* factor = GetVariables()->GetIndexFactor(term[slot]);
    if (factor == nullptr || factor->GetType() != CEType::kFormulation) return false;
  }
  return true;
}

void ModelSpec::SortTerm(int* term) {
  std::sort(term + 1, term + 4, [](int a, int b) {
    if (a == 0 || b == 0) return a != 0 && b == 0;
    return a < b;
  });
}

std::string ModelSpec::MakeTermString(const Variables* variables, const int* term) {
  return MakeTermString(variables, term[1], term[2], term[3]);
}

std::string ModelSpec::MakeTermString(const Variables* variables, int f1, int f2, int f3) {
  if (f1 == 0 && f2 == 0 && f3 == 0) return "Constant";
  std::string name;
  for (int number : {f1, f2, f3}) {
    if (number == 0) continue;
    if (!name.empty()) name += '*';
    const std::string abbreviation =
        variables != nullptr ? variables->GetAbbr(number) : std::string();
    name += abbreviation.empty() ? std::string("?") : variables->GetTransformedAbbr(abbreviation);
  }
  return name;
}

std::string ModelSpec::AbbrevToFullName(const std::string& abbreviations) const {
  std::string full;
  for (const std::string& part : KtStdString::Split(abbreviations, '*')) {
    if (!full.empty()) full += '*';
    const FactorClass* factor =
        GetVariables() != nullptr ? GetVariables()->GetFactorFromAbbr(part) : nullptr;
    if (factor == nullptr) {
      full += part;
      continue;
    }
    full += factor->GetName();
    if (!part.empty() && part.back() == '~') full += '~';
  }
  return full;
}

// --- Legality. ----------------------------------------------------------------------------------

bool ModelSpec::IsLegal(EObjective::Type objective, std::string& message) const {
  if (const auto* plate =
          dynamic_cast<const SplitPlotOptions*>(GetDesignOptions().GetDesignSpecificOptions())) {
    // A side without factors has no design; the extract would otherwise take every factor.
    const auto legal = [&](const SplitPlotOptions::Side& side, EObjective::Type side_objective) {
      if (side.factors.empty()) {
        message = ExceptionMessage::translate("There is no design available.");
        return false;
      }
      return SideSpec(side)->IsLegal(side_objective, message);
    };
    const SplitPlotOptions::Side& first = plate->Horizontal();
    const SplitPlotOptions::Side& second = plate->Vertical();
    if (objective == EObjective::kProcessMixture) {
      if (legal(first, EObjective::kScreening) && legal(second, EObjective::kRSM)) return true;
      return legal(second, EObjective::kScreening) && legal(first, EObjective::kRSM);
    }
    return legal(first, objective) && legal(second, objective);
  }
  if (objective == EObjective::kRSM) {
    const int factors = GetVariables() != nullptr
                            ? GetVariables()->GetDesignFactorCount()
                            : static_cast<int>(GetFactors().GetFactors().GetVaried().size());
    if (factors > kMaxRSMFactors) {
      message = ExceptionMessage::translate("Only %1% factors are allowed for RSM designs") %
                kMaxRSMFactors;
      return false;
    }
  }
  if (objective < EObjective::kScreening || objective > EObjective::kProcessMixture) {
    message = ExceptionMessage::translate("Unknown objective");
    return false;
  }
  if (design_type_ != EDesign::kProcessMixture) {
    if (IsObjectiveAvailable(objective)) return true;
    message = ExceptionMessage::translate("There is no design available.");
    return false;
  }
  if (objective != EObjective::kProcessMixture || GetFactors().GetFactors().IsProcessAndMixture()) {
    return true;
  }
  message = ExceptionMessage::translate(
      "Split objective is only available when there are both process and formulation factors");
  return false;
}

bool ModelSpec::IsDesignValid(std::string* message) const {
  const DesignBuilder* builder = GetDesignBuilder();
  if (builder == nullptr) {
    if (message != nullptr) {
      *message = ExceptionMessage::translate("There is no design available.");
    }
    return false;
  }
  return builder->IsValid(GetFactors().GetFactors(), GenerationOptions(nullptr), message);
}

std::unique_ptr<ModelSpec> ModelSpec::SideSpec(const SplitPlotOptions::Side& side) const {
  std::vector<unsigned long long> ids;
  for (int index : side.factors) {
    const int number = GetFactors().GetFactorNumber(index);
    const FactorClass* factor =
        GetVariables() != nullptr ? GetVariables()->GetIndexFactor(number) : nullptr;
    if (factor != nullptr) ids.push_back(factor->GetUniqueID());
  }
  auto spec = std::make_unique<ModelSpec>(GetVariables(), nullptr, &ids);
  spec->MutableDesignOptions().SetObjective(GetObjective());
  spec->SetModelsIn(spec->MutableDesignOptions(), side.model);
  spec->MutableDesignOptions().SetRuns(side.runs);
  spec->InitDefaultSection(nullptr);
  return spec;
}

// --- Designs. -----------------------------------------------------------------------------------

DesignOptions ModelSpec::GenerationOptions(const ConstraintsInfo* constraints) const {
  DesignOptions options = GetDesignOptions();
  if (IsOptimal(design_type_)) {
    if (dynamic_cast<const DOptimalOptions*>(options.GetDesignSpecificOptions()) == nullptr) {
      options.SetDesignSpecificOptions(std::make_unique<DOptimalOptions>());
    }
    auto* optimal = dynamic_cast<DOptimalOptions*>(options.GetDesignSpecificOptions());
    const TermInfo terms = terms_.GetNItm() > 0 ? terms_ : DefaultTerms();
    optimal->SetModel(*GetFactors().ToNCDOEModel(terms));
    if (inclusions_.GetRows() > 0) optimal->SetInclusions(inclusions_);
    optimal->SetProgress(progress_);
    if (constraints != nullptr && constraints->NumConstraints() > 0) {
      std::unique_ptr<NCDOE::Constraints> converted = constraints->ToNCConstraint(GetFactors());
      if (converted != nullptr && converted->GetCount() > 0) {
        optimal->SetConstraints(std::move(converted));
      }
    }
  }
  return options;
}

void ModelSpec::GenerateDesign(const ConstraintsInfo* constraints, const bool* cancel) {
  if (IsDesignGenerated()) return;
  const DesignBuilder* builder = GetDesignBuilder();
  if (builder == nullptr) {
    throw Exception(ExceptionMessage::translate("There is no design available."));
  }
  const Factors& factors = GetFactors().GetFactors();
  const bool stability = EDesign::IsStabilityDesign(design_type_);
  if (!stability && !IsOptimal(design_type_) && constraints != nullptr &&
      constraints->NumConstraints() > 0) {
    const std::unique_ptr<NCDOE::Constraints> converted = constraints->ToNCConstraint(GetFactors());
    if (converted != nullptr && converted->GetCount() > 0) {
      throw Exception(ExceptionMessage::translate("The design '{}' cannot keep to linear "
                                                  "constraints; choose a D-optimal or an "
                                                  "I-optimal design.") %
                      builder->GetName());
    }
  }
  const DesignOptions options = GenerationOptions(stability ? nullptr : constraints);
  std::shared_ptr<NCDesign> design = builder->Generate(factors, options, cancel);
  if (GetVariables() != nullptr && GetVariables()->GetMixture() > 0) {
    // Written before the design is kept, so a failure to write leaves the set-up as it was.
    GetVariables()->WriteReferenceMixture(GetVariables()->GetSimplexReferenceMixture());
  }
  if (IsFractional(design_type_) && GetDesignOptions().GetGenerators().IsEmpty()) {
    MutableDesignOptions().SetGenerators(design->GetGenerators().WithoutBlocks());
  }
  const auto* optimal = dynamic_cast<const DOptimalOptions*>(options.GetDesignSpecificOptions());
  if (optimal != nullptr && optimal->GetConstraints() != nullptr) {
    design_constraints_ = std::make_shared<NCDOE::Constraints>(*optimal->GetConstraints());
  }
  designs_.push_back(std::move(design));
  custom_.push_back(false);
  selected_ = static_cast<int>(designs_.size());
  ComputeStatistics();
}

void ModelSpec::AddDesign(std::shared_ptr<NCDesign> design) {
  if (design == nullptr) return;
  designs_.push_back(std::move(design));
  custom_.push_back(false);
  selected_ = static_cast<int>(designs_.size());
  ComputeStatistics();
}

bool ModelSpec::RemoveDesign(int index) {
  if (index < 1 || index > GetDesignCount()) return false;
  designs_.erase(designs_.begin() + (index - 1));
  custom_.erase(custom_.begin() + (index - 1));
  selected_ = static_cast<int>(designs_.size());
  ComputeStatistics();
  return true;
}

void ModelSpec::RemoveGeneratedDesigns(ConfigurationSection& section) {
  Discard();
  if (ConfigurationSection* spec = section.OpenChild(kSectionName)) {
    spec->RemoveChild("Designs");
    spec->RemoveChild("Statistics");
  }
}

bool ModelSpec::SelectDesign(int index) {
  if (index < 1 || index > GetDesignCount()) return false;
  selected_ = index;
  ComputeStatistics();
  return true;
}

std::shared_ptr<const NCDesign> ModelSpec::GetDesign() const {
  return selected_ > 0 ? designs_[static_cast<std::size_t>(selected_ - 1)] : nullptr;
}

bool ModelSpec::SetCustomDesignMatrix(const NCDataMatrix<float>& matrix,
                                      const std::string& design_data) {
  const Factors& factors = GetFactors().GetFactors();
  if (matrix.GetCols() != factors.GetCount()) return false;
  double mixture_low = 0.0;
  for (const Factors::Factor& factor : factors.GetAll()) {
    if (factor.IsMixture() && factor.IsVaried()) mixture_low += factor.low;
  }
  const double mixture_free = factors.GetMixtureTotal() - mixture_low;
  NCDataMatrix<float> coded(matrix.GetRows(), matrix.GetCols());
  std::vector<std::string> names;
  for (int c = 0; c < factors.GetCount(); ++c) {
    const Factors::Factor& factor = factors.GetFactor(c);
    names.push_back(factor.name);
    for (int r = 0; r < matrix.GetRows(); ++r) {
      const double value = matrix(r, c);
      double code = 0.0;
      if (factor.IsQualitative()) {
        code = factor.IsVaried() ? value : 1.0;
      } else if (!factor.IsVaried()) {
        code = 0.0;
      } else if (factor.IsMixture()) {
        code = mixture_free > 0.0 ? (value - factor.low) / mixture_free : 0.0;
      } else if (factor.high > factor.low) {
        code = (value - (factor.low + factor.high) / 2.0) / ((factor.high - factor.low) / 2.0);
      }
      coded(r, c) = static_cast<float>(code);
    }
  }
  const auto runs = static_cast<std::size_t>(matrix.GetRows());
  auto design = std::make_shared<NCDesign>(
      design_type_, "Custom", std::move(names), std::move(coded), matrix, std::vector<int>(runs, 1),
      std::vector<NCDesign::RunKind>(runs, NCDesign::RunKind::kDesign), Generators());
  Discard();
  designs_.push_back(std::move(design));
  custom_.push_back(true);
  selected_ = 1;
  design_data_ = design_data;
  ComputeStatistics();
  return true;
}

NCDataMatrix<float> ModelSpec::GetDesignMatrix(int coded, std::vector<std::string>* names) const {
  const std::shared_ptr<const NCDesign> design = GetDesign();
  if (design == nullptr) {
    if (names != nullptr) names->clear();
    return {};
  }
  if (names != nullptr) *names = design->GetFactorNames();
  return design->GetMatrix(coded != 0);
}

bool ModelSpec::IsDesignMatrixCoded() const {
  return selected_ > 0 && !custom_[static_cast<std::size_t>(selected_ - 1)];
}

void ModelSpec::SetDesignStatistics(const DesignStatistics::Results* statistics) {
  statistics_ =
      statistics != nullptr ? std::make_unique<DesignStatistics::Results>(*statistics) : nullptr;
}

bool ModelSpec::SetInclusions(const NCDataMatrix<float>& inclusions) {
  if (inclusions.GetRows() > 0 && inclusions.GetCols() != GetFactors().GetCount()) return false;
  if (!(inclusions == inclusions_)) {
    inclusions_ = inclusions;
    Discard();
  }
  return true;
}

void ModelSpec::SetREDMUPDesign(const DesignOptions& options) {
  design_type_ = EDesign::kREDMUP;
  design_name_ = BuilderName(EDesign::kREDMUP, "");
  MutableDesignOptions() = options;
  ApplyKind(MutableDesignOptions(), design_type_, pm_interaction_);
  Discard();
  MakeDefaultModel();
}

void ModelSpec::SetStabilityDesign(std::shared_ptr<NCDesign> design, const DesignOptions& options) {
  design_type_ = design != nullptr && EDesign::IsStabilityDesign(design->GetType())
                     ? design->GetType()
                     : EDesign::kStability;
  design_name_ = BuilderName(design_type_, "");
  MutableDesignOptions() = options;
  ApplyKind(MutableDesignOptions(), design_type_, pm_interaction_);
  MakeDefaultModel();
  if (design != nullptr) AddDesign(std::move(design));
}

void ModelSpec::SetGenerators(const Generators& generators) {
  MutableDesignOptions().SetGenerators(generators);
  if (GetSection() != nullptr) GetSection()->RemoveChild("FractionalFactorial");
  Discard();
  MessageSink::Report(MessageSink::Severity::kInformation,
                      ExceptionMessage::translate("Generators modified.").str());
}

void ModelSpec::UpdateREDMUPModel(ModelSpec& horizontal, ModelSpec& vertical, bool to_sides) {
  auto* plate = dynamic_cast<SplitPlotOptions*>(MutableDesignOptions().GetDesignSpecificOptions());
  if (plate == nullptr) return;
  if (to_sides) {
    for (auto [spec, side] :
         {std::pair{&horizontal, &plate->Horizontal()}, std::pair{&vertical, &plate->Vertical()}}) {
      spec->SetModelsIn(spec->MutableDesignOptions(), side->model);
      spec->MutableDesignOptions().SetRuns(side->runs);
      spec->Discard();
      spec->MakeDefaultModel();
    }
    return;
  }
  plate->Horizontal().model = horizontal.GetProcessModel();
  plate->Horizontal().runs = horizontal.GetRuns();
  plate->Vertical().model = vertical.GetProcessModel();
  plate->Vertical().runs = vertical.GetRuns();
  Discard();
}

// --- Factor changes. ----------------------------------------------------------------------------

void ModelSpec::FactorInserted(int number) {
  terms_.UpdateFactorAdded(number);
  FactorsChanged();
}

void ModelSpec::FactorRemoved(int number) {
  for (int i = terms_.GetNItm(); i >= 1; --i) {
    const std::array<int, 3> f = FactorsOf(terms_, i);
    if (std::find(f.begin(), f.end(), number) != f.end()) terms_.DelItm(i);
  }
  terms_.UpdateFactorRemoved(number);
  FactorsChanged();
}

void ModelSpec::FactorsChanged() {
  UpdateFactors();
  Discard();
  const Factors& factors = GetFactors().GetFactors();
  DesignOptions& options = MutableDesignOptions();
  // A kind of factor that is gone takes its model with it; one that arrives gets the
  // objective's usual model.
  if (factors.GetProcessCount() == 0) {
    options.SetProcessModel(EModel::kNone);
  } else if (GetProcessModel() == EModel::kNone) {
    options.SetProcessModel(GetObjective() == EObjective::kRSM ? EModel::kQuadratic
                                                               : EModel::kLinear);
  }
  if (!factors.IsMixture()) {
    options.SetMixtureModel(EModel::kNone);
  } else if (GetMixtureModel() == EModel::kNone) {
    options.SetMixtureModel(GetObjective() == EObjective::kRSM ? EModel::kQuadratic
                                                               : EModel::kLinear);
  }
  // The design stays when it still accepts the factors, its settings clamped; otherwise the
  // best design of the catalogue takes its place.
  const DesignBuilder* builder = GetDesignBuilder();
  if (builder == nullptr || !SwitchTo(builder, GetDesignOptions(), true)) ChooseBestDesign();
  if (terms_edited_) {
    RebuildTermNames();
    SetTermIndexOrder();
  } else {
    MakeDefaultModel();
  }
}

// --- Persistence. -------------------------------------------------------------------------------

void ModelSpec::SaveDesigns(ConfigurationSection& section) const {
  section.WriteInt("Selected", selected_);
  for (std::size_t i = 0; i < designs_.size(); ++i) {
    ConfigurationSection& child = section.CreateChild("Design", static_cast<int>(i + 1));
    designs_[i]->Save(child);
    child.WriteBool("Custom", custom_[i]);
  }
}

void ModelSpec::LoadDesigns(const ConfigurationSection& section) {
  const int count = GetFactors().GetCount();
  for (int index : section.GetChildIndexes("Design")) {
    const ConfigurationSection* child = section.OpenChild("Design", index);
    try {
      std::shared_ptr<NCDesign> design = NCDesign::Load(*child);
      if (design->GetFactorCount() != count) continue;  // made for other factors
      bool custom = false;
      child->TryReadBool("Custom", custom);
      designs_.push_back(std::move(design));
      custom_.push_back(custom);
    } catch (const Exception&) {
      // A damaged design is dropped; the others are kept.
    }
  }
  int selected = 0;
  section.TryReadInt("Selected", selected);
  selected_ = selected >= 1 && selected <= GetDesignCount() ? selected : GetDesignCount();
}

void ModelSpec::SaveInclusions(ConfigurationSection& section) const {
  section.WriteInt("Runs", inclusions_.GetRows());
  section.WriteInt("Factors", inclusions_.GetCols());
  for (int r = 0; r < inclusions_.GetRows(); ++r) {
    std::string text;
    for (int c = 0; c < inclusions_.GetCols(); ++c) {
      if (c > 0) text += ',';
      text += KtString::FormatShortest(inclusions_(r, c));
    }
    section.WriteString("Run" + std::to_string(r + 1), text);
  }
}

void ModelSpec::LoadInclusions(const ConfigurationSection& section) {
  int runs = 0;
  int factors = 0;
  if (!section.TryReadInt("Runs", runs) || !section.TryReadInt("Factors", factors) ||
      factors != GetFactors().GetCount() || runs < 0 ||
      runs > static_cast<int>(section.GetKeys().size())) {
    return;  // made for other factors, or damaged: no forced runs
  }
  NCDataMatrix<float> read(runs, factors);
  for (int r = 0; r < runs; ++r) {
    const std::vector<std::string> cells =
        KtStdString::Split(section.GetString("Run" + std::to_string(r + 1)), ',');
    if (static_cast<int>(cells.size()) != factors) return;
    for (int c = 0; c < factors; ++c) {
      const std::optional<float> value = KtString::ToFloat(cells[static_cast<std::size_t>(c)]);
      if (!value) return;
      read(r, c) = *value;
    }
  }
  inclusions_ = std::move(read);
}

void ModelSpec::LoadTerms(const ConfigurationSection& section) {
  TermInfo loaded(kTermListName);
  if (!loaded.Load(&section)) {
    MakeDefaultModel();
    return;
  }
  const int factor_count = GetVariables() != nullptr ? GetVariables()->GetFactorCount() : 0;
  TermInfo kept(kTermListName);
  for (int i = 1; i <= loaded.GetNItm(); ++i) {
    const std::array<int, 3> f = FactorsOf(loaded, i);
    if (std::any_of(f.begin(), f.end(), [&](int n) { return n < 0 || n > factor_count; })) {
      continue;  // names a factor the set does not hold
    }
    // A number stored behind a zero ("V2" without "V1") belongs to the term of the numbers
    // given, which may already be in the list: the list holds each term once.
    int numbers[4] = {0, f[0], f[1], f[2]};
    SortTerm(numbers);
    const TermData* term = loaded.GetTerm(i);
    kept.AddItm(term->GetNum(), term->GetName(), numbers[1], numbers[2], numbers[3]);
  }
  terms_ = std::move(kept);
  // Each term takes the name its factors give it, as SetTermInfo gives it: a stored name is
  // missing, stale (an abbreviation changed since) or, in an edited file, another term's.
  RebuildTermNames();
  terms_.ClearIsModified();
  terms_edited_ = !(terms_ == DefaultTerms());
}

bool ModelSpec::Load(const ConfigurationSection* section) {
  const ConfigurationSection* spec =
      section != nullptr ? section->OpenChild(kSectionName) : nullptr;
  if (spec == nullptr) return false;
  Discard();
  LoadDesignOptions(*spec);
  bool flag = false;
  if (spec->TryReadBool("IsScoreImported", flag)) SetScoreImported(flag, false);
  if (spec->TryReadBool("ImportedFromJson", flag)) SetImportedFromJson(flag);
  spec->TryReadBool("BlockInteractions", block_interactions_);
  spec->TryReadBool("UseAdjustments", use_adjustments_);
  spec->TryReadBool("PMInteraction", pm_interaction_);
  design_type_ = EDesign::GetType(spec->GetString("Design"));
  design_name_ = spec->GetString("DesignName");
  if (NamesNoDesign(spec->GetString("Design"))) {
    KeepNoDesign();
  } else if (GetDesignBuilder() == nullptr) {
    // A design the catalogue does not know: the best design for the objective stands in.
    ChooseBestDesign();
  } else {
    design_name_ = GetDesignBuilder()->GetName();
    ApplyKind(MutableDesignOptions(), design_type_, pm_interaction_);
  }
  LoadTerms(*spec);
  inclusions_ = NCDataMatrix<float>();
  if (const ConfigurationSection* inclusions = spec->OpenChild("Inclusions")) {
    LoadInclusions(*inclusions);
  }
  if (const ConfigurationSection* designs = spec->OpenChild("Designs")) LoadDesigns(*designs);
  design_data_ = spec->GetString("DesignData");
  statistics_.reset();
  if (const ConfigurationSection* statistics = spec->OpenChild("Statistics");
      statistics != nullptr && IsDesignGenerated()) {
    auto read = std::make_unique<DesignStatistics::Results>();
    try {
      read->Load(*statistics);
      statistics_ = std::move(read);
    } catch (const Exception&) {
      ComputeStatistics();
    }
  } else {
    ComputeStatistics();
  }
  return true;
}

bool ModelSpec::LoadOld(const ConfigurationSection* section) {
  const ConfigurationSection* spec =
      section != nullptr ? section->OpenChild(kOldSectionName) : nullptr;
  if (spec == nullptr) return false;
  Discard();
  // The older form holds the design options' keys ("Runs", "Centerpoints", "Blocks", ...) in
  // the section itself.
  LoadDesignOptions(*spec);
  std::string text;
  if (spec->ReadString("Model", text) && !spec->HasKey("ProcessModel")) {
    if (const EModel::Type model = EModel::GetType(text); model != EModel::kNone) {
      SetModelsIn(MutableDesignOptions(), model);
    }
  }
  spec->TryReadBool("BlockInteractions", block_interactions_);
  spec->TryReadBool("UseAdjustments", use_adjustments_);
  spec->TryReadBool("isPMInteraction", pm_interaction_);
  bool plate = false;
  spec->TryReadBool("REDMUP", plate);
  design_type_ =
      plate ? EDesign::kREDMUP : TypeFromOldText(spec->GetString("Design"), GetProcessModel());
  design_name_ = BuilderName(design_type_, spec->GetString("Design"));
  if (!plate && NamesNoDesign(spec->GetString("Design"))) {
    KeepNoDesign();
  } else if (GetDesignBuilder() == nullptr) {
    ChooseBestDesign();
  } else {
    // The family's settings were kept beside the others in this form.
    DesignOptions& options = MutableDesignOptions();
    options.SetDesignSpecificOptions(nullptr);
    ApplyKind(options, design_type_, pm_interaction_);
    if (DesignSpecificOptions* specific = options.GetDesignSpecificOptions()) {
      const ConfigurationSection* source = spec;
      if (IsOptimal(design_type_)) {
        source = spec->OpenChild("DOptimal");
      }
      try {
        if (source != nullptr) specific->Load(*source);
      } catch (const Exception&) {
        options.SetDesignSpecificOptions(DesignSpecificOptions::Create(specific->GetKind()));
      }
    }
    const ConfigurationSection* generators = spec->OpenChild("FractionalFactorial");
    if (generators == nullptr && section != nullptr) {
      generators = section->OpenChild("FractionalFactorial");
    }
    if (generators != nullptr && IsFractional(design_type_)) {
      Generators read;
      try {
        read.Load(*generators);
        options.SetGenerators(std::move(read));
      } catch (const Exception&) {
        // Damaged generators: the table's are used.
      }
    }
  }
  LoadTerms(*spec);
  if (const ConfigurationSection* inclusions = spec->OpenChild("Inclusions")) {
    LoadInclusions(*inclusions);
  }
  design_data_ = spec->GetString("DesignData");
  return true;
}

void ModelSpec::SaveOld(ConfigurationSection* section) const {
  if (section == nullptr) return;
  Objective::SaveOld(section);
  section->RemoveChild(kOldSectionName);
  ConfigurationSection& spec = section->CreateChild(kOldSectionName);
  // The composite designs share their type: the builder's name tells them apart.
  spec.WriteString("Design", design_type_ == EDesign::kCentralComposite
                                 ? design_name_
                                 : EDesign::GetString(design_type_));
  spec.WriteString("DesignData", design_data_);
  // In the flat INI form every "Term" section shares one name space, so the optimal options'
  // copy of the model would mix with the term list's terms. It is the term list's model, put
  // in again at each generation (GenerationOptions), and is left out here.
  DesignOptions options = GetDesignOptions();
  if (auto* optimal = dynamic_cast<DOptimalOptions*>(options.GetDesignSpecificOptions())) {
    optimal->SetModel(DesignModel());
  }
  options.Save(spec);
  spec.WriteBool("BlockInteractions", block_interactions_);
  spec.WriteBool("UseAdjustments", use_adjustments_);
  spec.WriteBool("isPMInteraction", pm_interaction_);
  if (const DesignSpecificOptions* specific = options.GetDesignSpecificOptions()) {
    if (specific->GetKind() == Kind::kDOptimal) {
      specific->Save(spec.CreateChild("DOptimal"));
    } else {
      specific->Save(spec);
    }
  }
  if (design_type_ == EDesign::kREDMUP) spec.WriteBool("REDMUP", true);
  terms_.Save(&spec);
  if (inclusions_.GetRows() > 0) SaveInclusions(spec.CreateChild("Inclusions"));
}

bool ModelSpec::LoadReallyOld(const ConfigurationSection* section) {
  const ConfigurationSection* model = nullptr;
  if (section != nullptr) {
    model = section->OpenChild("Model Settings");
    if (model == nullptr) model = section->OpenChild("Model");
  }
  if (model == nullptr) return false;
  Discard();
  DesignOptions& options = MutableDesignOptions();
  const Factors& factors = GetFactors().GetFactors();
  std::string text;
  if (model->ReadString("Current Model", text) && factors.GetProcessCount() > 0) {
    if (const EModel::Type type = EModel::GetType(text); type != EModel::kNone) {
      options.SetProcessModel(type);
    }
  }
  if (model->ReadString("MixtureModel", text) && factors.IsMixture()) {
    if (const EModel::Type type = EModel::GetType(text); type != EModel::kNone) {
      options.SetMixtureModel(type);
    }
  }
  model->TryReadBool("IsPMInteraction", pm_interaction_);
  ChooseBestDesign();
  MakeDefaultModel();
  if (model->ReadString("Model", text) && GetVariables() != nullptr) {
    bool constant = true;
    model->TryReadBool("Constant", constant);
    TermInfo terms(kTermListName);
    if (constant) terms.AddItm(0, "Constant", 0, 0, 0);
    for (const std::string& item : KtStdString::Split(text, ',')) {
      int numbers[4] = {0, 0, 0, 0};
      int slot = 1;
      bool known = true;
      for (const std::string& part : KtStdString::Split(KtStdString::Trim(item), '*')) {
        const FactorClass* factor = GetVariables()->GetFactorFromAbbr(KtStdString::Trim(part));
        if (factor == nullptr || slot > 3) {
          known = false;
          break;
        }
        numbers[slot++] = factor->GetNumber();
      }
      if (known && slot > 1) {
        terms.AddItm(0, MakeTermString(GetVariables(), numbers), numbers[1], numbers[2],
                     numbers[3]);
      }
    }
    terms.SortItm();
    NumberByColumns(terms);
    terms.ClearIsModified();
    terms_ = std::move(terms);
    terms_edited_ = !(terms_ == DefaultTerms());
  }
  return true;
}

void ModelSpec::Show(StreamWindow& out) const {
  Objective::Show(out);
  out << "Design : " << (design_name_.empty() ? std::string("None") : design_name_) << "\n";
  out << "Runs : " << GetRuns() << "\n";
  out << "Center points : " << GetCenterPoints() << "\n";
  out << "Replicates : " << GetReplicates() << "\n";
  out << "Blocks : " << GetBlocks() << "\n";
  out << "Process model : " << EModel::GetString(GetProcessModel()) << "\n";
  out << "Mixture model : " << EModel::GetString(GetMixtureModel()) << "\n";
  out << "Terms :";
  for (int i = 1; i <= terms_.GetNItm(); ++i) out << (i == 1 ? " " : ", ") << terms_.GetTermNam(i);
  out << "\n";
}

// --- Internal. ----------------------------------------------------------------------------------

void ModelSpec::Discard() {
  design_constraints_.reset();
  // The forced runs belong to the factors they were given for.
  if (inclusions_.GetRows() > 0 && inclusions_.GetCols() != GetFactors().GetCount()) {
    inclusions_ = NCDataMatrix<float>();
  }
  designs_.clear();
  custom_.clear();
  selected_ = 0;
  statistics_.reset();
  design_data_.clear();
}

void ModelSpec::ComputeStatistics() {
  statistics_.reset();
  const std::shared_ptr<const NCDesign> design = GetDesign();
  if (design == nullptr) return;
  const Factors& factors = GetFactors().GetFactors();
  const std::unique_ptr<DesignModel> model = GetFactors().ToNCDOEModel(terms_);
  if (model->GetTerms().empty() || !model->IsValidFor(factors) ||
      design->GetFactorCount() != factors.GetCount()) {
    return;
  }
  statistics_ = std::make_unique<DesignStatistics::Results>(
      DesignStatistics::Compute(design->GetCoded(), factors, *model, design_constraints_.get()));
}

}  // namespace zubra
