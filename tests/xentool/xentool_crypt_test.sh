#!/usr/bin/env bash
# xentool encrypt must write what `openssl enc -aes-128-cbc` writes with the document key
# and a zero IV, and xentool decrypt must read what openssl wrote; a bad command line
# prints the usage text and exits 2. Argument: the build folder (xentool.exe is in its
# bin folder). Wine settings come from scripts/env.sh.
set -uo pipefail
BUILD="${1:?usage: xentool_crypt_test.sh BUILD_DIR}"
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/env.sh"
XENTOOL="$BUILD/bin/xentool.exe"
WORK="$(mktemp -d)"
trap 'rm -rf "$WORK"' EXIT
cd "$WORK"

failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
xentool() { wine "$XENTOOL" "$@" 2>"$WORK/stderr"; }
hex_key() { printf '%s' "$1" | od -An -tx1 | tr -d ' \n'; }
openssl_enc() { openssl enc -aes-128-cbc -K "$(hex_key "$1")" -iv 00000000000000000000000000000000 "${@:2}"; }

# Expects the exit code and a fragment of the message.
expect_refusal() {
    local code="$1" fragment="$2"
    shift 2
    xentool "$@"
    local status=$?
    [ "$status" -eq "$code" ] || fail "xentool $* exited $status, expected $code"
    grep -q -- "$fragment" stderr || fail "xentool $* said: $(cat stderr)"
}

# A bad command line: exit 2, the message and the usage text on stderr, nothing on stdout.
expect_usage() {
    local fragment="$1"
    shift
    wine "$XENTOOL" "$@" >stdout 2>stderr
    local status=$?
    [ "$status" -eq 2 ] || fail "xentool $* exited $status, expected 2"
    grep -q -- "$fragment" stderr || fail "xentool $* said: $(cat stderr)"
    grep -q "^usage:" stderr || fail "xentool $* printed no usage"
    [ ! -s stdout ] || fail "xentool $* wrote to stdout: $(cat stdout)"
}

# The document keys, as the readers' vocabulary gives them.
declare -A KEYS
while read -r kind key; do
    KEYS[$kind]="$key"
done < <(grep -o '{L"[a-z]*", "[^"]*"}' "$(dirname "${BASH_SOURCE[0]}")/../../src/ostrel/DocumentVocabulary.h" |
         sed 's/{L"\([a-z]*\)", "\([^"]*\)"}/\1 \2/')
[ "${#KEYS[@]}" -eq 4 ] || fail "the vocabulary gave ${#KEYS[@]} document keys, not 4"
SIZES=(0 1 15 16 17 31 32 100 255 1024 4095 4096 5000)

# Both directions against openssl for one kind and one size.
check_both_ways() {
    local kind="$1" size="$2" key="${KEYS[$1]}"
    openssl_enc "$key" -in "plain$size" -out "ref$size.xen"
    xentool encrypt --kind "$kind" "plain$size" "ours$size.xen" || fail "encrypt $kind $size: $(cat stderr)"
    cmp -s "ref$size.xen" "ours$size.xen" || fail "encrypt --kind $kind differs from openssl at $size bytes"
    xentool decrypt --kind "$kind" "ref$size.xen" "back$size" || fail "decrypt $kind $size: $(cat stderr)"
    cmp -s "plain$size" "back$size" || fail "decrypt --kind $kind of openssl's file differs at $size bytes"
}

# Every size under one key, every other key at one size (each run of Wine costs time).
for size in "${SIZES[@]}"; do
    head -c "$size" /dev/urandom >"plain$size"
    check_both_ways storage "$size"
done
for kind in service provider webaccess; do
    check_both_ways "$kind" 1024
done

# --key takes any 16 characters, the same as openssl's key bytes.
openssl_enc 'abcdefghijklmnop' -in plain100 -out ref.key.xen
xentool encrypt --key 'abcdefghijklmnop' plain100 ours.key.xen || fail "encrypt --key: $(cat stderr)"
cmp -s ref.key.xen ours.key.xen || fail "encrypt --key differs from openssl"

# Refusals: wrong key lengths come before any file is looked at.
expect_refusal 3 "16 characters" encrypt --key 'abcdefghijklmno' missing.xml out.xen
expect_refusal 3 "16 characters" decrypt --key 'abcdefghijklmnopq' missing.xen out.xml
expect_refusal 3 "unknown document kind" decrypt --kind nosuch ref100.xen out.xml
expect_refusal 2 "cannot read 'missing.xml'" encrypt --kind storage missing.xml out.xen
: >empty.xen
expect_refusal 2 "is empty" decrypt --kind storage empty.xen out.xml
head -c 20 /dev/urandom >cut.xen
expect_refusal 5 "16-byte blocks" decrypt --kind storage cut.xen out.xml
cp plain100 keep
expect_usage "overwrite the input" encrypt --kind storage keep ./keep
cmp -s plain100 keep || fail "the input was changed"
expect_usage "either --kind" encrypt plain100 out.xen
expect_usage "unknown option '--force'" encrypt --kind storage --force plain100
expect_usage "no command given"
expect_usage "unknown command" scramble
expect_usage "unknown option '--json'" lint --json plain100
expect_usage "expected one document" lint plain100 plain15
expect_usage "unexpected argument '--bogus'" plan --bogus plain100
for f in out.xen out.xml; do [ ! -e "$f" ] || fail "a refused command left $f behind"; done

if [ "$failures" -ne 0 ]; then
    echo "$failures failure(s)"
    exit 1
fi
echo "xentool matches openssl for ${#SIZES[@]} sizes and all 4 kinds; refusals and usage checked"
