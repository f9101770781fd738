#!/usr/bin/env bash
# Builds the benchmarks and prints their results as one markdown table per section.
# A section is a function bench_<name> that prints its table; add a function and its
# name to SECTIONS. Pass section names to run only those.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/env.sh"

SECTIONS=(crypto)

# "name value" lines of a benchmark's output -> the value of one name.
value_of() { awk -v name="$2" '$1 == name { print $2 }' <<<"$1"; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", (b > 0 ? a / b : 0) }'; }
verdict() { awk -v r="$1" -v t="$2" 'BEGIN { print (r >= t ? "met" : "missed") }'; }

# AES-128-CBC decryption: the cipher against openssl on this machine, and FileCrypt
# (4 KiB reads of a 64 MiB document) against the bare cipher.
bench_crypto() {
    say "crypto: openssl speed (16384-byte blocks)" >&2
    local openssl_kbps
    openssl_kbps=$(openssl speed -evp aes-128-cbc -decrypt -bytes 16384 -seconds 3 2>/dev/null |
                   awk '/^AES-128-CBC/ { sub(/k$/, "", $2); print $2 }')
    local openssl_mbps
    openssl_mbps=$(awk -v k="$openssl_kbps" 'BEGIN { printf "%.1f", k / 1000 }')
    say "crypto: bench_crypto.exe under Wine" >&2
    local out
    out=$(wine "$BUILD_DIR/bin/bench_crypto.exe")
    local cipher cached filecrypt portable engine
    engine=$(value_of "$out" engine)
    cipher=$(value_of "$out" cipher_mbps)
    cached=$(value_of "$out" cipher_16k_mbps)
    portable=$(value_of "$out" cipher_portable_mbps)
    filecrypt=$(value_of "$out" filecrypt_mbps)
    local r1 r2
    r1=$(ratio "$cipher" "$openssl_mbps")
    r2=$(ratio "$filecrypt" "$cipher")
    echo
    echo "### AES-128-CBC decryption (MB/s of CPU time, medians)"
    echo
    echo "| measurement | MB/s | ratio | target |"
    echo "|---|---:|---:|---|"
    echo "| openssl speed -evp aes-128-cbc -decrypt (16384 B) | $openssl_mbps | | |"
    echo "| Rijndael, 64 MiB buffer ($engine) | $cipher | $r1 of openssl | >= 0.5 $(verdict "$r1" 0.5) |"
    echo "| Rijndael, 16 KiB buffer in cache ($engine) | $cached | $(ratio "$cached" "$openssl_mbps") of openssl | |"
    echo "| Rijndael, 64 MiB buffer (portable tables) | $portable | $(ratio "$portable" "$openssl_mbps") of openssl | |"
    echo "| FileCrypt, 64 MiB file in 4 KiB reads | $filecrypt | $r2 of cipher | >= 0.8 $(verdict "$r2" 0.8) |"
}

"$OSTREL_ROOT/scripts/setup.sh" >&2
say "configuring $BUILD_DIR" >&2
cmake -S "$OSTREL_ROOT" -B "$BUILD_DIR" -G Ninja \
      -DCMAKE_TOOLCHAIN_FILE="$OSTREL_ROOT/cmake/mingw-w64-x86_64.cmake" \
      -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
say "building the benchmarks" >&2
selected=("${@:-${SECTIONS[@]}}")
cmake --build "$BUILD_DIR" --target $(printf 'bench_%s ' "${selected[@]}") >&2

echo "## Benchmarks ($(date -u +%Y-%m-%d), $(nproc) cores, $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 | sed 's/^ //'))"
for section in "${selected[@]}"; do
    "bench_$section"
done
wine_settle
