#!/usr/bin/env bash
# Builds the benchmarks, runs them under a Wine prefix of their own and prints ONE
# markdown table: every figure against a baseline measured in the same run, on two
# clocks (CPU time and wall time), as the median ratio of samples taken in turns with the
# lowest and highest beside it. The table, with the machine it ran on, the date and the
# load, also replaces the run's part of docs/performance.md (or of the file named by
# BENCH_REPORT).
# A section is a function bench_<name> that runs its benchmark and keeps its
# "name value..." lines in VALUES; the table is drawn from them at the end. Pass section
# names to run only those (the report is then left alone).
set -euo pipefail
# A prefix of the bench's own unless one is set: the module's debug log, which the demo
# turns on, is switched off for the run and restored afterwards either way.
export WINEPREFIX="${WINEPREFIX:-$HOME/.wine-ostrel-bench}"
source "$(dirname "${BASH_SOURCE[0]}")/env.sh"
source "$OSTREL_ROOT/bench/wineserver.sh"

SECTIONS=(crypto log module)
REPORT="${BENCH_REPORT:-$OSTREL_ROOT/docs/performance.md}"
VALUES=""
SERVER_PID=""

# "name value..." lines -> one value of a name's first line (the first value unless a
# field number is given; empty when absent).
v() {
    awk -v name="$1" -v field="$((${2:-1} + 1))" '$1 == name { print $field; exit }' <<<"$VALUES"
}
calc() { awk "BEGIN { printf \"%.${2:-2}f\", $1 }"; }
# ratio measured baseline -> measured / baseline
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", (b > 0 ? a / b : 0) }'; }
at_least() { awk -v r="$1" -v t="$2" 'BEGIN { print (r >= t ? "met" : "**missed**") }'; }
at_most() { awk -v r="$1" -v t="$2" 'BEGIN { print (r <= t ? "met" : "**missed**") }'; }
row() { local IFS='|'; echo "| $* |"; }

# A benchmark executable and its arguments; its output lines join VALUES. It learns its
# own Unix process id from the shell that becomes it (exec keeps the id), and the
# server's, so that the CPU time of both processes counts.
run_bench() {
    local out
    out=$(sh -c 'exec wine "$0" --self-pid "$$" "$@"' "$1" \
          ${SERVER_PID:+--server-pid "$SERVER_PID"} "${@:2}" | tr -d '\r')
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
    run_bench "$BUILD_DIR/bench/bench_crypto.exe"
}

bench_log() {
    say "log: bench_log.exe" >&2
    VALUES+=$'\n'"$(wine "$BUILD_DIR/bench/bench_log.exe" | tr -d '\r')"
}

# Requests through Ostrel.dll.
bench_module() {
    say "module: bench_module.exe (service policy, requests, storage, memory, bad values)" >&2
    run_bench "$BUILD_DIR/bench/bench_module.exe" policy requests storage memory badvalue
}

# "median (lowest-highest)" of the sample ratios of a name.
spread() {
    awk -v name="$1" '$1 == name { printf "%.2f (%.2f-%.2f)", $2, $3, $4 }' <<<"$VALUES"
}
# "CPU / wall unit" from a name's two medians.
figures() {
    awk -v name="$1" -v digits="$2" -v unit="$3" \
        '$1 == name { printf "%.*f / %.*f %s", digits, $2, digits, $3, unit }' <<<"$VALUES"
}
# verdict NAME OP TARGET: met when the median ratio on both clocks holds OP TARGET.
verdict() {
    awk -v c="$(v "$1_cpu")" -v w="$(v "$1_wall")" -v op="$2" -v t="$3" '
        function holds(r) { return op == "<=" ? r <= t : r >= t }
        BEGIN {
            if (holds(c) && holds(w)) print "met"
            else if (holds(c)) print "**missed** (wall)"
            else if (holds(w)) print "**missed** (CPU)"
            else print "**missed**"
        }'
}
# A measure against its baseline, samples side by side:
# pair_row LABEL MEASURED BASELINE RATIO-NAME OP TARGET
pair_row() {
    row " $1 " " $2 " " $3 " " $(spread "$4_cpu") " " $(spread "$4_wall") " " $5 $6 " \
        " $(verdict "$4" "$5" "$6") "
}

# Rows of a time per unit at several sizes (CPU time), each against the lowest of them
# (target: at most 1.2 times it): per_unit_rows LABEL UNIT SIZES SIZE:TIME...; LABEL's %s
# is the size.
per_unit_rows() {
    local label=$1 unit=$2 sizes=$3 pair r lowest
    shift 3
    lowest=$(printf '%s\n' "${@#*:}" | sort -g | head -1)
    for pair in "$@"; do
        r=$(ratio "${pair#*:}" "$lowest")
        # shellcheck disable=SC2059  # the label is this script's own format
        row " $(printf "$label" "${pair%%:*}") " " ${pair#*:} $unit CPU " \
            " lowest of $sizes: $lowest $unit CPU " " $r " " - " " <= 1.2 " " $(at_most "$r" 1.2) "
    done
}

