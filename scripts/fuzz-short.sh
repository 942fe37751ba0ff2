#!/usr/bin/env bash
# Short, bounded libFuzzer runs of every fuzz target, as CI runs them:
# page_call_fuzzer (page calls), room_message_fuzzer (room messages between
# the two processes and room page calls), dnssd_reply_fuzzer (DNS-SD
# replies), mdns_wire_fuzzer (the own responder's frames reaching the own
# client library) and mdns_request_fuzzer (clients' requests reaching the own
# responder).
#
# Installs what is missing (scripts/install-deps.sh), configures a clang build
# with AddressSanitizer and UndefinedBehaviorSanitizer in build-fuzz, builds
# the fuzzers, and fuzzes a scratch copy of each seed corpus
# (fuzz/corpus/<target>) for FUZZ_SECONDS each. Fails on any crash,
# leak, timeout, out-of-memory, failed check or sanitizer report; the input
# that caused it is kept in build-fuzz/fuzz-artifacts/ and replayed with full
# stacks, and the log is kept in build-fuzz/fuzz-logs/.
#
# Environment:
#   FUZZ_SECONDS  how long to fuzz (default 60)
#   FUZZ_JOBS     build parallelism (default: the number of processors)
# Further arguments go to the fuzzer as they are (e.g. -seed=1).
set -euo pipefail

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
BUILD="$ROOT/build-fuzz"
FUZZER="$BUILD/bin/page_call_fuzzer"
SEEDS="$ROOT/fuzz/corpus/page_call"
DICT="$ROOT/fuzz/page_call.dict"
ARTIFACTS="$BUILD/fuzz-artifacts"
LOGS="$BUILD/fuzz-logs"
SECONDS_TO_RUN="${FUZZ_SECONDS:-60}"
JOBS="${FUZZ_JOBS:-$(nproc 2>/dev/null || echo 2)}"

die() {
  echo "fuzz-short: $*" >&2
  exit 1
}

[[ "$SECONDS_TO_RUN" =~ ^[1-9][0-9]*$ ]] || die "FUZZ_SECONDS must be a positive whole number, not '$SECONDS_TO_RUN'"
[[ "$JOBS" =~ ^[1-9][0-9]*$ ]] || die "FUZZ_JOBS must be a positive whole number, not '$JOBS'"
"$ROOT/scripts/install-deps.sh"
command -v clang >/dev/null && command -v clang++ >/dev/null ||
  die "clang and clang++ are needed (scripts/install-deps.sh installs them)"
command -v cmake >/dev/null || die "cmake is needed"
[[ -d "$SEEDS" && -f "$DICT" && -d "$ROOT/fuzz/corpus/room_message" && -f "$ROOT/fuzz/room_message.dict" ]] ||
  die "seed corpus or dictionary missing under fuzz/"

WORK="$(mktemp -d "${TMPDIR:-/tmp}/atrium-fuzz.XXXXXX")"
trap 'rm -rf "$WORK"' EXIT

# libFuzzer's runtime comes in a package of its own; say so plainly rather
# than fail later at the fuzzer's link.
printf 'extern "C" int LLVMFuzzerTestOneInput(const unsigned char*, unsigned long) { return 0; }\n' \
  >"$WORK/probe.cpp"
clang++ -fsanitize=fuzzer,address,undefined "$WORK/probe.cpp" -o "$WORK/probe" 2>"$WORK/probe.log" ||
  { cat "$WORK/probe.log" >&2; die "clang cannot link a fuzzer: is libclang-rt-14-dev installed?"; }

cmake -S "$ROOT" -B "$BUILD" \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DATRIUM_BUILD_FUZZ=ON -DATRIUM_BUILD_TESTS=OFF -DATRIUM_BUILD_BENCH=OFF \
  -DATRIUM_SANITIZE=address,undefined
# Only the fuzz targets: in this build the libraries carry coverage hooks that
# only a fuzzer link provides.
cmake --build "$BUILD" --target page_call_fuzzer room_message_fuzzer dnssd_reply_fuzzer mdns_wire_fuzzer mdns_request_fuzzer -j "$JOBS"

