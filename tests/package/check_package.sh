#!/usr/bin/env bash
# check_package.sh BUILD_DIR VERSION CXX: checks Ostrel-VERSION-win64.zip and the debug
# files beside it, from $OSTREL_PACKAGE_DIR (scripts/package.sh sets it) or made from the
# build with cpack, unpacked into an empty folder and run in a Wine prefix of its own: the
# layout, SHA256SUMS, the imports, stripped binaries whose split debug files symbolise,
# VERSIONINFO, the packaged tools on a packaged example, and a host built with CXX against
# the packaged headers, loading the module by full path and linked with the import library. Everything it makes is removed at the end.
set -uo pipefail
USAGE="usage: check_package.sh BUILD_DIR VERSION CXX"
BUILD="${1:?$USAGE}"
VERSION="${2:?$USAGE}"
CXX="${3:?$USAGE}"
HERE="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
SOURCE="$(cd "$HERE/../.." && pwd)"
source "$SOURCE/scripts/env.sh"
OBJDUMP=x86_64-w64-mingw32-objdump
WINDRES=x86_64-w64-mingw32-windres
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
DEBUG="$OUT/$NAME-debug"

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
[ "$(files_in "$DEBUG")" = "$(printf '%s.debug\n' $BINARIES | LC_ALL=C sort)" ] ||
    fail "debug files beside the archive: $(files_in "$DEBUG")"

# SHA256SUMS: every listed file matches, and every other file is listed.
(cd "$PKG" && sha256sum --quiet --strict -c SHA256SUMS) || fail "SHA256SUMS does not match"
listed=$(sed 's/^[0-9a-f]\{64\}  //' "$PKG/SHA256SUMS" | LC_ALL=C sort)
[ "$listed" = "$(files_in "$PKG" | grep -v '^SHA256SUMS$')" ] || fail "SHA256SUMS does not list exactly the other files"

# Only Windows system DLLs imported; Ostrel.dll exports its four functions.
bash "$SOURCE/tests/imports/check_imports.sh" "$PKG/bin" >"$WORK/imports.log" ||
    fail "imports of the packaged binaries: $(cat "$WORK/imports.log")"

