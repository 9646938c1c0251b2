#include "zubra/platform/design/internal/exchange_kernels.h"

#include <atomic>
#include <cassert>

#include "zubra/platform/design/internal/exchange_kernel_args.h"

#define ZUBRA_KERNEL_NAMESPACE generic
#include "zubra/platform/design/internal/exchange_kernels_impl.h"
#undef ZUBRA_KERNEL_NAMESPACE

#if defined(ZUBRA_AVX2_KERNELS)
namespace zubra::internal::avx2 {
SweepOut RunSweepImpl(const SweepArgs& w);
void ComputeVariancesImpl(const float* panels, int columns, int panel_count, const float* t,
                          float* d);
}  // namespace zubra::internal::avx2
#endif

namespace zubra::internal {
namespace {

std::atomic<bool> force_generic{false};

bool UseAvx2() {
#if defined(ZUBRA_AVX2_KERNELS)
  static const bool kSupported = [] {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
  }();
  return kSupported && !force_generic.load(std::memory_order_relaxed);
#else
  return false;
#endif
}

}  // namespace

CandidatePanels::CandidatePanels(const Eigen::MatrixXd& rows)
    : rows_(static_cast<int>(rows.rows())), columns_(static_cast<int>(rows.cols())) {
  data_.assign(static_cast<std::size_t>(PaddedRows()) * static_cast<std::size_t>(columns_), 0.0F);
  for (int q = 0; q < Panels(); ++q) {
    float* panel = data_.data() + static_cast<std::size_t>(q) * columns_ * kRows;
    for (int l = 0; l < kRows && q * kRows + l < rows_; ++l) {
      const int row = q * kRows + l;
      for (int k = 0; k < columns_; ++k) panel[k * kRows + l] = static_cast<float>(rows(row, k));
    }
  }
}

SweepBest RunSweep(const Sweep& sweep) {
  assert(sweep.panels != nullptr && sweep.d != nullptr);
  const SweepArgs args{sweep.panels->Data(),
                       sweep.panels->Columns(),
                       sweep.panels->Panels(),
                       sweep.d,
                       sweep.s,
                       sweep.b,
                       sweep.a_old,
                       sweep.s_first,
                       sweep.s_last,
                       sweep.gg,
                       sweep.gs,
                       sweep.ss,
                       static_cast<int>(sweep.score),
                       sweep.a,
                       sweep.coef,
                       sweep.first,
                       sweep.last};
#if defined(ZUBRA_AVX2_KERNELS)
  const SweepOut out = UseAvx2() ? avx2::RunSweepImpl(args) : generic::RunSweepImpl(args);
#else
  const SweepOut out = generic::RunSweepImpl(args);
#endif
  return {out.row, out.value};
}

void ComputeVariances(const CandidatePanels& panels, const float* t, float* d) {
#if defined(ZUBRA_AVX2_KERNELS)
  if (UseAvx2()) {
    avx2::ComputeVariancesImpl(panels.Data(), panels.Columns(), panels.Panels(), t, d);
    return;
  }
#endif
  generic::ComputeVariancesImpl(panels.Data(), panels.Columns(), panels.Panels(), t, d);
}

const char* SweepInstructionSet() { return UseAvx2() ? "avx2" : "generic"; }

bool UseGenericSweeps(bool generic) { return force_generic.exchange(generic); }

}  // namespace zubra::internal
