#!/usr/bin/env bash
# Installs what is missing, builds the plug-in and the reference host, and
# runs the demo page session. Output: one JSON line per thing the plug-in did.
# Then it plays the room-pairing demo twice: with both halves of the host in
# one process, and split into a main-application and a meeting process
# joined by the room-message relay (every line then names its process).
#   scripts/demo.sh          the page session, then the room demo both ways
#   scripts/demo.sh SCRIPT   that script only
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh build -DATRIUM_BUILD_TESTS=OFF -DATRIUM_BUILD_BENCH=OFF >/dev/null
if [ $# -gt 0 ]; then
  exec build/bin/atrium-host "$1"
fi
build/bin/atrium-host demo/page-session.jsonl
echo "# room pairing, one process" >&2
build/bin/atrium-host demo/room-pairing.jsonl
echo "# room pairing, split: main application and meeting process" >&2
build/bin/atrium-host --split demo/room-pairing.jsonl
