#!/usr/bin/env bash
# Installs what is missing, builds, runs each fuzz target for a bounded time, then runs every
# test. Exits non-zero when anything fails.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
cd "$root"
bash scripts/setup.sh
bash scripts/build.sh
bash scripts/fuzz.sh "${FUZZ_SECONDS:-45}"
cd build
xvfb-run -a -s "-screen 0 1280x1024x24" ctest --output-on-failure -j2 --no-tests=error
