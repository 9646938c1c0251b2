#include "zubra/platform/design/internal/response_surface_builders.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <optional>
#include <utility>

#include "zubra/platform/design/internal/factorial_builders.h"
#include "zubra/platform/util/exception.h"

namespace zubra::internal {
namespace {

// The runs of a two-level factorial in `size` factors, standard order; with `half` only the
// runs whose product is +1.
std::vector<std::vector<float>> GroupFactorial(int size, bool half) {
  std::vector<std::vector<float>> runs;
  for (unsigned r = 0; r < (1U << size); ++r) {
    std::vector<float> run;
    float product = 1.0F;
    for (int b = 0; b < size; ++b) {
      run.push_back(((r >> b) & 1U) != 0 ? 1.0F : -1.0F);
      product *= run.back();
    }
    if (!half || product > 0.0F) runs.push_back(std::move(run));
  }
  return runs;
}

// The groups of a cyclic arrangement: `base` shifted by 0..n-1 modulo n.
std::vector<std::vector<int>> CyclicGroups(const std::vector<int>& base, int n) {
  std::vector<std::vector<int>> groups;
  for (int shift = 0; shift < n; ++shift) {
    std::vector<int> group;
    group.reserve(base.size());
    for (int v : base) group.push_back((v + shift) % n);
    std::sort(group.begin(), group.end());
    groups.push_back(std::move(group));
  }
  return groups;
}

}  // namespace

bool ResponseSurfaceBuilder::SupportsObjective(EObjective::Type objective) const {
  return objective == EObjective::kRSM || objective == EObjective::kOptimization;
}

bool ResponseSurfaceBuilder::CheckFactors(const Factors& factors, std::string* message) const {
  for (const Factors::Factor& factor : factors.GetAll()) {
    if (!IsContinuous(factor)) {
      return Refuse(message, ExceptionMessage::translate("The design '{}' is for quantitative "
                                                         "factors only; '{}' is not one.") %
                                 GetName() % factor.name);
    }
  }
  if (factors.GetCount() < min_factors_ || factors.GetCount() > max_factors_) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' is for {} to {} "
                                                       "factors.") %
                               GetName() % min_factors_ % max_factors_);
  }
  return true;
}

bool ResponseSurfaceBuilder::CheckModel(const Factors& /*factors*/, const DesignOptions& options,
                                        std::string* message) const {
  const EModel::Type model = options.GetProcessModel();
  if (model < EModel::kLinear || model > EModel::kQuadratic) {
    return RefuseModel(model, message);
  }
  return true;
}

std::string CentralCompositeBuilder::GetName() const {
  switch (form_) {
    case Form::kCircumscribed:
      return "CCC";
    case Form::kFaceCentred:
      return "CCF";
    case Form::kInscribed:
      return "CCI";
  }
  return {};
}

std::int8_t CentralCompositeBuilder::GetRank() const {
  switch (form_) {
    case Form::kFaceCentred:
      return 60;
    case Form::kCircumscribed:
      return 61;
    case Form::kInscribed:
      return 62;
  }
  return 62;
}

float CentralCompositeBuilder::StarDistance(int factors, int factorial_runs,
                                            const DesignOptions& options) const {
  using Choice = DesignOptions::StarDistanceChoice;
  if (form_ == Form::kFaceCentred) return 1.0F;
  const unsigned blocks = options.GetBlocks();
  Choice choice = options.GetStarDistanceChoice();
  if (choice == Choice::kDefault) {
    choice = blocks > 1 ? Choice::kOrthogonalBlocking : Choice::kRotatable;
  }
  if (choice == Choice::kGiven) return options.GetStarDistance();
  if (choice == Choice::kFaceCentred) return 1.0F;
  if (choice == Choice::kRotatable || blocks == 1) {
    return static_cast<float>(DesignOptions::RotatableStarDistance(factorial_runs));
  }
  // The runs as Generate places them: every block holds its runs and their replicates; the
  // replicated runs are the first rows of the design proper (factorial rows first); the
  // centre points are shared out with the first blocks taking one more, so the axial block,
  // the last, takes the smaller share.
  const int copies = 1 + options.GetReplicates();
  const int replicated = options.GetReplicatedRuns();
  const int centers = options.GetCenterPoints();
  const int axial_centers = centers / static_cast<int>(blocks);
  DesignOptions::CompositeLayout layout;
  layout.factors = factors;
  layout.factorial_runs = factorial_runs * copies + std::min(replicated, factorial_runs);
  layout.factorial_center_points = centers - axial_centers;
  layout.axial_runs = 2 * factors * copies + std::max(0, replicated - factorial_runs);
  layout.axial_center_points = axial_centers;
  return static_cast<float>(DesignOptions::OrthogonalBlockingStarDistance(layout));
}

