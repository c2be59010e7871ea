#!/usr/bin/env bash
# Builds the fuzz targets with clang (libFuzzer + AddressSanitizer) into build-fuzz/
# and runs them on top of their committed seed corpora, sharing the given number of seconds
# (default 225) equally, so that a new target doesn't lengthen the run.
# A crash, a leak or an out-of-bounds access fails the script.
set -euo pipefail
total="${1:-225}"
root="$(cd "$(dirname "$0")/.." && pwd)"
cd "$root"
launcher=()
if command -v ccache >/dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache); fi
CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DSCINTARI_FUZZ=ON "${launcher[@]}" >/dev/null
cmake --build build-fuzz --target fuzz_targets
targets=(build-fuzz/bin/fuzz_*)
seconds=$(( total / ${#targets[@]} ))
[ "$seconds" -ge 1 ] || seconds=1
for target in "${targets[@]}"; do
  [ -x "$target" ] || continue
  name="$(basename "$target")"
  seeds="fuzz/corpus/${name#fuzz_}"
  work="$(mktemp -d)"
  echo "== $name for ${seconds}s"
  mkdir -p build-fuzz/artifacts
  "$target" -max_total_time="$seconds" -rss_limit_mb=2048 -timeout=10 -print_final_stats=1 \
    -artifact_prefix=build-fuzz/artifacts/"$name"- \
    "$work" "$seeds" 2>&1 | tail -n 12
  rm -rf "$work"
done