STAMP="$(date +%Y%m%d-%H%M%S)"
# jsoncpp comes from the distribution, built without frame pointers. Inside
# its recursive parser AddressSanitizer's fast unwinder cannot follow the
# frames, so allocation stacks deeper than three frames differ from call to
# call and the sanitizer's store of stacks grows without bound (hundreds of
# MB a minute on deeply nested input). While fuzzing, allocation stacks
# therefore keep three frames; a failing input is replayed below with full
# stacks for the report.
FUZZ_ASAN="detect_leaks=1:malloc_context_size=3"
REPLAY_ASAN="detect_leaks=1:malloc_context_size=30"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1${UBSAN_OPTIONS:+:$UBSAN_OPTIONS}"

# fuzz NAME SEEDS [DICT]: one bounded run of build-fuzz/bin/NAME.
fuzz() {
  local name="$1" seeds="$2" dict="${3:-}"
  shift 3
  local fuzzer="$BUILD/bin/$name" corpus="$WORK/$name" artifacts="$ARTIFACTS/$STAMP-$name"
  local LOG="$LOGS/$name-$STAMP.log"
  mkdir -p "$corpus" "$artifacts" "$LOGS"
  cp "$seeds"/* "$corpus/"
  local seed_count
  seed_count=$(find "$corpus" -type f | wc -l)
  echo "fuzz-short: fuzzing $name for ${SECONDS_TO_RUN}s on $seed_count seeds (log: $LOG)"
  started=$(date +%s)
  rc=0
  ASAN_OPTIONS="$FUZZ_ASAN${ASAN_OPTIONS:+:$ASAN_OPTIONS}" "$fuzzer" "$corpus" \
    ${dict:+-dict="$dict"} \
    -max_len=4096 \
    -max_total_time="$SECONDS_TO_RUN" \
    -timeout=25 \
    -rss_limit_mb=2048 \
    -print_final_stats=1 \
    -artifact_prefix="$artifacts/" \
    "$@" >"$LOG" 2>&1 || rc=$?
  elapsed=$(($(date +%s) - started))

  # A report that did not stop the run (a sanitizer set to recover) fails it too.
  reports=$(grep -cE 'ERROR: (AddressSanitizer|LeakSanitizer|UndefinedBehaviorSanitizer|libFuzzer)|runtime error:|[a-z_]*fuzzer: check failed' "$LOG" || true)

  if [[ $rc -ne 0 || $reports -ne 0 ]]; then
    tail -n 60 "$LOG" >&2
    shopt -s nullglob
    for input in "$artifacts"/*; do
      echo "---- replay of $input with full stacks; input as hex:" >&2
      od -An -tx1 -v "$input" | head -n 32 >&2
      ASAN_OPTIONS="$REPLAY_ASAN${ASAN_OPTIONS:+:$ASAN_OPTIONS}" "$fuzzer" "$input" 2>&1 |
        grep -vE '^(INFO|Executed|\*\*\*)|: Running [0-9]+ inputs' | head -n 120 >&2 || true
    done
    echo "fuzz-short: FAILED (exit $rc, $reports report(s)) after ${elapsed}s; inputs kept in $artifacts, full log $LOG" >&2
    return 1
  fi
  rmdir "$artifacts" 2>/dev/null || true

  runs=$(sed -n 's/^stat::number_of_executed_units: *\([0-9]*\).*/\1/p' "$LOG" | tail -n 1)
  if [[ -z "$runs" ]]; then
    runs=$(sed -n 's/^Done \([0-9]*\) runs in .*/\1/p' "$LOG" | tail -n 1)
  fi
  corpus_count=$(find "$corpus" -type f | wc -l)
  echo "fuzz-short: $name clean: ${runs:-?} runs in ${elapsed}s, corpus $seed_count -> $corpus_count inputs"
}

fuzz page_call_fuzzer "$SEEDS" "$DICT" "$@"
fuzz room_message_fuzzer "$ROOT/fuzz/corpus/room_message" "$ROOT/fuzz/room_message.dict" "$@"
fuzz mdns_wire_fuzzer "$ROOT/fuzz/corpus/mdns_wire" "" "$@"
fuzz mdns_request_fuzzer "$ROOT/fuzz/corpus/mdns_request" "" "$@"
fuzz dnssd_reply_fuzzer "$ROOT/fuzz/corpus/dnssd_reply" "" "$@"
