#!/usr/bin/env bash
# Sets up the machine (when needed), configures and builds into $BUILD_DIR.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/env.sh"

"$OSTREL_ROOT/scripts/setup.sh"

say "configuring $BUILD_DIR"
cmake -S "$OSTREL_ROOT" -B "$BUILD_DIR" -G Ninja \
      -DCMAKE_TOOLCHAIN_FILE="$OSTREL_ROOT/cmake/mingw-w64-x86_64.cmake" \
      -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
say "building"
cmake --build "$BUILD_DIR"
