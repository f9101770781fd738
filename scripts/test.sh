#!/usr/bin/env bash
# Sets up, builds and runs every test suite under Wine. Exits non-zero on any failure.
# Extra arguments go to ctest (e.g. -R storage).
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/env.sh"

"$OSTREL_ROOT/scripts/build.sh"

say "running the tests under Wine"
status=0
ctest --test-dir "$BUILD_DIR" --output-on-failure -j1 "$@" || status=$?
wine_settle
exit $status
