#!/usr/bin/env bash
# Profiles one contender of a benchmark with perf (cpu-clock: this machine has no hardware
# counters) and prints where its time goes, by function, for its process and the prefix's
# wineserver together.
# Usage: bench/profile.sh SECONDS EXE --profile INDEX [SECTION...]
#   e.g. bench/profile.sh 20 build/bench/bench_module.exe --profile 0 policy
# The benchmark runs under a persistent server of its own prefix ($WINEPREFIX, default
# ~/.wine-ostrel-bench); perf records the whole machine once the benchmark says that the
# contender runs alone, and the samples are kept for the two processes only.
set -euo pipefail
export WINEPREFIX="${WINEPREFIX:-$HOME/.wine-ostrel-bench}"
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/env.sh"
source "$OSTREL_ROOT/bench/wineserver.sh"
seconds=$1
shift
work=$(mktemp -d -t ostrel-profile.XXXXXX)
# PROFILE_KEEP=DIR keeps the recording there (perf.data, and pids: the benchmark's and the
# server's process ids) for a closer look.
trap 'wineserver -k 2>/dev/null || true; rm -rf "$work"' EXIT

wine_settle
wineserver -p
server=$(server_pid)
# The shell that execs Wine hands its own process id to the benchmark (exec keeps it).
sh -c 'echo $$ >"$0"; exe=$1; shift; exec wine "$exe" --self-pid "$$" "$@"' "$work/pid" "$1" \
    --server-pid "$server" "${@:2}" >"$work/out" 2>"$work/err" &
bench=$!
until grep -q "profiling now" "$work/err" 2>/dev/null; do
    kill -0 "$bench" 2>/dev/null || { cat "$work/err" >&2; exit 1; }
    sleep 0.2
done
perf record -e cpu-clock -a -o "$work/perf.data" -- sleep "$seconds" 2>/dev/null
wait "$bench"
cat "$work/out"
if [ -n "${PROFILE_KEEP:-}" ]; then
    mkdir -p "$PROFILE_KEEP"
    cp "$work/perf.data" "$PROFILE_KEEP/"
    echo "$(cat "$work/pid"),$server" >"$PROFILE_KEEP/pids"
fi
W=/usr/lib/x86_64-linux-gnu/wine/x86_64-windows
python3 "$(dirname "${BASH_SOURCE[0]}")/perf_symbols.py" "$work/perf.data" \
    "$(cat "$work/pid"),$server" "$1" "$BUILD_DIR/bin/Ostrel.dll" \
    "$W/ntdll.dll" "$W/xmllite.dll" "$W/msvcrt.dll" "$W/ucrtbase.dll" "$W/combase.dll" \
    "$W/kernelbase.dll" "$W/kernel32.dll"
