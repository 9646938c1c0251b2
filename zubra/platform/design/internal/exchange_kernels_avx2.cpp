// The sweeps compiled for AVX2 with fused multiply-add (see exchange_kernels_impl.h); the
// library calls them only on processors that have both.
#include "zubra/platform/design/internal/exchange_kernel_args.h"

#define ZUBRA_KERNEL_NAMESPACE avx2
#include "zubra/platform/design/internal/exchange_kernels_impl.h"
