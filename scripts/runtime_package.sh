#!/usr/bin/env bash
# The runtime as a game gets it. Configures the runtime-only build (SCINTARI_RUNTIME_ONLY) in a
# temporary folder, installs it into a temporary prefix, then, from outside the source tree:
# - checks that the build found nothing of the editor's (Qt, docking, GoogleTest, benchmark,
#   spdlog), that the libraries start no thread, and that each installed header compiles alone
#   with -fno-exceptions;
# - builds examples/minimal_host against the prefix through find_package(ScintariRuntime), once
#   more through pkg-config, and once with the runtime's sources added as a subdirectory;
# - runs it on an effect that build/bin/scintari compiles (the main build makes it first; or
#   SCINTARI=<path>): it must draw particles, give the counts of `scintari run` for the same
#   steps and seed, give the same output from both builds, and refuse a cut file with exit
#   code 2 and a message.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
scintari="${SCINTARI:-$root/build/bin/scintari}"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
launcher=()
if command -v ccache >/dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache); fi
fail() { echo "runtime package: $*" >&2; exit 1; }

echo "== runtime-only build and install"
cmake -S "$root" -B "$work/build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DSCINTARI_RUNTIME_ONLY=ON \
  -DCMAKE_INSTALL_PREFIX="$work/prefix" "${launcher[@]}" >/dev/null
cmake --build "$work/build" >"$work/build.log" 2>&1 || { cat "$work/build.log"; fail "the build failed"; }
cmake --install "$work/build" >/dev/null
prefix="$work/prefix"
if grep -E '^(Qt5|qtadvanceddocking|GTest|benchmark|spdlog)_DIR:' "$work/build/CMakeCache.txt"; then
  fail "the runtime-only build looked for a package of the editor's"
fi
echo "installed: $(cd "$prefix" && find . -type f | sort | tr '\n' ' ')"
# No logger and no thread of its own: nothing in the libraries calls spdlog or starts a thread.
if nm -C --undefined-only "$prefix"/lib/libscintari_*.a | grep -E 'spdlog|pthread_create|std::thread'; then
  fail "the installed runtime needs a logger or starts a thread"
fi

echo "== each installed header alone, without exceptions"
while IFS= read -r header; do
  printf '#include "%s"\n' "$header" >"$work/header.cpp"
  g++ -std=c++17 -fno-exceptions -fsyntax-only -I"$prefix/include/scintari" "$work/header.cpp" ||
    fail "$header does not compile on its own from the installed tree"
done < <(cd "$prefix/include/scintari" && find . -name '*.h' | sed 's|^\./||' | sort)

echo "== examples/minimal_host against the package"
cmake -S "$root/examples/minimal_host" -B "$work/host" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
  "${launcher[@]}" >/dev/null
cmake --build "$work/host" >/dev/null
host="$work/host/minimal_host"
PKG_CONFIG_PATH="$prefix/lib/pkgconfig" pkg-config --exists scintari-runtime ||
  fail "pkg-config does not find scintari-runtime"
# shellcheck disable=SC2046
g++ -std=c++17 -fno-exceptions "$root/examples/minimal_host/main.cpp" \
  "$root/examples/minimal_host/soft_renderer.cpp" -o "$work/host_pc" \
  $(PKG_CONFIG_PATH="$prefix/lib/pkgconfig" pkg-config --cflags --libs scintari-runtime)

# A game that builds the runtime's sources along with its own: add_subdirectory.
cmake -S "$root/examples/minimal_host" -B "$work/host_sub" -G Ninja -DSCINTARI_SOURCE_DIR="$root" \
  "${launcher[@]}" >/dev/null
cmake --build "$work/host_sub" >/dev/null

echo "== running it"
[ -x "$scintari" ] || fail "no $scintari: build the project first"
effect="$work/effect.bin"
"$scintari" emitter new --compile "$effect" >/dev/null
"$host" "$effect" --frames 240 --every 60 | tee "$work/run.txt"
particles="$(sed -n 's/^end .* particles \([0-9]*\) .*/\1/p' "$work/run.txt")"
[ "${particles:-0}" -gt 0 ] || fail "the example drew no particles"
for other in "$work/host_pc" "$work/host_sub/minimal_host"; do
  "$other" "$effect" --frames 240 --every 60 | cmp -s - "$work/run.txt" ||
    fail "$other runs differently from the example built against the package"
done
for file in "$effect" "$root/samples/effects/sparks.bin"; do
  mine="$("$host" "$file" --dt 0.021 --frames 200 --seed 9 --every 1000 |
    sed -n 's/^end frames [0-9]* \(time .* render_calls [0-9]*\) vertices_drawn.*/\1/p')"
  tool="$("$scintari" run "$file" --update-dt 0.021 --frames 200 --seed 9 |
    sed -n 's/^end steps [0-9]* time \([^ ]*\) sub_frame [^ ]* \(particles .*\)/time \1 \2/p')"
  echo "$(basename "$file"): example: $mine | scintari run: $tool"
  [ -n "$mine" ] && [ "$mine" = "$tool" ] || fail "the example and scintari run differ on $file"
done
head -c 100 "$effect" >"$work/cut.bin"
set +e
"$host" "$work/cut.bin" >/dev/null 2>"$work/refused.txt"
code=$?
set -e
cat "$work/refused.txt"
[ "$code" -eq 2 ] && grep -q "refused: the data ends too early at byte" "$work/refused.txt" ||
  fail "a cut effect gave exit code $code, not a refusal"
echo "runtime package: passed"
