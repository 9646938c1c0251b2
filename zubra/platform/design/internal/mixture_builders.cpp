#include "zubra/platform/design/internal/mixture_builders.h"

#include <bit>
#include <cstddef>
#include <utility>

#include "zubra/platform/util/exception.h"

namespace zubra::internal {
namespace {

// Appends every way of writing `rest` as a sum of the remaining parts of `parts`.
void Compositions(int rest, std::size_t position, std::vector<int>& parts,
                  std::vector<std::vector<int>>& out) {
  if (position + 1 == parts.size()) {
    parts[position] = rest;
    out.push_back(parts);
    return;
  }
  for (int v = rest; v >= 0; --v) {
    parts[position] = v;
    Compositions(rest - v, position + 1, parts, out);
  }
}

}  // namespace

EDesign::Type MixtureBuilder::GetType() const {
  switch (kind_) {
    case Kind::kLattice:
      return EDesign::kSimplexLattice;
    case Kind::kCentroid:
      return EDesign::kSimplexCentroid;
    case Kind::kAxial:
      return EDesign::kAxial;
  }
  return EDesign::kNone;
}

std::string MixtureBuilder::GetName() const {
  switch (kind_) {
    case Kind::kLattice:
      return "Simplex Lattice";
    case Kind::kCentroid:
      return "Simplex Centroid";
    case Kind::kAxial:
      return "Axial";
  }
  return {};
}

std::int8_t MixtureBuilder::GetRank() const {
  switch (kind_) {
    case Kind::kAxial:
      return 90;
    case Kind::kCentroid:
      return 91;
    case Kind::kLattice:
      return 92;
  }
  return 92;
}

bool MixtureBuilder::SupportsObjective(EObjective::Type objective) const {
  switch (objective) {
    case EObjective::kScreening:
    case EObjective::kRobustness:
    case EObjective::kOptimization:
      return true;
    case EObjective::kRSM:
      return kind_ != Kind::kAxial;
    default:
      return false;
  }
}

bool MixtureBuilder::CheckFactors(const Factors& factors, std::string* message) const {
  if (!factors.IsMixtureOnly()) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' is for mixture factors "
                                                       "only.") %
                               GetName());
  }
  if (factors.HasFiller()) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' cannot have a filler "
                                                       "factor.") %
                               GetName());
  }
  const int q = factors.GetCount();
  if (q < 2 || q > kMaxComponents) {
    return Refuse(message, ExceptionMessage::translate("The design '{}' is for {} to {} "
                                                       "factors.") %
                               GetName() % 2 % kMaxComponents);
  }
  const double total = factors.GetMixtureTotal();
  double lows = 0.0;
  for (const Factors::Factor& factor : factors.GetAll()) lows += factor.low;
  const double free = total - lows;
  const double tolerance = 1e-9 * total;
  bool simplex = free > tolerance;
  for (const Factors::Factor& factor : factors.GetAll()) {
    simplex = simplex && factor.high >= factor.low + free - tolerance;
  }
  if (!simplex) {
    return Refuse(message, ExceptionMessage::translate("The ranges of the mixture factors do not "
                                                       "form a simplex; the design '{}' cannot "
                                                       "cover them.") %
                               GetName());
  }
  return true;
}

bool MixtureBuilder::CheckModel(const Factors& /*factors*/, const DesignOptions& options,
                                std::string* message) const {
  const EModel::Type model = options.GetMixtureModel();
  bool supported = model == EModel::kLinear;
  if (kind_ == Kind::kCentroid) {
    supported = supported || model == EModel::kQuadratic || model == EModel::kSpecialCubic;
  } else if (kind_ == Kind::kLattice) {
    supported = Degree(model) > 0;
  }
  if (!supported) {
    return RefuseModel(model, message);
  }
  return true;
}

int MixtureBuilder::Degree(EModel::Type model) {
  switch (model) {
    case EModel::kLinear:
      return 1;
    case EModel::kQuadratic:
      return 2;
    case EModel::kSpecialCubic:
    case EModel::kCubic:
      return 3;
    default:
      return 0;
  }
}

std::vector<int> MixtureBuilder::CandidateRuns(const Factors& factors,
                                               const DesignOptions& options) const {
  const int q = factors.GetCount();
  switch (kind_) {
    case Kind::kLattice: {
      // C(q + m - 1, m)
      const int m = Degree(options.GetMixtureModel());
      if (m == 0) return {};
      long long count = 1;
      for (int i = 1; i <= m; ++i) count = count * (q + i - 1) / i;
      return {static_cast<int>(count)};
    }
    case Kind::kCentroid:
      return {(1 << q) - 1};
    case Kind::kAxial:
      return {2 * q + 1};
  }
  return {};
}

std::vector<std::vector<float>> MixtureBuilder::Points(int q, EModel::Type model) const {
  std::vector<std::vector<float>> points;
  const auto qf = static_cast<float>(q);
  switch (kind_) {
    case Kind::kLattice: {
      const int m = Degree(model);
      std::vector<std::vector<int>> parts;
      std::vector<int> scratch(static_cast<std::size_t>(q));
      Compositions(m, 0, scratch, parts);
      for (const std::vector<int>& p : parts) {
        std::vector<float> point;
        point.reserve(p.size());
        for (int v : p) point.push_back(static_cast<float>(v) / static_cast<float>(m));
        points.push_back(std::move(point));
      }
      break;
    }
    case Kind::kCentroid:
      for (int size = 1; size <= q; ++size) {
        for (unsigned subset = 1; subset < (1U << q); ++subset) {
          if (std::popcount(subset) != size) continue;
          std::vector<float> point;
          point.reserve(static_cast<std::size_t>(q));
          for (int i = 0; i < q; ++i) {
            point.push_back(((subset >> i) & 1U) != 0 ? 1.0F / static_cast<float>(size) : 0.0F);
          }
          points.push_back(std::move(point));
        }
      }
      break;
    case Kind::kAxial:
      for (int i = 0; i < q; ++i) {
        std::vector<float> vertex(static_cast<std::size_t>(q), 0.0F);
        vertex[static_cast<std::size_t>(i)] = 1.0F;
        points.push_back(std::move(vertex));
      }
      for (int i = 0; i < q; ++i) {
        std::vector<float> axial(static_cast<std::size_t>(q), 1.0F / (2.0F * qf));
        axial[static_cast<std::size_t>(i)] = (qf + 1.0F) / (2.0F * qf);
        points.push_back(std::move(axial));
      }
      points.emplace_back(static_cast<std::size_t>(q), 1.0F / qf);
      break;
  }
  return points;
}

DesignBuilder::Core MixtureBuilder::BuildCore(const Factors& factors, const DesignOptions& options,
                                              int runs, unsigned /*blocks*/,
                                              const bool* /*cancel*/) const {
  const int q = factors.GetCount();
  const std::vector<std::vector<float>> points = Points(q, options.GetMixtureModel());
  Core core;
  core.coded = NCDataMatrix<float>(runs, q);
  for (int r = 0; r < runs; ++r) {
    for (int i = 0; i < q; ++i) {
      core.coded(r, i) = points[static_cast<std::size_t>(r)][static_cast<std::size_t>(i)];
    }
  }
  return core;
}

}  // namespace zubra::internal
