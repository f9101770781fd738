# Sourced by the other scripts: where the build and the Wine prefix live, and a quiet Wine.
OSTREL_ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
export OSTREL_ROOT
export BUILD_DIR="${BUILD_DIR:-$OSTREL_ROOT/build}"
export WINEPREFIX="${WINEPREFIX:-$HOME/.wine-ostrel}"
export WINEARCH=win64
export WINEDEBUG="${WINEDEBUG:--all}"
# No Mono or Gecko installer prompts.
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree,mshtml=}"

say() { printf '==> %s\n' "$*"; }

# Waits for the prefix's wineserver to exit so that nothing lingers after a script.
wine_settle() { timeout 30 wineserver -w 2>/dev/null || wineserver -k 2>/dev/null || true; }
