#!/usr/bin/env bash
# Builds the XSVF player's fuzz target with clang (libFuzzer with Address- and
# UndefinedBehaviorSanitizer) in its own build folder and runs it for SECONDS
# seconds, starting from the seed corpus in fuzz/corpus. New inputs go to a
# scratch folder, so the tree's corpus stays as committed; a crash leaves its
# input in the build folder and fails the script.
#   KR9_FUZZ_BUILD_DIR  build folder (default: build-fuzz)
set -euo pipefail
seconds=${1:?usage: scripts/fuzz-jtag.sh SECONDS}
root=$(cd "$(dirname "$0")/.." && pwd)
build_dir=${KR9_FUZZ_BUILD_DIR:-$root/build-fuzz}

"$root/scripts/install-deps.sh"
CXX=clang++ cmake -S "$root/fuzz" -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$build_dir" --parallel "$(nproc)"

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
"$build_dir/fuzz_xsvf_player" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
  -print_final_stats=1 -artifact_prefix="$build_dir/" "$scratch" "$root/fuzz/corpus"
