#include "zubra/platform/design/design_options.h"

#include <charconv>
#include <climits>
#include <cmath>
#include <string>
#include <system_error>
#include <vector>

#include "zubra/platform/base/undefined.h"
#include "zubra/platform/design/design_builder.h"
#include "zubra/platform/util/configuration_section.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

constexpr float kMaxStarDistance = 5.0F;

[[noreturn]] void ThrowBadValue(const std::string& value, std::string_view key,
                                std::string_view what) {
  throw Exception(ExceptionMessage::translate("The value '%1%' of the key '%2%' is not a valid "
                                              "%3%.") %
                  value % key % what);
}

// Reads an integer key through `set`, which refuses values out of range.
template <typename Setter>
void ReadCount(const ConfigurationSection& section, std::string_view key, Setter set) {
  int value = 0;
  if (section.ReadInt(key, value) && !set(value))
    ThrowBadValue(std::to_string(value), key, "count");
}

// Reads a text key naming a code of table `table`, any ASCII case.
template <typename Table, typename E>
void ReadCode(const ConfigurationSection& section, std::string_view key, const Table& table,
              E first, E second, E& value) {
  std::string text;
  if (!section.ReadString(key, text)) return;
  // A text without a row gives back whichever fallback is passed.
  const E code = table.CodeOf(text, first);
  if (code != table.CodeOf(text, second)) ThrowBadValue(text, key, "name");
  value = code;
}

// The shortest text that reads back to the same float.
std::string FloatText(float value) {
  char buffer[32];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, result.ptr);
}

}  // namespace

DesignOptions::DesignOptions(const DesignOptions& other)
    : runs_(other.runs_),
      center_points_(other.center_points_),
      blocks_(other.blocks_),
      replicates_(other.replicates_),
      replicated_runs_(other.replicated_runs_),
      star_distance_(other.star_distance_),
      star_choice_(other.star_choice_),
      max_runs_(other.max_runs_),
      objective_(other.objective_),
      process_model_(other.process_model_),
      mixture_model_(other.mixture_model_),
      generators_(other.generators_),
      threads_(other.threads_),
      search_seed_(other.search_seed_),
      specific_(other.specific_ ? other.specific_->Clone() : nullptr) {}

DesignOptions& DesignOptions::operator=(const DesignOptions& other) {
  if (this != &other) *this = DesignOptions(other);
  return *this;
}

bool DesignOptions::SetRuns(int runs) {
  if (runs < 0) return false;
  runs_ = runs;
  return true;
}

bool DesignOptions::SetCenterPoints(int total) {
  if (total < 0) return false;
  center_points_ = total;
  return true;
}

bool DesignOptions::SetBlocks(unsigned blocks) {
  if (blocks < 1) return false;
  blocks_ = blocks;
  return true;
}

bool DesignOptions::SetReplicates(int replicates) {
  if (replicates < 0) return false;
  replicates_ = replicates;
  return true;
}

bool DesignOptions::SetReplicatedRuns(int runs) {
  if (runs < 0) return false;
  replicated_runs_ = runs;
  return true;
}

bool DesignOptions::SetStarDistance(float distance) {
  if (!IsUndefined(distance) && !(distance > 0.0F && distance <= kMaxStarDistance)) return false;
  star_distance_ = distance;
  star_choice_ = IsUndefined(distance) ? StarDistanceChoice::kDefault : StarDistanceChoice::kGiven;
  return true;
}

bool DesignOptions::HasStarDistance() const { return !IsUndefined(star_distance_); }

bool DesignOptions::SetStarDistanceChoice(StarDistanceChoice choice) {
  if (choice == StarDistanceChoice::kGiven || !kStarDistanceChoiceTexts.Contains(choice)) {
    return false;
  }
  star_choice_ = choice;
  star_distance_ = static_cast<float>(kUndefined);
  return true;
}

