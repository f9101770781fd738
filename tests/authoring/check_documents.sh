#!/usr/bin/env bash
# The schemas and xentool on the plain example documents: every example validates against
# its schema and lints clean, a seeded mistake fails the schema, and plan --json writes
# JSON for each sample profile. Arguments: the source folder and the build folder.
set -uo pipefail
SOURCE="${1:?usage: check_documents.sh SOURCE_DIR BUILD_DIR}"
BUILD="${2:?usage: check_documents.sh SOURCE_DIR BUILD_DIR}"
source "$SOURCE/scripts/env.sh"
XENTOOL="$BUILD/bin/xentool.exe"
WORK="$(mktemp -d)"
trap 'rm -rf "$WORK"' EXIT

failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

declare -A SCHEMAS=([storage-demo.xml]=storage-control.xsd [services.xml]=policy.xsd
                    [providers.xml]=policy.xsd [webaccess.xml]=webaccess.xsd)

for example in "${!SCHEMAS[@]}"; do
    document="$SOURCE/examples/$example"
    schema="$SOURCE/schemas/${SCHEMAS[$example]}"
    xmllint --noout --schema "$schema" "$document" 2>"$WORK/xmllint" ||
        fail "$example does not validate: $(cat "$WORK/xmllint")"
    output="$(wine "$XENTOOL" lint "$document" 2>&1)" || fail "lint $example exited $?: $output"
    [ -z "$output" ] || fail "lint $example reported: $output"
done

# One seeded mistake per schema: each must be refused.
expect_invalid() {
    local schema="$1" example="$2" from="$3" to="$4"
    sed "s/$from/$to/" "$SOURCE/examples/$example" >"$WORK/seeded.xml"
    if xmllint --noout --schema "$SOURCE/schemas/$schema" "$WORK/seeded.xml" 2>/dev/null; then
        fail "$schema accepts $example with '$from' changed to '$to'"
    fi
}
expect_invalid storage-control.xsd storage-demo.xml '<Type>uint32' '<Type>uint33'
expect_invalid storage-control.xsd storage-demo.xml 'platform="xp32"' 'platform="xp33"'
expect_invalid storage-control.xsd storage-demo.xml 'maxversion="1.9.0"' 'maxversion="1.9"'
expect_invalid policy.xsd services.xml 'eDynamicLinkLibrary' 'eDLL'
expect_invalid policy.xsd providers.xml 'type="eSetup"' 'type="eAdmin"'
expect_invalid webaccess.xsd webaccess.xml 'platform="all64"' 'platform="all"'

# plan --json is JSON for every sample profile (when python3 is there to read it).
for profile in "$SOURCE"/examples/profiles/*.ini; do
    wine "$XENTOOL" plan "$SOURCE/examples/storage-demo.xml" --assign demo \
        --profile "$profile" --json >"$WORK/plan.json" 2>"$WORK/plan.err"
    grep -q '"requestResult"' "$WORK/plan.json" ||
        fail "plan --json with $(basename "$profile"): $(cat "$WORK/plan.json" "$WORK/plan.err")"
    if command -v python3 >/dev/null; then
        python3 -m json.tool "$WORK/plan.json" >/dev/null ||
            fail "plan --json with $(basename "$profile") is not JSON"
    fi
done

wine_settle
[ "$failures" -eq 0 ] && echo "all document checks passed"
exit "$failures"
