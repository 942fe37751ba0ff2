#!/usr/bin/env bash
# Configures and builds one flavour of the project.
#   scripts/build.sh DIR [extra cmake arguments...]
set -euo pipefail
cd "$(dirname "$0")/.."
dir="$1"
shift
cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
cmake --build "$dir" -j"$(nproc)"
