#!/usr/bin/env bash
# Zubra's main job on a bundled example: installs what the build needs, builds the `zubra`
# tool (nothing else), and turns an example investigation into its design and a randomized
# worksheet, printing the design summary and the worksheet.
# Usage: scripts/run-example.sh [investigation.json] [seed]
#   (default: examples/rsm-enzymatic-hydrolysis.json, seed 1)
set -euo pipefail
example="$(realpath -m "${1:-$(dirname "$0")/../examples/rsm-enzymatic-hydrolysis.json}")"
seed="${2:-1}"
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
cmake --preset ci
# The tool's binary by its path, whatever the name of its build target.
cmake --build --preset ci --target apps/zubra
build/ci/apps/zubra design "$example" --seed "$seed"
