#!/usr/bin/env bash
# Installs what is missing, builds a Release, starts Vela (headless when there is no display).
set -euo pipefail
cd "$(dirname "$0")"
./scripts/deps.sh
cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build/release --target vela vela-command
VELA=build/release/vela
if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ] && [ $# -eq 0 ]; then
  "$VELA" --headless --script examples/demo.vcmd --save-page demo.png >/dev/null
  echo "No display: ran examples/demo.vcmd headless and wrote $(pwd)/demo.png"
  exit 0
fi
exec "$VELA" "$@"
