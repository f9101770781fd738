#!/usr/bin/env bash
# xentool encrypt writes what `openssl enc -aes-128-cbc` writes with the document key and a
# zero IV, and decrypt reads what openssl wrote; refusals exit with their code and say why.
# Argument: the build folder (xentool.exe is in its bin folder).
set -uo pipefail
BUILD="${1:?usage: xentool_crypt_test.sh BUILD_DIR}"
SOURCE="$(dirname "${BASH_SOURCE[0]}")/../.."
source "$SOURCE/scripts/env.sh"
WORK="$(mktemp -d)"
trap 'rm -rf "$WORK"' EXIT
cd "$WORK"

failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
xentool() { wine "$BUILD/bin/xentool.exe" "$@" >stdout 2>stderr; }
openssl_enc() {
    openssl enc -aes-128-cbc -K "$(printf '%s' "$1" | od -An -tx1 | tr -d ' \n')" \
        -iv 00000000000000000000000000000000 "${@:2}"
}

# Both directions against openssl for one key (--kind KIND or --key TEXT) and one size.
check_both_ways() {
    local option="$1" key="$2" size="$3"
    [ -e "plain$size" ] || head -c "$size" /dev/urandom >"plain$size"
    openssl_enc "$key" -in "plain$size" -out ref.xen
    xentool encrypt $option "plain$size" ours.xen || fail "encrypt $option $size: $(cat stderr)"
    cmp -s ref.xen ours.xen || fail "encrypt $option differs from openssl at $size bytes"
    xentool decrypt $option ref.xen back || fail "decrypt $option $size: $(cat stderr)"
    cmp -s "plain$size" back || fail "decrypt $option of openssl's file differs at $size bytes"
}

# Every size under the storage key, the other document keys (as the readers' vocabulary
# gives them) and a key of one's own at one size; each run of Wine costs time.
kinds=0
while read -r kind key; do
    kinds=$((kinds + 1))
    for size in $([ "$kind" = storage ] && echo 0 1 15 16 17 31 32 100 4095 4096 5000 || echo 100); do
        check_both_ways "--kind $kind" "$key" "$size"
    done
done < <(sed -n 's/.*{L"\([a-z]*\)", "\([^"]*\)"}.*/\1 \2/p' "$SOURCE/src/ostrel/DocumentVocabulary.h")
[ "$kinds" -eq 4 ] || fail "the vocabulary gave $kinds document keys, not 4"
check_both_ways "--key abcdefghijklmnop" abcdefghijklmnop 100

# Refusals: exit code, u for a bad command line (the usage text on stderr, nothing on
# stdout), what stderr says, the command.
: >empty.xen
head -c 20 /dev/urandom >cut.xen
cp plain100 keep
while IFS='|' read -r code usage said command; do
    xentool $command
    status=$?
    [ "$status" -eq "$code" ] || fail "xentool $command exited $status, expected $code"
    grep -q -- "$said" stderr || fail "xentool $command said: $(cat stderr)"
    [ "$usage" != u ] || grep -q "^usage:" stderr || fail "xentool $command printed no usage"
    [ "$usage" != u ] || [ ! -s stdout ] || fail "xentool $command wrote to stdout"
done <<'TABLE'
3||16 characters|encrypt --key abcdefghijklmno missing.xml out.xen
3||unknown document kind|decrypt --kind nosuch plain100 out.xml
2||cannot read 'missing.xml'|encrypt --kind storage missing.xml out.xen
2||is empty|decrypt --kind storage empty.xen out.xml
5||16-byte blocks|decrypt --kind storage cut.xen out.xml
2|u|overwrite the input|encrypt --kind storage keep ./keep
2|u|either --kind|encrypt plain100 out.xen
2|u|unknown option '--force'|encrypt --kind storage --force plain100
2|u|no command given|
2|u|unknown option '--json'|lint --json plain100
2|u|unexpected argument '--bogus'|plan --bogus plain100
TABLE
cmp -s plain100 keep || fail "the input was changed"
for f in out.xen out.xml; do [ ! -e "$f" ] || fail "a refused command left $f behind"; done

[ "$failures" -eq 0 ] || { echo "$failures failure(s)"; exit 1; }
echo "xentool matches openssl for every size and kind; refusals and usage checked"
