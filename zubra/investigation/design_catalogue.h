// The designs of the engine's catalogue that accept an investigation's factors, with what each
// offers: the listing behind the tool's catalogue command and the Python module's catalogue.
#pragma once

#include <string>
#include <vector>

#include "zubra/platform/design/e_design.h"

namespace zubra {

class ModelSpec;

// One design of the catalogue that accepts the factors.
struct CatalogueEntry {
  EDesign::Type type = EDesign::kNone;
  // The builder's name ("CCF", "D-Optimal").
  std::string name;
  // The run counts the design offers for the factors, ascending.
  std::vector<int> runs;
  // The block counts it offers, ascending (1 always among them).
  std::vector<unsigned> blocks;
  // The design the catalogue would pick for the objective and models.
  bool best = false;
  // The set-up's current design.
  bool chosen = false;
};

// The designs of the catalogue (with the plate designs when `spec` is a side of one) that
// accept `spec`'s factors for its objective, models and most runs, in catalogue order, each
// asked with the options of the best-design choice. Empty when none does.
std::vector<CatalogueEntry> ListDesignCatalogue(const ModelSpec& spec);

}  // namespace zubra
