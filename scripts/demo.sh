#!/usr/bin/env bash
# Installs what is missing, builds the plug-in and the reference host, and
# runs the demo page session. Output: one JSON line per thing the plug-in did.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh build -DATRIUM_BUILD_TESTS=OFF -DATRIUM_BUILD_BENCH=OFF >/dev/null
exec build/bin/atrium-host "${1:-demo/page-session.jsonl}"
