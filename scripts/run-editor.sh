#!/usr/bin/env bash
# Installs what is missing, builds, and starts the editor. Extra arguments go to the editor.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
bash "$root/scripts/setup.sh"
bash "$root/scripts/build.sh"
exec "$root/build/bin/scintari-editor" "$@"
