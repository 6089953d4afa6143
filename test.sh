#!/usr/bin/env bash
# Installs what is missing, builds with AddressSanitizer and UBSan, runs every test.
set -euo pipefail
cd "$(dirname "$0")"
./scripts/deps.sh
start=$(date +%s)
cmake -S . -B build/test -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVELA_SANITIZE=ON >/dev/null
cmake --build build/test
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
# Window tests need an X server; xvfb-run gives them one.
cd build/test
xvfb-run -a -s "-screen 0 1280x1024x24" ctest --output-on-failure -j2 "$@"
echo "test.sh: $(( $(date +%s) - start )) s"
