#include "zubra/evaluation/augmentation.h"

#include <Eigen/QR>
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <utility>

#include "zubra/model/model_spec.h"
#include "zubra/platform/design/all_designs.h"
#include "zubra/platform/design/d_optimal_options.h"
#include "zubra/platform/design/design_builder.h"
#include "zubra/platform/util/exception.h"
#include "zubra/region/design_factors.h"

namespace zubra {
namespace {

using RunKind = NCDesign::RunKind;

void RequireSameFactors(const NCDesign& design, const Factors& factors) {
  if (design.GetFactorCount() != factors.GetCount()) {
    throw Exception(ExceptionMessage::translate("The design has {} factors; {} are given.") %
                    design.GetFactorCount() % factors.GetCount());
  }
}

// A design under construction: the old runs copied, new runs appended one at a time.
class Grower {
 public:
  Grower(const NCDesign& design, int added)
      : design_(design),
        coded_(design.GetRuns() + added, design.GetFactorCount()),
        uncoded_(design.GetRuns() + added, design.GetFactorCount()),
        blocks_(design.GetBlocks()),
        kinds_(design.GetRunKinds()) {
    for (int r = 0; r < design.GetRuns(); ++r) {
      for (int c = 0; c < design.GetFactorCount(); ++c) {
        coded_(r, c) = design.GetCoded()(r, c);
        uncoded_(r, c) = design.GetUncoded()(r, c);
      }
    }
  }

  // Appends a run holding the first old run's values, and returns its row.
  int Append(int block, RunKind kind) {
    const int row = static_cast<int>(blocks_.size());
    for (int c = 0; c < design_.GetFactorCount(); ++c) {
      coded_(row, c) = design_.GetCoded()(0, c);
      uncoded_(row, c) = design_.GetUncoded()(0, c);
    }
    blocks_.push_back(block);
    kinds_.push_back(kind);
    return row;
  }

  void Set(int row, int col, float coded, float uncoded) {
    coded_(row, col) = coded;
    uncoded_(row, col) = uncoded;
  }

  std::unique_ptr<NCDesign> Finish(EDesign::Type type, std::string name, Generators generators) {
    return std::make_unique<NCDesign>(type, std::move(name), design_.GetFactorNames(),
                                      std::move(coded_), std::move(uncoded_), std::move(blocks_),
                                      std::move(kinds_), std::move(generators));
  }

 private:
  const NCDesign& design_;
  NCDataMatrix<float> coded_;
  NCDataMatrix<float> uncoded_;
  std::vector<int> blocks_;
  std::vector<RunKind> kinds_;
};

// True when every coded level of `factor` has its mirror image -level among them.
bool HasSymmetricLevels(const Factors::Factor& factor) {
  const std::vector<float> coded = DesignBuilder::DiscreteCodedLevels(factor);
  return std::all_of(coded.begin(), coded.end(), [&](float level) {
    return std::any_of(coded.begin(), coded.end(),
                       [&](float other) { return std::fabs(other + level) <= 1e-5F; });
  });
}

bool CanMirror(const Factors::Factor& factor) {
  if (factor.IsMixture()) return false;
  if (factor.IsQualitative()) return factor.settings.size() == 2;
  return factor.levels.empty() || HasSymmetricLevels(factor);
}

// The base-change of a fold-over's generators over GF(2): words are bit sets over the old
// base factors, with bit `base` for the half (+1 for the old runs, -1 for the mirrored ones).
// The first base + 1 factor columns become the new base when they are independent.
class Basis {
 public:
  // Takes the candidate base vectors; false from Independent() when they are dependent.
  explicit Basis(const std::vector<int>& vectors) {
    for (std::size_t j = 0; j < vectors.size(); ++j) {
      auto [residue, mask] = Reduce(vectors[j]);
      if (residue == 0) {
        independent_ = false;
        return;
      }
      pivots_.push_back({residue, mask ^ (1 << j)});
    }
  }
  [[nodiscard]] bool Independent() const { return independent_; }
  // The word over the new base factors whose product is `vector`.
  [[nodiscard]] int Express(int vector) const { return Reduce(vector).second; }

