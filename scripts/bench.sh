#!/usr/bin/env bash
# Builds the benchmarks, runs them under a Wine prefix of their own and prints ONE
# markdown table: every figure a ratio against a baseline measured in the same run. The
# table, with the machine it ran on, is also written to docs/performance.md (or to the
# file named by BENCH_REPORT).
# A section is a function bench_<name> that runs its benchmark and keeps its
# "name value" lines in VALUES; the table is drawn from them at the end. Pass section
# names to run only those (the report is then left alone).
set -euo pipefail
# A prefix of the bench's own: its registry holds no debug-log settings of the tests.
export WINEPREFIX="${WINEPREFIX:-$HOME/.wine-ostrel-bench}"
source "$(dirname "${BASH_SOURCE[0]}")/env.sh"

SECTIONS=(crypto log module)
REPORT="${BENCH_REPORT:-$OSTREL_ROOT/docs/performance.md}"
VALUES=""

# "name value" lines -> the value of one name (empty when absent).
v() { awk -v name="$1" '$1 == name { print $2 }' <<<"$VALUES"; }
calc() { awk "BEGIN { printf \"%.${2:-2}f\", $1 }"; }
# ratio measured baseline -> measured / baseline
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", (b > 0 ? a / b : 0) }'; }
at_least() { awk -v r="$1" -v t="$2" 'BEGIN { print (r >= t ? "met" : "**missed**") }'; }
at_most() { awk -v r="$1" -v t="$2" 'BEGIN { print (r <= t ? "met" : "**missed**") }'; }
row() { local IFS='|'; echo "| $* |"; }

# The Unix process id of this prefix's wineserver: its working directory is the server
# directory named after the prefix's device and inode numbers. A server just started
# takes a moment to get there.
server_pid() {
    local dir pid try
    dir="server-$(printf '%x-%x' $(stat -c '%d %i' "$WINEPREFIX"))"
    for try in 1 2 3 4 5 6 7 8 9 10; do
        for pid in /proc/[0-9]*; do
            case "$(cat "$pid/comm" 2>/dev/null)" in
                wineserver*)
                    if [ "$(basename "$(readlink "$pid/cwd" 2>/dev/null)")" = "$dir" ]; then
                        basename "$pid"
                        return
                    fi ;;
            esac
        done
        sleep 0.3
    done
}

run_bench() {  # executable and arguments; output lines join VALUES
    local out
    out=$(wine "$@" | tr -d '\r')
    VALUES+=$'\n'"$out"
}

# AES-128-CBC decryption: openssl on this machine (16384-byte blocks, CPU time), then
# the library's cipher and FileCrypt under Wine.
bench_crypto() {
    say "crypto: openssl speed, then bench_crypto.exe" >&2
    local kbps
    kbps=$(openssl speed -evp aes-128-cbc -decrypt -bytes 16384 -seconds 3 2>/dev/null |
           awk '/^AES-128-CBC/ { sub(/k$/, "", $2); print $2 }')
    VALUES+=$'\n'"openssl_mbps $(calc "$kbps / 1000" 1)"
    run_bench "$BUILD_DIR/bin/bench_crypto.exe"
}

bench_log() {
    say "log: bench_log.exe" >&2
    run_bench "$BUILD_DIR/bench/bench_log.exe"
}

# Requests through Ostrel.dll; the wineserver's CPU time counts with the module's,
# since it does the registry and file work of every request.
bench_module() {
    say "module: bench_module.exe (service policy, requests, storage, memory, bad values)" >&2
    wine_settle  # a fresh server, persistent for the run: its process id stays the same
    wineserver -p
    trap 'wineserver -k 2>/dev/null || true' EXIT  # the persistent server goes with the script
    local pid
    pid=$(server_pid)
    run_bench "$BUILD_DIR/bench/bench_module.exe" ${pid:+--server-pid "$pid"} \
              --clock-ticks "$(getconf CLK_TCK)" policy requests storage memory badvalue
    wineserver -k
}

