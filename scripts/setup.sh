#!/usr/bin/env bash
# Installs the Debian packages the project needs; does nothing when all are present.
# Safe to run any number of times. Runs apt through sudo when not root.
set -euo pipefail

packages=(
  # toolchain (pkg-config: the runtime package's check builds the example host through it)
  g++ cmake ninja-build ccache clang pkg-config
  # Qt 5 and the docking system
  qtbase5-dev libqt5opengl5-dev libqt5svg5-dev libqt-advanced-docking-system-dev
  # libraries
  libboost1.74-all-dev libglm-dev zlib1g-dev rapidjson-dev libspdlog-dev
  # tests and benchmarks (nodejs runs the JavaScript the expression translator writes)
  libgtest-dev libgmock-dev googletest libbenchmark-dev nodejs
  # resources: dark stylesheet, fonts
  python3-qdarkstyle fonts-dejavu-core
  # headless GL for tests and offscreen rendering
  xvfb xauth libgl1-mesa-dri
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "Installing: ${missing[*]}"
sudo=""
if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
