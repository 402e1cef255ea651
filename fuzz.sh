#!/usr/bin/env bash
# Builds the libFuzzer targets (clang, ASan + UBSan) and runs one of them.
#   ./fuzz.sh TARGET [SECONDS]      e.g. ./fuzz.sh ini_fuzz 60   (default 60 s)
# TARGET is the name of a fuzz/*_fuzz.cpp. The corpus grows in
# build-fuzz/corpus/TARGET (seeded from fuzz/corpus/TARGET when that exists);
# an input that fails is saved in build-fuzz/artifacts/TARGET/.
set -euo pipefail
cd "$(dirname "$0")"
target="${1:?usage: ./fuzz.sh TARGET [SECONDS]}"
seconds="${2:-60}"

./scripts/install-deps.sh
cmake --preset fuzz
cmake --build build-fuzz --target "$target"

corpus="build-fuzz/corpus/$target"
artifacts="build-fuzz/artifacts/$target"
mkdir -p "$corpus" "$artifacts"
seeds=()
[ -d "fuzz/corpus/$target" ] && seeds=("fuzz/corpus/$target")
exec "build-fuzz/bin/$target" -max_total_time="$seconds" -print_final_stats=1 \
  -artifact_prefix="$artifacts/" "$corpus" "${seeds[@]}"
