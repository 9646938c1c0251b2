#include "zubra/platform/design/all_designs.h"

#include <algorithm>
#include <cctype>
#include <string>
#include <utility>

#include "zubra/platform/design/design_options.h"
#include "zubra/platform/design/internal/d_optimal_builder.h"
#include "zubra/platform/design/internal/definitive_screening_builder.h"
#include "zubra/platform/design/internal/factorial_builders.h"
#include "zubra/platform/design/internal/general_factorial_builder.h"
#include "zubra/platform/design/internal/mixture_builders.h"
#include "zubra/platform/design/internal/onion_builder.h"
#include "zubra/platform/design/internal/plackett_burman_builder.h"
#include "zubra/platform/design/internal/plate_builder.h"
#include "zubra/platform/design/internal/response_surface_builders.h"
#include "zubra/platform/design/internal/stability_builders.h"

namespace zubra {
namespace {

struct Registry {
  std::vector<std::unique_ptr<DesignBuilder>> owned;
  AllDesigns::Catalogue classic;
  AllDesigns::Catalogue with_redmup;  // classic, then plate designs
  std::size_t redmup_count = 0;
};

bool SameText(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) ==
                  std::tolower(static_cast<unsigned char>(y));
         });
}

bool Add(Registry& registry, std::unique_ptr<DesignBuilder> builder, AllDesigns::Group group) {
  if (!builder) return false;
  for (const auto& held : registry.owned) {
    if (held->GetType() == builder->GetType() && SameText(held->GetName(), builder->GetName())) {
      return false;
    }
  }
  const DesignBuilder* pointer = builder.get();
  registry.owned.push_back(std::move(builder));
  if (group == AllDesigns::Group::kClassic) {
    registry.classic.push_back(pointer);
    // Classic designs stay in front of the plate designs in the second catalogue.
    registry.with_redmup.insert(
        registry.with_redmup.end() - static_cast<std::ptrdiff_t>(registry.redmup_count), pointer);
  } else {
    registry.with_redmup.push_back(pointer);
    ++registry.redmup_count;
  }
  return true;
}

Registry& TheRegistry() {
  static Registry registry = [] {
    using internal::CentralCompositeBuilder;
    using internal::MixtureBuilder;
    Registry built;
    const auto classic = [&built](std::unique_ptr<DesignBuilder> builder) {
      Add(built, std::move(builder), AllDesigns::Group::kClassic);
    };
    classic(std::make_unique<internal::FullFactorialBuilder>());
    classic(std::make_unique<internal::FractionalFactorialBuilder>(5));
    classic(std::make_unique<internal::FractionalFactorialBuilder>(4));
    classic(std::make_unique<internal::FractionalFactorialBuilder>(3));
    classic(std::make_unique<internal::PlackettBurmanBuilder>());
    classic(std::make_unique<internal::RechtschaffnerResVBuilder>());
    classic(std::make_unique<internal::DefinitiveScreeningBuilder>());
    classic(std::make_unique<CentralCompositeBuilder>(CentralCompositeBuilder::Form::kFaceCentred));
    classic(
        std::make_unique<CentralCompositeBuilder>(CentralCompositeBuilder::Form::kCircumscribed));
    classic(std::make_unique<CentralCompositeBuilder>(CentralCompositeBuilder::Form::kInscribed));
    classic(std::make_unique<internal::BoxBehnkenBuilder>());
    classic(std::make_unique<internal::RechtschaffnerBuilder>());
    classic(std::make_unique<internal::GeneralFactorialBuilder>());
    classic(std::make_unique<MixtureBuilder>(MixtureBuilder::Kind::kAxial));
    classic(std::make_unique<MixtureBuilder>(MixtureBuilder::Kind::kCentroid));
    classic(std::make_unique<MixtureBuilder>(MixtureBuilder::Kind::kLattice));
    classic(std::make_unique<internal::DOptimalBuilder>());
    classic(std::make_unique<internal::IOptimalBuilder>());
    classic(std::make_unique<internal::AOptimalBuilder>());
    classic(std::make_unique<internal::OnionBuilder>());
    classic(std::make_unique<internal::ProcessMixtureBuilder>());
    classic(std::make_unique<internal::StabilityBuilder>());
    classic(std::make_unique<internal::StabilityFactorialBuilder>());
    Add(built, std::make_unique<internal::PlateBuilder>(), AllDesigns::Group::kREDMUP);
    return built;
  }();
  return registry;
}

}  // namespace

const DesignBuilder* AllDesigns::GetDesignBuilder(EDesign::Type type, std::string_view name) {
  const DesignBuilder* first = nullptr;
  for (const auto& builder : TheRegistry().owned) {
    if (builder->GetType() != type) continue;
    if (SameText(builder->GetName(), name)) return builder.get();
    if (first == nullptr) first = builder.get();
  }
  return first;
}

const AllDesigns::Catalogue& AllDesigns::ClassicDesigns() { return TheRegistry().classic; }

const AllDesigns::Catalogue& AllDesigns::ClassicAndREDMUPDesigns() {
  return TheRegistry().with_redmup;
}

bool AllDesigns::IsAnyDesignValid(EObjective::Type objective, EModel::Type model, int max_runs,
                                  const Factors& factors, bool redmup) {
  DesignOptions base;
  if (!base.SetObjective(objective) || !base.SetMaxRuns(max_runs)) return false;
  base.SetProcessModel(factors.GetProcessCount() > 0 ? model : EModel::kNone);
  base.SetMixtureModel(factors.IsMixture() ? model : EModel::kNone);
  const Catalogue& catalogue = redmup ? ClassicAndREDMUPDesigns() : ClassicDesigns();
  return std::any_of(catalogue.begin(), catalogue.end(), [&](const DesignBuilder* builder) {
    return builder->IsValid(factors, builder->MakeOptions(factors, base));
  });
}

bool AllDesigns::Register(std::unique_ptr<DesignBuilder> builder, Group group) {
  return Add(TheRegistry(), std::move(builder), group);
}

}  // namespace zubra