table() {
    row " measure " " measured, CPU / wall " " baseline in the same run, CPU / wall " \
        " ratio, CPU: median (lowest-highest) " " ratio, wall: median (lowest-highest) " \
        " target " " result "
    echo "|---|---:|---:|---:|---:|---|---|"
    if [ -n "$(v policy_10mb_ratio_cpu)" ]; then
        pair_row "service policy request, 10 MB document ($(v policy_10mb_services) services)" \
            "$(figures policy_10mb_module_ms 0 ms)" \
            "XmlLite walking the same plaintext from memory: $(figures policy_10mb_xmllite_ms 0 ms)" \
            policy_10mb_ratio "<=" 1.10
    fi
    if [ -n "$(v requests_ratio_cpu)" ]; then
        pair_row "service policy request, small document ($(v requests_services) services, $(calc "$(v requests_bytes) / 1000" 0) kB)" \
            "$(figures requests_module_us 0 us)" \
            "reading the plaintext file and walking it with XmlLite: $(figures requests_plain_us 0 us)" \
            requests_ratio "<=" 1.05
    fi
    if [ -n "$(v filecrypt_speed_cpu)" ]; then
        pair_row "FileCrypt reading a 64 MiB file in 4 KiB reads (throughput)" \
            "$(figures filecrypt_mbps 0 MB/s)" \
            "the bare cipher over a 64 MiB buffer: $(figures cipher_mbps 0 MB/s)" \
            filecrypt_speed ">=" 0.90
    fi
    if [ -n "$(v storage_ratio_cpu)" ]; then
        pair_row "storage-control request storing $(v storage_values) values" \
            "$(figures storage_module_ms 1 ms)" \
            "create key, set value, close, per value: $(figures storage_plain_ms 1 ms)" \
            storage_ratio "<=" 0.6
    fi
    if [ -n "$(v policy_growth_cpu)" ]; then
        pair_row "service policy request, 100 MB document: time per MB" \
            "$(figures policy_100mb_per_mb_ms 1 ms/MB)" \
            "1 MB document: $(figures policy_1mb_per_mb_ms 1 ms/MB)" policy_growth "<=" 1.2
    fi
    if [ -n "$(v memory_100mb_rise_kib)" ]; then
        local big small growth
        big=$(v memory_100mb_rise_kib)
        small=$(v memory_1mb_rise_kib)
        growth=$(calc "($big - $small) / 1024")
        row " peak memory of a storage-control request, 100 MB document " \
            " +$(calc "$big / 1024") MiB " " 1 MB document: +$(calc "$small / 1024") MiB " \
            " $growth MiB more " " - " " within 4 MiB " \
            " $(awk -v g="$growth" 'BEGIN { print (g <= 4 ? "met" : "**missed**") }') "
    fi
    if [ -n "$(v badvalue_1m_ms)" ]; then
        local m pairs=()
        for m in 1 2 4; do
            pairs+=("$m:$(calc "$(v badvalue_${m}m_ms) / $m" 1)")
        done
        per_unit_rows "storage-control request, uint32 value of %s million digits, log at level 256: time per million characters" \
            "ms" "1/2/4 million" "${pairs[@]}"
    fi
    # openssl speed works on a 16 KiB piece in the cache: the 64 MiB figure is FileCrypt's
    # baseline above, and bound by memory rather than by the cipher.
    if [ -n "$(v cipher_16k_mbps)" ]; then
        local openssl r
        openssl=$(v openssl_mbps)
        r=$(ratio "$(v cipher_16k_mbps)" "$openssl")
        row " AES-128-CBC decryption, Rijndael ($(v engine)), 16 KiB in cache " \
            " $(calc "$(v cipher_16k_mbps)" 0) MB/s CPU " " openssl speed: $openssl MB/s CPU " \
            " $r " " - " " >= 0.5 " " $(at_least "$r" 0.5) "
    fi
    if [ -n "$(v log_disabled_ns)" ]; then
        local kind ns
        for kind in "disabled:log disabled" "filtered:level filtered out"; do
            ns=$(v "log_${kind%%:*}_ns")
            row " debug log call, ${kind#*:} " " $ns ns CPU " \
                " empty function call: $(v log_empty_call_ns) ns CPU " \
                " $(ratio "$ns" "$(v log_empty_call_ns)") " " - " " < 25 ns " \
                " $(awk -v n="$ns" 'BEGIN { print (n < 25 ? "met" : "**missed**") }') "
        done
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
    echo "| date | $START_DATE |"
    echo "| duration | $(($(date +%s) - START_SECONDS)) s, the build included |"
    echo "| load average (1, 5, 15 min) at the start | $START_LOAD |"
    echo "| load average (1, 5, 15 min) at the end | $(cut -d' ' -f1-3 /proc/loadavg) |"
    echo "| CPU time counted | $(v cpu_counts) |"
}

