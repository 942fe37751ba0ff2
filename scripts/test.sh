#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test: a plain build, then
# the same tests under AddressSanitizer with UndefinedBehaviorSanitizer, and
# under ThreadSanitizer (the HID path crosses threads).
#   scripts/test.sh           all three
#   scripts/test.sh --quick   the plain build only
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh

run() {
  local dir="$1"
  shift
  echo "== $dir"
  scripts/build.sh "$dir" -DATRIUM_BUILD_BENCH=OFF "$@"
  (cd "$dir" && ctest --output-on-failure -j"$(nproc)")
}

if [ "${1:-}" != "--quick" ]; then
  ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    run build-asan -DATRIUM_SANITIZE=address,undefined
  TSAN_OPTIONS=halt_on_error=1 run build-tsan -DATRIUM_SANITIZE=thread
fi
run build
