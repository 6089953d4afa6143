#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs one: scripts/fuzz.sh fuzz_config_store [seconds]
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/deps.sh
CC=clang CXX=clang++ cmake -S . -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELA_FUZZ=ON >/dev/null
cmake --build build/fuzz --target "$1"
mkdir -p "fuzz/corpus/$1"
build/fuzz/fuzz/"$1" -max_total_time="${2:-60}" -max_len=8192 "fuzz/corpus/$1" -artifact_prefix=fuzz/