double DesignOptions::RotatableStarDistance(int factorial_runs) {
  if (factorial_runs < 1) return kUndefined;
  return std::pow(static_cast<double>(factorial_runs), 0.25);
}

double DesignOptions::OrthogonalBlockingStarDistance(const CompositeLayout& layout) {
  if (layout.factors < 1 || layout.factorial_runs < 1 || layout.axial_runs < 1 ||
      layout.factorial_center_points < 0 || layout.axial_center_points < 0) {
    return kUndefined;
  }
  const double factorial = layout.factorial_runs;
  const double axial = layout.axial_runs;
  // Each factor has axial / k runs at +-alpha in the axial block.
  const double squared = factorial * layout.factors * (axial + layout.axial_center_points) /
                         (axial * (factorial + layout.factorial_center_points));
  return std::sqrt(squared);
}

bool DesignOptions::SetMaxRuns(int runs) {
  if (runs < 1) return false;
  max_runs_ = runs;
  return true;
}

bool DesignOptions::SetObjective(EObjective::Type objective) {
  if (!EObjective::kTexts.Contains(objective)) return false;
  objective_ = objective;
  return true;
}

bool DesignOptions::SetProcessModel(EModel::Type model) {
  if (!EModel::kTexts.Contains(model)) return false;
  process_model_ = model;
  return true;
}

bool DesignOptions::SetMixtureModel(EModel::Type model) {
  if (!EModel::kTexts.Contains(model)) return false;
  mixture_model_ = model;
  return true;
}

bool DesignOptions::SetThreads(int threads) {
  if (threads < 0 || threads > kMaxThreads) return false;
  threads_ = threads;
  return true;
}

int DesignOptions::GetTotalRuns(int design_runs) const {
  const long long total =
      static_cast<long long>(design_runs) * (1LL + replicates_) + replicated_runs_ + center_points_;
  return total > INT_MAX ? INT_MAX : static_cast<int>(total);
}

void DesignOptions::AssureMaxRuns(const DesignBuilder& builder, const Factors& factors) {
  const int most = builder.GetMaxRuns(factors, *this);
  if (most > 0 && runs_ > most) runs_ = most;
}

void DesignOptions::Save(ConfigurationSection& section) const {
  section.WriteString("Objective", EObjective::GetString(objective_));
  section.WriteInt("Runs", runs_);
  section.WriteInt("Centerpoints", center_points_);
  section.WriteUnsigned("Blocks", blocks_);
  section.WriteInt("Replicates", replicates_);
  section.WriteInt("ReplicatedRuns", replicated_runs_);
  section.WriteString("StarDistance", FloatText(star_distance_));
  if (star_choice_ == StarDistanceChoice::kDefault || star_choice_ == StarDistanceChoice::kGiven) {
    section.RemoveKey("StarDistanceChoice");
  } else {
    section.WriteString("StarDistanceChoice", GetStarDistanceChoiceText(star_choice_));
  }
  section.WriteInt("MaxLegalRuns", max_runs_);
  section.WriteString("ProcessModel", EModel::GetString(process_model_));
  section.WriteString("MixtureModel", EModel::GetString(mixture_model_));
  if (threads_ != 0) {
    section.WriteInt("Threads", threads_);
  } else {
    section.RemoveKey("Threads");
  }
  if (search_seed_ != 0) {
    section.WriteUnsigned("SearchSeed", search_seed_);
  } else {
    section.RemoveKey("SearchSeed");
  }
  section.RemoveChild("Generators");
  generators_.Save(section.CreateChild("Generators"));
  section.RemoveChild("DesignSpecificOptions");
  ConfigurationSection& child = section.CreateChild("DesignSpecificOptions");
  child.WriteString("Kind",
                    specific_ ? DesignSpecificOptions::GetKindText(specific_->GetKind()) : "");
  if (specific_) specific_->Save(child);
}

