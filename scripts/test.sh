#!/usr/bin/env bash
# Installs what is missing, builds, runs every test, then the runtime's package check
# (scripts/runtime_package.sh: the runtime-only build installed and the example host built and run
# against it), the runtime's ThreadSanitizer tests (scripts/tsan.sh) and each fuzz target for a
# bounded time. Each runs whatever the others gave; a summary of all ends the output, with
# CTest's own summary lines last. Exits non-zero when anything fails.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
cd "$root"
bash scripts/setup.sh
bash scripts/build.sh

ctest_log="$(mktemp)"
trap 'rm -f "$ctest_log"' EXIT

set +e
# -noreset: by default the X server resets when its last client leaves, and a test that
# connects during that reset fails to open the display.
(cd build && xvfb-run -a -s "-screen 0 1280x1024x24 -noreset" \
  ctest --output-on-failure -j2 --no-tests=error) 2>&1 | tee "$ctest_log"
tests_status=${PIPESTATUS[0]}
bash scripts/runtime_package.sh
package_status=$?
bash scripts/tsan.sh
tsan_status=$?
bash scripts/fuzz.sh "${FUZZ_SECONDS:-225}"
fuzz_status=$?
set -e

echo
echo "== summary"
if [ "$package_status" -eq 0 ]; then
  echo "runtime package: passed"
else
  echo "runtime package: FAILED (scripts/runtime_package.sh exit code $package_status; see the output above)"
fi
if [ "$tsan_status" -eq 0 ]; then
  echo "tsan: passed"
else
  echo "tsan: FAILED (scripts/tsan.sh exit code $tsan_status; see the output above)"
fi
if [ "$fuzz_status" -eq 0 ]; then
  echo "fuzzers: passed"
else
  echo "fuzzers: FAILED (scripts/fuzz.sh exit code $fuzz_status; see the output above)"
fi
if [ "$tests_status" -eq 0 ]; then
  echo "tests: passed"
else
  echo "tests: FAILED (ctest exit code $tests_status)"
fi
# CTest's summary: the pass rate, the total time and any failed tests.
if grep -q "tests passed, " "$ctest_log"; then
  sed -n '/tests passed, /,$p' "$ctest_log"
else
  tail -n 20 "$ctest_log"
fi
[ "$tests_status" -eq 0 ] && [ "$fuzz_status" -eq 0 ] && [ "$package_status" -eq 0 ] &&
  [ "$tsan_status" -eq 0 ]
