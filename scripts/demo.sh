#!/usr/bin/env bash
# The end-to-end demo. It arrives with the module; until then it says so.
set -euo pipefail
echo "The demo is not yet available: the module Ostrel.dll is still being built."