bool CentralCompositeBuilder::CheckSpecific(const Factors& factors, const DesignOptions& options,
                                            int runs, std::string* message) const {
  const int k = factors.GetCount();
  const float alpha = StarDistance(k, runs - 2 * k, options);
  if (form_ == Form::kInscribed && alpha < 1.0F) {
    return Refuse(message, ExceptionMessage::translate("The inscribed composite design needs a "
                                                       "star distance of at least 1."));
  }
  return true;
}

std::vector<int> CentralCompositeBuilder::CandidateRuns(const Factors& factors,
                                                        const DesignOptions& /*options*/) const {
  const int k = factors.GetCount();
  std::vector<int> runs;
  for (int factorial : Generators::GetTableRuns(5, k)) runs.push_back(factorial + 2 * k);
  return runs;
}

std::vector<unsigned> CentralCompositeBuilder::BlockCounts(const Factors& factors,
                                                           const DesignOptions& /*options*/,
                                                           int runs) const {
  const int k = factors.GetCount();
  const int factorial = runs - 2 * k;
  std::vector<unsigned> counts{1, 2};
  int most = 0;
  while (most < 3 && (4 << (most + 1)) <= runs) ++most;
  for (int i = 1; i <= most; ++i) {
    if (Generators::GetGen5(0, k, factorial, i) != 5) continue;
    bool all = true;
    for (int j = 1; j <= i; ++j) all = all && Generators::GetGen5(-j, k, factorial, i) != 0;
    if (all) counts.push_back((1U << i) + 1);
  }
  return counts;
}

int CentralCompositeBuilder::MinCenterPoints(const Factors& /*factors*/,
                                             const DesignOptions& options) const {
  return options.GetBlocks() > 1 ? static_cast<int>(options.GetBlocks()) : 0;
}

DesignBuilder::Core CentralCompositeBuilder::BuildCore(const Factors& factors,
                                                       const DesignOptions& options, int runs,
                                                       unsigned blocks,
                                                       const bool* /*cancel*/) const {
  const int k = factors.GetCount();
  const int factorial = runs - 2 * k;
  const int block_generators = blocks > 2 ? std::countr_zero(blocks - 1) : 0;
  // The run count and blocks were checked against the same table.
  const Generators generators = Generators::FromTable(5, k, factorial, block_generators).value();
  const NCDataMatrix<float> cube = generators.MakeDesign();
  const std::vector<int> cube_blocks = generators.MakeBlocks();
  const float alpha = StarDistance(k, factorial, options);
  const float cube_scale = form_ == Form::kInscribed ? 1.0F / alpha : 1.0F;
  const float axial = form_ == Form::kInscribed ? 1.0F : alpha;

  Core core;
  core.coded = NCDataMatrix<float>(runs, k);
  for (int r = 0; r < factorial; ++r) {
    for (int c = 0; c < k; ++c) core.coded(r, c) = cube(r, c) * cube_scale;
    core.blocks.push_back(blocks > 2 ? cube_blocks[static_cast<std::size_t>(r)] : 1);
    core.kinds.push_back(NCDesign::RunKind::kDesign);
  }
  const int axial_block = blocks == 1 ? 1 : static_cast<int>(blocks);
  for (int c = 0; c < k; ++c) {
    for (float sign : {-1.0F, 1.0F}) {
      const int row = factorial + 2 * c + (sign > 0.0F ? 1 : 0);
      core.coded(row, c) = sign * axial;
      core.blocks.push_back(axial_block);
      core.kinds.push_back(NCDesign::RunKind::kAxial);
    }
  }
  if (block_generators > 0) core.generators = generators;
  return core;
}

