#include "zubra/investigation/design_catalogue.h"

#include "zubra/model/model_spec.h"
#include "zubra/platform/design/all_designs.h"
#include "zubra/platform/design/design_builder.h"

namespace zubra {

std::vector<CatalogueEntry> ListDesignCatalogue(const ModelSpec& spec) {
  const Factors& factors = spec.GetFactors().GetFactors();
  // The options every design is asked with: those of the best-design choice.
  DesignOptions base;
  base.SetObjective(spec.GetObjective());
  base.SetMaxRuns(spec.GetMaxLegalRuns());
  base.SetProcessModel(spec.GetProcessModel());
  base.SetMixtureModel(spec.GetMixtureModel());
  const DesignBuilder* best = spec.GetUserDesign();
  const DesignBuilder* chosen = spec.GetDesignBuilder();

  std::vector<CatalogueEntry> entries;
  const AllDesigns::Catalogue& catalogue = spec.IsREDMUPSubModel()
                                               ? AllDesigns::ClassicAndREDMUPDesigns()
                                               : AllDesigns::ClassicDesigns();
  for (const DesignBuilder* builder : catalogue) {
    const DesignOptions options = builder->MakeOptions(factors, base);
    if (!builder->IsValid(factors, options)) continue;
    entries.push_back(
        {builder->GetType(), builder->GetName(), builder->GetCandidateRuns(factors, options),
         builder->GetBlockCounts(factors, options), builder == best, builder == chosen});
  }
  return entries;
}

}  // namespace zubra
