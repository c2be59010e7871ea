#!/usr/bin/env bash
# Installs what is missing, builds, runs each fuzz target for a bounded time, then runs every
# test. Exits non-zero when anything fails.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
cd "$root"
bash scripts/setup.sh
bash scripts/build.sh
bash scripts/fuzz.sh "${FUZZ_SECONDS:-225}"
cd build
# -noreset: by default the X server resets when its last client leaves, and a test that
# connects during that reset fails to open the display.
xvfb-run -a -s "-screen 0 1280x1024x24 -noreset" ctest --output-on-failure -j2 --no-tests=error
