#!/usr/bin/env bash
# Configures and builds the project into build/ (Release with assertions on).
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
cd "$root"
launcher=()
if command -v ccache >/dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache); fi
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release "${launcher[@]}" >/dev/null
cmake --build build "$@"
