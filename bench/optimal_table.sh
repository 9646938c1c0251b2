#!/usr/bin/env bash
# Builds the release preset and prints the table of the optimal-design reference problems:
# median CPU time (all threads of the process) and wall time on one thread and on all
# threads, the median and worst D over the runs, and the load average before each problem.
#   bash bench/optimal_table.sh [repetitions]      (default 5)
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset release >/dev/null
cmake --build --preset release --target zubra_optimal_bench >/dev/null
exec build/release/bench/zubra_optimal_bench --table "${1:-5}"
