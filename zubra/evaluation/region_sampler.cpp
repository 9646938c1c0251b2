#include "zubra/evaluation/region_sampler.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <random>
#include <span>
#include <vector>

#include "zubra/platform/base/undefined.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

// A double uniform on [0, 1) from the top 53 bits of a draw.
double Uniform(std::mt19937_64& engine) { return static_cast<double>(engine() >> 11U) * 0x1.0p-53; }

// A whole number uniform on 0..count-1.
int Choose(std::mt19937_64& engine, std::size_t count) {
  const auto chosen = static_cast<std::size_t>(Uniform(engine) * static_cast<double>(count));
  return static_cast<int>(std::min(chosen, count - 1));
}

enum class Role { kFixed, kContinuous, kLevels, kQualitative, kMixture };

Role RoleOf(const Factors::Factor& factor) {
  if (!factor.IsVaried()) return Role::kFixed;
  if (factor.IsMixture()) return Role::kMixture;
  if (factor.IsQualitative()) return Role::kQualitative;
  if (!factor.levels.empty()) return Role::kLevels;
  return Role::kContinuous;
}

}  // namespace

NCDataMatrix<float> RegionSampler::Sample(const Factors& factors,
                                          const NCDOE::Constraints* constraints, int points,
                                          std::uint64_t seed) {
  if (factors.GetCount() == 0) {
    throw Exception(ExceptionMessage::translate("A region needs at least one factor."));
  }
  points = std::max(points, 1);
  const int count = factors.GetCount();
  std::vector<Role> roles;
  std::vector<int> mixture;
  double free = factors.GetMixtureTotal();
  for (int f = 0; f < count; ++f) {
    const Factors::Factor& factor = factors.GetFactor(f);
    roles.push_back(RoleOf(factor));
    if (roles.back() == Role::kMixture) {
      mixture.push_back(f);
      free -= factor.low;
    } else if (factor.IsMixture() && factor.use == CEUse::kConstant) {
      free -= (factor.low + factor.high) / 2.0;
    }
  }
  const double tolerance = 1e-9 * std::max(std::fabs(factors.GetMixtureTotal()), 1e-300);
  if (!mixture.empty() && free < -tolerance) {
    throw Exception(
        ExceptionMessage::translate("The lower bounds of the mixture factors exceed "
                                    "the mixture total."));
  }
  std::mt19937_64 engine(seed);
  NCDataMatrix<float> coded(points, count);
  std::vector<float> run(static_cast<std::size_t>(count));
  std::vector<double> shares(mixture.size());
  const long long most_draws = static_cast<long long>(kMaxDrawsPerPoint) * points;
  long long draws = 0;
  int made = 0;
  while (made < points) {
    if (++draws > most_draws) {
      throw Exception(
          ExceptionMessage::translate("The region is too small a part of its "
                                      "bounding box to be sampled."));
    }
    float* out = coded.GetRowData(made);
    for (int f = 0; f < count; ++f) {
      const Factors::Factor& factor = factors.GetFactor(f);
      const double mid = (factor.low + factor.high) / 2.0;
      const double half = (factor.high - factor.low) / 2.0;
      const auto at = static_cast<std::size_t>(f);
      switch (roles[at]) {
        case Role::kFixed:
          out[f] = factor.IsQualitative() ? 1.0F : 0.0F;
          if (factor.use != CEUse::kConstant) {
            run[at] = static_cast<float>(kUndefined);
          } else {
            run[at] = factor.IsQualitative() ? 1.0F : static_cast<float>(mid);
          }
          break;
        case Role::kContinuous: {
          const double c = 2.0 * Uniform(engine) - 1.0;
          out[f] = static_cast<float>(c);
          run[at] = static_cast<float>(mid + c * half);
          break;
        }
        case Role::kLevels: {
          const double level =
              factor.levels[static_cast<std::size_t>(Choose(engine, factor.levels.size()))];
          out[f] = static_cast<float>(half > 0.0 ? (level - mid) / half : 0.0);
          run[at] = static_cast<float>(level);
          break;
        }
        case Role::kQualitative: {
          const auto setting = static_cast<float>(Choose(engine, factor.settings.size()) + 1);
          out[f] = setting;
          run[at] = setting;
          break;
        }
        case Role::kMixture:
          break;  // below, all components together
      }
    }
    bool inside = true;
    if (!mixture.empty()) {
      // Uniform on the simplex: normalised standard exponential draws.
      double sum = 0.0;
      for (double& share : shares) {
        share = -std::log1p(-Uniform(engine));
        sum += share;
      }
      const auto q = static_cast<double>(mixture.size());
      for (std::size_t i = 0; i < mixture.size(); ++i) {
        const Factors::Factor& factor = factors.GetFactor(mixture[i]);
        const double z = sum > 0.0 ? shares[i] / sum : 1.0 / q;
        const double pseudo = free > tolerance ? z : 1.0 / q;
        const double amount = factor.low + pseudo * std::max(free, 0.0);
        if (amount > factor.high + tolerance) inside = false;
        out[mixture[i]] = static_cast<float>(pseudo);
        run[static_cast<std::size_t>(mixture[i])] = static_cast<float>(amount);
      }
    }
    if (inside && constraints != nullptr && constraints->Excludes(std::span<const float>(run))) {
      inside = false;
    }
    if (inside) ++made;
  }
  return coded;
}

}  // namespace zubra
