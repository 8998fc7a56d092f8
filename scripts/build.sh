#!/usr/bin/env bash
# Configures and builds the SDK, its tools, tests and benchmarks.
#   KR9_BUILD_DIR   build folder (default: build)
#   KR9_SANITIZE    e.g. address,undefined (default: none)
#   KR9_BUILD_TYPE  CMake build type (default: RelWithDebInfo)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build_dir=${KR9_BUILD_DIR:-$root/build}
werror=OFF
if [ "${CI:-}" = "true" ]; then werror=ON; fi

"$root/scripts/install-deps.sh"
cmake -S "$root" -B "$build_dir" \
  -DCMAKE_BUILD_TYPE="${KR9_BUILD_TYPE:-RelWithDebInfo}" \
  -DKR9_SANITIZE="${KR9_SANITIZE:-}" \
  -DKR9_WERROR="$werror" \
  -DKR9_BUILD_BENCH="${KR9_BUILD_BENCH:-ON}"
cmake --build "$build_dir" --parallel "$(nproc)"