# Rows of a time per unit at several sizes, each against the lowest of them (target: at
# most 1.2 times it): per_unit_rows LABEL UNIT SIZES SIZE:TIME...; LABEL's %s is the size.
per_unit_rows() {
    local label=$1 unit=$2 sizes=$3 pair r lowest
    shift 3
    lowest=$(printf '%s\n' "${@#*:}" | sort -g | head -1)
    for pair in "$@"; do
        r=$(ratio "${pair#*:}" "$lowest")
        # shellcheck disable=SC2059  # the label is this script's own format
        row " $(printf "$label" "${pair%%:*}") " " ${pair#*:} $unit " \
            " lowest of $sizes: $lowest $unit " " $r " " <= 1.2 " " $(at_most "$r" 1.2) "
    done
}

table() {
    row " benchmark " " measured " " baseline, same run " " ratio " " target " " result "
    echo "|---|---:|---:|---:|---|---|"
    if [ -n "$(v cipher_mbps)" ]; then
        local openssl r16 r64 rfile
        openssl=$(v openssl_mbps)
        r16=$(ratio "$(v cipher_16k_mbps)" "$openssl")
        r64=$(ratio "$(v cipher_mbps)" "$openssl")
        rfile=$(ratio "$(v filecrypt_mbps)" "$(v cipher_mbps)")
        row " AES-128-CBC decryption, Rijndael ($(v engine)), 16 KiB in cache " \
            " $(v cipher_16k_mbps) MB/s " " openssl speed: $openssl MB/s " " $r16 " \
            " >= 0.5 " " $(at_least "$r16" 0.5) "
        row " AES-128-CBC decryption, Rijndael ($(v engine)), 64 MiB buffer " \
            " $(v cipher_mbps) MB/s " " openssl speed: $openssl MB/s " " $r64 " " >= 0.5 " \
            " $(at_least "$r64" 0.5) "
        row " FileCrypt, 64 MiB file in 4 KiB reads " " $(v filecrypt_mbps) MB/s " \
            " Rijndael, 64 MiB: $(v cipher_mbps) MB/s " " $rfile " " (none) " " - "
    fi
    if [ -n "$(v policy_10mb_module_ms)" ]; then
        local r
        r=$(ratio "$(v policy_10mb_module_ms)" "$(v policy_10mb_xmllite_ms)")
        row " service policy request, 10 MB document " " $(calc "$(v policy_10mb_module_ms)" 0) ms " \
            " XmlLite alone over memory: $(calc "$(v policy_10mb_xmllite_ms)" 0) ms " " $r " " <= 1.25 " \
            " $(at_most "$r" 1.25) "
        local mb pairs=()
        for mb in 1 10 100; do
            pairs+=("$mb:$(calc "$(v policy_${mb}mb_module_ms) / ($(v policy_${mb}mb_bytes) / 1000000)" 1)")
        done
        per_unit_rows "service policy request, %s MB: time per MB" "ms/MB" "1/10/100 MB" "${pairs[@]}"
    fi
    if [ -n "$(v requests_module_us)" ]; then
        local r
        r=$(ratio "$(v requests_module_us)" "$(v requests_plain_us)")
        row " 1,000 service policy requests, $(v requests_services) services ($(calc "$(v requests_bytes) / 1000" 0) kB): per request " \
            " $(calc "$(v requests_module_us)" 0) us " \
            " open, read, decrypt, XmlLite walk: $(calc "$(v requests_plain_us)" 0) us " " $r " \
            " <= 1.3 " " $(at_most "$r" 1.3) "
    fi
    if [ -n "$(v storage_module_ms)" ]; then
        local r
        r=$(ratio "$(v storage_module_ms)" "$(v storage_plain_ms)")
        row " storage-control request storing $(v storage_values) values " \
            " $(calc "$(v storage_module_ms)" 1) ms " \
            " create key, set value, close, per value: $(calc "$(v storage_plain_ms)" 1) ms " " $r " \
            " <= 2 " " $(at_most "$r" 2) "
    fi
    if [ -n "$(v log_disabled_ns)" ]; then
        local kind ns
        for kind in "disabled:log disabled" "filtered:level filtered out"; do
            ns=$(v "log_${kind%%:*}_ns")
            row " debug log call, ${kind#*:} " " $ns ns " \
                " empty function call: $(v log_empty_call_ns) ns " \
                " $(ratio "$ns" "$(v log_empty_call_ns)") " " < 25 ns " \
                " $(awk -v n="$ns" 'BEGIN { print (n < 25 ? "met" : "**missed**") }') "
        done
    fi
    if [ -n "$(v badvalue_1m_ms)" ]; then
        local m pairs=()
        for m in 1 2 4; do
            pairs+=("$m:$(calc "$(v badvalue_${m}m_ms) / $m" 1)")
        done
        per_unit_rows "storage-control request, uint32 value of %s million digits, log at level 256: time per million characters" \
            "ms" "1/2/4 million" "${pairs[@]}"
    fi
    if [ -n "$(v memory_100mb_rise_kib)" ]; then
        local big small growth
        big=$(v memory_100mb_rise_kib)
        small=$(v memory_1mb_rise_kib)
        growth=$(calc "($big - $small) / 1024")
        row " peak memory of a request over a 100 MB document " " +$(calc "$big / 1024") MiB " \
            " 1 MB document: +$(calc "$small / 1024") MiB " " $growth MiB more " \
            " within 4 MiB " " $(at_most "$growth" 4) "
    fi
}

