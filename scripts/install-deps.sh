#!/usr/bin/env bash
# Installs what the build, the tests, the fuzzers and the benchmark need,
# from Debian's packages only. Installs nothing that is already there.
set -euo pipefail

packages=(
  build-essential cmake pkg-config python3 binutils
  libjsoncpp-dev googletest libgtest-dev libgmock-dev libbenchmark-dev
  clang libclang-rt-14-dev
  libavahi-core-dev iproute2
  avahi-daemon avahi-utils dbus
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi
echo "installing: ${missing[*]}"
SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
# avahi-daemon is only a test peer, run inside private network namespaces:
# its package must not start it on this machine's interfaces. A policy
# refusing every service start holds while the packages install.
policy=/usr/sbin/policy-rc.d
own_policy=0
if [ ! -e "$policy" ]; then
  printf '#!/bin/sh\nexit 101\n' | $SUDO tee "$policy" >/dev/null
  $SUDO chmod 755 "$policy"
  own_policy=1
fi
status=0
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null || status=$?
[ "$own_policy" -eq 0 ] || $SUDO rm -f "$policy"
exit "$status"
