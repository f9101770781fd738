#!/usr/bin/env bash
# Builds the release from a clean build directory and checks the archive it made from an
# unpacked copy alone (ctest's package_tests: tests/package/check_package.sh). Writes into
# OUTPUT_DIR (default: dist/ in the build directory):
#   Ostrel-<version>-win64.zip          the release (README.md, "Integrating a host")
#   Ostrel-<version>-win64.zip.sha256   its checksum
#   Ostrel-<version>-win64-debug/       <binary>.debug for each binary, to symbolise crashes
# The build directory ($PACKAGE_BUILD_DIR, default build-package/ in the checkout) is
# removed and made anew each time.
#   scripts/package.sh [OUTPUT_DIR]
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/env.sh"

PACKAGE_BUILD_DIR="${PACKAGE_BUILD_DIR:-$OSTREL_ROOT/build-package}"
OUT="$(realpath -m "${1:-$PACKAGE_BUILD_DIR/dist}")"
# Only a build directory, or nothing, is ever removed.
if [ -e "$PACKAGE_BUILD_DIR" ] && [ ! -f "$PACKAGE_BUILD_DIR/CMakeCache.txt" ] &&
   [ -n "$(ls -A "$PACKAGE_BUILD_DIR")" ]; then
    echo "package.sh: $PACKAGE_BUILD_DIR is not a build directory; not removing it" >&2
    exit 1
fi

"$OSTREL_ROOT/scripts/setup.sh"
say "configuring a clean $PACKAGE_BUILD_DIR"
rm -rf "$PACKAGE_BUILD_DIR"
cmake -S "$OSTREL_ROOT" -B "$PACKAGE_BUILD_DIR" -G Ninja \
      -DCMAKE_TOOLCHAIN_FILE="$OSTREL_ROOT/cmake/mingw-w64-x86_64.cmake" \
      -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
say "building the shipped binaries"
cmake --build "$PACKAGE_BUILD_DIR" --target shipped
say "packing into $OUT"
mkdir -p "$OUT"
cpack --config "$PACKAGE_BUILD_DIR/CPackConfig.cmake" -B "$OUT"
rm -rf "$OUT/_CPack_Packages"

say "checking the archive from an unpacked copy"
OSTREL_PACKAGE_DIR="$OUT" ctest --test-dir "$PACKAGE_BUILD_DIR" -R '^package_tests$' --output-on-failure
ls -l "$OUT"
