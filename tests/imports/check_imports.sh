#!/usr/bin/env bash
# check_imports.sh BIN_DIR: every shipped binary imports only Windows system DLLs, and
# Ostrel.dll exports exactly its four functions.
set -euo pipefail
bin="$1"
objdump=x86_64-w64-mingw32-objdump
system_dlls='^(kernel32|advapi32|ole32|oleaut32|shell32|shlwapi|user32|msvcrt|ntdll|rpcrt4|version|bcrypt|api-ms-win-[a-z0-9-]+)\.dll$'

failures=0
for binary in "$bin"/*.dll "$bin"/*.exe; do
    [ -e "$binary" ] || { echo "FAIL: no $binary"; exit 1; }
    while read -r dll; do
        if ! [[ "${dll,,}" =~ $system_dlls ]]; then
            echo "FAIL: $(basename "$binary") imports $dll"
            failures=$((failures + 1))
        fi
    done < <($objdump -p "$binary" | sed -n 's/^\s*DLL Name: //p')
done

exports=$($objdump -p "$bin/Ostrel.dll" |
    awk '/\[Ordinal\/Name Pointer\] Table/{t=1; next} t && NF==0 {t=0} t {print $NF}' | sort | tr '\n' ' ')
expected="Ostrel_CreateUtility Ostrel_FreeUtility Ostrel_Initialize Ostrel_Uninitialize "
if [ "$exports" != "$expected" ]; then
    echo "FAIL: Ostrel.dll exports [$exports], expected [$expected]"
    failures=$((failures + 1))
fi
echo "$failures problems"
[ "$failures" -eq 0 ]
