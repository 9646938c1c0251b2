#!/usr/bin/env bash
# Installs what the build needs, configures, builds and runs the whole test suite.
# Usage: scripts/test.sh [preset]   (default preset: ci; also dev, release, asan, clang,
# coverage)
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-ci}"

bash scripts/install-deps.sh
cmake --preset "$preset"
cmake --build --preset "$preset"
ctest --preset "$preset"
