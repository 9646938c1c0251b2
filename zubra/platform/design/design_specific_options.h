// DesignSpecificOptions: the settings that only some design families have.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zubra/platform/base/enum_table.h"
#include "zubra/platform/design/e_model.h"

namespace zubra {

class ConfigurationSection;

// The base of the option sets that belong to one design family: process-mixture, onion
// (layered), D-optimal and split-plot designs. DesignOptions owns at most one of them.
// Copies are deep (Clone); Save writes the kind's own keys, Load reads them back leaving a
// field unchanged when its key is absent and throwing Exception (object unchanged) for a
// malformed value.
class DesignSpecificOptions {
 public:
  enum class Kind { kProcessMixture, kOnion, kDOptimal, kSplitPlot };

  virtual ~DesignSpecificOptions() = default;

  [[nodiscard]] virtual Kind GetKind() const = 0;
  [[nodiscard]] virtual std::unique_ptr<DesignSpecificOptions> Clone() const = 0;
  virtual void Save(ConfigurationSection& section) const = 0;
  virtual void Load(const ConfigurationSection& section) = 0;
  // True when `other` is of the same kind with equal settings.
  [[nodiscard]] virtual bool Equals(const DesignSpecificOptions& other) const = 0;

  // The text of a kind ("ProcessMixture", "Onion", "DOptimal", "SplitPlot") and back
  // (any ASCII case; nullopt for another text).
  static std::string GetKindText(Kind kind);
  static std::optional<Kind> GetKindFromText(std::string_view text);
  // New options of `kind` with their defaults.
  static std::unique_ptr<DesignSpecificOptions> Create(Kind kind);

  static constexpr auto kKindTexts = MakeEnumTable<Kind>({
      {Kind::kProcessMixture, "ProcessMixture"},
      {Kind::kOnion, "Onion"},
      {Kind::kDOptimal, "DOptimal"},
      {Kind::kSplitPlot, "SplitPlot"},
  });

 protected:
  DesignSpecificOptions() = default;
  DesignSpecificOptions(const DesignSpecificOptions&) = default;
  DesignSpecificOptions& operator=(const DesignSpecificOptions&) = default;

  // Helpers of the stored forms: lists of whole numbers as "1,2,3", and model types as
  // their EModel texts. The readers throw Exception naming the key for a malformed value.
  static std::string JoinInts(const std::vector<int>& values);
  static std::vector<int> ParseInts(const std::string& text, std::string_view key);
  static bool ReadModel(const ConfigurationSection& section, std::string_view key,
                        EModel::Type& model);
};
static_assert(DesignSpecificOptions::kKindTexts.IsOneToOne());

}  // namespace zubra
