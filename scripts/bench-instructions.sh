#!/usr/bin/env bash
# Instructions per call of the bridge's round trip and of the jsoncpp floor,
# counted by callgrind: the same figures on a busy machine as on a quiet one.
#   scripts/bench-instructions.sh [BUILD_DIR]   (default build-bench, Release)
set -euo pipefail
cd "$(dirname "$0")/.."
dir="${1:-build-bench}"
command -v valgrind >/dev/null || { echo "valgrind is needed" >&2; exit 1; }
scripts/build.sh "$dir" -DCMAKE_BUILD_TYPE=Release -DATRIUM_BUILD_TESTS=OFF >/dev/null
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

# per_call BENCHMARK FUNCTION: instructions inside the benchmark's loop divided
# by the number of calls to FUNCTION, which runs once per iteration.
per_call() {
  valgrind --tool=callgrind --callgrind-out-file="$out/$1" --toggle-collect="*$1*" \
    "$dir/bin/bridge_bench" --benchmark_filter="^$1\$" --benchmark_min_time=0.05 >/dev/null 2>&1
  local total calls
  total=$(callgrind_annotate "$out/$1" | awk '/PROGRAM TOTALS/ {gsub(",", "", $1); print $1}')
  calls=$(callgrind_annotate --tree=calling "$out/$1" | grep -E ">   .*$2.*\(([0-9,]+)x\)" |
          sed -E 's/.*\(([0-9,]+)x\).*/\1/; s/,//g' | sort -n | tail -1)
  echo $((total / calls))
}

bridge=$(per_call BM_BridgeRoundTrip 'AtriumClient::OnJsMessage')
floor=$(per_call BM_JsonFloor 'OurCharReader::parse')
printf 'instructions per call: round trip %d, jsoncpp floor %d, ratio %s\n' "$bridge" "$floor" \
  "$(awk -v a="$bridge" -v b="$floor" 'BEGIN { printf "%.2fx", a / b }')"