method() {
    cat <<'EOF'
How the figures are taken:

- Each measure and its baseline run in the same process, in samples that take turns
  (15 of each, every one at least 0.2 s of wall time, every other one in reverse order),
  so that both meet the same machine within a fraction of a second. The ratio is taken
  sample by sample: the table gives the median ratio and, beside it, the lowest and the
  highest, so that a target a few percent away is not read from noise. The figures are
  the medians of the same samples.
- Two clocks: wall time, what a caller waits, which means something only on a quiet
  machine; and CPU time, the benchmark process's plus the wineserver's (the server does
  the registry and file work of every request), read in nanoseconds as the kernel's run
  time of every thread of both (/proc/<pid>/task/<tid>/schedstat). The script hands each
  benchmark its own Unix process id (the shell that execs Wine keeps its id) and the id
  of a persistent server started for the run. openssl speed and the log calls are CPU
  time only.
- Requests go through the real exports (LoadLibrary of Ostrel.dll, one utility object),
  with the module's debug log switched off for the run (and restored), on documents
  generated into a scratch installed folder set in the product key (restored afterwards).
- Service policy documents: 10 MB against XmlLite walking the same plaintext from a
  memory stream (every name, attribute value and text taken as a string); 1 and 100 MB
  for the time per MB; 50 services against opening the plaintext file, reading it whole
  and walking it with XmlLite. All sizes take turns in every sample.
- FileCrypt reads a 64 MiB encrypted file in 4 KiB reads through CryptDocument; the bare
  cipher decrypts the same 64 MiB from one buffer into another. The ratio is FileCrypt's
  throughput over the cipher's.
- Memory: Wine reports no private-bytes peak, so each document is read by a fresh process
  that resets the kernel's high-water mark of its own resident set just before the
  request; the figure is the peak during the request less the resident set before it. The
  documents are storage-control documents of 1 and 100 MB whose sections target another
  host but one, so that the result does not grow with the document.
- The 1,000-value request stores into one registry section, as a document does: one
  command opens the key once for all its entries; the baseline opens and closes the key
  around every value.
- Bad values: a kept storage-control document storing one uint32 value of 1, 2 or 4
  million digits, which the module refuses with an error line that prints the value. Each
  length runs in a fresh process started after the module's debug-log settings are set to
  level 256 (the default) with a scratch log folder (restored afterwards): the module reads
  them when it is loaded. The cost is the whole request, reading the document included
  (CPU time, the median of 3 samples).
EOF
}

# The run's part of the report lies between two marker lines and is replaced whole; the
# rest of the page (where the time goes, from profiles) is written by hand and kept.
BEGIN_MARK="<!-- The part from here to the end mark is written by scripts/bench.sh. -->"
END_MARK="<!-- End of the part written by scripts/bench.sh. -->"
write_report() {
    local block
    block=$(printf '%s\n%s\n%s' "$BEGIN_MARK" "$1" "$END_MARK")
    mkdir -p "$(dirname "$REPORT")"
    if [ -f "$REPORT" ] && grep -qxF "$BEGIN_MARK" "$REPORT" && grep -qxF "$END_MARK" "$REPORT"; then
        BLOCK="$block" awk -v begin="$BEGIN_MARK" -v end="$END_MARK" '
            $0 == begin { print ENVIRON["BLOCK"]; skipping = 1; next }
            $0 == end { skipping = 0; next }
            !skipping' "$REPORT" >"$REPORT.new"
        mv "$REPORT.new" "$REPORT"
    else
        printf '# Performance\n\n%s\n' "$block" >"$REPORT"
    fi
}

START_SECONDS=$(date +%s)
START_DATE=$(date -u '+%Y-%m-%d %H:%M UTC')
START_LOAD=$(cut -d' ' -f1-3 /proc/loadavg)
"$OSTREL_ROOT/scripts/setup.sh" >&2
say "configuring $BUILD_DIR" >&2
cmake -S "$OSTREL_ROOT" -B "$BUILD_DIR" -G Ninja \
      -DCMAKE_TOOLCHAIN_FILE="$OSTREL_ROOT/cmake/mingw-w64-x86_64.cmake" \
      -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
say "building the benchmarks" >&2
selected=("${@:-${SECTIONS[@]}}")
cmake --build "$BUILD_DIR" --target $(printf 'bench_%s ' "${selected[@]}") >&2

wine_settle  # a fresh server, persistent for the run: its process id stays the same
wineserver -p
trap 'wineserver -k 2>/dev/null || true' EXIT  # the persistent server goes with the script
SERVER_PID=$(server_pid)
for section in "${selected[@]}"; do
    "bench_$section"
done
wineserver -k
wine_settle

output=$( {
    machine
    echo
    table
    echo
    method
} )
echo "$output"
if (($# == 0)); then
    write_report "$output"
    say "written to $REPORT" >&2
fi
