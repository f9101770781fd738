#!/usr/bin/env bash
# Checks that the tests the documentation names exist: every `tests/...` path in README.md
# and docs/*.md, and every `Suite.Name` (a * stands for any name) as a TEST, TEST_F or
# TEST_P of some file under tests/. Exits non-zero and lists what is missing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

missing=0
docs=(README.md docs/*.md)
tests_text="$(find tests -name '*.cpp' -print0 | xargs -0 cat | tr -d ' \n')"
for path in $(grep -ohE '`tests/[A-Za-z0-9_./-]+`' "${docs[@]}" | tr -d '`' | sort -u); do
    if [ ! -e "$path" ]; then
        echo "check-doc-tests: $path is named but does not exist"
        missing=$((missing + 1))
    fi
done
for name in $(grep -ohE '`[A-Z][A-Za-z0-9]+\.([A-Z][A-Za-z0-9]+|\*)`' "${docs[@]}" | tr -d '`' | sort -u); do
    suite="${name%%.*}"
    test="${name#*.}"
    [ "$test" = "*" ] && test='[A-Za-z0-9]+'
    if ! grep -qE "TEST(_F|_P)?\\($suite,$test\\)" <<<"$tests_text"; then
        echo "check-doc-tests: $name is named but no such test exists"
        missing=$((missing + 1))
    fi
done
exit $((missing > 0))