void DesignOptions::Load(const ConfigurationSection& section) {
  DesignOptions read(*this);
  ReadCode(section, "Objective", EObjective::kTexts, EObjective::kNone, EObjective::kScreening,
           read.objective_);
  ReadCount(section, "Runs", [&](int v) { return read.SetRuns(v); });
  ReadCount(section, "Centerpoints", [&](int v) { return read.SetCenterPoints(v); });
  unsigned blocks = 0;
  if (section.ReadUnsigned("Blocks", blocks) && !read.SetBlocks(blocks)) {
    ThrowBadValue(std::to_string(blocks), "Blocks", "count");
  }
  ReadCount(section, "Replicates", [&](int v) { return read.SetReplicates(v); });
  ReadCount(section, "ReplicatedRuns", [&](int v) { return read.SetReplicatedRuns(v); });
  std::string text;
  if (section.ReadString("StarDistance", text)) {
    float distance = 0.0F;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), distance);
    if (error != std::errc() || end != text.data() + text.size() ||
        !read.SetStarDistance(distance)) {
      ThrowBadValue(text, "StarDistance", "star distance");
    }
  }
  if (section.ReadString("StarDistanceChoice", text)) {
    // A text without a row gives back whichever fallback is passed.
    const auto choice = kStarDistanceChoiceTexts.CodeOf(text, StarDistanceChoice::kDefault);
    const bool listed = choice == kStarDistanceChoiceTexts.CodeOf(text, StarDistanceChoice::kGiven);
    // The choice must agree with the distance: given exactly when one is stored.
    if (!listed || (choice == StarDistanceChoice::kGiven) != read.HasStarDistance() ||
        (choice != StarDistanceChoice::kGiven && !read.SetStarDistanceChoice(choice))) {
      ThrowBadValue(text, "StarDistanceChoice", "star distance choice");
    }
  }
  ReadCount(section, "MaxLegalRuns", [&](int v) { return read.SetMaxRuns(v); });
  ReadCode(section, "ProcessModel", EModel::kTexts, EModel::kNone, EModel::kLinear,
           read.process_model_);
  ReadCode(section, "MixtureModel", EModel::kTexts, EModel::kNone, EModel::kLinear,
           read.mixture_model_);
  ReadCount(section, "Threads", [&](int v) { return read.SetThreads(v); });
  unsigned seed = 0;
  if (section.ReadUnsigned("SearchSeed", seed)) read.search_seed_ = seed;
  if (const ConfigurationSection* child = section.OpenChild("Generators")) {
    read.generators_.Load(*child);
  }
  if (const ConfigurationSection* child = section.OpenChild("DesignSpecificOptions")) {
    const std::string kind_text = child->GetString("Kind");
    if (kind_text.empty()) {
      read.specific_.reset();
    } else {
      const auto kind = DesignSpecificOptions::GetKindFromText(kind_text);
      if (!kind) ThrowBadValue(kind_text, "Kind", "kind of design options");
      if (!read.specific_ || read.specific_->GetKind() != *kind) {
        read.specific_ = DesignSpecificOptions::Create(*kind);
      }
      read.specific_->Load(*child);
    }
  }
  *this = std::move(read);
}

bool DesignOptions::operator==(const DesignOptions& other) const {
  const bool same_specific =
      (specific_ == nullptr && other.specific_ == nullptr) ||
      (specific_ != nullptr && other.specific_ != nullptr && specific_->Equals(*other.specific_));
  return same_specific && runs_ == other.runs_ && center_points_ == other.center_points_ &&
         blocks_ == other.blocks_ && replicates_ == other.replicates_ &&
         replicated_runs_ == other.replicated_runs_ && star_distance_ == other.star_distance_ &&
         star_choice_ == other.star_choice_ && max_runs_ == other.max_runs_ &&
         objective_ == other.objective_ && process_model_ == other.process_model_ &&
         mixture_model_ == other.mixture_model_ && generators_ == other.generators_ &&
         threads_ == other.threads_ && search_seed_ == other.search_seed_;
}

}  // namespace zubra
