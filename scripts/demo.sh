#!/usr/bin/env bash
# The end-to-end demo: builds everything, points the product key at the encrypted
# example documents, and drives Ostrel.dll through ostrel-host the way a host does.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/env.sh"

BUILD_LOG="$(mktemp -t ostrel-demo-build.XXXXXX)"
say "setting up and building (output in $BUILD_LOG)"
if ! "$OSTREL_ROOT/scripts/build.sh" >"$BUILD_LOG" 2>&1; then
    tail -n 40 "$BUILD_LOG"
    echo "The build failed; the whole output is in $BUILD_LOG." >&2
    exit 1
fi
BIN="$BUILD_DIR/bin"
DEMO="$BUILD_DIR/demo"
rm -rf "$DEMO" && mkdir -p "$DEMO/log"

winpath() { winepath -w "$1" 2>/dev/null; }
host() { wine "$BIN/ostrel-host.exe" "$@"; }
reg() { wine reg "$@" >/dev/null 2>&1; }
title() { printf '\n\033[1m== %s\033[0m\n' "$*"; }

PRODUCT='HKLM\Software\Ulvenhart\Hearthward'
SESSION="$PRODUCT\\1\\DebugLog\\InteractiveSession"
EXAMPLES_WIN="$(winpath "$BUILD_DIR/examples")"
LOG_WIN="$(winpath "$DEMO/log")"

title "Product key $PRODUCT (64-bit view)"
reg add "$PRODUCT" /v InstalledFolder /t REG_SZ /d "$EXAMPLES_WIN" /f
reg add "$PRODUCT" /v Version /t REG_SZ /d "1.0.1120" /f
reg add "$SESSION" /v Enable /t REG_DWORD /d 1 /f
reg add "$SESSION" /v Level /t REG_DWORD /d 273 /f   # enter/leave, information, errors
reg add "$SESSION" /v LogProcess /t REG_DWORD /d 0 /f
reg add "$SESSION" /v LogUnitType /t REG_DWORD /d 0 /f
reg add "$SESSION" /v LogFolder /t REG_SZ /d "$LOG_WIN" /f
reg add "$SESSION" /v LogPrefix /t REG_SZ /d "demo-" /f
reg add "$SESSION" /v LogFile /t REG_SZ /d "" /f
reg add "$SESSION" /v LogExtension /t REG_SZ /d "log" /f
echo "InstalledFolder = $EXAMPLES_WIN  (the encrypted examples)"
echo "Version         = 1.0.1120"
echo "debug log       = level 273 into $LOG_WIN"

title "Service policy (QueryValue type 1): ostrel-host services"
host services
title "Provider policy (QueryValue type 2): ostrel-host providers"
host providers
title "Web access control list (QueryValue type 16): ostrel-host webaccess"
host webaccess

title "Storage-control request (SendMessage type 4)"
cp "$BUILD_DIR/examples/storage-demo.xen" "$DEMO/storage-demo.xen"
wine reg delete 'HKCU\Software\OstrelDemo' /f >/dev/null 2>&1 || true
rm -f "$BUILD_DIR/examples/demo.ini"
echo "What the document will do (xentool plan, a dry run that changes nothing):"
wine "$BIN/xentool.exe" plan "$DEMO/storage-demo.xen" --assign demo || true
echo
echo "Running it on a copy: ostrel-host storage $(winpath "$DEMO/storage-demo.xen") --assign demo"
host storage "$(winpath "$DEMO/storage-demo.xen")" --assign demo || true
if [ -e "$DEMO/storage-demo.xen" ]; then
    echo "The copy is still there (the document asked to be kept, or the walk stopped early)."
else
    echo "The copy was deleted after reading, as the document asks; the original stays in build/examples."
fi

title "Registry after the request: HKCU\\Software\\OstrelDemo"
wine reg query 'HKCU\Software\OstrelDemo' /s 2>/dev/null | tr -d '\r' | sed '/^$/d' || echo "(nothing)"
echo "(Wine's reg.exe prints a REG_QWORD value as (null): Quota holds 4294967296.)"
title "INI file after the request: $EXAMPLES_WIN\\demo.ini"
if [ -e "$BUILD_DIR/examples/demo.ini" ]; then tr -d '\r' < "$BUILD_DIR/examples/demo.ini"; else echo "(not written)"; fi

title "Debug log"
for file in "$DEMO"/log/*; do
    [ -e "$file" ] || continue
    echo "$(wc -l < "$file") lines in $file; the last ten:"
    tail -n 10 "$file" | tr -d '\r'
done
wine_settle