 private:
  struct Pivot {
    int vector;
    int combination;  // the new base factors whose product it is
  };
  // Clears the pivots' leading bits from `vector`; gives the rest and the combination used.
  [[nodiscard]] std::pair<int, int> Reduce(int vector) const {
    int combination = 0;
    for (const Pivot& pivot : pivots_) {
      const int lead = 1 << (31 - std::countl_zero(static_cast<unsigned>(pivot.vector)));
      if ((vector & lead) != 0) {
        vector ^= pivot.vector;
        combination ^= pivot.combination;
      }
    }
    return {vector, combination};
  }

  std::vector<Pivot> pivots_;
  bool independent_ = true;
};

// The generators of the fold-over of a design with generators `old` over its varied
// factors, `mirrored` telling which of them change sign; empty when they cannot be written
// with the first varied factors as the base (see FoldOver).
Generators FoldedGenerators(const Generators& old, const std::vector<bool>& mirrored,
                            bool new_block) {
  if (old.IsEmpty() || old.GetFactorCount() != static_cast<int>(mirrored.size())) return {};
  const int base = old.GetBaseFactors() + 1;
  const int k = old.GetFactorCount();
  if (k < base || base > Generators::kMaxBaseFactors) return {};
  const int half = 1 << (base - 1);
  std::vector<int> vectors = old.GetColumns();
  for (int i = 0; i < k; ++i) {
    if (mirrored[static_cast<std::size_t>(i)]) vectors[static_cast<std::size_t>(i)] |= half;
  }
  const Basis basis(std::vector<int>(vectors.begin(), vectors.begin() + base));
  if (!basis.Independent()) return {};
  std::vector<int> factor_words;
  for (int i = base; i < k; ++i) {
    factor_words.push_back(basis.Express(vectors[static_cast<std::size_t>(i)]));
  }
  std::vector<int> block_words;
  for (int word : old.GetBlockWords()) block_words.push_back(basis.Express(word));
  if (new_block) block_words.push_back(basis.Express(half));
  try {
    return Generators(base, std::move(factor_words), std::move(block_words));
  } catch (const Exception&) {
    return {};  // more block words than a design may have
  }
}

// The coded value of a varied factor given uncoded (as a worksheet holds it).
float Code(const Factors::Factor& factor, float value, double mixture_free) {
  if (factor.IsQualitative()) return value;
  if (factor.IsMixture()) {
    return static_cast<float>((static_cast<double>(value) - factor.low) / mixture_free);
  }
  const double half = (factor.high - factor.low) / 2.0;
  return static_cast<float>((static_cast<double>(value) - (factor.low + factor.high) / 2.0) / half);
}

// A name for the block factor that no factor has.
std::string FreeName(const Factors& factors) {
  std::string name = "Block";
  for (int n = 2; factors.GetIndex(name) >= 0; ++n) name = "Block " + std::to_string(n);
  return name;
}

}  // namespace

std::unique_ptr<NCDesign> FoldOver(const NCDesign& design, const Factors& factors,
                                   const FoldOverOptions& options) {
  RequireSameFactors(design, factors);
  const std::vector<int> varied = factors.GetVaried();
  if (options.factor != -1 &&
      std::find(varied.begin(), varied.end(), options.factor) == varied.end()) {
    throw Exception(ExceptionMessage::translate("There is no varied factor {} to fold.") %
                    options.factor);
  }
  std::vector<bool> mirrored;  // per varied factor
  for (int f : varied) {
    const bool mirror = options.factor == -1 || options.factor == f;
    mirrored.push_back(mirror);
    if (mirror && !CanMirror(factors.GetFactor(f))) {
      throw Exception(ExceptionMessage::translate("The factor '{}' cannot be mirrored.") %
                      factors.GetFactor(f).name);
    }
  }
  const int runs = design.GetRuns();
  const int offset = options.new_block ? design.GetBlockCount() : 0;
  Grower grower(design, runs);
  for (int r = 0; r < runs; ++r) {
    const int row = grower.Append(design.GetBlocks()[static_cast<std::size_t>(r)] + offset,
                                  design.GetRunKinds()[static_cast<std::size_t>(r)]);
    for (int c = 0; c < factors.GetCount(); ++c) {
      float coded = design.GetCoded()(r, c);
      float uncoded = design.GetUncoded()(r, c);
      const auto v = std::find(varied.begin(), varied.end(), c);
      if (v != varied.end() && mirrored[static_cast<std::size_t>(v - varied.begin())]) {
        const Factors::Factor& factor = factors.GetFactor(c);
        if (factor.IsQualitative()) {
          coded = 3.0F - coded;
          uncoded = coded;
        } else {
          coded = coded == 0.0F ? 0.0F : -coded;
          uncoded = DesignBuilder::ProcessValue(factor, coded);
        }
      }
      grower.Set(row, c, coded, uncoded);
    }
  }
  return grower.Finish(design.GetType(), design.GetName(),
                       FoldedGenerators(design.GetGenerators(), mirrored, options.new_block));
}

std::unique_ptr<NCDesign> CompleteComposite(const NCDesign& design, const Factors& factors,
                                            const CompositeOptions& options) {
  using Choice = DesignOptions::StarDistanceChoice;
  RequireSameFactors(design, factors);
  const std::vector<int> varied = factors.GetVaried();
  for (int f : varied) {
    if (factors.GetFactor(f).IsMixture() || factors.GetFactor(f).IsQualitative() ||
        !factors.GetFactor(f).levels.empty()) {
      throw Exception(ExceptionMessage::translate("The factor '{}' is not continuous and cannot "
                                                  "take axial runs.") %
                      factors.GetFactor(f).name);
    }
  }
  if (varied.empty()) throw Exception(ExceptionMessage::translate("There are no factors to vary."));
  if (options.center_points < 0) {
    throw Exception(
        ExceptionMessage::translate("The number of centre points cannot be "
                                    "negative."));
  }
  int factorial = 0;
  int centers = 0;
  for (int r = 0; r < design.GetRuns(); ++r) {
    int ends = 0;
    int middles = 0;
    for (int f : varied) {
      const float value = design.GetCoded()(r, f);
      ends += std::fabs(value) == 1.0F ? 1 : 0;
      middles += value == 0.0F ? 1 : 0;
    }
    const int k = static_cast<int>(varied.size());
    if (ends != k && middles != k) {
      throw Exception(ExceptionMessage::translate("Run {} is neither a factorial run nor a centre "
                                                  "point.") %
                      (r + 1));
    }
    (ends == k ? factorial : centers) += 1;
  }
  if (factorial == 0) {
    throw Exception(ExceptionMessage::translate("The design has no factorial runs."));
  }

  const int k = static_cast<int>(varied.size());
  double alpha = 1.0;
  switch (options.star_choice) {
    case Choice::kGiven:
      if (!(options.star_distance > 0.0F && options.star_distance <= 5.0F)) {
        throw Exception(
            ExceptionMessage::translate("The star distance must be a number between 0 and 5."));
      }
      alpha = options.star_distance;
      break;
    case Choice::kFaceCentred:
      alpha = 1.0;
      break;
    case Choice::kRotatable:
      alpha = DesignOptions::RotatableStarDistance(factorial);
      break;
    case Choice::kDefault:
    case Choice::kOrthogonalBlocking: {
      DesignOptions::CompositeLayout layout;
      layout.factors = k;
      layout.factorial_runs = factorial;
      layout.factorial_center_points = centers;
      layout.axial_runs = 2 * k;
      layout.axial_center_points = options.center_points;
      alpha = DesignOptions::OrthogonalBlockingStarDistance(layout);
      break;
    }
  }

  const int block = design.GetBlockCount() + 1;
  Grower grower(design, 2 * k + options.center_points);
  for (int f : varied) {
    for (double sign : {-1.0, 1.0}) {
      const int row = grower.Append(block, RunKind::kAxial);
      for (int g : varied) {
        const auto coded = static_cast<float>(g == f ? sign * alpha : 0.0);
        grower.Set(row, g, coded, DesignBuilder::ProcessValue(factors.GetFactor(g), coded));
      }
    }
  }
  for (int c = 0; c < options.center_points; ++c) {
    const int row = grower.Append(block, RunKind::kCenter);
    for (int g : varied) {
      grower.Set(row, g, 0.0F, DesignBuilder::ProcessValue(factors.GetFactor(g), 0.0F));
    }
  }
  return grower.Finish(EDesign::kCentralComposite, alpha == 1.0 ? "CCF" : "CCC",
                       design.GetGenerators());
}

std::unique_ptr<NCDesign> AugmentDOptimal(const NCDataMatrix<float>& runs, const Factors& factors,
                                          const AugmentOptions& options, const bool* cancel) {
  const int old_runs = runs.GetRows();
  const int k = factors.GetCount();
  if (old_runs == 0) throw Exception(ExceptionMessage::translate("There are no runs to augment."));
  if (runs.GetCols() != k) {
    throw Exception(ExceptionMessage::translate("The runs have {} columns; there are {} "
                                                "factors.") %
                    runs.GetCols() % k);
  }
  if (!options.blocks.empty() && static_cast<int>(options.blocks.size()) != old_runs) {
    throw Exception(ExceptionMessage::translate("There are {} blocks for {} runs.") %
                    options.blocks.size() % old_runs);
  }
  int old_blocks = 1;
  for (int block : options.blocks) {
    if (block < 1) {
      throw Exception(ExceptionMessage::translate("Block {} is not a block number.") % block);
    }
    old_blocks = std::max(old_blocks, block);
  }
  if (!options.new_block && old_blocks > 1) {
    throw Exception(
        ExceptionMessage::translate("Runs in several blocks need the added runs in a "
                                    "block of their own."));
  }
  if (options.added_runs < 0) {
    throw Exception(ExceptionMessage::translate("The number of runs to add cannot be negative."));
  }
  if (!options.model.GetTerms().empty() && !options.model.IsValidFor(factors)) {
    throw Exception(ExceptionMessage::translate("The model names a factor that is not there."));
  }

  // The model over the varied factors.
  std::vector<DesignModel::Term> terms;
  if (options.model.GetTerms().empty()) {
    terms = DesignModel::Make(factors,
                              factors.GetProcessCount() > 0 ? EModel::kQuadratic : EModel::kNone,
                              factors.IsMixture() ? EModel::kQuadratic : EModel::kNone)
                .GetTerms();
  } else {
    for (const DesignModel::Term& term : options.model.GetTerms()) {
      if (std::all_of(term.begin(), term.end(),
                      [&](int f) { return factors.GetFactor(f).IsVaried(); })) {
        terms.push_back(term);
      }
    }
  }

  // Blocks enter as a qualitative factor of one setting per block; the added runs are held
  // to the last setting by a constraint.
  const int total_blocks = old_blocks + (options.new_block ? 1 : 0);
  Factors extended = factors;
  NCDataMatrix<float> inclusions = runs;
  auto constraints = std::make_unique<NCDOE::Constraints>();
  if (options.constraints != nullptr) *constraints = *options.constraints;
  if (total_blocks > 1) {
    std::vector<std::string> settings;
    for (int b = 1; b <= total_blocks; ++b) settings.push_back(std::to_string(b));
    // The name is free and the settings distinct, so the factor is accepted.
    extended.Add(Factors::Factor::Qualitative(FreeName(factors), std::move(settings)), nullptr);
    terms.push_back({k});
    inclusions.Resize(old_runs, k + 1);
    for (int r = 0; r < old_runs; ++r) {
      inclusions(r, k) = options.blocks.empty()
                             ? 1.0F
                             : static_cast<float>(options.blocks[static_cast<std::size_t>(r)]);
    }
    NCDOE::Constraint last_block(true, total_blocks);
    last_block.AddPair(k, 1.0);
    constraints->Add(std::move(last_block));
  }
  const DesignModel model(std::move(terms));

  // The rank the existing runs give the model, for the fewest runs to add.
  double mixture_low = 0.0;
  for (const Factors::Factor& factor : factors.GetAll()) {
    if (factor.IsMixture() && factor.IsVaried()) mixture_low += factor.low;
  }
  const double mixture_free = factors.GetMixtureTotal() - mixture_low;
  NCDataMatrix<float> coded(old_runs, extended.GetCount());
  for (int r = 0; r < old_runs; ++r) {
    for (int c = 0; c < extended.GetCount(); ++c) {
      const Factors::Factor& factor = extended.GetFactor(c);
      if (!std::isfinite(inclusions(r, c)) && factor.IsVaried()) {
        throw Exception(ExceptionMessage::translate("Run {} has no valid value for the factor "
                                                    "'{}'.") %
                        (r + 1) % factor.name);
      }
      coded(r, c) = factor.IsVaried() ? Code(factor, inclusions(r, c), mixture_free)
                                      : (factor.IsQualitative() ? 1.0F : 0.0F);
    }
  }
  const int columns = model.GetColumnCount(extended);
  for (int r = 0; r < old_runs; ++r) {
    for (int c = 0; c < extended.GetCount(); ++c) {
      const Factors::Factor& factor = extended.GetFactor(c);
      const float setting = coded(r, c);
      if (factor.IsQualitative() && factor.IsVaried() &&
          (setting != std::round(setting) || setting < 1.0F ||
           setting > static_cast<float>(factor.settings.size()))) {
        throw Exception(ExceptionMessage::translate("Run {} has no valid value for the factor "
                                                    "'{}'.") %
                        (r + 1) % factor.name);
      }
    }
  }
  const Eigen::MatrixXd existing = model.Expand(extended, coded);
  const auto rank = static_cast<int>(Eigen::ColPivHouseholderQR<Eigen::MatrixXd>(existing).rank());
  const int fewest = std::max(1, columns - rank);
  const int added = options.added_runs == 0 ? fewest : options.added_runs;
  if (added < fewest) {
    throw Exception(ExceptionMessage::translate("The model needs at least {} added runs.") %
                    fewest);
  }
  const int most = 2 * columns + 10 - old_runs;
  if (most <= 0) {
    throw Exception(ExceptionMessage::translate("The design already has {} runs; D-optimal runs "
                                                "can be added for this model only to designs of "
                                                "fewer than {} runs.") %
                    old_runs % (2 * columns + 10));
  }
  if (added > most) {
    throw Exception(ExceptionMessage::translate("At most {} runs can be added for this model.") %
                    most);
  }

  DesignOptions design_options;
  design_options.SetObjective(EObjective::kRSM);
  design_options.SetCenterPoints(0);
  design_options.SetRuns(old_runs + added);
  auto specific = std::make_unique<DOptimalOptions>();
  specific->SetModel(model);
  specific->SetInclusions(std::move(inclusions));
  if (constraints->GetCount() > 0) specific->SetConstraints(std::move(constraints));
  if (!specific->SetCandidateLevels(options.candidate_levels)) {
    throw Exception(ExceptionMessage::translate("The candidate levels must be 2 to {}.") %
                    DOptimalOptions::kMaxCandidateLevels);
  }
  specific->SetProgress(options.progress);
  design_options.SetDesignSpecificOptions(std::move(specific));
  const DesignBuilder* builder = AllDesigns::GetDesignBuilder(EDesign::kDOptimal, "D-Optimal");
  const std::unique_ptr<NCDesign> generated = builder->Generate(extended, design_options, cancel);

  const int total = generated->GetRuns();
  NCDataMatrix<float> result_coded(total, k);
  NCDataMatrix<float> result_uncoded(total, k);
  std::vector<int> blocks;
  for (int r = 0; r < total; ++r) {
    for (int c = 0; c < k; ++c) {
      result_coded(r, c) = generated->GetCoded()(r, c);
      result_uncoded(r, c) = r < old_runs ? runs(r, c) : generated->GetUncoded()(r, c);
    }
    if (r >= old_runs) {
      blocks.push_back(options.new_block ? total_blocks : 1);
    } else {
      blocks.push_back(options.blocks.empty() ? 1 : options.blocks[static_cast<std::size_t>(r)]);
    }
  }
  std::vector<std::string> names;
  for (const Factors::Factor& factor : factors.GetAll()) names.push_back(factor.name);
  return std::make_unique<NCDesign>(
      EDesign::kDOptimal, builder->GetName(), std::move(names), std::move(result_coded),
      std::move(result_uncoded), std::move(blocks),
      std::vector<RunKind>(static_cast<std::size_t>(total), RunKind::kDesign), Generators());
}

bool FoldOverSelectedDesign(ModelSpec& spec, const FoldOverOptions& options, std::string* message) {
  const std::shared_ptr<const NCDesign> design = spec.GetDesign();
  if (design == nullptr) {
    if (message != nullptr) *message = ExceptionMessage::translate("There is no design to fold.");
    return false;
  }
  try {
    spec.AddDesign(FoldOver(*design, spec.GetFactors().GetFactors(), options));
  } catch (const Exception& e) {
    if (message != nullptr) *message = e.what();
    return false;
  }
  return true;
}

}  // namespace zubra