machine() {
    local os
    os=$(. /etc/os-release && echo "$PRETTY_NAME")
    echo "| machine | |"
    echo "|---|---|"
    echo "| CPU | $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 | sed 's/^ //') |"
    echo "| cores | $(nproc) |"
    echo "| OS | $os, Linux $(uname -r) |"
    echo "| Wine | $(wine --version) |"
    echo "| date | $(date -u '+%Y-%m-%d %H:%M UTC') |"
    echo "| load average at the end | $(cut -d' ' -f1-3 /proc/loadavg) |"
}

method() {
    cat <<'EOF'
How the figures are taken:

- Every figure is a median over several samples, and each baseline is measured in the
  same run, its samples taking turns with the measured code's, so that both meet the same
  machine. The machines are shared with builds: figures are CPU time, not wall time
  (GetThreadTimes; openssl speed counts CPU time too). Both clocks tick in 10 ms steps
  under Wine, so a sample repeats its run until it has used enough CPU time.
- Requests go through the real exports (LoadLibrary of Ostrel.dll, one utility object),
  with the debug log disabled, on documents generated into a scratch installed folder set
  in the product key (restored afterwards). Their cost adds the wineserver's CPU time
  (read from /proc), which does the registry and file work of every request.
- Memory: Wine reports no private-bytes peak, so each document is read by a fresh process
  that resets the kernel's high-water mark of its resident set just before the request;
  the figure is the peak during the request less the resident set before it. The
  documents are storage-control documents of 1 and 100 MB whose sections target another
  host but one, so that the result does not grow with the document.
- The 1,000-value request stores into one registry section, as a document does: one
  command opens the key once for all its entries; the baseline opens and closes the key
  around every value.
- Bad values: a kept storage-control document storing one uint32 value of 1, 2 or 4
  million digits, which the module refuses with an error line that prints the value. Each
  length runs in a fresh process started after the module's debug-log settings are set to
  level 256 (the default) with a scratch log folder (restored afterwards): the module reads
  them when it is loaded. The cost is the whole request, reading the document included.
- Expect ratios to move by about a tenth between runs on a shared 2-core machine. A
  wineserver round trip costs several times more CPU when the other core is busy, and the
  module's service policy request makes six (the installed folder read from the registry
  on every request: open, query, close; then the document's open) where the plain steps
  make three; the 1,000-value store measured 18-26 ms in quiet runs and 100-250 ms in busy
  ones, on both sides.
EOF
}

"$OSTREL_ROOT/scripts/setup.sh" >&2
say "configuring $BUILD_DIR" >&2
cmake -S "$OSTREL_ROOT" -B "$BUILD_DIR" -G Ninja \
      -DCMAKE_TOOLCHAIN_FILE="$OSTREL_ROOT/cmake/mingw-w64-x86_64.cmake" \
      -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
say "building the benchmarks" >&2
selected=("${@:-${SECTIONS[@]}}")
cmake --build "$BUILD_DIR" --target $(printf 'bench_%s ' "${selected[@]}") >&2

for section in "${selected[@]}"; do
    "bench_$section"
done
wine_settle

output=$( {
    echo "# Performance"
    echo
    machine
    echo
    table
    echo
    method
} )
echo "$output"
if (($# == 0)); then
    mkdir -p "$(dirname "$REPORT")"
    echo "$output" >"$REPORT"
    say "written to $REPORT" >&2
fi
