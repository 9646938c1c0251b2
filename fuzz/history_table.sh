#!/usr/bin/env bash
# Prints the table of fuzz/README.md from the run histories that fuzz/run_all.sh keeps: per
# target, the runs, the executions and seconds of all runs, the seconds of the runs that found
# nothing, the edges reached in the last run, and the runs that found something.
#
# Usage: fuzz/history_table.sh [HISTORY.tsv...]   (default: build/clang/fuzz-runs/history.tsv)
set -euo pipefail
cd "$(dirname "$0")/.."
if [ "$#" -eq 0 ]; then set -- build/clang/fuzz-runs/history.tsv; fi
echo "| target | runs | executions | seconds | seconds without a finding | edges (last run) | runs with a finding |"
echo "| --- | ---: | ---: | ---: | ---: | ---: | ---: |"
cat "$@" | sort -t$'\t' -k1,1 | awk -F'\t' '
  { runs[$2]++; execs[$2] += $3; secs[$2] += $4; edges[$2] = $5
    if ($6 == 0) clean[$2] += $4; else found[$2]++ }
  END { for (t in runs) printf "| `%s` | %d | %d | %d | %d | %s | %d |\n",
                              t, runs[t], execs[t], secs[t], clean[t], edges[t], found[t] }' |
  sort
