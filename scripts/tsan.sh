#!/usr/bin/env bash
# Builds the runtime-only configuration with ThreadSanitizer into build-tsan/ and runs the
# runtime's own tests there: instances of one loaded system on four threads, and loading with
# refusals as values. A data race, or a failed test, fails the script.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
cd "$root"
launcher=()
if command -v ccache >/dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache); fi
cmake -S . -B build-tsan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DSCINTARI_RUNTIME_ONLY=ON -DSCINTARI_RUNTIME_TESTS=ON \
  -DCMAKE_CXX_FLAGS="-fsanitize=thread" -DCMAKE_C_FLAGS="-fsanitize=thread" \
  -DCMAKE_EXE_LINKER_FLAGS="-fsanitize=thread" "${launcher[@]}" >/dev/null
cmake --build build-tsan --target ps_runtime_tests
# halt_on_error: the first race ends the run with a failure and its two stacks.
TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1 ${TSAN_OPTIONS:-}" \
  build-tsan/bin/ps_runtime_tests --gtest_brief=1
