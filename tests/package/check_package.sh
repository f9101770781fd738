#!/usr/bin/env bash
# check_package.sh BUILD_DIR VERSION CXX: checks Ostrel-VERSION-win64.zip, from
# $OSTREL_PACKAGE_DIR (scripts/package.sh sets it) or made from the build with cpack,
# unpacked into an empty folder and run in a Wine prefix of its own: the layout, the
# checksums, the imports, and a host built with CXX against the packaged headers that loads
# the packaged module by full path. Everything it makes is removed at the end.
set -uo pipefail
USAGE="usage: check_package.sh BUILD_DIR VERSION CXX"
BUILD="${1:?$USAGE}"
VERSION="${2:?$USAGE}"
CXX="${3:?$USAGE}"
HERE="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
SOURCE="$(cd "$HERE/../.." && pwd)"
source "$SOURCE/scripts/env.sh"
NAME="Ostrel-$VERSION-win64"
BINARIES="Ostrel.dll ZorvDbg64.dll ostrel-host.exe xentool.exe"

WORK="$(mktemp -d -t ostrel-package.XXXXXX)"
export WINEPREFIX="$WORK/prefix"
cleanup() {
    if [ -d "$WINEPREFIX" ]; then
        wineserver -k 2>/dev/null
        timeout 30 wineserver -w 2>/dev/null
    fi
    rm -rf "$WORK"
}
trap cleanup EXIT

failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
# The sorted file list of a folder, relative to it.
files_in() { (cd "$1" && find . -type f | sed 's|^\./||' | LC_ALL=C sort); }
winpath() { winepath -w "$1" 2>/dev/null; }

# The archive: the one given, or made from the build as it stands.
OUT="${OSTREL_PACKAGE_DIR:-$WORK/out}"
if [ -z "${OSTREL_PACKAGE_DIR:-}" ] && ! cpack --config "$BUILD/CPackConfig.cmake" -B "$OUT" >"$WORK/cpack.log" 2>&1; then
    echo "FAIL: cpack: $(cat "$WORK/cpack.log")"
    exit 1
fi
ARCHIVE="$OUT/$NAME.zip"
[ -f "$ARCHIVE" ] || { echo "FAIL: no $NAME.zip; $OUT holds: $(ls "$OUT")"; exit 1; }
(cd "$OUT" && sha256sum --quiet --strict -c "$NAME.zip.sha256") || fail "$NAME.zip.sha256 does not match"
mkdir "$WORK/unpacked"
(cd "$WORK/unpacked" && cmake -E tar xf "$ARCHIVE") || { echo "FAIL: cannot unpack $ARCHIVE"; exit 1; }
PKG="$WORK/unpacked/$NAME"

# Layout: exact where the contents are fixed, the source's files where they grow.
layout=$({
    printf 'bin/%s\n' $BINARIES
    printf 'include/%s\n' Ostrel.h OstrelResult.h SrvFrwk_Interface.h ZorvDbg.h
    printf 'lib/%s\n' Ostrel.def libOstrel.dll.a
    files_in "$SOURCE/schemas" | grep '\.xsd$' | sed 's|^|schemas/|'
    files_in "$SOURCE/examples" | grep -E '\.(xml|ini)$' | sed 's|^|examples/|'
    printf 'docs/%s\n' README.md behaviour.md security.md trace-library.md
    echo SHA256SUMS
} | LC_ALL=C sort)
[ "$(files_in "$PKG")" = "$layout" ] || fail "the archive differs: $(diff <(echo "$layout") <(files_in "$PKG"))"
[ "$(files_in "$OUT/$NAME-debug")" = "$(printf '%s.debug\n' $BINARIES | LC_ALL=C sort)" ] ||
    fail "debug files beside the archive: $(files_in "$OUT/$NAME-debug")"
(cd "$PKG" && sha256sum --quiet --strict -c SHA256SUMS) || fail "SHA256SUMS does not match"

# Only Windows system DLLs imported; Ostrel.dll exports its four functions.
bash "$SOURCE/tests/imports/check_imports.sh" "$PKG/bin" >"$WORK/imports.log" ||
    fail "imports of the packaged binaries: $(cat "$WORK/imports.log")"

# From here on the package runs, in a fresh Wine prefix.
wineboot --init >/dev/null 2>&1 || { fail "wineboot"; exit 1; }
mkdir "$WORK/installed" "$WORK/log"
installed_win=$(winpath "$WORK/installed")
log_win=$(winpath "$WORK/log")
# The product key as an installer writes it, with the debug log on.
cat >"$WORK/product.reg" <<EOF_REG
Windows Registry Editor Version 5.00

[HKEY_LOCAL_MACHINE\\Software\\Ulvenhart\\Hearthward]
"InstalledFolder"="${installed_win//\\/\\\\}"
"Version"="$VERSION"

[HKEY_LOCAL_MACHINE\\Software\\Ulvenhart\\Hearthward\\1\\DebugLog\\InteractiveSession]
"Enable"=dword:00000001
"Level"=dword:00000111
"LogProcess"=dword:00000000
"LogUnitType"=dword:00000000
"LogFolder"="${log_win//\\/\\\\}"
"LogPrefix"="package-"
"LogFile"=""
"LogExtension"="log"
"Robust"=dword:00000001
"Debugger"=dword:00000000
EOF_REG
wine regedit /S "$(winpath "$WORK/product.reg")" || fail "regedit"

cd "$WORK"
# The service policy, encrypted with the packaged xentool from the packaged example.
wine "$PKG/bin/xentool.exe" encrypt --kind service "$(winpath "$PKG/examples/services.xml")" \
    "$installed_win\\QjBsSvPl.xen" </dev/null >"$WORK/xentool.log" 2>&1 ||
    fail "xentool encrypt services.xml: $(cat "$WORK/xentool.log")"
services=$(grep -c '<FrameworkService[ >]' "$PKG/examples/services.xml")

# A host of the team's own, against the packaged include/ only, loading the module by path.
"$CXX" -std=c++17 -Wall -Wextra -Werror -static -municode -I"$PKG/include" "$HERE/Host.cpp" \
    -o "$WORK/host.exe" >"$WORK/host.log" 2>&1 || fail "building the host: $(cat "$WORK/host.log")"
said=$(wine "$WORK/host.exe" "$(winpath "$PKG/bin/Ostrel.dll")" 2>&1 | tr -d '\r')
[ "$said" = "services $services, result 0x00000000" ] || fail "the host said [$said]"
# The module found the trace library in its own folder, neither the host's nor the current.
grep -q 'Ostrel.dll was loaded as process attach' "$WORK/log/package-Ostrel.log" 2>/dev/null ||
    fail "no debug log through the packaged ZorvDbg64.dll in $WORK/log: $(ls "$WORK/log")"

[ "$failures" -eq 0 ] || { echo "$failures failure(s)"; exit 1; }
echo "$NAME.zip: layout, checksums, imports and the host checked in ${SECONDS}s"
