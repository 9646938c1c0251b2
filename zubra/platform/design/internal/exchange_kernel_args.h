// The plain arguments of the vectorised sweeps (see exchange_kernels.h), shared by the code
// compiled for each instruction set. Trivial types only: nothing here may need code of its
// own, so that no function compiled for a wider instruction set is ever shared.
#pragma once

namespace zubra::internal {

struct SweepArgs {
  const float* panels;
  int columns;
  int panel_count;
  float* d;
  float* s;
  const float* b;
  const float* a_old;
  int s_first;
  int s_last;
  float gg;
  float gs;
  float ss;
  int score;  // 0 none, 1 ratio, 2 variance
  const float* a;
  float coef;
  int first;
  int last;
};

struct SweepOut {
  int row;
  float value;
};

}  // namespace zubra::internal
