#!/usr/bin/env bash
# Installs what the build and the tests need and prepares the Wine prefix.
# Safe to run any number of times: it only installs what is missing.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/env.sh"

PACKAGES=(g++-mingw-w64-x86-64-posix wine wine64 cmake ninja-build googletest openssl
          libxml2-utils ca-certificates clang-format-14)

missing=()
for pkg in "${PACKAGES[@]}"; do
    dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed" || missing+=("$pkg")
done

if ((${#missing[@]})); then
    SUDO=""
    [ "$(id -u)" -ne 0 ] && SUDO="sudo"
    say "installing: ${missing[*]}"
    $SUDO apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
else
    say "packages already installed"
fi

if [ ! -f "$WINEPREFIX/system.reg" ]; then
    say "creating the Wine prefix $WINEPREFIX"
    wineboot --init >/dev/null 2>&1
    wine_settle
else
    say "Wine prefix $WINEPREFIX is ready"
fi
