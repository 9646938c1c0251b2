#include "zubra/platform/design/design_model.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstddef>
#include <utility>

namespace zubra {
namespace {

// The values of one factor's columns for a coded value: one value for a factor that is not
// qualitative, the L - 1 effect-coded values of the setting for a qualitative one.
std::vector<double> FactorColumns(const Factors::Factor& factor, float coded) {
  if (!factor.IsQualitative()) return {static_cast<double>(coded)};
  const int settings = static_cast<int>(factor.settings.size());
  const int setting = static_cast<int>(std::lround(coded));
  std::vector<double> columns(static_cast<std::size_t>(settings - 1), 0.0);
  for (int j = 1; j < settings; ++j) {
    if (setting == settings) {
      columns[static_cast<std::size_t>(j - 1)] = -1.0;
    } else if (setting == j) {
      columns[static_cast<std::size_t>(j - 1)] = 1.0;
    }
  }
  return columns;
}

// Number of columns one factor slot of a term takes.
int SlotWidth(const Factors::Factor& factor) {
  return factor.IsQualitative() ? static_cast<int>(factor.settings.size()) - 1 : 1;
}

// The nodes and weights of a factor's marginal distribution in coded units. A continuous
// factor takes the five-point Gauss-Legendre rule on -1..+1 (halved weights), exact for the
// polynomials of degree 9 and below that products of two model columns give.
struct Marginal {
  std::vector<double> nodes;
  std::vector<double> weights;
};

Marginal FactorMarginal(const Factors::Factor& factor) {
  Marginal marginal;
  if (factor.IsQualitative()) {
    const auto settings = static_cast<double>(factor.settings.size());
    for (std::size_t s = 1; s <= factor.settings.size(); ++s) {
      marginal.nodes.push_back(static_cast<double>(s));
      marginal.weights.push_back(1.0 / settings);
    }
  } else if (!factor.levels.empty()) {
    const double mid = (factor.low + factor.high) / 2.0;
    const double half = (factor.high - factor.low) / 2.0;
    for (double level : factor.levels) {
      marginal.nodes.push_back(half > 0.0 ? (level - mid) / half : 0.0);
      marginal.weights.push_back(1.0 / static_cast<double>(factor.levels.size()));
    }
  } else {
    const double a = std::sqrt(5.0 - 2.0 * std::sqrt(10.0 / 7.0)) / 3.0;
    const double b = std::sqrt(5.0 + 2.0 * std::sqrt(10.0 / 7.0)) / 3.0;
    const double wa = (322.0 + 13.0 * std::sqrt(70.0)) / 900.0;
    const double wb = (322.0 - 13.0 * std::sqrt(70.0)) / 900.0;
    marginal.nodes = {-b, -a, 0.0, a, b};
    marginal.weights = {wb / 2.0, wa / 2.0, 128.0 / 450.0, wa / 2.0, wb / 2.0};
  }
  return marginal;
}

// What one model column takes of each factor: for a factor that is not qualitative its power
// (0: absent), for a qualitative one its effect column 1..L-1 (0: absent).
using ColumnParts = std::vector<int>;

}  // namespace

DesignModel::DesignModel(std::vector<Term> terms) : terms_(std::move(terms)) {
  for (Term& term : terms_) std::sort(term.begin(), term.end());
}

DesignModel DesignModel::Make(const Factors& factors, EModel::Type process_model,
                              EModel::Type mixture_model) {
  std::vector<int> process;
  std::vector<int> mixture;
  for (int index : factors.GetVaried()) {
    (factors.GetFactor(index).IsMixture() ? mixture : process).push_back(index);
  }
  std::vector<Term> terms;
  if (!mixture.empty() && mixture_model != EModel::kNone) {
    const std::size_t q = mixture.size();
    for (int i : mixture) terms.push_back({i});
    if (mixture_model >= EModel::kQuadratic) {
      for (std::size_t a = 0; a < q; ++a) {
        for (std::size_t b = a + 1; b < q; ++b) terms.push_back({mixture[a], mixture[b]});
      }
    }
    if (mixture_model >= EModel::kSpecialCubic) {
      for (std::size_t a = 0; a < q; ++a) {
        for (std::size_t b = a + 1; b < q; ++b) {
          for (std::size_t c = b + 1; c < q; ++c) {
            terms.push_back({mixture[a], mixture[b], mixture[c]});
          }
        }
      }
    }
    if (mixture_model == EModel::kCubic) {
      // x_a * x_b * (x_a - x_b) spans, with the terms above, the same space as x_a^2 * x_b.
      for (std::size_t a = 0; a < q; ++a) {
        for (std::size_t b = a + 1; b < q; ++b) {
          terms.push_back({mixture[a], mixture[a], mixture[b]});
        }
      }
    }
  }
  if (!process.empty() && process_model >= EModel::kLinear && process_model <= EModel::kQuadratic) {
    if (mixture.empty()) terms.emplace_back();
    for (int i : process) terms.push_back({i});
    if (process_model >= EModel::kInteraction) {
      for (std::size_t a = 0; a < process.size(); ++a) {
        for (std::size_t b = a + 1; b < process.size(); ++b) {
          terms.push_back({process[a], process[b]});
        }
      }
    }
    if (process_model == EModel::kQuadratic) {
      for (int i : process) {
        if (!factors.GetFactor(i).IsQualitative()) terms.push_back({i, i});
      }
    }
  }
  return DesignModel(std::move(terms));
}

DesignModel DesignModel::MakeCrossed(const Factors& factors, EModel::Type process_model,
                                     EModel::Type mixture_model) {
  if (!factors.IsProcessAndMixture()) return Make(factors, process_model, mixture_model);
  std::vector<Term> terms = Make(factors, EModel::kNone, mixture_model).GetTerms();
  std::vector<int> mixture;
  for (int index : factors.GetVaried()) {
    if (factors.GetFactor(index).IsMixture()) mixture.push_back(index);
  }
  // The process model alone over the same factors: its first term is the constant.
  const DesignModel process_only = Make(factors, process_model, EModel::kNone);
  for (const Term& process : process_only.GetTerms()) {
    if (process.empty()) continue;
    for (int component : mixture) {
      Term crossed = process;
      crossed.push_back(component);
      terms.push_back(std::move(crossed));
    }
  }
  return DesignModel(std::move(terms));
}

bool DesignModel::HasConstant() const {
  return std::any_of(terms_.begin(), terms_.end(), [](const Term& t) { return t.empty(); });
}

bool DesignModel::IsValidFor(const Factors& factors) const {
  for (const Term& term : terms_) {
    for (std::size_t s = 0; s < term.size(); ++s) {
      if (term[s] < 0 || term[s] >= factors.GetCount()) return false;
      if (s > 0 && term[s] == term[s - 1] && factors.GetFactor(term[s]).IsQualitative()) {
        return false;
      }
    }
  }
  return true;
}

int DesignModel::GetColumnCount(const Factors& factors) const {
  int count = 0;
  for (const Term& term : terms_) {
    int width = 1;
    for (int index : term) width *= SlotWidth(factors.GetFactor(index));
    count += width;
  }
  return count;
}

std::vector<std::string> DesignModel::GetColumnNames(const Factors& factors) const {
  std::vector<std::string> names;
  for (const Term& term : terms_) {
    if (term.empty()) {
      names.emplace_back("Constant");
      continue;
    }
    std::vector<std::string> partial{""};
    for (int index : term) {
      const Factors::Factor& factor = factors.GetFactor(index);
      std::vector<std::string> slot;
      if (factor.IsQualitative()) {
        for (std::size_t j = 0; j + 1 < factor.settings.size(); ++j) {
          slot.push_back(factor.name + "(" + factor.settings[j] + ")");
        }
      } else {
        slot.push_back(factor.name);
      }
      std::vector<std::string> next;
      for (const std::string& head : partial) {
        for (const std::string& tail : slot)
          next.push_back(head.empty() ? tail : std::string(head).append("*").append(tail));
      }
      partial = std::move(next);
    }
    names.insert(names.end(), partial.begin(), partial.end());
  }
  return names;
}

Eigen::MatrixXd DesignModel::Expand(const Factors& factors,
                                    const NCDataMatrix<float>& coded) const {
  assert(IsValidFor(factors) && coded.GetCols() == factors.GetCount());
  const int runs = coded.GetRows();
  Eigen::MatrixXd x(runs, GetColumnCount(factors));
  // Terms without a qualitative factor take one column, the plain product.
  std::vector<bool> plain;
  for (const Term& term : terms_) {
    plain.push_back(std::none_of(term.begin(), term.end(), [&factors](int index) {
      return factors.GetFactor(index).IsQualitative();
    }));
  }
  for (int r = 0; r < runs; ++r) {
    int col = 0;
    for (std::size_t t = 0; t < terms_.size(); ++t) {
      const Term& term = terms_[t];
      if (plain[t]) {
        double product = 1.0;
        for (int index : term) product *= static_cast<double>(coded(r, index));
        x(r, col++) = product;
        continue;
      }
      std::vector<double> values{1.0};
      for (int index : term) {
        const std::vector<double> slot = FactorColumns(factors.GetFactor(index), coded(r, index));
        std::vector<double> next;
        next.reserve(values.size() * slot.size());
        for (double head : values) {
          for (double tail : slot) next.push_back(head * tail);
        }
        values = std::move(next);
      }
      for (double v : values) x(r, col++) = v;
    }
  }
  return x;
}

Eigen::MatrixXd DesignModel::Moments(const Factors& factors) const {
  assert(IsValidFor(factors));
  for (const Factors::Factor& factor : factors.GetAll()) {
    if (factor.IsMixture()) return {};
  }
  // The parts of every column, in the order Expand writes them.
  std::vector<ColumnParts> columns;
  const auto count = static_cast<std::size_t>(factors.GetCount());
  for (const Term& term : terms_) {
    std::vector<ColumnParts> partial{ColumnParts(count, 0)};
    for (int index : term) {
      const Factors::Factor& factor = factors.GetFactor(index);
      std::vector<ColumnParts> next;
      for (const ColumnParts& head : partial) {
        if (!factor.IsQualitative()) {
          next.push_back(head);
          ++next.back()[static_cast<std::size_t>(index)];
          continue;
        }
        for (int j = 1; j < SlotWidth(factor) + 1; ++j) {
          next.push_back(head);
          next.back()[static_cast<std::size_t>(index)] = j;
        }
      }
      partial = std::move(next);
    }
    columns.insert(columns.end(), partial.begin(), partial.end());
  }
  std::vector<Marginal> marginals;
  for (const Factors::Factor& factor : factors.GetAll())
    marginals.push_back(FactorMarginal(factor));
  // The value of a factor's part of a column at a node.
  const auto part = [&factors](int f, int code, double node) {
    if (code == 0) return 1.0;
    const Factors::Factor& factor = factors.GetFactor(f);
    if (!factor.IsQualitative()) return std::pow(node, code);
    return FactorColumns(factor, static_cast<float>(node))[static_cast<std::size_t>(code - 1)];
  };
  const auto p = static_cast<Eigen::Index>(columns.size());
  Eigen::MatrixXd moments(p, p);
  for (Eigen::Index a = 0; a < p; ++a) {
    for (Eigen::Index b = 0; b <= a; ++b) {
      double product = 1.0;
      for (std::size_t f = 0; f < count && product != 0.0; ++f) {
        const int code_a = columns[static_cast<std::size_t>(a)][f];
        const int code_b = columns[static_cast<std::size_t>(b)][f];
        if (code_a == 0 && code_b == 0) continue;
        const Marginal& marginal = marginals[f];
        double expectation = 0.0;
        for (std::size_t n = 0; n < marginal.nodes.size(); ++n) {
          const double node = marginal.nodes[n];
          expectation += marginal.weights[n] * part(static_cast<int>(f), code_a, node) *
                         part(static_cast<int>(f), code_b, node);
        }
        product *= expectation;
      }
      moments(a, b) = product;
      moments(b, a) = product;
    }
  }
  return moments;
}

}  // namespace zubra
