#!/usr/bin/env bash
# The schemas and xentool on the plain example documents: every example validates against
# its schema and lints clean, a seeded mistake fails the schema, and plan --json writes
# JSON. Arguments: the source folder and the build folder.
set -uo pipefail
SOURCE="${1:?usage: check_documents.sh SOURCE_DIR BUILD_DIR}"
XENTOOL="${2:?usage: check_documents.sh SOURCE_DIR BUILD_DIR}/bin/xentool.exe"
source "$SOURCE/scripts/env.sh"
WORK="$(mktemp -d)"
trap 'rm -rf "$WORK"' EXIT

failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

# Each example with its schema, then a mistake seeded into it that the schema refuses.
while read -r example schema from to; do
    document="$SOURCE/examples/$example"
    schema="$SOURCE/schemas/$schema"
    xmllint --noout --schema "$schema" "$document" 2>"$WORK/xmllint" ||
        fail "$example does not validate: $(cat "$WORK/xmllint")"
    output="$(wine "$XENTOOL" lint "$document" 2>&1)" || fail "lint $example exited $?: $output"
    [ -z "$output" ] || fail "lint $example reported: $output"
    sed "s/$from/$to/" "$document" >"$WORK/seeded.xml"
    ! xmllint --noout --schema "$schema" "$WORK/seeded.xml" 2>/dev/null ||
        fail "$schema accepts $example with '$from' changed to '$to'"
done <<'TABLE'
storage-demo.xml storage-control.xsd <Type>uint32 <Type>uint33
storage-demo.xml storage-control.xsd platform="xp32" platform="xp33"
storage-demo.xml storage-control.xsd maxversion="1.9.0" maxversion="1.9"
services.xml policy.xsd eDynamicLinkLibrary eDLL
providers.xml policy.xsd type="eSetup" type="eAdmin"
webaccess.xml webaccess.xsd platform="all64" platform="all"
TABLE

# plan --json is JSON.
wine "$XENTOOL" plan "$SOURCE/examples/storage-demo.xml" --assign demo --json >"$WORK/plan.json" 2>"$WORK/plan.err"
python3 -m json.tool "$WORK/plan.json" >/dev/null && grep -q '"requestResult"' "$WORK/plan.json" ||
    fail "plan --json: $(cat "$WORK/plan.json" "$WORK/plan.err")"

wine_settle
[ "$failures" -eq 0 ] && echo "all document checks passed"
exit "$failures"
