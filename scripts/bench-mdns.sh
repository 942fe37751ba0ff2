#!/usr/bin/env bash
# Discovery latency and responder memory of our DNS-SD stack beside an
# independent mDNS peer (Debian's avahi-daemon), in one run, as a table.
# Everything runs in private network and mount namespaces on loopback only
# (bench/mdns/bench_mdns.py enters them itself; needs root or unprivileged
# user namespaces, avahi-daemon and dbus-daemon).
#   scripts/bench-mdns.sh [BIN_DIR] [--reps N]   (default build/bin)
set -euo pipefail
cd "$(dirname "$0")/.."
bin="build/bin"
if [ $# -gt 0 ] && [ "${1#-}" = "$1" ]; then
  bin="$1"
  shift
fi
for f in tessel-mdnsd tessel-dnssd libmdnsclient.so; do
  [ -e "$bin/$f" ] || { echo "bench-mdns: $bin/$f is missing; build first (scripts/build.sh build)" >&2; exit 1; }
done
for tool in python3 avahi-daemon dbus-daemon unshare ip; do
  command -v "$tool" >/dev/null || { echo "bench-mdns: $tool is needed" >&2; exit 1; }
done

# The benchmark's client: built with the project, or built here against BIN_DIR.
client="$bin/mdns_bench_client"
tmp=""
trap '[ -n "$tmp" ] && rm -rf "$tmp"' EXIT
if [ ! -x "$client" ]; then
  tmp=$(mktemp -d)
  client="$tmp/mdns_bench_client"
  "${CXX:-c++}" -std=c++17 -O2 -Wall -Wextra -I as/Common -I as/Common/mdns/client \
    bench/mdns/mdns_bench_client.cpp -L"$bin" -lmdnsclient \
    -Wl,-rpath,"$(cd "$bin" && pwd)" -o "$client"
fi
python3 bench/mdns/bench_mdns.py "$bin" --client "$client" "$@"