std::vector<std::vector<int>> BoxBehnkenBuilder::Groups(int k) {
  switch (k) {
    case 3:
      return {{0, 1}, {0, 2}, {1, 2}};
    case 4:  // three perfect matchings, one per block
      return {{0, 1}, {2, 3}, {0, 2}, {1, 3}, {0, 3}, {1, 2}};
    case 5:  // two Hamiltonian cycles, one per block
      return {{0, 1}, {1, 2}, {2, 3}, {3, 4}, {0, 4}, {0, 2}, {2, 4}, {1, 4}, {1, 3}, {0, 3}};
    case 6:
      return {{0, 1, 3}, {1, 2, 4}, {2, 3, 5}, {0, 3, 4}, {1, 4, 5}, {0, 2, 5}};
    case 7:  // the lines of the Fano plane
      return CyclicGroups({0, 1, 3}, 7);
    case 8:
      return CyclicGroups({0, 1, 2, 4}, 8);
    case 9:
      // Five classes of three disjoint triples on the points (x, y) of Z3 x Z3, numbered
      // 3x + y: the four parallel classes of lines, then one class of non-collinear triples.
      return {{0, 3, 6}, {1, 4, 7}, {2, 5, 8}, {0, 1, 2}, {3, 4, 5},
              {6, 7, 8}, {0, 4, 8}, {1, 5, 6}, {2, 3, 7}, {0, 5, 7},
              {1, 3, 8}, {2, 4, 6}, {0, 1, 3}, {2, 5, 6}, {4, 7, 8}};
    case 10:
      return CyclicGroups({0, 1, 3, 5}, 10);
    case 11:  // the quadratic residues of 11, a (11, 5, 2) difference set
      return CyclicGroups({1, 3, 4, 5, 9}, 11);
    case 12:
      return CyclicGroups({0, 1, 3, 7}, 12);
    default:
      return {};
  }
}

std::vector<int> BoxBehnkenBuilder::CandidateRuns(const Factors& factors,
                                                  const DesignOptions& /*options*/) const {
  int runs = 0;
  for (const std::vector<int>& group : Groups(factors.GetCount())) {
    const int size = static_cast<int>(group.size());
    runs += 1 << (size == 5 ? size - 1 : size);
  }
  return {runs};
}

std::vector<unsigned> BoxBehnkenBuilder::BlockCounts(const Factors& factors,
                                                     const DesignOptions& /*options*/,
                                                     int /*runs*/) const {
  switch (factors.GetCount()) {
    case 4:
      return {1, 3};
    case 5:
    case 6:
    case 7:
    case 10:
    case 12:
      return {1, 2};
    case 9:
      return {1, 5, 10};
    default:
      return {1};
  }
}

int BoxBehnkenBuilder::MinCenterPoints(const Factors& /*factors*/,
                                       const DesignOptions& options) const {
  return std::max(1, static_cast<int>(options.GetBlocks()));
}

DesignBuilder::Core BoxBehnkenBuilder::BuildCore(const Factors& factors,
                                                 const DesignOptions& /*options*/, int runs,
                                                 unsigned blocks, const bool* /*cancel*/) const {
  const int k = factors.GetCount();
  const std::vector<std::vector<int>> groups = Groups(k);
  const int per_block = static_cast<int>(groups.size()) / static_cast<int>(blocks);
  Core core;
  core.coded = NCDataMatrix<float>(runs, k);
  int row = 0;
  for (std::size_t g = 0; g < groups.size(); ++g) {
    const std::vector<int>& group = groups[g];
    const int size = static_cast<int>(group.size());
    for (const std::vector<float>& run : GroupFactorial(size, size == 5)) {
      float product = 1.0F;
      for (int s = 0; s < size; ++s) {
        core.coded(row, group[static_cast<std::size_t>(s)]) = run[static_cast<std::size_t>(s)];
        product *= run[static_cast<std::size_t>(s)];
      }
      // Blocks of whole groups where the arrangement has them (4 and 5 factors, the classes
      // of 9 factors); otherwise, and for the 10 blocks of 9 factors, each group's factorial
      // splits in halves by the sign of the product of its factors.
      int block = 1;
      if (blocks > 1) {
        const int half = product > 0.0F ? 0 : 1;
        if (k == 4 || k == 5 || (k == 9 && blocks == 5)) {
          block = static_cast<int>(g) / per_block + 1;
        } else if (k == 9) {
          block = 2 * (static_cast<int>(g) / 3) + half + 1;
        } else {
          block = half + 1;
        }
      }
      core.blocks.push_back(block);
      ++row;
    }
  }
  return core;
}

std::vector<int> RechtschaffnerBuilder::CandidateRuns(const Factors& factors,
                                                      const DesignOptions& /*options*/) const {
  const int k = factors.GetCount();
  return {(k + 1) * (k + 2) / 2};
}

DesignBuilder::Core RechtschaffnerBuilder::BuildCore(const Factors& factors,
                                                     const DesignOptions& /*options*/, int runs,
                                                     unsigned /*blocks*/,
                                                     const bool* /*cancel*/) const {
  const int k = factors.GetCount();
  Core core;
  core.coded = NCDataMatrix<float>(runs, k);
  // The two-level saturated design for the interaction model, then each factor high with the
  // others at their centre.
  int row = RechtschaffnerResVBuilder::FillRows(core.coded, k);
  for (int i = 0; i < k; ++i, ++row) {
    for (int j = 0; j < k; ++j) core.coded(row, j) = j == i ? 1.0F : 0.0F;
  }
  return core;
}

}  // namespace zubra::internal
