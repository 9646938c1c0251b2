#!/usr/bin/env bash
# Builds the libFuzzer targets of the clang preset and fuzzes each for SECONDS, one after the
# other, then prints a table: target, executions, seconds, coverage (edges reached), crashes.
#
# Usage: fuzz/run_all.sh SECONDS [TARGET...]     (default: every target)
#
# Each target keeps its corpus in build/clang/fuzz-runs/<target>/corpus, started from its seeds
# and growing over runs, and its findings (crash-*, leak-*, timeout-*, oom-*) beside it; the
# log of the last run is build/clang/fuzz-runs/<target>/last.log. Every run is added to
# build/clang/fuzz-runs/history.tsv, and the table's last column sums the seconds of all runs
# of the target so far that found nothing. Exits with 1 when any target found something.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds="${1:?usage: fuzz/run_all.sh SECONDS [TARGET...]}"
shift
cmake --preset clang >/dev/null
manifest=build/clang/tests/fuzz/fuzz_targets.txt
wanted=("$@")
if [ "${#wanted[@]}" -eq 0 ]; then
  mapfile -t wanted < <(cut -d'|' -f1 "$manifest")
fi
cmake --build --preset clang --target "${wanted[@]}" >/dev/null

runs=build/clang/fuzz-runs
history="$runs/history.tsv"
mkdir -p "$runs"
rows=()
found=0
for target in "${wanted[@]}"; do
  line="$(grep "^${target}|" "$manifest")" || { echo "run_all: no target $target" >&2; exit 2; }
  program="$(cut -d'|' -f2 <<<"$line")"
  IFS=':' read -r -a seeds <<<"$(cut -d'|' -f3 <<<"$line")"
  work="$runs/$target"
  mkdir -p "$work/corpus"
  for seed in "${seeds[@]}"; do
    # Seed folders that are missing (the shared test data) are left out.
    if [ -d "$seed" ]; then cp -n "$seed"/* "$work/corpus/" 2>/dev/null || true; fi
  done
  # Findings of earlier runs stay beside the corpus; only the ones this run adds are counted.
  stamp="$work/.run-start"
  touch "$stamp"
  start=$(date +%s)
  status=0
  nice -n 10 "$program" -max_total_time="$seconds" -timeout=25 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix="$work/" "$work/corpus" >"$work/last.log" 2>&1 ||
    status=$?
  elapsed=$(($(date +%s) - start))
  executions="$(sed -n 's/^stat::number_of_executed_units: *//p' "$work/last.log" | tail -1)"
  coverage="$(grep -o 'cov: [0-9]*' "$work/last.log" | tail -1 | cut -d' ' -f2)"
  crashes="$(find "$work" -maxdepth 1 -type f -newer "$stamp" \
    \( -name 'crash-*' -o -name 'leak-*' -o -name 'timeout-*' -o -name 'oom-*' \) | wc -l)"
  if [ "$status" -ne 0 ] && [ "$crashes" -eq 0 ]; then crashes="exit $status"; fi
  [ "$crashes" != 0 ] && found=1
  printf '%s\t%s\t%s\t%s\t%s\t%s\n' "$(date -u +%FT%TZ)" "$target" "${executions:-0}" \
    "$elapsed" "${coverage:-0}" "$crashes" >>"$history"
  total=$(awk -F'\t' -v t="$target" '$2 == t && $6 == 0 { s += $4 } END { print s + 0 }' "$history")
  rows+=("$(printf '| %s | %s | %s | %s | %s | %s |' "$target" "${executions:-0}" "$elapsed" \
    "${coverage:-0}" "$crashes" "$total")")
done

echo "| target | executions | seconds | coverage | crashes | seconds in runs without a finding |"
echo "| --- | ---: | ---: | ---: | ---: | ---: |"
printf '%s\n' "${rows[@]}"
exit "$found"
