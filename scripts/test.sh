#!/usr/bin/env bash
# Builds everything and runs all tests (GoogleTest under CTest).
# With KR9_SANITIZE=address,undefined the build folder defaults to build-asan (thread: build-tsan).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
if [ -n "${KR9_SANITIZE:-}" ]; then
  default_dir=$root/build-$(echo "$KR9_SANITIZE" | cut -d, -f1 | sed 's/address/asan/;s/thread/tsan/')
else
  default_dir=$root/build
fi
build_dir=${KR9_BUILD_DIR:-$default_dir}
KR9_BUILD_DIR=$build_dir "$root/scripts/build.sh"
ctest --test-dir "$build_dir" --output-on-failure --parallel "$(nproc)" --timeout 300
