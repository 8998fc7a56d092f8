#!/usr/bin/env bash
# The main job: builds the SDK and runs kr9. Without arguments it captures one
# fingerprint from a virtual scanner into finger.png; arguments go to kr9
# instead (scripts/run.sh list, scripts/run.sh capture -o out.png, ...).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build_dir=${KR9_BUILD_DIR:-$root/build}
KR9_BUILD_DIR=$build_dir "$root/scripts/build.sh" >/dev/null
if [ $# -eq 0 ]; then
  set -- capture --virtual -o finger.png
fi
exec "$build_dir/tools/kr9" "$@"
