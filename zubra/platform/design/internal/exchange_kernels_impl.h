// The vectorised sweeps of the point exchange, written once for every instruction set.
//
// A source file defines ZUBRA_KERNEL_NAMESPACE, includes exchange_kernel_args.h and then this
// file, and is compiled with the flags of its instruction set. Nothing here includes a header
// with inline functions, so that no function compiled for a wider instruction set can be
// merged with the one the rest of the library calls. The vectors are GCC vector types of 8
// floats: one panel column (see CandidatePanels) per load.
#pragma once

#ifndef ZUBRA_KERNEL_NAMESPACE
#error "Define ZUBRA_KERNEL_NAMESPACE before including this file."
#endif

// The helpers below pass vectors by value; they have internal linkage, so the calling
// convention of wide vectors without AVX does not matter.
#if defined(__GNUC__)
#pragma GCC diagnostic ignored "-Wpsabi"
#endif

namespace zubra::internal::ZUBRA_KERNEL_NAMESPACE {
namespace {

typedef float Vec __attribute__((vector_size(32)));  // NOLINT(modernize-use-using)
typedef int Lanes __attribute__((vector_size(32)));  // NOLINT(modernize-use-using)

constexpr int kLanes = 8;
constexpr float kLowest = -3.402823466e38F;

inline Vec Load(const float* p) {
  Vec v;
  __builtin_memcpy(&v, p, sizeof(v));
  return v;
}

inline void Store(float* p, Vec v) { __builtin_memcpy(p, &v, sizeof(v)); }

inline Vec Splat(float x) { return Vec{x, x, x, x, x, x, x, x}; }

// out[i][j] = (rows of panel i) . vecs[j] for kPanels consecutive panels and kDots vectors:
// each vector entry is broadcast once for all the panels, each panel column loaded once for
// all the vectors, and the kPanels * kDots sums are independent chains of multiply-adds.
template <int kPanels, int kDots>
inline void Dots(const float* panel, long panel_size, int columns,
                 const float* const (&vecs)[kDots], Vec (&out)[kPanels][kDots]) {
  for (int i = 0; i < kPanels; ++i) {
    for (int j = 0; j < kDots; ++j) out[i][j] = Vec{};
  }
  for (int k = 0; k < columns; ++k) {
    Vec x[kPanels];
    for (int i = 0; i < kPanels; ++i) x[i] = Load(panel + i * panel_size + k * kLanes);
    for (int j = 0; j < kDots; ++j) {
      const Vec v = Splat(vecs[j][k]);
      for (int i = 0; i < kPanels; ++i) out[i][j] += x[i] * v;
    }
  }
}

// |T x|^2 for the rows of one panel (T lower triangular, row-major).
inline Vec PanelVariance(const float* x, int columns, const float* t) {
  Vec total{};
  for (int k = 0; k < columns; ++k) {
    const float* row = t + static_cast<long>(k) * columns;
    Vec y0{};
    Vec y1{};
    int l = 0;
    for (; l + 1 <= k; l += 2) {
      y0 += Load(x + l * kLanes) * row[l];
      y1 += Load(x + (l + 1) * kLanes) * row[l + 1];
    }
    if (l <= k) y0 += Load(x + l * kLanes) * row[l];
    const Vec y = y0 + y1;
    total += y * y;
  }
  return total;
}

// The state of one sweep: the arguments and the best value found so far in each lane.
struct SweepState {
  const SweepArgs& w;
  long panel_size;
  int score_first;  // the panels that hold scored rows
  int score_last;
  Vec best_value;
  Lanes best_row;
};

// Finishes panel q from its products: g = x'b and s_old = x'a_old (update), s_new = x'a
// (ratio score); what the sweep does not need is ignored.
inline void Finish(SweepState& state, int q, bool scored, Vec g, Vec s_old, Vec s_new) {
  const SweepArgs& w = state.w;
  Vec d = Load(w.d + q * kLanes);
  if (w.b != nullptr) {
    d -= g * (g * w.gg + s_old * w.gs) + s_old * s_old * w.ss;
    Store(w.d + q * kLanes, d);
  }
  if (!scored) return;
  Vec value = d;
  if (w.score == 1) {
    Store(w.s + q * kLanes, s_new);
    value = (d + 1.0F) * w.coef + s_new * s_new;
  }
  const Lanes lane = {0, 1, 2, 3, 4, 5, 6, 7};
  const Lanes row = lane + q * kLanes;
  if (q == state.score_first || q == state.score_last - 1) {
    const Lanes outside = (row < w.first) | (row >= w.last);
    value = outside ? Splat(kLowest) : value;
  }
  const Lanes better = value > state.best_value;
  state.best_value = better ? value : state.best_value;
  state.best_row = better ? row : state.best_row;
}

// Panels [begin, end), all alike: `vecs` are the vectors whose products the panels need, in
// the order b, a_old, a (those that apply); `stored` tells that s_old is read from w.s.
template <int kDots>
inline void Segment(SweepState& state, int begin, int end, bool scored, bool stored,
                    const float* const (&vecs)[kDots]) {
  const SweepArgs& w = state.w;
  constexpr int kGroup = kDots >= 3 ? 2 : 4;
  const bool update = w.b != nullptr;
  const bool ratio = scored && w.score == 1;
  const bool read_s = update && stored && w.a_old != nullptr;
  // The position of each product among the vectors.
  const int s_old_at = update && !stored ? 1 : -1;
  const int s_new_at = ratio ? kDots - 1 : -1;
  int q = begin;
  const auto finish = [&](int panel, const Vec(&out)[kDots]) {
    const Vec zero{};
    const Vec g = update ? out[0] : zero;
    Vec s_old = s_old_at >= 0 ? out[s_old_at] : zero;
    if (read_s) s_old = Load(w.s + panel * kLanes);
    Finish(state, panel, scored, g, s_old, s_new_at >= 0 ? out[s_new_at] : zero);
  };
  for (; q + kGroup <= end; q += kGroup) {
    Vec out[kGroup][kDots];
    Dots<kGroup, kDots>(w.panels + q * state.panel_size, state.panel_size, w.columns, vecs, out);
    for (int i = 0; i < kGroup; ++i) finish(q + i, out[i]);
  }
  for (; q < end; ++q) {
    Vec out[1][kDots];
    Dots<1, kDots>(w.panels + q * state.panel_size, state.panel_size, w.columns, vecs, out);
    finish(q, out[0]);
  }
}

}  // namespace

SweepOut RunSweepImpl(const SweepArgs& w) {
  const bool update = w.b != nullptr;
  SweepState state{w,
                   static_cast<long>(w.columns) * kLanes,
                   w.score != 0 ? w.first / kLanes : 0,
                   w.score != 0 ? (w.last + kLanes - 1) / kLanes : 0,
                   Splat(kLowest),
                   Lanes{-1, -1, -1, -1, -1, -1, -1, -1}};
  const int begin = update ? 0 : state.score_first;
  const int end = update ? w.panel_count : state.score_last;
  // The panels fall into segments within which every panel needs the same products.
  int cuts[6] = {begin, end, state.score_first, state.score_last, begin, end};
  if (update && w.a_old != nullptr) {
    cuts[4] = w.s_first;
    cuts[5] = w.s_last;
  }
  for (int i = 1; i < 6; ++i) {
    for (int j = i; j > 0 && cuts[j] < cuts[j - 1]; --j) {
      const int swap = cuts[j];
      cuts[j] = cuts[j - 1];
      cuts[j - 1] = swap;
    }
  }
  for (int i = 0; i + 1 < 6; ++i) {
    const int lo = cuts[i] < begin ? begin : cuts[i];
    const int hi = cuts[i + 1] > end ? end : cuts[i + 1];
    if (lo >= hi) continue;
    const bool scored = lo >= state.score_first && lo < state.score_last;
    const bool stored = w.a_old == nullptr || (lo >= w.s_first && lo < w.s_last);
    const bool ratio = scored && w.score == 1;
    if (update && !stored && ratio) {
      const float* const vecs[3] = {w.b, w.a_old, w.a};
      Segment<3>(state, lo, hi, scored, stored, vecs);
    } else if (update && !stored) {
      const float* const vecs[2] = {w.b, w.a_old};
      Segment<2>(state, lo, hi, scored, stored, vecs);
    } else if (update && ratio) {
      const float* const vecs[2] = {w.b, w.a};
      Segment<2>(state, lo, hi, scored, stored, vecs);
    } else if (update) {
      const float* const vecs[1] = {w.b};
      Segment<1>(state, lo, hi, scored, stored, vecs);
    } else if (ratio) {
      const float* const vecs[1] = {w.a};
      Segment<1>(state, lo, hi, scored, stored, vecs);
    } else {
      for (int q = lo; q < hi; ++q) Finish(state, q, scored, Vec{}, Vec{}, Vec{});
    }
  }
  SweepOut best{-1, kLowest};
  for (int l = 0; l < kLanes; ++l) {
    const float value = state.best_value[l];
    const int row = state.best_row[l];
    if (row < 0) continue;
    if (best.row < 0 || value > best.value || (value == best.value && row < best.row)) {
      best = {row, value};
    }
  }
  return best;
}

void ComputeVariancesImpl(const float* panels, int columns, int panel_count, const float* t,
                          float* d) {
  const long panel_size = static_cast<long>(columns) * kLanes;
  for (int q = 0; q < panel_count; ++q) {
    Store(d + q * kLanes, PanelVariance(panels + q * panel_size, columns, t));
  }
}

}  // namespace zubra::internal::ZUBRA_KERNEL_NAMESPACE
