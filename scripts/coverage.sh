#!/usr/bin/env bash
# Builds the coverage preset (GCC, --coverage, at -O1: unoptimized, the design engine takes
# minutes where it takes seconds), runs the whole test suite, and prints the line and branch
# coverage of the library (zubra/; tests, benchmarks, fuzz targets and the command-line tool
# are left out): the totals, then one line per folder. The full report by file is left in
# build/coverage/coverage.txt.
# Usage: scripts/coverage.sh
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
cmake --preset coverage
# Counts of an earlier run would add up with this one's.
find build/coverage -name '*.gcda' -delete
cmake --build --preset coverage
ctest --preset coverage

# Branches of exception handling and of code the compiler proves unreachable are not counted:
# they are not decisions of the code.
gcovr_args=(--root . --object-directory build/coverage --filter '^zubra/'
  --exclude-throw-branches --exclude-unreachable-branches)
gcovr "${gcovr_args[@]}" --txt build/coverage/coverage.txt \
  --json-summary build/coverage/coverage.json --print-summary
python3 - build/coverage/coverage.json <<'PY'
import collections, json, sys
folders = collections.defaultdict(lambda: [0, 0, 0, 0])
for entry in json.load(open(sys.argv[1]))["files"]:
    folder = entry["filename"].rsplit("/", 1)[0]
    counts = folders[folder]
    counts[0] += entry["line_covered"]
    counts[1] += entry["line_total"]
    counts[2] += entry["branch_covered"]
    counts[3] += entry["branch_total"]
print(f"{'folder':<34}{'lines':>16}{'branches':>18}")
for folder, (lc, lt, bc, bt) in sorted(folders.items()):
    line = f"{100 * lc / lt:5.1f}% of {lt:5d}" if lt else "-"
    branch = f"{100 * bc / bt:5.1f}% of {bt:5d}" if bt else "-"
    print(f"{folder:<34}{line:>16}{branch:>18}")
PY
