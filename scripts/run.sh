#!/usr/bin/env bash
# The main job: builds the SDK and runs kr9tool. Arguments go to kr9tool.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build_dir=${KR9_BUILD_DIR:-$root/build}
KR9_BUILD_DIR=$build_dir "$root/scripts/build.sh" >/dev/null
exec "$build_dir/tools/kr9tool" "$@"