# Stripped binaries, each naming its own debug file beside the archive with a matching CRC;
# Ostrel.dll's exports symbolise only with it.
mkdir "$WORK/symbols"
cp "$PKG"/bin/* "$WORK/symbols/"
image_base=$($OBJDUMP -p "$PKG/bin/Ostrel.dll" | awk '$1 == "ImageBase" {print $2}')
# "RVA name" of each export: the address table and the name table share the index.
exports=$($OBJDUMP -p "$PKG/bin/Ostrel.dll" | awk '
    /^Export Address Table --/ {t = 1; next}
    /^\[Ordinal\/Name Pointer\] Table/ {n = 1; next}
    NF == 0 {t = 0; n = 0}
    t && /Export RVA/ {sub(/\]/, "", $2); rva[$2] = $(NF - 2)}
    n {sub(/\]/, "", $2); print rva[$2], $3}')
symbolise() {  # rva -> objdump's disassembly of that address with function and line
    local address
    address=$(printf '0x%x' $((0x$image_base + 0x$1)))
    $OBJDUMP -d -l --start-address="$address" --stop-address="$((address + 1))" \
        "$WORK/symbols/Ostrel.dll" 2>&1
}
[ "$(wc -l <<<"$exports")" -eq 4 ] || fail "Ostrel.dll exports: [$exports]"
symbolise "$(head -n 1 <<<"$exports" | cut -d' ' -f1)" | grep -q 'Ostrel\.cpp:' &&
    fail "the stripped Ostrel.dll symbolises without its debug file"
cp "$DEBUG"/*.debug "$WORK/symbols/"
for binary in $BINARIES; do
    $OBJDUMP -h "$PKG/bin/$binary" | awk '{print $2}' | grep -q '^\.debug_' &&
        fail "$binary keeps debug sections"
    $OBJDUMP --dwarf=links "$WORK/symbols/$binary" 2>&1 |
        grep -qx "$WORK/symbols/$binary: Found separate debug info file: $WORK/symbols/$binary.debug" ||
        fail "$binary does not name $binary.debug, or names it with another CRC"
done
while read -r rva function; do
    where=$(symbolise "$rva")
    grep -q "^$function():\$" <<<"$where" && grep -q 'Ostrel\.cpp:[0-9]' <<<"$where" ||
        fail "Ostrel.dll+0x$rva does not resolve to $function in Ostrel.cpp: $where"
done <<<"$exports"

# VERSIONINFO carries the version of the archive's name.
resource=$($WINDRES -i "$PKG/bin/Ostrel.dll" -O rc 2>&1)
grep -q "FILEVERSION ${VERSION//./, }, 0\$" <<<"$resource" &&
    grep -q "VALUE \"ProductVersion\", \"$VERSION.0\"" <<<"$resource" ||
    fail "VERSIONINFO of Ostrel.dll does not say $VERSION: $resource"

# From here on the package runs, in a fresh Wine prefix.
wineboot --init >/dev/null 2>&1 || { fail "wineboot"; exit 1; }
mkdir "$WORK/installed" "$WORK/log" "$WORK/host"
installed_win=$(winpath "$WORK/installed")
log_win=$(winpath "$WORK/log")
# The product key as an installer writes it, with the debug log on.
cat >"$WORK/product.reg" <<EOF
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
EOF
wine regedit /S "$(winpath "$WORK/product.reg")" || fail "regedit"

cd "$WORK"
# The service policy, encrypted with the packaged xentool from the packaged example.
wine "$PKG/bin/xentool.exe" encrypt --kind service "$(winpath "$PKG/examples/services.xml")" \
    "$installed_win\\QjBsSvPl.xen" </dev/null >"$WORK/xentool.log" 2>&1 ||
    fail "xentool encrypt services.xml: $(cat "$WORK/xentool.log")"
services=$(grep -c '<FrameworkService[ >]' "$PKG/examples/services.xml")
# ... read through the packaged ostrel-host.
wine "$PKG/bin/ostrel-host.exe" services --json </dev/null >"$WORK/services.json" 2>&1 ||
    fail "ostrel-host services: $(cat "$WORK/services.json")"
[ "$(grep -c '"moduleName"' "$WORK/services.json")" -eq "$services" ] ||
    fail "ostrel-host listed other services: $(cat "$WORK/services.json")"

# Hosts of the team's own, against the packaged include/ and lib/ only.
build_host() {  # name, source, extra link arguments
    "$CXX" -std=c++17 -Wall -Wextra -Werror -static -I"$PKG/include" "$HERE/$2" "${@:3}" \
        -o "$WORK/host/$1.exe" >"$WORK/$1.log" 2>&1 || fail "building $1: $(cat "$WORK/$1.log")"
}
build_host load Host.cpp -municode
build_host link Host.cpp -municode -DOSTREL_LINKED "$PKG/lib/libOstrel.dll.a"
module_win=$(winpath "$PKG/bin/Ostrel.dll")
expected="services $services, result 0x00000000"
rm -f "$WORK"/log/*
said=$(wine "$WORK/host/load.exe" "$module_win" 2>&1 | tr -d '\r')
[ "$said" = "$expected" ] || fail "the host loading $module_win said [$said]"
# The module found the trace library in its own folder, neither the host's nor the current.
grep -q 'Ostrel.dll was loaded as process attach' "$WORK/log/package-Ostrel.log" 2>/dev/null ||
    fail "no debug log through the packaged ZorvDbg64.dll in $WORK/log: $(ls "$WORK/log")"
said=$(WINEPATH="$(winpath "$PKG/bin")" wine "$WORK/host/link.exe" 2>&1 | tr -d '\r')
[ "$said" = "$expected" ] || fail "the host linked with lib/libOstrel.dll.a said [$said]"

[ "$failures" -eq 0 ] || { echo "$failures failure(s)"; exit 1; }
echo "$NAME.zip: layout, checksums, imports, split debug files, version and hosts checked in ${SECONDS}s"
