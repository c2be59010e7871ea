#!/usr/bin/env bash
# Installs what is missing, builds, runs every test, then runs each fuzz target for a bounded time.
# Exits non-zero when anything fails.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
cd "$root"
bash scripts/setup.sh
bash scripts/build.sh
(cd build && xvfb-run -a -s "-screen 0 1280x1024x24" ctest --output-on-failure -j2)
bash scripts/fuzz.sh "${FUZZ_SECONDS:-45}"
