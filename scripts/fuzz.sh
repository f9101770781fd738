#!/usr/bin/env bash
# Fuzzes Ostrel.dll for SECONDS with SEED (default 1): fuzz_ostrel.exe (built from fuzz/)
# under Wine, in a Wine prefix used for nothing else ($HOME/.wine-ostrel-fuzz, or
# $OSTREL_FUZZ_PREFIX), created when missing. A fixed seed reproduces a run. Failing inputs
# are saved in tests/fuzz/regressions/ (fuzz_tests replays them), or in $OSTREL_FUZZ_SAVED
# when set (fuzz_smoke saves under the build folder). Exits non-zero on any crash, hang or
# undocumented result code, and when the fuzzer is not built.
#   scripts/fuzz.sh SECONDS [SEED] [extra fuzz_ostrel options]
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/env.sh"

if [ $# -lt 1 ]; then
    echo "usage: scripts/fuzz.sh SECONDS [SEED] [options]" >&2
    exit 2
fi
SECONDS_TO_RUN="$1"
SEED="${2:-1}"
shift $(($# < 2 ? $# : 2))

export WINEPREFIX="${OSTREL_FUZZ_PREFIX:-$HOME/.wine-ostrel-fuzz}"
FUZZER="$BUILD_DIR/tests/fuzz_ostrel.exe"
WORK="$BUILD_DIR/fuzz"
REGRESSIONS="${OSTREL_FUZZ_SAVED:-$OSTREL_ROOT/tests/fuzz/regressions}"

if [ ! -f "$FUZZER" ] || [ ! -f "$BUILD_DIR/bin/Ostrel.dll" ]; then
    echo "fuzz.sh: $FUZZER or Ostrel.dll is missing: build first (scripts/build.sh)" >&2
    exit 2
fi
if [ ! -f "$WINEPREFIX/system.reg" ]; then
    say "creating the fuzzing Wine prefix $WINEPREFIX"
    wineboot --init >/dev/null 2>&1
    wine_settle
fi
mkdir -p "$WORK" "$REGRESSIONS"

winpath() { winepath -w "$1" 2>/dev/null; }

# One run per prefix at a time: runs share the prefix's product key and scratch stores.
exec 9>"$WINEPREFIX/.ostrel-fuzz.lock"
flock 9

say "fuzzing for $SECONDS_TO_RUN s with seed $SEED (prefix $WINEPREFIX)"
status=0
wine "$FUZZER" --seconds "$SECONDS_TO_RUN" --seed "$SEED" \
    --examples "$(winpath "$OSTREL_ROOT/examples")" \
    --corpus "$(winpath "$OSTREL_ROOT/tests/fuzz/corpus")" \
    --regressions "$(winpath "$REGRESSIONS")" \
    --work "$(winpath "$WORK")" "$@" || status=$?
wine_settle

# A death no handler saw (the process killed from outside, a fault in a handler) leaves
# the input behind in the work folder: keep it as a regression too.
if [ $status -ne 0 ] && [ $status -ne 1 ] && [ $status -ne 3 ] && [ $status -ne 4 ] &&
   [ -f "$WORK/current.xen" ]; then
    road="$(sed -n 's/^input #[0-9]* (\([a-z]*\),.*/\1/p' "$WORK/current.txt")"
    kept="$REGRESSIONS/${road:-storage}-exit$status-seed$SEED.xen"
    cp "$WORK/current.xen" "$kept"
    echo "fuzz.sh: the fuzzer ended with $status; its last input is kept as $kept" >&2
fi
if [ $status -ne 0 ]; then
    echo "fuzz.sh: failing inputs are saved in $REGRESSIONS" >&2
fi
exit $status
